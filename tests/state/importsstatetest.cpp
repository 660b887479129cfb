// The folder's imports in the state: read in the background when the graph view or the imports over
// the city need them, kept for the folder, and dropped, never delivered late, when the need goes.

#include "imports/dependencyreader.h"
#include "state/appstate.h"
#include "state/keyrouter.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

// Long enough for any reading of the small folders here to have ended and posted its result.
void letLateResultsArrive()
{
    waitFor([] { return false; }, 600);
}

// The importing project, with a folder of documents that imports nothing, as a repository.
class Polyglot : public GitRepo {
public:
    Polyglot()
    {
        writeImportingProject(*this);
        write(u"docs/guide.md"_s, "# Guide\n");
        commitAll(u"first"_s);
    }
};

class ImportsState : public ::testing::Test {
protected:
    void open(const QString& path)
    {
        state.open(path);
        ASSERT_TRUE(waitFor([&] { return state.scan().idle() && state.root(); }));
    }
    void readGraph()
    {
        ASSERT_TRUE(router.perform(u"graph"_s));
        ASSERT_TRUE(waitFor([&] { return !state.imports().isReading(); }));
        ASSERT_TRUE(state.imports().dependencies());
    }

    Polyglot folder;
    AppState state { nullptr, false };
    KeyRouter router { state };
};

TEST_F(ImportsState, KeyFourReadsTheImportsOnceAndKeepsThemForTheFolder)
{
    open(folder.path());
    EXPECT_FALSE(state.imports().dependencies());
    ASSERT_TRUE(router.perform(u"graph"_s));
    EXPECT_EQ(state.display().mode(), VisualizationMode::graph);
    EXPECT_TRUE(state.imports().isReading());
    ASSERT_TRUE(state.imports().progress());
    EXPECT_EQ(state.imports().progress()->phase, u"Reading imports"_s);
    ASSERT_TRUE(waitFor([&] { return !state.imports().isReading(); }));
    EXPECT_FALSE(state.imports().progress());

    const std::shared_ptr<const ImportsMap> map = state.imports().dependencies();
    ASSERT_TRUE(map);
    const std::optional<DependencyGraph> direct = DependencyReader::build(*state.root());
    ASSERT_TRUE(direct);
    EXPECT_EQ(map->graph.edges, direct->edges);
    EXPECT_EQ(map->graph.files.size(), size_t(state.root()->fileCount));
    EXPECT_EQ(map->positions.size(), map->graph.files.size());
    // Largest first: the three TypeScript files, then the two Python ones.
    ASSERT_EQ(map->cycles.size(), 2u);
    EXPECT_EQ(map->cycles[0].size(), 3u);
    EXPECT_EQ(map->cycles[1].size(), 2u);
    const FileNode* view = state.root()->find(u"ts/src/ui/view.ts"_s);
    EXPECT_EQ(map->cyclesOf(*view), std::vector<qsizetype> { 0 });
    EXPECT_TRUE(map->cyclesOf(*state.root()->find(u"c/src/main.c"_s)).empty());

    // The second visit reads nothing.
    ASSERT_TRUE(router.perform(u"city"_s));
    ASSERT_TRUE(router.perform(u"graph"_s));
    EXPECT_FALSE(state.imports().isReading());
    EXPECT_EQ(state.imports().dependencies(), map);
}

struct Interruption {
    const char* name;
    // What the user does while the imports are read; leaves the mode it expects.
    std::function<void(ImportsState&, AppState&, KeyRouter&, const QString& elsewhere)> act;
    VisualizationMode after;
};

class ReadingInterrupted : public ImportsState, public ::testing::WithParamInterface<Interruption> { };

