#include "scanner.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace {

ScanResult scanOk(const QString& path, int maxFiles = Scanner::defaultMaxFiles)
{
    auto outcome = Scanner(path, std::make_shared<CancelFlag>(), maxFiles).scan();
    EXPECT_TRUE(std::holds_alternative<ScanResult>(outcome));
    return std::holds_alternative<ScanResult>(outcome) ? std::get<ScanResult>(std::move(outcome))
                                                       : ScanResult {};
}

QStringList filePaths(const ScanResult& result)
{
    QStringList paths;
    if (result.root) {
        for (const FileNode* file : result.root->allFiles())
            paths << file->relativePath;
    }
    paths.sort();
    return paths;
}

// Every entry below a folder with its size and modification time, to prove nothing was written.
QStringList fingerprint(const QString& folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
        QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        entries << QStringLiteral("%1 %2 %3")
                       .arg(info.filePath())
                       .arg(info.isDir() ? 0 : info.size())
                       .arg(info.lastModified().toMSecsSinceEpoch());
    }
    entries.sort();
    return entries;
}

struct LineCase {
    const char* name;
    QByteArray content;
    qint64 lines;
    bool binary;
};

void PrintTo(const LineCase& row, std::ostream* out)
{
    *out << row.name;
}

QByteArray zeroAt(qsizetype offset)
{
    QByteArray text(9000, 'x');
    for (qsizetype i = 99; i < text.size(); i += 100)
        text[i] = '\n';
    text[offset] = '\0';
    return text;
}

} // namespace

class CountLines : public testing::TestWithParam<LineCase> { };

TEST_P(CountLines, CountsNewlinesAndAnUnterminatedLastLine)
{
    TempFolder folder;
    const QString path = folder.write(QStringLiteral("f"), GetParam().content);
    const LineCount count = Scanner::countLines(QFile::encodeName(path), GetParam().content.size());
    EXPECT_EQ(count.lines, GetParam().lines);
    EXPECT_EQ(count.isBinary, GetParam().binary);
}

INSTANTIATE_TEST_SUITE_P(Table, CountLines,
    testing::Values(LineCase { "empty", "", 0, false }, LineCase { "twoLines", "a\nb", 2, false },
        LineCase { "twoLinesTerminated", "a\nb\n", 2, false }, LineCase { "oneNewline", "\n", 1, false },
        LineCase { "noNewline", "abc", 1, false }, LineCase { "blankLines", "\n\n\n", 3, false },
        LineCase { "crlf", "a\r\nb\r\n", 2, false },
        LineCase { "zeroAtStart", QByteArray("\0abc", 4), 0, true },
        LineCase { "zeroAt7999", zeroAt(7999), 0, true }, LineCase { "zeroAt8000", zeroAt(8000), 90, false }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Scanner, CountLinesExtrapolatesPastTheReadCap)
{
    TempFolder folder;
    QByteArray content;
    content.reserve(32 * 1024 * 1024);
    for (int i = 0; i < 4 * 1024 * 1024; ++i)
        content += "abcdefg\n";
    const QString path = folder.write(QStringLiteral("big.txt"), content);
    EXPECT_EQ(Scanner::countLines(QFile::encodeName(path), content.size()).lines, 4 * 1024 * 1024);
    // Only the first 24 MiB are read: a file that claims twice its size gets twice the lines.
    EXPECT_EQ(Scanner::countLines(QFile::encodeName(path), 2 * content.size()).lines, 8 * 1024 * 1024);
}

TEST(Scanner, CountLinesOfAMissingFileIsZero)
{
    EXPECT_EQ(Scanner::countLines("/no/such/file", 100).lines, 0);
}

TEST(Scanner, WalkKeepsOnlyAllowedHiddenNamesAndSkipsToolFolders)
{
    TempFolder folder;
    for (const char* name : { ".env", ".env.example", ".DS_Store", ".gitignore", ".github/workflows/ci.yml",
             ".hidden/x.txt", "node_modules/m/index.js", "dist/app.js", "__pycache__/a.pyc", "src/dist/b.js",
             "src/main.c", "Library/kept.txt", "target/debug.o", "venv/bin/python", ".venv/x" })
        folder.write(QString::fromLatin1(name), "x\n");
    EXPECT_EQ(filePaths(scanOk(folder.path())),
        QStringList({ QStringLiteral(".env.example"), QStringLiteral(".github/workflows/ci.yml"),
            QStringLiteral(".gitignore"), QStringLiteral("Library/kept.txt"),
            QStringLiteral("src/main.c") }));
}

TEST(Scanner, LibraryIsSkippedOnlyWhenTheHomeFolderIsScanned)
{
    TempFolder home;
    home.write(QStringLiteral("Library/Caches/x.txt"), "x");
    home.write(QStringLiteral("notes.txt"), "x");
    const QByteArray savedHome = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(home.path()));
    const ScanResult result = scanOk(home.path());
    qputenv("HOME", savedHome);
    EXPECT_EQ(filePaths(result), QStringList { QStringLiteral("notes.txt") });
}

