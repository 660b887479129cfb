#include "git/git.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QFile>

#include <functional>
#include <map>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Statuses = std::map<std::string, std::string>;
// path -> (commits naming it, newest commit time or -1 when it has none)
using Counts = std::map<std::string, std::pair<int, qint64>>;

Statuses named(const QHash<QString, GitFileStatus>& statuses)
{
    Statuses out;
    for (auto it = statuses.begin(); it != statuses.end(); ++it)
        out[it.key().toStdString()] = gitFileStatusName(it.value()).toStdString();
    return out;
}

Counts counted(const Git::History& history)
{
    Counts out;
    for (auto it = history.paths.begin(); it != history.paths.end(); ++it)
        out[it.key().toByteArray().toStdString()] = { it->commits, it->last.value_or(-1) };
    return out;
}

// --- status ------------------------------------------------------------------------------------

struct StatusRecords {
    const char* name;
    std::vector<const char*> pieces; // joined with NUL, as git status -z writes them
    const char* prefix;
    Statuses expected;
};

class ParseStatus : public testing::TestWithParam<StatusRecords> { };

TEST_P(ParseStatus, ClassifiesEachRecord)
{
    QByteArray output;
    for (const char* piece : GetParam().pieces)
        output.append(piece).append('\0');
    EXPECT_EQ(named(Git::parseStatus(output, QString::fromUtf8(GetParam().prefix))), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Records, ParseStatus,
    testing::Values(StatusRecords { "UntrackedWithAnUnquotedName", { "?? naïve café.txt" }, "",
                        { { "naïve café.txt", "untracked" } } },
        StatusRecords { "Conflicted", { "UU a", "AU b", "UD c", "DU d", "UA e", "AA f", "DD g" }, "",
            { { "a", "conflicted" }, { "b", "conflicted" }, { "c", "conflicted" }, { "d", "conflicted" },
                { "e", "conflicted" }, { "f", "conflicted" }, { "g", "conflicted" } } },
        StatusRecords { "AddedDeletedModified", { "AM a", " D b", "D  c", " M d", "MM e", "T  f" }, "",
            { { "a", "added" }, { "b", "deleted" }, { "c", "deleted" }, { "d", "modified" },
                { "e", "modified" }, { "f", "modified" } } },
        StatusRecords { "RenameNamesOnlyTheNewPath", { "R  new.txt", "old.txt", " M z.txt" }, "",
            { { "new.txt", "renamed" }, { "z.txt", "modified" } } },
        StatusRecords { "OldPathIsNeverReadAsARecord",
            { "RM new", "?? old looking like a record", "A  next" }, "",
            { { "new", "renamed" }, { "next", "added" } } },
        StatusRecords { "ShortPiecesAreSkipped", { "", "M", "?? ", " M a" }, "", { { "a", "modified" } } },
        StatusRecords { "PrefixIsStrippedAndOutsidePathsDropped",
            { "?? src/a.c", " M lib/b.c", "R  src/n.c", "lib/o.c", " M src/x/y.c", " M srcfoo.c" }, "src/",
            { { "a.c", "untracked" }, { "n.c", "renamed" }, { "x/y.c", "modified" } } },
        StatusRecords { "RenameOutOfThePrefixLeavesNothing", { "R  lib/n.c", "src/o.c", " M src/z.c" },
            "src/", { { "z.c", "modified" } } },
        StatusRecords {
            "AdditionOutranksDeletion", { "AD a", "DM b" }, "", { { "a", "added" }, { "b", "deleted" } } }),
    [](const auto& info) { return std::string(info.param.name); });

// --- history ------------------------------------------------------------------------------------

TEST(Git, HistoryCountsCommitsPerPathAndKeepsTheNewestTime)
{
    GitRepo repo;
    repo.write(u"a.txt"_s, "1\n");
    repo.write(u"b.txt"_s, "b\n");
    repo.write(u"src/s.c"_s, "1\n");
    repo.commitAll(u"one"_s, 1000);
    repo.write(u"a.txt"_s, "2\n");
    repo.git({ u"mv"_s, u"b.txt"_s, u"ç.txt"_s });
    repo.commitAll(u"two"_s, 2000);
    repo.write(u"a.txt"_s, "3\n");
    repo.write(u"src/s.c"_s, "3\n");
    repo.commitAll(u"three"_s, 3000);

    struct Row {
        const char* folder;
        int maxCommits;
        Counts expected;
    };
    const Row rows[] = {
        // The rename counts as b.txt deleted and ç.txt added; names arrive unquoted.
        { "", 10,
            { { "a.txt", { 3, 3000 } }, { "b.txt", { 2, 2000 } }, { "ç.txt", { 1, 2000 } },
                { "src/s.c", { 2, 3000 } } } },
        { "", 2,
            { { "a.txt", { 2, 3000 } }, { "b.txt", { 1, 2000 } }, { "ç.txt", { 1, 2000 } },
                { "src/s.c", { 1, 3000 } } } },
        { "src", 10, { { "s.c", { 2, 3000 } } } },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string("folder '") + row.folder + "', at most " + std::to_string(row.maxCommits));
        EXPECT_EQ(
            counted(Git(repo.path(QString::fromUtf8(row.folder))).history(row.maxCommits)), row.expected);
    }
}

