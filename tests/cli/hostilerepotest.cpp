#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QRegularExpression>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

Outcome korvane(const QStringList& arguments, const QHash<QString, QString>& variables)
{
    return runHeadless(QStringLiteral(KORVANE_BINARY), arguments, variables);
}

// A repository with two commits in which one file git reads is a named pipe that nobody writes.
struct PipeCase {
    const char* name;
    const char* pipe;
    bool scanStalls; // the scan finishes, and says git stopped answering
    int historyExit; // 0: the history is read in full; 1: it fails, saying git stopped answering
};

void PrintTo(const PipeCase& row, std::ostream* out)
{
    *out << row.name;
}

class NamedPipe : public testing::TestWithParam<PipeCase> { };

TEST_P(NamedPipe, GitWaitingOnAPipeIsGivenUpAndSaysSo)
{
    const PipeCase& row = GetParam();
    GitRepo repo;
    repo.write(u"a.txt"_s, "a\n");
    repo.commitAll(u"one"_s);
    repo.write(u"a.txt"_s, "a\nb\n");
    repo.commitAll(u"two"_s);
    const QString pipe = repo.path(QString::fromUtf8(row.pipe));
    QFile::remove(pipe);
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QHash<QString, QString> patience { { u"KORVANE_GIT_PATIENCE"_s, u"2"_s } };

    const Outcome scanned = korvane({ u"scan"_s, repo.path() }, patience);
    EXPECT_EQ(scanned.exitCode, 0) << scanned.err.toStdString();
    EXPECT_TRUE(scanned.out.contains("Files")) << "the scan still gives its tree";
    EXPECT_EQ(scanned.err.contains("git stopped answering while reading"), row.scanStalls)
        << scanned.err.toStdString();

    const Outcome history = korvane({ u"history"_s, repo.path() }, patience);
    EXPECT_EQ(history.exitCode, row.historyExit) << history.err.toStdString();
    if (row.historyExit == 0)
        EXPECT_TRUE(QString::fromUtf8(history.out).contains(QRegularExpression(u"Commits +2\n"_s)))
            << history.out.toStdString();
    else
        EXPECT_TRUE(history.err.contains("git stopped answering while reading")) << history.err.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Table, NamedPipe,
    testing::Values(PipeCase { "ignoreFile", ".gitignore", true, 0 },
        PipeCase { "mailMapIsNeverRead", ".mailmap", false, 0 },
        PipeCase { "attributes", ".gitattributes", true, 1 },
        PipeCase { "excludeFile", ".git/info/exclude", true, 0 }, PipeCase { "head", ".git/HEAD", true, 1 },
        PipeCase { "packedReferences", ".git/packed-refs", true, 1 }),
    rowName);

// Files far larger than any reader looks at: only the part read is read from disk (a sparse file
// of a gigabyte would otherwise take gigabytes of memory), and what is shown says it stops.
struct HugeCase {
    const char* name;
    const char* command;
    const char* file;
    QByteArray head; // the file's first bytes; the rest up to `size` is a hole of zeros
    qint64 size;
    int exitCode;
    const char* out; // a line the output holds
    const char* err; // and standard error
};

void PrintTo(const HugeCase& row, std::ostream* out)
{
    *out << row.name;
}

QByteArray functions(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += "function f" + QByteArray::number(i) + "() { return " + QByteArray::number(i) + "; }\n";
    return text;
}

class HugeFile : public testing::TestWithParam<HugeCase> { };

TEST_P(HugeFile, IsReadOnlyAsFarAsItsReaderLooks)
{
    const HugeCase& row = GetParam();
    TempFolder folder;
    const QString path = folder.write(QString::fromUtf8(row.file), row.head);
    if (row.size > row.head.size()) {
        ASSERT_TRUE(QFile::resize(path, row.size));
    }
    const Outcome run = korvane({ QString::fromUtf8(row.command), path }, {});
    EXPECT_EQ(run.exitCode, row.exitCode) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(row.out)) << run.out.left(2000).toStdString();
    EXPECT_TRUE(run.err.contains(row.err)) << run.err.toStdString();
    EXPECT_LT(run.out.size(), 1 << 20) << "nothing of the size of the file is printed";
}

constexpr qint64 gigabyte = qint64(1) << 30;

INSTANTIATE_TEST_SUITE_P(Table, HugeFile,
    testing::Values(HugeCase { "sparseScript", "outline", "big.js", "function first() {}\n", gigabyte, 0,
                        "stops partway", "" },
        HugeCase { "sparseScriptFlow", "flow", "big.js",
            "function first() { second(); }\nfunction second() {}\n", gigabyte, 0, "first", "" },
        // Once a script too long to read showed no part at all.
        HugeCase { "scriptPastItsLimit", "outline", "long.js", functions(300000), 0, 0, "f0", "" },
        HugeCase { "sparseBoard", "sexpr", "big.kicad_pcb", "(kicad_pcb (version 1))", gigabyte, 0,
            "kicad_pcb", "only the first 256 MiB" },
        HugeCase { "blobOfZeros", "sexpr", "zeros.kicad_pcb", QByteArray(64, '\0'), 64 << 20, 1, "",
            "holds no S-expression" }),
    rowName);

} // namespace
