// `korvane replay`: which commit each frame shows, the frames it writes into a folder for a real
// repository, and what it refuses.

#include "display.h"
#include "ui/replaycommand.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QImage>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

struct PlanCase {
    const char* name;
    ReplayPlan plan;
    qint64 frames;
    QList<std::pair<qint64, qint64>> positions; // frame, commit shown
};

void PrintTo(const PlanCase& c, std::ostream* os)
{
    *os << c.name;
}

class Plan : public ::testing::TestWithParam<PlanCase> { };

TEST_P(Plan, EachFrameShowsTheCommitItsTimeReachesAndTheLastShowsTheEnd)
{
    const PlanCase& c = GetParam();
    EXPECT_EQ(c.plan.frameCount(), c.frames);
    for (const auto& [frame, position] : c.positions)
        EXPECT_EQ(c.plan.positionAt(frame), position) << "frame " << frame;
    // The playhead never runs backwards nor past the end.
    for (qint64 k = 1; k < c.plan.frameCount(); ++k) {
        EXPECT_GE(c.plan.positionAt(k), c.plan.positionAt(k - 1));
        EXPECT_LE(c.plan.positionAt(k), c.plan.to);
    }
}

INSTANTIATE_TEST_SUITE_P(Replay, Plan,
    ::testing::Values(
        PlanCase { "OneCommitAFrame", { -1, 11, 30, 30 }, 13, { { 0, -1 }, { 1, 0 }, { 12, 11 } } },
        PlanCase { "SlowerThanTheFramesHoldsEachCommit", { -1, 3, 6, 30 }, 21,
            { { 0, -1 }, { 4, -1 }, { 5, 0 }, { 19, 2 }, { 20, 3 } } },
        // 100 commits at 7 a frame: the last frame lands on the end, not past it.
        PlanCase { "FasterThanTheFramesSkipsAndEndsOnTheLast", { 0, 100, 210, 30 }, 16,
            { { 1, 7 }, { 14, 98 }, { 15, 100 } } },
        PlanCase { "HalfACommitASecond", { 5, 6, 0.5, 1 }, 3, { { 0, 5 }, { 1, 5 }, { 2, 6 } } },
        PlanCase { "OneMomentIsOneFrame", { 4, 4, 6, 30 }, 1, { { 0, 4 } } }),
    rowName);

// Twelve commits, each adding a Python file in one of three folders and growing the first.
class Twelve : public GitRepo {
public:
    Twelve()
    {
        const QStringList folders { u"core"_s, u"web"_s, u"tools"_s };
        for (int i = 0; i < 12; ++i) {
            write(u"app/main.py"_s, QByteArray("x = 1\n").repeated(20 + 15 * i));
            write(u"%1/part%2.py"_s.arg(folders[i % 3]).arg(i), QByteArray("y = 2\n").repeated(40 + 10 * i));
            commitAll(u"commit %1"_s.arg(i), 1700000000 + i * 86400);
        }
    }
};

// Pixels of a strong colour in the part of a frame where the city stands: away from the name and
// the colour key above and the caption below. The ground is grey; buildings are coloured.
int colouredPixels(const QImage& frame)
{
    int found = 0;
    for (int y = frame.height() / 8; y < frame.height() * 3 / 4; y += 2) {
        for (int x = 0; x < frame.width() * 3 / 4; x += 2) {
            const QColor c = frame.pixelColor(x, y);
            found += c.hsvSaturationF() > 0.35 && c.valueF() > 0.35;
        }
    }
    return found;
}

QStringList frameFiles(const QString& folder)
{
    return QDir(folder).entryList({ u"frame-*.png"_s }, QDir::Files, QDir::Name);
}

