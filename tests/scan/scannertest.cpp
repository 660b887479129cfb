#include "scan/scanner.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

ScanResult scanOk(const QString& path, int maxFiles = Scanner::defaultMaxFiles)
{
    auto outcome = Scanner(path, std::make_shared<CancelFlag>(), maxFiles).scan();
    EXPECT_TRUE(std::holds_alternative<ScanResult>(outcome));
    return std::holds_alternative<ScanResult>(outcome) ? std::get<ScanResult>(std::move(outcome))
                                                       : ScanResult {};
}

// The relative paths of the files in the finished tree, sorted and joined by spaces.
QString files(const ScanResult& result)
{
    QStringList paths;
    for (const FileNode* file : result.root->allFiles())
        paths << file->relativePath;
    paths.sort();
    return paths.join(u' ');
}

// Every entry below a folder with its size and modification time, to prove nothing was written.
QStringList fingerprint(const QString& folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
        QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        entries << u"%1 %2 %3"_s.arg(info.filePath())
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

QByteArray zeroAt(qsizetype offset) // 90 lines of 100 bytes, one byte turned to zero
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
    const QString path = folder.write(u"f"_s, GetParam().content);
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    const LineCount count = Scanner::countLines(fd, GetParam().content.size());
    ::close(fd);
    EXPECT_EQ(count.lines, GetParam().lines);
    EXPECT_EQ(count.isBinary, GetParam().binary);
}

INSTANTIATE_TEST_SUITE_P(Table, CountLines,
    testing::Values(LineCase { "empty", "", 0, false }, LineCase { "twoLines", "a\nb", 2, false },
        LineCase { "twoLinesTerminated", "a\nb\n", 2, false }, LineCase { "oneNewline", "\n", 1, false },
        LineCase { "crlf", "a\r\nb\r\n", 2, false },
        LineCase { "zeroAtStart", QByteArray("\0abc", 4), 0, true },
        LineCase { "zeroAt7999", zeroAt(7999), 0, true }, LineCase { "zeroAt8000", zeroAt(8000), 90, false }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Scanner, CountLinesExtrapolatesPastTheReadCapAndSurvivesAMissingFile)
{
    TempFolder folder;
    QByteArray content;
    for (int i = 0; i < 4 * 1024 * 1024; ++i)
        content += "abcdefg\n"; // 32 MiB
    const QByteArray path = QFile::encodeName(folder.write(u"big.txt"_s, content));
    const auto count = [&](qint64 size) {
        const int fd = ::open(path.constData(), O_RDONLY);
        const LineCount lines = Scanner::countLines(fd, size);
        ::close(fd);
        return lines.lines;
    };
    EXPECT_EQ(count(content.size()), 4 * 1024 * 1024);
    // Only the first 24 MiB are read: a file that claims twice its size gets twice the lines.
    EXPECT_EQ(count(2 * content.size()), 8 * 1024 * 1024);
    EXPECT_EQ(Scanner::countLines(-1, 100).lines, 0);
}

TEST(Scanner, WalkKeepsOnlyAllowedHiddenNamesAndSkipsToolFolders)
{
    TempFolder folder;
    for (const char* name : { ".env", ".env.example", ".DS_Store", ".gitignore", ".github/workflows/ci.yml",
             ".hidden/x.txt", "node_modules/m/index.js", "dist/app.js", "__pycache__/a.pyc", "src/dist/b.js",
             "src/main.c", "Library/kept.txt", "target/debug.o", "venv/bin/python", ".venv/x" })
        folder.write(QString::fromLatin1(name), "x\n");
    EXPECT_EQ(files(scanOk(folder.path())),
        u".env.example .github/workflows/ci.yml .gitignore Library/kept.txt src/main.c");

    // Scanning the home folder skips its Library.
    const QByteArray savedHome = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(folder.path()));
    const ScanResult home = scanOk(folder.path());
    qputenv("HOME", savedHome);
    EXPECT_EQ(files(home), u".env.example .github/workflows/ci.yml .gitignore src/main.c");
}

