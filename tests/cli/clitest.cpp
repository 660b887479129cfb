#include "testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace {

struct Outcome {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Outcome korvane(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(KORVANE_BINARY), arguments);
    process.waitForFinished(-1);
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        process.readAllStandardOutput(), process.readAllStandardError() };
}

QString dataPath(const QString& name)
{
    return QStringLiteral(KORVANE_TEST_DATA "/") + name;
}

// Copies a checked-in case folder into a temporary folder of the same name, with fixed times.
QString copyCase(const TempFolder& temp, const QString& name)
{
    const QString from = dataPath(name);
    QDirIterator it(from, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        temp.write(name + u'/' + QDir(from).relativeFilePath(file), readFile(file));
    }
    temp.touchAll(1700000000);
    return temp.path(name);
}

// Compares with tests/data/<expected>; on a mismatch writes <expected>.actual beside it.
void expectGolden(const QByteArray& actual, const QString& expected)
{
    const QString path = dataPath(expected);
    if (qEnvironmentVariableIsSet("KORVANE_UPDATE_GOLDEN")) {
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(actual);
        return;
    }
    const QByteArray want = readFile(path);
    QFile::remove(path + QStringLiteral(".actual"));
    if (actual == want)
        return;
    QFile out(path + QStringLiteral(".actual"));
    if (out.open(QIODevice::WriteOnly))
        out.write(actual);
    QProcess diff;
    diff.start(QStringLiteral("diff"), { QStringLiteral("-u"), path, path + QStringLiteral(".actual") });
    diff.waitForFinished(-1);
    ADD_FAILURE() << "output differs from " << expected.toStdString()
                  << " (KORVANE_UPDATE_GOLDEN=1 rewrites it)\n"
                  << diff.readAllStandardOutput().toStdString();
}

struct GoldenCase {
    const char* name;
    const char* folder;
    const char* flags;
    const char* expected;
};

