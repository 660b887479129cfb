#include "history/historycache.h"
#include "history/historycursor.h"
#include "history/historyreader.h"
#include "scan/scanner.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QSemaphore>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <limits>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 neverSplit = std::numeric_limits<qint64>::max();

std::shared_ptr<const HistoryIndex> readOk(const QString& root, qint64 maxCommits = 20000,
    qint32 maxPaths = 80000, HistoryCache* cache = nullptr, bool* hit = nullptr,
    qint64 splitFrom = neverSplit)
{
    auto outcome = HistoryReader(root, std::make_shared<CancelFlag>(), maxCommits, maxPaths, splitFrom)
                       .read({}, cache, hit);
    if (const auto* error = std::get_if<HistoryError>(&outcome)) {
        ADD_FAILURE() << error->description().toStdString();
        return std::make_shared<HistoryIndex>();
    }
    return std::get<std::shared_ptr<const HistoryIndex>>(outcome);
}

// Path -> lines of every present path, after the cursor's moves.
std::map<QString, qint32> state(const HistoryCursor& cursor)
{
    std::map<QString, qint32> out;
    for (qsizetype i = 0; i < cursor.index().paths.size(); ++i) {
        if (cursor.present()[size_t(i)])
            out[cursor.index().paths[i]] = cursor.lines()[size_t(i)];
    }
    return out;
}

qint32 lines(const HistoryIndex& index, const HistoryCursor& cursor, const QString& path)
{
    return cursor.lines()[size_t(index.paths.indexOf(path))];
}

QByteArray numbered(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += "line " + QByteArray::number(i) + '\n';
    return text;
}

} // namespace

TEST(HistoryBuilder, ReadsRenamesCopiesAndBinaryFilesByPosition)
{
    HistoryBuilder builder(3);
    for (const char* line : { "before any header is ignored",
             "\x01"
             "aaaa\x1f"
             "100\x1f"
             "Ann\x1f"
             "first\x1f"
             "with a separator",
             "\n:000000 100644 0 1 A", "src/a.c", ":000000 100644 0 2 A", "pic.png", "5\t0\tsrc/a.c",
             "-\t-\tpic.png",
             "\x01"
             "bbbb\x1f"
             "200\x1f"
             "Bob\x1f"
             "second",
             "\n:100644 100644 1 3 R087", "src/a.c", "src/b.c", ":100644 100644 3 4 C050", "src/b.c",
             "src/c.c", ":100644 100644 3 4 M", "new/too/many.c", "3\t1\t", "src/a.c", "src/b.c", "2\t0\t",
             "src/b.c", "src/c.c", "1\t1\tx",
             "\x01"
             "cccc\x1f"
             "not a time\x1f"
             "Cy\x1f"
             "third" })
        builder.feed(QByteArrayView(line, qsizetype(std::strlen(line))));
    const HistoryIndex index = builder.take();
    ASSERT_EQ(index.commits.size(), 3u);
    EXPECT_EQ(index.commits[0].subject, u"first\x1fwith a separator");
    EXPECT_EQ(index.commits[0].date, 100);
    EXPECT_EQ(index.commits[2].date, 0);
    EXPECT_EQ(index.paths, QStringList({ u"src/a.c"_s, u"pic.png"_s, u"src/b.c"_s }));
    EXPECT_EQ(index.changes[0][1], (FileChange { 1, -1, 0, 0, FileChange::Kind::added, true }));
    // The rename carries a.c's 5 lines over, plus 3 minus 1; the copy's target has no number left
    // (three paths at most), so it is dropped whole, and so is the change to the fourth path.
    ASSERT_EQ(index.changes[1].size(), 1u);
    EXPECT_EQ(index.changes[1][0], (FileChange { 2, 0, 3, 1, FileChange::Kind::renamed, false }));
    EXPECT_EQ(index.commits[1].changedFiles, 1);
    EXPECT_EQ(index.commits[1].insertions, 3);
    EXPECT_EQ(index.maxLines, (std::vector<qint32> { 5, 0, 7 }));
}

