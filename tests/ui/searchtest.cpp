// The search field and the filters in the real window: names and text found as a user types them,
// what the window then shows, and how the field gives the keys back.

#include "display.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// Names for the loose matcher, and texts for the needle, each in a folder of its own.
class SearchFolder : public TempFolder {
public:
    SearchFolder()
    {
        write(u"names/drawPanel.cpp"_s, "void draw();\n");
        write(u"names/draw_panel_view.h"_s, "// Panel\n");
        write(u"names/updown.c"_s, "int panel;\n");
        write(u"names/readme.md"_s, "nothing\n");
        write(u"text/file10.txt"_s, "foo\nfoo\n");
        write(u"text/file2.txt"_s, "foo\nfoo foo\n");
        write(u"text/many.txt"_s, "foo\nfoo\nfoo\n");
        write(u"text/zero.txt"_s, QByteArray("foo\n\0", 5));
        QByteArray large(3000000, 'x');
        large.replace(0, 4, "foo\n");
        write(u"text/atLimit.txt"_s, large);
        large.chop(1);
        write(u"text/underLimit.txt"_s, large);
    }
};

SearchFolder& folder()
{
    static SearchFolder shared;
    return shared;
}

QJsonObject stateAfter(const QStringList& options)
{
    TempFolder out;
    const Outcome run
        = korvaneOnDisplay(QStringList { u"snapshot"_s, folder().path(), u"--out"_s, out.path(u"s.png"_s),
                               u"--size"_s, u"1000x700"_s, u"--print-state"_s }
            + options);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    return QJsonDocument::fromJson(run.out).object();
}

QStringList strings(const QJsonValue& value)
{
    QStringList list;
    for (const QJsonValue& item : value.toArray())
        list << item.toString();
    return list;
}

struct FoundCase {
    const char* name;
    const char* keys;
    QStringList results; // in the order the window lists them
    QJsonObject expected; // other fields of the state
};

void PrintTo(const FoundCase& c, std::ostream* os)
{
    *os << c.name;
}

class Found : public testing::TestWithParam<FoundCase> { };

TEST_P(Found, KeysTypedIntoTheFieldFindExactlyThese)
{
    const FoundCase& c = GetParam();
    const QJsonObject state = stateAfter({ u"--keys"_s, QString::fromUtf8(c.keys) });
    EXPECT_EQ(strings(state[u"searchResults"_s]), c.results);
    for (auto it = c.expected.begin(); it != c.expected.end(); ++it)
        EXPECT_EQ(state[it.key()], it.value()) << it.key().toStdString();
}

const QString drawPanel = u"names/drawPanel.cpp"_s;
const QString panelView = u"names/draw_panel_view.h"_s;

