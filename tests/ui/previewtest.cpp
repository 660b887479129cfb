// The preview: the panel alone through `korvane preview`, and inside the real window under a virtual
// display, driven by keys, with the state it leaves checked.

#include "display.h"

#include <gtest/gtest.h>

#include <QColor>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

#if defined(__has_feature)
#define KORVANE_CLANG_ASAN __has_feature(address_sanitizer)
#else
#define KORVANE_CLANG_ASAN 0
#endif

using namespace Qt::StringLiterals;

namespace {

QJsonObject parse(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << json.toStdString();
    return document.object();
}

// A field by its path: "preview/drawing/vias", "preview/minimapBand/0".
QJsonValue field(const QJsonObject& state, const QString& path)
{
    QJsonValue value = state;
    for (const QString& key : path.split(u'/'))
        value = value.isArray() ? value.toArray().at(key.toInt()) : value.toObject().value(key);
    return value;
}

const QByteArray board = R"((kicad_pcb (version 20221018) (generator pcbnew)
  (layers (0 "F.Cu" signal) (31 "B.Cu" signal) (44 "Edge.Cuts" user))
  (gr_rect (start 0 0) (end 40 30) (layer "Edge.Cuts") (width 0.1))
  (footprint "R_0603" (layer "F.Cu") (at 10 10 90)
    (fp_text reference "R1" (at 0 -1.4) (layer "F.SilkS") (effects (font (size 1 1) (thickness 0.15))))
    (pad "1" smd rect (at -0.8 0) (size 0.9 0.95) (layers "F.Cu"))
    (pad "2" smd rect (at 0.8 0) (size 0.9 0.95) (layers "F.Cu")))
  (segment (start 10 10) (end 20 10) (width 0.25) (layer "F.Cu") (net 1))
  (segment (start 20 10) (end 20 20) (width 0.25) (layer "F.Cu") (net 1))
  (segment (start 20 20) (end 30 20) (width 0.5) (layer "B.Cu") (net 1))
  (via (at 20 20) (size 0.8) (drill 0.4) (layers "F.Cu" "B.Cu") (net 1))
  (via (at 30 20) (size 0.8) (drill 0.4) (layers "F.Cu" "B.Cu") (net 1))
)
)";

