#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

struct UsageCase {
    const char* name;
    QStringList arguments;
    int exitCode;
    const char* out; // expected start of standard output
    const char* err; // expected start of standard error
};

void PrintTo(const UsageCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class FolderGolden : public testing::TestWithParam<GoldenCase> { };

TEST_P(FolderGolden, PrintsWhatTheExpectedFileHolds)
{
    // The checked-in case folder is copied under its own name, with fixed times.
    TempFolder temp;
    const QString name = QString::fromLatin1(GetParam().input);
    QDirIterator it(dataPath(name), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        temp.write(name + u'/' + QDir(dataPath(name)).relativeFilePath(file), readFile(file));
    }
    temp.touchAll(1700000000);
    const QString folder = temp.path(name);

    // The first word is the command, the rest follow the folder.
    QStringList words = QString::fromLatin1(GetParam().flags).split(u' ', Qt::SkipEmptyParts);
    const QString command = words.takeFirst();
    const Outcome run = korvane(QStringList { command, folder } + words);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, QByteArray()) << "no progress bar when standard error is not a terminal";
    expectGolden(QByteArray(run.out).replace(QFile::encodeName(folder), "FOLDER"),
        dataPath(QString::fromLatin1(GetParam().expected)));
}

INSTANTIATE_TEST_SUITE_P(Cases, FolderGolden,
    testing::Values(GoldenCase { "summary", "scan-basic", "scan", "scan-basic.expected" },
        GoldenCase { "json", "scan-basic", "scan --json", "scan-basic-json.expected" },
        GoldenCase { "city", "scan-basic", "layout --json", "scan-basic-city.expected" },
        GoldenCase {
            "treeSummary", "scan-basic", "layout --mode tree --height size", "scan-basic-tree.expected" },
        GoldenCase { "imports", "imports-basic", "imports", "imports-basic.expected" },
        GoldenCase { "importsJson", "imports-basic", "imports --json", "imports-basic-json.expected" },
        GoldenCase { "graphSummary", "imports-basic", "layout --mode graph", "imports-basic-graph.expected" },
        GoldenCase { "search", "search-basic", "search panel", "search-basic.expected" },
        GoldenCase { "searchJson", "search-basic", "search Panel --json", "search-basic-json.expected" }),
    rowName);

class SexprGolden : public testing::TestWithParam<GoldenCase> { };

TEST_P(SexprGolden, PrintsWhatTheExpectedFileHolds)
{
    expectCommandGolden(u"sexpr"_s, GetParam());
}

// The board file ends in the middle of a zone: what is there is shown, closed where the text ends.
INSTANTIATE_TEST_SUITE_P(Cases, SexprGolden,
    testing::Values(GoldenCase { "tree", "board.kicad_pcb", "", "board-tree.expected" },
        GoldenCase { "json", "board.kicad_pcb", "--json", "board-json.expected" },
        GoldenCase { "summary", "board.kicad_pcb", "--summary", "board-summary.expected" }),
    rowName);

TEST(SexprCommand, ADeeplyNestedFileIsPrintedWhole)
{
    TempFolder temp;
    const QString file = temp.write(u"deep.kicad_sch"_s, QByteArray(100000, '(') + "x");
    const Outcome run = korvane({ u"sexpr"_s, file, u"--json"_s });
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out.count('['), 100000);
    EXPECT_EQ(run.out.count(']'), 100000);
    EXPECT_TRUE(run.out.contains("\"x\""));
}

class CommandLineUsage : public testing::TestWithParam<UsageCase> { };

