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
    const QHash<QString, QString> patience { { u"KORVANE_GIT_PATIENCE"_s, u"0.3"_s } };

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

} // namespace
