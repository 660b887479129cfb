#include "preview/previewkind.h"

#include <gtest/gtest.h>

namespace {

struct KindCase {
    const char* name;
    QByteArray head;
    qint64 size;
    PreviewKind kind;
};

TEST(PreviewKindTest, EachFileGetsTheViewThatSuitsIt)
{
    const QByteArray text = "int main() {}\n";
    const KindCase cases[] = {
        { "main.cpp", text, 14, PreviewKind::text },
        { "notes.unknownext", text, 14, PreviewKind::text },
        { "Makefile", text, 14, PreviewKind::text },
        { "README.md", "# Title\n", 8, PreviewKind::markdown },
        { "index.HTML", "<p>x</p>", 8, PreviewKind::markdown },
        { "logo.png", "\x89PNG\r\n", 6, PreviewKind::image },
        { "icon.svg", "<svg/>", 6, PreviewKind::image },
        { "board.kicad_pcb", "(kicad_pcb)", 11, PreviewKind::drawing },
        { "top.kicad_sch", "(kicad_sch)", 11, PreviewKind::drawing },
        { "lib.so",
            "\x7f"
            "ELF",
            4, PreviewKind::bytes },
        // A zero byte makes any file binary, whatever its name says.
        { "data.txt", QByteArray("ab\0cd", 5), 5, PreviewKind::bytes },
        // Rendering reads the whole file; past the limit the text view maps it instead.
        { "huge.md", "# Title\n", Preview::renderLimitBytes + 1, PreviewKind::text },
        { "huge.kicad_pcb", "(kicad_pcb)", Preview::renderLimitBytes + 1, PreviewKind::text },
    };
    for (const KindCase& c : cases)
        EXPECT_EQ(Preview::kindFor(QString::fromUtf8(c.name), c.size, c.head), c.kind) << c.name;
}

TEST(PreviewKindTest, HexOverridesEverythingAndRawOnlyWhatIsRendered)
{
    using enum PreviewKind;
    EXPECT_EQ(Preview::shownKind(image, u"a.png", true, false), bytes);
    EXPECT_EQ(Preview::shownKind(markdown, u"a.md", false, true), text);
    EXPECT_EQ(Preview::shownKind(drawing, u"a.kicad_pcb", false, true), text);
    EXPECT_EQ(Preview::shownKind(image, u"a.svg", false, true), text);
    EXPECT_EQ(Preview::shownKind(image, u"a.png", false, true), image);
    EXPECT_EQ(Preview::shownKind(bytes, u"a.so", false, true), bytes);
}

} // namespace
