#include "state/appstate.h"
#include "state/keyrouter.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

// Opens a folder and waits until its scan is in the state.
void openAndWait(AppState& state, const QString& path)
{
    state.open(path);
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); })) << "scan of " << path.toStdString();
}

const FileNode& node(const AppState& state, const QString& relativePath)
{
    const FileNode* found = state.root()->find(relativePath);
    if (!found)
        throw std::runtime_error("no node " + relativePath.toStdString());
    return *found;
}

// Screen points that a test lays out by hand, in place of a drawn scene.
class PointScene : public SceneHost {
public:
    QHash<const FileNode*, QPointF> points;
    int beeps = 0;
    QStringList opened; // and revealed
    QList<int> lines;

    QSizeF viewSize() const override { return { 200, 100 }; }
    std::optional<QPointF> screenPoint(const FileNode& node) const override
    {
        const auto found = points.constFind(&node);
        return found == points.constEnd() ? std::nullopt : std::optional(*found);
    }
    std::vector<VisibleEntity> visibleEntities() const override
    {
        std::vector<VisibleEntity> out;
        for (auto it = points.cbegin(); it != points.cend(); ++it) {
            out.push_back({ it.key(), it.key()->isDirectory ? PlacementKind::paving : PlacementKind::building,
                it.value() });
        }
        return out;
    }
    void focus(const FileNode&, bool, bool) override { }
    void camera(CameraAction) override { }
    void beep() override { ++beeps; }
    std::optional<QString> openExternally(const QString& path, int line) override
    {
        opened.append(path);
        lines.append(line);
        return std::nullopt;
    }
    std::optional<QString> revealExternally(const QString& path) override
    {
        opened.append(path);
        return std::nullopt;
    }
};

// A small project: two folders with files of known sizes.
class Project : public TempFolder {
public:
    Project()
    {
        write(u"README.md"_s, "# p\n");
        write(u"src/main.c"_s, QByteArray("x\n").repeated(30));
        write(u"src/util.c"_s, QByteArray("x\n").repeated(10));
        write(u"src/lib/deep.c"_s, QByteArray("x\n").repeated(50));
        write(u"docs/guide.md"_s, QByteArray("x\n").repeated(5));
    }
};

class StateTest : public ::testing::Test {
protected:
    void SetUp() override { QSettings().clear(); }
    void TearDown() override { QSettings().clear(); }
};

// --- recents and opening --------------------------------------------------------------------

TEST_F(StateTest, RecentsKeepOneEntryPerFolderNewestFirstAndAtMostEight)
{
    std::vector<std::unique_ptr<TempFolder>> folders(9);
    for (auto& folder : folders)
        folder = std::make_unique<TempFolder>();
    {
        AppState state;
        openAndWait(state, folders[0]->path());
        openAndWait(state, folders[1]->path());
        openAndWait(state, folders[0]->path() + u"/"_s); // the same folder, spelled differently
        EXPECT_EQ(state.recents().folders(), (QStringList { folders[0]->path(), folders[1]->path() }));
        for (std::size_t i = 1; i < folders.size(); ++i)
            state.recents().remember(folders[i]->path());
        ASSERT_EQ(state.recents().folders().size(), 8);
        EXPECT_EQ(state.recents().folders().front(), folders[8]->path());
        EXPECT_FALSE(state.recents().folders().contains(folders[0]->path())); // the oldest went
    }
    AppState reopened;
    EXPECT_EQ(reopened.recents().folders().size(), 8);
    EXPECT_EQ(reopened.recents().folders().front(), folders[8]->path());
}

TEST_F(StateTest, OpeningAPlainFolderColouredByStatusColoursByLanguageAndLeavesHistoryForTheCity)
{
    GitRepo repo;
    repo.write(u"a.c"_s, "int a;\n");
    repo.commitAll(u"one"_s);
    Project plain;

    AppState state;
    openAndWait(state, repo.path());
    ASSERT_TRUE(state.isGit());
    state.display().setColorMode(ColorMode::status);
    state.display().setMode(VisualizationMode::history);
    ASSERT_EQ(state.display().mode(), VisualizationMode::history);

    openAndWait(state, plain.path());
    EXPECT_FALSE(state.isGit());
    EXPECT_EQ(state.display().colorMode(), ColorMode::language);
    EXPECT_EQ(state.display().mode(), VisualizationMode::city);
    EXPECT_EQ(state.viewRoot(), state.root());

    state.display().setMode(VisualizationMode::history);
    EXPECT_EQ(state.display().mode(), VisualizationMode::city);
    EXPECT_EQ(state.errorMessage(), u"History needs a git repository."_s);
}