TEST_P(CommandLineUsage, AnswersWithOneClearMessageAndTheRightStatus)
{
    const Outcome run = korvane(GetParam().arguments);
    EXPECT_EQ(run.exitCode, GetParam().exitCode);
    EXPECT_TRUE(run.out.startsWith(GetParam().out)) << run.out.toStdString();
    EXPECT_TRUE(run.err.startsWith(GetParam().err)) << run.err.toStdString();
    if (GetParam().exitCode != 0) {
        EXPECT_EQ(run.out, QByteArray()) << "nothing on standard output after a failure";
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CommandLineUsage,
    testing::Values(
        UsageCase { "missingFolder", { u"scan"_s, u"/no/such"_s }, 1, "", "/no/such is not a folder.\n" },
        UsageCase { "jsonOfMissingFolder", { u"scan"_s, u"--json"_s, u"/no/such"_s }, 1, "",
            "/no/such is not a folder.\n" },
        UsageCase { "fileNotFolder", { u"scan"_s, QStringLiteral(KORVANE_BINARY) }, 1, "",
            KORVANE_BINARY " is not a folder.\n" },
        UsageCase { "noPath", { u"scan"_s }, 2, "", "korvane: usage: korvane scan PATH" },
        UsageCase { "twoPaths", { u"scan"_s, u"a"_s, u"b"_s }, 2, "", "korvane: usage: korvane scan PATH" },
        UsageCase { "unknownOption", { u"scan"_s, u"."_s, u"--bogus"_s }, 2, "",
            "korvane: unknown option --bogus for scan" },
        UsageCase {
            "unknownCommand", { u"frobnicate"_s, u"x"_s }, 2, "", "korvane: unknown command \"frobnicate\"" },
        UsageCase { "windowWithoutDisplay", {}, 1, "", "Korvane's window needs a display" },
        UsageCase { "sexprOfMissingFile", { u"sexpr"_s, u"/no/such.kicad_pcb"_s }, 1, "",
            "/no/such.kicad_pcb is not a file.\n" },
        UsageCase { "sexprOfAFolder", { u"sexpr"_s, QStringLiteral(KORVANE_TEST_DATA) }, 1, "",
            KORVANE_TEST_DATA " is not a file.\n" },
        UsageCase { "sexprOfNothing",
            { u"sexpr"_s, QStringLiteral(KORVANE_TEST_DATA "/scan-basic/empty.txt") }, 1, "",
            KORVANE_TEST_DATA "/scan-basic/empty.txt holds no S-expression.\n" },
        UsageCase { "sexprTwoForms", { u"sexpr"_s, u"x"_s, u"--json"_s, u"--summary"_s }, 2, "",
            "korvane: --json and --summary go one at a time" },
        UsageCase { "layoutMode", { u"layout"_s, u"."_s, u"--mode"_s, u"map"_s }, 2, "",
            "korvane: --mode is city, tree or graph" },
        UsageCase { "layoutHeight", { u"layout"_s, u"."_s, u"--height"_s, u"tall"_s }, 2, "",
            "korvane: --height is lines, size, churn or flat" },
        UsageCase { "layoutScale", { u"layout"_s, u"."_s, u"--scale"_s, u"-1"_s }, 2, "",
            "korvane: --scale takes a number above 0" },
        UsageCase {
            "layoutOfMissingFolder", { u"layout"_s, u"/no/such"_s }, 1, "", "/no/such is not a folder.\n" },
        UsageCase {
            "importsOfMissingFolder", { u"imports"_s, u"/no/such"_s }, 1, "", "/no/such is not a folder.\n" },
        UsageCase { "importsWithoutFolder", { u"imports"_s, u"--json"_s }, 2, "",
            "korvane: usage: korvane imports PATH [--json]" },
        UsageCase { "historyOfMissingFolder", { u"history"_s, u"/no/such"_s }, 1, "",
            "such is not a git repository.\n" },
        UsageCase { "historyAtNonsense", { u"history"_s, u"."_s, u"--at"_s, u"soon"_s }, 2, "",
            "korvane: --at takes a commit number or \"end\"" },
        UsageCase { "outlineOfMissingFile", { u"outline"_s, u"/no/such.js"_s }, 1, "",
            "/no/such.js is not a file.\n" },
        UsageCase { "outlineOfUnreadableKind",
            { u"outline"_s, QStringLiteral(KORVANE_TEST_DATA "/board.kicad_pcb") }, 1, "",
            "No structure reader for .kicad_pcb files.\n" },
        UsageCase { "outlineWithoutExtension", { u"outline"_s, QStringLiteral(KORVANE_BINARY) }, 1, "",
            "No structure reader for files without an extension.\n" },
        UsageCase { "outlineOfNothing", { u"outline"_s }, 2, "", "korvane: usage: korvane outline FILE" },
        UsageCase { "outlineUnknownOption", { u"outline"_s, u"a.js"_s, u"--tree"_s }, 2, "",
            "korvane: unknown option --tree for outline" },
        UsageCase {
            "searchBlank", { u"search"_s, u"."_s, u"  "_s }, 1, "", "The text to search for is blank.\n" },
        UsageCase { "searchOfMissingFolder", { u"search"_s, u"/no/such"_s, u"x"_s }, 1, "",
            "/no/such is not a folder.\n" },
        UsageCase {
            "searchWithoutText", { u"search"_s, u"."_s }, 2, "", "korvane: usage: korvane search PATH TEXT" },
        UsageCase { "flowWithoutCalls",
            { u"flow"_s, QStringLiteral(KORVANE_TEST_DATA "/structure/theme.css") }, 1, "",
            "No calls between the functions here, so there is no flow to draw.\n" },
        UsageCase { "flowOfUnknownFunction",
            { u"flow"_s, QStringLiteral(KORVANE_TEST_DATA "/structure/menu.js"), u"--focus"_s, u"nothing"_s },
            1, "", "No function named nothing in menu.js.\n" },
        UsageCase { "flowOfAnUncalledFunction",
            { u"flow"_s, QStringLiteral(KORVANE_TEST_DATA "/structure/menu.js"), u"--focus"_s, u"count"_s },
            1, "", "Nothing calls this and it calls nothing the file defines.\n" },
        UsageCase { "flowReach", { u"flow"_s, u"a.js"_s, u"--reach"_s, u"0"_s }, 2, "",
            "korvane: --reach takes a number of calls from 1 to" },
        UsageCase { "version", { u"--version"_s }, 0, "korvane " KORVANE_VERSION, "" },
        UsageCase {
            "help", { u"--help"_s }, 0, "Usage: korvane [PATH] [--timings]\n       korvane COMMAND", "" },
        UsageCase { "commandHelp", { u"scan"_s, u"--help"_s }, 0, "Usage: korvane scan PATH [--json]", "" }),
    rowName);

TEST(ScanCommand, JsonOfAHostileRepositoryIsRightAndRunsNothingItNames)
{
    TempFolder outside;
    const QString marker = outside.path(u"marker"_s);
    GitRepo repo;
    repo.write(u".gitattributes"_s, "*.txt filter=x\n");
    repo.write(u"a.txt"_s, "one\n");
    repo.commitAll(u"one"_s, 1700000000);
    repo.git({ u"config"_s, u"core.fsmonitor"_s, u"touch '" + marker + u"'" });
    repo.git({ u"config"_s, u"filter.x.clean"_s, touching(marker) });
    repo.write(u"a.txt"_s, "one\ntwo\n");
    repo.write(u"new.md"_s, "# new\n");

    const Outcome run = korvane({ u"scan"_s, u"--json"_s, repo.path() });
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_FALSE(QFile::exists(marker)) << "the scan ran a program the repository named";
    const QJsonObject json = QJsonDocument::fromJson(run.out).object();
    EXPECT_EQ(json[u"branch"].toString(), u"main");
    QHash<QString, QJsonObject> files;
    for (const QJsonValue& child : json[u"root"][u"children"].toArray())
        files.insert(child[u"relativePath"].toString(), child.toObject());
    EXPECT_EQ(files[u"a.txt"_s][u"gitStatus"].toString(), u"modified");
    EXPECT_EQ(files[u"a.txt"_s][u"lines"].toInt(), 2);
    EXPECT_EQ(files[u"a.txt"_s][u"lastCommit"].toInteger(), 1700000000);
    EXPECT_EQ(files[u"new.md"_s][u"gitStatus"].toString(), u"untracked");
    EXPECT_TRUE(files[u".gitattributes"_s][u"gitStatus"].isNull());

    repo.git({ u"status"_s, u"--porcelain"_s });
    EXPECT_TRUE(QFile::exists(marker)) << "plain git status does run them";
}

struct EscapeCase {
    const char* name;
    QStringList arguments; // REPO stands for the repository
    const char* shown; // how the escape must appear in the output
};

void PrintTo(const EscapeCase& row, std::ostream* out)
{
    *out << row.name;
}

class TerminalEscapes : public testing::TestWithParam<EscapeCase> { };

// A repository's names, messages and atoms can carry escape sequences that retitle, clear or paste
// into the user's terminal; printed, they show as text.
TEST_P(TerminalEscapes, ArePrintedAsTextNeverAsTheBytes)
{
    static const GitRepo repo = [] {
        GitRepo made;
        made.write(u"evil\x1b]0;pwned\x07.txt"_s, "needle\n");
        made.write(u"board.kicad_pcb"_s,
            "(kicad_pcb (net \"\x1b[2J\xc2\x9b"
            "31m\"))\n");
        made.commitAll(u"set the title \x1b]52;c;cGF3bmVk\x07 here"_s, 1700000000);
        return made;
    }();
    QStringList arguments;
    for (const QString& word : GetParam().arguments)
        arguments << QString(word).replace(u"REPO"_s, repo.path());
    const Outcome run = korvane(arguments);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_FALSE(run.out.contains('\x1b')) << run.out.toStdString();
    EXPECT_FALSE(run.out.contains('\x07')) << run.out.toStdString();
    EXPECT_FALSE(run.out.contains("\xc2\x9b")) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(GetParam().shown)) << run.out.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Table, TerminalEscapes,
    testing::Values(
        EscapeCase { "HistorySubject", { u"history"_s, u"REPO"_s, u"--no-cache"_s }, "\\x1b]52;c;" },
        EscapeCase {
            "HistoryJson", { u"history"_s, u"REPO"_s, u"--json"_s, u"--no-cache"_s }, "\\u001b]52;c;" },
        EscapeCase {
            "SearchFileName", { u"search"_s, u"REPO"_s, u"needle"_s }, "evil\\x1b]0;pwned\\x07.txt" },
        EscapeCase { "SexprAtom", { u"sexpr"_s, u"REPO/board.kicad_pcb"_s }, "\\x1b[2J\\x9b31m" }),
    rowName);

