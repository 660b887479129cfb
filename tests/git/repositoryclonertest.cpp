#include "git/repositorycloner.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// --- what the user types ------------------------------------------------------------------------

struct AcceptedCase {
    const char* name;
    const char* text;
    const char* host;
    const char* owner;
    const char* repository;
    const char* branch; // nullptr for none
};

void PrintTo(const AcceptedCase& row, std::ostream* out)
{
    *out << row.name;
}

struct RefusedCase {
    const char* name;
    const char* text;
};

void PrintTo(const RefusedCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class RemoteAccepted : public testing::TestWithParam<AcceptedCase> { };

TEST_P(RemoteAccepted, NamesTheRepositoryAndItsHttpsAddress)
{
    const AcceptedCase& row = GetParam();
    const auto parsed = RemoteRepository::parse(QString::fromUtf8(row.text));
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->host.toStdString(), row.host);
    EXPECT_EQ(parsed->owner.toStdString(), row.owner);
    EXPECT_EQ(parsed->name.toStdString(), row.repository);
    EXPECT_EQ(parsed->branch, row.branch ? std::optional(QString::fromUtf8(row.branch)) : std::nullopt);
    EXPECT_EQ(parsed->cloneURL.toStdString(),
        std::string("https://") + row.host + "/" + row.owner + "/" + row.repository + ".git");
}

INSTANTIATE_TEST_SUITE_P(Table, RemoteAccepted,
    testing::Values(AcceptedCase { "pair", "owner/name", "github.com", "owner", "name", nullptr },
        AcceptedCase { "pairWithGit", "owner/name.git", "github.com", "owner", "name", nullptr },
        AcceptedCase { "pairInSpaces", "  owner/name \n", "github.com", "owner", "name", nullptr },
        AcceptedCase { "pairOfBranch", "owner/name/tree/main", "github.com", "owner", "name", "main" },
        AcceptedCase { "page", "https://github.com/owner/name", "github.com", "owner", "name", nullptr },
        AcceptedCase {
            "pageWithGit", "https://github.com/owner/name.git", "github.com", "owner", "name", nullptr },
        AcceptedCase {
            "pageWithSlash", "https://github.com/owner/name/", "github.com", "owner", "name", nullptr },
        AcceptedCase {
            "pageOfBranch", "https://github.com/owner/name/tree/dev", "github.com", "owner", "name", "dev" },
        AcceptedCase { "pageOfBranchWithSlash", "https://github.com/owner/name/tree/dev/", "github.com",
            "owner", "name", "dev" },
        AcceptedCase { "branchWithSlashes", "https://github.com/owner/name/tree/feature/x/y", "github.com",
            "owner", "name", "feature/x/y" },
        AcceptedCase { "otherPageOfIt", "https://github.com/owner/name/issues/12", "github.com", "owner",
            "name", nullptr },
        AcceptedCase { "pageWithQueryAndFragment", "https://github.com/owner/name?tab=readme-ov-file#readme",
            "github.com", "owner", "name", nullptr },
        AcceptedCase { "http", "http://github.com/owner/name", "github.com", "owner", "name", nullptr },
        AcceptedCase { "userInAddress", "https://someone@github.com/owner/name", "github.com", "owner",
            "name", nullptr },
        AcceptedCase {
            "gitPlus", "git+https://github.com/owner/name.git", "github.com", "owner", "name", nullptr },
        AcceptedCase { "ssh", "git@github.com:owner/name.git", "github.com", "owner", "name", nullptr },
        AcceptedCase {
            "sshScheme", "ssh://git@github.com/owner/name", "github.com", "owner", "name", nullptr },
        AcceptedCase {
            "gitPlusSsh", "git+ssh://git@github.com/owner/name.git", "github.com", "owner", "name", nullptr },
        AcceptedCase { "otherHost", "https://gitlab.example.org/group/project", "gitlab.example.org", "group",
            "project", nullptr },
        AcceptedCase {
            "otherHostBySsh", "git@codeberg.org:owner/name", "codeberg.org", "owner", "name", nullptr },
        AcceptedCase {
            "hostWithoutScheme", "codeberg.org/owner/name", "codeberg.org", "owner", "name", nullptr },
        AcceptedCase {
            "hostInCapitals", "https://GitHub.com/Owner/Name", "github.com", "Owner", "Name", nullptr },
        AcceptedCase { "namesWithDotsDashesUnderscores", "my-org/my_lib.js", "github.com", "my-org",
            "my_lib.js", nullptr },
        AcceptedCase { "nameStartingWithDot", "owner/.github", "github.com", "owner", ".github", nullptr }),
    rowName);