TEST_P(ReadingInterrupted, NoLateResultLands)
{
    TempFolder elsewhere;
    elsewhere.write(u"a.py"_s, "import b\n");
    elsewhere.write(u"b.py"_s, "import a\n");
    open(folder.path());
    ASSERT_TRUE(router.perform(u"tree"_s));
    ASSERT_TRUE(router.perform(u"graph"_s));
    ASSERT_TRUE(state.imports().isReading());
    GetParam().act(*this, state, router, elsewhere.path());
    letLateResultsArrive();
    EXPECT_FALSE(state.imports().dependencies());
    EXPECT_FALSE(state.imports().progress());
    EXPECT_FALSE(state.imports().isReading());
    EXPECT_EQ(state.display().mode(), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(Imports, ReadingInterrupted,
    ::testing::Values(
        Interruption { "KeyOneLeavesTheGraph",
            [](ImportsState&, AppState&, KeyRouter& router, const QString&) { router.perform(u"city"_s); },
            VisualizationMode::city },
        Interruption { "EscapeGoesBackToTheViewBefore",
            [](ImportsState&, AppState& state, KeyRouter&, const QString&) { EXPECT_TRUE(state.escape()); },
            VisualizationMode::tree },
        Interruption { "ANewFolderLandsInTheCity",
            [](ImportsState&, AppState& state, KeyRouter&, const QString& elsewhere) {
                state.open(elsewhere);
                ASSERT_TRUE(waitFor([&] { return state.scan().idle(); }));
            },
            VisualizationMode::city }),
    rowName);

TEST_F(ImportsState, FromHistoryTheGraphStartsAtTheWholeFolder)
{
    open(folder.path());
    ASSERT_TRUE(state.dive(state.root()->find(u"ts/src"_s)));
    ASSERT_NE(state.viewRoot(), state.root());
    state.display().setMode(VisualizationMode::history);
    ASSERT_EQ(state.display().mode(), VisualizationMode::history);
    state.display().setMode(VisualizationMode::graph);
    EXPECT_EQ(state.viewRoot(), state.root());
    EXPECT_TRUE(state.imports().isReading());
    // Escape while reading goes back to the city, not to history.
    EXPECT_TRUE(state.escape());
    EXPECT_EQ(state.display().mode(), VisualizationMode::city);
}

TEST_F(ImportsState, ShowingImportsOverTheCityReadsThemAndHidingThemStopsTheReading)
{
    open(folder.path());
    state.imports().setShowImports(true);
    EXPECT_TRUE(state.imports().isReading());
    state.imports().setShowImports(false);
    letLateResultsArrive();
    EXPECT_FALSE(state.imports().dependencies());

    state.imports().setShowImports(true);
    ASSERT_TRUE(router.perform(u"tree"_s)); // the tree shows them too: the reading goes on
    ASSERT_TRUE(waitFor([&] { return !state.imports().isReading(); }));
    EXPECT_TRUE(state.imports().dependencies());

    // They stay on for the next folder, whose imports are read in turn.
    TempFolder next;
    next.write(u"a.py"_s, "import b\n");
    next.write(u"b.py"_s, "x = 1\n");
    open(next.path());
    ASSERT_TRUE(waitFor([&] { return state.imports().dependencies() != nullptr; }));
    EXPECT_EQ(state.imports().dependencies()->tree.get(), state.root());
    EXPECT_EQ(state.imports().dependencies()->graph.edges.size(), 1u);
}

TEST_F(ImportsState, AChosenCycleGivesWayToASelectionAndToEscape)
{
    open(folder.path());
    readGraph();
    state.imports().chooseCycle(1);
    EXPECT_EQ(state.imports().chosenCycle(), 1);
    state.imports().chooseCycle(2); // there are two
    EXPECT_FALSE(state.imports().chosenCycle());

    state.imports().chooseCycle(0);
    state.select(state.root()->find(u"c/src/main.c"_s));
    EXPECT_FALSE(state.imports().chosenCycle());
    state.imports().chooseCycle(0);
    EXPECT_TRUE(state.escape());
    EXPECT_FALSE(state.imports().chosenCycle());
    EXPECT_TRUE(state.selection()) << "the first Escape puts out the cycle only";
}

} // namespace
