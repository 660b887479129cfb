#include "cli/commandline.h"
#include "model/buildinfo.h"
#include "state/settingsfile.h"
#include "ui/previewcommand.h"
#include "ui/replaycommand.h"
#include "ui/snapshotcommand.h"
#include "ui/startup.h"

#include <QApplication>
#include <QIcon>

#include <cstdio>

namespace {

void name(QCoreApplication&)
{
    QCoreApplication::setApplicationName(QStringLiteral("Korvane"));
    QCoreApplication::setOrganizationName(QStringLiteral("Korvane"));
    QCoreApplication::setApplicationVersion(BuildInfo::versionText());
}

bool hasDisplay()
{
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")
        || qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

// Forgets what the window remembers: its recent folders and how it was left.
int resetSettings()
{
    const QString path = SettingsFile::path();
    QString error;
    if (!SettingsFile::forget(&error)) {
        std::fprintf(stderr, "korvane: could not remove the settings in %s: %s\n", qPrintable(path),
            qPrintable(error));
        return 1;
    }
    std::printf("Korvane's settings and recent folders are forgotten (%s).\n", qPrintable(path));
    return 0;
}

} // namespace

// Commands run headless; the window, and the snapshots and replays drawn by it, need a display.
int main(int argc, char* argv[])
{
    const QString first = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    // The window takes a folder and --timings, in either order.
    QStringList windowArguments;
    for (int i = 1; i < argc; ++i)
        windowArguments << QString::fromLocal8Bit(argv[i]);
    const bool timings = windowArguments.removeAll(QStringLiteral("--timings")) > 0;
    const bool window = windowArguments.isEmpty()
        || (windowArguments.size() == 1 && !windowArguments[0].startsWith(u'-')
            && !Cli::isCommand(windowArguments[0]));
    // Without a folder, the command line says what these commands need.
    const bool drawn = (first == u"snapshot" || first == u"replay") && argc > 2;
    // The preview panel draws without OpenGL, so it needs no display at all.
    if (first == u"preview" && argc > 2) {
        if (!hasDisplay())
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QApplication app(argc, argv);
        name(app);
        QStringList arguments = QCoreApplication::arguments();
        arguments.removeFirst();
        return Cli::run(arguments, [](const QString&, const Cli::Arguments& parsed) {
            return previewCommand({ parsed.positional.first(), parsed.flags, parsed.options });
        });
    }
    if (!window && !drawn) {
        QCoreApplication app(argc, argv);
        name(app);
        QStringList arguments = QCoreApplication::arguments();
        arguments.removeFirst();
        if (arguments == QStringList { QStringLiteral("--reset-settings") })
            return resetSettings();
        return Cli::run(arguments);
    }
    if (!hasDisplay()) {
        if (drawn)
            std::fprintf(
                stderr, "korvane %s needs a display: run it under xvfb-run, or set DISPLAY.\n", argv[1]);
        else
            std::fputs("Korvane's window needs a display (DISPLAY is not set). Commands such as "
                       "\"korvane scan PATH\" run without one.\n",
                stderr);
        return 1;
    }
    useWindowFormat();
    QApplication app(argc, argv);
    name(app);
    // The desktop matches the window to its entry and icon by this id, once Korvane is installed.
    QGuiApplication::setDesktopFileName(BuildInfo::applicationId());
    QApplication::setWindowIcon(QIcon::fromTheme(BuildInfo::applicationId()));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    if (drawn) {
        return Cli::run(arguments, [](const QString& command, const Cli::Arguments& parsed) {
            const SnapshotArguments given { parsed.positional.first(), parsed.flags, parsed.options };
            return command == u"replay" ? replayCommand(given) : snapshotCommand(given);
        });
    }
    return runWindow(
        windowArguments.isEmpty() ? std::nullopt : std::optional(windowArguments.first()), timings);
}