TEST(Scanner, ALinkToAFolderIsAFileWithTheLinksOwnSize)
{
    TempFolder folder;
    folder.write(QStringLiteral("real/a.txt"), "a\nb\n");
    const QByteArray target = QFile::encodeName(folder.path(QStringLiteral("real")));
    ASSERT_EQ(
        symlink(target.constData(), QFile::encodeName(folder.path(QStringLiteral("link"))).constData()), 0);
    const ScanResult result = scanOk(folder.path());
    EXPECT_EQ(filePaths(result), QStringList({ QStringLiteral("link"), QStringLiteral("real/a.txt") }));
    const FileNode* link = result.root->find(u"link");
    ASSERT_NE(link, nullptr);
    EXPECT_FALSE(link->isDirectory);
    EXPECT_EQ(link->size, target.size());
    EXPECT_EQ(link->lines, 0);
}

TEST(Scanner, MeasuresFilesAndSwitchesUnknownBinaryContentToBinary)
{
    TempFolder folder;
    folder.write(QStringLiteral("empty.txt"));
    folder.write(QStringLiteral("blob"), QByteArray("ab\0cd\n", 6));
    folder.write(QStringLiteral("data.txt"), QByteArray("ab\0cd\n", 6));
    folder.write(QStringLiteral("pic.png"), "\n\n\n");
    folder.write(QStringLiteral("naïve café.py"), "print(1)\nprint(2)\n");
    folder.touchAll(1600000000);
    const ScanResult result = scanOk(folder.path());
    const FileNode& root = *result.root;

    EXPECT_EQ(root.find(u"empty.txt")->lines, 0);
    EXPECT_EQ(root.find(u"empty.txt")->size, 0);
    EXPECT_EQ(root.find(u"blob")->language->name, u"Binary");
    EXPECT_TRUE(root.find(u"blob")->isBinary);
    EXPECT_EQ(root.find(u"data.txt")->language->name, u"Text");
    EXPECT_TRUE(root.find(u"data.txt")->isBinary);
    // Files of a binary language are never read.
    EXPECT_EQ(root.find(u"pic.png")->lines, 0);
    EXPECT_FALSE(root.find(u"pic.png")->isBinary);
    const FileNode* python = root.find(QStringLiteral("naïve café.py"));
    ASSERT_NE(python, nullptr);
    EXPECT_EQ(python->lines, 2);
    EXPECT_EQ(python->modified, 1600000000);
    EXPECT_EQ(python->url, folder.path(QStringLiteral("naïve café.py")));
    EXPECT_EQ(root.fileCount, 5);
    EXPECT_EQ(root.lines, 2);
    EXPECT_FALSE(result.isGit);
    EXPECT_FALSE(result.branch.has_value());
}

TEST(Scanner, AnUnreadableFolderIsSkippedSilently)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root reads every folder";
    TempFolder folder;
    folder.write(QStringLiteral("open/a.txt"), "a");
    folder.write(QStringLiteral("closed/b.txt"), "b");
    chmod(QFile::encodeName(folder.path(QStringLiteral("closed"))).constData(), 0);
    const ScanResult result = scanOk(folder.path());
    chmod(QFile::encodeName(folder.path(QStringLiteral("closed"))).constData(), 0755);
    EXPECT_EQ(filePaths(result), QStringList { QStringLiteral("open/a.txt") });
}

