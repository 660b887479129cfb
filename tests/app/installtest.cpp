#include "installation.h"

#include "cli/commandline.h"

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFileInfo>
#include <QImageReader>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

const QString appId = QStringLiteral(KORVANE_APP_ID);

struct InstalledFile {
    const char* name;
    QString path; // below /usr
};

void PrintTo(const InstalledFile& row, std::ostream* out)
{
    *out << row.name;
}

// Fails the test when the build could not be installed.
#define ASSERT_INSTALLED() ASSERT_EQ(Installation::get().error().toStdString(), "")

// The lines "Key=value" of a desktop entry's main group.
QHash<QString, QString> desktopEntry(const QString& path)
{
    QHash<QString, QString> keys;
    for (const QByteArray& line : readFile(path).split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals > 0)
            keys.insert(QString::fromUtf8(line.left(equals)), QString::fromUtf8(line.mid(equals + 1)));
    }
    return keys;
}

} // namespace

class InstalledTree : public testing::TestWithParam<InstalledFile> { };

TEST_P(InstalledTree, HoldsTheFile)
{
    ASSERT_INSTALLED();
    const QFileInfo file(Installation::get().path(GetParam().path));
    EXPECT_TRUE(file.isFile()) << file.filePath().toStdString();
    EXPECT_GT(file.size(), 0);
}

INSTANTIATE_TEST_SUITE_P(Files, InstalledTree,
    testing::Values(InstalledFile { "program", u"bin/korvane"_s },
        InstalledFile { "desktopEntry", u"share/applications/"_s + appId + u".desktop"_s },
        InstalledFile { "metainfo", u"share/metainfo/"_s + appId + u".metainfo.xml"_s },
        InstalledFile { "scalableIcon", u"share/icons/hicolor/scalable/apps/"_s + appId + u".svg"_s },
        InstalledFile { "manPage", u"share/man/man1/korvane.1.gz"_s },
        InstalledFile { "bashCompletion", u"share/bash-completion/completions/korvane"_s },
        InstalledFile { "zshCompletion", u"share/zsh/vendor-completions/_korvane"_s },
        InstalledFile { "fishCompletion", u"share/fish/vendor_completions.d/korvane.fish"_s }),
    rowName);

TEST(InstalledTree, PutsNothingElsewhere)
{
    ASSERT_INSTALLED();
    // Everything below /usr, and only the program in bin: no libraries, headers or tests.
    const QString root = Installation::get().root();
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = QDir(root).relativeFilePath(it.next());
        EXPECT_TRUE(path.startsWith(u"usr/share/"_s) || path == u"usr/bin/korvane") << path.toStdString();
    }
}

class InstalledIcon : public testing::TestWithParam<int> { };

TEST_P(InstalledIcon, IsAPictureOfItsSize)
{
    ASSERT_INSTALLED();
    const int size = GetParam();
    const QString path
        = Installation::get().path(u"share/icons/hicolor/%1x%1/apps/"_s.arg(size) + appId + u".png"_s);
    QImageReader reader(path);
    EXPECT_EQ(reader.format(), "png") << path.toStdString();
    EXPECT_EQ(reader.size(), QSize(size, size));
}

INSTANTIATE_TEST_SUITE_P(Sizes, InstalledIcon, testing::Values(16, 32, 48, 64, 128, 256));

