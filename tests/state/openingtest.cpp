// Opening another folder from the window: the folder picker over real folders, closing a folder,
// and the entry of a repository to download.

#include "scan/folderlisting.h"
#include "state/appstate.h"
#include "state/keyrouter.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

void openAndWait(AppState& state, const QString& path)
{
    state.open(path);
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); })) << "scan of " << path.toStdString();
}

QStringList names(const FolderPicker& picker)
{
    QStringList names;
    for (const FolderEntry& entry : picker.entries())
        names << entry.name;
    return names;
}

// Folders beside each other: a repository on its own branch, plain folders named so that only the
// desktop's order sorts them right, a hidden one, a file (never listed) and a link to a folder.
class Folders : public TempFolder {
public:
    Folders()
    {
        makeFolder(u"gamma10"_s);
        makeFolder(u"Gamma2"_s);
        makeFolder(u"beta/inner"_s);
        makeFolder(u".hidden"_s);
        write(u"notes.txt"_s, "not a folder\n");
        QFile::link(path(u"beta"_s), path(u"linked"_s));
        repo.git({ u"checkout"_s, u"-q"_s, u"-b"_s, u"trunk"_s });
        QDir().rename(repo.path(), path(u"alpha"_s));
    }
    GitRepo repo;
};

class Opening : public ::testing::Test {
protected:
    void SetUp() override { QSettings().clear(); }
    void TearDown() override { QSettings().clear(); }
};

} // namespace

TEST(FolderListing, ListsFoldersInTheDesktopsOrderWithEachRepositorysBranch)
{
    Folders folders;
    const QList<FolderEntry> listed = listFolders(folders.path());
    QStringList names;
    for (const FolderEntry& entry : listed)
        names << entry.name;
    EXPECT_EQ(names, (QStringList { u"alpha"_s, u"beta"_s, u"Gamma2"_s, u"gamma10"_s, u"linked"_s }));
    EXPECT_TRUE(listed[0].isGit);
    EXPECT_EQ(listed[0].branch, u"trunk"_s);
    EXPECT_FALSE(listed[1].isGit);
    EXPECT_EQ(listed[1].branch, std::nullopt);
    EXPECT_TRUE(listFolders(folders.path(), true).size() == 6) << "the hidden folder on request";
    EXPECT_TRUE(listFolders(folders.path(u"notes.txt"_s)).isEmpty());
    EXPECT_TRUE(listFolders(u"/no/such/folder"_s).isEmpty());
}

// The HEAD file names the branch, a detached head its commit, and a work tree's ".git" file the
// repository whose HEAD it has.
TEST(FolderListing, ReadsTheBranchOfEveryKindOfWorkTree)
{
    GitRepo repo;
    repo.write(u"a.txt"_s, "a\n");
    repo.commitAll(u"one"_s);
    EXPECT_EQ(headBranch(repo.path()), u"main"_s);

    TempFolder elsewhere;
    const QString tree = elsewhere.path(u"tree"_s);
    repo.git({ u"worktree"_s, u"add"_s, u"-q"_s, u"-b"_s, u"feature/x"_s, tree });
    EXPECT_EQ(headBranch(tree), u"feature/x"_s) << "through the .git file of a work tree";

    repo.git({ u"checkout"_s, u"-q"_s, u"--detach"_s });
    const QString hash = QString::fromUtf8(repo.git({ u"rev-parse"_s, u"HEAD"_s }).trimmed());
    EXPECT_EQ(headBranch(repo.path()), hash.left(7));

    TempFolder plain;
    EXPECT_EQ(headBranch(plain.path()), std::nullopt);
    plain.write(u".git"_s, "gitdir: /no/such/place\n");
    EXPECT_EQ(headBranch(plain.path()), std::nullopt);
}