TEST(Scanner, MeasuresFilesAndNeverEntersALinkedFolder)
{
    TempFolder folder;
    folder.write(u"empty.txt"_s);
    folder.write(u"blob"_s, QByteArray("ab\0cd\n", 6));
    folder.write(u"data.txt"_s, QByteArray("ab\0cd\n", 6));
    folder.write(u"pic.png"_s, "\n\n\n");
    folder.write(u"real/naïve café.py"_s, "print(1)\nprint(2)\n");
    folder.touchAll(1600000000);
    const QByteArray target = QFile::encodeName(folder.path(u"real"_s));
    ASSERT_EQ(symlink(target.constData(), QFile::encodeName(folder.path(u"link"_s)).constData()), 0);
    const ScanResult result = scanOk(folder.path());
    const FileNode& root = *result.root;

    EXPECT_EQ(files(result), u"blob data.txt empty.txt link pic.png real/naïve café.py");
    EXPECT_EQ(root.find(u"empty.txt")->lines, 0);
    // Unknown binary content becomes Binary; a known language keeps its name.
    EXPECT_EQ(root.find(u"blob")->language->name, u"Binary");
    EXPECT_TRUE(root.find(u"blob")->isBinary);
    EXPECT_EQ(root.find(u"data.txt")->language->name, u"Text");
    EXPECT_TRUE(root.find(u"data.txt")->isBinary);
    // Files of a binary language are never read; a link is kept with its own size, unread.
    EXPECT_EQ(root.find(u"pic.png")->lines, 0);
    EXPECT_EQ(root.find(u"link")->size, target.size());
    EXPECT_EQ(root.find(u"link")->lines, 0);
    const FileNode* python = root.find(u"real/naïve café.py"_s);
    ASSERT_NE(python, nullptr);
    EXPECT_EQ(python->lines, 2);
    EXPECT_EQ(python->modified, 1600000000);
    EXPECT_EQ(python->url, folder.path(u"real/naïve café.py"_s));
    EXPECT_EQ(root.lines, 2);
    EXPECT_FALSE(result.isGit);
    EXPECT_FALSE(result.branch.has_value());
}

// Root reads every folder, so as root the scan runs as "nobody" (the effective user and group of the
// whole process, given back afterwards), which CI, running as root, needs to see the folder refused.
class Unprivileged {
public:
    Unprivileged()
    {
        if (geteuid() != 0)
            return;
        EXPECT_EQ(setegid(65534), 0);
        EXPECT_EQ(seteuid(65534), 0);
        m_dropped = true;
    }
    ~Unprivileged()
    {
        if (!m_dropped)
            return;
        EXPECT_EQ(seteuid(0), 0);
        EXPECT_EQ(setegid(0), 0);
    }

private:
    bool m_dropped = false;
};

TEST(Scanner, AnUnreadableFolderIsSkippedSilently)
{
    TempFolder folder;
    folder.write(u"open/a.txt"_s, "a");
    folder.write(u"closed/b.txt"_s, "b");
    const QFile::Permissions everyone = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
        | QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    QFile::setPermissions(folder.path(), everyone);
    QFile::setPermissions(folder.path(u"closed"_s), {});
    std::optional<ScanResult> result;
    {
        const Unprivileged nobody;
        ASSERT_NE(
            faccessat(AT_FDCWD, QFile::encodeName(folder.path(u"closed"_s)).constData(), R_OK, AT_EACCESS), 0)
            << "the folder must be unreadable to the scan";
        result = scanOk(folder.path());
    }
    QFile::setPermissions(folder.path(u"closed"_s), everyone);
    EXPECT_EQ(files(*result), u"open/a.txt");
}

TEST(Scanner, TruncatesAtTheFileLimitAfterListingTheLastFolderWhole)
{
    TempFolder folder;
    for (int i = 0; i < 3; ++i)
        folder.write(u"a/x%1"_s.arg(i), "x");
    folder.write(u"b/deeper/never"_s, "x");
    EXPECT_FALSE(scanOk(folder.path(), 4).truncated);
    const ScanResult result = scanOk(folder.path(), 2);
    EXPECT_TRUE(result.truncated);
    EXPECT_EQ(files(result), u"a/x0 a/x1");
}

