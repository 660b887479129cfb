#include "document/webreader.h"
#include "scan/scanner.h"
#include "search/foldersearch.h"
#include "support/testsupport.h"
#include "text/fuzzy.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <cctype>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

struct FuzzyRow {
    const char* query;
    const char* name;
    bool matches;
};

void PrintTo(const FuzzyRow& row, std::ostream* out)
{
    *out << '"' << row.query << "\" in " << row.name;
}

struct InitialsRow {
    const char* name;
    const char* initials;
};

void PrintTo(const InitialsRow& row, std::ostream* out)
{
    *out << row.name;
}

struct NeedleRow {
    const char* label;
    const char* query;
    const char* text;
    qsizetype lines; // lines that hold a match
};

void PrintTo(const NeedleRow& row, std::ostream* out)
{
    *out << row.label;
}

// The scanned tree of a real folder, as the window would hold it.
std::shared_ptr<FileNode> scan(const QString& path, Scanner::Scope scope = Scanner::Scope::everything)
{
    auto outcome = Scanner(path, std::make_shared<CancelFlag>(), Scanner::defaultMaxFiles, scope).scan();
    return std::get<ScanResult>(outcome).root;
}

// "path count" for each file found, in result order.
QStringList found(const FileNode& root, const QString& query)
{
    const auto result = FolderSearch::search(root, *TextNeedle::make(query), std::make_shared<CancelFlag>());
    QStringList rows;
    for (const FileNode* node : result->nodes)
        rows << node->relativePath + u' ' + QString::number(result->counts.value(node));
    return rows;
}

// The same rows from the command line's search of the folder's listed paths, with its skipped count.
QStringList foundInPaths(const QString& folder, const QString& query, qint64* skipped = nullptr)
{
    PathSearch search(folder, *TextNeedle::make(query), std::make_shared<CancelFlag>());
    auto listed = Scanner(folder, std::make_shared<CancelFlag>()).list([&](const ScanListing& tracked) {
        search.read(tracked);
    });
    search.read(std::get<ScanListing>(listed));
    const auto result = search.result();
    QStringList rows;
    for (const auto& [path, count] : result->files)
        rows << QString::fromUtf8(path) + u' ' + QString::number(count);
    if (skipped)
        *skipped = result->skipped;
    return rows;
}

} // namespace

class FuzzyMatch : public testing::TestWithParam<FuzzyRow> { };

