#include "display.h"

using namespace Qt::StringLiterals;

Outcome korvaneOnDisplay(const QStringList& arguments, const QHash<QString, QString>& variables, bool display)
{
    static TempFolder home;
    QHash<QString, QString> all = variables;
    all.insert(u"XDG_CONFIG_HOME"_s, variables.value(u"XDG_CONFIG_HOME"_s, home.path(u"config"_s)));
    all.insert(u"XDG_CACHE_HOME"_s, home.path(u"cache"_s));
    all.insert(u"XDG_RUNTIME_DIR"_s, home.path()); // private to its owner, as Qt wants it
    // Leaks inside the GL driver are not ours; the unit tests check the program's own.
    all.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
    const QString program = QStringLiteral(KORVANE_BINARY);
    if (!display)
        return runHeadless(program, arguments, all);
    // The display's key in the tests' folder: xvfb-run then makes no folder of its own in /tmp,
    // whose removal, racing with another run's, could fail and turn the exit status into its own.
    return runHeadless(u"xvfb-run"_s,
        QStringList {
            u"-a"_s, u"-f"_s, home.path(u"Xauthority"_s), u"-s"_s, u"-screen 0 1600x1000x24"_s, program }
            + arguments,
        all);
}
