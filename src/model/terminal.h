#pragma once

#include "model/format.h"

#include <QString>

#include <mutex>

// Writing to the terminal: numbers for people, and a progress line on standard error that is
// drawn only when standard error is a terminal. update() may be called from any thread.
namespace Terminal {

// "Label      value", one line of a summary, the label padded to the width.
QString row(const QString& label, const QString& value, qsizetype width = 12);

void out(const QString& text);
void out(const QByteArray& bytes); // as they are, such as a JSON document
void err(const QString& text);

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