TEST_P(FuzzyMatch, EveryTermMatchesByContainingInitialsOrOrder)
{
    EXPECT_EQ(
        Fuzzy::matches(Fuzzy::terms(QString::fromUtf8(GetParam().query)), QString::fromUtf8(GetParam().name)),
        GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(Table, FuzzyMatch,
    testing::Values(FuzzyRow { "drwpnl", "drawPanel", true }, FuzzyRow { "dp", "drawPanel", true },
        FuzzyRow { "pd", "drawPanel", false }, FuzzyRow { "pd", "updateView", true },
        FuzzyRow { "DrawP", "drawPanel", true }, FuzzyRow { "draw view", "draw_panel_view", true },
        FuzzyRow { "draw view", "drawPanel", false }, FuzzyRow { "dpv", "draw_panel_view", true },
        FuzzyRow { "  \t ", "drawPanel", false }, FuzzyRow { "panelx", "drawPanel", false },
        FuzzyRow { "hp", "HTMLParser", true }, FuzzyRow { "vw", "drawPanel", false },
        FuzzyRow { "nd", "renderNode", true }, FuzzyRow { "ü", "grün", true }));

class FuzzyInitials : public testing::TestWithParam<InitialsRow> { };

TEST_P(FuzzyInitials, StartAWordAtSeparatorsAndCamelCase)
{
    EXPECT_EQ(Fuzzy::initials(QString::fromUtf8(GetParam().name)), QString::fromUtf8(GetParam().initials));
}

INSTANTIATE_TEST_SUITE_P(Table, FuzzyInitials,
    testing::Values(InitialsRow { "drawPanel", "dp" }, InitialsRow { "draw_panel_view", "dpv" },
        InitialsRow { "my-file.name here", "mfnh" }, InitialsRow { "HTMLParser", "hp" },
        InitialsRow { "__init__", "i" }, InitialsRow { "$el", "e" }, InitialsRow { "x2y", "x" },
        InitialsRow { "parse2D", "p" }, InitialsRow { "", "" }));

struct PositionsRow {
    const char* query;
    const char* name;
    const char* marked; // the name with its matched characters upper-cased
};

void PrintTo(const PositionsRow& row, std::ostream* os)
{
    *os << row.query << " in " << row.name;
}

class FuzzyPositions : public testing::TestWithParam<PositionsRow> { };

// The letters the rail marks are the ones that made the name match: a contained run before the
// initials, the initials before a scattered subsequence.
TEST_P(FuzzyPositions, MarkTheLettersThatMatched)
{
    const QString name = QString::fromUtf8(GetParam().name);
    QString marked = name.toLower();
    for (const qsizetype at : Fuzzy::positions(Fuzzy::terms(QString::fromUtf8(GetParam().query)), name))
        marked[at] = marked[at].toUpper();
    EXPECT_EQ(marked, QString::fromUtf8(GetParam().marked));
}

INSTANTIATE_TEST_SUITE_P(Table, FuzzyPositions,
    testing::Values(PositionsRow { "drwpnl", "drawPanel.cpp", "DRaWPaNeL.cpp" },
        PositionsRow { "dp", "drawPanel.cpp", "DrawPanel.cpp" },
        PositionsRow { "dpv", "draw_panel_view", "Draw_Panel_View" },
        PositionsRow { "draw view", "draw_panel_view", "DRAW_panel_VIEW" },
        PositionsRow { "pan", "drawPanel", "drawPANel" }, PositionsRow { "hp", "HTMLParser", "HtmlParser" },
        PositionsRow { "", "drawPanel", "drawpanel" }, PositionsRow { "zz", "drawPanel", "drawpanel" }));

TEST(Fuzzy, TermsAreLowerCasedAndSplitAtBlanks)
{
    EXPECT_EQ(Fuzzy::terms(u" Draw\tVIEW  x "), (QStringList { u"draw"_s, u"view"_s, u"x"_s }));
    EXPECT_TRUE(Fuzzy::terms(u" \t").isEmpty());
}

TEST(TextNeedle, BlankQueriesMakeNoNeedleAndCaseIsSmart)
{
    EXPECT_FALSE(TextNeedle::make(u"   \t\n"));
    EXPECT_FALSE(TextNeedle::make(u""));
    EXPECT_TRUE(TextNeedle::make(u" Panel ")->caseSensitive());
    EXPECT_EQ(TextNeedle::make(u" Panel ")->text(), u"Panel");
    EXPECT_FALSE(TextNeedle::make(u"panel")->caseSensitive());
    EXPECT_FALSE(TextNeedle::make(u"42 == x")->caseSensitive());
}

TEST(TextNeedle, RangesResumeAtTheEndOfEachHitAndStopAtTheLimit)
{
    const QString text = u"Panel panel PANEL panelpanel"_s;
    using R = TextNeedle::Range;
    EXPECT_EQ(TextNeedle::make(u"Panel")->ranges(text, 100), (QList<R> { { 0, 5 } }));
    EXPECT_EQ(TextNeedle::make(u"panel")->ranges(text, 100),
        (QList<R> { { 0, 5 }, { 6, 5 }, { 12, 5 }, { 18, 5 }, { 23, 5 } }));
    EXPECT_EQ(TextNeedle::make(u"panel")->ranges(text, 2), (QList<R> { { 0, 5 }, { 6, 5 } }));
    EXPECT_EQ(TextNeedle::make(u"aa")->ranges(u"aaaaa", 100), (QList<R> { { 0, 2 }, { 2, 2 } }));
}

class NeedleLines : public testing::TestWithParam<NeedleRow> { };

TEST_P(NeedleLines, CountLinesWithAHitOnceWhetherTextOrBytes)
{
    const auto needle = TextNeedle::make(QString::fromUtf8(GetParam().query));
    const QByteArray bytes(GetParam().text);
    EXPECT_EQ(needle->lineCount(QString::fromUtf8(bytes)), GetParam().lines) << "decoded";
    EXPECT_EQ(needle->lineCount(QByteArrayView(bytes)), GetParam().lines) << "bytes";
}

INSTANTIATE_TEST_SUITE_P(Table, NeedleLines,
    testing::Values(NeedleRow { "exactCase", "Panel", "Panel\npanel\nPANEL\n", 1 },
        NeedleRow { "ignoredCase", "panel", "Panel\npanel\nPANEL\nPaNeL", 4 },
        NeedleRow { "manyHitsOneLine", "a", "a a a a\nb\na", 2 },
        NeedleRow { "noFinalNewline", "end", "x\nthe end", 1 }, NeedleRow { "emptyText", "x", "", 0 },
        NeedleRow { "needleLongerThanText", "longer", "long", 0 },
        NeedleRow { "crlf", "two", "one\r\ntwo\r\nTWO\r\n", 2 },
        NeedleRow { "acrossCaseAtWindowEdge", "abcab", "xxABCAB\nabcaB\nabcax", 2 },
        NeedleRow { "punctuationIsNotFolded", "[x]", "{x}\n[x]\n[X]", 2 },
        NeedleRow { "nonAsciiIgnoredCase", "ärger", "ÄRGER\närger\narger", 2 },
        NeedleRow { "nonAsciiExactCase", "Ärger", "ÄRGER\närger\nÄrger", 1 },
        NeedleRow { "letterBytesAreNotFoldedBeyondAscii", "z", "\xc5\xbb\nZ", 1 },
        NeedleRow { "minifiedLineCountsOnce", "x", "x;x;x;x;x;x;x;x;x;x;x;x;x;x;x;x;x", 1 }),
    [](const auto& info) { return std::string(info.param.label); });

// Long texts are searched many places at a time: a hit is found wherever it stands against those
// blocks, at the very end too, and bytes that only look alike to a block's quick test are turned away.
// The decoded count, which compares characters one by one, is the reference.
class NeedleInLongText : public testing::TestWithParam<const char*> { };

TEST_P(NeedleInLongText, BytesCountWhatTheDecodedTextCountsWhereverTheHitStands)
{
    const QByteArray query(GetParam());
    const auto needle = TextNeedle::make(QString::fromUtf8(query));
    // Bytes that differ from the needle's only in the bit that makes a letter lower-case.
    QByteArray lookAlike = query;
    for (char& c : lookAlike)
        c = char(c ^ 0x20);
    QByteArray upper = query.toUpper();
    for (const qsizetype length : { 15, 16, 17, 31, 47, 64, 100 }) {
        for (qsizetype at = 0; at + query.size() <= length; ++at) {
            for (const QByteArray& put : { query, upper, lookAlike }) {
                QByteArray text(length, 'x');
                text.replace(at, put.size(), put);
                if (at > 20)
                    text[at / 2] = '\n';
                const qsizetype expected = needle->lineCount(QString::fromLatin1(text));
                EXPECT_EQ(needle->lineCount(QByteArrayView(text)), expected)
                    << text.constData() << " (" << length << " bytes, at " << at << ")";
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Needles, NeedleInLongText,
    testing::Values("l", "linux", "Linux", "@x", "`x", "[x]", "x{", "a_b", "0x10", "needle in a haystack"),
    [](const auto& info) {
        std::string name;
        for (const char* c = info.param; *c; ++c)
            name += std::isalnum(uchar(*c)) ? *c : '_';
        return name + std::to_string(info.index);
    });

TEST(LineHits, ListTheMatchingLinesOfEveryNodeThatHoldsThem)
{
    const QByteArray script = "function outer() {\n"
                              "  draw();\n"
                              "  function inner() {\n"
                              "    draw();\n"
                              "  }\n"
                              "}\n"
                              "function other() {\n"
                              "  return 1;\n"
                              "}\n";
    const WebDocument document = *WebReader::read(script, u"js");
    const auto hits = document.lineHits(*TextNeedle::make(u"draw"));
    QHash<QString, QList<qint64>> byName;
    for (auto it = hits.begin(); it != hits.end(); ++it)
        byName.insert(document.nodes[size_t(it.key())].name, it.value());
    EXPECT_EQ(byName.value(u"outer"_s), (QList<qint64> { 1, 3 }));
    EXPECT_EQ(byName.value(u"inner"_s), (QList<qint64> { 3 }));
    EXPECT_EQ(byName.value(u"Script"_s), (QList<qint64> { 1, 3 }));
    EXPECT_FALSE(byName.contains(u"other"_s)) << "a node without a hit is absent";
    EXPECT_TRUE(document.lineHits(*TextNeedle::make(u"Draw")).isEmpty());
}

TEST(FolderSearch, OrdersByCountThenNaturalNameAndSkipsWhatIsNotTextOrNotAFile)
{
    TempFolder folder;
    folder.write(u"file10.txt"_s, "needle\nneedle\n");
    folder.write(u"file2.txt"_s, "NEEDLE\nneedle needle\n");
    folder.write(u"sub/File3.txt"_s, "needle\n");
    folder.write(u"most.js"_s, "needle\nneedle\nneedle\n");
    folder.write(u"none.txt"_s, "haystack\n");
    folder.write(u"zero.bin.txt"_s, QByteArray("needle\n\0", 8));
    folder.write(u"picture.png"_s, "needle\n");
    // A pipe that nobody writes to: opening it to read would wait forever.
    ASSERT_EQ(mkfifo(QFile::encodeName(folder.path(u"pipe.txt"_s)).constData(), 0600), 0);
    // Exactly at the limit is not read; one byte under it is.
    QByteArray large(3000000, 'x');
    large.replace(0, 7, "needle\n");
    folder.write(u"atLimit.txt"_s, large);
    large.chop(1);
    folder.write(u"underLimit.txt"_s, large);

    const QStringList expected { u"most.js 3"_s, u"file2.txt 2"_s, u"file10.txt 2"_s, u"sub/File3.txt 1"_s,
        u"underLimit.txt 1"_s };
    EXPECT_EQ(found(*scan(folder.path()), u"needle"_s), expected);
    // What it did not read is counted: the zero byte, the picture, the pipe and the file at the limit.
    const auto all = FolderSearch::search(*scan(folder.path()), *TextNeedle::make(u"needle"), {});
    EXPECT_EQ(all->skipped, 4);
    // The search finds for itself what the scan measures, so a tree that was only listed gives the same.
    EXPECT_EQ(found(*scan(folder.path(), Scanner::Scope::listing), u"needle"_s), expected);
    EXPECT_EQ(found(*scan(folder.path()), u"NEEDLE"_s), (QStringList { u"file2.txt 1"_s }));
}

// Without a tree, the listed paths are searched into the same order: equal counts by name, and
// equal names as the tree holds them (a folder's folders before its files, natural order, and names
// the natural order calls equal as listed), in a repository and in a plain folder.
TEST(FolderSearch, ListedPathsFindWhatTheTreeFindsInTheTreesOrder)
{
    GitRepo repo;
    const QStringList names { u"b/x.txt"_s, u"a/x.txt"_s, u"x.txt"_s, u"a/b/x.txt"_s, u"a-b/x.txt"_s,
        u"A/x.txt"_s, u"f10/x.txt"_s, u"f9/x.txt"_s, u"f09/x.txt"_s, u"a/y.txt"_s, u"a/Y.txt"_s,
        u"z/file10.txt"_s, u"z/file9.txt"_s, u"pic/x.png"_s, u"bin.txt"_s, u"big/x.txt"_s };
    for (const QString& name : names)
        repo.write(name, "needle\n");
    repo.write(u"bin.txt"_s, QByteArray("needle\n\0", 8));
    repo.write(u"big/x.txt"_s, "needle\nneedle\n");
    repo.commitAll(u"one"_s);
    repo.write(u"untracked/x.txt"_s, "needle\n");

    const QStringList fromTree = found(*scan(repo.path()), u"needle"_s);
    ASSERT_EQ(fromTree.size(), names.size() - 1); // the picture is passed over, the zero byte skipped
    EXPECT_EQ(fromTree.first(), u"big/x.txt 2"_s);
    qint64 skipped = 0;
    EXPECT_EQ(foundInPaths(repo.path(), u"needle"_s, &skipped), fromTree);
    EXPECT_EQ(skipped, 2);
    QDir(repo.path(u".git"_s)).removeRecursively();
    EXPECT_EQ(foundInPaths(repo.path(), u"needle"_s), found(*scan(repo.path()), u"needle"_s));
}

// git lists only files and links, so its paths are opened without a look first: one that has become
// a pipe or a link since it was committed is still never read, and the search does not wait on it.
TEST(FolderSearch, ATrackedFileThatBecameAPipeOrALinkIsNotRead)
{
    TempFolder outside;
    outside.write(u"secret.txt"_s, "needle\n");
    GitRepo repo;
    repo.write(u"a.txt"_s, "needle\n");
    repo.write(u"pipe.txt"_s, "needle\n");
    repo.write(u"link.txt"_s, "needle\n");
    repo.commitAll(u"one"_s);
    ASSERT_TRUE(QFile::remove(repo.path(u"pipe.txt"_s)));
    ASSERT_EQ(mkfifo(QFile::encodeName(repo.path(u"pipe.txt"_s)).constData(), 0600), 0);
    ASSERT_TRUE(QFile::remove(repo.path(u"link.txt"_s)));
    ASSERT_TRUE(QFile::link(outside.path(u"secret.txt"_s), repo.path(u"link.txt"_s)));
    qint64 skipped = 0;
    EXPECT_EQ(foundInPaths(repo.path(), u"needle"_s, &skipped), QStringList { u"a.txt 1"_s });
    EXPECT_EQ(skipped, 2);
}

TEST(FolderSearch, ACancelledSearchReportsNothing)
{
    TempFolder folder;
    folder.write(u"a.txt"_s, "needle\n");
    const auto cancel = std::make_shared<CancelFlag>();
    cancel->cancel();
    EXPECT_FALSE(FolderSearch::search(*scan(folder.path()), *TextNeedle::make(u"needle"), cancel));
}

TEST(FolderSearch, AFileThatGrewPastTheLimitSinceTheScanIsSkipped)
{
    TempFolder folder;
    folder.write(u"a.txt"_s, "needle\n");
    const auto root = scan(folder.path());
    ASSERT_EQ(found(*root, u"needle"_s), QStringList { u"a.txt 1"_s }) << "found while small";
    folder.write(u"a.txt"_s, "needle\n" + QByteArray(3000000, 'x'));
    EXPECT_TRUE(found(*root, u"needle"_s).isEmpty());
}