TEST(Picker, NarrowsByTheTypedNameAndListsHiddenFoldersForADot)
{
    Folders folders;
    FolderPicker picker;
    picker.showFolder(folders.path());
    EXPECT_EQ(names(picker), (QStringList { u"alpha"_s, u"beta"_s, u"Gamma2"_s, u"gamma10"_s, u"linked"_s }));
    EXPECT_EQ(picker.highlighted()->name, u"alpha"_s);

    picker.setFilter(u"gm"_s); // loosely: the letters in order
    EXPECT_EQ(names(picker), (QStringList { u"Gamma2"_s, u"gamma10"_s }));
    EXPECT_EQ(picker.index(), 0);
    picker.setFilter(u".h"_s);
    EXPECT_EQ(names(picker), (QStringList { u".hidden"_s }));
    picker.setFilter(u"zzz"_s);
    EXPECT_TRUE(picker.entries().isEmpty());
    EXPECT_EQ(picker.highlighted(), nullptr);
    EXPECT_FALSE(picker.step(1));
    EXPECT_FALSE(picker.into());
    picker.setFilter({});
    EXPECT_EQ(picker.entries().size(), 5);
}

TEST(Picker, MovesInAndBackKeepingItsPlace)
{
    Folders folders;
    FolderPicker picker;
    picker.showFolder(folders.path());
    EXPECT_FALSE(picker.step(-1)) << "stops at the first";
    EXPECT_TRUE(picker.step(1));
    EXPECT_EQ(picker.highlighted()->name, u"beta"_s);
    picker.setFilter(u"b"_s);
    ASSERT_TRUE(picker.into());
    EXPECT_EQ(picker.path(), folders.path(u"beta"_s));
    EXPECT_EQ(picker.filter(), QString()) << "a new folder starts unfiltered";
    EXPECT_EQ(names(picker), QStringList { u"inner"_s });
    ASSERT_TRUE(picker.back());
    EXPECT_EQ(picker.path(), folders.path());
    EXPECT_EQ(picker.highlighted()->name, u"beta"_s) << "the folder come from stays highlighted";
    EXPECT_TRUE(picker.step(10));
    EXPECT_EQ(picker.highlighted()->name, u"linked"_s) << "stops at the last";

    picker.showFolder(u"/"_s);
    EXPECT_FALSE(picker.back()) << "nothing above the root";
}

TEST_F(Opening, ThePickerStartsBesideTheOpenFolderAndOpensWhatItHighlights)
{
    Folders folders;
    AppState state;
    KeyRouter router(state);
    openAndWait(state, folders.path(u"beta"_s));
    ASSERT_TRUE(router.perform(Action::picker));
    EXPECT_TRUE(state.panels().showPicker());
    EXPECT_EQ(state.picker().path(), folders.path());
    EXPECT_EQ(state.picker().highlighted()->name, u"beta"_s);

    ASSERT_TRUE(router.perform(Action::pickerUp));
    EXPECT_TRUE(router.handle({ Qt::Key_Return, {}, Qt::ControlModifier }));
    EXPECT_FALSE(state.panels().showPicker());
    ASSERT_TRUE(waitFor([&] { return state.root() && state.scan().idle(); }));
    EXPECT_EQ(state.root()->url, folders.path(u"alpha"_s));
    EXPECT_TRUE(state.isGit());

    // Escape closes it and leaves the folder open.
    ASSERT_TRUE(router.perform(Action::picker));
    EXPECT_TRUE(router.handle({ Qt::Key_Escape, {}, Qt::NoModifier }));
    EXPECT_FALSE(state.panels().showPicker());
    EXPECT_EQ(state.root()->url, folders.path(u"alpha"_s));
}

TEST_F(Opening, AnEmptyFolderInThePickerOpensItself)
{
    Folders folders;
    AppState state;
    KeyRouter router(state);
    state.showFolderPicker();
    state.picker().showFolder(folders.path(u"beta/inner"_s));
    ASSERT_TRUE(state.picker().entries().isEmpty());
    ASSERT_TRUE(router.perform(Action::pickerOpen));
    ASSERT_TRUE(waitFor([&] { return state.root() && state.scan().idle(); }));
    EXPECT_EQ(state.root()->url, folders.path(u"beta/inner"_s));
}