// A folder with one file of each kind the preview tells apart.
const TempFolder& kinds()
{
    static TempFolder folder;
    static const bool made = [] {
        folder.write(u"main.cpp"_s, "// greet\nint main() { return puts(\"hi\"); }\n");
        folder.write(u"README.md"_s, "# Title\n\nBody text in a paragraph.\n\n- one\n- two\n");
        folder.write(u"page.html"_s, "<h1>Page</h1><p>text</p>\n");
        folder.write(u"board.kicad_pcb"_s, board);
        folder.write(u"notes.weird"_s, "plain words\n");
        folder.write(u"blob.bin"_s,
            QByteArray("\x00\x01\x02"
                       "ABCDEFGHIJKLMNOPQRSTUVWXYZ",
                29));
        folder.write(u"broken.txt"_s, QByteArray("ok \xff\xfe bad \x01 ctl\n"));
        folder.write(u"icon.svg"_s,
            R"(<svg xmlns="http://www.w3.org/2000/svg" width="40" height="20"><rect width="40" height="20" fill="red"/></svg>)");
        QImage picture(30, 10, QImage::Format_RGB32);
        picture.fill(Qt::blue);
        return picture.save(folder.path(u"shot.png"_s));
    }();
    EXPECT_TRUE(made);
    return folder;
}

struct PreviewCase {
    const char* name;
    const char* file;
    QStringList options;
    QHash<QString, QJsonValue> expected;
};

void PrintTo(const PreviewCase& c, std::ostream* os)
{
    *os << c.name;
}

class PreviewCommand : public ::testing::TestWithParam<PreviewCase> { };

TEST_P(PreviewCommand, ShowsEachFileAsItsKindAsks)
{
    const PreviewCase& c = GetParam();
    TempFolder out;
    const Outcome run
        = korvane(QStringList { u"preview"_s, kinds().path(QString::fromUtf8(c.file)), u"--out"_s,
                      out.path(u"p.png"_s), u"--print-state"_s, u"--size"_s, u"700x500"_s }
            + c.options);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject state = parse(run.out);
    for (auto it = c.expected.cbegin(); it != c.expected.cend(); ++it)
        EXPECT_EQ(field(state, it.key()), it.value())
            << it.key().toStdString() << " in " << run.out.toStdString();
    EXPECT_EQ(QImage(out.path(u"p.png"_s)).size(), QSize(700, 500));
}

INSTANTIATE_TEST_SUITE_P(Files, PreviewCommand,
    ::testing::Values(
        PreviewCase { "Source", "main.cpp", {}, { { u"previewKind"_s, u"text"_s }, { u"lines"_s, 2 } } },
        PreviewCase { "UnknownExtensionIsText", "notes.weird", {}, { { u"previewKind"_s, u"text"_s } } },
        PreviewCase { "Markdown", "README.md", {}, { { u"previewKind"_s, u"markdown"_s } } },
        PreviewCase { "MarkdownRaw", "README.md", { u"--raw"_s },
            { { u"previewKind"_s, u"text"_s }, { u"lines"_s, 6 } } },
        PreviewCase { "Html", "page.html", {}, { { u"previewKind"_s, u"markdown"_s } } },
        PreviewCase { "Png", "shot.png", {},
            { { u"previewKind"_s, u"image"_s }, { u"imageSize"_s, QJsonArray { 30, 10 } } } },
        PreviewCase { "Svg", "icon.svg", {},
            { { u"previewKind"_s, u"image"_s }, { u"imageSize"_s, QJsonArray { 40, 20 } } } },
        PreviewCase { "SvgRaw", "icon.svg", { u"--raw"_s }, { { u"previewKind"_s, u"text"_s } } },
        PreviewCase { "Board", "board.kicad_pcb", {}, { { u"previewKind"_s, u"drawing"_s } } },
        PreviewCase { "BoardRaw", "board.kicad_pcb", { u"--raw"_s }, { { u"previewKind"_s, u"text"_s } } },
        PreviewCase { "BinaryOpensInHex", "blob.bin", {},
            { { u"previewKind"_s, u"bytes"_s },
                { u"hexFirstRow"_s,
                    u"00000000  00 01 02 41 42 43 44 45  46 47 48 49 4a 4b 4c 4d  ···ABCDEFGHIJKLM"_s } } },
        PreviewCase { "HexOfText", "notes.weird", { u"--hex"_s },
            { { u"previewKind"_s, u"bytes"_s },
                { u"hexFirstRow"_s,
                    u"00000000  70 6c 61 69 6e 20 77 6f  72 64 73 0a              plain words·"_s } } },
        PreviewCase {
            "BadUtf8AndControls", "broken.txt", {}, { { u"previewKind"_s, u"text"_s }, { u"lines"_s, 1 } } },
        PreviewCase {
            "LineAsked", "README.md", { u"--raw"_s, u"--line"_s, u"5"_s }, { { u"markedLine"_s, 4 } } }),
    rowName);

// The drawing's own item list holds every track, via and pad the board file lists.
TEST(PreviewCommandTest, ABoardIsDrawnWithEveryTrackViaAndPadOfItsFile)
{
    TempFolder out;
    const Outcome run = korvane({ u"preview"_s, kinds().path(u"board.kicad_pcb"_s), u"--out"_s,
        out.path(u"p.png"_s), u"--print-state"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject drawing = parse(run.out)[u"drawing"_s].toObject();
    EXPECT_EQ(drawing[u"tracks"_s].toInteger(), board.count("(segment "));
    EXPECT_EQ(drawing[u"vias"_s].toInteger(), board.count("(via "));
    EXPECT_EQ(drawing[u"pads"_s].toInteger(), board.count("(pad "));
    EXPECT_EQ(drawing[u"texts"_s].toInteger(), board.count("(fp_text "));
}

TEST(PreviewCommandTest, AMarkdownHeadingIsDrawnLargerThanItsBody)
{
    TempFolder out;
    const Outcome run = korvane(
        { u"preview"_s, kinds().path(u"README.md"_s), u"--out"_s, out.path(u"p.png"_s), u"--print-state"_s });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_GT(parse(run.out)[u"headingScale"_s].toDouble(), 1.3);
}

TEST(PreviewCommandTest, BadInputSaysWhyInOneLine)
{
    TempFolder out;
    const Outcome missing
        = korvane({ u"preview"_s, out.path(u"nope.txt"_s), u"--out"_s, out.path(u"p.png"_s) });
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.endsWith(
        QByteArray("korvane: " + out.path(u"nope.txt"_s).toUtf8() + " is not a file.\n")))
        << missing.err.toStdString();
    const Outcome noOut = korvane({ u"preview"_s, kinds().path(u"main.cpp"_s) });
    EXPECT_EQ(noOut.exitCode, 2);
    EXPECT_TRUE(noOut.err.endsWith("korvane: preview needs --out FILE.png\n")) << noOut.err.toStdString();
}

// Colours by role, read back from the picture: a comment, a string and a keyword in three families
// are each drawn in a colour of their own, unlike the plain text beside them.
TEST(PreviewCommandTest, CommentsStringsAndKeywordsAreColouredInEveryFamily)
{
    TempFolder folder;
    const char* files[][2] = { { "a.cpp", "return \"s\"; // c" }, { "a.py", "return \"s\"  # c" },
        { "a.lua", "return \"s\" -- c" } };
    for (const auto& file : files) {
        folder.write(QString::fromUtf8(file[0]), QByteArray(file[1]) + '\n');
        TempFolder out;
        const Outcome run = korvane({ u"preview"_s, folder.path(QString::fromUtf8(file[0])), u"--out"_s,
            out.path(u"p.png"_s), u"--size"_s, u"500x200"_s });
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        const QImage image(out.path(u"p.png"_s));
        // The colours of the first text line, left to right, each counted once.
        QList<QRgb> seen;
        const QRgb paper = image.pixel(image.width() - 5, image.height() - 5);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 60; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (c.rgb() != paper && c.saturation() > 60 && !seen.contains(c.rgb()))
                    seen << c.rgb();
            }
        }
        // Anti-aliasing blends a colour into its neighbours; the three roles stand out in hue.
        QSet<int> hues;
        for (const QRgb rgb : seen)
            hues << QColor(rgb).hue() / 30;
        EXPECT_GE(hues.size(), 2) << file[0];
    }
}