TEST(HistoryBuilder, ACopyIsARenameFromNowhere)
{
    HistoryBuilder builder;
    for (const char* line : { "\x01h\x1f"
                              "1\x1f"
                              "A\x1fs",
             "\n:0 0 0 0 A", "a", "4\t0\ta",
             "\x01i\x1f"
             "2\x1f"
             "A\x1fs",
             "\n:0 0 0 0 C100", "a", "b", "0\t0\t", "a", "b" })
        builder.feed(QByteArrayView(line, qsizetype(std::strlen(line))));
    const auto index = std::make_shared<const HistoryIndex>(builder.take());
    EXPECT_EQ(index->changes[1][0], (FileChange { 1, -1, 0, 0, FileChange::Kind::renamed, false }));
    HistoryCursor cursor(index);
    cursor.move(1);
    EXPECT_EQ(state(cursor), (std::map<QString, qint32> { { u"a"_s, 4 }, { u"b"_s, 0 } }));
}

// Counts a crafted log makes as large as it likes stay within their type (the sanitizers abort on
// an overflow), and a count with a sign is no count.
TEST(HistoryBuilder, CountsPastTheLargestStayThere)
{
    HistoryBuilder builder;
    for (const char* piece : { "\x01h\x1f"
                               "1\x1f"
                               "A\x1fs",
             "\n:0 0 0 0 A", "a", ":0 0 0 0 A", "b", "2147483647\t0\ta", "99999999999\t0\tb",
             "\x01i\x1f"
             "2\x1f"
             "A\x1fs",
             "\n:0 0 0 0 M", "a", ":0 0 0 0 M", "b", "2147483647\t0\ta", "-5\t3\tb" })
        builder.feed(QByteArrayView(piece, qsizetype(std::strlen(piece))));
    const HistoryIndex index = builder.take();
    ASSERT_EQ(index.commits.size(), 2u);
    const qint32 largest = std::numeric_limits<qint32>::max();
    EXPECT_EQ(index.commits[0].insertions, largest);
    EXPECT_EQ(index.maxLines, (std::vector<qint32> { largest, largest }));
    EXPECT_EQ(index.changes[1][1].added, 0) << "-5 is no count";
    EXPECT_EQ(index.changes[1][1].removed, 3);
}

