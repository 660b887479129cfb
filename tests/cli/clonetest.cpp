#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

namespace {

struct CloneCase {
    const char* name;
    QStringList arguments; // after "clone"
    int exitCode;
    const char* out; // FOLDER stands for the clone's folder
    const char* err; // the start of standard error
};

void PrintTo(const CloneCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

// A bare repository stands in for the hosting service: the global configuration sends
// https://github.com/ to it. Standard error is no terminal here, so no progress is drawn.
class CloneCommand : public testing::TestWithParam<CloneCase> { };

TEST_P(CloneCommand, PrintsTheFolderOrOneLineSayingWhyNot)
{
    const CloneCase& row = GetParam();
    TempFolder temp;
    GitRepo source;
    source.write(u"a.txt"_s, "one\n");
    source.commitAll(u"one"_s);
    source.git({ u"clone"_s, u"-q"_s, u"--bare"_s, source.path(), temp.path(u"bares/owner/name.git"_s) });
    temp.write(u"gitconfig"_s,
        "[url \"file://" + QFile::encodeName(temp.path(u"bares"_s))
            + "/\"]\n\tinsteadOf = https://github.com/\n");
    const QHash<QString, QString> variables { { u"XDG_DATA_HOME"_s, temp.path(u"data"_s) },
        { u"GIT_CONFIG_GLOBAL"_s, temp.path(u"gitconfig"_s) }, { u"GIT_CONFIG_NOSYSTEM"_s, u"1"_s } };
    const QString folder = temp.path(u"data/Korvane/repositories/github.com/owner/name"_s);
    const QByteArray expected = QByteArray(row.out).replace("FOLDER", QFile::encodeName(folder));

    // Run twice: the second run updates what the first cloned, or fails the same way.
    for (int time = 0; time < 2; ++time) {
        SCOPED_TRACE(time);
        const Outcome run = runHeadless(
            QStringLiteral(KORVANE_BINARY), QStringList { u"clone"_s } + row.arguments, variables);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_EQ(run.out, expected);
        EXPECT_TRUE(run.err.startsWith(row.err)) << run.err.toStdString();
        if (row.exitCode == 1) {
            EXPECT_EQ(run.err.count('\n'), 1) << "one line";
        }
    }
    EXPECT_EQ(QFile::exists(folder + u"/a.txt"_s), row.exitCode == 0);
}

INSTANTIATE_TEST_SUITE_P(Table, CloneCommand,
    testing::Values(CloneCase { "pair", { u"owner/name"_s }, 0, "FOLDER\n", "" },
        CloneCase { "page", { u"https://github.com/owner/name.git"_s }, 0, "FOLDER\n", "" },
        CloneCase { "branch", { u"owner/name/tree/main"_s }, 0, "FOLDER\n", "" },
        CloneCase { "missing", { u"owner/missing"_s }, 1, "", "No such repository.\n" },
        CloneCase {
            "missingBranch", { u"owner/name/tree/gone"_s }, 1, "", "That repository has no branch gone.\n" },
        CloneCase {
            "localPath", { u"/tmp/x"_s }, 1, "", "\u201C/tmp/x\u201D isn\u2019t a repository URL.\n" },
        CloneCase {
            "climbing", { u"a/../../b"_s }, 1, "", "\u201Ca/../../b\u201D isn\u2019t a repository URL.\n" },
        CloneCase { "blank", { u" "_s }, 1, "", "\u201C \u201D isn\u2019t a repository URL.\n" },
        CloneCase { "noText", {}, 2, "", "korvane: usage: korvane clone URL\n\nUsage: korvane [PATH]" }),
    rowName);
