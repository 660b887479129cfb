#include "scene/colorcontext.h"
#include "scene/theme.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// Files f0 … fn-1 in one folder, each with the commit count given.
std::unique_ptr<FileNode> withCommits(const std::vector<qint64>& commits)
{
    QString text;
    for (size_t i = 0; i < commits.size(); ++i)
        text += u"f%1.c\n"_s.arg(i);
    auto root = makeTree(text);
    for (size_t i = 0; i < commits.size(); ++i)
        root->children[i]->commits = commits[i];
    return root;
}

FileNode& node(FileNode& root, const QString& path)
{
    return const_cast<FileNode&>(*root.find(path));
}

std::vector<int> ranks(const FileNode& root, ColorMode mode)
{
    const auto buckets = ColorContext::rank(mode, root.allFiles());
    std::vector<int> out;
    for (const auto& child : root.children)
        out.push_back(buckets.value(child.get(), -1));
    return out;
}

void expectColor(const QColor& actual, const QColor& expected, double tolerance = 0.5 / 255)
{
    EXPECT_NEAR(actual.redF(), expected.redF(), tolerance) << actual.name().toStdString();
    EXPECT_NEAR(actual.greenF(), expected.greenF(), tolerance) << actual.name().toStdString();
    EXPECT_NEAR(actual.blueF(), expected.blueF(), tolerance) << actual.name().toStdString();
    EXPECT_NEAR(actual.alphaF(), expected.alphaF(), tolerance) << actual.name().toStdString();
}

struct RankCase {
    const char* name;
    std::vector<qint64> values;
    std::vector<int> expected;
};

class RankTest : public testing::TestWithParam<RankCase> { };

} // namespace

