#include "ui/snapshotcommand.h"

#include "ui/startup.h"

#include <QFileInfo>

#include <cstdio>

namespace {

void printError(const QString& line)
{
    std::fputs(qPrintable(line + u'\n'), stderr);
}

// One line on standard error and the usage status.
int badOption(const QString& problem)
{
    printError(QStringLiteral("korvane: ") + problem);
    return 2;
}

template <typename Mode>
bool readMode(const SnapshotArguments& arguments, const QString& option, std::optional<Mode>& into)
{
    if (!arguments.options.contains(option))
        return true;
    into = modeFromName<Mode>(arguments.options.value(option));
    return into.has_value();
}

} // namespace

int snapshotCommand(const SnapshotArguments& arguments)
{
    StartupScript script;
    // A file is drawn in its folder, walked into.
    const QFileInfo path(arguments.path);
    if (!path.exists()) {
        printError(arguments.path + QStringLiteral(" is not a folder or a file."));
        return 1;
    }
    script.open = path.isDir() ? arguments.path : path.absolutePath();
    if (!path.isDir())
        script.walkInto = path.fileName();
    if (!readMode(arguments, QStringLiteral("--structure"), script.structureTab))
        return badOption(QStringLiteral("--structure is outline, treemap, flow or links"));
    if (arguments.options.contains(QStringLiteral("--focus")))
        script.focus = arguments.options.value(QStringLiteral("--focus"));
    if ((script.structureTab || script.focus) && !script.walkInto)
        return badOption(QStringLiteral("--structure and --focus go with a FILE to walk into"));
    if (!arguments.options.contains(QStringLiteral("--out")))
        return badOption(QStringLiteral("snapshot needs --out FILE.png"));
    script.snapshot = arguments.options.value(QStringLiteral("--out"));
    if (!readMode(arguments, QStringLiteral("--mode"), script.mode))
        return badOption(QStringLiteral("--mode is city, tree, history or graph"));
    if (arguments.options.contains(QStringLiteral("--at"))) {
        script.at = CommitChoice::parse(arguments.options.value(QStringLiteral("--at")));
        if (!script.at || script.mode != VisualizationMode::history)
            return badOption(QStringLiteral("--at N|start|middle|end|HASH goes with --mode history"));
    }
    if (!readMode(arguments, QStringLiteral("--color"), script.color))
        return badOption(QStringLiteral("--color is language, age, churn or status"));
    if (!readMode(arguments, QStringLiteral("--height"), script.height))
        return badOption(QStringLiteral("--height is lines, size, churn or flat"));
    if (arguments.options.contains(QStringLiteral("--theme"))) {
        const QString theme = arguments.options.value(QStringLiteral("--theme"));
        if (theme != u"dark" && theme != u"light")
            return badOption(QStringLiteral("--theme is dark or light"));
        script.dark = theme == u"dark";
    }
    if (arguments.options.contains(QStringLiteral("--size"))) {
        script.size = parseSize(arguments.options.value(QStringLiteral("--size")));
        if (!script.size)
            return badOption(QStringLiteral("--size is WIDTHxHEIGHT, such as 1280x800"));
    }
    if (arguments.options.contains(QStringLiteral("--keys"))) {
        QString error;
        const auto keys = parseKeys(arguments.options.value(QStringLiteral("--keys")), &error);
        if (!keys)
            return badOption(QStringLiteral("--keys: ") + error);
        script.keys = *keys;
    }
    script.search = arguments.options.contains(QStringLiteral("--search"))
        ? std::optional(arguments.options.value(QStringLiteral("--search")))
        : std::nullopt;
    script.searchInText = arguments.flags.contains(QStringLiteral("--in-text"));
    if (script.searchInText && !script.search)
        return badOption(QStringLiteral("--in-text goes with --search TEXT"));
    if (arguments.options.contains(QStringLiteral("--isolate")))
        script.isolate = arguments.options.value(QStringLiteral("--isolate")).split(u',', Qt::SkipEmptyParts);
    if (arguments.options.contains(QStringLiteral("--min-changes"))) {
        bool number = false;
        script.minChanges = arguments.options.value(QStringLiteral("--min-changes")).toInt(&number);
        if (!number || script.minChanges < 0)
            return badOption(QStringLiteral("--min-changes is a number of commits, 0 or more"));
    }
    if (arguments.flags.contains(QStringLiteral("--print-state")))
        script.stateFile = QStringLiteral("-");
    script.timings = arguments.flags.contains(QStringLiteral("--timings"));
    script.showImports = arguments.flags.contains(QStringLiteral("--show-imports"));
    return runSnapshot(script);
}