TEST(HistoryReader, ReplaysARealHistoryToTheFilesOnDisk)
{
    GitRepo repo;
    repo.write(u"a.txt"_s, numbered(10));
    repo.write(u"gone.txt"_s, numbered(3));
    repo.write(u"pic.bin"_s, QByteArray("\0\1\2", 3));
    repo.commitAll(u"first"_s, 1000);
    repo.write(u"a.txt"_s, numbered(12));
    QFile::remove(repo.path(u"gone.txt"_s));
    repo.write(u"naïve/café.txt"_s, numbered(4));
    repo.commitAll(u"second"_s, 2000);
    repo.git({ u"mv"_s, u"a.txt"_s, u"renamed.txt"_s });
    repo.write(u"renamed.txt"_s, numbered(11) + "changed\n");
    repo.commitAll(u"rename with edits"_s, 3000);
    repo.git({ u"checkout"_s, u"-q"_s, u"-b"_s, u"side"_s });
    repo.write(u"side.txt"_s, numbered(5));
    repo.commitAll(u"side"_s, 4000);
    repo.git({ u"checkout"_s, u"-q"_s, u"main"_s });
    repo.write(u"main.txt"_s, numbered(2));
    repo.commitAll(u"main"_s, 5000);
    repo.git({ u"merge"_s, u"-q"_s, u"--no-ff"_s, u"-m"_s, u"merge"_s, u"side"_s }, false, 6000);

    const auto index = readOk(repo.path());
    EXPECT_EQ(index->branch, u"main");
    EXPECT_FALSE(index->truncated);
    ASSERT_EQ(index->commitCount(), 5); // the side commit is not on the first-parent line
    EXPECT_EQ(index->commits[2].subject, u"rename with edits");
    EXPECT_EQ(index->changes[2].size(), 1u);
    EXPECT_EQ(index->changes[2][0].kind, FileChange::Kind::renamed);
    for (const FileChange& change : index->changes[0])
        EXPECT_EQ(change.binary, index->paths[change.path] == u"pic.bin")
            << index->paths[change.path].toStdString();

    // At the end, every text file has the lines it has on disk.
    HistoryCursor cursor(index);
    cursor.move(1000000);
    EXPECT_EQ(cursor.position(), 4);
    std::map<QString, qint32> onDisk;
    QDirIterator it(repo.path(), QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        const QString path = QDir(repo.path()).relativeFilePath(file);
        if (!path.startsWith(u".git/"))
            onDisk[path] = qint32(readFile(file).count('\n'));
    }
    onDisk[u"pic.bin"_s] = 0;
    EXPECT_EQ(state(cursor), onDisk);
    EXPECT_EQ(lines(*index, cursor, u"a.txt"_s), 0);
    EXPECT_EQ(index->maxLines[size_t(index->paths.indexOf(u"a.txt"_s))], 12);

    // Every position reached backwards shows what it shows reached forwards.
    for (qint64 at = 4; at >= -1; --at) {
        HistoryCursor forwards(index);
        forwards.move(at);
        cursor.move(at);
        EXPECT_EQ(state(cursor), state(forwards)) << at;
        EXPECT_EQ(cursor.touches(), forwards.touches()) << at;
    }
    EXPECT_TRUE(cursor.isAtStart());
    cursor.move(-5);
    EXPECT_EQ(cursor.position(), -1);
}

TEST(HistoryReader, KeepsTheNewestCommitsAndTheFirstPaths)
{
    GitRepo repo;
    for (int i = 0; i < 3; ++i) {
        repo.write(u"f%1.txt"_s.arg(i), numbered(i + 1));
        repo.commitAll(u"c%1"_s.arg(i), 1000 + i);
    }
    const auto newest = readOk(repo.path(), 2);
    EXPECT_TRUE(newest->truncated);
    ASSERT_EQ(newest->commitCount(), 2);
    EXPECT_EQ(newest->commits[0].subject, u"c1");
    EXPECT_EQ(newest->paths, QStringList({ u"f1.txt"_s, u"f2.txt"_s }));
    const auto few = readOk(repo.path(), 20000, 2);
    EXPECT_EQ(few->commitCount(), 3);
    EXPECT_EQ(few->paths.size(), 2);
    EXPECT_TRUE(few->changes[2].empty());
    repo.git({ u"checkout"_s, u"-q"_s, u"--detach"_s });
    EXPECT_EQ(readOk(repo.path())->branch, u"HEAD");
}

// The reader is run on a shared pool; reading half of the history beside the other must not wait
// for a thread of that pool when every other one is taken.
TEST(HistoryReader, ReadsInTwoHalvesFromTheLastFreeThreadOfAPool)
{
    GitRepo repo;
    for (int i = 0; i < 3; ++i) {
        repo.write(u"f%1.txt"_s.arg(i), numbered(i + 1));
        repo.commitAll(u"c%1"_s.arg(i), 1000 + i);
    }
    QThreadPool* shared = QThreadPool::globalInstance();
    const int others = shared->maxThreadCount() - 1;
    QSemaphore held, release;
    for (int i = 0; i < others; ++i) {
        shared->start([&] {
            held.release();
            release.acquire();
        });
    }
    held.acquire(others);
    const QFuture<bool> truncated = QtConcurrent::run(
        shared, [&] { return readOk(repo.path(), 2, 80000, nullptr, nullptr, 2)->truncated; });
    EXPECT_TRUE(truncated.result());
    release.release(others);
    shared->waitForDone();
}

