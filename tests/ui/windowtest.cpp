// The real window, run as a user's script would run it: korvane under a virtual display, driven by
// its start-up variables or the snapshot command, with the image and the state it leaves checked.

#include "display.h"
#include "state/keyrouter.h"

#include <gtest/gtest.h>

#include <QColor>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

namespace {

Outcome korvane(
    const QStringList& arguments, const QHash<QString, QString>& variables = {}, bool display = true)
{
    return korvaneOnDisplay(arguments, variables, display);
}

QJsonObject parse(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << json.toStdString();
    return document.object();
}

bool near(QColor a, QColor b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
        && std::abs(a.blue() - b.blue()) <= tolerance;
}

int countNear(const QImage& image, QColor colour, int tolerance)
{
    int found = 0;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2)
            found += near(image.pixelColor(x, y), colour, tolerance);
    }
    return found;
}

int distinctColours(const QImage& image)
{
    QSet<QRgb> seen;
    for (int y = 0; y < image.height(); y += 4) {
        for (int x = 0; x < image.width(); x += 4)
            seen.insert(image.pixel(x, y));
    }
    return int(seen.size());
}

// A small project with a few folders and files of different sizes and languages.
class Project : public TempFolder {
public:
    Project()
    {
        write(u"README.md"_s, "# project\n");
        for (int i = 0; i < 6; ++i) {
            write(u"src/core/unit%1.cpp"_s.arg(i), QByteArray("int x;\n").repeated(20 + i * 40));
            write(u"src/ui/view%1.js"_s.arg(i), QByteArray("let y;\n").repeated(10 + i * 25));
        }
        write(u"docs/guide.md"_s, QByteArray("text\n").repeated(60));
        write(u"tools/build.py"_s, QByteArray("pass\n").repeated(90));
    }
};

const QColor darkAccent(255, 79, 50);
const QColor lightPaper(255, 255, 255);