// In the rows "@" stands for the \x01 that starts each commit's date, and "|" for the NUL that
// ends every piece of the log.
TEST(ParseHistory, CountsEveryCommitButDatesOnlyWellFormedOnes)
{
    const std::pair<QByteArray, Counts> rows[] = {
        { "@300|\na|b|@200|\na|c|", { { "a", { 2, 300 } }, { "b", { 1, 300 } }, { "c", { 1, 200 } } } },
        { "@100|\na|@300|\na|", { { "a", { 2, 300 } } } },
        { "@|\nz|", { { "z", { 1, -1 } } } },
        { "@99999999999999999999|\nr|", { { "r", { 1, -1 } } } },
        { "@200|\np|@|\np|q|", { { "p", { 2, 200 } }, { "q", { 1, -1 } } } },
        { "@5|\nlast", { { "last", { 1, 5 } } } },
        // Never quoted: a path is its bytes, whatever they are, up to the NUL.
        { "@7|\nsay \"hi\"|tab\there|line\nbreak|",
            { { "say \"hi\"", { 1, 7 } }, { "tab\there", { 1, 7 } }, { "line\nbreak", { 1, 7 } } } },
    };
    for (const auto& [row, expected] : rows) {
        SCOPED_TRACE(row.toStdString());
        const QByteArray output = QByteArray(row).replace('@', '\x01').replace('|', '\0');
        EXPECT_EQ(counted(Git::parseHistory({ output })), expected);
        // However git's output is cut into pieces, the same counts come out.
        for (qsizetype cut = 0; cut <= output.size(); ++cut)
            EXPECT_EQ(counted(Git::parseHistory({ output.left(cut), output.mid(cut) })), expected) << cut;
        QByteArrayList bytes;
        for (const char c : output)
            bytes.append(QByteArray(1, c));
        EXPECT_EQ(counted(Git::parseHistory(bytes)), expected);
    }
}