TEST_F(Opening, ClosingAFolderShowsTheWelcomeListWithTheFolderFirst)
{
    Folders folders;
    AppState state;
    KeyRouter router(state);
    EXPECT_FALSE(router.perform(Action::closeFolder)) << "nothing open";
    openAndWait(state, folders.path(u"beta"_s));
    openAndWait(state, folders.path(u"alpha"_s));
    state.recents().setRecentIndex(1);
    state.display().setMode(VisualizationMode::tree);
    ASSERT_TRUE(router.perform(Action::closeFolder));
    EXPECT_EQ(state.root(), nullptr);
    EXPECT_EQ(state.viewRoot(), nullptr);
    EXPECT_EQ(state.selection(), nullptr);
    EXPECT_EQ(state.recents().folders().front(), folders.path(u"alpha"_s));
    EXPECT_EQ(state.recents().recentIndex(), 0);
    EXPECT_EQ(state.display().mode(), VisualizationMode::tree) << "the view stays for the next folder";
    // The welcome list answers at once: Return opens the folder just closed.
    EXPECT_EQ(router.route({ Qt::Key_Return, {}, Qt::NoModifier }), Action::recentOpen);
}

TEST_F(Opening, ClosingDuringAScanStopsIt)
{
    Folders folders;
    AppState state;
    KeyRouter router(state);
    state.open(folders.path(u"alpha"_s));
    ASSERT_TRUE(state.scan().scanning());
    ASSERT_TRUE(router.perform(Action::closeFolder));
    EXPECT_FALSE(state.scan().scanning());
    EXPECT_EQ(state.root(), nullptr);
}

struct HintCase {
    const char* name;
    const char* text;
    const char* hint;
};

void PrintTo(const HintCase& c, std::ostream* os)
{
    *os << c.name;
}

class DownloadHint : public ::testing::TestWithParam<HintCase> { };

TEST_P(DownloadHint, SaysWhatTheTextWillDownload)
{
    AppState state(nullptr, false);
    state.downloads().setText(QString::fromUtf8(GetParam().text));
    EXPECT_EQ(state.downloads().hint(), QString::fromUtf8(GetParam().hint));
}

INSTANTIATE_TEST_SUITE_P(Texts, DownloadHint,
    ::testing::Values(HintCase { "Empty", "  ", "owner/name, or the address of a repository's page" },
        HintCase { "Pair", "pallets/flask", "Will download pallets/flask" },
        HintCase { "PageWithBranch", "https://github.com/pallets/flask/tree/stable",
            "Will download pallets/flask, branch stable" },
        HintCase { "OtherHost", "git@gitlab.com:group/tool.git", "Will download group/tool from gitlab.com" },
        HintCase { "LocalPath", "~/src/flask", "“~/src/flask” isn’t a repository URL." },
        HintCase { "Climbing", "a/../../b", "“a/../../b” isn’t a repository URL." }),
    rowName);

TEST_F(Opening, ReturnOnATextThatIsNoAddressSaysSoInPlace)
{
    AppState state(nullptr, false);
    KeyRouter router(state);
    ASSERT_TRUE(router.perform(Action::remote));
    ASSERT_TRUE(state.panels().showRemote());
    state.downloads().setText(u"/tmp/somewhere"_s);
    EXPECT_FALSE(router.perform(Action::remoteFetch));
    EXPECT_EQ(state.downloads().failure(), u"“/tmp/somewhere” isn’t a repository URL."_s);
    EXPECT_FALSE(state.downloads().cloning());
    EXPECT_TRUE(state.panels().showRemote()) << "the entry stays for the text to be mended";
    state.downloads().setText(u"/tmp/somewher"_s);
    EXPECT_EQ(state.downloads().failure(), std::nullopt) << "typing clears the failure";
    EXPECT_TRUE(router.handle({ Qt::Key_Escape, {}, Qt::NoModifier }));
    EXPECT_FALSE(state.panels().showRemote());
}

TEST_F(Opening, ThePickerAndTheDownloadEntryTakeEachOthersPlace)
{
    AppState state(nullptr, false);
    KeyRouter router(state);
    ASSERT_TRUE(router.perform(Action::picker));
    ASSERT_TRUE(router.handle({ Qt::Key_D, u"d"_s, Qt::ControlModifier }));
    EXPECT_TRUE(state.panels().showRemote());
    EXPECT_FALSE(state.panels().showPicker());
    ASSERT_TRUE(router.handle({ Qt::Key_O, u"o"_s, Qt::ControlModifier }));
    EXPECT_TRUE(state.panels().showPicker());
    EXPECT_FALSE(state.panels().showRemote());
    ASSERT_TRUE(router.handle({ Qt::Key_O, u"o"_s, Qt::ControlModifier }));
    EXPECT_FALSE(state.panels().showPicker()) << "its own key closes it";
}