// The panel maps a large file and counts its lines on a worker: it opens without reading the whole
// file into memory.
TEST(PreviewCommandTest, ALargeLogOpensWithoutBeingLoaded)
{
    TempFolder folder;
    const QString log = folder.path(u"big.log"_s);
    {
        QFile file(log);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        QByteArray block;
        for (int i = 0; i < 20000; ++i)
            block += "2026-11-26 12:00:00 INFO request served in 12 ms from cache node "
                + QByteArray::number(i) + '\n';
        while (file.size() < (qint64(200) << 20))
            file.write(block);
    }
    TempFolder out;
    const QByteArray program = QByteArray(KORVANE_BINARY);
    const QByteArray path = log.toUtf8(), image = out.path(u"p.png"_s).toUtf8(),
                     stateFile = out.path(u"s.json"_s).toUtf8();
    const QByteArray script = "exec \"$0\" preview \"$1\" --out \"$2\" --print-state > \"$3\"";
    const char* argv[] = { "sh", "-c", script.constData(), program.constData(), path.constData(),
        image.constData(), stateFile.constData(), nullptr };
    pid_t pid = 0;
    // Leaks inside Qt's platform plugins are not ours; the unit tests check the program's own.
    std::vector<QByteArray> variables { "ASAN_OPTIONS=detect_leaks=0" };
    for (char** variable = environ; *variable; ++variable) {
        if (!QByteArray(*variable).startsWith("ASAN_OPTIONS="))
            variables.emplace_back(*variable);
    }
    std::vector<char*> environment;
    for (QByteArray& variable : variables)
        environment.push_back(variable.data());
    environment.push_back(nullptr);
    ASSERT_EQ(
        posix_spawn(&pid, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(argv), environment.data()),
        0);
    int status = 0;
    rusage usage {};
    ASSERT_EQ(wait4(pid, &status, 0, &usage), pid);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const QJsonObject state = parse(readFile(QString::fromUtf8(stateFile)));
    EXPECT_EQ(state[u"previewKind"_s].toString(), u"text"_s);
    EXPECT_TRUE(state[u"linesCounted"_s].toBool());
    EXPECT_GT(state[u"lines"_s].toInteger(), 2000000);
    // Peak memory in KiB: far below the file's 200 MiB. The address sanitizer's own bookkeeping
    // would swamp the figure, so it is measured without it.
#if !defined(__SANITIZE_ADDRESS__) && !KORVANE_CLANG_ASAN
    EXPECT_LT(usage.ru_maxrss, 120 * 1024);
#endif
}

