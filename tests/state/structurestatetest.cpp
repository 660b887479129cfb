// Walking into a file from the state: which files are read, the document and its focus, and how
// Escape and a new folder close it.

#include "state/appstate.h"
#include "state/keyrouter.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

const QByteArray script = "function start() {\n  load();\n}\n\nfunction load() {\n  return 1;\n}\n";

class Sources : public TempFolder {
public:
    Sources()
    {
        write(u"app.js"_s, script);
        write(u"style.css"_s, "body { color: red; }\n");
        write(u"notes.txt"_s, "plain\n");
        write(u"src/gone.js"_s, script);
        QFile big(write(u"bundle.js"_s));
        big.open(QIODevice::ReadWrite);
        big.resize(7 * 1024 * 1024); // sparse: large without being written
    }
};

void openAndWait(AppState& state, const QString& path)
{
    state.open(path);
    ASSERT_TRUE(waitFor([&] { return state.scan().idle(); }));
}

const FileNode& node(const AppState& state, const QString& path)
{
    const FileNode* found = state.root()->find(path);
    if (!found)
        throw std::runtime_error("no node " + path.toStdString());
    return *found;
}

bool readDocument(AppState& state, const QString& path)
{
    state.select(&node(state, path));
    KeyRouter router(state);
    if (!router.perform(Action::structure))
        return false;
    return waitFor([&] { return !state.structure().isReading(); });
}

struct RefusalCase {
    const char* name;
    const char* path;
    const char* message; // "" when the file is walked into
};

void PrintTo(const RefusalCase& c, std::ostream* os)
{
    *os << c.name;
}

class WalkInto : public ::testing::TestWithParam<RefusalCase> { };

TEST_P(WalkInto, OnlyReadableFilesOfAModestSize)
{
    static Sources sources;
    AppState state(nullptr, false);
    openAndWait(state, sources.path());
    const RefusalCase& c = GetParam();
    const bool walked = readDocument(state, QString::fromUtf8(c.path));
    const QString message = QString::fromUtf8(c.message);
    EXPECT_EQ(walked, message.isEmpty());
    EXPECT_EQ(state.errorMessage().value_or(QString()), message);
    EXPECT_EQ(state.structure().path().has_value(), message.isEmpty());
    EXPECT_EQ(state.structure().document() != nullptr, message.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Files, WalkInto,
    ::testing::Values(RefusalCase { "Script", "app.js", "" }, RefusalCase { "Stylesheet", "style.css", "" },
        RefusalCase { "Folder", "src", "Only a file can be walked into; select one of the folder's files." },
        RefusalCase { "PlainText", "notes.txt",
            "notes.txt has no structure Korvane reads: it walks into scripts, stylesheets, pages, C and C++, "
            "and Rust." },
        RefusalCase {
            "OverSixMebibytes", "bundle.js", "bundle.js is 7.0 MiB; files over 6 MiB are not walked into." }),
    rowName);

TEST(Structure, ReadsTheDocumentFocusesItsPartsAndEscapeLeavesStepByStep)
{
    Sources sources;
    AppState state(nullptr, false);
    openAndWait(state, sources.path());
    ASSERT_TRUE(readDocument(state, u"app.js"_s));
    const StructureController& structure = state.structure();
    EXPECT_EQ(structure.path(), u"app.js"_s);
    ASSERT_NE(structure.document(), nullptr);
    EXPECT_EQ(structure.document()->program, u"JavaScript"_s);
    const auto load = structure.document()->definition(u"load"_s);
    ASSERT_TRUE(load);
    state.structure().setFocus(*load);
    EXPECT_EQ(structure.focusedNode()->name, u"load"_s);
    state.structure().setFocus(qsizetype(100000)); // no such part: the focus stays
    EXPECT_EQ(structure.focusedNode()->name, u"load"_s);

    EXPECT_TRUE(state.escape());
    EXPECT_EQ(structure.focus(), std::nullopt) << "the focus goes first";
    EXPECT_EQ(structure.path(), u"app.js"_s);
    EXPECT_TRUE(state.escape());
    EXPECT_EQ(structure.path(), std::nullopt) << "then the file";
    EXPECT_EQ(state.selection(), &node(state, u"app.js"_s)) << "which stays selected";
}

TEST(Structure, GCyclesTheViewsOfTheFileAndWrapsAround)
{
    Sources sources;
    AppState state(nullptr, false);
    openAndWait(state, sources.path());
    ASSERT_TRUE(readDocument(state, u"app.js"_s));
    KeyRouter router(state);
    QStringList tabs;
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(router.handle({ Qt::Key_G, u"g"_s, Qt::NoModifier }));
        tabs << modeName(state.panels().structureTab());
    }
    EXPECT_EQ(tabs, (QStringList { u"treemap"_s, u"flow"_s, u"links"_s, u"outline"_s, u"treemap"_s }));
}

TEST(Structure, TheSameKeyClosesItAndAnotherFileTakesItsPlace)
{
    Sources sources;
    AppState state(nullptr, false);
    openAndWait(state, sources.path());
    state.panels().setShowDrawer(false);
    ASSERT_TRUE(readDocument(state, u"app.js"_s));
    EXPECT_TRUE(state.panels().showDrawer()) << "the structure shows where the drawer does";
    ASSERT_TRUE(readDocument(state, u"style.css"_s));
    EXPECT_EQ(state.structure().path(), u"style.css"_s);
    EXPECT_EQ(state.structure().document()->program, u"CSS"_s);
    KeyRouter router(state);
    ASSERT_TRUE(router.handle({ Qt::Key_S, u"s"_s, Qt::NoModifier }));
    EXPECT_EQ(state.structure().path(), std::nullopt);
}

TEST(Structure, AFileGoneSinceTheScanSaysSoAndANewFolderClosesIt)
{
    Sources sources;
    AppState state(nullptr, false);
    openAndWait(state, sources.path());
    ASSERT_TRUE(QFile::remove(sources.path(u"src/gone.js"_s)));
    readDocument(state, u"src/gone.js"_s);
    EXPECT_EQ(state.structure().path(), std::nullopt);
    EXPECT_EQ(state.errorMessage(), u"src/gone.js can't be read now."_s);

    ASSERT_TRUE(readDocument(state, u"app.js"_s));
    TempFolder other;
    other.write(u"x.js"_s, script);
    openAndWait(state, other.path());
    EXPECT_EQ(state.structure().path(), std::nullopt);
    EXPECT_EQ(state.structure().document(), nullptr);
}

} // namespace