// Fifteen commits on the first-parent line with a merge among them: files added, edited, deleted
// and brought back, and renames on either side of any cut, one with edits, one into a new folder.
class Eventful : public GitRepo {
public:
    Eventful()
    {
        for (int i = 0; i < 15; ++i) {
            write(u"grow.txt"_s, numbered(5 * (i + 1)));
            if (i == 1)
                write(u"old/name.txt"_s, numbered(30));
            if (i == 6) {
                makeFolder(u"new/place"_s);
                git({ u"mv"_s, u"old/name.txt"_s, u"new/place/name.txt"_s });
            }
            if (i == 7)
                write(u"new/place/name.txt"_s, numbered(28) + "edited\n");
            if (i == 7)
                write(u"b.txt"_s, numbered(40));
            if (i == 8)
                git({ u"mv"_s, u"b.txt"_s, u"c.txt"_s });
            if (i == 3)
                write(u"gone.txt"_s, numbered(3));
            if (i == 9)
                QFile::remove(path(u"gone.txt"_s));
            if (i == 12)
                write(u"gone.txt"_s, numbered(7));
            if (i == 10) {
                git({ u"checkout"_s, u"-q"_s, u"-b"_s, u"side"_s });
                write(u"side.txt"_s, numbered(9));
                commitAll(u"side"_s, 5000 + i);
                git({ u"checkout"_s, u"-q"_s, u"main"_s });
                git({ u"merge"_s, u"-q"_s, u"--no-ff"_s, u"-m"_s, u"merge side"_s, u"side"_s }, false,
                    5000 + i);
                continue;
            }
            commitAll(u"c%1"_s.arg(i), 5000 + i);
        }
    }
};

struct SplitCase {
    const char* name;
    qint64 maxCommits;
    qint32 maxPaths;
    qint64 splitFrom;
};

class Split : public ::testing::TestWithParam<SplitCase> { };

// Reading the history in two halves, newer and older at once, gives what one log gives.
TEST_P(Split, TwoHalvesGiveWhatOneLogGives)
{
    static const Eventful repo;
    const SplitCase& c = GetParam();
    const auto whole = readOk(repo.path(), c.maxCommits, c.maxPaths);
    const auto halves = readOk(repo.path(), c.maxCommits, c.maxPaths, nullptr, nullptr, c.splitFrom);
    ASSERT_EQ(whole->commitCount(), std::min<qint64>(c.maxCommits, 15));
    EXPECT_EQ(halves->commits, whole->commits);
    EXPECT_EQ(halves->paths, whole->paths);
    EXPECT_EQ(halves->changes, whole->changes);
    EXPECT_EQ(halves->maxLines, whole->maxLines);
    EXPECT_EQ(halves->truncated, whole->truncated);
    EXPECT_EQ(halves->truncated, c.maxCommits < 15);
    // The renames across the middle are renames still.
    const auto renames
        = std::count_if(halves->changes.begin(), halves->changes.end(), [](const auto& changes) {
              return std::any_of(changes.begin(), changes.end(),
                  [](const FileChange& change) { return change.kind == FileChange::Kind::renamed; });
          });
    if (c.maxPaths > 10) {
        EXPECT_EQ(renames, c.maxCommits >= 9 ? 2 : c.maxCommits >= 7 ? 1 : 0);
    }
}

INSTANTIATE_TEST_SUITE_P(HistoryReader, Split,
    ::testing::Values(SplitCase { "Whole", 20000, 80000, 2 }, SplitCase { "OddCount", 13, 80000, 2 },
        SplitCase { "AtTheThreshold", 15, 80000, 15 }, SplitCase { "Newest", 7, 80000, 2 },
        SplitCase { "TwoCommits", 2, 80000, 2 }, SplitCase { "FewPaths", 20000, 3, 2 }),
    rowName);