TEST(InstalledProgram, PrintsItsVersionAndTheCommitItWasBuiltFrom)
{
    ASSERT_INSTALLED();
    const Outcome version = run(Installation::get().path(u"bin/korvane"_s), { u"--version"_s });
    EXPECT_EQ(version.exitCode, 0);
    const QRegularExpressionMatch match = QRegularExpression(u"^korvane "_s
        + QRegularExpression::escape(QStringLiteral(KORVANE_VERSION)) + u"(?: \\(([0-9a-f]{7,40})\\))?\\n$"_s)
                                              .match(QString::fromUtf8(version.out));
    ASSERT_TRUE(match.hasMatch()) << version.out.toStdString();
    // Built from a checkout, it names a commit of that checkout (HEAD may have moved on since).
    const Outcome inside = run(
        u"git"_s, { u"-C"_s, QStringLiteral(KORVANE_SOURCE_DIR), u"rev-parse"_s, u"--show-toplevel"_s });
    if (inside.exitCode != 0
        || QFileInfo(QString::fromUtf8(inside.out.trimmed())).canonicalFilePath()
            != QFileInfo(QStringLiteral(KORVANE_SOURCE_DIR)).canonicalFilePath())
        GTEST_SKIP() << "the source is not a git checkout, so no commit is named";
    ASSERT_FALSE(match.captured(1).isEmpty()) << "no commit in " << version.out.toStdString();
    const Outcome commit = run(
        u"git"_s, { u"-C"_s, QStringLiteral(KORVANE_SOURCE_DIR), u"cat-file"_s, u"-t"_s, match.captured(1) });
    EXPECT_EQ(commit.out, "commit\n") << match.captured(1).toStdString();
}

TEST(InstalledProgram, RunsACommand)
{
    ASSERT_INSTALLED();
    const Outcome scan
        = run(Installation::get().path(u"bin/korvane"_s), { u"scan"_s, dataPath(u"scan-basic"_s) });
    EXPECT_EQ(scan.exitCode, 0) << scan.err.toStdString();
    EXPECT_TRUE(scan.out.startsWith("scan-basic\n")) << scan.out.toStdString();
}

TEST(InstalledDesktopEntry, StartsTheInstalledProgramOnAFolderWithItsIcon)
{
    ASSERT_INSTALLED();
    const QHash<QString, QString> entry
        = desktopEntry(Installation::get().path(u"share/applications/"_s + appId + u".desktop"_s));
    // Exec's program is found in the installed bin, and it is handed the folder.
    const QStringList exec = entry.value(u"Exec"_s).split(u' ');
    ASSERT_EQ(exec.size(), 2);
    EXPECT_TRUE(QFileInfo(Installation::get().path(u"bin/"_s + exec[0])).isExecutable())
        << exec[0].toStdString();
    EXPECT_EQ(exec[1], u"%f");
    EXPECT_TRUE(entry.value(u"MimeType"_s).split(u';').contains(u"inode/directory"));
    EXPECT_EQ(entry.value(u"Icon"_s), appId);
    EXPECT_EQ(entry.value(u"Terminal"_s), u"false");
}

TEST(InstalledMetainfo, DescribesThisVersionAndTheInstalledEntry)
{
    ASSERT_INSTALLED();
    const QString xml = QString::fromUtf8(
        readFile(Installation::get().path(u"share/metainfo/"_s + appId + u".metainfo.xml"_s)));
    EXPECT_TRUE(xml.contains(u"<id>"_s + appId + u"</id>"_s));
    EXPECT_TRUE(xml.contains(u"<release version=\""_s + QStringLiteral(KORVANE_VERSION) + u'"'))
        << "the release of this version";
    const QRegularExpressionMatch launchable
        = QRegularExpression(u"<launchable type=\"desktop-id\">([^<]+)</launchable>"_s).match(xml);
    ASSERT_TRUE(launchable.hasMatch());
    EXPECT_TRUE(
        QFileInfo::exists(Installation::get().path(u"share/applications/"_s + launchable.captured(1))));
    EXPECT_TRUE(xml.contains(u"<binary>korvane</binary>"_s));
}

struct Validator {
    const char* name;
    const char* program;
    QStringList arguments; // the installed file's path below /usr follows them
    QString file;
};

void PrintTo(const Validator& row, std::ostream* out)
{
    *out << row.name;
}

class InstalledMetadata : public testing::TestWithParam<Validator> { };

