#include "cli/commandline.h"

#include "model/buildinfo.h"
#include "model/terminal.h"

namespace Cli {

const QList<Command>& commands()
{
    static const QList<Command> list {
        { QStringLiteral("scan"), QStringLiteral("scan PATH [--json]"),
            QStringLiteral("Scan a folder: totals, branch and languages; --json prints the whole tree"), 1,
            { QStringLiteral("--json") }, {}, scan },
        { QStringLiteral("layout"),
            QStringLiteral(
                "layout PATH [--mode city|tree|graph] [--height lines|size|churn|flat] [--scale F] [--json]"),
            QStringLiteral("Scan a folder and lay it out as a city, a tree or a graph of its imports: what "
                           "stands where"),
            1, { QStringLiteral("--json") },
            { QStringLiteral("--mode"), QStringLiteral("--height"), QStringLiteral("--scale") }, layout },
        { QStringLiteral("history"), QStringLiteral("history PATH [--at N|end] [--json] [--no-cache]"),
            QStringLiteral("Read a repository's first-parent history; --at N replays it to commit N and "
                           "lists the files"),
            1, { QStringLiteral("--json"), QStringLiteral("--no-cache") }, { QStringLiteral("--at") },
            history },
        { QStringLiteral("imports"), QStringLiteral("imports PATH [--json]"),
            QStringLiteral("Read which file of a folder imports which: counts, the most imported files and "
                           "import cycles; --json prints the whole graph"),
            1, { QStringLiteral("--json") }, {}, imports },
        { QStringLiteral("sexpr"), QStringLiteral("sexpr FILE [--json | --summary]"),
            QStringLiteral(
                "Read an S-expression file such as a KiCad board: its tree, or its top-level lists by name"),
            1, { QStringLiteral("--json"), QStringLiteral("--summary") }, {}, sexpr },
        { QStringLiteral("snapshot"),
            QStringLiteral(
                "snapshot PATH --out FILE.png [--mode city|tree|history|graph] [--at "
                "N|start|middle|end|HASH] "
                "[--color language|age|churn|status] [--height lines|size|churn|flat] [--theme dark|light] "
                "[--size WxH] [--search TEXT [--in-text]] [--isolate PATH[,PATH…]] [--min-changes N] [--keys "
                "KEYS] [--show-imports] [--structure outline|treemap|flow|links] [--focus NAME] "
                "[--print-state] "
                "[--timings]"),
            QStringLiteral(
                "Draw a folder into an image without showing the window (needs a display or "
                "xvfb-run), or a file walked into, with --structure showing one of its views and --focus one "
                "of "
                "its parts; --at puts the history's playhead on a commit, --search narrows "
                "the view to the names that match (with --in-text, to the files holding the "
                "text), --isolate draws only those paths, --min-changes dims files changed less often, "
                "--keys plays keys first, --show-imports draws the selected file's imports over the city, "
                "--print-state prints the state the keys leave"),
            1,
            { QStringLiteral("--print-state"), QStringLiteral("--timings"), QStringLiteral("--show-imports"),
                QStringLiteral("--in-text") },
            { QStringLiteral("--out"), QStringLiteral("--mode"), QStringLiteral("--at"),
                QStringLiteral("--color"), QStringLiteral("--height"), QStringLiteral("--theme"),
                QStringLiteral("--size"), QStringLiteral("--keys"), QStringLiteral("--search"),
                QStringLiteral("--isolate"), QStringLiteral("--min-changes"), QStringLiteral("--structure"),
                QStringLiteral("--focus") },
            {} },
        { QStringLiteral("replay"),
            QStringLiteral(
                "replay PATH --out FOLDER|FILE.mp4|FILE.webm [--speed N] [--fps N] [--size WxH] "
                "[--from N|start|middle|end|HASH] [--to N|start|middle|end|HASH] [--theme dark|light] "
                "[--color language|age|churn|status]"),
            QStringLiteral(
                "Play a repository's history offscreen into numbered PNG frames, or through ffmpeg "
                "into a video (needs a display or xvfb-run); --speed is commits a second (6), --fps "
                "frames a second (30)"),
            1, {},
            { QStringLiteral("--out"), QStringLiteral("--speed"), QStringLiteral("--fps"),
                QStringLiteral("--size"), QStringLiteral("--from"), QStringLiteral("--to"),
                QStringLiteral("--theme"), QStringLiteral("--color") },
            {} },
        { QStringLiteral("preview"),
            QStringLiteral("preview FILE --out FILE.png [--size WxH] [--hex] [--raw] [--minimap] [--theme "
                           "dark|light] [--line N] [--print-state]"),
            QStringLiteral(
                "Draw the preview panel alone for one file into an image: its text coloured, "
                "Markdown or HTML rendered, a picture, a board or schematic drawn; --hex shows its "
                "bytes, --raw the source of what is rendered, --line N scrolls to line N, "
                "--print-state prints what the panel shows"),
            1,
            { QStringLiteral("--hex"), QStringLiteral("--raw"), QStringLiteral("--minimap"),
                QStringLiteral("--print-state") },
            { QStringLiteral("--out"), QStringLiteral("--size"), QStringLiteral("--theme"),
                QStringLiteral("--line") },
            {} },
        { QStringLiteral("outline"), QStringLiteral("outline FILE [--filter QUERY] [--tiles WxH] [--json]"),
            QStringLiteral("Read one page, stylesheet, script, C-family or Rust file into its parts and the "
                           "links between them; --filter keeps the parts whose names match loosely, --tiles "
                           "prints the treemap of its parts for a view of that size"),
            1, { QStringLiteral("--json") }, { QStringLiteral("--filter"), QStringLiteral("--tiles") },
            outline },
        { QStringLiteral("flow"), QStringLiteral("flow FILE [--focus NAME] [--reach N] [--json]"),
            QStringLiteral("Arrange the calls between the functions of one file from left to right in the "
                           "order things run; --focus centres on one function and follows --reach steps of "
                           "calls"),
            1, { QStringLiteral("--json") }, { QStringLiteral("--focus"), QStringLiteral("--reach") }, flow },
        { QStringLiteral("search"), QStringLiteral("search PATH TEXT [--json]"),
            QStringLiteral("Find a text in every file of a folder: the files with their counts of matching "
                           "lines, most first (an all-lower-case text ignores case)"),
            2, { QStringLiteral("--json") }, {}, search },
        { QStringLiteral("clone"), QStringLiteral("clone URL"),
            QStringLiteral(
                "Download a public repository, named owner/name or by its address (github.com unless "
                "another host is named; /tree/BRANCH picks a branch), into "
                "~/.local/share/Korvane/repositories, or bring the copy made before up to date; prints "
                "the copy's folder"),
            1, {}, {}, clone },
    };
    return list;
}

bool isCommand(const QString& word)
{
    return std::any_of(
        commands().begin(), commands().end(), [&](const Command& c) { return c.name == word; });
}

// --reset-settings is the window's own and is answered by the executable, before run().
const QList<TopLevelOption>& topLevelOptions()
{
    static const QList<TopLevelOption> list {
        { QStringLiteral("--help"), QStringLiteral("Print how to run korvane and every command, then exit") },
        { QStringLiteral("--version"),
            QStringLiteral("Print the version and the commit Korvane was built from, then exit") },
        { QStringLiteral("--reset-settings"),
            QStringLiteral("Forget the window's remembered settings and recent folders") },
    };
    return list;
}

QString usage()
{
    QStringList alone;
    for (const TopLevelOption& option : topLevelOptions())
        alone << option.name;
    QString text = QStringLiteral("Usage: korvane [PATH] [--timings]\n"
                                  "       korvane COMMAND [ARGUMENTS]\n"
                                  "       korvane ")
        + alone.join(QStringLiteral(" | "))
        + QStringLiteral("\n\n"
                         "Korvane draws a folder or Git repository as a city, a tree, a replay of its\n"
                         "history or a graph of its imports. Without a command it opens its window (on\n"
                         "PATH, when given; --timings says when it first drew the city). Its commands\n"
                         "run without a window:\n\n");
    for (const Command& command : commands())
        text += QStringLiteral("  korvane ") + command.synopsis + QStringLiteral("\n      ") + command.summary
            + u'\n';
    text += QStringLiteral("\n");
    for (const TopLevelOption& option : topLevelOptions())
        text += QStringLiteral("  korvane ") + option.name + QStringLiteral("\n      ") + option.summary
            + u'\n';
    return text;
}

namespace {

int usageError(const QString& problem)
{
    Terminal::err(QStringLiteral("korvane: ") + problem + QStringLiteral("\n\n") + usage());
    return 2;
}

} // namespace

int run(const QStringList& arguments, const WindowCommand& window)
{
    if (arguments.isEmpty())
        return usageError(QStringLiteral("no command given"));
    const QString& first = arguments.first();
    if (first == u"--help" || first == u"-h" || first == u"help") {
        Terminal::out(usage());
        return 0;
    }
    if (first == u"--version") {
        Terminal::out(QStringLiteral("korvane ") + BuildInfo::versionText() + u'\n');
        return 0;
    }
    const auto command = std::find_if(
        commands().begin(), commands().end(), [&](const Command& c) { return c.name == first; });
    if (command == commands().end())
        return usageError(QStringLiteral("unknown command \"") + first + u'"');

    Arguments parsed;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& word = arguments[i];
        if (word == u"--help" || word == u"-h") {
            Terminal::out(QStringLiteral("Usage: korvane ") + command->synopsis + QStringLiteral("\n\n")
                + command->summary + u'\n');
            return 0;
        }
        if (command->flags.contains(word)) {
            parsed.flags.insert(word);
        } else if (command->options.contains(word)) {
            if (++i == arguments.size())
                return usageError(word + QStringLiteral(" needs a value"));
            parsed.options.insert(word, arguments[i]);
        } else if (word.startsWith(u"--")) {
            return usageError(
                QStringLiteral("unknown option ") + word + QStringLiteral(" for ") + command->name);
        } else {
            parsed.positional.append(word);
        }
    }
    if (parsed.positional.size() != command->positionalCount)
        return usageError(QStringLiteral("usage: korvane ") + command->synopsis);
    if (command->run)
        return command->run(parsed);
    if (!window) {
        Terminal::err(QStringLiteral("korvane ") + command->name
            + QStringLiteral(" needs a display: run it under xvfb-run, or set DISPLAY.\n"));
        return 1;
    }
    return window(command->name, parsed);
}

} // namespace Cli