TEST_P(RankTest, BucketsByPositionAndTiesShareTheFirstBucket)
{
    const auto root = withCommits(GetParam().values);
    EXPECT_EQ(ranks(*root, ColorMode::churn), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(ColorContext, RankTest,
    testing::Values(
        // 13 different values: the first two share rank 0 (⌈13/12⌉), only the last reaches 11.
        RankCase { "thirteen", { 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1 },
            { 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0 } },
        RankCase { "twentyFour",
            { 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23 },
            { 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11 } },
        RankCase { "allEqual", { 4, 4, 4, 4, 4 }, { 0, 0, 0, 0, 0 } },
        // The tie starting at position 1 keeps rank 3 even where position alone would say 6.
        RankCase { "tiesAcrossBuckets", { 2, 1, 2, 3 }, { 3, 0, 3, 9 } }, RankCase { "one", { 7 }, { 0 } }),
    [](const auto& info) { return std::string(info.param.name); });

// Outside a repository, or before its history is read, a file's age is its modification time.
TEST(ColorContext, AgeWithoutAHistoryRanksByModificationTimeThenZero)
{
    auto root = makeTree(u"a.c\nb.c\nc.c\n"_s);
    auto& files = root->children;
    files[0]->modified = 1700000000;
    files[1]->modified = 1500000000;
    // c.c has no date: it counts as 1970 and is the oldest.
    EXPECT_EQ(ranks(*root, ColorMode::age), (std::vector<int> { 8, 4, 0 }));
    const ColorContext age(ColorMode::age, false, root->allFiles());
    EXPECT_EQ(age.label(u"age:8"_s), u"2023-11-14");
    EXPECT_EQ(age.label(u"age:0"_s), u"undated");
}

// Once a history is read, a file's age is its last commit, however recently its checkout was
// written; a file the history never met is older than it reaches, in an entry of its own, unless it
// is new. Only the dated files share the ranks.
TEST(ColorContext, AgeFromAHistoryPutsWhatItNeverMetApart)
{
    auto root = makeTree(u"new.c\nold/a.c\nold/b.c\nrecent.c\nuntracked.c\n"_s);
    node(*root, u"new.c"_s).lastCommit = 1700000000;
    node(*root, u"new.c"_s).modified = 1900000000;
    node(*root, u"recent.c"_s).lastCommit = 1600000000;
    for (const QString& path : { u"new.c"_s, u"old/a.c"_s, u"old/b.c"_s, u"recent.c"_s })
        node(*root, path).modified = 1950000000; // all checked out just now
    node(*root, u"untracked.c"_s).modified = 1800000000;
    node(*root, u"untracked.c"_s).gitStatus = GitFileStatus::untracked;
    for (const bool dark : { true, false }) {
        const ColorContext age(ColorMode::age, dark, root->allFiles());
        for (const QString& path : { u"old/a.c"_s, u"old"_s }) {
            const ColorStyle older = age.style(node(*root, path));
            EXPECT_EQ(older.key, u"older") << path.toStdString();
            expectColor(older.color, ColorContext::older(dark));
        }
        EXPECT_EQ(age.label(u"older"_s), u"older than the history read");
        EXPECT_EQ(age.style(node(*root, u"recent.c"_s)).key, u"age:0") << "the oldest of the dated files";
        EXPECT_EQ(age.style(node(*root, u"untracked.c"_s)).key, u"age:8") << "new, by its own date";
        EXPECT_EQ(age.style(node(*root, u"new.c"_s)).key, u"age:4");
        EXPECT_EQ(age.label(u"age:4"_s), u"2023-11-14");
    }
}

TEST(ColorContext, ChurnAndAgeKeysAndTheUncommittedFile)
{
    const auto root = withCommits({ 0, 5, 9 });
    for (const bool dark : { true, false }) {
        const ColorContext churn(ColorMode::churn, dark, root->allFiles());
        const ColorStyle none = churn.style(*root->children[0]);
        EXPECT_EQ(none.key, u"none");
        expectColor(none.color, ColorContext::neutral(dark));
        EXPECT_EQ(churn.label(none.key), u"none");
        const ColorStyle most = churn.style(*root->children[2]);
        EXPECT_EQ(most.key, u"churn:8"); // position 2 of 3
        expectColor(
            most.color, ColorContext::gradient(ColorContext::stops(ColorMode::churn, dark), 8.0 / 11));
        EXPECT_EQ(churn.label(most.key), u"9 commits");

        const ColorContext age(ColorMode::age, dark, root->allFiles());
        EXPECT_EQ(age.style(*root->children[0]).key, u"age:0"); // undated, but ranked: no "none" here
        expectColor(age.style(*root->children[0]).color, ColorContext::stops(ColorMode::age, dark).front());
    }
}

TEST(ColorContext, AFolderDrawnWholeTakesTheRankOfItsBusiestFile)
{
    QString text;
    for (int i = 0; i < 12; ++i)
        text += u"quiet/f%1.c\n"_s.arg(i);
    text += u"busy/a.c\nbusy/b.c\n"_s;
    auto root = makeTree(text);
    for (int i = 0; i < 12; ++i)
        node(*root, u"quiet/f%1.c"_s.arg(i)).commits = i + 1;
    node(*root, u"busy/a.c"_s).commits = 3;
    node(*root, u"busy/b.c"_s).commits = 14;
    const ColorContext churn(ColorMode::churn, true, root->allFiles());
    EXPECT_EQ(churn.style(node(*root, u"busy/b.c"_s)).key, u"churn:11");
    EXPECT_EQ(churn.style(node(*root, u"busy"_s)).key, u"churn:11");
    // Of 14 files, positions 0 and 1 (1 and 2 commits) share bucket 0; the two files of 3 commits
    // share bucket 1 although the second stands at position 3.
    EXPECT_EQ(churn.label(u"churn:0"_s), u"1–2 commits");
    EXPECT_EQ(churn.style(node(*root, u"quiet/f2.c"_s)).key, u"churn:1");
    EXPECT_EQ(churn.label(u"churn:1"_s), u"3 commits");
    EXPECT_EQ(churn.label(u"churn:11"_s), u"14 commits");
}

TEST(ColorContext, StatusKeysAndColoursOnBothThemes)
{
    struct Row {
        std::optional<GitFileStatus> status;
        const char16_t* key;
        QColor dark, light;
    };
    const Row rows[] = {
        { GitFileStatus::modified, u"status:modified", QColor(239, 164, 99), QColor(209, 96, 15) },
        { GitFileStatus::added, u"status:added", QColor(92, 199, 154), QColor(23, 138, 90) },
        { GitFileStatus::deleted, u"status:deleted", QColor(133, 131, 127), QColor(119, 119, 119) },
        { GitFileStatus::renamed, u"status:renamed", QColor(195, 161, 232), QColor(148, 103, 189) },
        { GitFileStatus::untracked, u"status:untracked", QColor(106, 176, 224), QColor(31, 119, 180) },
        { GitFileStatus::conflicted, u"status:conflicted", QColor(239, 131, 189), QColor(204, 61, 143) },
        { std::nullopt, u"status:clean", QColor(74, 82, 92), QColor(200, 204, 208) },
    };
    auto root = makeTree(u"x/a.c\n"_s);
    FileNode& file = *root->children[0]->children[0];
    for (const Row& row : rows) {
        file.gitStatus = row.status;
        for (const bool dark : { true, false }) {
            const ColorStyle style = ColorContext(ColorMode::status, dark, root->allFiles()).style(file);
            EXPECT_EQ(style.key, QStringView(row.key));
            expectColor(style.color, dark ? row.dark : row.light);
        }
    }
    // A folder drawn whole shows the status most of its files share.
    auto many = makeTree(u"x/a.c\nx/b.c\nx/c.c\nx/d.c\n"_s);
    node(*many, u"x/a.c"_s).gitStatus = node(*many, u"x/b.c"_s).gitStatus = GitFileStatus::added;
    node(*many, u"x/c.c"_s).gitStatus = GitFileStatus::modified;
    EXPECT_EQ(ColorContext(ColorMode::status, true, many->allFiles()).style(node(*many, u"x"_s)).key,
        u"status:added");
}

TEST(ColorContext, LanguageColourFollowsTheTheme)
{
    const auto root = makeTree(u"main.c\n"_s);
    const FileNode& file = *root->children[0];
    const ColorStyle dark = ColorContext(ColorMode::language, true, root->allFiles()).style(file);
    const ColorStyle light = ColorContext(ColorMode::language, false, root->allFiles()).style(file);
    EXPECT_EQ(dark.key, u"lang:" + file.language->name);
    EXPECT_EQ(dark.color, QColor(QRgb(file.language->darkColor)));
    EXPECT_EQ(light.color, QColor(QRgb(file.language->lightColor)));
}

TEST(ColorContext, GradientMixesNeighbouringStopsAndClamps)
{
    const std::vector<QColor> stops { QColor(0, 0, 0), QColor(100, 200, 0), QColor(200, 0, 100) };
    expectColor(ColorContext::gradient(stops, -3), stops[0]);
    expectColor(ColorContext::gradient(stops, 0), stops[0]);
    expectColor(ColorContext::gradient(stops, 0.25), QColor(50, 100, 0));
    expectColor(ColorContext::gradient(stops, 0.5), stops[1]);
    expectColor(ColorContext::gradient(stops, 0.75), QColor(150, 100, 50));
    expectColor(ColorContext::gradient(stops, 1), stops[2]);
    expectColor(ColorContext::gradient(stops, 7), stops[2]);
    for (const ColorMode mode : { ColorMode::churn, ColorMode::age }) {
        for (const bool dark : { true, false }) {
            const auto five = ColorContext::stops(mode, dark);
            ASSERT_EQ(five.size(), 5u);
            // Rank 0 and rank 11 sit on the first and last stop.
            expectColor(ColorContext::gradient(five, 0), five.front());
            expectColor(ColorContext::gradient(five, 11.0 / 11), five.back());
        }
    }
    EXPECT_EQ(ColorContext::stops(ColorMode::churn, true).front(), QColor(0x3a, 0x3f, 0x47));
    EXPECT_EQ(ColorContext::stops(ColorMode::age, false).back(), QColor(0xd1, 0x60, 0x0f));
}

TEST(ColorContext, MixInterpolatesEveryChannelAndAlpha)
{
    expectColor(mix(QColor(0, 0, 0, 0), QColor(255, 255, 255, 255), 0.25), QColor(64, 64, 64, 64), 1.0 / 255);
    expectColor(mix(QColor(200, 100, 0), QColor(100, 100, 200), 0.5), QColor(150, 100, 100));
    // Other colour specs are read as sRGB first.
    expectColor(mix(QColor::fromHsv(0, 255, 255), QColor(0, 0, 255), 1), QColor(0, 0, 255));
    expectColor(mix(QColor(10, 20, 30), QColor(90, 80, 70), 0), QColor(10, 20, 30));
}

TEST(Theme, PalettesHoldTheirOwnColours)
{
    EXPECT_TRUE(Theme::of(true).dark);
    EXPECT_FALSE(Theme::of(false).dark);
    EXPECT_EQ(Theme::of(true).accent, QColor(255, 79, 50));
    EXPECT_EQ(Theme::of(false).accent, QColor(232, 32, 13));
    EXPECT_EQ(Theme::of(false).paper, QColor(255, 255, 255));
    EXPECT_NEAR(Theme::of(true).floorLine.alphaF(), 0.06, 0.002);
    EXPECT_NEAR(Theme::of(false).floorLine.alphaF(), 0.14, 0.002);
    EXPECT_FALSE(Theme::darkPalette() == Theme::lightPalette());
}
