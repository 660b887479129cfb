// The window among the rest of the desktop: what it remembers between runs in its settings file,
// and files handed to the user's editor or to the program for their type.

#include "ui/desktop.h"
#include "display.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// --- the editor's command line ---------------------------------------------------------------

struct EditorCase {
    const char* name;
    const char* editor; // KORVANE_EDITOR
    int line;
    QStringList command;
};

void PrintTo(const EditorCase& c, std::ostream* os)
{
    *os << c.name;
}

class EditorCommand : public testing::TestWithParam<EditorCase> { };

TEST_P(EditorCommand, PutsTheFileAndTheLineWhereTheEditorTakesThem)
{
    const EditorCase& c = GetParam();
    EXPECT_EQ(Desktop::editorCommand(QString::fromUtf8(c.editor), u"/src/a b.c"_s, c.line), c.command);
}

INSTANTIATE_TEST_SUITE_P(Table, EditorCommand,
    testing::Values(EditorCase { "vimTakesPlusLine", "vim", 12, { u"vim"_s, u"+12"_s, u"/src/a b.c"_s } },
        EditorCase {
            "aPathToNvim", "/usr/bin/nvim -p", 3, { u"/usr/bin/nvim"_s, u"-p"_s, u"+3"_s, u"/src/a b.c"_s } },
        EditorCase {
            "codeTakesGoto", "code --wait", 7, { u"code"_s, u"--wait"_s, u"--goto"_s, u"/src/a b.c:7"_s } },
        EditorCase { "sublimeTakesFileColonLine", "subl", 7, { u"subl"_s, u"/src/a b.c:7"_s } },
        EditorCase { "anUnknownEditorGetsTheFileAlone", "kwrite", 7, { u"kwrite"_s, u"/src/a b.c"_s } },
        EditorCase { "noLineGivesTheFileAlone", "vim", 0, { u"vim"_s, u"/src/a b.c"_s } },
        EditorCase { "placeholdersAreFilledAndNothingAdded", "\"my editor\" --line={line} {file}", 9,
            { u"my editor"_s, u"--line=9"_s, u"/src/a b.c"_s } },
        EditorCase { "aPlaceholderLineWithoutALineIsTheFirst", "ed -l {line} {file}", 0,
            { u"ed"_s, u"-l"_s, u"1"_s, u"/src/a b.c"_s } },
        EditorCase { "blankNamesNothing", "   ", 4, {} }),
    rowName);

// --- the programs for a type -----------------------------------------------------------------

// The system's MIME types, which are looked up in the data folders too.
void shareMimeTypes(const TempFolder& home)
{
    home.makeFolder(u"data"_s);
    QFile::link(u"/usr/share/mime"_s, home.path(u"data/mime"_s));
}

// A desktop's data and configuration folders of the test's own, set for as long as it lives.
class DesktopFolders : public TempFolder {
public:
    DesktopFolders()
    {
        for (const char* name : { "XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS" })
            m_saved.append({ name, qgetenv(name) });
        qputenv("XDG_DATA_HOME", path(u"home-data"_s).toUtf8());
        qputenv("XDG_DATA_DIRS", path(u"data"_s).toUtf8());
        qputenv("XDG_CONFIG_HOME", path(u"home-config"_s).toUtf8());
        qputenv("XDG_CONFIG_DIRS", path(u"config"_s).toUtf8());
        shareMimeTypes(*this);
    }
    ~DesktopFolders()
    {
        for (const auto& [name, value] : m_saved)
            qputenv(name, value);
    }

private:
    QList<std::pair<const char*, QByteArray>> m_saved;
};

TEST(Handlers, AreTheInstalledEntriesListedForTheTypeOrATypeItDerivesFrom)
{
    DesktopFolders desktop;
    desktop.write(u"data/applications/ed.desktop"_s, "[Desktop Entry]\n");
    desktop.write(u"data/applications/kde4/kate.desktop"_s, "[Desktop Entry]\n");
    desktop.write(u"home-data/applications/viewer.desktop"_s, "[Desktop Entry]\n");
    desktop.write(u"data/applications/mimeinfo.cache"_s,
        "[MIME Cache]\ntext/plain=ed.desktop;gone.desktop;\ntext/x-csrc=kde4-kate.desktop;\n"
        "image/png=viewer.desktop;\n");
    desktop.write(u"home-config/mimeapps.list"_s,
        "[Removed Associations]\ntext/markdown=ed.desktop;\n[Added "
        "Associations]\nimage/png=viewer.desktop;\n");

    // C source derives from plain text; an entry that is not installed is left out.
    EXPECT_EQ(Desktop::handlers(u"text/x-csrc"_s), (QStringList { u"kde4-kate.desktop"_s, u"ed.desktop"_s }));
    EXPECT_EQ(Desktop::handlers(u"image/png"_s), QStringList { u"viewer.desktop"_s });
    EXPECT_TRUE(Desktop::handlers(u"application/x-sharedlib"_s).isEmpty());
    EXPECT_TRUE(Desktop::handlers(u"inode/directory"_s).isEmpty());
}

