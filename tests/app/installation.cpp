#include "installation.h"

#include <QProcess>
#include <QStandardPaths>

const Installation& Installation::get()
{
    static const Installation installation;
    return installation;
}

Installation::Installation()
{
    QProcess install;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DESTDIR"), m_dir.path());
    install.setProcessEnvironment(environment);
    install.setProcessChannelMode(QProcess::MergedChannels);
    install.start(QStringLiteral(KORVANE_CMAKE),
        { QStringLiteral("--install"), QStringLiteral(KORVANE_BUILD_DIR), QStringLiteral("--prefix"),
            QStringLiteral("/usr") });
    install.waitForFinished(-1);
    if (install.exitStatus() != QProcess::NormalExit || install.exitCode() != 0
        || install.error() != QProcess::UnknownError)
        m_error = QStringLiteral("cmake --install failed: ") + QString::fromLocal8Bit(install.readAll());
}

QString Installation::root() const
{
    return m_dir.path();
}

QString Installation::path(const QString& relative) const
{
    return m_dir.path() + QStringLiteral("/usr/") + relative;
}

Outcome run(const QString& program, const QStringList& arguments, const QString& folder)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : { "DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM" })
        environment.remove(QString::fromLatin1(name));
    process.setProcessEnvironment(environment);
    if (!folder.isEmpty())
        process.setWorkingDirectory(folder);
    process.start(program, arguments);
    process.waitForFinished(-1);
    const bool ran
        = process.error() == QProcess::UnknownError && process.exitStatus() == QProcess::NormalExit;
    return { ran ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError() };
}

bool installed(const QString& program)
{
    return !QStandardPaths::findExecutable(program).isEmpty();
}