TEST_F(StateTest, ASecondOpenCancelsTheFirstAndOnlyItsTreeArrives)
{
    Project first;
    for (int i = 0; i < 2000; ++i)
        first.write(u"many/f%1.txt"_s.arg(i), "x\n");
    Project second;
    second.write(u"only-here.txt"_s, "y\n");

    AppState state;
    int roots = 0;
    QObject::connect(&state, &AppState::rootChanged, [&] { ++roots; });
    state.open(first.path());
    state.open(second.path());
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); }));
    // Let any late delivery of the first scan through: it must change nothing.
    QThread::msleep(200);
    QCoreApplication::processEvents();
    EXPECT_EQ(roots, 1);
    EXPECT_EQ(state.root()->url, second.path());
    EXPECT_NE(state.root()->find(u"only-here.txt"_s), nullptr);
}

// A repository whose log takes git a while, long after the tree is measured.
class LongHistory : public GitRepo {
public:
    static constexpr int commits = 3000;

    LongHistory()
    {
        write(u"README.md"_s, "# r\n");
        commitMany(commits);
        write(u"src/part1/file1.c"_s, "int x = 0; // changed\n");
    }
};

// Every measure of every node, in the tree's order, as one text to compare.
QString describe(const FileNode& node)
{
    QString text = u"%1 size=%2 lines=%3 files=%4 commits=%5 last=%6 status=%7 changed=%8 lang=%9\n"_s
                       .arg(node.relativePath)
                       .arg(node.size)
                       .arg(node.lines)
                       .arg(node.fileCount)
                       .arg(node.commits)
                       .arg(node.lastCommit.value_or(-1))
                       .arg(node.gitStatus ? int(*node.gitStatus) : -1)
                       .arg(node.changedCount)
                       .arg(node.language ? node.language->name : QString());
    for (const auto& child : node.children)
        text += describe(*child);
    return text;
}

TEST_F(StateTest, ARepositorysTreeArrivesBeforeItsCommitsAndEndsAsACompleteScanWould)
{
    LongHistory repo;
    AppState state(nullptr, false);
    std::optional<bool> waitingAtFirst;
    qint64 commitsAtFirst = -1;
    int changes = 0;
    QObject::connect(&state, &AppState::rootChanged, [&] {
        waitingAtFirst = state.scan().readingHistory();
        commitsAtFirst = state.root()->commits;
    });
    QObject::connect(&state, &AppState::commitsChanged, [&] { ++changes; });
    state.open(repo.path());
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); }));
    EXPECT_EQ(waitingAtFirst, true);
    EXPECT_EQ(commitsAtFirst, 0);
    EXPECT_EQ(changes, 1);

    const auto complete = Scanner(repo.path(), std::make_shared<CancelFlag>()).scan();
    ASSERT_TRUE(std::holds_alternative<ScanResult>(complete));
    const FileNode& whole = *std::get<ScanResult>(complete).root;
    EXPECT_EQ(state.root()->commits, whole.commits);
    EXPECT_EQ(node(state, u"src/part1/file1.c"_s).gitStatus, GitFileStatus::modified);
    EXPECT_EQ(describe(*state.root()), describe(whole));
    EXPECT_GT(whole.commits, LongHistory::commits);
    EXPECT_FALSE(state.errorMessage());
}

TEST_F(StateTest, AFolderOpenedWhileTheHistoryIsReadNeverTakesItsCommits)
{
    LongHistory repo;
    Project plain;
    AppState state(nullptr, false);
    state.open(repo.path());
    ASSERT_TRUE(waitFor([&] { return state.root() != nullptr; }));
    ASSERT_TRUE(state.scan().readingHistory());
    state.open(plain.path());
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); }));
    // Let any late delivery of the first history through: it must change nothing.
    QThread::msleep(300);
    QCoreApplication::processEvents();
    EXPECT_EQ(state.root()->url, plain.path());
    EXPECT_EQ(state.root()->commits, 0);
    EXPECT_FALSE(state.scan().readingHistory());
    EXPECT_FALSE(state.errorMessage());
}

TEST_F(StateTest, AMissingFolderIsReportedInPlace)
{
    AppState state;
    openAndWait(state, u"/no/such/folder"_s);
    EXPECT_EQ(state.errorMessage(), u"/no/such/folder is not a folder."_s);
    EXPECT_EQ(state.root(), nullptr);
}

TEST_F(StateTest, PendingSelectionIsSelectedWhenTheScanArrives)
{
    Project project;
    AppState state;
    state.setPendingSelection(u"src/util.c"_s);
    openAndWait(state, project.path());
    ASSERT_NE(state.selection(), nullptr);
    EXPECT_EQ(state.selection()->relativePath, u"src/util.c"_s);
}