// --- the window, run after run -----------------------------------------------------------------

// Runs the window on a folder with keys, settings in `config`; the state it leaves.
QJsonObject runWindow(const QString& folder, const QString& keys, const QString& config,
    QHash<QString, QString> variables = {}, Outcome* outcome = nullptr)
{
    TempFolder out;
    variables.insert(u"XDG_CONFIG_HOME"_s, config);
    variables.insert(u"KORVANE_STATE"_s, out.path(u"state.json"_s));
    if (!keys.isEmpty())
        variables.insert(u"KORVANE_KEYS"_s, keys);
    const Outcome run = korvaneOnDisplay({ folder }, variables);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    if (outcome)
        *outcome = run;
    return QJsonDocument::fromJson(readFile(out.path(u"state.json"_s))).object();
}

QString settingsFile(const TempFolder& config)
{
    return config.path(u"Korvane/Korvane.conf"_s);
}

class Plain : public TempFolder {
public:
    Plain()
    {
        write(u"main.c"_s, "int main(void) { return needle; }\n");
        write(u"notes/plan.md"_s, "# plan\n\nfind the needle\nand the needle again\n");
    }
};

class Repository : public GitRepo {
public:
    Repository()
    {
        write(u"main.c"_s, "int main(void) { return 0; }\n");
        commitAll(u"first"_s);
    }
};

TEST(Remembering, TheWindowComesBackAsItWasLeft)
{
    Plain plain;
    TempFolder config;
    const QJsonObject left
        = runWindow(plain.path(), u"t c [ }"_s, config.path(), { { u"KORVANE_SIZE"_s, u"1000x640"_s } });
    ASSERT_EQ(left[u"colorMode"_s], u"age"_s);

    const QJsonObject back = runWindow(plain.path(), {}, config.path());
    EXPECT_FALSE(back[u"dark"_s].toBool());
    EXPECT_EQ(back[u"colorMode"_s], u"age"_s);
    EXPECT_EQ(back[u"railMode"_s], u"expanded"_s);
    EXPECT_EQ(back[u"drawerWidth"_s], 620);
    // The window grew to hold the wider rail and drawer; it comes back at that size.
    EXPECT_EQ(back[u"windowSize"_s], left[u"windowSize"_s]);
    EXPECT_EQ(back[u"windowSize"_s].toArray().at(1), 640);
    EXPECT_EQ(back[u"recents"_s], QJsonArray { QDir(plain.path()).absolutePath() });

    // Forgotten: the defaults again, and no recent folder.
    const Outcome reset
        = korvaneOnDisplay({ u"--reset-settings"_s }, { { u"XDG_CONFIG_HOME"_s, config.path() } }, false);
    EXPECT_EQ(reset.exitCode, 0) << reset.err.toStdString();
    EXPECT_FALSE(QFile::exists(settingsFile(config)));
    const QJsonObject fresh = runWindow(plain.path(), {}, config.path());
    EXPECT_TRUE(fresh[u"dark"_s].toBool());
    EXPECT_EQ(fresh[u"colorMode"_s], u"language"_s);
    EXPECT_EQ(fresh[u"drawerWidth"_s], 340);
}

// Churn reads git: a folder without it shows languages, and the next repository churn again.
TEST(Remembering, AColouringThatReadsGitWaitsForTheNextRepository)
{
    Plain plain;
    Repository repository;
    TempFolder config;
    ASSERT_EQ(runWindow(repository.path(), u"c c"_s, config.path())[u"colorMode"_s], u"churn"_s);
    EXPECT_EQ(runWindow(plain.path(), {}, config.path())[u"colorMode"_s], u"language"_s);
    EXPECT_EQ(runWindow(repository.path(), {}, config.path())[u"colorMode"_s], u"churn"_s);
}