void PrintTo(const GoldenCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class ScanGolden : public testing::TestWithParam<GoldenCase> { };

TEST_P(ScanGolden, PrintsWhatTheExpectedFileHolds)
{
    TempFolder temp;
    const QString folder = copyCase(temp, QString::fromLatin1(GetParam().folder));
    QStringList arguments { QStringLiteral("scan"), folder };
    arguments += QString::fromLatin1(GetParam().flags).split(u' ', Qt::SkipEmptyParts);
    const Outcome run = korvane(arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, QByteArray()) << "no progress bar when standard error is not a terminal";
    expectGolden(QByteArray(run.out).replace(QFile::encodeName(folder), "FOLDER"),
        QString::fromLatin1(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Cases, ScanGolden,
    testing::Values(GoldenCase { "summary", "scan-basic", "", "scan-basic.expected" },
        GoldenCase { "json", "scan-basic", "--json", "scan-basic-json.expected" }),
    [](const auto& info) { return std::string(info.param.name); });

struct UsageCase {
    const char* name;
    QStringList arguments;
    int exitCode;
    const char* out; // expected start of standard output
    const char* err; // expected start of standard error
};

void PrintTo(const UsageCase& row, std::ostream* out)
{
    *out << row.name;
}

class CommandLineUsage : public testing::TestWithParam<UsageCase> { };

TEST_P(CommandLineUsage, AnswersWithOneClearMessageAndTheRightStatus)
{
    const Outcome run = korvane(GetParam().arguments);
    EXPECT_EQ(run.exitCode, GetParam().exitCode);
    EXPECT_TRUE(run.out.startsWith(GetParam().out)) << run.out.toStdString();
    EXPECT_TRUE(run.err.startsWith(GetParam().err)) << run.err.toStdString();
    if (GetParam().exitCode != 0) {
        EXPECT_EQ(run.out, QByteArray()) << "nothing on standard output after a failure";
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CommandLineUsage,
    testing::Values(UsageCase { "missingFolder", { QStringLiteral("scan"), QStringLiteral("/no/such") }, 1,
                        "", "/no/such is not a folder.\n" },
        UsageCase { "jsonOfMissingFolder",
            { QStringLiteral("scan"), QStringLiteral("--json"), QStringLiteral("/no/such") }, 1, "",
            "/no/such is not a folder.\n" },
        UsageCase { "fileNotFolder", { QStringLiteral("scan"), QStringLiteral(KORVANE_BINARY) }, 1, "",
            KORVANE_BINARY " is not a folder.\n" },
        UsageCase { "noPath", { QStringLiteral("scan") }, 2, "", "korvane: usage: korvane scan PATH" },
        UsageCase { "twoPaths", { QStringLiteral("scan"), QStringLiteral("a"), QStringLiteral("b") }, 2, "",
            "korvane: usage: korvane scan PATH" },
        UsageCase { "unknownOption",
            { QStringLiteral("scan"), QStringLiteral("."), QStringLiteral("--bogus") }, 2, "",
            "korvane: unknown option --bogus for scan" },
        UsageCase { "unknownCommand", { QStringLiteral("frobnicate") }, 2, "",
            "korvane: unknown command \"frobnicate\"" },
        UsageCase { "nothing", {}, 2, "", "korvane: no command given" },
        UsageCase { "version", { QStringLiteral("--version") }, 0, "korvane " KORVANE_VERSION "\n", "" },
        UsageCase { "help", { QStringLiteral("--help") }, 0, "Usage: korvane COMMAND", "" },
        UsageCase { "commandHelp", { QStringLiteral("scan"), QStringLiteral("--help") }, 0,
            "Usage: korvane scan PATH [--json]", "" }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ScanCommand, JsonOfAHostileRepositoryIsRightAndRunsNothingItNames)
{
    TempFolder outside;
    const QString marker = outside.path(QStringLiteral("marker"));
    GitRepo repo;
    repo.write(QStringLiteral(".gitattributes"), "*.txt filter=x\n");
    repo.write(QStringLiteral("a.txt"), "one\n");
    repo.write(QStringLiteral("b.c"), "int b;\n");
    repo.commitAll(QStringLiteral("one"), 1700000000);
    repo.git({ QStringLiteral("config"), QStringLiteral("core.fsmonitor"), u"touch '" + marker + u"'" });
    repo.git({ QStringLiteral("config"), QStringLiteral("filter.x.clean"), u"touch '" + marker + u"'; cat" });
    repo.write(QStringLiteral("a.txt"), "one\ntwo\n");
    repo.write(QStringLiteral("new.md"), "# new\n");

    const Outcome run = korvane({ QStringLiteral("scan"), QStringLiteral("--json"), repo.path() });
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_FALSE(QFile::exists(marker)) << "the scan ran a program the repository named";
    QJsonParseError error;
    const QJsonObject json = QJsonDocument::fromJson(run.out, &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    EXPECT_EQ(json[u"isGit"].toBool(), true);
    EXPECT_EQ(json[u"branch"].toString(), u"main");
    EXPECT_EQ(json[u"peakCommits"].toInt(), 1);
    QHash<QString, QJsonObject> files;
    for (const QJsonValue& child : json[u"root"][u"children"].toArray())
        files.insert(child[u"relativePath"].toString(), child.toObject());
    EXPECT_EQ(files.value(QStringLiteral("a.txt"))[u"gitStatus"].toString(), u"modified");
    EXPECT_EQ(files.value(QStringLiteral("a.txt"))[u"lines"].toInt(), 2);
    EXPECT_EQ(files.value(QStringLiteral("a.txt"))[u"lastCommit"].toInteger(), 1700000000);
    EXPECT_EQ(files.value(QStringLiteral("new.md"))[u"gitStatus"].toString(), u"untracked");
    EXPECT_TRUE(files.value(QStringLiteral("b.c"))[u"gitStatus"].isNull());
    EXPECT_EQ(files.value(QStringLiteral("b.c"))[u"commits"].toInt(), 1);
    EXPECT_EQ(json[u"root"][u"changedCount"].toInt(), 2);

    // The same repository does run both programs for a plain git status.
    repo.git({ QStringLiteral("status"), QStringLiteral("--porcelain") });
    EXPECT_TRUE(QFile::exists(marker));
}