// --- navigation on a real tree --------------------------------------------------------------

TEST_F(StateTest, EnterEscapeAscendAndDiveWalkTheTree)
{
    Project project;
    AppState state;
    openAndWait(state, project.path());
    const FileNode& src = node(state, u"src"_s);

    state.select(&src);
    ASSERT_TRUE(state.enter()); // a folder's largest file, not its larger subfolder
    EXPECT_EQ(state.selection(), &node(state, u"src/main.c"_s));
    ASSERT_TRUE(state.enter()); // a source file: walk into it, keep it selected
    EXPECT_EQ(state.selection(), &node(state, u"src/main.c"_s));
    EXPECT_TRUE(state.structure().cityShown());
    state.select(&node(state, u"src/lib/deep.c"_s)); // another file chosen, in the rail say
    EXPECT_FALSE(state.structure().cityShown());
    state.select(&node(state, u"src/main.c"_s));
    ASSERT_TRUE(state.enter());
    ASSERT_TRUE(state.structure().cityShown());

    ASSERT_TRUE(state.ascend()); // out of the file, onto it
    EXPECT_FALSE(state.structure().cityShown());
    EXPECT_EQ(state.selection(), &node(state, u"src/main.c"_s));
    ASSERT_TRUE(state.ascend());
    EXPECT_EQ(state.selection(), &src);

    ASSERT_TRUE(state.dive(&src));
    EXPECT_EQ(state.viewRoot(), &src);
    const FileNode& deep = node(state, u"src/lib/deep.c"_s);
    ASSERT_TRUE(state.dive(&deep)); // a file dives into its folder and stays selected
    EXPECT_EQ(state.viewRoot(), &node(state, u"src/lib"_s));
    EXPECT_EQ(state.selection(), &deep);

    ASSERT_TRUE(state.escape()); // the selection goes first
    EXPECT_EQ(state.selection(), nullptr);
    ASSERT_TRUE(state.escape()); // then the view root climbs, selecting where it was
    EXPECT_EQ(state.viewRoot(), &src);
    EXPECT_EQ(state.selection(), &node(state, u"src/lib"_s));
    ASSERT_TRUE(state.ascend());
    ASSERT_TRUE(state.ascend());
    EXPECT_EQ(state.viewRoot(), state.root());
    EXPECT_EQ(state.selection(), &src);
    ASSERT_TRUE(state.ascend());
    EXPECT_EQ(state.selection(), state.root());
    EXPECT_FALSE(state.ascend()); // nowhere higher
}

TEST_F(StateTest, SiblingsCycleBothWaysAndWrap)
{
    Project project;
    AppState state;
    openAndWait(state, project.path());
    const FileNode& src = node(state, u"src"_s);
    state.select(src.children.front().get()); // lib, the folder, comes first
    QStringList seen;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(state.cycleSibling(1));
        seen.append(state.selection()->name);
    }
    EXPECT_EQ(seen, (QStringList { u"main.c"_s, u"util.c"_s, u"lib"_s }));
    ASSERT_TRUE(state.cycleSibling(-1));
    EXPECT_EQ(state.selection()->name, u"util.c"_s);
}

TEST_F(StateTest, ClearingFiltersAnnouncesOneChange)
{
    Project project;
    AppState state;
    openAndWait(state, project.path());
    state.filters().setSearchText(u"main"_s);
    state.filters().toggleIsolation(u"src"_s);
    state.filters().setMinChanges(3);
    ASSERT_TRUE(state.filters().hasFilters());
    int changes = 0;
    QObject::connect(&state.filters(), &Filters::filtersChanged, [&] { ++changes; });
    state.filters().clearFilters();
    EXPECT_FALSE(state.filters().hasFilters());
    EXPECT_EQ(changes, 1);
    state.filters().toggleIsolation(u"src"_s);
    state.filters().toggleIsolation(u"src"_s);
    EXPECT_FALSE(state.filters().hasFilters());
}

// --- nearest in a direction -----------------------------------------------------------------

struct NearestCase {
    const char* name;
    MoveDirection direction;
    std::vector<QPointF> candidates;
    std::optional<std::size_t> expected;
};

void PrintTo(const NearestCase& c, std::ostream* os)
{
    *os << c.name;
}

class Nearest : public ::testing::TestWithParam<NearestCase> { };