TEST(Scanner, TruncatesTheListAtTheFileLimit)
{
    TempFolder folder;
    for (int i = 0; i < 6; ++i)
        folder.write(QStringLiteral("f%1.txt").arg(i), "x");
    const ScanResult six = scanOk(folder.path(), 6);
    EXPECT_FALSE(six.truncated);
    EXPECT_EQ(six.root->fileCount, 6);
    const ScanResult five = scanOk(folder.path(), 5);
    EXPECT_TRUE(five.truncated);
    EXPECT_EQ(filePaths(five).join(u' '), u"f0.txt f1.txt f2.txt f3.txt f4.txt");
}

TEST(Scanner, TheWalkStopsBeforeTheNextFolderOnceTheLimitIsPassed)
{
    TempFolder folder;
    for (int i = 0; i < 3; ++i)
        folder.write(QStringLiteral("a/x%1").arg(i), "x");
    folder.write(QStringLiteral("b/deeper/never"), "x");
    // The walk lists "a" whole; the scan then keeps the first two files.
    const ScanResult result = scanOk(folder.path(), 2);
    EXPECT_TRUE(result.truncated);
    EXPECT_EQ(filePaths(result).join(u' '), u"a/x0 a/x1");
}

TEST(Scanner, RefusesWhatIsNotAFolder)
{
    TempFolder folder;
    const QString file = folder.write(QStringLiteral("plain.txt"), "x");
    for (const QString& path : { file, QStringLiteral("/no/such") }) {
        const auto outcome = Scanner(path, std::make_shared<CancelFlag>()).scan();
        ASSERT_TRUE(std::holds_alternative<ScanError>(outcome));
        EXPECT_EQ(std::get<ScanError>(outcome).kind, ScanError::Kind::notADirectory);
        EXPECT_EQ(std::get<ScanError>(outcome).description(), path + u" is not a folder.");
    }
}

TEST(Scanner, ACancelledScanReportsCancelled)
{
    TempFolder folder;
    folder.write(QStringLiteral("a.txt"), "x");
    auto cancel = std::make_shared<CancelFlag>();
    cancel->cancel();
    const auto outcome = Scanner(folder.path(), cancel).scan();
    ASSERT_TRUE(std::holds_alternative<ScanError>(outcome));
    EXPECT_EQ(std::get<ScanError>(outcome).description(), u"Scan cancelled.");
}

TEST(Scanner, ReadsGitStateWithoutWritingIntoTheRepository)
{
    GitRepo repo;
    repo.write(QStringLiteral(".gitignore"), "*.log\n");
    repo.write(QStringLiteral("keep.c"), "int a;\n");
    repo.write(QStringLiteral("edit.c"), "int b;\n");
    repo.write(QStringLiteral("old.c"), "int c;\n");
    repo.write(QStringLiteral("dist/bundle.js"), "x\n");
    repo.write(QStringLiteral("gone.c"), "x\n");
    repo.commitAll(QStringLiteral("one"), 1700000000);
    repo.write(QStringLiteral("edit.c"), "int b;\nint bb;\n");
    repo.commitAll(QStringLiteral("two"), 1700000500);
    repo.git({ QStringLiteral("mv"), QStringLiteral("old.c"), QStringLiteral("new.c") });
    repo.write(QStringLiteral("edit.c"), "changed\n");
    repo.write(QStringLiteral("fresh.txt"), "new\n");
    repo.write(QStringLiteral("debug.log"), "ignored\n");
    QFile::remove(repo.path(QStringLiteral("gone.c")));
    // An old index timestamp makes a careless status want to refresh and rewrite the index.
    repo.touchAll(1600000000);

    const QStringList before = fingerprint(repo.path()); // .git/index among them
    const ScanResult result = scanOk(repo.path());
    EXPECT_EQ(fingerprint(repo.path()), before);

    EXPECT_TRUE(result.isGit);
    EXPECT_EQ(result.branch, u"main");
    // git's list, not the walk's rules: dist is kept, ignored and deleted files are not.
    EXPECT_EQ(filePaths(result).join(u' '), u".gitignore dist/bundle.js edit.c fresh.txt keep.c new.c");
    const FileNode& root = *result.root;
    EXPECT_EQ(root.find(u"edit.c")->gitStatus, GitFileStatus::modified);
    EXPECT_EQ(root.find(u"new.c")->gitStatus, GitFileStatus::renamed);
    EXPECT_EQ(root.find(u"fresh.txt")->gitStatus, GitFileStatus::untracked);
    EXPECT_FALSE(root.find(u"keep.c")->gitStatus.has_value());
    EXPECT_EQ(root.find(u"edit.c")->commits, 2);
    EXPECT_EQ(root.find(u"edit.c")->lastCommit, 1700000500);
    EXPECT_EQ(root.find(u"keep.c")->commits, 1);
    EXPECT_EQ(root.find(u"keep.c")->lastCommit, 1700000000);
    EXPECT_EQ(root.find(u"fresh.txt")->commits, 0);
    EXPECT_FALSE(root.find(u"fresh.txt")->lastCommit.has_value());
    EXPECT_EQ(result.peakCommits, 2);
    EXPECT_EQ(root.changedCount, 3);
    EXPECT_EQ(root.lastCommit, 1700000500);
    EXPECT_EQ(root.commits, 5);
    EXPECT_EQ(root.find(u"dist")->commits, 1);
    EXPECT_EQ(root.find(u"dist")->lastCommit, 1700000000);
}