TEST(OutlineCommand, AFilterKeepsThePartsWhoseNamesMatchLoosely)
{
    const Outcome run = korvane({ u"outline"_s, dataPath(u"structure/menu.js"_s), u"--filter"_s, u"tgl"_s });
    EXPECT_EQ(run.exitCode, 0);
    expectGolden(run.out, dataPath(u"outline-filter.expected"_s));
    const Outcome tiles
        = korvane({ u"outline"_s, dataPath(u"structure/menu.js"_s), u"--tiles"_s, u"640x400"_s });
    EXPECT_EQ(tiles.exitCode, 0);
    expectGolden(tiles.out, dataPath(u"outline-tiles.expected"_s));
    const Outcome blank = korvane({ u"outline"_s, dataPath(u"structure/menu.js"_s), u"--filter"_s, u" "_s });
    EXPECT_EQ(blank.out, korvane({ u"outline"_s, dataPath(u"structure/menu.js"_s) }).out)
        << "a blank query filters nothing";
}

TEST(FlowCommand, PrintsTheLayersAndCallsOfAFile)
{
    const QString menu = dataPath(u"structure/menu.js"_s);
    const Outcome whole = korvane({ u"flow"_s, menu });
    EXPECT_EQ(whole.exitCode, 0);
    expectGolden(whole.out, dataPath(u"flow-menu.expected"_s));
    const Outcome centred
        = korvane({ u"flow"_s, menu, u"--focus"_s, u"toggle"_s, u"--reach"_s, u"1"_s, u"--json"_s });
    EXPECT_EQ(centred.exitCode, 0);
    expectGolden(centred.out, dataPath(u"flow-menu-toggle-json.expected"_s));
}