TEST(Scanner, RefusesWhatIsNotAFolderAndStopsWhenCancelled)
{
    TempFolder folder;
    const QString file = folder.write(u"plain.txt"_s, "x");
    for (const QString& path : { file, u"/no/such"_s }) {
        const auto outcome = Scanner(path, std::make_shared<CancelFlag>()).scan();
        ASSERT_TRUE(std::holds_alternative<ScanError>(outcome));
        EXPECT_EQ(std::get<ScanError>(outcome).description(), path + u" is not a folder.");
    }
    auto cancel = std::make_shared<CancelFlag>();
    cancel->cancel();
    const auto outcome = Scanner(folder.path(), cancel).scan();
    ASSERT_TRUE(std::holds_alternative<ScanError>(outcome));
    EXPECT_EQ(std::get<ScanError>(outcome).description(), u"Scan cancelled.");
}

TEST(Scanner, ReadsGitStateWithoutWritingIntoTheRepository)
{
    GitRepo repo;
    repo.write(u".gitignore"_s, "*.log\n");
    for (const QString& name : { u"keep.c"_s, u"edit.c"_s, u"old.c"_s, u"dist/bundle.js"_s, u"gone.c"_s })
        repo.write(name, "x\n");
    repo.commitAll(u"one"_s, 1700000000);
    repo.write(u"edit.c"_s, "x\ny\n");
    repo.commitAll(u"two"_s, 1700000500);
    repo.git({ u"mv"_s, u"old.c"_s, u"new.c"_s });
    repo.write(u"edit.c"_s, "changed\n");
    repo.write(u"fresh.txt"_s, "new\n");
    repo.write(u"debug.log"_s, "ignored\n");
    QFile::remove(repo.path(u"gone.c"_s));
    repo.touchAll(1600000000); // older than the index: a careless status would rewrite the index

    const QStringList before = fingerprint(repo.path()); // .git/index among them
    const ScanResult result = scanOk(repo.path());
    EXPECT_EQ(fingerprint(repo.path()), before);

    EXPECT_TRUE(result.isGit);
    EXPECT_EQ(result.branch, u"main");
    // git's list, not the walk's rules: dist is kept, ignored and deleted files are not.
    EXPECT_EQ(files(result), u".gitignore dist/bundle.js edit.c fresh.txt keep.c new.c");
    const FileNode& root = *result.root;
    EXPECT_EQ(root.find(u"edit.c")->gitStatus, GitFileStatus::modified);
    EXPECT_EQ(root.find(u"new.c")->gitStatus, GitFileStatus::renamed);
    EXPECT_EQ(root.find(u"fresh.txt")->gitStatus, GitFileStatus::untracked);
    EXPECT_FALSE(root.find(u"keep.c")->gitStatus.has_value());
    EXPECT_EQ(root.find(u"edit.c")->commits, 2);
    EXPECT_EQ(root.find(u"edit.c")->lastCommit, 1700000500);
    EXPECT_EQ(root.find(u"keep.c")->lastCommit, 1700000000);
    EXPECT_FALSE(root.find(u"fresh.txt")->lastCommit.has_value());
    EXPECT_EQ(result.peakCommits, 2);
    EXPECT_EQ(root.changedCount, 3);
    EXPECT_EQ(root.commits, 5);
    EXPECT_EQ(root.lastCommit, 1700000500);
    EXPECT_EQ(root.find(u"dist")->lastCommit, 1700000000);
}

