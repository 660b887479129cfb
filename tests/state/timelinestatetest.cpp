// The history in the state: read in the background when a repository opens, replayed commit by
// commit on the history's own city, whose files carry their values at the playhead, checked against
// what git itself says each commit held.

#include "state/appstate.h"
#include "state/keyrouter.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStandardPaths>
#include <QThread>

#include <map>

using namespace Qt::StringLiterals;

namespace {

QByteArray lines(int count, const char* text = "line\n")
{
    return QByteArray(text).repeated(count);
}

// Fourteen commits with adds, edits, a delete, a rename with edits, a rename into a new folder and
// a file that comes back after being deleted, each at its own time.
class Story : public GitRepo {
public:
    Story()
    {
        qint64 time = 1700000000;
        const auto commit = [&](const QString& message) { commitAll(message, time += 3600); };
        write(u"README.md"_s, lines(5));
        commit(u"readme"_s);
        write(u"src/main.c"_s, lines(40));
        write(u"src/util.c"_s, lines(20));
        commit(u"sources"_s);
        write(u"src/main.c"_s, lines(55));
        commit(u"grow main"_s);
        write(u"docs/guide.md"_s, lines(30));
        commit(u"guide"_s);
        git({ u"rm"_s, u"-q"_s, u"src/util.c"_s });
        commit(u"drop util"_s);
        git({ u"mv"_s, u"src/main.c"_s, u"src/app.c"_s });
        write(u"src/app.c"_s, lines(55) + lines(3, "more\n"));
        commit(u"rename main to app"_s);
        write(u"src/util.c"_s, lines(12));
        commit(u"util is back"_s);
        makeFolder(u"manual"_s);
        git({ u"mv"_s, u"docs/guide.md"_s, u"manual/guide.md"_s });
        commit(u"move the guide"_s);
        write(u"README.md"_s, lines(2));
        commit(u"shorter readme"_s);
        write(u"lib/a.h"_s, lines(8));
        write(u"lib/b.h"_s, lines(9));
        commit(u"headers"_s);
        write(u"lib/a.h"_s, lines(16));
        commit(u"longer a"_s);
        git({ u"rm"_s, u"-q"_s, u"lib/b.h"_s });
        commit(u"drop b"_s);
        write(u"src/app.c"_s, lines(10));
        commit(u"shrink app"_s);
        write(u"notes.txt"_s, lines(1));
        commit(u"notes"_s);
    }
    static constexpr qint64 commits = 14;
};

class TimelineState : public ::testing::Test {
protected:
    static void SetUpTestSuite() { QStandardPaths::setTestModeEnabled(true); }

    void openAndRead(const QString& path)
    {
        state.open(path);
        ASSERT_TRUE(waitFor([&] { return state.scan().idle() && state.root(); }));
        ASSERT_TRUE(waitFor([&] { return state.timeline().phase() != TimelineController::Phase::indexing; }));
        ASSERT_EQ(state.timeline().phase(), TimelineController::Phase::ready)
            << state.timeline().error().toStdString();
    }

    // Each file present at the playhead with its lines, as the history's city has them.
    std::map<QString, qint64> shown() const
    {
        std::map<QString, qint64> files;
        const TimelineController& timeline = state.timeline();
        timeline.root()->forEach([&](const FileNode& file) {
            if (const auto count = timeline.lines(file)) {
                files[file.relativePath] = *count;
                EXPECT_EQ(file.lines, *count) << file.relativePath.toStdString();
                EXPECT_GT(file.fileCount, 0);
            } else {
                EXPECT_EQ(file.fileCount, 0) << file.relativePath.toStdString();
            }
        });
        return files;
    }

    // What git says the commit held: each file with its lines.
    std::map<QString, qint64> held(const Story& repo, qint64 position) const
    {
        std::map<QString, qint64> files;
        if (position < 0)
            return files;
        const QString hash = state.timeline().index()->commits[size_t(position)].hash;
        for (const QByteArray& path :
            repo.git({ u"ls-tree"_s, u"-r"_s, u"--name-only"_s, hash }).split('\n')) {
            if (!path.isEmpty())
                files[QString::fromUtf8(path)]
                    = repo.git({ u"show"_s, hash + u':' + QString::fromUtf8(path) }).count('\n');
        }
        return files;
    }

