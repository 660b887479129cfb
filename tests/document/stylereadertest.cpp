#include "document/style/stylereader.h"
#include "document/readerrow.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

namespace {

// Rules on one line: "rule a:hover (1 declaration) [a] { … }", with what each defines, uses and
// animates when it does.
std::string shape(const std::vector<StyleRule>& rules)
{
    std::string out;
    for (const StyleRule& rule : rules) {
        if (!out.empty())
            out += "; ";
        out += styleRuleKindName(rule.kind).toStdString() + ' ' + rule.name.toStdString();
        if (!rule.detail.isEmpty())
            out += " (" + rule.detail.toStdString() + ')';
        const auto list = [&](const char* label, const QByteArrayList& names) {
            if (!names.isEmpty())
                out += std::string(" ") + label + '[' + names.join(' ').toStdString() + ']';
        };
        list("targets", rule.targets);
        list("defines", rule.defines);
        list("uses", rule.uses);
        list("animates", rule.animations);
        if (!rule.children.empty())
            out += " { " + shape(rule.children) + " }";
    }
    return out;
}

} // namespace

class StyleRules : public testing::TestWithParam<ReaderRow> { };

TEST_P(StyleRules, ReadsRulesAndWhatTheyName)
{
    EXPECT_EQ(shape(StyleReader::read(GetParam().text).rules), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, StyleRules,
    testing::Values(ReaderRow { "whiteSpaceInSelectors", "a:hover,  .menu\n  li { color: red }",
                        "rule a:hover, .menu li (1 declaration) targets[a .menu li]" },
        ReaderRow { "media", "@media (max-width: 600px) { .x { color: red } }",
            "media @media (max-width: 600px) (1 rule) { rule .x (1 declaration) targets[.x] }" },
        ReaderRow { "animationKeywords", ".s { animation: spin 2s linear infinite }",
            "rule .s (1 declaration) targets[.s] animates[spin]" },
        ReaderRow { "animationFunctions",
            ".s { animation: a 1s cubic-bezier(0.1, 0.7, 1, 0.1), b 2s steps(4, end) both }",
            "rule .s (1 declaration) targets[.s] animates[a b]" },
        ReaderRow { "animationName", ".s { Animation-Name: fade, slide !important }",
            "rule .s (1 declaration) targets[.s] animates[fade slide]" },
        ReaderRow { "customProperties",
            ":root { --accent: teal } a { color: var(--accent, red); margin: var( --gap ) }",
            "rule :root (1 declaration) defines[--accent]; rule a (2 declarations) targets[a] uses[--accent "
            "--gap]" },
        ReaderRow { "keyframes", "@keyframes spin { from { top: 0 } 50% { top: 1px } to { top: 0 } }",
            "keyframes @keyframes spin (3 rules) { rule from (1 declaration); rule 50% (1 declaration); "
            "rule to (1 declaration) }" },
        ReaderRow { "webkitKeyframesAndOthers",
            "@-webkit-keyframes x {} @supports (gap: 1px) {} @layer base {}",
            "keyframes @-webkit-keyframes x (0 rules); supports @supports (gap: 1px) (0 rules); "
            "atRule @layer base (0 rules)" },
        ReaderRow { "statements", "@charset \"utf-8\";\n@import url(\"a.css\") screen;",
            "statement @charset \"utf-8\"; statement @import url(\"a.css\") screen" },
        ReaderRow { "declarationsInAnAtRule", "@font-face { font-family: X; --weight: 400; }",
            "atRule @font-face (0 rules) defines[--weight]" },
        ReaderRow { "bracesInStringsAndComments", "a::after { content: \"}\" } /* { */ b { c: d }",
            "rule a::after (1 declaration) targets[a]; rule b (1 declaration) targets[b]" },
        ReaderRow { "semicolonsInUrls", "a { background: url(data:image/png;base64,AA==); color: red }",
            "rule a (2 declarations) targets[a]" },
        ReaderRow { "emptySelector", "{ color: red }", "rule { } (1 declaration)" },
        ReaderRow { "scssNesting", ".card { // note {\n padding: 0; &:hover { color: red; } .t { --x: 1 } }",
            "rule .card (3 declarations) targets[.card] defines[--x]" },
        ReaderRow { "unclosedBlock", "a { color: red", "rule a (1 declaration) targets[a]" },
        ReaderRow { "strayBrace", "} a { b: c }", "rule a (1 declaration) targets[a]" },
        ReaderRow { "unterminatedComment", "a { b: c } /* never", "rule a (1 declaration) targets[a]" }),
    rowName);

class StyleTargets : public testing::TestWithParam<std::pair<const char*, const char*>> { };

TEST_P(StyleTargets, NameIdsClassesAndTags)
{
    EXPECT_EQ(StyleReader::targets(GetParam().first).join(' ').toStdString(), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Table, StyleTargets,
    testing::Values(std::pair { "a:hover,  .menu  li", "a .menu li" },
        std::pair { "DIV#Main.a.b", "div #Main .a .b" }, std::pair { "input[type=text].wide", "input .wide" },
        std::pair { "li:not(.x) > SPAN + em ~ b", "li span em b" }, std::pair { "a::before, a:hover", "a" },
        std::pair { "*, & > .x-1_y", ".x-1_y" }, std::pair { "", "" }));

TEST(StyleReader, LongSelectorsAreShortened)
{
    const QByteArray selector = "." + QByteArray(199, 'a');
    const StyleRule rule = StyleReader::read(QByteArray(selector + " { color: red }")).rules.at(0);
    EXPECT_EQ(rule.name, selector.first(158) + "…");
    EXPECT_EQ(rule.targets.join(' '), selector) << "targets come from the whole selector";
    EXPECT_EQ(
        StyleReader::read(QByteArray(QByteArray(160, 'a') + " {}")).rules.at(0).name, QByteArray(160, 'a'));
}

TEST(StyleReader, LinesAndOffsetsOfRules)
{
    const QByteArray text = "a {}\n\n@media print {\n  .x {\n    color: red;\n  }\n}\n";
    const std::vector<StyleRule> rules = StyleReader::read(text).rules;
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[1].line, 2);
    EXPECT_EQ(rules[1].endLine, 6);
    EXPECT_EQ(rules[1].start, text.indexOf("@media"));
    EXPECT_EQ(rules[1].end, text.lastIndexOf('}') + 1);
    EXPECT_EQ(rules[1].children.at(0).line, 3);
    EXPECT_EQ(rules[1].children.at(0).endLine, 5);
}

TEST(StyleReader, KeepsTheFirstRulesWithinItsBudget)
{
    QByteArray text;
    for (int i = 0; i < 1501; ++i)
        text += ".r" + QByteArray::number(i) + " {}\n";
    const StyleReader::Reading reading = StyleReader::read(text);
    ASSERT_EQ(reading.rules.size(), 1500u);
    EXPECT_EQ(reading.rules.back().name, ".r1499");
    EXPECT_TRUE(reading.truncated);
}

TEST(StyleReader, ASheetPastItsLimitKeepsTheRulesBeforeIt)
{
    const QByteArray text = "a { color: red }\n" + QByteArray(StyleReader::characterLimit, ' ') + "b { }\n";
    const StyleReader::Reading reading = StyleReader::read(text);
    ASSERT_EQ(reading.rules.size(), 1u);
    EXPECT_EQ(reading.rules.front().name, "a");
    EXPECT_TRUE(reading.truncated);
}

TEST(StyleReader, AtRulesNestedTooDeepAreShownWithoutTheirContents)
{
    QByteArray text;
    for (int i = 0; i < 40; ++i)
        text += "@media screen {";
    text += ".x { color: red }";
    const std::vector<StyleRule> rules = StyleReader::read(text).rules;
    qsizetype depth = 0;
    const StyleRule* rule = &rules.at(0);
    while (!rule->children.empty()) {
        rule = &rule->children.front();
        ++depth;
    }
    EXPECT_EQ(depth, StyleReader::depthLimit);
    EXPECT_EQ(rule->kind, StyleRule::Kind::media);
}