TEST_P(Nearest, PicksTheLowestScoreInsideTheCone)
{
    const NearestCase& c = GetParam();
    EXPECT_EQ(AppState::nearest({ 0, 0 }, c.direction, c.candidates), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, Nearest,
    ::testing::Values(
        NearestCase { "OnePointAwayIsTooClose", MoveDirection::right, { { 1, 0 } }, std::nullopt },
        NearestCase { "StraightBeatsSlanted", MoveDirection::right, { { 100, 60 }, { 200, 0 } }, 1 },
        NearestCase { "OutsideTheConeNeverQualifies", MoveDirection::right, { { 10, 25 } }, std::nullopt },
        NearestCase { "BehindNeverQualifies", MoveDirection::right, { { -50, 0 } }, std::nullopt },
        NearestCase { "UpIsTowardSmallerY", MoveDirection::up, { { 0, 40 }, { 0, -40 } }, 1 },
        NearestCase { "LeftIsTowardSmallerX", MoveDirection::left, { { 30, 0 }, { -30, 5 } }, 1 },
        NearestCase { "FirstWinsATie", MoveDirection::down, { { 10, 50 }, { -10, 50 } }, 0 }),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StateTest, MovePrefersSiblingsThenAnyNodeOfTheSameKindThenBeeps)
{
    Project project;
    AppState state;
    openAndWait(state, project.path());
    PointScene scene;
    state.setScene(&scene);
    const FileNode& main = node(state, u"src/main.c"_s);
    const FileNode& util = node(state, u"src/util.c"_s);
    const FileNode& guide = node(state, u"docs/guide.md"_s);
    const FileNode& readme = node(state, u"README.md"_s);
    scene.points = { { &main, { 100, 50 } }, { &util, { 100, 80 } }, { &guide, { 130, 50 } },
        { &readme, { 60, 50 } }, { &node(state, u"docs"_s), { 150, 50 } } };

    ASSERT_TRUE(state.move(MoveDirection::right)); // nothing selected: nearest the centre
    EXPECT_EQ(state.selection(), &main);
    ASSERT_TRUE(state.move(MoveDirection::down)); // the sibling below
    EXPECT_EQ(state.selection(), &util);
    ASSERT_TRUE(state.move(MoveDirection::up));
    ASSERT_TRUE(state.move(MoveDirection::right)); // no sibling there: the nearest file, not the folder
    EXPECT_EQ(state.selection(), &guide);
    EXPECT_FALSE(state.move(MoveDirection::right));
    EXPECT_EQ(scene.beeps, 1);
    EXPECT_EQ(state.selection(), &guide);
}

// Return on a folder drawn whole, whose files stand in no place of their own, makes it the view; on a
// folder whose files are drawn, it picks the largest of them.
TEST_F(StateTest, ReturnOnAFolderDrawnWholeDivesIntoIt)
{
    Project project;
    AppState state;
    openAndWait(state, project.path());
    PointScene scene;
    state.setScene(&scene);
    const FileNode& src = node(state, u"src"_s);
    const FileNode& docs = node(state, u"docs"_s);
    scene.points = { { &src, { 100, 50 } }, { &docs, { 130, 50 } },
        { &node(state, u"docs/guide.md"_s), { 130, 40 } } };

    state.select(&docs, false, false);
    ASSERT_TRUE(state.enter());
    EXPECT_EQ(state.selection(), &node(state, u"docs/guide.md"_s));
    EXPECT_EQ(state.viewRoot(), state.root());

    state.select(&src, false, false);
    ASSERT_TRUE(state.enter());
    EXPECT_EQ(state.viewRoot(), &src);
}

// --- key routing ----------------------------------------------------------------------------

enum class Setup {
    welcome,
    scene,
    overlay,
    searchEmpty,
    searchWithText,
    outline,
    history,
    scanning,
    picker,
    pickerFiltered,
    remote,
    keySheet,
};

struct RouteCase {
    const char* name;
    Setup setup;
    int key;
    Qt::KeyboardModifiers modifiers;
    const char* text;
    const char* action; // "" when no layer takes the key
};

void PrintTo(const RouteCase& c, std::ostream* os)
{
    *os << c.name;
}

class Routing : public StateTest, public ::testing::WithParamInterface<RouteCase> { };

TEST_P(Routing, KeyGoesToItsAction)
{
    const RouteCase& c = GetParam();
    static Project project;
    static GitRepo repo;
    AppState state;
    if (c.setup == Setup::history) {
        repo.write(u"a.c"_s, "int a;\n");
        repo.commitAll(u"one"_s);
        openAndWait(state, repo.path());
        state.display().setMode(VisualizationMode::history);
    } else if (c.setup != Setup::welcome) {
        openAndWait(state, project.path());
    }
    switch (c.setup) {
    case Setup::overlay: state.panels().setCaptureImage(true); break;
    case Setup::searchEmpty: state.filters().setSearchFocused(true); break;
    case Setup::searchWithText:
        state.filters().setSearchFocused(true);
        state.filters().setSearchText(u"x"_s);
        break;
    case Setup::outline: state.panels().setOutlineKeys(OutlineKeys { [](int) {}, [] {}, [] {} }); break;
    case Setup::scanning: state.open(project.path()); break;
    case Setup::picker: state.showFolderPicker(); break;
    case Setup::pickerFiltered:
        state.showFolderPicker();
        state.picker().setFilter(u"x"_s);
        break;
    case Setup::remote: state.showRemoteEntry(); break;
    case Setup::keySheet: state.panels().setShowKeys(true); break;
    default: break;
    }
    KeyRouter router(state);
    const std::optional<Action> routed = router.route({ c.key, QString::fromUtf8(c.text), c.modifiers });
    EXPECT_EQ(routed ? actionName(*routed) : QString(), QString::fromUtf8(c.action));
    if (!routed || KeyRouter::knows(actionName(*routed)))
        return;
    // An action without an implementation refuses aloud.
    state.setErrorMessage(std::nullopt);
    EXPECT_FALSE(router.perform(*routed));
    EXPECT_TRUE(state.errorMessage().has_value()) << c.action;
}

struct KnownCase {
    const char* name;
    bool known;
};

void PrintTo(const KnownCase& c, std::ostream* os)
{
    *os << c.name;
}

class Known : public ::testing::TestWithParam<KnownCase> { };

TEST_P(Known, OnlyNamesWithAnImplementation)
{
    EXPECT_EQ(KeyRouter::knows(QString::fromUtf8(GetParam().name)), GetParam().known);
}

INSTANTIATE_TEST_SUITE_P(Names, Known,
    ::testing::Values(KnownCase { "zoomIn", true }, KnownCase { "commitBack10", true },
        KnownCase { "searchNext", true }, KnownCase { "pickerInto", true }, KnownCase { "recentOpen", true },
        KnownCase { "closeFolder", true }, KnownCase { "preview", true }, KnownCase { "outlineClose", true },
        KnownCase { "noSuchAction", false }, KnownCase { "", false }),
    [](const auto& info) { return *info.param.name ? std::string(info.param.name) : std::string("Empty"); });

TEST(Actions, EveryNameInTheTableFindsItsAction)
{
    for (const ActionInfo& info : actionTable) {
        const QString name = actionName(info.action);
        EXPECT_FALSE(name.isEmpty());
        EXPECT_EQ(actionFromName(name), info.action) << name.toStdString();
    }
    EXPECT_EQ(actionFromName(u"zoomin"), std::nullopt); // names are matched exactly
}

struct MissingCase {
    const char* action;
    bool repository;
    const char* message;
};

void PrintTo(const MissingCase& c, std::ostream* os)
{
    *os << c.action << (c.repository ? " in a repository" : "");
}

class Missing : public StateTest, public ::testing::WithParamInterface<MissingCase> { };

TEST_P(Missing, SaysWhatIsNotThereAndChangesNothingElse)
{
    const MissingCase& c = GetParam();
    static Project project;
    static GitRepo repo;
    AppState state;
    if (c.repository) {
        repo.write(u"a.c"_s, "int a;\n");
        repo.commitAll(u"one"_s);
        openAndWait(state, repo.path());
    } else {
        openAndWait(state, project.path());
    }
    KeyRouter router(state);
    EXPECT_FALSE(router.perform(QString::fromUtf8(c.action)));
    EXPECT_EQ(state.errorMessage(), QString::fromUtf8(c.message));
    EXPECT_EQ(state.display().mode(), VisualizationMode::city);
}

INSTANTIATE_TEST_SUITE_P(Features, Missing,
    ::testing::Values(MissingCase { "history", false, "History needs a git repository." },
        MissingCase {
            "previewNextHit", false, "Search the files' text first (/ then Tab) to step through its hits." },
        MissingCase { "structureTab", false, "Show a file's structure first: select it and press s." },
        MissingCase { "structure", false, "Select a file to walk into." }),
    [](const auto& info) {
        return std::string(info.param.action) + (info.param.repository ? "InARepository" : "");
    });

constexpr auto none = Qt::NoModifier;
constexpr auto shift = Qt::ShiftModifier;
constexpr auto option = Qt::AltModifier;
constexpr auto command = Qt::ControlModifier;
constexpr auto control = Qt::MetaModifier;

INSTANTIATE_TEST_SUITE_P(Table, Routing,
    ::testing::Values(RouteCase { "Arrow", Setup::scene, Qt::Key_Left, none, "", "left" },
        RouteCase { "ShiftArrowTurns", Setup::scene, Qt::Key_Right, shift, "", "turnRight" },
        RouteCase { "OptionArrowPans", Setup::scene, Qt::Key_Up, option, "", "panUp" },
        RouteCase { "ShiftWinsOverOption", Setup::scene, Qt::Key_Down, shift | option, "", "tiltDown" },
        RouteCase { "ShiftTabIsBacktab", Setup::scene, Qt::Key_Backtab, shift, "", "prevSibling" },
        RouteCase { "OptionTabIsStillNext", Setup::scene, Qt::Key_Tab, option, "\t", "nextSibling" },
        RouteCase { "DeleteAscends", Setup::scene, Qt::Key_Backspace, none, "", "ascend" },
        RouteCase { "CommandUpAscends", Setup::scene, Qt::Key_Up, command, "", "ascend" },
        RouteCase { "CommandDownDives", Setup::scene, Qt::Key_Down, command, "", "dive" },
        RouteCase { "CommandReturnOpens", Setup::scene, Qt::Key_Return, command, "", "open" },
        RouteCase { "OtherCommandKeysAreTheMenus", Setup::scene, Qt::Key_C, command, "c", "" },
        RouteCase { "ControlIsNeverTaken", Setup::scene, Qt::Key_Left, control, "", "" },
        RouteCase { "KeypadEnter", Setup::scene, Qt::Key_Enter, Qt::KeypadModifier, "", "enter" },
        RouteCase { "SpacePreviews", Setup::scene, Qt::Key_Space, none, " ", "preview" },
        RouteCase { "PlusZooms", Setup::scene, Qt::Key_Plus, shift, "+", "zoomIn" },
        RouteCase { "UnderscoreZoomsOut", Setup::scene, Qt::Key_Underscore, shift, "_", "zoomOut" },
        RouteCase { "Two", Setup::scene, Qt::Key_2, none, "2", "tree" },
        RouteCase { "Comma", Setup::scene, Qt::Key_Comma, none, ",", "commitBack" },
        RouteCase { "ShiftCommaTypesLess", Setup::scene, Qt::Key_Less, shift, "<", "commitBack10" },
        RouteCase { "ShiftPeriod", Setup::scene, Qt::Key_Greater, shift, ">", "commitOn10" },
        RouteCase { "Question", Setup::scene, Qt::Key_Question, shift, "?", "keys" },
        RouteCase { "Brace", Setup::scene, Qt::Key_BraceRight, shift, "}", "wideDrawer" },
        RouteCase { "Letter", Setup::scene, Qt::Key_C, none, "c", "color" },
        RouteCase { "ShiftLetter", Setup::scene, Qt::Key_C, shift, "C", "colorBack" },
        RouteCase { "OptionLetter", Setup::scene, Qt::Key_T, option, "t", "theme" },
        RouteCase { "UnknownLetter", Setup::scene, Qt::Key_Q, none, "q", "" },
        RouteCase { "OverlayTakesEscape", Setup::overlay, Qt::Key_Escape, none, "", "dismissCapture" },
        RouteCase { "OverlaySwallowsNothingElse", Setup::overlay, Qt::Key_1, none, "1", "" },
        RouteCase { "EmptySearchEscape", Setup::searchEmpty, Qt::Key_Escape, none, "", "searchEscape" },
        RouteCase { "SearchTab", Setup::searchWithText, Qt::Key_Tab, none, "\t", "searchToggleText" },
        RouteCase { "SearchDown", Setup::searchWithText, Qt::Key_Down, none, "", "searchNext" },
        RouteCase { "SearchTyping", Setup::searchWithText, Qt::Key_A, none, "a", "" },
        RouteCase { "SearchCommandUp", Setup::searchWithText, Qt::Key_Up, command, "", "ascend" },
        RouteCase { "OutlineArrows", Setup::outline, Qt::Key_Right, none, "", "outlineOpen" },
        RouteCase { "OutlineLeavesShiftToTheScene", Setup::outline, Qt::Key_Right, shift, "", "turnRight" },
        RouteCase { "HistorySpacePlays", Setup::history, Qt::Key_Space, none, " ", "play" },
        RouteCase { "ScanningIgnoresSceneKeys", Setup::scanning, Qt::Key_1, none, "1", "" },
        RouteCase { "ScanningEscapeCancels", Setup::scanning, Qt::Key_Escape, none, "", "cancelScan" },
        RouteCase { "WelcomeDown", Setup::welcome, Qt::Key_Down, none, "", "recentDown" },
        RouteCase { "WelcomeReturnWithNoRecents", Setup::welcome, Qt::Key_Return, none, "", "" },
        RouteCase { "WelcomeLetter", Setup::welcome, Qt::Key_C, none, "c", "" },
        // The window's own keys work over the scene, the welcome screen and a scan alike.
        RouteCase { "CommandOChoosesAFolder", Setup::scene, Qt::Key_O, command, "o", "picker" },
        RouteCase { "CommandOOnTheWelcomeScreen", Setup::welcome, Qt::Key_O, command, "o", "picker" },
        RouteCase { "CommandDDownloads", Setup::welcome, Qt::Key_D, command, "d", "remote" },
        RouteCase { "CommandWCloses", Setup::scene, Qt::Key_W, command, "w", "closeFolder" },
        RouteCase { "CommandWWhileScanning", Setup::scanning, Qt::Key_W, command, "w", "closeFolder" },
        RouteCase { "F11FullScreen", Setup::scene, Qt::Key_F11, none, "", "fullScreen" },
        RouteCase { "ShiftF11IsNotTaken", Setup::scene, Qt::Key_F11, shift, "", "" },
        RouteCase { "CommandShiftOIsTheMenus", Setup::scene, Qt::Key_O, command | shift, "O", "" },
        RouteCase { "TheKeySheetHoldsTheWindowKeys", Setup::keySheet, Qt::Key_O, command, "o", "" },
        RouteCase { "CommandOInTheSearchField", Setup::searchWithText, Qt::Key_O, command, "o", "picker" },
        // The picker's list owns the arrows; typed letters narrow it.
        RouteCase { "PickerDown", Setup::picker, Qt::Key_Down, none, "", "pickerDown" },
        RouteCase { "PickerRightGoesIn", Setup::picker, Qt::Key_Right, none, "", "pickerInto" },
        RouteCase { "PickerReturnGoesIn", Setup::picker, Qt::Key_Return, none, "", "pickerInto" },
        RouteCase { "PickerCommandReturnOpens", Setup::picker, Qt::Key_Return, command, "", "pickerOpen" },
        RouteCase { "PickerLeftGoesBack", Setup::picker, Qt::Key_Left, none, "", "pickerBack" },
        RouteCase { "PickerBackspaceGoesBack", Setup::picker, Qt::Key_Backspace, none, "", "pickerBack" },
        RouteCase { "PickerBackspaceErasesTheName", Setup::pickerFiltered, Qt::Key_Backspace, none, "", "" },
        RouteCase { "PickerLetterNarrows", Setup::picker, Qt::Key_C, none, "c", "" },
        RouteCase { "PickerDigitIsNoView", Setup::picker, Qt::Key_2, none, "2", "" },
        RouteCase { "PickerEscape", Setup::picker, Qt::Key_Escape, none, "", "escape" },
        RouteCase { "PickerCommandOCloses", Setup::picker, Qt::Key_O, command, "o", "picker" },
        RouteCase { "RemoteReturnDownloads", Setup::remote, Qt::Key_Return, none, "", "remoteFetch" },
        RouteCase { "RemoteLetterIsTyped", Setup::remote, Qt::Key_T, none, "t", "" },
        RouteCase { "RemoteSlashIsTyped", Setup::remote, Qt::Key_Slash, none, "/", "" },
        RouteCase { "RemoteEscape", Setup::remote, Qt::Key_Escape, none, "", "escape" }),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StateTest, PerformedActionsChangeTheState)
{
    Project project;
    AppState state;
    openAndWait(state, project.path());
    KeyRouter router(state);

    EXPECT_TRUE(router.handle({ Qt::Key_2, u"2"_s, none }));
    EXPECT_EQ(state.display().mode(), VisualizationMode::tree);
    EXPECT_TRUE(router.perform(u"rail"_s));
    EXPECT_TRUE(router.perform(u"rail"_s));
    EXPECT_EQ(state.panels().railMode(), RailMode::hidden);
    EXPECT_TRUE(router.perform(u"color"_s)); // no repository: age, then back past churn and status
    EXPECT_EQ(state.display().colorMode(), ColorMode::age);
    EXPECT_TRUE(router.perform(u"color"_s));
    EXPECT_EQ(state.display().colorMode(), ColorMode::language);
    EXPECT_TRUE(router.perform(u"heightBack"_s));
    EXPECT_EQ(state.display().heightMode(), HeightMode::flat);
    EXPECT_FALSE(router.perform(u"clearFilters"_s)); // nothing to clear
    EXPECT_TRUE(router.perform(u"search"_s));
    EXPECT_TRUE(state.filters().searchFocused());
    EXPECT_TRUE(router.perform(u"searchEscape"_s)); // an empty field gives the keys back
    EXPECT_FALSE(state.filters().searchFocused());
    EXPECT_EQ(state.display().mode(), VisualizationMode::tree);
    EXPECT_FALSE(router.perform(u"noSuchAction"_s));
    EXPECT_FALSE(state.errorMessage().has_value());

    state.panels().setCaptureImage(true);
    EXPECT_FALSE(router.handle({ Qt::Key_1, u"1"_s, none }));
    EXPECT_EQ(state.display().mode(), VisualizationMode::tree);
    EXPECT_TRUE(router.handle({ Qt::Key_Escape, {}, none }));
    EXPECT_FALSE(state.panels().captureImage());

    state.filters().setSearchFocused(true);
    state.filters().setSearchText(u"ma"_s);
    EXPECT_TRUE(router.handle({ Qt::Key_Escape, {}, none })); // clears the text first
    EXPECT_TRUE(state.filters().searchFocused());
    EXPECT_TRUE(router.handle({ Qt::Key_Escape, {}, none })); // then gives the keys back
    EXPECT_FALSE(state.filters().searchFocused());
}

TEST_F(StateTest, WelcomeListMovesWithinItsEntriesAndOpensOne)
{
    Project a;
    Project b;
    AppState state;
    state.recents().remember(a.path());
    state.recents().remember(b.path());
    KeyRouter router(state);
    for (int i = 0; i < 3; ++i)
        router.handle({ Qt::Key_Down, {}, none });
    EXPECT_EQ(state.recents().recentIndex(), 1);
    router.handle({ Qt::Key_Up, {}, none });
    router.handle({ Qt::Key_Up, {}, none });
    EXPECT_EQ(state.recents().recentIndex(), 0);
    ASSERT_TRUE(router.handle({ Qt::Key_Return, {}, none }));
    ASSERT_TRUE(waitFor([&] { return state.root() != nullptr; }));
    EXPECT_EQ(state.root()->url, b.path());
}

// --- handing files to the desktop ------------------------------------------------------------

struct HandOverCase {
    const char* name;
    const char* selected; // empty: nothing selected
    const char* action;
    const char* opened; // relative to the project; empty: nothing opened, and a message shown
};

void PrintTo(const HandOverCase& row, std::ostream* out)
{
    *out << row.name;
}

class HandOver : public StateTest, public testing::WithParamInterface<HandOverCase> { };

TEST_P(HandOver, OpensOrShowsOnlyWhatIsInsideTheFolder)
{
    const HandOverCase& row = GetParam();
    TempFolder outside;
    outside.write(u"secret.c"_s, "int secret;\n");
    Project project;
    ASSERT_TRUE(QFile::link(outside.path(u"secret.c"_s), project.path(u"src/link.c"_s)));
    ASSERT_TRUE(QFile::link(outside.path(), project.path(u"elsewhere"_s)));
    project.write(u"src/gone.c"_s, "int gone;\n");
    AppState state;
    PointScene scene;
    state.setScene(&scene);
    openAndWait(state, project.path());
    if (*row.selected)
        state.select(&node(state, QString::fromUtf8(row.selected)));
    if (QString::fromUtf8(row.selected) == u"src/gone.c"_s)
        QFile::remove(project.path(u"src/gone.c"_s));
    KeyRouter router(state);
    const bool done = router.perform(QString::fromUtf8(row.action));
    if (*row.opened) {
        EXPECT_TRUE(done);
        EXPECT_EQ(scene.opened, QStringList { project.path(QString::fromUtf8(row.opened)) });
    } else {
        EXPECT_FALSE(done);
        EXPECT_TRUE(scene.opened.isEmpty());
        EXPECT_TRUE(state.errorMessage().has_value());
    }
}

INSTANTIATE_TEST_SUITE_P(Table, HandOver,
    testing::Values(HandOverCase { "openAFile", "src/main.c", "open", "src/main.c" },
        HandOverCase { "openALink", "src/link.c", "open", "" },
        HandOverCase { "openAFolder", "src", "open", "src" },
        HandOverCase { "openALinkToAFolder", "elsewhere", "open", "" },
        HandOverCase { "revealALinkInItsFolder", "src/link.c", "reveal", "src/link.c" },
        HandOverCase { "revealAFolder", "src", "reveal", "src" },
        HandOverCase { "revealALinkToAFolderInItsFolder", "elsewhere", "reveal", "elsewhere" },
        HandOverCase { "openAFileGoneSinceTheScan", "src/gone.c", "open", "" }),
    rowName);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    useOwnSettings();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