TEST(Scanner, ATreeHandedOverBeforeItsHistoryTakesItsCommitsOnlyWhereItIsApplied)
{
    GitRepo repo;
    repo.write(u"a.c"_s, "x\n");
    repo.write(u"b.c"_s, "x\n");
    repo.commitAll(u"one"_s, 1700000000);
    repo.write(u"a.c"_s, "y\n");
    repo.commitAll(u"two"_s, 1700000500);

    auto early = Scanner(repo.path(), std::make_shared<CancelFlag>()).scan({}, Scanner::HistoryTiming::later);
    ASSERT_TRUE(std::holds_alternative<ScanResult>(early));
    ScanResult& result = std::get<ScanResult>(early);
    ASSERT_TRUE(result.history);
    EXPECT_EQ(result.root->commits, 0);
    const ScanHistory history = result.history->finish();
    EXPECT_EQ(history.peakCommits, 2);
    // Read, but not yet written: the tree is the caller's until it applies the history.
    EXPECT_EQ(result.root->find(u"a.c")->commits, 0);

    // Another scan's tree of the same folder is a different tree: nothing is written into it.
    const ScanResult other = scanOk(repo.path());
    const qint64 before = other.root->commits;
    EXPECT_FALSE(history.applyTo(other.root));
    EXPECT_EQ(other.root->commits, before);

    EXPECT_TRUE(history.applyTo(result.root));
    EXPECT_EQ(result.root->find(u"a.c")->commits, 2);
    EXPECT_EQ(result.root->find(u"a.c")->lastCommit, 1700000500);
    EXPECT_EQ(result.root->commits, 3);
    EXPECT_EQ(result.root->lastCommit, 1700000500);
}

TEST(Scanner, AFolderOutsideARepositoryHasNoHistoryToFollow)
{
    TempFolder folder;
    folder.write(u"a.c"_s, "x\n");
    auto early
        = Scanner(folder.path(), std::make_shared<CancelFlag>()).scan({}, Scanner::HistoryTiming::later);
    ASSERT_TRUE(std::holds_alternative<ScanResult>(early));
    EXPECT_FALSE(std::get<ScanResult>(early).history);
}

TEST(Scanner, ASubfolderOfARepositoryIsScannedRelativeToItself)
{
    GitRepo repo;
    repo.write(u"src/a.c"_s, "a\n");
    repo.write(u"src/lib/b.c"_s, "b\n");
    repo.write(u"other.c"_s, "o\n");
    repo.commitAll(u"one"_s);
    repo.write(u"src/a.c"_s, "a\nchanged\n");
    repo.write(u"other.c"_s, "changed\n");
    const ScanResult result = scanOk(repo.path(u"src"_s));
    EXPECT_EQ(files(result), u"a.c lib/b.c");
    EXPECT_EQ(result.root->find(u"a.c")->gitStatus, GitFileStatus::modified);
    EXPECT_EQ(result.root->find(u"a.c")->commits, 1);
    EXPECT_EQ(result.root->changedCount, 1);
}

TEST(Scanner, AConflictOnADetachedHeadIsListedOnceAndNamedByTheCommit)
{
    GitRepo repo;
    repo.write(u"c.txt"_s, "base\n");
    repo.commitAll(u"base"_s);
    repo.git({ u"checkout"_s, u"-q"_s, u"-b"_s, u"side"_s });
    repo.write(u"c.txt"_s, "side\n");
    repo.commitAll(u"side"_s);
    repo.git({ u"checkout"_s, u"-q"_s, u"--detach"_s, u"main"_s });
    repo.write(u"c.txt"_s, "main\n");
    repo.commitAll(u"main"_s);
    const QByteArray hash = repo.git({ u"rev-parse"_s, u"--short"_s, u"HEAD"_s }).trimmed();
    repo.git({ u"merge"_s, u"-q"_s, u"side"_s }, true);
    const ScanResult result = scanOk(repo.path());
    EXPECT_EQ(result.branch, QString::fromUtf8(hash));
    EXPECT_EQ(files(result), u"c.txt");
    EXPECT_EQ(result.root->find(u"c.txt")->gitStatus, GitFileStatus::conflicted);
}

