#include "app/manpage.h"

#include "cli/commandline.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

// Text as roff prints it: a backslash and a minus written out (a plain "-" may become a hyphen
// that a pasted option no longer matches), other than ASCII as a named glyph, and a line that
// would start with a control character kept as text.
QString escaped(const QString& text)
{
    QString out;
    bool lineStart = true;
    for (const char32_t c : text.toUcs4()) {
        if (lineStart && (c == U'.' || c == U'\''))
            out += QStringLiteral("\\&");
        lineStart = c == U'\n';
        if (c == U'\\')
            out += QStringLiteral("\\e");
        else if (c == U'-')
            out += QStringLiteral("\\-");
        else if (c > 0x7e)
            out += QStringLiteral("\\[u") + QString::number(uint(c), 16).toUpper().rightJustified(4, u'0')
                + u']';
        else
            out += QChar(char16_t(c));
    }
    return out;
}

// A synopsis with the words to type in bold and the places to fill in italics, an option kept on
// one line with its value; the first word is the command's name when `named`.
QString synopsisText(const QString& synopsis, bool named = true)
{
    static const QRegularExpression words(
        QStringLiteral("--[A-Za-z0-9-]+|[A-Z][A-Za-z0-9.]*|[a-z][a-z0-9-]*"));
    QString out;
    qsizetype at = 0;
    bool first = named;
    bool option = false;
    for (auto it = words.globalMatch(synopsis); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const QString word = match.captured();
        const QString between = synopsis.mid(at, match.capturedStart() - at);
        out += option && between == u" " && !word.startsWith(u"--") ? QStringLiteral("\\ ")
                                                                    : escaped(between);
        option = word.startsWith(u"--");
        if (first || word.startsWith(u"--"))
            out += QStringLiteral("\\fB") + escaped(word) + QStringLiteral("\\fR");
        else if (word.front().isUpper())
            out += QStringLiteral("\\fI") + escaped(word) + QStringLiteral("\\fR");
        else
            out += escaped(word);
        first = false;
        at = match.capturedEnd();
    }
    return out + escaped(synopsis.mid(at));
}

struct Entry {
    const char* name;
    const char* text;
};

const Entry environment[] = {
    { "KORVANE_OPEN", "A folder for the window to open, as PATH does." },
    { "KORVANE_KEYS",
        "Keys for the window to play once the folder is drawn, separated by spaces and written as Qt "
        "writes them, such as \"2 Right Right Return Shift+Tab Backspace ?\". A letter types its lower-case "
        "character, Shift+C its upper-case one. A key that needs the imports, the history or a text search "
        "waits for them." },
    { "KORVANE_SNAPSHOT",
        "Save the window to this image once the keys are played, then quit. The name's suffix picks the "
        "format (.png, .jpg, .bmp ...)." },
    { "KORVANE_STATE",
        "Write the window's state as JSON to this file once the keys are played, then quit; \"-\" writes "
        "it to standard output." },
    { "KORVANE_SIZE", "The window's size in pixels, such as 1280x800." },
    { "KORVANE_TIMINGS",
        "When set, a snapshot prints on standard error how long the scan, the imports, the history, the "
        "layout, the scene and the first frame took, and the keys typed; the window prints when it first "
        "drew the folder's city and when the commits arrived, as --timings does." },
    { "KORVANE_GIT_PATIENCE",
        "The seconds git may go without printing anything before Korvane stops it and says that git "
        "stopped answering (15)." },
    { "KORVANE_EDITOR",
        "The command that opens a file at a line for \"o\". {file} and {line} in it are replaced by the "
        "file and the line. Without them, editors that take +LINE FILE (vi, vim, nvim, gvim, nano, emacs, "
        "emacsclient, micro, kak, joe, mcedit, gedit) get that form, code, codium and code-oss get --goto "
        "FILE:LINE, subl and zed get FILE:LINE, and any other command just the file. Unset, a file opens "
        "in the desktop's application for its type." },
    { "XDG_CONFIG_HOME", "Where the settings file is kept; ~/.config when unset." },
    { "XDG_CACHE_HOME",
        "Where the history cache is kept; ~/.cache when unset. When it is not an absolute path, or neither "
        "it nor HOME is set, there is no cache." },
    { "DISPLAY, WAYLAND_DISPLAY, QT_QPA_PLATFORM",
        "Without any of them there is no display: the window, snapshot and replay say so and exit with "
        "status 1, and the other commands run as ever." },
};

const Entry files[] = {
    { "$XDG_CONFIG_HOME/Korvane/Korvane.conf",
        "The window's settings: the last eight folders it opened and how it was left. korvane "
        "--reset-settings removes it." },
    { "$XDG_CACHE_HOME/Korvane/Korvane/history/",
        "The first-parent histories already read, one file for each repository and commit, so that a "
        "repository opens at once the next time. Removing it only costs the reading again." },
};

void section(QString& page, const char* name)
{
    page += QStringLiteral(".SH ") + QLatin1StringView(name) + u'\n';
}

void paragraph(QString& page, const QString& text)
{
    page += QStringLiteral(".PP\n") + escaped(text) + u'\n';
}