// The window itself, with keys played from the environment, remembering nothing from another run;
// the state they leave.
QJsonObject playKeys(const QString& folder, const QString& keys)
{
    TempFolder out;
    const Outcome run = korvaneOnDisplay({ folder },
        { { u"KORVANE_KEYS"_s, keys }, { u"KORVANE_STATE"_s, out.path(u"state.json"_s) },
            { u"KORVANE_SIZE"_s, u"1200x700"_s }, { u"XDG_CONFIG_HOME"_s, out.path(u"config"_s) } },
        true);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    return parse(readFile(out.path(u"state.json"_s)));
}

const TempFolder& longFile()
{
    static TempFolder folder;
    static const bool made = [] {
        QByteArray text;
        for (int i = 1; i <= 3000; ++i)
            text += "int value" + QByteArray::number(i) + " = " + QByteArray::number(i) + ";"
                + (i % 1000 == 0 ? " // marker" : "") + '\n';
        folder.write(u"long.cpp"_s, text);
        folder.write(u"README.md"_s, "# Read me\n");
        return true;
    }();
    EXPECT_TRUE(made);
    return folder;
}

struct KeysCase {
    const char* name;
    const char* keys;
    QHash<QString, QJsonValue> expected;
};

void PrintTo(const KeysCase& c, std::ostream* os)
{
    *os << c.name;
}

class PreviewKeys : public ::testing::TestWithParam<KeysCase> { };

TEST_P(PreviewKeys, LeaveTheirState)
{
    const KeysCase& c = GetParam();
    const QJsonObject state = playKeys(longFile().path(), QString::fromUtf8(c.keys));
    for (auto it = c.expected.cbegin(); it != c.expected.cend(); ++it)
        EXPECT_EQ(field(state, it.key()), it.value())
            << it.key().toStdString() << " in " << QJsonDocument(state).toJson().toStdString();
}

const QJsonValue null;

INSTANTIATE_TEST_SUITE_P(Window, PreviewKeys,
    ::testing::Values(KeysCase { "SpaceShowsTheSelectedFile", "/ l o n g Return Space",
                          { { u"showPreview"_s, true }, { u"previewKind"_s, u"text"_s },
                              { u"preview/file"_s, u"long.cpp"_s }, { u"preview/lines"_s, 3000 } } },
        KeysCase { "SpaceAgainHidesIt", "/ l o n g Return Space Space",
            { { u"showPreview"_s, false }, { u"previewKind"_s, null } } },
        KeysCase { "AFolderSelectedShowsNothing", "Space",
            { { u"showPreview"_s, true }, { u"preview/file"_s, null } } },
        KeysCase { "MShowsTheMinimapAtTheTop", "/ l o n g Return Space m",
            { { u"showMinimap"_s, true }, { u"preview/minimapBand/0"_s, 0 } } },
        KeysCase { "XShowsTheBytes", "/ l o n g Return Space x",
            { { u"hexMode"_s, true }, { u"previewKind"_s, u"bytes"_s } } },
        KeysCase { "VShowsMarkdownsSource", "/ r e a d Return Space v",
            { { u"rawSource"_s, true }, { u"previewKind"_s, u"text"_s } } },
        KeysCase { "VOnTextSaysWhy", "/ l o n g Return Space v",
            { { u"rawSource"_s, false },
                { u"errorMessage"_s,
                    u"v shows the source of Markdown, HTML, SVG, boards and schematics; long.cpp is shown as it is."_s } } },
        KeysCase { "TheTextSearchOpensAtTheFirstHit", "Space / Tab m a r k e r Down",
            { { u"preview/file"_s, u"long.cpp"_s }, { u"preview/markedLine"_s, 999 } } },
        KeysCase { "F3StepsToTheNextHit", "Space / Tab m a r k e r Down F3 F3",
            { { u"preview/markedLine"_s, 2999 } } },
        KeysCase { "ShiftSpaceGivesThePreviewTheArrows",
            "/ l o n g Return Space Shift+Space Down Down Down Up",
            { { u"previewKeys"_s, true }, { u"selection"_s, u"long.cpp"_s }, { u"preview/topLine"_s, 2 } } },
        KeysCase { "EscapeTakesThemBack", "/ l o n g Return Space Shift+Space Escape Down",
            { { u"previewKeys"_s, false }, { u"preview/topLine"_s, 0 } } },
        KeysCase { "WithASearchTheArrowsGoFromHitToHit",
            "Space / Tab m a r k e r Down Return Shift+Space Down",
            { { u"preview/markedLine"_s, 1999 }, { u"previewKeys"_s, true } } },
        KeysCase { "ShiftF3StepsBack", "Space / Tab m a r k e r Down F3 Shift+F3",
            { { u"preview/markedLine"_s, 999 } } }),
    rowName);