    AppState state { nullptr, false };
    KeyRouter router { state };
};

TEST_F(TimelineState, ReadsWhenTheRepositoryOpensAndStandsAtTheLastCommit)
{
    Story repo;
    openAndRead(repo.path());
    const TimelineController& timeline = state.timeline();
    EXPECT_EQ(timeline.commitCount(), Story::commits);
    EXPECT_EQ(timeline.position(), Story::commits - 1);
    EXPECT_EQ(shown(), held(repo, Story::commits - 1));
    // Every path the history ever held has its place: main.c and b.h are there though gone now.
    EXPECT_TRUE(timeline.root()->find(u"src/main.c"_s));
    EXPECT_TRUE(timeline.root()->find(u"lib/b.h"_s));
    EXPECT_EQ(timeline.fileCount(), 6);
}

TEST_F(TimelineState, EveryPositionShowsWhatGitSaysItsCommitHeldForwardsAndBackwards)
{
    Story repo;
    openAndRead(repo.path());
    TimelineController& timeline = state.timeline();
    std::vector<std::map<QString, qint64>> expected;
    for (qint64 k = -1; k < Story::commits; ++k)
        expected.push_back(held(repo, k));
    for (qint64 k = -1; k < Story::commits; ++k) {
        timeline.move(k);
        EXPECT_EQ(shown(), expected[size_t(k + 1)]) << "forwards at " << k;
    }
    // Backwards one step at a time crosses both renames and the delete.
    for (qint64 k = Story::commits - 1; k >= -1; --k) {
        timeline.move(k);
        EXPECT_EQ(shown(), expected[size_t(k + 1)]) << "backwards at " << k;
    }
    // Jumps land on the same.
    for (const qint64 k : { 12, 3, 9, 0, 5 }) {
        timeline.move(k);
        EXPECT_EQ(shown(), expected[size_t(k + 1)]) << "jump to " << k;
    }
}

TEST_F(TimelineState, AFilesCommitsAndLastChangeAreCountedUpToThePlayhead)
{
    Story repo;
    openAndRead(repo.path());
    TimelineController& timeline = state.timeline();
    const FileNode* readme = timeline.root()->find(u"README.md"_s);
    ASSERT_TRUE(readme);
    timeline.move(4);
    EXPECT_EQ(timeline.commits(*readme)->soFar, 1);
    EXPECT_EQ(timeline.commits(*readme)->total, 2);
    EXPECT_EQ(timeline.lastChange(*readme)->subject, u"readme"_s);
    EXPECT_EQ(readme->commits, 1);
    timeline.move(8);
    EXPECT_EQ(timeline.commits(*readme)->soFar, 2);
    EXPECT_EQ(timeline.lastChange(*readme)->subject, u"shorter readme"_s);
    EXPECT_EQ(readme->lastCommit, timeline.lastChange(*readme)->date);
    // A folder sums what is there: src holds util.c (12) and app.c (58) after "util is back".
    timeline.move(6);
    const FileNode* src = timeline.root()->find(u"src"_s);
    EXPECT_EQ(src->fileCount, 2);
    EXPECT_EQ(src->lines, 12 + 58);
    // Before the first commit nothing is there and nothing was changed yet.
    timeline.move(-1);
    EXPECT_FALSE(timeline.lines(*readme));
    EXPECT_EQ(timeline.lastChange(*readme), nullptr);
    EXPECT_EQ(timeline.root()->fileCount, 0);
    EXPECT_EQ(timeline.commit(), nullptr);
}

TEST_F(TimelineState, AStepMarksWhatItPassedAndAJumpOnlyTheCommitItLandsOn)
{
    Story repo;
    openAndRead(repo.path());
    TimelineController& timeline = state.timeline();
    const auto paths = [&] {
        QStringList out;
        for (const FileNode* file : timeline.lastTouched())
            out << file->relativePath;
        out.sort();
        return out;
    };
    timeline.move(4);
    timeline.move(5); // the rename: the old path goes, the new one comes
    EXPECT_EQ(paths(), (QStringList { u"src/app.c"_s, u"src/main.c"_s }));
    timeline.move(-1);
    timeline.move(Story::commits - 1); // a jump: just "notes"
    EXPECT_EQ(paths(), QStringList { u"notes.txt"_s });
}

TEST_F(TimelineState, PlayingAtTheEndStartsAgainFromTheEmptyCityAndStopsAtTheEnd)
{
    Story repo;
    openAndRead(repo.path());
    TimelineController& timeline = state.timeline();
    ASSERT_TRUE(router.perform(u"history"_s));
    ASSERT_TRUE(router.perform(u"play"_s));
    EXPECT_TRUE(timeline.isPlaying());
    EXPECT_EQ(timeline.position(), -1);
    timeline.setSpeed(120);
    ASSERT_TRUE(waitFor([&] { return !timeline.isPlaying(); }, 5000));
    EXPECT_EQ(timeline.position(), Story::commits - 1);
    // Space pauses, a step stops the playing as well.
    ASSERT_TRUE(router.perform(u"commitStart"_s));
    ASSERT_TRUE(router.perform(u"play"_s));
    ASSERT_TRUE(router.perform(u"commitOn10"_s));
    EXPECT_FALSE(timeline.isPlaying());
}

TEST_F(TimelineState, TheHistoryKeysMoveThePlayheadOnlyInTheHistoryView)
{
    Story repo;
    openAndRead(repo.path());
    TimelineController& timeline = state.timeline();
    EXPECT_FALSE(router.perform(u"commitBack"_s)); // the city
    EXPECT_EQ(timeline.position(), Story::commits - 1);
    ASSERT_TRUE(router.perform(u"history"_s));
    EXPECT_EQ(state.viewRoot(), timeline.root());
    const std::pair<const char*, qint64> steps[] = { { "commitStart", -1 }, { "commitOn", 0 },
        { "commitOn10", 10 }, { "commitOn10", 13 }, { "commitBack10", 3 }, { "commitBack", 2 },
        { "commitMid", 6 }, { "commitEnd", 13 }, { "commitOn", 13 } };
    for (const auto& [action, position] : steps) {
        router.perform(QString::fromLatin1(action));
        EXPECT_EQ(timeline.position(), position) << action;
    }
    // Leaving the history goes back to the folder's own tree, and pauses.
    ASSERT_TRUE(router.perform(u"play"_s));
    ASSERT_TRUE(router.perform(u"city"_s));
    EXPECT_FALSE(timeline.isPlaying());
    EXPECT_EQ(state.viewRoot(), state.root());
}

TEST_F(TimelineState, ASelectionInTheHistoryGoesWithTheHistoryWhenTheViewChanges)
{
    Story repo;
    openAndRead(repo.path());
    ASSERT_TRUE(router.perform(u"history"_s));
    const FileNode* app = state.timeline().root()->find(u"src/app.c"_s);
    state.select(app, false, false);
    EXPECT_EQ(state.timeline().highlighted(), app);
    EXPECT_EQ(state.timeline().highlightedName(), u"app.c"_s);
    ASSERT_TRUE(router.perform(u"tree"_s));
    EXPECT_EQ(state.selection(), nullptr);
}

TEST_F(TimelineState, CancellingTheReadingSaysSoAndTheHistoryViewTriesAgain)
{
    Story repo;
    state.open(repo.path());
    ASSERT_TRUE(waitFor([&] { return state.scan().idle() && state.root(); }));
    TimelineController& timeline = state.timeline();
    if (timeline.phase() == TimelineController::Phase::indexing) {
        timeline.cancel();
        EXPECT_EQ(timeline.phase(), TimelineController::Phase::failed);
        EXPECT_EQ(timeline.error(), u"Indexing cancelled."_s);
        waitFor([] { return false; }, 300); // a late result is dropped
        EXPECT_EQ(timeline.phase(), TimelineController::Phase::failed);
    }
    ASSERT_TRUE(router.perform(u"history"_s));
    ASSERT_TRUE(waitFor([&] { return timeline.isReady(); }));
    EXPECT_EQ(state.viewRoot(), timeline.root());
}

TEST_F(TimelineState, APlainFolderHasNoHistoryAndARepositoryWithoutCommitsSaysSo)
{
    TempFolder plain;
    plain.write(u"a.c"_s, "int a;\n");
    state.open(plain.path());
    ASSERT_TRUE(waitFor([&] { return state.scan().idle() && state.root(); }));
    EXPECT_EQ(state.timeline().phase(), TimelineController::Phase::idle);
    EXPECT_FALSE(router.perform(u"history"_s));
    EXPECT_EQ(state.errorMessage(), u"History needs a git repository."_s);
    EXPECT_EQ(state.display().mode(), VisualizationMode::city);

    GitRepo empty;
    empty.write(u"a.c"_s, "int a;\n");
    state.open(empty.path());
    ASSERT_TRUE(waitFor([&] { return state.root() && state.root()->url == empty.path(); }));
    ASSERT_TRUE(waitFor([&] { return state.timeline().phase() == TimelineController::Phase::failed; }));
    EXPECT_EQ(state.timeline().error(), u"This repository has no commits yet."_s);
}

struct SpeedCase {
    const char* name;
    double speed;
    int interval; // milliseconds
    qint64 step; // commits a tick
};

class Speed : public ::testing::TestWithParam<SpeedCase> { };

TEST_P(Speed, TicksAtMostThirtyTimesASecondAndMovesSeveralCommitsBeyond)
{
    EXPECT_EQ(TimelineController::tickInterval(GetParam().speed), GetParam().interval);
    EXPECT_EQ(TimelineController::tickStep(GetParam().speed), GetParam().step);
}

INSTANTIATE_TEST_SUITE_P(Table, Speed,
    ::testing::Values(SpeedCase { "VerySlow", 0.1, 2000, 1 }, SpeedCase { "Slowest", 0.5, 2000, 1 },
        SpeedCase { "Default", 6, 167, 1 }, SpeedCase { "Thirty", 30, 33, 1 },
        SpeedCase { "FortyFive", 45, 33, 2 }, SpeedCase { "Sixty", 60, 33, 2 },
        SpeedCase { "Fastest", 120, 33, 4 }),
    rowName);

TEST(TimelineSpeed, IsKeptBetweenHalfACommitAndAHundredAndTwentyCommitsASecond)
{
    QThreadPool pool;
    TimelineController timeline(pool);
    timeline.setSpeed(1000);
    EXPECT_EQ(timeline.speed(), TimelineController::maxSpeed);
    timeline.setSpeed(0);
    EXPECT_EQ(timeline.speed(), TimelineController::minSpeed);
}

} // namespace