// A window that opens coloured by churn draws its city before git has read the history, and colours
// it by the commits once they arrive: in the end as a snapshot, made from the whole scan, colours it.
TEST(Remembering, AChurnCityOpenedWhileItsCommitsAreReadEndsColouredAsTheWholeScanColoursIt)
{
    GitRepo repository;
    repository.commitMany(3000);
    TempFolder config;
    ASSERT_EQ(runWindow(repository.path(), u"c c"_s, config.path())[u"colorMode"_s], u"churn"_s);

    Outcome run;
    const QJsonObject window = runWindow(repository.path(), {}, config.path(),
        { { u"KORVANE_TIMINGS"_s, u"1"_s }, { u"KORVANE_SIZE"_s, u"1000x640"_s } }, &run);
    EXPECT_FALSE(window[u"readingHistory"_s].toBool());
    // Each moment is told once. Which comes first depends on the machine: a fast one may finish the
    // log before the first frame; the state tests hold the order in which the tree and commits arrive.
    EXPECT_EQ(run.err.count("first city drawn"), 1) << run.err.toStdString();
    EXPECT_EQ(run.err.count("commits read"), 1) << run.err.toStdString();

    TempFolder out;
    const Outcome snapshot = korvaneOnDisplay({ u"snapshot"_s, repository.path(), u"--out"_s,
        out.path(u"s.png"_s), u"--size"_s, u"1000x640"_s, u"--color"_s, u"churn"_s, u"--print-state"_s });
    ASSERT_EQ(snapshot.exitCode, 0) << snapshot.err.toStdString();
    const QJsonArray legend = QJsonDocument::fromJson(snapshot.out).object()[u"legend"_s].toArray();
    ASSERT_GT(legend.size(), 1);
    EXPECT_TRUE(legend.first().toObject()[u"label"_s].toString().contains(u"commit"_s));
    EXPECT_EQ(window[u"legend"_s].toArray(), legend);
}

struct DamageCase {
    const char* name;
    const char* says;
    std::function<void(const TempFolder& config)> damage;
};

void PrintTo(const DamageCase& c, std::ostream* os)
{
    *os << c.name;
}

class Damaged : public testing::TestWithParam<DamageCase> { };

TEST_P(Damaged, SettingsGiveTheDefaultsAWarningAndStayAsTheyAre)
{
    const DamageCase& c = GetParam();
    Plain plain;
    TempFolder config;
    c.damage(config);
    const QByteArray before = readFile(settingsFile(config));
    Outcome run;
    const QJsonObject state = runWindow(plain.path(), u"t c"_s, config.path(), {}, &run);
    EXPECT_EQ(run.err.count('\n'), 1) << run.err.toStdString();
    EXPECT_TRUE(run.err.startsWith(
        QByteArray(QByteArray("korvane: the settings in ") + settingsFile(config).toUtf8())))
        << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(c.says)) << run.err.toStdString();
    EXPECT_TRUE(state[u"errorMessage"_s].toString().contains(QString::fromUtf8(c.says)));
    // The keys still work; nothing of them is written over the file.
    EXPECT_FALSE(state[u"dark"_s].toBool());
    EXPECT_EQ(state[u"colorMode"_s], u"age"_s);
    EXPECT_EQ(readFile(settingsFile(config)), before);
    EXPECT_TRUE(runWindow(plain.path(), {}, config.path())[u"dark"_s].toBool());
}

INSTANTIATE_TEST_SUITE_P(Table, Damaged,
    testing::Values(DamageCase { "garbage", "are damaged",
                        [](const TempFolder& config) {
                            config.write(
                                u"Korvane/Korvane.conf"_s, QByteArray("\0\x01\xff[window\n=\n\x80", 14));
                        } },
        DamageCase { "aFolderInItsPlace", "cannot be read",
            [](const TempFolder& config) { config.makeFolder(u"Korvane/Korvane.conf"_s); } }),
    rowName);

// Values the window would not write are passed over one by one; the rest still count.
TEST(Remembering, ValuesOfTheWrongKindAreLeftAtTheirDefaults)
{
    Plain plain;
    TempFolder config;
    config.write(u"Korvane/Korvane.conf"_s,
        "[window]\ntheme=purple\ncolor=age\nheight=tallest\ndrawerWidth=1e9\nrail=hidden\ndrawer=maybe\n");
    Outcome run;
    const QJsonObject state = runWindow(plain.path(), {}, config.path(), {}, &run);
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();
    EXPECT_TRUE(state[u"dark"_s].toBool());
    EXPECT_EQ(state[u"colorMode"_s], u"age"_s);
    EXPECT_EQ(state[u"heightMode"_s], u"lines"_s);
    EXPECT_EQ(state[u"drawerWidth"_s], 620);
    EXPECT_EQ(state[u"railMode"_s], u"hidden"_s);
    EXPECT_TRUE(state[u"showDrawer"_s].toBool());
}

// --- opening files -------------------------------------------------------------------------------

// No program on this desktop opens anything: its data and configuration folders are empty.
QHash<QString, QString> bareDesktop(const TempFolder& home)
{
    shareMimeTypes(home);
    return { { u"XDG_DATA_DIRS"_s, home.path(u"data"_s) }, { u"XDG_DATA_HOME"_s, home.path(u"home-data"_s) },
        { u"XDG_CONFIG_DIRS"_s, home.path(u"config"_s) }, { u"KORVANE_EDITOR"_s, QString() } };
}