// The two ends of a read meet anywhere, even inside a commit: whatever the older end gave whole
// (its cut-short commit dropped), and the rest from the newer end, newest first, give one index.
TEST(HistoryBuilder, JoinsAnOlderLogAndANewerOneWhereverTheyMeet)
{
    static const Eventful repo;
    const QString head = QString::fromUtf8(repo.git({ u"rev-parse"_s, u"HEAD"_s }).trimmed());
    const QByteArray oldest = repo.git(HistoryReader::logArguments(head, 15, true));
    const QByteArray newest = repo.git(HistoryReader::logArguments(head, 15, false));
    HistoryBuilder one;
    for (const QByteArray& piece : oldest.split('\0'))
        one.feed(piece);
    const HistoryIndex expected = one.take();
    ASSERT_EQ(expected.commitCount(), 15);
    const auto nextHeader = [&](qsizetype from) {
        for (qsizetype at = newest.indexOf('\x01', from + 1); at >= 0; at = newest.indexOf('\x01', at + 1)) {
            if (HistoryBuilder::isHeaderAt(newest, at))
                return at;
        }
        return qsizetype(-1);
    };

    for (qsizetype cut = 0; cut <= oldest.size(); cut += std::max<qsizetype>(1, oldest.size() / 97)) {
        HistoryBuilder older;
        const QByteArray given = oldest.first(cut);
        const qsizetype lastPiece = given.lastIndexOf('\0');
        for (const QByteArray& piece : given.first(lastPiece + 1).split('\0'))
            older.feed(piece);
        older.dropOpen();
        const qint64 wanted = 15 - older.commitCount();
        // The newer end holds just what is wanted and a piece of the next commit, or all of it.
        const qsizetype after = [&] {
            qsizetype at = 0;
            for (qint64 i = 0; i < wanted && at >= 0; ++i)
                at = nextHeader(at);
            return at;
        }();
        const QByteArray held = after < 0 ? newest : newest.first(after + 5);
        HistoryBuilder joined = older;
        ASSERT_TRUE(joined.feedNewestFirst(held, after < 0, wanted)) << cut;
        const HistoryIndex index = joined.take();
        EXPECT_EQ(index.commits, expected.commits) << cut;
        EXPECT_EQ(index.paths, expected.paths) << cut;
        EXPECT_EQ(index.changes, expected.changes) << cut;
        EXPECT_EQ(index.maxLines, expected.maxLines) << cut;
        // A newer end that holds one commit too few is refused, and feeds nothing.
        if (wanted > 0) {
            HistoryBuilder shortOf = older;
            EXPECT_FALSE(shortOf.feedNewestFirst(newest.first(nextHeader(0)), false, wanted));
            EXPECT_EQ(shortOf.commitCount(), older.commitCount());
        }
    }
}

TEST(HistoryReader, SaysWhyItCannotRead)
{
    TempFolder plain;
    GitRepo empty;
    GitRepo repo;
    repo.write(u"a"_s, "a\n");
    repo.commitAll(u"one"_s);
    auto cancel = std::make_shared<CancelFlag>();
    cancel->cancel();
    const std::pair<HistoryReader, QString> rows[] = {
        { HistoryReader(plain.path(), nullptr),
            QFileInfo(plain.path()).fileName() + u" is not a git repository." },
        { HistoryReader(empty.path(), nullptr), u"This repository has no commits yet."_s },
        { HistoryReader(repo.path(), cancel), u"Indexing cancelled."_s },
    };
    for (const auto& [reader, message] : rows) {
        const auto outcome = reader.read();
        ASSERT_TRUE(std::holds_alternative<HistoryError>(outcome)) << message.toStdString();
        EXPECT_EQ(std::get<HistoryError>(outcome).description(), message);
    }
}