// A long history is not held: each path's bytes are kept once, and the counts outlive the chunks
// of the log they were read from (AddressSanitizer tells a key left viewing a freed chunk).
TEST(ParseHistory, KeepsEachPathOnceAndNoneOfTheLog)
{
    Git::History history;
    {
        QByteArrayList chunks;
        for (int commit = 0; commit < 3000; ++commit) {
            const QByteArray log = "\x01" + QByteArray::number(1000 + commit)
                + QByteArray("\0\nshared/path.c\0", 17) + "only/" + QByteArray::number(commit % 7) + '\0';
            // Cut across the pieces, as a pipe does.
            chunks.append(log.left(5));
            chunks.append(log.mid(5));
        }
        history = Git::parseHistory(chunks);
        for (QByteArray& chunk : chunks)
            chunk.fill('#');
    }
    // Commits 0 to 2999 at times 1000 to 3999; 3000 = 7 × 428 + 4, so only/0 to only/3 come once more.
    const Counts expected { { "shared/path.c", { 3000, 3999 } }, { "only/0", { 429, 3996 } },
        { "only/1", { 429, 3997 } }, { "only/2", { 429, 3998 } }, { "only/3", { 429, 3999 } },
        { "only/4", { 428, 3993 } }, { "only/5", { 428, 3994 } }, { "only/6", { 428, 3995 } } };
    EXPECT_EQ(counted(history), expected);
    EXPECT_EQ(history.names.size(), 8);
    qsizetype kept = 0;
    for (const QByteArray& name : std::as_const(history.names))
        kept += name.size();
    EXPECT_EQ(kept, 13 + 7 * 6);
}

// --- safety ---------------------------------------------------------------------------------------

struct Hostile {
    const char* name;
    std::function<void(const GitRepo&, const QString& marker)> configure;
};

void PrintTo(const Hostile& hostile, std::ostream* out)
{
    *out << hostile.name;
}

class HostileRepository : public testing::TestWithParam<Hostile> { };

// a.txt keeps its size so that git must hash it again, which runs a clean filter.
TEST_P(HostileRepository, NeverRunsTheProgramItNames)
{
    TempFolder outside;
    const QString marker = outside.path(u"marker"_s);
    GitRepo repo;
    repo.write(u".gitattributes"_s, "*.txt filter=x\n");
    repo.write(u"a.txt"_s, "one\n");
    repo.commitAll(u"first"_s);
    GetParam().configure(repo, marker);
    repo.write(u"a.txt"_s, "two\n");
    repo.touchAll(1600000000);

    const Git git(repo.path());
    EXPECT_EQ(named(git.status()), (Statuses { { "a.txt", "modified" } }));
    EXPECT_TRUE(git.listTracked());
    EXPECT_TRUE(git.listUntracked());
    EXPECT_EQ(git.history(10).paths.value("a.txt").commits, 1);
    EXPECT_EQ(git.branch(), u"main");
    EXPECT_FALSE(QFile::exists(marker));

    repo.git({ u"status"_s });
    EXPECT_TRUE(QFile::exists(marker)) << "plain git status does run it";
}