TEST(Replay, IntoAFolderDrawsEveryFrameFromTheEmptyCityToTheLastCommit)
{
    Twelve repo;
    TempFolder out;
    const QString frames = out.path(u"frames"_s);
    const Outcome run = korvaneOnDisplay({ u"replay"_s, repo.path(), u"--out"_s, frames, u"--speed"_s, u"6"_s,
        u"--fps"_s, u"12"_s, u"--size"_s, u"480x270"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    // From before the first commit (-1) to the twelfth (11), two frames a commit.
    const QStringList files = frameFiles(frames);
    ASSERT_EQ(files.size(), 25);
    EXPECT_EQ(files.first(), u"frame-00000.png"_s);
    EXPECT_EQ(files.last(), u"frame-00024.png"_s);
    const QImage first(QDir(frames).filePath(files.first()));
    const QImage middle(QDir(frames).filePath(files[12]));
    const QImage last(QDir(frames).filePath(files.last()));
    ASSERT_EQ(first.size(), QSize(480, 270));
    EXPECT_EQ(colouredPixels(first), 0);
    EXPECT_GT(colouredPixels(middle), 40);
    EXPECT_GT(colouredPixels(last), colouredPixels(middle));
    EXPECT_TRUE(run.out.contains("25 frames")) << run.out.toStdString();
}

TEST(Replay, APartOfTheHistoryStartsAndEndsWhereItIsTold)
{
    Twelve repo;
    TempFolder out;
    const QString frames = out.path(u"frames"_s);
    const Outcome run = korvaneOnDisplay({ u"replay"_s, repo.path(), u"--out"_s, frames, u"--from"_s, u"3"_s,
        u"--to"_s, u"middle"_s, u"--speed"_s, u"30"_s, u"--size"_s, u"320x180"_s, u"--theme"_s, u"light"_s,
        u"--color"_s, u"age"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    // Commits 3 to 5 at one a frame.
    EXPECT_EQ(frameFiles(frames).size(), 3);
}

TEST(Replay, AVideoWithoutFfmpegSaysToInstallItAndWritesNothing)
{
    Twelve repo;
    TempFolder out;
    TempFolder emptyPath;
    const Outcome run = korvaneOnDisplay({ u"replay"_s, repo.path(), u"--out"_s, out.path(u"story.mp4"_s) },
        { { u"PATH"_s, emptyPath.path() }, { u"QT_QPA_PLATFORM"_s, u"offscreen"_s } }, false);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err.count('\n'), 1) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains("needs ffmpeg")) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains("install")) << run.err.toStdString();
    EXPECT_TRUE(QDir(out.path()).isEmpty());
}

TEST(Replay, AVideoThroughFfmpegHoldsEveryFrame)
{
    const QString ffprobe = QStandardPaths::findExecutable(u"ffprobe"_s);
    if (QStandardPaths::findExecutable(u"ffmpeg"_s).isEmpty() || ffprobe.isEmpty())
        GTEST_SKIP() << "ffmpeg is not installed";
    Twelve repo;
    TempFolder out;
    const QString video = out.path(u"story.mp4"_s);
    const Outcome run = korvaneOnDisplay({ u"replay"_s, repo.path(), u"--out"_s, video, u"--speed"_s, u"12"_s,
        u"--fps"_s, u"12"_s, u"--size"_s, u"321x181"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const Outcome probe = runHeadless(ffprobe,
        { u"-v"_s, u"error"_s, u"-count_frames"_s, u"-select_streams"_s, u"v:0"_s, u"-show_entries"_s,
            u"stream=nb_read_frames,width,height"_s, u"-of"_s, u"csv=p=0"_s, video });
    // Odd sides are padded to even ones for the players.
    EXPECT_EQ(probe.out.trimmed(), "322,182,13") << probe.err.toStdString();
}

struct RefusalCase {
    const char* name;
    QStringList options;
    int status;
    const char* says;
};

void PrintTo(const RefusalCase& c, std::ostream* os)
{
    *os << c.name;
}

class Refusal : public ::testing::TestWithParam<RefusalCase> { };

// Refused before anything is drawn, so no display is needed: one line, the status, nothing written.
TEST_P(Refusal, OneLineAndNothingWritten)
{
    const RefusalCase& c = GetParam();
    Twelve repo;
    TempFolder out;
    QStringList arguments { u"replay"_s, repo.path() };
    for (const QString& option : c.options)
        arguments << QString(option).replace(u"OUT"_s, out.path()).replace(u"REPO"_s, repo.path());
    const Outcome run = korvaneOnDisplay(arguments, { { u"QT_QPA_PLATFORM"_s, u"offscreen"_s } }, false);
    EXPECT_EQ(run.exitCode, c.status) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(c.says)) << run.err.toStdString();
    EXPECT_EQ(run.err.count('\n'), 1) << run.err.toStdString();
    EXPECT_TRUE(QDir(out.path()).isEmpty());
    EXPECT_EQ(repo.git({ u"status"_s, u"--porcelain"_s, u"--ignored"_s }), QByteArray());
}

INSTANTIATE_TEST_SUITE_P(Replay, Refusal,
    ::testing::Values(RefusalCase { "NoOut", {}, 2, "--out" },
        RefusalCase { "NoFrames", { u"--out"_s, u"OUT/f"_s, u"--fps"_s, u"0"_s }, 2, "--fps" },
        RefusalCase { "TooSlow", { u"--out"_s, u"OUT/f"_s, u"--speed"_s, u"0.1"_s }, 2, "--speed" },
        RefusalCase { "NotANumber", { u"--out"_s, u"OUT/f"_s, u"--speed"_s, u"fast"_s }, 2, "--speed" },
        RefusalCase { "TinySize", { u"--out"_s, u"OUT/f"_s, u"--size"_s, u"10x10"_s }, 2, "--size" },
        RefusalCase { "UnknownTheme", { u"--out"_s, u"OUT/f"_s, u"--theme"_s, u"blue"_s }, 2, "--theme" },
        RefusalCase { "UnknownColour", { u"--out"_s, u"OUT/f"_s, u"--color"_s, u"size"_s }, 2, "--color" },
        RefusalCase { "BadFrom", { u"--out"_s, u"OUT/f"_s, u"--from"_s, u"-3"_s }, 2, "--from" },
        RefusalCase { "Backwards", { u"--out"_s, u"OUT/f"_s, u"--from"_s, u"8"_s, u"--to"_s, u"2"_s }, 2,
            "--from must not come after --to" },
        RefusalCase {
            "UnknownHash", { u"--out"_s, u"OUT/f"_s, u"--to"_s, u"fedcba9"_s }, 1, "no commit \"fedcba9\"" },
        RefusalCase { "IntoTheRepository", { u"--out"_s, u"REPO/frames"_s }, 1, "writes nothing into" },
        RefusalCase { "IntoTheRepositoryThroughDots", { u"--out"_s, u"OUT/../../REPO/x.mp4"_s }, 1,
            "writes nothing into" }),
    rowName);

TEST(Replay, AFolderThatIsNotARepositoryIsRefusedWithTheReason)
{
    TempFolder plain;
    plain.write(u"a.py"_s, "x = 1\n");
    TempFolder out;
    const Outcome run = korvaneOnDisplay({ u"replay"_s, plain.path(), u"--out"_s, out.path(u"f"_s) },
        { { u"QT_QPA_PLATFORM"_s, u"offscreen"_s } }, false);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("git")) << run.err.toStdString();
    EXPECT_EQ(run.err.count('\n'), 1) << run.err.toStdString();
}

TEST(Replay, AFolderWithFilesInItIsNotWrittenOver)
{
    Twelve repo;
    TempFolder out;
    out.write(u"frames/keep.txt"_s, "mine\n");
    const Outcome run = korvaneOnDisplay({ u"replay"_s, repo.path(), u"--out"_s, out.path(u"frames"_s) },
        { { u"QT_QPA_PLATFORM"_s, u"offscreen"_s } }, false);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("not empty")) << run.err.toStdString();
    EXPECT_EQ(QDir(out.path(u"frames"_s)).entryList(QDir::Files), QStringList { u"keep.txt"_s });
}

} // namespace