namespace {

TEST_F(TimelineState, AFilesTextIsReadAtThePlayheadsCommit)
{
    Story repo;
    openAndRead(repo.path());
    TimelineController& timeline = state.timeline();
    const FileNode& readme = *timeline.root()->find(u"README.md"_s);
    const FileNode& main = *timeline.root()->find(u"src/main.c"_s);
    const auto text = [&](const FileNode& file) { return timeline.revision(file); };
    timeline.move(0);
    EXPECT_EQ(std::get<QByteArray>(text(readme)), lines(5));
    timeline.move(8);
    EXPECT_EQ(std::get<QByteArray>(text(readme)), lines(2));
    timeline.move(3);
    EXPECT_EQ(std::get<QByteArray>(text(main)), lines(55)); // renamed later, still read here
    timeline.move(13);
    EXPECT_EQ(std::get<QString>(text(main)),
        u"src/main.c is not there at commit "_s + timeline.commit()->shortHash() + u'.');
    EXPECT_TRUE(std::get<QString>(timeline.revision(readme, 4)).contains(u"too large"_s));
    timeline.move(-1);
    EXPECT_TRUE(std::holds_alternative<QString>(text(readme)));
}

TEST_F(TimelineState, AGitLfsPointerGivesTheStoredFileOrSaysItIsNotHere)
{
    GitRepo repo;
    const QByteArray oid = QByteArray("ab12").leftJustified(64, 'c');
    repo.write(u"big.bin"_s, "version https://git-lfs.github.com/spec/v1\noid sha256:" + oid + "\nsize 11\n");
    repo.commitAll(u"pointer"_s);
    openAndRead(repo.path());
    const FileNode& big = *state.timeline().root()->find(u"big.bin"_s);
    EXPECT_EQ(std::get<QString>(state.timeline().revision(big)),
        u"big.bin is stored with Git LFS, and its content is not here."_s);
    repo.write(u".git/lfs/objects/ab/12/"_s + QString::fromLatin1(oid), "the content");
    EXPECT_EQ(std::get<QByteArray>(state.timeline().revision(big)), QByteArray("the content"));
}

} // namespace
