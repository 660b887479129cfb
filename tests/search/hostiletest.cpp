#include "scan/beneath.h"
#include "scan/scanner.h"
#include "search/foldersearch.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray levels(int count, const char* file = "f.txt")
{
    QByteArray path;
    for (int i = 0; i < count - 1; ++i)
        path += "d/";
    return path + file;
}

// A repository whose index was written by hand; OUT in a path stands for the name of a folder
// beside the repository that holds a file with a secret.
struct IndexCase {
    const char* name;
    QList<QByteArray> index;
    QStringList onDisk; // written in the work tree, so that they can be measured
    QStringList kept;
    bool truncated;
};

void PrintTo(const IndexCase& row, std::ostream* out)
{
    *out << row.name;
}

class HostileIndex : public testing::TestWithParam<IndexCase> { };

TEST_P(HostileIndex, KeepsEveryFileInsideTheFolderAndNothingElse)
{
    const IndexCase& row = GetParam();
    TempFolder outside;
    outside.write(u"secret.txt"_s, "SECRET\nSECRET\n");
    GitRepo repo;
    ASSERT_TRUE(QFile::link(outside.path(), repo.path(u"outside"_s)));
    for (const QString& path : row.onDisk)
        repo.write(path, "text\n");
    QList<QByteArray> index;
    for (QByteArray path : row.index)
        index.append(path.replace("OUT", QFile::encodeName(QFileInfo(outside.path()).fileName())));
    repo.writeIndex(index);

    const auto scanned = Scanner(repo.path(), nullptr).scan();
    ASSERT_TRUE(std::holds_alternative<ScanResult>(scanned));
    const ScanResult& result = std::get<ScanResult>(scanned);
    QStringList files;
    result.root->forEach([&](const FileNode& file) { files.append(file.relativePath); });
    files.removeAll(u"outside"_s); // the link itself, untracked, is listed as a link and never read
    EXPECT_EQ(files, row.kept);
    EXPECT_EQ(result.truncated, row.truncated);

    // A search lists the files without measuring them, and must not read through the link either.
    const auto listed
        = Scanner(repo.path(), nullptr, Scanner::defaultMaxFiles, Scanner::Scope::listing).scan();
    ASSERT_TRUE(std::holds_alternative<ScanResult>(listed));
    const auto hits
        = FolderSearch::search(*std::get<ScanResult>(listed).root, *TextNeedle::make(u"SECRET"), nullptr);
    ASSERT_TRUE(hits);
    EXPECT_TRUE(hits->nodes.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Table, HostileIndex,
    testing::Values(IndexCase { "throughALinkInTheWorkTree", { "inside.txt", "outside/secret.txt" },
                        { u"inside.txt"_s }, { u"inside.txt"_s }, false },
        IndexCase { "climbingOut", { "inside.txt", "../OUT/secret.txt", "a/../../OUT/secret.txt" },
            { u"inside.txt"_s }, { u"inside.txt"_s }, true },
        IndexCase { "oddParts",
            { "inside.txt", "/etc/hostname", "./inside.txt", "a//inside.txt", "a/./inside.txt", "a/" },
            // a/inside.txt is untracked, and listed as such, once
            { u"inside.txt"_s, u"a/inside.txt"_s }, { u"a/inside.txt"_s, u"inside.txt"_s }, true },
        IndexCase { "asDeepAsAllowed", { levels(Beneath::maxDepth) },
            { QString::fromUtf8(levels(Beneath::maxDepth)) },
            { QString::fromUtf8(levels(Beneath::maxDepth)) }, false },
        IndexCase { "oneLevelTooDeep", { "inside.txt", levels(Beneath::maxDepth + 1) }, { u"inside.txt"_s },
            { u"inside.txt"_s }, true },
        // Building the tree once recursed a level at a time, and overflowed the stack here.
        IndexCase { "thirtyThousandLevels", { "inside.txt", levels(30000) }, { u"inside.txt"_s },
            { u"inside.txt"_s }, true }),
    rowName);

struct PathCase {
    const char* name;
    QByteArray path;
    bool plain;
};

void PrintTo(const PathCase& row, std::ostream* out)
{
    *out << row.name;
}

class PlainPath : public testing::TestWithParam<PathCase> { };

TEST_P(PlainPath, TellsAPathThatStaysInside)
{
    EXPECT_EQ(Beneath::isPlain(GetParam().path), GetParam().plain);
}

INSTANTIATE_TEST_SUITE_P(Table, PlainPath,
    testing::Values(PathCase { "name", "a", true }, PathCase { "nested", "a/b.c/d", true },
        PathCase { "dotsInAName", "..a/b..", true }, PathCase { "empty", "", false },
        PathCase { "leadingSlash", "/a", false }, PathCase { "trailingSlash", "a/", false },
        PathCase { "doubleSlash", "a//b", false }, PathCase { "dot", "a/./b", false },
        PathCase { "dotDot", "a/../b", false }, PathCase { "onlyDotDot", "..", false },
        PathCase { "zeroByte", QByteArray("a\0b", 3), false }),
    rowName);

TEST(Beneath, ReadsOnlyRegularFilesReachedWithoutALink)
{
    TempFolder outside;
    outside.write(u"secret.txt"_s, "SECRET\n");
    TempFolder folder;
    folder.write(u"src/a.txt"_s, "0123456789");
    ASSERT_TRUE(QFile::link(outside.path(), folder.path(u"out"_s)));
    ASSERT_TRUE(QFile::link(folder.path(u"src/a.txt"_s), folder.path(u"src/link.txt"_s)));
    ASSERT_EQ(mkfifo(QFile::encodeName(folder.path(u"pipe"_s)).constData(), 0600), 0);
    const Beneath beneath(folder.path());

    bool whole = false;
    EXPECT_EQ(beneath.read("src/a.txt", 100, &whole), QByteArray("0123456789"));
    EXPECT_TRUE(whole);
    EXPECT_EQ(beneath.read("src/a.txt", 4, &whole), QByteArray("0123"));
    EXPECT_FALSE(whole) << "a read cut short says so";
    EXPECT_FALSE(beneath.read("out/secret.txt", 100)) << "through a linked folder";
    EXPECT_FALSE(beneath.read("src/link.txt", 100)) << "a link at the end";
    EXPECT_FALSE(beneath.read("src/../src/a.txt", 100));
    EXPECT_FALSE(beneath.read("pipe", 100)) << "a pipe with no writer must not hang the reader";
    // The link itself is described, not what it points at.
    const auto link = beneath.status("src/link.txt");
    ASSERT_TRUE(link);
    EXPECT_TRUE(S_ISLNK(link->st_mode));
    EXPECT_FALSE(beneath.status("out/secret.txt"));
}

// Files opened by name inside a folder opened once: the same refusals as a whole path, for names
// and folders alike, whether the entry is looked at first or known from git's list.
class OpenIn : public testing::TestWithParam<int (*)(int, QByteArrayView, struct stat*)> { };

TEST_P(OpenIn, OpensFilesByNameOnlyInsideAFolderReachedWithoutALink)
{
    const auto open = GetParam();
    TempFolder outside;
    outside.write(u"secret.txt"_s, "SECRET\n");
    TempFolder folder;
    folder.write(u"src/a.txt"_s, "0123456789");
    ASSERT_TRUE(QFile::link(outside.path(), folder.path(u"out"_s)));
    ASSERT_TRUE(QFile::link(outside.path(u"secret.txt"_s), folder.path(u"src/link.txt"_s)));
    ASSERT_EQ(mkfifo(QFile::encodeName(folder.path(u"src/pipe"_s)).constData(), 0600), 0);
    const Beneath beneath(folder.path());

    EXPECT_LT(beneath.openFolder("out"), 0) << "a linked folder";
    EXPECT_LT(beneath.openFolder("src/../out"), 0);
    const int src = beneath.openFolder("src");
    ASSERT_GE(src, 0);
    struct stat info;
    const int file = open(src, "a.txt", &info);
    EXPECT_GE(file, 0);
    EXPECT_EQ(info.st_size, 10);
    ::close(file);
    for (const char* name : { "link.txt", "pipe", "../out/secret.txt", "..", ".", "", "x/a.txt" })
        EXPECT_LT(open(src, name, nullptr), 0) << name;
    ::close(src);
    const int top = beneath.openFolder("");
    EXPECT_LT(open(top, "src", nullptr), 0) << "a folder is no file to read";
    ::close(top);
}

INSTANTIATE_TEST_SUITE_P(
    LookingFirstOrNot, OpenIn, testing::Values(&Beneath::openFileIn, &Beneath::openKnownFileIn));

// A folder replaced by a link to another place after the scan is not searched through.
TEST(FolderSearch, AFolderSwappedForALinkAfterTheScanIsNotFollowed)
{
    TempFolder outside;
    outside.write(u"a.txt"_s, "needle\n");
    TempFolder folder;
    folder.write(u"sub/a.txt"_s, "hay\n");
    const auto scanned = Scanner(folder.path(), nullptr).scan();
    ASSERT_TRUE(std::holds_alternative<ScanResult>(scanned));
    const auto& root = std::get<ScanResult>(scanned).root;
    ASSERT_TRUE(QDir(folder.path(u"sub"_s)).removeRecursively());
    ASSERT_TRUE(QFile::link(outside.path(), folder.path(u"sub"_s)));
    const auto result = FolderSearch::search(*root, *TextNeedle::make(u"needle"), {});
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->nodes.isEmpty());
    EXPECT_EQ(result->skipped, 1);
}

} // namespace