TEST(OpenWith, AFileNothingOpensSaysSoInTheBanner)
{
    Plain plain;
    TempFolder home, config;
    const QJsonObject state
        = runWindow(plain.path(), u"/ m a i n Return o"_s, config.path(), bareDesktop(home));
    ASSERT_EQ(state[u"selection"_s], u"main.c"_s);
    EXPECT_EQ(state[u"errorMessage"_s], u"Nothing on this system opens .c files."_s);
}

// The editor the user named gets the file at the first line that holds the text searched for.
TEST(OpenWith, TheEditorOpensATextHitAtItsLine)
{
    Plain plain;
    TempFolder home, config;
    const QString editor = home.write(u"bin/vim"_s, "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args\"\n");
    QFile::setPermissions(editor, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QHash<QString, QString> variables = bareDesktop(home);
    variables.insert(u"KORVANE_EDITOR"_s, editor);
    const QJsonObject state
        = runWindow(plain.path(), u"/ n e e d l e Tab Return o"_s, config.path(), variables);
    ASSERT_EQ(state[u"selection"_s], u"notes/plan.md"_s) << "most lines first";
    EXPECT_EQ(state[u"errorMessage"_s], QJsonValue());
    ASSERT_TRUE(waitFor([&] { return QFile::exists(editor + u".args"_s); }, 5000));
    ASSERT_TRUE(waitFor([&] { return readFile(editor + u".args"_s).endsWith('\n'); }, 2000));
    EXPECT_EQ(readFile(editor + u".args"_s),
        "+3\n" + QDir(plain.path()).absoluteFilePath(u"notes/plan.md"_s).toUtf8() + '\n');
}

// Inside a walked-into file, the editor gets the file at the line of the part selected.
TEST(OpenWith, TheEditorOpensAPartAtItsLine)
{
    TempFolder folder, home, config;
    folder.write(u"tool.c"_s, "int first(void) { return 1; }\n\nint second(void)\n{\n  return first();\n}\n");
    const QString editor = home.write(u"bin/vim"_s, "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args\"\n");
    QFile::setPermissions(editor, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QHash<QString, QString> variables = bareDesktop(home);
    variables.insert(u"KORVANE_EDITOR"_s, editor);
    const QJsonObject state = runWindow(
        folder.path(), u"/ t o o l Return Return / s e c o n d Return o"_s, config.path(), variables);
    ASSERT_EQ(state[u"symbolFocus"_s][u"name"_s], u"second"_s);
    EXPECT_EQ(state[u"errorMessage"_s], QJsonValue());
    ASSERT_TRUE(waitFor([&] { return QFile::exists(editor + u".args"_s); }, 5000));
    ASSERT_TRUE(waitFor([&] { return readFile(editor + u".args"_s).endsWith('\n'); }, 2000));
    EXPECT_EQ(readFile(editor + u".args"_s),
        "+3\n" + QDir(folder.path()).absoluteFilePath(u"tool.c"_s).toUtf8() + '\n');
}

TEST(OpenWith, AnEditorThatCannotStartIsNamed)
{
    Plain plain;
    TempFolder home, config;
    QHash<QString, QString> variables = bareDesktop(home);
    variables.insert(u"KORVANE_EDITOR"_s, u"no-such-editor-anywhere --wait"_s);
    const QJsonObject state = runWindow(plain.path(), u"/ m a i n Return o"_s, config.path(), variables);
    EXPECT_EQ(state[u"errorMessage"_s],
        u"KORVANE_EDITOR names no-such-editor-anywhere, which cannot be started."_s);
}

} // namespace

namespace {

// What a user copies from the About box into a report: the build, Qt, and what draws (here Mesa's
// software renderer, as under every virtual display).
TEST(About, NamesTheBuildQtAndWhatDraws)
{
    Plain plain;
    TempFolder out;
    const Outcome run = korvaneOnDisplay(
        { u"snapshot"_s, plain.path(), u"--out"_s, out.path(u"a.png"_s), u"--print-state"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList lines = QJsonDocument::fromJson(run.out)[u"about"_s].toString().split(u'\n');
    ASSERT_EQ(lines.size(), 3) << lines.join(u" | "_s).toStdString();
    // The same version and commit as --version prints: "korvane 0.1.0 (abc1234)".
    const Outcome version = korvaneOnDisplay({ u"--version"_s });
    EXPECT_EQ(lines[0], u"K"_s + QString::fromUtf8(version.out).trimmed().mid(1));
    EXPECT_EQ(lines[1], u"Qt "_s + QString::fromLatin1(qVersion()) + u" on xcb"_s);
    EXPECT_TRUE(lines[2].startsWith(u"Drawn by llvmpipe"_s)) << lines[2].toStdString();
    EXPECT_TRUE(lines[2].contains(u", OpenGL "_s)) << lines[2].toStdString();
}

} // namespace