// In the history view the preview shows the file as it was at the playhead, with the commit named
// above it; a file stored with Git LFS whose content was never fetched says so.
TEST(PreviewWindow, HistoryShowsTheFileAtThePlayhead)
{
    GitRepo repo;
    repo.write(u"a.txt"_s, "one\n");
    repo.commitAll(u"first"_s, 1700000000);
    repo.write(u"a.txt"_s, "one\ntwo\n");
    repo.write(u"big.bin"_s,
        "version https://git-lfs.github.com/spec/v1\noid "
        "sha256:4d7a214614ab2935c943f9e0ff69d22eadbb8f32b1258daaa5e2ca24d17e2393\nsize 12345\n");
    repo.commitAll(u"second"_s, 1700000100);
    const QJsonObject last = playKeys(repo.path(), u"Space 3 / a . t x t Return"_s);
    EXPECT_EQ(field(last, u"preview/lines"_s).toInteger(), 2);
    EXPECT_TRUE(field(last, u"preview/caption"_s).toString().endsWith(u" · second"_s))
        << field(last, u"preview/caption"_s).toString().toStdString();
    const QJsonObject before = playKeys(repo.path(), u"Space 3 / a . t x t Return ,"_s);
    EXPECT_EQ(field(before, u"preview/lines"_s).toInteger(), 1);
    EXPECT_TRUE(field(before, u"preview/caption"_s).toString().endsWith(u" · first"_s));
    const QJsonObject lfs = playKeys(repo.path(), u"/ b i g Return Space"_s);
    EXPECT_EQ(field(lfs, u"preview/message"_s).toString(),
        u"big.bin is a Git LFS pointer; its content is not here."_s);
    const QJsonObject lfsThen = playKeys(repo.path(), u"Space 3 / b i g Return"_s);
    EXPECT_EQ(field(lfsThen, u"preview/message"_s).toString(),
        u"big.bin is stored with Git LFS, and its content is not here."_s);
}

// The minimap's framed band is where the screen is: it moves down as the text scrolls.
TEST(PreviewWindow, TheMinimapBandFollowsTheScreen)
{
    const QJsonObject top = playKeys(longFile().path(), u"/ l o n g Return Space m"_s);
    const QJsonObject paged = playKeys(longFile().path(), u"/ l o n g Return Space m PgDown PgDown"_s);
    const qint64 lines = field(top, u"preview/minimapBand/1"_s).toInteger();
    ASSERT_GT(lines, 10);
    EXPECT_EQ(field(paged, u"preview/topLine"_s).toInteger(), 2 * (lines - 1));
    EXPECT_GT(field(paged, u"preview/minimapBand/0"_s).toInteger(),
        field(top, u"preview/minimapBand/0"_s).toInteger());
}

} // namespace