void entries(QString& page, const auto& list, const char* font)
{
    for (const Entry& entry : list) {
        page += QStringLiteral(".TP\n") + QLatin1StringView(font) + escaped(QString::fromUtf8(entry.name))
            + QStringLiteral("\\fR\n") + escaped(QString::fromUtf8(entry.text)) + u'\n';
    }
}

} // namespace

QByteArray manPage(const QString& version, const QString& date)
{
    QString page = QStringLiteral(".\\\" Written by korvane's build from its command table.\n")
        + QStringLiteral(".TH KORVANE 1 %1 \"Korvane %2\" \"User Commands\"\n").arg(date, version);
    section(page, "NAME");
    page += QStringLiteral("korvane \\- draw a folder or Git repository as a 3D city\n");

    section(page, "SYNOPSIS");
    QStringList alone;
    for (const Cli::TopLevelOption& option : Cli::topLevelOptions())
        alone << option.name;
    const auto form = [&page](const QString& words, bool named) {
        page += QStringLiteral(".SY korvane\n") + synopsisText(words, named) + QStringLiteral("\n.YS\n");
    };
    form(QStringLiteral("[PATH] [--timings]"), false);
    form(alone.join(QStringLiteral(" | ")), false);
    for (const Cli::Command& command : Cli::commands())
        form(command.synopsis, true);

    section(page, "DESCRIPTION");
    paragraph(page,
        QStringLiteral(
            "Korvane shows the shape of a codebase. It scans a folder or Git repository and draws it as a "
            "3D city, where every folder is a paved lot tiled among its children and every file a "
            "building on its folder's lot, as tall as its lines and coloured by its language; or as a "
            "tree; or as a replay of its history, commit by commit; or as a graph of its imports. One "
            "file can be walked into to see its functions, classes, rules and elements with the calls "
            "between them."));
    paragraph(page,
        QStringLiteral(
            "Without a command, korvane opens its window, on PATH when one is given, or on the welcome "
            "screen with the recent folders. The window is kept at the keyboard: ? shows every key. "
            "It needs a display. With --timings it prints on standard error when it first drew the "
            "folder's city and when the commits arrived."));
    paragraph(page,
        QStringLiteral(
            "The commands run without a window, for scripts and CI. Each prints a readable summary, or "
            "a JSON document with --json, and draws a progress bar on standard error when that is a "
            "terminal. snapshot and replay draw the window offscreen and need a display too: on a "
            "machine without one, run them under xvfb-run(1)."));
    paragraph(page,
        QStringLiteral(
            "Korvane only reads the folders it shows and writes nothing into them; it asks git with "
            "GIT_OPTIONAL_LOCKS=0, so that even the index stays as it was, and a repository's own "
            "configuration cannot make git run a program. Nothing outside the folder is read, not "
            "even through a symbolic link."));

    section(page, "COMMANDS");
    for (const Cli::Command& command : Cli::commands()) {
        page += QStringLiteral(".TP\n") + synopsisText(command.synopsis) + u'\n' + escaped(command.summary)
            + QStringLiteral(".\n");
    }

    section(page, "OPTIONS");
    for (const Cli::TopLevelOption& option : Cli::topLevelOptions()) {
        page += QStringLiteral(".TP\n\\fB") + escaped(option.name) + QStringLiteral("\\fR\n")
            + escaped(option.summary) + QStringLiteral(".\n");
    }
    paragraph(page, QStringLiteral("--help after a command prints that command's synopsis and summary."));

    section(page, "ENVIRONMENT");
    entries(page, environment, "\\fB");

    section(page, "FILES");
    entries(page, files, "\\fI");

    section(page, "EXIT STATUS");
    page += QStringLiteral(".TP\n0\n") + escaped(QStringLiteral("Done.")) + u'\n';
    page += QStringLiteral(".TP\n1\n")
        + escaped(QStringLiteral("Failed: bad input, such as a path that is not a folder, gets one line on "
                                 "standard error saying why."))
        + u'\n';
    page += QStringLiteral(".TP\n2\n")
        + escaped(
            QStringLiteral("Wrong usage: an unknown command or option, a missing value or argument. The "
                           "usage is printed on standard error."))
        + u'\n';

    section(page, "EXAMPLES");
    const Entry examples[] = {
        { "korvane ~/src/project", "Opens the folder in the window." },
        { "korvane scan . --json > tree.json", "Writes the scanned tree of the current folder as JSON." },
        { "xvfb-run -a korvane snapshot . --out city.png --theme light --size 1600x1000",
            "Draws the current folder's city into an image on a machine without a display." },
        { "korvane history . --at end",
            "Replays the repository's history to its last commit and lists its files." },
        { "korvane search . TODO",
            "Lists the files holding TODO, those with the most matching lines first." },
    };
    for (const Entry& example : examples) {
        page += QStringLiteral(".TP\n\\fB") + escaped(QString::fromUtf8(example.name))
            + QStringLiteral("\\fR\n") + escaped(QString::fromUtf8(example.text)) + u'\n';
    }

    section(page, "SEE ALSO");
    page += QStringLiteral(".BR git (1),\n.BR xvfb\\-run (1),\n.BR ffmpeg (1)\n");
    return page.toUtf8();
}
