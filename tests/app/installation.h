#pragma once

#include "support/testsupport.h"

#include <QString>
#include <QStringList>

// The build installed as a package installs it: `cmake --install BUILD --prefix /usr` into a
// temporary DESTDIR, once for the whole test program, removed when it ends.
class Installation {
public:
    static const Installation& get();
    // Why the install failed, or empty.
    QString error() const { return m_error; }
    // A path below the installed /usr: "bin/korvane".
    QString path(const QString& relative) const;
    QString root() const;

private:
    Installation();
    QTemporaryDir m_dir;
    QString m_error;
};

// Runs a program to its end, in `folder` when given, without a display; the exit code is -1 when
// it could not start or crashed.
Outcome run(const QString& program, const QStringList& arguments, const QString& folder = {});
// Whether a program of that name is on PATH.
bool installed(const QString& program);