TEST(Window, SnapshotDrawsTheCityAndShowsTheSelectionInTheAccentColour)
{
    Project project;
    TempFolder out;
    const QString image = out.path(u"city.png"_s);
    const Outcome run = korvane({ u"snapshot"_s, project.path(), u"--out"_s, image, u"--size"_s,
        u"1200x800"_s, u"--keys"_s, u"Right"_s, u"--print-state"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject state = parse(run.out);
    EXPECT_EQ(state[u"mode"_s].toString(), u"city"_s);
    EXPECT_FALSE(state[u"selection"_s].isNull());
    EXPECT_TRUE(state[u"dark"_s].toBool());

    const QImage picture(image);
    ASSERT_FALSE(picture.isNull());
    EXPECT_EQ(picture.size(), QSize(1200, 800));
    EXPECT_GT(distinctColours(picture), 40);
    EXPECT_GT(countNear(picture, darkAccent, 24), 20);
}

// Without OpenGL the scene cannot be drawn; an image of the window without it would pass for a
// folder with nothing in it.
TEST(Window, ASnapshotThatCannotDrawTheSceneSaysSoAndWritesNoImage)
{
    Project project;
    TempFolder out;
    const QString image = out.path(u"city.png"_s);
    const Outcome run = korvane({ u"snapshot"_s, project.path(), u"--out"_s, image },
        { { u"QT_QPA_PLATFORM"_s, u"offscreen"_s } }, false);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(
        run.err.contains("korvane: could not draw the scene: no OpenGL context can be made on the platform "
                         "\"offscreen\".\n"))
        << run.err.toStdString();
    EXPECT_FALSE(QFile::exists(image));
}

struct ScriptCase {
    const char* name;
    const char* keys;
    // Expected fields of the state the keys leave.
    QHash<QString, QJsonValue> expected;
};

void PrintTo(const ScriptCase& c, std::ostream* os)
{
    *os << c.name;
}

class Script : public ::testing::TestWithParam<ScriptCase> { };

// The window itself, shown under the virtual display, with keys played from the environment; the
// state they leave, and the window's image in *picture.
QJsonObject playKeys(const QString& folder, const QString& keys, QImage* picture = nullptr,
    QHash<QString, QString> variables = {})
{
    TempFolder out;
    variables.insert({ { u"KORVANE_KEYS"_s, keys }, { u"KORVANE_SNAPSHOT"_s, out.path(u"w.png"_s) },
        { u"KORVANE_STATE"_s, out.path(u"state.json"_s) }, { u"KORVANE_SIZE"_s, u"1100x700"_s } });
    const Outcome run = korvane({ folder }, variables);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    if (picture)
        *picture = QImage(out.path(u"w.png"_s));
    return parse(readFile(out.path(u"state.json"_s)));
}

Project& sharedProject()
{
    static Project project;
    return project;
}

TEST_P(Script, KeysPlayedInTheWindowLeaveTheirState)
{
    const ScriptCase& c = GetParam();
    QImage picture;
    const QJsonObject state = playKeys(sharedProject().path(), QString::fromUtf8(c.keys), &picture);
    for (auto it = c.expected.cbegin(); it != c.expected.cend(); ++it)
        EXPECT_EQ(state[it.key()], it.value()) << it.key().toStdString();
    ASSERT_FALSE(picture.isNull());
    EXPECT_EQ(picture.size(), QSize(1100, 700));
}

INSTANTIATE_TEST_SUITE_P(Keys, Script,
    ::testing::Values(ScriptCase { "TreeWithoutDrawerAndKeySheet", "2 ] ?",
                          { { u"mode"_s, u"tree"_s }, { u"showDrawer"_s, false }, { u"showKeys"_s, true } } },
        ScriptCase { "ColourAndHeightCycleBothWays", "c c Shift+C h",
            { { u"colorMode"_s, u"age"_s }, { u"heightMode"_s, u"size"_s } } },
        ScriptCase { "RailCyclesAndDrawerWidens", "[ [ }",
            { { u"railMode"_s, u"hidden"_s }, { u"drawerWidth"_s, 620 } } },
        ScriptCase { "EscapeClearsTheSelection", "Right Escape", { { u"selection"_s, QJsonValue() } } },
        ScriptCase { "ThreeOnAPlainFolderSaysWhyAndStaysInTheCity", "3",
            { { u"errorMessage"_s, u"History needs a git repository."_s }, { u"mode"_s, u"city"_s } } },
        // Nothing behind the key sheet moves while it is up; "?" and Escape close it.
        ScriptCase { "TheKeySheetHoldsBackTheKeysBehindIt", "? Right 2 c",
            { { u"showKeys"_s, true }, { u"selection"_s, QJsonValue() }, { u"mode"_s, u"city"_s },
                { u"colorMode"_s, u"language"_s } } },
        ScriptCase { "QuestionMarkClosesTheKeySheetAgain", "? ? 2",
            { { u"showKeys"_s, false }, { u"mode"_s, u"tree"_s } } }),
    [](const auto& info) { return std::string(info.param.name); });

// The wide drawer lists a folder's largest files, biggest first, each a link to the file; the narrow
// one has no room for them.
TEST(Window, TheWideDrawerListsTheLargestFilesOfTheFolder)
{
    EXPECT_TRUE(playKeys(sharedProject().path(), {})[u"drawerLinks"_s].toArray().isEmpty());
    const QJsonArray links = playKeys(sharedProject().path(), u"}"_s)[u"drawerLinks"_s].toArray();
    ASSERT_EQ(links.size(), 10);
    EXPECT_EQ(links.first(), u"src/core/unit5.cpp"_s); // 220 lines
    EXPECT_EQ(links.at(1), u"src/core/unit4.cpp"_s); // 180 lines
}

// In a repository the drawer holds the newest commits of what it shows, read from git: the whole
// repository's at first, the selected file's once one is chosen, and none with the drawer closed.
TEST(Window, TheDrawerReadsTheNewestCommitsOfTheSelection)
{
    GitRepo repo;
    repo.write(u"a.c"_s, "one\n");
    repo.write(u"b.c"_s, "b\n");
    repo.commitAll(u"Add a and b"_s, 1700000000);
    repo.write(u"a.c"_s, "two\n");
    repo.commitAll(u"Change a"_s, 1700000100);
    repo.write(u"b.c"_s, "bb\n");
    repo.commitAll(u"Change b"_s, 1700000200);
    const auto subjects = [](const QJsonObject& state) {
        QStringList list;
        for (const QJsonValue& commit : state[u"recentCommits"_s][u"commits"_s].toArray())
            list << commit[u"subject"_s].toString();
        return list;
    };

    const QJsonObject opened = playKeys(repo.path(), u"}"_s);
    EXPECT_EQ(opened[u"recentCommits"_s][u"path"_s], u""_s);
    EXPECT_EQ(subjects(opened), (QStringList { u"Change b"_s, u"Change a"_s, u"Add a and b"_s }));

    const QJsonObject chosen = playKeys(repo.path(), u"} Right"_s);
    const QString file = chosen[u"selection"_s].toString();
    ASSERT_TRUE(file == u"a.c"_s || file == u"b.c"_s) << file.toStdString();
    EXPECT_EQ(chosen[u"recentCommits"_s][u"path"_s], file);
    EXPECT_EQ(subjects(chosen),
        file == u"a.c"_s ? (QStringList { u"Change a"_s, u"Add a and b"_s })
                         : (QStringList { u"Change b"_s, u"Add a and b"_s }));

    const QJsonObject closed = playKeys(repo.path(), u"] Right"_s);
    ASSERT_TRUE(closed[u"selection"_s].isString());
    EXPECT_NE(closed[u"recentCommits"_s][u"path"_s], closed[u"selection"_s]) << "the drawer is closed";
    EXPECT_TRUE(playKeys(sharedProject().path(), u"Right"_s)[u"recentCommits"_s].isNull()) << "no repository";
}

// The menus perform the key router's actions: every item that names an action names one the router
// implements, and shows its key. What cannot be asked for yet is there but disabled: playback
// outside the history view, and the parts of the program still to come.
TEST(Window, EveryMenuItemIsAnActionOfTheKeysAndOffersOnlyWhatCanBeDone)
{
    GitRepo repo;
    repo.write(u"a.c"_s, "int a;\n");
    repo.commitAll(u"Add a"_s);
    const auto items = [](const QJsonObject& state) {
        QHash<QString, bool> enabled;
        for (const QJsonValue& menu : state[u"menus"_s].toArray()) {
            for (const QJsonValue& item : menu[u"items"_s].toArray()) {
                if (!item[u"action"_s].isNull())
                    enabled.insert(item[u"action"_s].toString(), item[u"enabled"_s].toBool());
            }
        }
        return enabled;
    };
    const QJsonObject city = playKeys(repo.path(), {});
    QStringList titles;
    for (const QJsonValue& menu : city[u"menus"_s].toArray())
        titles << menu[u"title"_s].toString();
    EXPECT_EQ(titles, (QStringList { u"File"_s, u"View"_s, u"Go"_s, u"History"_s, u"Help"_s }));
    const QHash<QString, bool> inCity = items(city);
    ASSERT_GT(inCity.size(), 30);
    // Every action is one the router performs.
    for (auto item = inCity.cbegin(); item != inCity.cend(); ++item)
        EXPECT_TRUE(KeyRouter::knows(item.key())) << item.key().toStdString();
    EXPECT_TRUE(inCity.value(u"tree"_s));
    EXPECT_TRUE(inCity.value(u"keys"_s));
    EXPECT_FALSE(inCity.value(u"play"_s)) << "playback waits for the history view";
    EXPECT_FALSE(inCity.value(u"commitMid"_s));
    for (const char* always : { "picker", "remote", "closeFolder", "fullScreen", "preview" })
        EXPECT_TRUE(inCity.value(QString::fromUtf8(always))) << always;
    // The colourings are listed by name too, as the window's own items.
    QStringList colours;
    for (const QJsonValue& item : city[u"menus"_s][1][u"items"_s].toArray()) {
        if (item[u"title"_s].toString().startsWith(u"Colour › "_s))
            colours << item[u"title"_s].toString().mid(9);
    }
    EXPECT_EQ(colours,
        (QStringList { u"Next"_s, u"Previous"_s, u"Language"_s, u"Age"_s, u"Churn"_s, u"Status"_s }));

    const QHash<QString, bool> inHistory = items(playKeys(repo.path(), u"3"_s));
    EXPECT_TRUE(inHistory.value(u"play"_s));
    EXPECT_TRUE(inHistory.value(u"commitMid"_s)) << "the middle commit has no key: the menu is its way in";
}

// Folders beside the one opened: a repository, and two whose names share a start.
class Neighbours : public TempFolder {
public:
    Neighbours()
    {
        write(u"alpha/a.c"_s, "int a;\n");
        write(u"beta/b.c"_s, "int b;\n");
        write(u"betamax/tape.c"_s, "int tape;\n");
        write(u"betamax/more/deep.c"_s, "int deep;\n");
    }
};

// The picker's keys: it opens beside the folder, the arrows move and go in and back, typed letters
// narrow the list, Ctrl Return opens, Escape closes.
TEST(Window, ThePickersKeysChooseAndOpenAFolder)
{
    Neighbours folders;
    const QString alpha = folders.path(u"alpha"_s);
    const QJsonObject shown = playKeys(alpha, u"Ctrl+O Down"_s);
    EXPECT_TRUE(shown[u"showPicker"_s].toBool());
    EXPECT_EQ(shown[u"pickerPath"_s].toString(), folders.path());
    EXPECT_EQ(shown[u"picker"_s][u"highlighted"_s].toString(), u"beta"_s);
    EXPECT_EQ(shown[u"root"_s].toString(), alpha) << "nothing opens until asked";

    const QJsonObject inside = playKeys(alpha, u"Ctrl+O b m Right"_s);
    EXPECT_EQ(inside[u"pickerPath"_s].toString(), folders.path(u"betamax"_s));
    EXPECT_EQ(inside[u"picker"_s][u"filter"_s].toString(), QString());
    EXPECT_EQ(inside[u"picker"_s][u"entries"_s].toArray().size(), 1);

    const QJsonObject back = playKeys(alpha, u"Ctrl+O b m Right Left Backspace"_s);
    EXPECT_EQ(back[u"pickerPath"_s].toString(), QFileInfo(folders.path()).path());

    const QJsonObject opened = playKeys(alpha, u"Ctrl+O b e t a m Ctrl+Return"_s);
    EXPECT_FALSE(opened[u"showPicker"_s].toBool());
    EXPECT_EQ(opened[u"root"_s].toString(), folders.path(u"betamax"_s));
    EXPECT_EQ(opened[u"recents"_s][0].toString(), folders.path(u"betamax"_s));

    const QJsonObject closed = playKeys(alpha, u"Ctrl+O Down Escape"_s);
    EXPECT_FALSE(closed[u"showPicker"_s].toBool());
    EXPECT_EQ(closed[u"root"_s].toString(), alpha);
}

TEST(Window, CloseFolderReturnsToTheWelcomeListAndFullScreenToggles)
{
    Neighbours folders;
    const QJsonObject closed = playKeys(folders.path(u"beta"_s), u"Ctrl+W"_s);
    EXPECT_TRUE(closed[u"root"_s].isNull());
    EXPECT_EQ(closed[u"recents"_s][0].toString(), folders.path(u"beta"_s));
    const QJsonObject reopened = playKeys(folders.path(u"beta"_s), u"Ctrl+W Return"_s);
    EXPECT_EQ(reopened[u"root"_s].toString(), folders.path(u"beta"_s));

    EXPECT_TRUE(playKeys(folders.path(u"beta"_s), u"F11"_s)[u"fullScreen"_s].toBool());
    EXPECT_FALSE(playKeys(folders.path(u"beta"_s), u"F11 F11"_s)[u"fullScreen"_s].toBool());
}

// A repository typed into the download entry is cloned from its https address, which a test-only
// git configuration points at a local bare repository, and opens like any folder.
TEST(Window, ADownloadedRepositoryOpensAndIsListedAmongTheDownloads)
{
    GitRepo source;
    source.write(u"hello.c"_s, "int main(void) { return 0; }\n");
    source.commitAll(u"Say hello"_s);
    TempFolder hosting, home;
    source.git({ u"clone"_s, u"-q"_s, u"--bare"_s, source.path(), hosting.path(u"octo/demo.git"_s) });
    home.write(u"gitconfig"_s,
        QStringLiteral("[url \"file://%1/\"]\n\tinsteadOf = https://github.com/\n")
            .arg(hosting.path())
            .toUtf8());
    const QHash<QString, QString> variables { { u"XDG_DATA_HOME"_s, home.path(u"data"_s) },
        { u"GIT_CONFIG_GLOBAL"_s, home.path(u"gitconfig"_s) } };
    const QString clone = home.path(u"data/Korvane/repositories/github.com/octo/demo"_s);

    const QJsonObject typed = playKeys(source.path(), u"Ctrl+D o c t o / d e m o"_s, nullptr, variables);
    EXPECT_TRUE(typed[u"showRemote"_s].toBool());
    EXPECT_EQ(typed[u"remoteText"_s].toString(), u"octo/demo"_s);
    EXPECT_EQ(typed[u"remoteHint"_s].toString(), u"Will download octo/demo"_s);

    const QJsonObject fetched
        = playKeys(source.path(), u"Ctrl+D o c t o / d e m o Return"_s, nullptr, variables);
    EXPECT_FALSE(fetched[u"showRemote"_s].toBool()) << fetched[u"remoteFailure"_s].toString().toStdString();
    EXPECT_TRUE(fetched[u"cloning"_s].isNull());
    EXPECT_EQ(fetched[u"root"_s].toString(), clone);
    EXPECT_EQ(fetched[u"downloaded"_s].toArray(), QJsonArray { clone });

    const QJsonObject missing
        = playKeys(source.path(), u"Ctrl+D o c t o / g o n e Return"_s, nullptr, variables);
    EXPECT_TRUE(missing[u"showRemote"_s].toBool()) << "a failure is told in place";
    EXPECT_FALSE(missing[u"remoteFailure"_s].toString().isEmpty());
    EXPECT_EQ(missing[u"root"_s].toString(), source.path());
}

// "s" shows the selected file's outline beside the scene; the outline then owns the arrows, and
// Escape clears its focus before it closes it.
TEST(Window, SShowsTheFilesOutlineWhichOwnsTheArrows)
{
    TempFolder folder;
    folder.write(u"app.js"_s, "function start() {\n  load();\n}\n\nfunction load() {\n  return 1;\n}\n");
    folder.write(u"other.js"_s, "let x = 1;\n");
    const QString select = u"/ a p p Return "_s;
    const QJsonObject walked = playKeys(folder.path(), select + u"s Down Down"_s);
    EXPECT_EQ(walked[u"structureView"_s].toString(), u"app.js"_s);
    EXPECT_EQ(walked[u"symbolFocus"_s][u"name"_s].toString(), u"start"_s);
    EXPECT_EQ(walked[u"document"_s][u"program"_s].toString(), u"JavaScript"_s);
    EXPECT_TRUE(walked[u"outlineKeys"_s].toBool());
    EXPECT_EQ(walked[u"selection"_s].toString(), u"app.js"_s) << "the arrows moved in the outline";

    const QJsonObject left = playKeys(folder.path(), select + u"s Down Down Escape Escape"_s);
    EXPECT_TRUE(left[u"structureView"_s].isNull());
    EXPECT_FALSE(left[u"outlineKeys"_s].toBool());
    EXPECT_EQ(left[u"selection"_s].toString(), u"app.js"_s);
    EXPECT_TRUE(playKeys(folder.path(), select + u"s s"_s)[u"structureView"_s].isNull());
}

// A folder of one file of each kind the structure reader takes, and two it does not.
const TempFolder& walkFolder()
{
    static TempFolder folder;
    static const bool made = [] {
        folder.write(u"app.js"_s,
            "function start() {\n  load();\n  save();\n}\nfunction load() {\n  return 1;\n}\n"
            "function save() { load(); }\nclass Box {\n  open() { start(); }\n}\n");
        folder.write(u"site.css"_s, ".card { color: red; }\n.card h1 { margin: 0; }\n");
        folder.write(
            u"page.html"_s, "<html><body><main id=\"m\"><p onclick=\"go()\">hi</p></main></body></html>\n");
        folder.write(u"main.cpp"_s,
            "namespace app {\nint twice(int x) { return 2 * x; }\n}\nint main() { return app::twice(1); }\n");
        folder.write(
            u"lib.rs"_s, "pub fn add(a: i32, b: i32) -> i32 {\n    a + b\n}\nfn main() { add(1, 2); }\n");
        folder.write(u"notes.txt"_s, "plain words\n");
        // Larger than a walk reads, without taking the disk it claims.
        folder.write(u"huge.js"_s, "");
        QFile huge(folder.path(u"huge.js"_s));
        return huge.open(QIODevice::ReadWrite) && huge.resize(qint64(7) * 1024 * 1024);
    }();
    EXPECT_TRUE(made);
    return folder;
}

// A field of the state, by its path: "document/program".
QJsonValue field(const QJsonObject& state, const QString& path)
{
    QJsonValue value = state;
    for (const QString& key : path.split(u'/'))
        value = value.toObject().value(key);
    return value;
}

class WalkKeys : public ::testing::TestWithParam<ScriptCase> { };

// Return on a file the structure reader takes walks into its city of parts; the arrows, Return,
// Escape, Backspace, s, g and the search then act on the parts, and a file it cannot read is
// zoomed to instead.
TEST_P(WalkKeys, LeaveTheirState)
{
    const ScriptCase& c = GetParam();
    const QJsonObject state = playKeys(walkFolder().path(), QString::fromUtf8(c.keys));
    for (auto it = c.expected.cbegin(); it != c.expected.cend(); ++it)
        EXPECT_EQ(field(state, it.key()), it.value()) << it.key().toStdString();
}

const QJsonValue null;

INSTANTIATE_TEST_SUITE_P(Files, WalkKeys,
    ::testing::Values(ScriptCase { "Script", "/ a p p Return Return",
                          { { u"fileCity"_s, true }, { u"structureView"_s, u"app.js"_s },
                              { u"document/program"_s, u"JavaScript"_s }, { u"selection"_s, u"app.js"_s } } },
        ScriptCase { "Stylesheet", "/ s i t e Return Return",
            { { u"fileCity"_s, true }, { u"document/program"_s, u"CSS"_s } } },
        ScriptCase { "Page", "/ p a g e Return Return",
            { { u"fileCity"_s, true }, { u"document/program"_s, u"HTML"_s } } },
        ScriptCase { "Cpp", "/ m a i n Return Return",
            { { u"fileCity"_s, true }, { u"document/program"_s, u"C++"_s } } },
        ScriptCase { "Rust", "/ l i b Return Return",
            { { u"fileCity"_s, true }, { u"document/program"_s, u"Rust"_s } } },
        ScriptCase { "UnknownKindZooms", "/ n o t e s Return Return",
            { { u"fileCity"_s, false }, { u"structureView"_s, null }, { u"errorMessage"_s, null },
                { u"selection"_s, u"notes.txt"_s } } },
        ScriptCase { "TooLargeZooms", "/ h u g e Return Return",
            { { u"fileCity"_s, false }, { u"structureView"_s, null }, { u"errorMessage"_s, null } } },
        ScriptCase { "BackspaceReturnsWithTheFileSelected", "/ a p p Return Return Down BackSpace",
            { { u"fileCity"_s, false }, { u"structureView"_s, null }, { u"selection"_s, u"app.js"_s },
                { u"selectedPart"_s, null } } },
        ScriptCase { "ArrowsSelectAPart", "/ a p p Return Return Down",
            { { u"fileCity"_s, true }, { u"selectedPart/role"_s, u"function"_s }, { u"symbolFocus"_s, null },
                { u"outlineKeys"_s, false } } },
        ScriptCase { "ReturnFocusesThePartSelected", "/ a p p Return Return Tab Tab Return",
            { { u"symbolFocus/name"_s, u"load"_s }, { u"selectedPart/name"_s, u"load"_s } } },
        ScriptCase { "EscapeClearsTheFocusFirst", "/ a p p Return Return Tab Return Escape",
            { { u"fileCity"_s, true }, { u"symbolFocus"_s, null }, { u"selectedPart/name"_s, u"Box"_s } } },
        ScriptCase { "ThenLeavesTheFile", "/ a p p Return Return Tab Return Escape Escape",
            { { u"fileCity"_s, false }, { u"selection"_s, u"app.js"_s } } },
        ScriptCase { "SHidesThePanelAndKeepsTheCity", "/ a p p Return Return s",
            { { u"fileCity"_s, true }, { u"structurePanel"_s, false },
                { u"structureView"_s, u"app.js"_s } } },
        ScriptCase { "SShowsItAgain", "/ a p p Return Return s s", { { u"structurePanel"_s, true } } },
        ScriptCase { "GCyclesTheTabs", "/ a p p Return Return g g", { { u"structureTab"_s, u"flow"_s } } },
        ScriptCase {
            "GWrapsToTheOutline", "/ a p p Return Return g g g g", { { u"structureTab"_s, u"outline"_s } } },
        ScriptCase { "TheOutlineFocusCarriesIntoTheCity", "/ a p p Return s Down Down Return",
            { { u"fileCity"_s, true }, { u"symbolFocus/name"_s, u"start"_s },
                { u"selectedPart/name"_s, u"start"_s } } },
        ScriptCase { "TheSearchFindsParts", "/ a p p Return Return / l o a",
            { { u"searchResults"_s, QJsonArray { u"load"_s } }, { u"fileCity"_s, true } } },
        ScriptCase { "ReturnFocusesThePartFound", "/ a p p Return Return / s a v Return",
            { { u"symbolFocus/name"_s, u"save"_s }, { u"searchFocused"_s, false } } },
        ScriptCase { "TheTextNeedleCountsLines", "/ a p p Return Return / Tab s a v e ( )",
            { { u"searchResults"_s, QJsonArray { u"start"_s, u"save"_s } }, { u"textHits/start"_s, 1 },
                { u"textHits/save"_s, 1 } } },
        ScriptCase { "LeavingStartsTheSearchAfresh", "/ a p p Return Return / l o a Escape Escape BackSpace",
            { { u"fileCity"_s, false }, { u"searchText"_s, u""_s } } }),
    rowName);

struct WalkCase {
    const char* name;
    const char* file;
    QStringList options;
    int exitCode;
    const char* said; // the line on standard error, or the tab shown
    const char* focus; // the part in focus, if any
};

void PrintTo(const WalkCase& c, std::ostream* os)
{
    *os << c.name;
}

class SnapshotOfAFile : public ::testing::TestWithParam<WalkCase> { };

// A snapshot of a file draws its folder with the file walked into, one of its views shown and one of
// its parts in focus; what cannot be walked into says why in one line.
TEST_P(SnapshotOfAFile, WalksIntoItOrSaysWhyNot)
{
    static TempFolder folder;
    folder.write(u"app.js"_s, "function start() {\n  load();\n}\nfunction load() {\n  return 1;\n}\n");
    folder.write(u"site.css"_s, ".card { color: red; }\n");
    folder.write(u"notes.txt"_s, "plain\n");
    const WalkCase& c = GetParam();
    TempFolder out;
    const QStringList arguments { u"snapshot"_s, folder.path(QString::fromUtf8(c.file)), u"--out"_s,
        out.path(u"s.png"_s), u"--print-state"_s };
    const Outcome run = korvane(arguments + c.options, {});
    ASSERT_EQ(run.exitCode, c.exitCode) << run.err.toStdString();
    if (c.exitCode != 0) {
        EXPECT_TRUE(run.err.contains(QByteArray("korvane: ").append(c.said).append('\n')))
            << run.err.toStdString();
        return;
    }
    const QJsonObject state = parse(run.out);
    EXPECT_EQ(state[u"root"_s].toString(), folder.path());
    EXPECT_EQ(state[u"selection"_s].toString(), QString::fromUtf8(c.file));
    EXPECT_EQ(state[u"structureView"_s].toString(), QString::fromUtf8(c.file));
    EXPECT_EQ(state[u"structureTab"_s].toString(), QString::fromUtf8(c.said));
    EXPECT_EQ(state[u"symbolFocus"_s][u"name"_s].toString(), QString::fromUtf8(c.focus));
}

INSTANTIATE_TEST_SUITE_P(Files, SnapshotOfAFile,
    ::testing::Values(WalkCase { "Script", "app.js", {}, 0, "outline", "" },
        WalkCase { "FlowOfAFunction", "app.js", { u"--structure"_s, u"flow"_s, u"--focus"_s, u"load"_s }, 0,
            "flow", "load" },
        WalkCase { "ARuleByItsSelector", "site.css", { u"--focus"_s, u".card"_s }, 0, "outline", ".card" },
        WalkCase {
            "NoSuchPart", "app.js", { u"--focus"_s, u"stop"_s }, 1, "no part called stop in app.js", "" },
        WalkCase { "PlainText", "notes.txt", {}, 1,
            "notes.txt has no structure Korvane reads: it walks into scripts, stylesheets, pages, C and C++, "
            "and Rust.",
            "" },
        WalkCase { "NoSuchView", "app.js", { u"--structure"_s, u"map"_s }, 2,
            "--structure is outline, treemap, flow or links", "" },
        WalkCase { "AFolderHasNoParts", ".", { u"--focus"_s, u"start"_s }, 2,
            "--structure and --focus go with a FILE to walk into", "" }),
    rowName);

// Escape with the key sheet up closes the sheet and leaves the selection be.
TEST(Window, EscapeClosesTheKeySheetBeforeItClearsTheSelection)
{
    const QJsonObject selected = playKeys(sharedProject().path(), u"Right"_s);
    ASSERT_TRUE(selected[u"selection"_s].isString());
    const QJsonObject closed = playKeys(sharedProject().path(), u"Right ? Escape"_s);
    EXPECT_FALSE(closed[u"showKeys"_s].toBool());
    EXPECT_EQ(closed[u"selection"_s], selected[u"selection"_s]);
}

// Ctrl+Down makes the selected file's folder the view root; Backspace climbs back to the top. The
// harness writes the state once, at the end, so the dive and the climb are two runs.
TEST(Window, DiveAndClimb)
{
    const QString dive = u"Right Ctrl+Down"_s;
    const QJsonObject dived = playKeys(sharedProject().path(), dive);
    const QString selection = dived[u"selection"_s].toString();
    const QString viewRoot = dived[u"viewRoot"_s].toString();
    ASSERT_FALSE(selection.isEmpty());
    EXPECT_FALSE(viewRoot.isEmpty());
    EXPECT_TRUE(selection.startsWith(viewRoot + u'/'))
        << selection.toStdString() << " in " << viewRoot.toStdString();
    EXPECT_FALSE(selection.mid(viewRoot.size() + 1).contains(u'/')) << "directly inside the view root";

    const QJsonObject climbed
        = playKeys(sharedProject().path(), dive + u" Backspace Backspace Backspace Backspace Backspace"_s);
    EXPECT_EQ(climbed[u"viewRoot"_s].toString(u"null"_s), u""_s);
}

TEST(Window, LightThemeAfterTPaintsTheLightBackground)
{
    Project project;
    TempFolder out;
    const Outcome run = korvane({ u"snapshot"_s, project.path(), u"--out"_s, out.path(u"light.png"_s),
        u"--keys"_s, u"t"_s, u"--print-state"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_FALSE(parse(run.out)[u"dark"_s].toBool());
    const QImage picture(out.path(u"light.png"_s));
    ASSERT_FALSE(picture.isNull());
    EXPECT_GT(countNear(picture, lightPaper, 3), picture.width() * picture.height() / 4 / 10);
}

TEST(Window, TheSnapshotsFormatFollowsItsSuffixAndIsPngOtherwise)
{
    Project project;
    TempFolder out;
    const struct {
        const char* name;
        QByteArray magic;
    } rows[]
        = { { "city.jpg", "\xFF\xD8\xFF" }, { "city.JPEG", "\xFF\xD8\xFF" }, { "city.shot", "\x89PNG" } };
    for (const auto& row : rows) {
        const QString file = out.path(QString::fromLatin1(row.name));
        const Outcome run
            = korvane({ u"snapshot"_s, project.path(), u"--out"_s, file, u"--size"_s, u"320x200"_s });
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_TRUE(readFile(file).startsWith(row.magic)) << row.name;
    }
}

// Fourteen commits: a file grows by ten lines a commit, another is added at the fifth and renamed at
// the ninth, and a third is deleted at the twelfth.
class Growing : public GitRepo {
public:
    Growing()
    {
        for (int i = 0; i < 14; ++i) {
            write(u"src/grow.c"_s, QByteArray("int x;\n").repeated(10 * (i + 1)));
            if (i == 4)
                write(u"src/old.c"_s, QByteArray("int y;\n").repeated(30));
            if (i == 8)
                git({ u"mv"_s, u"src/old.c"_s, u"src/new.c"_s });
            if (i == 0)
                write(u"docs/gone.md"_s, QByteArray("text\n").repeated(12));
            if (i == 11)
                git({ u"rm"_s, u"-q"_s, u"docs/gone.md"_s });
            commitAll(u"commit %1"_s.arg(i), 1700000000 + i * 86400);
        }
    }
    // The files and lines after commit k, as git counts them.
    std::pair<qint64, qint64> filesAndLines(int k) const
    {
        const QString hash
            = QString::fromUtf8(git({ u"rev-list"_s, u"--reverse"_s, u"HEAD"_s }).split('\n')[k]);
        qint64 files = 0, lines = 0;
        for (const QByteArray& path : git({ u"ls-tree"_s, u"-r"_s, u"--name-only"_s, hash }).split('\n')) {
            if (path.isEmpty())
                continue;
            ++files;
            lines += git({ u"show"_s, hash + u':' + QString::fromUtf8(path) }).count('\n');
        }
        return { files, lines };
    }
};

TEST(Window, ThreeShowsTheHistoryAndTheCommaAndPeriodKeysStepThroughIt)
{
    Growing repo;
    QImage picture;
    const QJsonObject state = playKeys(repo.path(), u"3 , , Shift+, ."_s, &picture);
    EXPECT_EQ(state[u"mode"_s].toString(), u"history"_s);
    EXPECT_TRUE(state[u"errorMessage"_s].isNull());
    const QJsonObject timeline = state[u"timeline"_s].toObject();
    EXPECT_EQ(timeline[u"phase"_s].toString(), u"ready"_s);
    EXPECT_EQ(timeline[u"commitCount"_s].toInteger(), 14);
    EXPECT_EQ(timeline[u"position"_s].toInteger(), 13 - 2 - 10 + 1);
    EXPECT_EQ(timeline[u"commit"_s].toObject()[u"subject"_s].toString(), u"commit 2"_s);
    const auto [files, lines] = repo.filesAndLines(2);
    EXPECT_EQ(timeline[u"fileCount"_s].toInteger(), files);
    EXPECT_EQ(timeline[u"totalLines"_s].toInteger(), lines);
    // Every path the history held has its place, present or not.
    EXPECT_EQ(state[u"drawn"_s].toObject()[u"buildings"_s].toInteger(), 4);
    EXPECT_GT(distinctColours(picture), 40);
}

struct MomentCase {
    const char* name;
    const char* at;
    const char* keys;
    qint64 position;
};

class Moment : public ::testing::TestWithParam<MomentCase> { };

TEST_P(Moment, TheSnapshotDrawsTheHistoryWhereItIsToldWithWhatWasThereThen)
{
    static Growing repo;
    const MomentCase& c = GetParam();
    TempFolder out;
    QStringList arguments { u"snapshot"_s, repo.path(), u"--out"_s, out.path(u"h.png"_s), u"--mode"_s,
        u"history"_s, u"--at"_s, QString::fromUtf8(c.at), u"--print-state"_s, u"--size"_s, u"900x600"_s };
    if (*c.keys)
        arguments << u"--keys"_s << QString::fromUtf8(c.keys);
    const Outcome run = korvane(arguments, {});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject timeline = parse(run.out)[u"timeline"_s].toObject();
    EXPECT_EQ(timeline[u"position"_s].toInteger(), c.position);
    const auto [files, lines]
        = c.position < 0 ? std::pair<qint64, qint64>() : repo.filesAndLines(int(c.position));
    EXPECT_EQ(timeline[u"fileCount"_s].toInteger(), files);
    EXPECT_EQ(timeline[u"totalLines"_s].toInteger(), lines);
    EXPECT_EQ(timeline[u"commit"_s].isNull(), c.position < 0);
}

INSTANTIATE_TEST_SUITE_P(History, Moment,
    ::testing::Values(MomentCase { "StartIsTheEmptyCity", "start", "", -1 },
        MomentCase { "StepsFromTheStart", "start", ". . Shift+. ,", 10 },
        MomentCase { "AcrossTheRenameBackwards", "9", ", ,", 7 }, MomentCase { "Middle", "middle", "", 6 },
        MomentCase { "End", "end", "", 13 }, MomentCase { "PastTheEndIsTheEnd", "99", "", 13 }),
    rowName);

TEST(Window, ASnapshotAtACommitTheHistoryDoesNotHoldSaysSo)
{
    Growing repo;
    TempFolder out;
    const Outcome run = korvane({ u"snapshot"_s, repo.path(), u"--out"_s, out.path(u"h.png"_s), u"--mode"_s,
        u"history"_s, u"--at"_s, u"deadbeef"_s });
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("no commit \"deadbeef\" in the history")) << run.err.toStdString();
}

// "?" shows the keys on the welcome screen too, though its path field has the focus.
TEST(Window, QuestionMarkShowsTheKeysOnTheWelcomeScreen)
{
    TempFolder out;
    const Outcome run
        = korvane({}, { { u"KORVANE_KEYS"_s, u"?"_s }, { u"KORVANE_STATE"_s, out.path(u"state.json"_s) } });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject state = parse(readFile(out.path(u"state.json"_s)));
    EXPECT_TRUE(state[u"root"_s].isNull());
    EXPECT_TRUE(state[u"showKeys"_s].toBool());
}

TEST(Window, AFolderThatIsNotThereIsShownInPlace)
{
    TempFolder out;
    const Outcome run = korvane({},
        { { u"KORVANE_OPEN"_s, u"/no/such/folder"_s }, { u"KORVANE_SNAPSHOT"_s, out.path(u"error.png"_s) },
            { u"KORVANE_STATE"_s, out.path(u"state.json"_s) } });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject state = parse(readFile(out.path(u"state.json"_s)));
    EXPECT_EQ(state[u"errorMessage"_s].toString(), u"/no/such/folder is not a folder."_s);
    EXPECT_TRUE(state[u"root"_s].isNull());
    EXPECT_FALSE(state[u"recents"_s].toArray().contains(u"/no/such/folder"_s))
        << "no shortcut to what is not there";
    EXPECT_FALSE(QImage(out.path(u"error.png"_s)).isNull());
}

class Polyglot : public TempFolder {
public:
    Polyglot() { writeImportingProject(*this); }
};

// The paths of a list of file indices of `korvane imports --json`.
QStringList pathsAt(const QJsonObject& graph, const QJsonArray& indices)
{
    QStringList paths;
    for (const QJsonValue& index : indices)
        paths << graph[u"files"_s].toArray()[index.toInt()].toString();
    paths.sort();
    return paths;
}

QStringList sorted(const QJsonValue& list)
{
    QStringList paths;
    for (const QJsonValue& path : list.toArray())
        paths << path.toString();
    paths.sort();
    return paths;
}

TEST(Window, KeyFourDrawsTheImportsGraphAndTheSelectionsLinksAgreeWithTheImportsCommand)
{
    Polyglot folder;
    const Outcome command = korvane({ u"imports"_s, folder.path(), u"--json"_s }, {}, false);
    ASSERT_EQ(command.exitCode, 0) << command.err.toStdString();
    const QJsonObject graph = parse(command.out);

    QImage picture;
    const QJsonObject state = playKeys(folder.path(), u"4 Right"_s, &picture);
    EXPECT_EQ(state[u"mode"_s].toString(), u"graph"_s);
    EXPECT_TRUE(state[u"dependencyProgress"_s].isNull());
    const QJsonObject read = state[u"dependencies"_s].toObject();
    const qsizetype files = graph[u"files"_s].toArray().size();
    EXPECT_EQ(read[u"files"_s].toInt(), files);
    EXPECT_EQ(read[u"edges"_s].toInt(), graph[u"edges"_s].toArray().size());
    EXPECT_EQ(read[u"external"_s].toInt(), graph[u"external"_s].toInt());
    EXPECT_EQ(read[u"unresolved"_s].toInt(), graph[u"unresolved"_s].toInt());
    EXPECT_EQ(read[u"cycles"_s].toInt(), 2);
    EXPECT_EQ(state[u"drawn"_s][u"buildings"_s].toInt(), files) << "exactly the graph's files";
    EXPECT_EQ(state[u"drawn"_s][u"links"_s].toInt(), graph[u"edges"_s].toArray().size());
    EXPECT_TRUE(state[u"notice"_s].isNull());

    const QString selection = state[u"selection"_s].toString();
    const qsizetype index = graph[u"files"_s].toArray().toVariantList().indexOf(selection);
    ASSERT_GE(index, 0) << selection.toStdString();
    EXPECT_EQ(sorted(state[u"selectionImports"_s]), pathsAt(graph, graph[u"outgoing"_s][index].toArray()));
    EXPECT_EQ(sorted(state[u"selectionImporters"_s]), pathsAt(graph, graph[u"incoming"_s][index].toArray()));
    EXPECT_FALSE(
        sorted(state[u"selectionImports"_s]).isEmpty() && sorted(state[u"selectionImporters"_s]).isEmpty());
    EXPECT_GT(countNear(picture, darkAccent, 24), 20) << "the selection stands out";
}

TEST(Window, AFolderWithoutImportsSaysSoInPlace)
{
    Project project; // C, JavaScript, Python and Markdown files that import nothing
    const QJsonObject state = playKeys(project.path(), u"4"_s);
    EXPECT_EQ(state[u"mode"_s].toString(), u"graph"_s);
    EXPECT_EQ(state[u"dependencies"_s][u"edges"_s].toInt(), 0);
    EXPECT_EQ(state[u"drawn"_s][u"buildings"_s].toInt(), state[u"dependencies"_s][u"files"_s].toInt());
    EXPECT_EQ(state[u"notice"_s].toString(), u"No imports between the files here."_s);
}

TEST(Window, TheGraphSnapshotIsDrawnInBothThemes)
{
    Polyglot folder;
    TempFolder out;
    for (const QString& theme : { u"dark"_s, u"light"_s }) {
        const QString image = out.path(theme + u".png"_s);
        const Outcome run = korvane({ u"snapshot"_s, folder.path(), u"--out"_s, image, u"--mode"_s,
            u"graph"_s, u"--theme"_s, theme, u"--size"_s, u"900x600"_s, u"--print-state"_s });
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_EQ(parse(run.out)[u"drawn"_s][u"links"_s].toInt(), 10) << theme.toStdString();
        EXPECT_GT(distinctColours(QImage(image)), 40) << theme.toStdString();
    }
}

struct Refusal {
    const char* name;
    QStringList arguments;
    bool display;
    int status;
    const char* message;
};

void PrintTo(const Refusal& c, std::ostream* os)
{
    *os << c.name;
}

class Refused : public ::testing::TestWithParam<Refusal> { };

TEST_P(Refused, WithOneClearLine)
{
    const Refusal& c = GetParam();
    const Outcome run = korvane(c.arguments, {}, c.display);
    EXPECT_EQ(run.exitCode, c.status);
    EXPECT_TRUE(run.err.contains(c.message)) << run.err.toStdString();
    EXPECT_TRUE(run.out.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Snapshot, Refused,
    ::testing::Values(Refusal { "NoDisplay", { u"snapshot"_s, u"."_s, u"--out"_s, u"/tmp/x.png"_s }, false, 1,
                          "needs a display" },
        Refusal { "MissingFolder", { u"snapshot"_s, u"/no/such"_s, u"--out"_s, u"/tmp/x.png"_s }, true, 1,
            "/no/such is not a folder or a file." },
        Refusal { "NoOut", { u"snapshot"_s, u"."_s }, true, 2, "needs --out" },
        Refusal { "BadKey", { u"snapshot"_s, u"."_s, u"--out"_s, u"/tmp/x.png"_s, u"--keys"_s, u"Nope"_s },
            true, 2, "unknown key \"Nope\"" },
        Refusal { "AtWithoutHistory",
            { u"snapshot"_s, u"."_s, u"--out"_s, u"/tmp/x.png"_s, u"--at"_s, u"end"_s }, true, 2,
            "--at N|start|middle|end|HASH goes with --mode history" }),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