TEST_P(InstalledMetadata, PassesItsValidator)
{
    ASSERT_INSTALLED();
    const QString program = QString::fromLatin1(GetParam().program);
    if (!installed(program))
        GTEST_SKIP() << GetParam().program << " is not installed";
    const QString path = GetParam().file.isEmpty() ? Installation::get().path({})
                                                   : Installation::get().path(GetParam().file);
    const Outcome check = run(program, GetParam().arguments + QStringList { path });
    EXPECT_EQ(check.exitCode, 0) << check.out.toStdString() << check.err.toStdString();
    // desktop-file-validate prints its warnings and exits with 0 all the same.
    if (program == u"desktop-file-validate") {
        EXPECT_EQ(check.out + check.err, QByteArray());
    }
}

INSTANTIATE_TEST_SUITE_P(Validators, InstalledMetadata,
    testing::Values(Validator { "desktopEntry", "desktop-file-validate", {},
                        u"share/applications/"_s + appId + u".desktop"_s },
        Validator { "metainfo", "appstreamcli", { u"validate"_s, u"--no-net"_s, u"--strict"_s },
            u"share/metainfo/"_s + appId + u".metainfo.xml"_s },
        Validator { "wholeTree", "appstreamcli", { u"validate-tree"_s, u"--no-net"_s, u"--strict"_s }, {} }),
    rowName);

TEST(ManPage, RendersWithoutWarningsAndShowsEveryCommandAndOption)
{
    ASSERT_INSTALLED();
    if (!installed(u"man"_s))
        GTEST_SKIP() << "man is not installed";
    QProcess man;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"MANWIDTH"_s, u"2000"_s); // a synopsis on one line
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    man.setProcessEnvironment(environment);
    man.start(
        u"man"_s, { u"--warnings"_s, u"-l"_s, Installation::get().path(u"share/man/man1/korvane.1.gz"_s) });
    man.waitForFinished(-1);
    const QString page = QString::fromUtf8(man.readAllStandardOutput());
    EXPECT_EQ(man.exitCode(), 0);
    EXPECT_EQ(man.readAllStandardError(), QByteArray()) << "groff's warnings";
    for (const Cli::Command& command : Cli::commands()) {
        // Its synopsis as the table writes it, options and values kept together.
        EXPECT_TRUE(page.contains(u"korvane "_s + command.synopsis)) << command.synopsis.toStdString();
        EXPECT_TRUE(page.contains(command.summary.left(40))) << command.name.toStdString();
    }
    for (const Cli::TopLevelOption& option : Cli::topLevelOptions())
        EXPECT_TRUE(page.contains(option.name)) << option.name.toStdString();
}

// Every variable the program reads is explained, so a new one cannot go undocumented.
TEST(ManPage, ExplainsEveryVariableTheProgramReads)
{
    ASSERT_INSTALLED();
    const Outcome page
        = run(u"gzip"_s, { u"-dc"_s, Installation::get().path(u"share/man/man1/korvane.1.gz"_s) });
    ASSERT_EQ(page.exitCode, 0);
    const QString text = QString::fromUtf8(page.out).replace(u"\\-"_s, u"-"_s);
    const QRegularExpression section(
        u"\\.SH ENVIRONMENT\\n(.*?)\\.SH "_s, QRegularExpression::DotMatchesEverythingOption);
    const QString environment = section.match(text).captured(1);
    ASSERT_FALSE(environment.isEmpty());
    QSet<QString> read;
    QDirIterator it(QStringLiteral(KORVANE_SOURCE_DIR "/src"), { u"*.cpp"_s, u"*.h"_s }, QDir::Files,
        QDirIterator::Subdirectories);
    const QRegularExpression variable(u"\"((?:KORVANE|XDG)_[A-Z_]+)\""_s);
    while (it.hasNext()) {
        const QString source = QString::fromUtf8(readFile(it.next()));
        for (auto match = variable.globalMatch(source); match.hasNext();)
            read.insert(match.next().captured(1));
    }
    EXPECT_GE(read.size(), 8) << "the variables are found in the source";
    for (const QString& name : std::as_const(read))
        EXPECT_TRUE(environment.contains(name)) << name.toStdString();
}
