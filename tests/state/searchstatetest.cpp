// The search as the state runs it: a text search outlived by its folder, and filters cleared in
// one change.

#include "state/appstate.h"
#include "state/keyrouter.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

void openAndWait(AppState& state, const QString& path)
{
    state.open(path);
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); })) << "scan of " << path.toStdString();
}

// A search that runs while a new folder opens is dropped: its results never arrive, and the new
// folder starts with none.
TEST(SearchState, ASearchRunningWhenAnotherFolderOpensNeverReportsBack)
{
    TempFolder first;
    // Enough text that the search is still reading when the second folder opens.
    for (int i = 0; i < 1000; ++i)
        first.write(u"f%1.txt"_s.arg(i), QByteArray("needle and hay\n").repeated(3200));
    TempFolder second;
    second.write(u"other.txt"_s, "needle\n");
    AppState state(nullptr, false);
    openAndWait(state, first.path());
    state.filters().setSearchInText(true);
    state.filters().setSearchText(u"needle"_s);
    ASSERT_TRUE(waitFor([&] { return state.search().textSearching(); }));
    state.open(second.path());
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); }));
    EXPECT_FALSE(state.search().textSearching());
    // Long enough for the abandoned search to have finished and posted, were it going to.
    int results = 0;
    QObject::connect(&state.search(), &SearchController::resultsChanged, [&] { ++results; });
    waitFor([] { return false; }, 1500);
    EXPECT_EQ(results, 0);
    EXPECT_TRUE(state.search().results().isEmpty());
    EXPECT_TRUE(state.search().textHits().isEmpty());
    EXPECT_EQ(state.filters().searchText(), u""_s);
}

// "k" clears the search, the isolation and the commit threshold as one change, and the search
// is looked for again once.
TEST(SearchState, ClearingFiltersIsOneChange)
{
    TempFolder folder;
    folder.write(u"a/drawPanel.cpp"_s, "x\n");
    folder.write(u"b/other.cpp"_s, "y\n");
    AppState state(nullptr, false);
    openAndWait(state, folder.path());
    Filters& filters = state.filters();
    filters.setSearchText(u"dp"_s);
    ASSERT_EQ(state.search().results().size(), 1);
    EXPECT_TRUE(state.search().lit().contains(state.root()->find(u"a"_s)));
    EXPECT_FALSE(state.search().lit().contains(state.root()->find(u"b"_s)));
    filters.toggleIsolation(u"a"_s);
    filters.setMinChanges(2);
    int changes = 0;
    int searched = 0;
    QObject::connect(&filters, &Filters::filtersChanged, [&] { ++changes; });
    QObject::connect(&state.search(), &SearchController::resultsChanged, [&] { ++searched; });
    KeyRouter router(state);
    EXPECT_TRUE(router.perform(u"clearFilters"_s));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(searched, 1);
    EXPECT_FALSE(filters.hasFilters());
    EXPECT_FALSE(state.search().isActive());
    EXPECT_FALSE(router.perform(u"clearFilters"_s)); // nothing left to clear
}

} // namespace
