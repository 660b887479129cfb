#include "history/recentcommits.h"
#include "git/git.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList subjects(const QList<Commit>& commits)
{
    QStringList list;
    for (const Commit& commit : commits)
        list << commit.subject;
    return list;
}

// A file touched by three commits, a neighbour by one, and a name that reads as a pattern.
class Touched : public GitRepo {
public:
    Touched()
    {
        write(u"src/a.c"_s, "one\n");
        write(u"src/b.c"_s, "b\n");
        commitAll(u"Add a and b"_s, 1700000000);
        write(u"src/a.c"_s, "two\n");
        write(u"*.c"_s, "star\n");
        commitAll(u"Change a; add a file named like a pattern"_s, 1700000100);
        write(u"src/a.c"_s, "three\n");
        commitAll(u"Fix a\x1f with a separator and ünïcode"_s, 1700000200);
    }
};

} // namespace

struct PathCase {
    const char* name;
    const char* path;
    int count;
    QStringList subjects; // newest first
};

void PrintTo(const PathCase& c, std::ostream* os)
{
    *os << c.name;
}

class RecentCommits : public testing::TestWithParam<PathCase> { };

TEST_P(RecentCommits, AreTheNewestThatChangedThePath)
{
    const PathCase& c = GetParam();
    Touched repo;
    const QList<Commit> commits = recentCommits(Git(repo.path()), QString::fromUtf8(c.path), c.count);
    EXPECT_EQ(subjects(commits), c.subjects);
    for (const Commit& commit : commits) {
        EXPECT_EQ(commit.hash.size(), 40);
        EXPECT_GE(commit.date, 1700000000);
        EXPECT_FALSE(commit.author.isEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, RecentCommits,
    testing::Values(PathCase { "aFileNewestFirst", "src/a.c", 10,
                        { u"Fix a\x1f with a separator and ünïcode"_s,
                            u"Change a; add a file named like a pattern"_s, u"Add a and b"_s } },
        PathCase { "atMostTheCountAsked", "src/a.c", 2,
            { u"Fix a\x1f with a separator and ünïcode"_s, u"Change a; add a file named like a pattern"_s } },
        PathCase { "aFileChangedOnce", "src/b.c", 10, { u"Add a and b"_s } },
        PathCase { "aFolderHasItsFilesCommits", "src", 1, { u"Fix a\x1f with a separator and ünïcode"_s } },
        // Taken as a pattern, "*.c" would match every C file and list all three commits.
        PathCase {
            "aNameLikeAPatternIsThatName", "*.c", 10, { u"Change a; add a file named like a pattern"_s } },
        PathCase { "theWholeRepository", "", 10,
            { u"Fix a\x1f with a separator and ünïcode"_s, u"Change a; add a file named like a pattern"_s,
                u"Add a and b"_s } },
        PathCase { "aPathNoCommitNamesHasNone", "src/none.c", 10, {} }),
    [](const testing::TestParamInfo<PathCase>& info) { return std::string(info.param.name); });

TEST(RecentCommits, ARepositoryWithoutCommitsOrAFolderOutsideOneHasNone)
{
    GitRepo empty;
    empty.write(u"a.c"_s, "a\n");
    EXPECT_TRUE(recentCommits(Git(empty.path()), u"a.c"_s, 10).isEmpty());
    TempFolder plain;
    plain.write(u"a.c"_s, "a\n");
    EXPECT_TRUE(recentCommits(Git(plain.path()), u"a.c"_s, 10).isEmpty());
}

struct LogCase {
    const char* name;
    QByteArray log;
    QStringList subjects;
};

void PrintTo(const LogCase& c, std::ostream* os)
{
    *os << c.name;
}

class RecentCommitsLog : public testing::TestWithParam<LogCase> { };

TEST_P(RecentCommitsLog, KeepsOnlyWholeCommits)
{
    EXPECT_EQ(subjects(parseRecentCommits(GetParam().log)), GetParam().subjects);
}

namespace {
const QByteArray hash40(40, 'a'), hash64(64, 'b');
}

INSTANTIATE_TEST_SUITE_P(Logs, RecentCommitsLog,
    testing::Values(LogCase { "empty", "", {} },
        LogCase { "two",
            hash40
                + "\x1f"
                  "1700000000\x1f"
                  "Ann\x1f"
                  "First\0"_ba
                + hash40
                + "\x1f"
                  "1\x1f"
                  "Bo\x1f"
                  "Second",
            { u"First"_s, u"Second"_s } },
        LogCase { "aSha256Hash",
            hash64
                + "\x1f"
                  "5\x1f"
                  "A\x1f"
                  "Long hash",
            { u"Long hash"_s } },
        LogCase { "separatorsInTheSubjectStayInIt",
            hash40
                + "\x1f"
                  "5\x1f"
                  "A\x1f"
                  "a\x1f"
                  "b",
            { u"a\x1f"
              "b"_s } },
        LogCase { "anEmptySubject",
            hash40
                + "\x1f"
                  "5\x1f"
                  "A\x1f",
            { QString() } },
        LogCase { "aShortHashIsSkipped",
            "abc\x1f"
            "5\x1f"
            "A\x1f"
            "S",
            {} },
        LogCase { "aDateThatIsNoNumberIsSkipped",
            hash40
                + "\x1f"
                  "soon\x1f"
                  "A\x1f"
                  "S",
            {} },
        LogCase { "tooFewFieldsAreSkipped",
            hash40
                + "\x1f"
                  "5\x1f"
                  "Ann",
            {} },
        LogCase { "emptyPiecesBetweenAreSkipped",
            "\0\0"_ba + hash40
                + "\x1f"
                  "5\x1f"
                  "A\x1f"
                  "S\0"_ba,
            { u"S"_s } }),
    [](const testing::TestParamInfo<LogCase>& info) { return std::string(info.param.name); });