INSTANTIATE_TEST_SUITE_P(Window, Found,
    testing::Values(
        FoundCase { "LooseLetters", "/ d r w p n l", { panelView, drawPanel },
            { { u"searchFocused"_s, true }, { u"searchText"_s, u"drwpnl"_s }, { u"textSearchRuns"_s, 0 } } },
        FoundCase { "Initials", "/ d p", { panelView, drawPanel }, {} },
        FoundCase { "ContainedOnly", "/ p d", { u"names/updown.c"_s }, {} },
        FoundCase { "EveryWord", "/ d r a w Space v i e w", { panelView }, {} },
        FoundCase {
            "NothingFound", "/ q q q", {}, { { u"searchResultCount"_s, 0 }, { u"hasFilters"_s, true } } },
        // Return takes the first result and gives the keys back to the scene; Down steps first.
        FoundCase { "ReturnAccepts", "/ d r w p n l Return", { panelView, drawPanel },
            { { u"selection"_s, panelView }, { u"searchFocused"_s, false }, { u"searchIndex"_s, 0 } } },
        FoundCase { "DownSteps", "/ d p Down Down", { panelView, drawPanel },
            { { u"selection"_s, drawPanel }, { u"searchIndex"_s, 1 }, { u"searchFocused"_s, true } } },
        FoundCase { "UpWrapsToTheLast", "/ d p Up", { panelView, drawPanel },
            { { u"selection"_s, drawPanel }, { u"searchIndex"_s, 1 } } },
        // A result outside the folder in view brings the whole folder back.
        FoundCase { "ResultsOutsideTheViewRoot", "/ m a n y Return Ctrl+Down / d p Down",
            { panelView, drawPanel }, { { u"viewRoot"_s, u""_s }, { u"selection"_s, panelView } } },
        // Escape empties the field first, then leaves it.
        FoundCase { "EscapeClears", "/ d p Escape", {},
            { { u"searchText"_s, u""_s }, { u"searchFocused"_s, true }, { u"hasFilters"_s, false } } },
        FoundCase { "EscapeTwiceLeaves", "/ d p Escape Escape", {},
            { { u"searchFocused"_s, false }, { u"selection"_s, QJsonValue() } } },
        // Keys typed in the field never reach the scene: "3" would ask for the history.
        FoundCase { "SceneKeysAreText", "/ 3 t", {},
            { { u"searchText"_s, u"3t"_s }, { u"mode"_s, u"city"_s }, { u"dark"_s, true },
                { u"errorMessage"_s, QJsonValue() } } },
        // Text: most matching lines first, then file2 before file10; the zero byte and the file at
        // the limit are skipped, one byte under it is read; case is smart.
        FoundCase { "TextByCountThenNaturalName", "/ Tab f o o",
            { u"text/many.txt"_s, u"text/file2.txt"_s, u"text/file10.txt"_s, u"text/underLimit.txt"_s },
            { { u"searchInText"_s, true }, { u"textQuery"_s, u"foo"_s }, { u"textSearchRuns"_s, 1 },
                { u"textSearching"_s, false },
                { u"textHits"_s,
                    QJsonObject { { u"text/many.txt"_s, 3 }, { u"text/file2.txt"_s, 2 },
                        { u"text/file10.txt"_s, 2 }, { u"text/underLimit.txt"_s, 1 } } } } },
        FoundCase { "CapitalsMatchOnlyCapitals", "/ Tab Shift+P a n e l", { panelView }, {} },
        FoundCase { "LowerCaseMatchesBoth", "/ Tab p a n e l", { panelView, u"names/updown.c"_s }, {} },
        FoundCase { "SpacesClear", "/ Tab Space Space Space", {},
            { { u"textSearchRuns"_s, 0 }, { u"textQuery"_s, u""_s }, { u"searchText"_s, u"   "_s } } },
        // Five quick characters wait out one pause: one search, for the whole word.
        FoundCase { "TypingRunsOneSearch", "/ Tab f o o f o", {},
            { { u"textSearchRuns"_s, 1 }, { u"textQuery"_s, u"foofo"_s } } },
        FoundCase { "TabGoesBackToNames", "/ Tab f o o Tab", {},
            { { u"searchInText"_s, false }, { u"searchText"_s, u"foo"_s } } }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Search, TheTextSearchSaysHowManyFilesItSkipped)
{
    const QJsonObject state = stateAfter({ u"--search"_s, u"foo"_s, u"--in-text"_s });
    EXPECT_EQ(state[u"textSkipped"_s].toInt(), 2); // zero.txt and atLimit.txt
    EXPECT_EQ(state[u"searchResultCount"_s].toInt(), 4);
}

// Isolation draws the isolated folder alone, through a change of view and back; "k" clears every
// filter at once.
TEST(Filters, IsolationDrawsOnlyWhatIsIsolatedAndKClearsEverything)
{
    const QJsonObject all = stateAfter({});
    const int everything = all[u"drawn"_s][u"buildings"_s].toInt();
    ASSERT_EQ(everything, 10);

    const QJsonObject isolated = stateAfter({ u"--isolate"_s, u"names"_s, u"--keys"_s, u"2 1"_s });
    EXPECT_EQ(strings(isolated[u"isolated"_s]), QStringList { u"names"_s });
    EXPECT_EQ(isolated[u"drawn"_s][u"buildings"_s].toInt(), 4);
    EXPECT_EQ(isolated[u"mode"_s], u"city"_s);

    const QJsonObject cleared = stateAfter(
        { u"--isolate"_s, u"names,text/many.txt"_s, u"--search"_s, u"dp"_s, u"--keys"_s, u"k"_s });
    EXPECT_TRUE(strings(cleared[u"isolated"_s]).isEmpty());
    EXPECT_EQ(cleared[u"searchText"_s], u""_s);
    EXPECT_EQ(cleared[u"hasFilters"_s], false);
    EXPECT_EQ(cleared[u"drawn"_s][u"buildings"_s].toInt(), everything);
}

TEST(Filters, IsolatingAPathThatIsNotThereSaysSo)
{
    TempFolder out;
    const Outcome run = korvaneOnDisplay(
        { u"snapshot"_s, folder().path(), u"--out"_s, out.path(u"s.png"_s), u"--isolate"_s, u"nowhere"_s });
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("nowhere")) << run.err.toStdString();
    EXPECT_FALSE(QFile::exists(out.path(u"s.png"_s)));
}

} // namespace
