#include "engineering/sexpr.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

SExpr parsed(const QByteArray& text)
{
    const auto value = SExpr::parse(text);
    EXPECT_TRUE(value.has_value()) << text.toStdString();
    return value ? *value : *SExpr::parse("()");
}

// The value written back in one line, atoms in brackets so that empty ones and spaces show.
std::string shape(const SExpr& value)
{
    if (value.isAtom())
        return '[' + value.utf8().toByteArray().toStdString() + ']';
    std::string out = "(";
    for (qsizetype i = 0; i < value.size(); ++i)
        out += (i ? " " : "") + shape(value.item(i));
    return out + ")";
}

struct ReadCase {
    const char* name;
    QByteArray text;
    const char* shape;
};

void PrintTo(const ReadCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class SExprRead : public testing::TestWithParam<ReadCase> { };

TEST_P(SExprRead, ReadsTheFirstValueForgivingly)
{
    EXPECT_EQ(shape(parsed(GetParam().text)), GetParam().shape);
}

INSTANTIATE_TEST_SUITE_P(Table, SExprRead,
    testing::Values(ReadCase { "nested", "(a (b 1 2) (b 3) c)", "([a] ([b] [1] [2]) ([b] [3]) [c])" },
        ReadCase { "escapes", R"(("x y\"z" "t\tn\n" "\q\\"))", "([x y\"z] [t\tn\n] [q\\])" },
        ReadCase { "truncated", "(a (b", "([a] ([b]))" },
        ReadCase { "unclosedQuote", "(a \"rest of (it", "([a] [rest of (it])" },
        ReadCase { "backslashLast", "\"ab\\", "[ab\\]" },
        ReadCase { "comments", "; head\n(a ; one\n b;two\n ; three\n c)", "([a] [b;two] [c])" },
        ReadCase { "quoteInsideBareAtom", "(a\"b c)", "([a\"b] [c])" },
        ReadCase { "strayCloseAtTop", "  ) (a)", "[]" }, ReadCase { "onlyTheFirstValue", "(a) (b)", "([a])" },
        ReadCase { "bareAtomEndsAtParen", "ab(c)", "[ab]" },
        ReadCase { "crAndTabAreSpace", "(\ta\r\nb)", "([a] [b])" }, ReadCase { "emptyList", "( )", "()" },
        ReadCase { "listFirst", "((x) y)", "(([x]) [y])" },
        ReadCase { "utf8", "(naïve \"café ☕\")", "([naïve] [café ☕])" }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SExpr, NothingToReadIsNone)
{
    for (const char* text : { "", "  \n\t", "; only a comment", "; one\n; two\n" })
        EXPECT_FALSE(SExpr::parse(text).has_value()) << text;
}

TEST(SExpr, AccessorsFindNamedChildrenAndNumbers)
{
    const SExpr value = parsed("(a (b 1 2) (b 3) c)");
    EXPECT_EQ(value.name(), u"a");
    EXPECT_EQ(value.arguments().size(), 3u);
    EXPECT_EQ(value.children("b").size(), 2u);
    EXPECT_EQ(shape(*value.child("b")), "([b] [1] [2])");
    EXPECT_EQ(value.numbers("b"), (std::vector<double> { 1, 2 }));
    EXPECT_FALSE(value.child("c").has_value()) << "c is an atom, not a list named c";
    EXPECT_TRUE(value.numbers("missing").empty());

    const SExpr atom = parsed("x");
    EXPECT_FALSE(atom.name().has_value());
    EXPECT_TRUE(atom.arguments().empty());
    EXPECT_FALSE(atom.child("x").has_value());
    EXPECT_FALSE(parsed("()").name().has_value());
    EXPECT_FALSE(parsed("((a) b)").name().has_value());
    EXPECT_FALSE(parsed("(a)").number().has_value());
}

TEST(SExpr, NumbersTakeTheWholeAtomInTheCLocale)
{
    const std::pair<const char*, std::optional<double>> rows[] = { { "1e3", 1000 }, { "-2.5", -2.5 },
        { "+4", 4 }, { "0.1", 0.1 }, { "\" 1\"", std::nullopt }, { "\"1 \"", std::nullopt },
        { "1,5", std::nullopt }, { "12x", std::nullopt }, { "\"\"", std::nullopt }, { "+", std::nullopt },
        { "+-1", std::nullopt }, { "0x10", std::nullopt } };
    for (const auto& [text, number] : rows)
        EXPECT_EQ(parsed(text).number(), number) << text;
}

TEST(SExpr, DeepNestingIsReadWalkedAndFreedWithoutRecursion)
{
    constexpr int depth = 100000;
    const QByteArray text = QByteArray(depth, '(') + "core" + QByteArray(depth / 2, ')');
    std::optional<SExpr> value = SExpr::parse(text);
    ASSERT_TRUE(value.has_value());
    int levels = 1;
    SExpr at = *value;
    while (at.isList() && at.size() == 1 && at.item(0).isList()) {
        at = at.item(0);
        ++levels;
    }
    EXPECT_EQ(levels, depth);
    EXPECT_EQ(shape(at), "([core])");
    value.reset();
    EXPECT_EQ(at.item(0).text(), u"core") << "a value keeps the tree it came from";
}

TEST(SExpr, ReadsAMultiMegabyteBoard)
{
    QByteArray board = "(kicad_pcb (version 20221018) (generator pcbnew)\n";
    for (int i = 0; i < 20000; ++i) {
        board += "  (footprint \"R_0603\" (layer \"F.Cu\") (at " + QByteArray::number(i)
            + " 5.5 90)\n"
              "    (pad \"1\" smd roundrect (at -0.8 0) (size 0.9 0.95) (layers \"F.Cu\" \"F.Paste\")))\n"
              "  (segment (start 1.5 2) (end 3 4) (width 0.25) (layer \"F.Cu\") (net 3))\n";
    }
    board += ")";
    ASSERT_GT(board.size(), 3'000'000);
    const SExpr root = parsed(board);
    EXPECT_EQ(root.name(), u"kicad_pcb");
    const std::vector<SExpr> footprints = root.children("footprint");
    ASSERT_EQ(footprints.size(), 20000u);
    EXPECT_EQ(root.children("segment").size(), 20000u);
    EXPECT_EQ(footprints[12345].numbers("at"), (std::vector<double> { 12345, 5.5, 90 }));
    EXPECT_EQ(footprints[7].child("pad")->numbers("size"), (std::vector<double> { 0.9, 0.95 }));
    EXPECT_EQ(footprints[7].arguments()[0].text(), u"R_0603");
}