// A listing in a work tree hands over the tracked files first, to be read while git still looks for
// untracked ones, and then only those; the file limit spans both parts. Where git tracks nothing,
// there is one part.
TEST(Scanner, AListingHandsOverTheTrackedFilesBeforeTheUntrackedOnes)
{
    GitRepo repo;
    repo.write(u".gitignore"_s, "*.log\n");
    repo.write(u"src/a.c"_s, "a\n");
    repo.write(u"src/b.c"_s, "b\n");
    repo.commitAll(u"one"_s);
    repo.write(u"new.txt"_s, "n\n");
    repo.write(u"src/z.c"_s, "z\n");
    repo.write(u"noise.log"_s, "ignored\n");

    const auto listInParts = [&](int maxFiles) {
        QList<QByteArrayList> parts;
        auto rest = Scanner(repo.path(), std::make_shared<CancelFlag>(), maxFiles)
                        .list([&](const ScanListing& part) {
                            EXPECT_TRUE(part.filesOnly);
                            parts << part.paths;
                        });
        const ScanListing& last = std::get<ScanListing>(rest);
        EXPECT_TRUE(last.filesOnly);
        parts << last.paths;
        return std::pair(parts, last.truncated);
    };
    const auto [parts, truncated] = listInParts(Scanner::defaultMaxFiles);
    ASSERT_EQ(parts.size(), 2);
    EXPECT_EQ(parts[0], (QByteArrayList { ".gitignore", "src/a.c", "src/b.c" }));
    QByteArrayList untracked = parts[1];
    std::sort(untracked.begin(), untracked.end());
    EXPECT_EQ(untracked, (QByteArrayList { "new.txt", "src/z.c" }));
    EXPECT_FALSE(truncated);

    const auto [cut, cutShort] = listInParts(4);
    EXPECT_EQ(cut[0].size() + cut[1].size(), 4);
    EXPECT_TRUE(cutShort);
    const auto [tight, tightShort] = listInParts(2);
    EXPECT_EQ(tight[0].size(), 2);
    EXPECT_TRUE(tight[1].isEmpty());
    EXPECT_TRUE(tightShort);

    // Whole, as the scan takes it: tracked files first, then untracked ones.
    const auto whole = Scanner(repo.path(), std::make_shared<CancelFlag>()).list();
    EXPECT_EQ(std::get<ScanListing>(whole).paths.mid(0, 3), parts[0]);
    EXPECT_EQ(std::get<ScanListing>(whole).paths.size(), 5);

    GitRepo fresh;
    fresh.write(u"only.txt"_s, "o\n");
    bool handed = false;
    const auto one = Scanner(fresh.path(), std::make_shared<CancelFlag>()).list([&](const ScanListing&) {
        handed = true;
    });
    EXPECT_FALSE(handed) << "nothing is tracked yet";
    EXPECT_EQ(std::get<ScanListing>(one).paths, QByteArrayList { "only.txt" });
    EXPECT_TRUE(std::get<ScanListing>(one).filesOnly);

    TempFolder plain;
    plain.write(u"a.txt"_s, "a\n");
    const auto walked = Scanner(plain.path(), std::make_shared<CancelFlag>()).list([&](const ScanListing&) {
        handed = true;
    });
    EXPECT_FALSE(handed);
    EXPECT_TRUE(std::get<ScanListing>(walked).filesOnly);
    EXPECT_EQ(std::get<ScanListing>(walked).paths, QByteArrayList { "a.txt" });
    // A walk lists a pipe as well, and says so.
    ASSERT_EQ(mkfifo(QFile::encodeName(plain.path(u"pipe"_s)).constData(), 0600), 0);
    const auto withPipe = Scanner(plain.path(), std::make_shared<CancelFlag>()).list();
    EXPECT_EQ(std::get<ScanListing>(withPipe).paths.size(), 2);
    EXPECT_FALSE(std::get<ScanListing>(withPipe).filesOnly);
}

TEST(Scanner, ProgressPhasesComeInOrder)
{
    GitRepo repo;
    for (int i = 0; i < 300; ++i)
        repo.write(u"f%1.txt"_s.arg(i), "x\n");
    repo.commitAll(u"one"_s);
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
    phases.removeAll(u"Counting lines"_s);
    EXPECT_EQ(phases, QStringList({ u"Listing files"_s, u"Reading git history"_s }));
}