TEST(Scanner, ASubfolderOfARepositoryIsScannedRelativeToItself)
{
    GitRepo repo;
    repo.write(QStringLiteral("src/a.c"), "a\n");
    repo.write(QStringLiteral("src/lib/b.c"), "b\n");
    repo.write(QStringLiteral("other.c"), "o\n");
    repo.commitAll(QStringLiteral("one"));
    repo.write(QStringLiteral("src/a.c"), "a\nchanged\n");
    repo.write(QStringLiteral("other.c"), "changed\n");
    const ScanResult result = scanOk(repo.path(QStringLiteral("src")));
    EXPECT_TRUE(result.isGit);
    EXPECT_EQ(filePaths(result).join(u' '), u"a.c lib/b.c");
    EXPECT_EQ(result.root->find(u"a.c")->gitStatus, GitFileStatus::modified);
    EXPECT_EQ(result.root->find(u"a.c")->commits, 1);
    EXPECT_EQ(result.root->find(u"a.c")->lines, 2);
    EXPECT_EQ(result.root->changedCount, 1);
}

TEST(Scanner, AConflictOnADetachedHeadIsListedOnceAndNamedByTheCommit)
{
    GitRepo repo;
    repo.write(QStringLiteral("c.txt"), "base\n");
    repo.commitAll(QStringLiteral("base"));
    repo.git(
        { QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("side") });
    repo.write(QStringLiteral("c.txt"), "side\n");
    repo.commitAll(QStringLiteral("side"));
    repo.git({ QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("--detach"),
        QStringLiteral("main") });
    repo.write(QStringLiteral("c.txt"), "main\n");
    repo.commitAll(QStringLiteral("main"));
    const QByteArray hash
        = repo.git({ QStringLiteral("rev-parse"), QStringLiteral("--short"), QStringLiteral("HEAD") });
    repo.git({ QStringLiteral("merge"), QStringLiteral("-q"), QStringLiteral("side") }, true);
    const ScanResult result = scanOk(repo.path());
    EXPECT_EQ(result.branch, QString::fromUtf8(hash.trimmed()));
    EXPECT_EQ(filePaths(result), QStringList { QStringLiteral("c.txt") });
    EXPECT_EQ(result.root->find(u"c.txt")->gitStatus, GitFileStatus::conflicted);
}

TEST(Scanner, ProgressPhasesComeInOrder)
{
    GitRepo repo;
    for (int i = 0; i < 300; ++i)
        repo.write(QStringLiteral("f%1.txt").arg(i), "x\n");
    repo.commitAll(QStringLiteral("one"));
    QStringList phases;
    std::mutex lock;
    const auto outcome
        = Scanner(repo.path(), std::make_shared<CancelFlag>()).scan([&](const ScanProgress& p) {
              std::lock_guard guard(lock);
              if (phases.isEmpty() || phases.last() != p.phase)
                  phases << p.phase;
              EXPECT_LE(p.done, p.total);
          });
    ASSERT_TRUE(std::holds_alternative<ScanResult>(outcome));
    phases.removeAll(QStringLiteral("Counting lines"));
    EXPECT_EQ(
        phases, QStringList({ QStringLiteral("Listing files"), QStringLiteral("Reading git history") }));
}
