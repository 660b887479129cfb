#include "document/markup/markupreader.h"
#include "document/readerrow.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

namespace {

// Elements on one line: "div#main.a.… 'text' [on: save()] (0-2) { … }".
std::string shape(const std::vector<MarkupElement>& elements)
{
    std::string out;
    for (const MarkupElement& element : elements) {
        if (!out.empty())
            out += "; ";
        out += element.name().toStdString();
        if (element.kind != MarkupElement::Kind::element)
            out += '<' + markupElementKindName(element.kind).toStdString() + '>';
        if (!element.source.isEmpty())
            out += " src=" + element.source.toStdString();
        if (!element.text.isEmpty())
            out += " '" + element.text.toStdString() + '\'';
        if (!element.handlers.isEmpty())
            out += " [on: " + element.handlers.join(" | ").toStdString() + ']';
        if (!element.code.isEmpty())
            out += " code'" + element.code.toStdString() + '\'';
        out += " (" + std::to_string(element.line) + '-' + std::to_string(element.endLine) + ')';
        if (!element.children.empty())
            out += " { " + shape(element.children) + " }";
    }
    return out;
}

} // namespace

class MarkupElements : public testing::TestWithParam<ReaderRow> { };

TEST_P(MarkupElements, ReadTheElementTreeForgivingly)
{
    EXPECT_EQ(shape(MarkupReader::read(GetParam().text).elements), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, MarkupElements,
    testing::Values(ReaderRow { "voidElementsTakeNoChildren", "<p><br><img src=x.png>text</p>",
                        "p 'text' (0-0) { br (0-0); img (0-0) }" },
        ReaderRow { "idAndClasses", "<div id=main class=\"a  b\">", "div#main.a.… (0-0)" },
        ReaderRow { "oneClass", "<DIV Class='solo'></div>", "div.solo (0-0)" },
        ReaderRow { "inlineHandler", "<button onclick=\"save()\" onkeyup='' ONFOCUS=go()>Save</button>",
            "button 'Save' [on: save() | go()] (0-0)" },
        ReaderRow { "selfClosing", "<svg><path d=\"M0 0\"/><g/></svg>", "svg (0-0) { path (0-0); g (0-0) }" },
        ReaderRow { "closingTagClosesInnerOnes", "<div>\n<span><b>x\n</div><p>after</p>",
            "div (0-2) { span (1-2) { b 'x' (1-2) } }; p 'after' (2-2)" },
        ReaderRow { "strayClosingTagIsIgnored", "<ul></b><li>a</li></ul>", "ul (0-0) { li 'a' (0-0) }" },
        ReaderRow { "unclosedAtTheEnd", "<main>\n<section>\nend", "main (0-2) { section 'end' (1-2) }" },
        ReaderRow {
            "listItemsCloseEachOther", "<ul><li>a<li>b</ul>", "ul (0-0) { li 'a' (0-0); li 'b' (0-0) }" },
        ReaderRow { "blocksCloseParagraphs", "<p>one<div>two</div>", "p 'one' (0-0); div 'two' (0-0)" },
        ReaderRow { "cellsAndRows", "<table><tr><td>1<td>2<tr><td>3</table>",
            "table (0-0) { tr (0-0) { td '1' (0-0); td '2' (0-0) }; tr (0-0) { td '3' (0-0) } }" },
        ReaderRow { "commentsAndDeclarationsAreSkipped",
            "<!DOCTYPE html><!-- <p>not</p> --><?xml x?><p>yes</p>", "p 'yes' (0-0)" },
        ReaderRow { "scriptIsReadRaw", "<script>if (a < b) x = \"</div>\";</script><p>x</p>",
            "script<script> code'if (a < b) x = \"</div>\";' (0-0); p 'x' (0-0)" },
        ReaderRow {
            "styleIsReadRaw", "<style>\na > b { }\n</STYLE>", "style<style> code'\na > b { }\n' (0-2)" },
        ReaderRow { "linkedFiles",
            "<script src=\"app.js\"></script><link rel=\"Stylesheet preload\" href=a.css><link rel=icon "
            "href=i.png>",
            "script<link> src=app.js (0-0); link<link> src=a.css (0-0); link (0-0)" },
        ReaderRow { "textIsCollapsedAndDecoded",
            "<h1>\n  Fish &amp; chips\n  &#8364;5 &euro;&nbsp;&bogus;</h1>",
            "h1 'Fish & chips €5 € &bogus;' (0-2)" },
        ReaderRow {
            "onlyTheFirstText", "<p>first<b>bold</b>second</p>", "p 'first' (0-0) { b 'bold' (0-0) }" },
        ReaderRow { "lessThanInText", "<p>a < b</p>", "p 'a < b' (0-0)" },
        ReaderRow { "tagAtTheVeryEnd", "<p>x</p><", "p 'x' (0-0)" },
        ReaderRow { "unterminatedAttribute", "<a href=\"x>y", "a (0-0)" }),
    rowName);

TEST(MarkupReader, LongTextIsShortened)
{
    const QByteArray eighty(80, 'x');
    EXPECT_EQ(MarkupReader::read(QByteArray("<p>" + eighty + "</p>")).elements.at(0).text, eighty);
    const QByteArray long81 = QByteArray("é").repeated(81);
    EXPECT_EQ(MarkupReader::read(QByteArray("<p>" + long81 + "</p>")).elements.at(0).text,
        QByteArray("é").repeated(78) + "…")
        << "characters, not bytes, are counted and kept";
}

TEST(MarkupReader, ScriptBlocksKnowWhereTheirCodeStarts)
{
    const QByteArray page = "<html>\n<body>\n<script type=module>\nrun();\n</script>\n</body>";
    const MarkupReader::Reading reading = MarkupReader::read(page);
    const MarkupElement& script = reading.elements.at(0).children.at(0).children.at(0);
    EXPECT_EQ(script.kind, MarkupElement::Kind::script);
    EXPECT_EQ(script.type, "module");
    EXPECT_EQ(script.codeLine, 2);
    EXPECT_EQ(script.codeStart, page.indexOf("module>") + 7);
    EXPECT_EQ(script.code, "\nrun();\n");
    EXPECT_EQ(script.line, 2);
    EXPECT_EQ(script.endLine, 4);
}

TEST(MarkupReader, StopsAfterThreeThousandElements)
{
    const auto page = [](int count) {
        QByteArray text = "<body>";
        for (int i = 1; i < count; ++i)
            text += "<i>" + QByteArray::number(i) + "</i>";
        return text;
    };
    const MarkupReader::Reading full = MarkupReader::read(page(3000));
    EXPECT_FALSE(full.truncated);
    EXPECT_EQ(full.elements.at(0).children.size(), 2999u);

    const MarkupReader::Reading over = MarkupReader::read(page(3001));
    EXPECT_TRUE(over.truncated);
    ASSERT_EQ(over.elements.at(0).children.size(), 2999u) << "the 3,000th element is the last one read";
    EXPECT_EQ(over.elements.at(0).children.back().text, "2999");
}

TEST(MarkupReader, DeepNestingIsReadWithoutRecursion)
{
    const MarkupReader::Reading reading = MarkupReader::read(QByteArray("<div>").repeated(100000));
    EXPECT_TRUE(reading.truncated);
    qsizetype depth = 0;
    for (const MarkupElement* element = &reading.elements.at(0); !element->children.empty();
         element = &element->children.front())
        ++depth;
    EXPECT_EQ(depth, MarkupReader::elementLimit - 1);
}