class RemoteRefused : public testing::TestWithParam<RefusedCase> { };

TEST_P(RemoteRefused, IsNoRepository)
{
    EXPECT_EQ(RemoteRepository::parse(QString::fromUtf8(GetParam().text)), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Table, RemoteRefused,
    testing::Values(RefusedCase { "empty", "" }, RefusedCase { "blank", "  " },
        RefusedCase { "homePath", "~/src/x" }, RefusedCase { "absolutePath", "/tmp/x" },
        RefusedCase { "climbing", "a/../../b" }, RefusedCase { "climbingFirst", "../x" },
        RefusedCase { "noName", "owner/" }, RefusedCase { "noOwner", "/name" },
        RefusedCase { "nameDotDot", "owner/.." }, RefusedCase { "nameDot", "owner/." },
        RefusedCase { "nameOnlyGit", "owner/.git" }, RefusedCase { "space", "a b/c" },
        RefusedCase { "ownerAlone", "owner" }, RefusedCase { "otherCharacter", "owner/na$me" },
        RefusedCase { "backslash", "owner\\x/name" },
        RefusedCase { "climbingOnAHost", "https://evil.com/../x/y" },
        RefusedCase { "climbingAfterTheName", "owner/name/tree/x/../../y" },
        RefusedCase { "hostAlone", "https://github.com/owner" },
        RefusedCase { "noPath", "https://github.com" },
        RefusedCase { "port", "https://github.com:8443/owner/name" },
        RefusedCase { "sshPort", "ssh://git@github.com:22/owner/name" },
        RefusedCase { "hostWithUnderscore", "https://git_hub.com/owner/name" },
        RefusedCase { "hostWithEmptyLabel", "git@evil..com:owner/name" },
        RefusedCase { "otherScheme", "ftp://github.com/owner/name" },
        RefusedCase { "extTransport", "ext::sh -c touch% /tmp/x" },
        RefusedCase { "branchLikeAnOption", "owner/name/tree/-x" },
        RefusedCase { "branchWithDotDot", "owner/name/tree/a..b" },
        RefusedCase { "branchWithColon", "owner/name/tree/a:b" },
        RefusedCase { "branchEndingInLock", "owner/name/tree/x.lock" },
        RefusedCase { "branchWithControl",
            "owner/name/tree/a\x01"
            "b" }),
    rowName);

TEST(RemoteRepository, ThePairAndEveryAddressOfItDownloadFromOnePlace)
{
    const auto pair = RemoteRepository::parse(u"owner/name");
    ASSERT_TRUE(pair.has_value());
    for (const QString& text : { u"https://github.com/owner/name"_s, u"https://github.com/owner/name.git"_s,
             u"git@github.com:owner/name.git"_s, u"git+https://github.com/owner/name"_s }) {
        SCOPED_TRACE(text.toStdString());
        const auto other = RemoteRepository::parse(text);
        ASSERT_TRUE(other.has_value());
        EXPECT_EQ(other->cloneURL, pair->cloneURL);
        EXPECT_EQ(RepositoryCloner::localURL(*other), RepositoryCloner::localURL(*pair));
    }
}

// --- git's progress lines -----------------------------------------------------------------------

namespace {

// Lines git clone --progress, fetch and checkout wrote to standard error, cut at \r and \n.
struct ProgressCase {
    const char* name;
    const char* line;
    const char* phase; // nullptr when the line is no progress
    double fraction; // -1 for none
    const char* detail;
};

void PrintTo(const ProgressCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class ProgressLine : public testing::TestWithParam<ProgressCase> { };

TEST_P(ProgressLine, GivesPhaseFractionAndDetail)
{
    const ProgressCase& row = GetParam();
    const auto parsed = CloneProgress::parse(QString::fromUtf8(row.line));
    if (!row.phase) {
        EXPECT_EQ(parsed, std::nullopt);
        return;
    }
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->phase.toStdString(), row.phase);
    EXPECT_EQ(parsed->fraction, row.fraction < 0 ? std::nullopt : std::optional(row.fraction));
    EXPECT_EQ(parsed->detail.toStdString(), row.detail);
}

INSTANTIATE_TEST_SUITE_P(Table, ProgressLine,
    testing::Values(ProgressCase { "receiving", "Receiving objects:  45% (136/302)", "Receiving objects",
                        0.45, "(136/302)" },
        ProgressCase { "receivingDone", "Receiving objects: 100% (302/302), 916.39 KiB | 19.50 MiB/s, done.",
            "Receiving objects", 1.0, "(302/302), 916.39 KiB | 19.50 MiB/s, done." },
        ProgressCase {
            "receivingFirst", "Receiving objects:   0% (1/302)", "Receiving objects", 0.0, "(1/302)" },
        ProgressCase { "remoteCounting", "remote: Counting objects:  33% (1/3)        ", "Counting objects",
            0.33, "(1/3)" },
        ProgressCase { "remoteCountingDone", "remote: Counting objects: 100% (302/302), done.        ",
            "Counting objects", 1.0, "(302/302), done." },
        ProgressCase { "remoteCompressing", "remote: Compressing objects: 100% (101/101)        ",
            "Compressing objects", 1.0, "(101/101)" },
        ProgressCase { "remoteEnumerating", "remote: Enumerating objects: 302, done.        ",
            "Enumerating objects", -1, "302, done." },
        ProgressCase { "resolving", "Resolving deltas: 100% (101/101), completed with 101 local objects.",
            "Resolving deltas", 1.0, "(101/101), completed with 101 local objects." },
        ProgressCase {
            "warning", "warning: You appear to have cloned an empty repository.", nullptr, -1, "" },
        ProgressCase { "fatal", "fatal: early EOF", nullptr, -1, "" },
        ProgressCase {
            "fetchPack", "fetch-pack: unexpected disconnect while reading sideband packet", nullptr, -1, "" },
        ProgressCase { "cloningInto", "Cloning into 'out'...", nullptr, -1, "" },
        ProgressCase { "remoteTotal",
            "remote: Total 302 (delta 0), reused 0 (delta 0), pack-reused 0        ", nullptr, -1, "" },
        ProgressCase { "fromAddress", "From file:///tmp/cap/bare", nullptr, -1, "" },
        ProgressCase { "updatedRef", "   1505518..472e861  main       -> origin/main", nullptr, -1, "" },
        ProgressCase { "newBranch", " * [new branch]      dev        -> origin/dev", nullptr, -1, "" },
        ProgressCase { "switched", "Switched to a new branch 'dev'", nullptr, -1, "" },
        ProgressCase { "empty", "", nullptr, -1, "" }),
    rowName);

// --- why a download failed ----------------------------------------------------------------------

namespace {

// What git wrote to standard error when a clone, fetch, checkout or pull failed.
struct ReasonCase {
    const char* name;
    const char* standardError;
    const char* reason;
};

void PrintTo(const ReasonCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class FailureReason : public testing::TestWithParam<ReasonCase> { };

TEST_P(FailureReason, IsTheShortReasonTold)
{
    EXPECT_EQ(
        RepositoryCloner::reason(QByteArray(GetParam().standardError)).toStdString(), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(Table, FailureReason,
    testing::Values(ReasonCase { "nothing", "", "The download failed." },
        ReasonCase { "onlyBlank", " \n\r\n\t\n", "The download failed." },
        ReasonCase { "missingPath",
            "Cloning into 'x1'...\nfatal: repository '/tmp/cap/nothere.git' does not exist\n",
            "No such repository." },
        ReasonCase { "missingOverFileTransport",
            "Cloning into 'x1'...\nfatal: '/tmp/cap/nothere.git' does not appear to be a git repository\n"
            "fatal: Could not read from remote repository.\n\nPlease make sure you have the correct access "
            "rights\nand the repository exists.\n",
            "No such repository." },
        ReasonCase { "notFoundOverHttp",
            "Cloning into 'm1'...\nremote: Repository not found.\n"
            "fatal: repository 'http://127.0.0.1:8765/owner/missing.git/' not found\n",
            "No such repository." },
        ReasonCase { "askedForAUserName",
            "Cloning into 'm2'...\nfatal: could not read Username for 'http://127.0.0.1:8765': terminal "
            "prompts "
            "disabled\n",
            "That repository is private, or it doesn\u2019t exist." },
        ReasonCase { "authenticationFailed",
            "Cloning into 'm3'...\nremote: Invalid username or password.\n"
            "fatal: Authentication failed for 'http://127.0.0.1:8765/private/x.git/'\n",
            "That repository is private, or it doesn\u2019t exist." },
        ReasonCase { "unreachable",
            "Cloning into 'm4'...\nfatal: unable to access 'http://127.0.0.1:8799/a/b.git/': Failed to "
            "connect to "
            "127.0.0.1 port 8799 after 0 ms: Couldn't connect to server\n",
            "unable to access 'http://127.0.0.1:8799/a/b.git/': Failed to connect to 127.0.0.1 port 8799 "
            "after 0 "
            "ms: Couldn't connect to server" },
        ReasonCase { "unknownHost",
            "Cloning into 'm5'...\nfatal: unable to access 'https://nonexistent.invalid/a/b.git/': Could not "
            "resolve host: nonexistent.invalid\n",
            "unable to access 'https://nonexistent.invalid/a/b.git/': Could not resolve host: "
            "nonexistent.invalid" },
        ReasonCase { "missingBranch",
            "Cloning into 'x2'...\nfatal: Remote branch nobranch not found in upstream origin\n",
            "That repository has no branch nobranch." },
        ReasonCase { "missingBranchOnUpdate", "fatal: invalid reference: nobranch\n",
            "That repository has no branch nobranch." },
        ReasonCase { "notFastForward", "fatal: Not possible to fast-forward, aborting.\n",
            "Not possible to fast-forward, aborting." },
        ReasonCase { "localChanges",
            "error: Your local changes to the following files would be overwritten by merge:\n\tf1.txt\n"
            "Please commit your changes or stash them before you merge.\nAborting\n",
            "Your local changes to the following files would be overwritten by merge:" },
        ReasonCase { "transportRefused", "Cloning into '/tmp/cap/y'...\nfatal: transport 'ext' not allowed\n",
            "transport 'ext' not allowed" },
        ReasonCase { "destinationTaken",
            "fatal: destination path 'out' already exists and is not an empty directory.\n",
            "destination path 'out' already exists and is not an empty directory." },
        ReasonCase { "afterProgressInCarriageReturns",
            "Cloning into 'out'...\nReceiving objects:  33% (1/3)\rReceiving objects:  66% (2/3)\r"
            "fatal: Not possible to fast-forward, aborting.\r",
            "Not possible to fast-forward, aborting." },
        ReasonCase { "interrupted",
            "Cloning into 'k2'...\nremote: Enumerating objects: 42, done.        \nReceiving objects:   7% "
            "(3/42)\r"
            "fetch-pack: unexpected disconnect while reading sideband packet\n"
            "fatal: fetch-pack: invalid index-pack output\n",
            "fetch-pack: invalid index-pack output" },
        ReasonCase { "noMessageLine",
            "Cloning into 'o4'...\nwarning: You appear to have cloned an empty repository.\n",
            "warning: You appear to have cloned an empty repository." }),
    rowName);

namespace {

struct DescriptionCase {
    const char* name;
    CloneError error;
    const char* description;
};

void PrintTo(const DescriptionCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class ErrorDescription : public testing::TestWithParam<DescriptionCase> { };

TEST_P(ErrorDescription, IsWhatTheUserIsTold)
{
    EXPECT_EQ(GetParam().error.description().toStdString(), GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(Table, ErrorDescription,
    testing::Values(DescriptionCase { "badURL", CloneError::badURL(u"a b/c"_s),
                        "\u201Ca b/c\u201D isn\u2019t a repository URL." },
        DescriptionCase { "failed", CloneError::failed(u"No such repository."_s), "No such repository." },
        DescriptionCase { "cancelled", CloneError::cancelled(), "Download cancelled." }),
    rowName);

// --- downloads from real repositories -----------------------------------------------------------

namespace {

// Sets an environment variable for a test's time and puts back what was there.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const QByteArray& value)
        : m_name(name)
        , m_old(qgetenv(name))
        , m_was(qEnvironmentVariableIsSet(name))
    {
        qputenv(name, value);
    }
    ~ScopedVariable()
    {
        if (m_was)
            qputenv(m_name, m_old);
        else
            qunsetenv(m_name);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;
    QByteArray m_old;
    bool m_was;
};

using Steps = std::vector<std::string>;

std::optional<RemoteRepository> remote(const QString& text)
{
    auto parsed = RemoteRepository::parse(text);
    EXPECT_TRUE(parsed.has_value()) << text.toStdString();
    return parsed;
}

} // namespace

// Bare repositories under bares/OWNER/NAME.git stand in for the hosting service: the global
// configuration sends https://github.com/ there, as a user's own insteadOf would send it elsewhere.
class Download : public testing::Test {
protected:
    Download()
        : m_data("XDG_DATA_HOME", QFile::encodeName(m_temp.path(u"data"_s)))
        , m_config("GIT_CONFIG_GLOBAL", QFile::encodeName(m_temp.path(u"gitconfig"_s)))
        , m_noSystem("GIT_CONFIG_NOSYSTEM", "1")
    {
        m_temp.write(u"gitconfig"_s,
            "[url \"file://" + QFile::encodeName(m_temp.path(u"bares"_s))
                + "/\"]\n\tinsteadOf = https://github.com/\n");
        m_source.write(u"a.txt"_s, "one\n");
        m_source.commitAll(u"one"_s, 1700000000);
        m_source.write(u"b.txt"_s, "two\n");
        m_source.commitAll(u"two"_s, 1700000100);
        m_source.git({ u"branch"_s, u"dev"_s });
        m_source.git({ u"checkout"_s, u"-q"_s, u"-b"_s, u"feature/x"_s });
        m_source.write(u"feature.txt"_s, "feature\n");
        m_source.commitAll(u"feature"_s, 1700000200);
        m_source.git({ u"checkout"_s, u"-q"_s, u"main"_s });
        m_source.git({ u"clone"_s, u"-q"_s, u"--bare"_s, m_source.path(), bare() });
        m_root = RepositoryCloner::storageRoot();
    }

    QString bare() const { return m_temp.path(u"bares/owner/name.git"_s); }

    // Commits a file on a branch of the source and pushes it to the bare repository.
    void publish(const QString& branch, const QString& file)
    {
        m_source.git({ u"checkout"_s, u"-q"_s, branch });
        m_source.write(file, "new\n");
        m_source.commitAll(file, 1700000300);
        m_source.git({ u"push"_s, u"-q"_s, bare(), branch });
        m_source.git({ u"checkout"_s, u"-q"_s, u"main"_s });
    }

    // Every file and folder of the temporary folder outside the storage root, with each file's
    // size and time: what a download must leave as it was.
    std::map<std::string, std::pair<qint64, qint64>> outsideTheRoot() const
    {
        std::map<std::string, std::pair<qint64, qint64>> entries;
        QDirIterator it(m_temp.path(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
            QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            if (path == m_root || path.startsWith(m_root + u'/'))
                continue;
            const QFileInfo info = it.fileInfo();
            entries[path.toStdString()] = info.isDir()
                ? std::pair<qint64, qint64>(-1, -1)
                : std::pair(info.size(), info.lastModified().toMSecsSinceEpoch());
        }
        return entries;
    }

    CloneOutcome fetch(const QString& text, Steps* phases = nullptr, const std::function<bool()>& stop = {})
    {
        const auto repository = remote(text);
        if (!repository)
            return {};
        return RepositoryCloner::fetch(
            *repository,
            [&](const CloneProgress& progress) {
                EXPECT_FALSE(progress.detail.contains(u'\r') || progress.detail.contains(u'\n'));
                EXPECT_FALSE(progress.detail.contains(u"objects:")) << "one line a report";
                if (phases && (phases->empty() || phases->back() != progress.phase.toStdString()))
                    phases->push_back(progress.phase.toStdString());
            },
            stop);
    }

    // What git says of the clone.
    QString head(const QString& folder) const
    {
        QProcess process;
        process.setWorkingDirectory(folder);
        process.start(u"/usr/bin/git"_s, { u"rev-parse"_s, u"--abbrev-ref"_s, u"HEAD"_s });
        process.waitForFinished(-1);
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    TempFolder m_temp;
    ScopedVariable m_data;
    ScopedVariable m_config;
    ScopedVariable m_noSystem;
    GitRepo m_source;
    QString m_root;
};

TEST_F(Download, StorageRootIsInTheUsersDataFolder)
{
    EXPECT_EQ(m_root, m_temp.path(u"data/Korvane/repositories"_s));
    EXPECT_TRUE(QFileInfo(m_root).isDir());
    EXPECT_EQ(RepositoryCloner::localURL(*remote(u"git@codeberg.org:someone/thing.git"_s)),
        m_root + u"/codeberg.org/someone/thing"_s);
}

TEST_F(Download, ClonesThenUpdatesTheClone)
{
    Steps phases;
    const CloneOutcome first = fetch(u"owner/name"_s, &phases);
    ASSERT_EQ(first.error, std::nullopt) << first.error->description().toStdString();
    EXPECT_EQ(first.folder, m_root + u"/github.com/owner/name"_s);
    EXPECT_TRUE(RepositoryCloner::isClone(first.folder));
    EXPECT_EQ(readFile(first.folder + u"/a.txt"_s), "one\n");
    EXPECT_EQ(readFile(first.folder + u"/b.txt"_s), "two\n");
    EXPECT_EQ(head(first.folder), u"main"_s);
    ASSERT_FALSE(phases.empty());
    EXPECT_EQ(phases.front(), "Cloning owner/name");
    EXPECT_NE(std::find(phases.begin(), phases.end(), "Receiving objects"), phases.end())
        << "git's own progress is passed on";

    publish(u"main"_s, u"c.txt"_s);
    phases.clear();
    const CloneOutcome second = fetch(u"https://github.com/owner/name"_s, &phases);
    ASSERT_EQ(second.error, std::nullopt) << second.error->description().toStdString();
    EXPECT_EQ(second.folder, first.folder);
    EXPECT_EQ(readFile(first.folder + u"/c.txt"_s), "new\n") << "the new commit was pulled";
    ASSERT_FALSE(phases.empty());
    EXPECT_EQ(phases.front(), "Updating owner/name");
    EXPECT_EQ(std::find(phases.begin(), phases.end(), "Cloning owner/name"), phases.end());
    EXPECT_EQ(RepositoryCloner::downloaded(), QStringList { first.folder });
}

TEST_F(Download, NamedBranchIsClonedAndKeptUpToDate)
{
    const CloneOutcome first = fetch(u"https://github.com/owner/name/tree/feature/x"_s);
    ASSERT_EQ(first.error, std::nullopt) << first.error->description().toStdString();
    EXPECT_EQ(head(first.folder), u"feature/x"_s);
    EXPECT_TRUE(QFile::exists(first.folder + u"/feature.txt"_s));

    publish(u"feature/x"_s, u"later.txt"_s);
    const CloneOutcome second = fetch(u"owner/name/tree/feature/x"_s);
    ASSERT_EQ(second.error, std::nullopt) << second.error->description().toStdString();
    EXPECT_EQ(head(first.folder), u"feature/x"_s);
    EXPECT_TRUE(QFile::exists(first.folder + u"/later.txt"_s));
}

// Each update checks out the branch named, and brings that branch up to date, even one that was
// checked out before and left behind since.
TEST_F(Download, UpdateNamingAnotherBranchSwitchesToItUpToDate)
{
    ASSERT_EQ(fetch(u"owner/name/tree/dev"_s).error, std::nullopt);
    const CloneOutcome onMain = fetch(u"owner/name/tree/main"_s);
    ASSERT_EQ(onMain.error, std::nullopt) << onMain.error->description().toStdString();
    EXPECT_EQ(head(onMain.folder), u"main"_s);
    publish(u"dev"_s, u"dev.txt"_s);
    const CloneOutcome onDev = fetch(u"owner/name/tree/dev"_s);
    ASSERT_EQ(onDev.error, std::nullopt) << onDev.error->description().toStdString();
    EXPECT_EQ(head(onDev.folder), u"dev"_s);
    EXPECT_TRUE(QFile::exists(onDev.folder + u"/dev.txt"_s));
    EXPECT_FALSE(QFile::exists(onDev.folder + u"/feature.txt"_s));
}

// A tag checks out no branch: there is nothing to pull, and the update is only the fetch.
TEST_F(Download, TagIsClonedAndUpdated)
{
    m_source.git({ u"tag"_s, u"v1"_s, u"HEAD~1"_s });
    m_source.git({ u"push"_s, u"-q"_s, bare(), u"v1"_s });
    for (int time = 0; time < 2; ++time) {
        SCOPED_TRACE(time);
        const CloneOutcome outcome = fetch(u"https://github.com/owner/name/tree/v1"_s);
        ASSERT_EQ(outcome.error, std::nullopt) << outcome.error->description().toStdString();
        EXPECT_EQ(head(outcome.folder), u"HEAD"_s);
        EXPECT_TRUE(QFile::exists(outcome.folder + u"/a.txt"_s));
        EXPECT_FALSE(QFile::exists(outcome.folder + u"/b.txt"_s));
    }
}

namespace {

struct FailureCase {
    const char* name;
    const char* text;
    bool cloneFirst; // the repository was downloaded before
    const char* description;
};

void PrintTo(const FailureCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class DownloadFailure : public Download, public testing::WithParamInterface<FailureCase> { };

TEST_P(DownloadFailure, SaysWhyAndLeavesNoFolderBehind)
{
    const FailureCase& row = GetParam();
    if (row.cloneFirst) {
        ASSERT_EQ(fetch(u"owner/name"_s).error, std::nullopt);
    }
    const CloneOutcome outcome = fetch(QString::fromUtf8(row.text));
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_EQ(outcome.error->kind, CloneError::Kind::failed);
    EXPECT_EQ(outcome.error->description().toStdString(), row.description);
    EXPECT_EQ(outcome.folder, QString());
    EXPECT_EQ(RepositoryCloner::downloaded(),
        row.cloneFirst ? QStringList { m_root + u"/github.com/owner/name"_s } : QStringList {});
    if (!row.cloneFirst) {
        EXPECT_EQ(
            QDir(m_root).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList {})
            << "not even the host's and owner's folders stay";
    }
}

INSTANTIATE_TEST_SUITE_P(Table, DownloadFailure,
    testing::Values(FailureCase { "missingRepository", "owner/missing", false, "No such repository." },
        FailureCase {
            "missingBranch", "owner/name/tree/nobranch", false, "That repository has no branch nobranch." },
        FailureCase { "missingBranchOnUpdate", "owner/name/tree/nobranch", true,
            "That repository has no branch nobranch." }),
    rowName);

namespace {

struct CancelCase {
    const char* name;
    bool cloneFirst;
    bool afterGitSpoke; // stop once git reported progress, rather than at the first report
};

void PrintTo(const CancelCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class DownloadCancel : public Download, public testing::WithParamInterface<CancelCase> { };

TEST_P(DownloadCancel, StopsGitAndKeepsOnlyAFinishedClone)
{
    const CancelCase& row = GetParam();
    if (row.cloneFirst) {
        ASSERT_EQ(fetch(u"owner/name"_s).error, std::nullopt);
        publish(u"main"_s, u"c.txt"_s); // something to fetch, so that git reports progress
    }
    Steps phases;
    const CloneOutcome outcome = fetch(
        u"owner/name"_s, &phases, [&] { return row.afterGitSpoke ? phases.size() >= 2 : !phases.empty(); });
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_EQ(outcome.error->kind, CloneError::Kind::cancelled);
    EXPECT_EQ(outcome.error->description(), u"Download cancelled."_s);
    const QString folder = m_root + u"/github.com/owner/name"_s;
    if (row.cloneFirst) {
        EXPECT_TRUE(RepositoryCloner::isClone(folder)) << "an update stopped keeps the clone";
        EXPECT_EQ(readFile(folder + u"/a.txt"_s), "one\n");
    } else {
        EXPECT_FALSE(QFileInfo::exists(folder)) << "a clone stopped leaves nothing";
        EXPECT_FALSE(QFileInfo::exists(m_root + u"/github.com"_s));
    }
    // The next download starts afresh, or updates.
    const CloneOutcome again = fetch(u"owner/name"_s);
    ASSERT_EQ(again.error, std::nullopt) << again.error->description().toStdString();
    EXPECT_EQ(readFile(folder + u"/b.txt"_s), "two\n");
}

INSTANTIATE_TEST_SUITE_P(Table, DownloadCancel,
    testing::Values(CancelCase { "cloneBeforeGitStarts", false, false },
        CancelCase { "cloneWhileGitRuns", false, true }, CancelCase { "updateBeforeGitStarts", true, false },
        CancelCase { "updateWhileGitRuns", true, true }),
    rowName);

TEST_F(Download, FolderInTheWayIsLeftAloneAndNamed)
{
    const QString folder = m_root + u"/github.com/owner/name"_s;
    m_temp.write(folder.mid(m_temp.path().size() + 1) + u"/notes.txt"_s, "mine\n");
    const CloneOutcome outcome = fetch(u"owner/name"_s);
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_EQ(outcome.error->kind, CloneError::Kind::failed);
    EXPECT_TRUE(outcome.error->description().startsWith(folder + u" is in the way"_s))
        << outcome.error->description().toStdString();
    EXPECT_EQ(readFile(folder + u"/notes.txt"_s), "mine\n");
}

TEST_F(Download, EmptyFolderLeftBeforeIsClonedInto)
{
    const QString folder = m_root + u"/github.com/owner/name"_s;
    ASSERT_TRUE(QDir().mkpath(folder));
    const CloneOutcome outcome = fetch(u"owner/name"_s);
    ASSERT_EQ(outcome.error, std::nullopt) << outcome.error->description().toStdString();
    EXPECT_EQ(readFile(folder + u"/a.txt"_s), "one\n");
}

TEST_F(Download, DownloadedListsTheClonesThreeLevelsDown)
{
    m_source.git(
        { u"clone"_s, u"-q"_s, u"--bare"_s, m_source.path(), m_temp.path(u"bares/other/lib.git"_s) });
    ASSERT_EQ(fetch(u"owner/name"_s).error, std::nullopt);
    ASSERT_EQ(fetch(u"other/lib"_s).error, std::nullopt);
    // Folders that are no clones, or not where a clone goes, are not listed.
    QDir().mkpath(m_root + u"/github.com/owner/empty"_s);
    m_temp.write(QDir(m_temp.path()).relativeFilePath(m_root) + u"/github.com/owner/.git"_s);
    m_temp.write(QDir(m_temp.path()).relativeFilePath(m_root) + u"/host/a/b/c/.git"_s);
    EXPECT_EQ(RepositoryCloner::downloaded(),
        (QStringList { m_root + u"/github.com/other/lib"_s, m_root + u"/github.com/owner/name"_s }));
}

TEST_F(Download, RepositoryNotMadeByParseIsRefused)
{
    RemoteRepository climbing { u"https://github.com/../x.git"_s, u"github.com"_s, u".."_s, u"x"_s, {} };
    RemoteRepository otherAddress { u"ext::sh -c touch% x"_s, u"github.com"_s, u"owner"_s, u"name"_s, {} };
    RemoteRepository optionBranch { u"https://github.com/owner/name.git"_s, u"github.com"_s, u"owner"_s,
        u"name"_s, u"--upload-pack=touch x"_s };
    for (const RemoteRepository& repository : { climbing, otherAddress, optionBranch }) {
        SCOPED_TRACE(repository.cloneURL.toStdString());
        const CloneOutcome outcome = RepositoryCloner::fetch(repository);
        ASSERT_TRUE(outcome.error.has_value());
        EXPECT_EQ(outcome.error->kind, CloneError::Kind::badURL);
    }
    EXPECT_EQ(QDir(m_root).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList {});
}

TEST_F(Download, WritesNothingOutsideTheStorageRoot)
{
    const auto before = outsideTheRoot();
    EXPECT_EQ(fetch(u"owner/name"_s).error, std::nullopt);
    EXPECT_EQ(fetch(u"owner/name/tree/dev"_s).error, std::nullopt);
    EXPECT_TRUE(fetch(u"owner/missing"_s).error.has_value());
    bool stop = false;
    EXPECT_TRUE(fetch(u"owner/name"_s, nullptr, [&] { return std::exchange(stop, true); }).error.has_value());
    m_source.git(
        { u"clone"_s, u"-q"_s, u"--bare"_s, m_source.path(), m_temp.path(u"bares/other/lib.git"_s) });
    const auto withTheNewBare = outsideTheRoot();
    EXPECT_TRUE(fetch(u"other/lib"_s, nullptr, [&] { return true; }).error.has_value());
    EXPECT_EQ(outsideTheRoot(), withTheNewBare);
    auto expected = withTheNewBare;
    std::erase_if(
        expected, [&](const auto& entry) { return entry.first.find("/bares/other") != std::string::npos; });
    EXPECT_EQ(expected, before);
}