TEST(HistoryCache, GivesBackWhatItKeptAndMissesWhatItCannotRead)
{
    TempFolder folder;
    GitRepo repo;
    repo.write(u"a.txt"_s, numbered(3));
    repo.commitAll(u"one"_s);
    repo.git({ u"mv"_s, u"a.txt"_s, u"b.txt"_s });
    repo.commitAll(u"two"_s);
    HistoryCache cache(folder.path(u"cache"_s));
    bool hit = true;
    const auto read = readOk(repo.path(), 20000, 80000, &cache, &hit);
    EXPECT_FALSE(hit);
    const auto again = readOk(repo.path(), 20000, 80000, &cache, &hit);
    EXPECT_TRUE(hit);
    EXPECT_EQ(again->paths, read->paths);
    EXPECT_EQ(again->changes, read->changes);
    EXPECT_EQ(again->maxLines, read->maxLines);
    EXPECT_EQ(again->commits.back().hash, read->commits.back().hash);
    EXPECT_EQ(again->branch, read->branch);

    const QString head = QString::fromUtf8(repo.git({ u"rev-parse"_s, u"HEAD"_s }).trimmed());
    const QString file = cache.fileFor(read->root, head);
    const QByteArray bytes = readFile(file);
    const QByteArrayList brokenFiles { bytes.left(bytes.size() / 2), bytes + "x", "KVHX" + bytes.mid(4),
        QByteArray(bytes).replace(4, 4, QByteArray("\0\0\0\x09", 4)) };
    for (const QByteArray& broken : brokenFiles) {
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(broken);
        out.close();
        EXPECT_EQ(cache.load(read->root, head), nullptr);
    }
}

// A cache file someone else wrote: the counts in it are believed only as far as its bytes go, and
// only a regular file reached without a link is read, or written over.
struct ForgedCase {
    const char* name;
    enum class Part { paths, commits, sparse, pipe } part;
};

void PrintTo(const ForgedCase& row, std::ostream* out)
{
    *out << row.name;
}

class ForgedCache : public testing::TestWithParam<ForgedCase> { };