INSTANTIATE_TEST_SUITE_P(Configurations, HostileRepository,
    testing::Values(Hostile { "Fsmonitor",
                        [](const GitRepo& repo, const QString& marker) {
                            repo.git({ u"config"_s, u"core.fsmonitor"_s, u"touch \"" + marker + u"\"; :" });
                        } },
        Hostile { "RequiredCleanFilter",
            [](const GitRepo& repo, const QString& marker) {
                repo.git({ u"config"_s, u"filter.x.clean"_s, touching(marker) });
                repo.git({ u"config"_s, u"filter.x.required"_s, u"true"_s });
            } },
        Hostile { "FilterNamedWithAnEqualsSign",
            [](const GitRepo& repo, const QString& marker) {
                repo.write(u".gitattributes"_s, "*.txt filter=x=y\n");
                repo.commitAll(u"attributes"_s);
                repo.git({ u"config"_s, u"filter.x=y.clean"_s, touching(marker) });
            } },
        Hostile { "TextconvAndPagers",
            [](const GitRepo& repo, const QString& marker) {
                repo.write(u".gitattributes"_s, "*.txt filter=x diff=z\n");
                repo.commitAll(u"attributes"_s);
                repo.git({ u"config"_s, u"filter.x.clean"_s, touching(marker) });
                repo.git({ u"config"_s, u"diff.z.textconv"_s, touching(marker) });
                repo.git({ u"config"_s, u"core.pager"_s, touching(marker) });
                repo.git({ u"config"_s, u"log.showSignature"_s, u"true"_s });
                repo.git({ u"config"_s, u"gpg.program"_s, touching(marker) });
            } },
        Hostile { "SubmoduleFsmonitor",
            [](const GitRepo& repo, const QString& marker) {
                GitRepo inner;
                inner.write(u"i"_s);
                inner.commitAll(u"inner"_s);
                repo.git({ u"-c"_s, u"protocol.file.allow=always"_s, u"submodule"_s, u"add"_s, u"-q"_s,
                    inner.path(), u"sub"_s });
                repo.commitAll(u"submodule"_s);
                repo.git(
                    { u"-C"_s, u"sub"_s, u"config"_s, u"core.fsmonitor"_s, u"touch \"" + marker + u"\"; :" });
            } }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Git, UserFiltersStillRunAndOutrankTheRepository)
{
    TempFolder outside;
    const QString userMarker = outside.path(u"user"_s);
    const QString repoMarker = outside.path(u"repo"_s);
    const QByteArray savedGlobal = qgetenv("GIT_CONFIG_GLOBAL");
    qputenv("GIT_CONFIG_GLOBAL", QFile::encodeName(outside.path(u"gitconfig"_s)));
    GitRepo repo;
    repo.git({ u"config"_s, u"--global"_s, u"filter.y.clean"_s, touching(userMarker) });
    repo.write(u".gitattributes"_s, "*.txt filter=y\n");
    repo.write(u"a.txt"_s, "one\n");
    repo.commitAll(u"first"_s);

    for (const bool overridden : { false, true }) {
        SCOPED_TRACE(overridden ? "repository overrides the filter" : "only the user sets the filter");
        if (overridden)
            repo.git({ u"config"_s, u"filter.y.clean"_s, touching(repoMarker) });
        repo.write(u"a.txt"_s, overridden ? "tri\n" : "two\n");
        repo.touchAll(overridden ? 1600000000 : 1500000000);
        QFile::remove(userMarker);
        EXPECT_EQ(named(Git(repo.path()).status()), (Statuses { { "a.txt", "modified" } }));
        EXPECT_TRUE(QFile::exists(userMarker));
        EXPECT_FALSE(QFile::exists(repoMarker));
    }
    repo.git({ u"status"_s });
    EXPECT_TRUE(QFile::exists(repoMarker)) << "plain git status runs the repository's filter";
    qputenv("GIT_CONFIG_GLOBAL", savedGlobal);
}

TEST(Git, StopRequestYieldsNothing)
{
    GitRepo repo;
    repo.write(u"a.txt"_s, "a\n");
    repo.commitAll(u"first"_s);
    repo.write(u"a.txt"_s, "b\n");
    for (const bool stop : { false, true }) {
        SCOPED_TRACE(stop ? "stop requested" : "no stop requested");
        const Git git(repo.path(), [stop] { return stop; });
        EXPECT_EQ(git.run({ u"rev-parse"_s, u"HEAD"_s }).has_value(), !stop);
        EXPECT_EQ(git.status().isEmpty(), stop);
    }
}

TEST(GitHistory, StopsGitOnceItHoldsAsManyPathsAsAllowed)
{
    GitRepo repo;
    repo.write(u"keep.txt"_s, "one\n");
    repo.commitAll(u"one"_s);
    repo.commitTreeBomb(4); // 10,000 paths added, then removed
    const Git git(repo.path());
    const Git::History all = git.history(10);
    EXPECT_EQ(all.paths.size(), 10001);
    const Git::History capped = git.history(10, 500);
    EXPECT_EQ(capped.paths.size(), 500) << "the newest commits' first paths, and no more";
    EXPECT_EQ(capped.paths.value("bomb/d0/d0/d0/f0").commits, 1);
}

} // namespace
