#pragma once

#include "model/format.h"

#include <QString>

#include <mutex>

// Writing to the terminal: numbers for people, and a progress line on standard error that is
// drawn only when standard error is a terminal. update() may be called from any thread.
namespace Terminal {

// "Label      value", one line of a summary, the label padded to the width.
QString row(const QString& label, const QString& value, qsizetype width = 12);

// Text as it may be shown on a terminal: control characters other than newline and tab (which a
// repository's names and messages could use to retitle, clear or paste into the user's terminal)
// written as \x1b and the like.
QString printable(const QString& text);

void out(const QString& text); // printable
void out(const QByteArray& bytes); // as they are, such as a JSON document
void err(const QString& text); // printable

class Progress {
public:
    Progress();
    ~Progress();
    void update(const QString& phase, qint64 done, qint64 total);
    void finish();

private:
    std::mutex m_lock;
    bool m_enabled;
    bool m_drawn = false;
};

} // namespace Terminal