TEST_P(ForgedCache, IsAMissWithoutAllocatingOrWaiting)
{
    TempFolder folder;
    GitRepo repo;
    repo.write(u"a.txt"_s, numbered(3));
    repo.commitAll(u"one"_s);
    HistoryCache cache(folder.path(u"cache"_s), 1 << 20);
    const auto read = readOk(repo.path(), 20000, 80000, &cache);
    const QString head = QString::fromUtf8(repo.git({ u"rev-parse"_s, u"HEAD"_s }).trimmed());
    const QString file = cache.fileFor(read->root, head);
    ASSERT_TRUE(cache.load(read->root, head));
    QByteArray bytes = readFile(file);
    // magic, version, the root and the branch as counted UTF-16, the truncation flag, then paths.
    qsizetype at = 8 + 4 + 2 * read->root.size() + 4 + 2 * read->branch.size() + 1;
    const QByteArray huge("\x7f\xff\xff\xff", 4);
    switch (GetParam().part) {
    case ForgedCase::Part::paths: bytes.replace(at, 4, huge); break;
    case ForgedCase::Part::commits:
        at += 4;
        for (const QString& path : read->paths)
            at += 4 + 2 * path.size();
        bytes.replace(at, 8, QByteArray(QByteArray(4, '\0') + huge));
        break;
    case ForgedCase::Part::sparse: bytes.resize(4 << 20, '\0'); break; // past the limit, in holes
    case ForgedCase::Part::pipe: break;
    }
    QFile::remove(file);
    if (GetParam().part == ForgedCase::Part::pipe) {
        ASSERT_EQ(mkfifo(QFile::encodeName(file).constData(), 0600), 0);
    } else {
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(bytes.left(GetParam().part == ForgedCase::Part::sparse ? 64 : bytes.size()));
        if (GetParam().part == ForgedCase::Part::sparse) {
            ASSERT_TRUE(out.resize(bytes.size()));
        }
    }
    EXPECT_EQ(cache.load(read->root, head), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Table, ForgedCache,
    testing::Values(ForgedCase { "pathCount", ForgedCase::Part::paths },
        ForgedCase { "commitCount", ForgedCase::Part::commits },
        ForgedCase { "sparseFilePastTheLimit", ForgedCase::Part::sparse },
        ForgedCase { "namedPipe", ForgedCase::Part::pipe }),
    rowName);

TEST(HistoryCache, ReplacesALinkPlantedAtItsFileInsteadOfWritingThroughIt)
{
    TempFolder folder;
    const QString victim = folder.write(u"victim"_s, "keep me\n");
    GitRepo repo;
    repo.write(u"a.txt"_s, numbered(3));
    repo.commitAll(u"one"_s);
    HistoryCache cache(folder.path(u"cache"_s));
    const QString head = QString::fromUtf8(repo.git({ u"rev-parse"_s, u"HEAD"_s }).trimmed());
    QDir().mkpath(folder.path(u"cache"_s));
    const QString root = QDir::cleanPath(repo.path());
    ASSERT_TRUE(QFile::link(victim, cache.fileFor(root, head)));
    EXPECT_EQ(cache.load(root, head), nullptr) << "a link is never read";
    bool hit = true;
    readOk(repo.path(), 20000, 80000, &cache, &hit);
    EXPECT_FALSE(hit);
    EXPECT_EQ(readFile(victim), "keep me\n");
    EXPECT_FALSE(QFileInfo(cache.fileFor(root, head)).isSymLink());
    EXPECT_TRUE(cache.load(root, head));
}

struct LocationCase {
    const char* name;
    const char* home; // nullptr: unset
    const char* xdg;
    bool available;
};

void PrintTo(const LocationCase& row, std::ostream* out)
{
    *out << row.name;
}

class CacheLocation : public testing::TestWithParam<LocationCase> { };

TEST_P(CacheLocation, IsUsedOnlyWhenGivenWhole)
{
    const QByteArray home = qgetenv("HOME");
    const QByteArray xdg = qgetenv("XDG_CACHE_HOME");
    const auto set = [](const char* name, const char* value) {
        if (value)
            qputenv(name, value);
        else
            qunsetenv(name);
    };
    set("HOME", GetParam().home);
    set("XDG_CACHE_HOME", GetParam().xdg);
    const HistoryCache cache;
    qputenv("HOME", home);
    set("XDG_CACHE_HOME", xdg.isNull() ? nullptr : xdg.constData());
    EXPECT_EQ(!cache.unavailable().has_value(), GetParam().available);
    if (!GetParam().available) {
        EXPECT_TRUE(cache.load(u"/nowhere"_s, u"0"_s) == nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CacheLocation,
    testing::Values(LocationCase { "home", "/home/someone", nullptr, true },
        LocationCase { "absoluteXdg", nullptr, "/var/cache/someone", true },
        LocationCase { "noHomeNoXdg", nullptr, nullptr, false },
        LocationCase { "homeIsTheRoot", "/", nullptr, false },
        LocationCase { "relativeXdg", "/home/someone", "cache", false },
        LocationCase { "relativeHome", "someone", nullptr, false }),
    rowName);

TEST(HistoryReader, ACommitOfTenThousandPathsKeepsAsManyAsTheIndexHolds)
{
    GitRepo repo;
    repo.write(u"keep.txt"_s, "one\n");
    repo.commitAll(u"one"_s);
    repo.commitTreeBomb(4);
    const auto index = readOk(repo.path(), 20000, 1000);
    ASSERT_EQ(index->commitCount(), 3);
    EXPECT_EQ(index->paths.size(), 1000);
    EXPECT_EQ(index->commits[1].subject, u"bomb"_s);
    EXPECT_EQ(index->commits[1].changedFiles, 999) << "keep.txt took the first place";
    EXPECT_EQ(index->commits[2].changedFiles, 999);
}

TEST(HistoryReader, LeavesOutPathsDeeperThanAnyScanTakes)
{
    GitRepo repo;
    repo.write(u"keep.txt"_s, "one\n");
    repo.commitAll(u"one"_s);
    repo.commitTreeBomb(300, 1); // one file, 301 folders deep
    const auto index = readOk(repo.path());
    ASSERT_EQ(index->commitCount(), 3);
    EXPECT_EQ(index->paths, QStringList { u"keep.txt"_s });
    EXPECT_EQ(index->commits[1].changedFiles, 0);
}

// Names git would quote in a log without -z, or that are not UTF-8, keep their commits: the scan
// counts them, and the history knows them and their lines.
struct OddName {
    const char* name;
    QByteArray file;
};

void PrintTo(const OddName& row, std::ostream* out)
{
    *out << row.name;
}

class OddNames : public testing::TestWithParam<OddName> { };

TEST_P(OddNames, KeepTheirCommits)
{
    const QByteArray raw = GetParam().file;
    GitRepo repo;
    const QString path = repo.path() + u'/' + QFile::decodeName(raw);
    QDir().mkpath(QFileInfo(path).path());
    const auto write = [&](const QByteArray& content) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    };
    write("one\n");
    repo.commitAll(u"one"_s);
    write("one\ntwo\n");
    repo.commitAll(u"two"_s);

    const auto scanned = Scanner(repo.path(), nullptr).scan();
    ASSERT_TRUE(std::holds_alternative<ScanResult>(scanned));
    const ScanResult& result = std::get<ScanResult>(scanned);
    ASSERT_EQ(result.root->fileCount, 1);
    const FileNode& file = *result.root->allFiles().front();
    EXPECT_EQ(file.commits, 2);
    EXPECT_EQ(file.lines, 2);

    const auto index = readOk(repo.path());
    ASSERT_EQ(index->paths.size(), 1);
    EXPECT_EQ(index->paths.front(), QString::fromUtf8(raw));
    EXPECT_EQ(index->maxLines, std::vector<qint32> { 2 });
    EXPECT_EQ(index->changes[1].size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Table, OddNames,
    testing::Values(OddName { "quote", "say \"hi\".txt" }, OddName { "backslash", "back\\slash.txt" },
        OddName { "tab", "tab\there.txt" }, OddName { "newline", "line\nbreak.txt" },
        OddName { "notUtf8", "caf\xe9.txt" }, OddName { "colonFirst", ":colon.txt" },
        OddName { "inAFolder", "dir \"x\"/file\t1.txt" }),
    rowName);

TEST(HistoryReader, RunsNoProgramTheRepositoryNames)
{
    TempFolder outside;
    const QString marker = outside.path(u"marker"_s);
    GitRepo repo;
    repo.write(u".gitattributes"_s, "*.txt diff=x\n");
    repo.write(u"a.txt"_s, "one\n");
    repo.commitAll(u"one"_s);
    repo.write(u"a.txt"_s, "two\n");
    repo.commitAll(u"two"_s);
    // A textconv program is given the file's path rather than its content on standard input.
    repo.git({ u"config"_s, u"diff.x.textconv"_s, u"sh -c 'touch \"" + marker + u"\"; cat \"$0\"'" });
    repo.git({ u"config"_s, u"log.showSignature"_s, u"true"_s });
    repo.git({ u"config"_s, u"gpg.program"_s, u"touch '" + marker + u"'" });
    EXPECT_EQ(readOk(repo.path())->commitCount(), 2);
    EXPECT_FALSE(QFile::exists(marker));
    repo.git({ u"log"_s, u"-p"_s, u"-1"_s });
    EXPECT_TRUE(QFile::exists(marker)) << "plain git log does run them";
}
