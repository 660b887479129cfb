#include "document/script/scriptreader.h"
#include "document/readerrow.h"
#include "document/symbolshape.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

namespace {

using ScriptReader::Token;

std::string tokens(const QByteArray& text)
{
    std::string out;
    for (const Token& token : ScriptReader::tokenize(text)) {
        if (!out.empty())
            out += ' ';
        out += ScriptReader::tokenKindName(token.kind()).toStdString() + ':'
            + token.text(text).toByteArray().toStdString();
    }
    return out;
}

std::vector<ScriptSymbol> read(const QByteArray& text)
{
    return ScriptReader::read(text).symbols;
}

} // namespace

class ScriptTokens : public testing::TestWithParam<ReaderRow> { };

TEST_P(ScriptTokens, SplitsTheTextAsTheLanguageWould)
{
    EXPECT_EQ(tokens(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, ScriptTokens,
    testing::Values(ReaderRow { "divisionBetweenWords", "a / b / c", "word:a punct:/ word:b punct:/ word:c" },
        ReaderRow { "regexAfterAssignment", "x = /ab+c/g", "word:x punct:= regex:/ab+c/g" },
        ReaderRow { "regexAfterReturn", "return /x/", "word:return regex:/x/" },
        ReaderRow { "divisionAfterCall", "f(a) / 2", "word:f punct:( word:a punct:) punct:/ number:2" },
        ReaderRow { "divisionAfterIndex", "a[0] /b/ 2",
            "word:a punct:[ number:0 punct:] punct:/ word:b punct:/ number:2" },
        ReaderRow {
            "regexAtTheStart", "/^#/.test(s)", "regex:/^#/ punct:. word:test punct:( word:s punct:)" },
        ReaderRow { "slashInsideClass", "x(/[/]+/)", "word:x punct:( regex:/[/]+/ punct:)" },
        ReaderRow { "escapedSlash", "s = /a\\/b/i;", "word:s punct:= regex:/a\\/b/i punct:;" },
        ReaderRow { "regexAfterTypeof", "typeof /x/", "word:typeof regex:/x/" },
        ReaderRow { "newlineEndsARegex", "x = /open\ny", "word:x punct:= regex:/open word:y" },
        ReaderRow { "arrow", "a=>b==c", "word:a punct:=> word:b punct:= punct:= word:c" },
        ReaderRow {
            "templateWithBraces", "`a ${ {b: 1}.b } c` + d", "template:`a ${ {b: 1}.b } c` punct:+ word:d" },
        ReaderRow { "escapedQuote", "'it\\'s' + \"q\"", "string:'it\\'s' punct:+ string:\"q\"" },
        ReaderRow { "unterminatedStringEndsAtNewline", "\"open\nnext", "string:\"open word:next" },
        ReaderRow { "comments", "a // line /x/\n/* block\n b */ c", "word:a word:c" },
        ReaderRow { "unterminatedComment", "a /* never closed", "word:a" },
        ReaderRow { "numbers", "0x1F_n 1.5e3", "number:0x1F_ word:n number:1.5e3" },
        ReaderRow { "identifiers", "$el _x ünï", "word:$el word:_x word:ünï" }),
    rowName);

TEST(ScriptBrackets, PairsBracketsAndSurvivesStrayAndMissingOnes)
{
    const QByteArray text = "( [ { } ] ) ) { ( }";
    const std::vector<Token> all = ScriptReader::tokenize(text);
    const std::vector<qint32> match = ScriptReader::brackets(all, text);
    ASSERT_EQ(all.size(), 10u);
    EXPECT_EQ(match[0], 5);
    EXPECT_EQ(match[5], 0);
    EXPECT_EQ(match[1], 4);
    EXPECT_EQ(match[2], 3);
    EXPECT_EQ(match[6], -1) << "a stray closer pairs with nothing";
    EXPECT_EQ(match[7], 9) << "the brace closes, and the parenthesis left open inside it ends there";
    EXPECT_EQ(match[8], 9);
    EXPECT_EQ(match[9], 7);

    const QByteArray open = "{ (";
    const std::vector<Token> unclosed = ScriptReader::tokenize(open);
    EXPECT_EQ(ScriptReader::brackets(unclosed, open), (std::vector<qint32> { 2, 2 }))
        << "never closed: runs to the end";
}

class ScriptDeclarations : public testing::TestWithParam<ReaderRow> { };

TEST_P(ScriptDeclarations, FindsWhatIsDeclared)
{
    EXPECT_EQ(shape(read(GetParam().text)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, ScriptDeclarations,
    testing::Values(ReaderRow { "nothing", "console.log(1 + 2);", "" },
        ReaderRow { "function", "function add(a, b) { return a + b; }", "function add ((a, b))" },
        ReaderRow { "exportedAsync", "export default async function load() {}", "function load (())" },
        ReaderRow { "anonymousFunction", "(function () { function inner() {} })();",
            "function anonymous (()) { function inner (()) }" },
        ReaderRow { "generator", "function* ids(n) {}", "function ids ((n))" },
        ReaderRow { "classWithMembers",
            "class Menu extends Base { static count = 0; #open = false; constructor(el) { super(el); } "
            "get size() { return 1; } set size(v) {} async load() {} close = () => {}; }",
            "klass Menu (extends Base) { property count (0); property #open (false); method constructor "
            "((el)); "
            "getter size (()); setter size ((v)); method load (()); arrow close (() =>) }" },
        ReaderRow { "methodNamedGet", "class A { get() {} static() {} }",
            "klass A { method get (()); method static (()) }" },
        ReaderRow { "typeScriptMembers",
            "class Store<T extends Item> { private items: T[] = []; public name: string; "
            "subscribe(l: L): () => void { return () => {}; } }",
            "klass Store { property items ([]); property name; method subscribe ((l: L)) }" },
        ReaderRow { "variables", "const a = 1, b = f(2); let c = 'x'\nvar d = c",
            "variable a (1); variable b (f(2)); variable c ('x'); variable d (c)" },
        ReaderRow { "arrows", "const one = x => x * 2; const two = async (a, b) => { return a; };",
            "arrow one (x =>); arrow two ((a, b) =>)" },
        ReaderRow { "typedDeclarations",
            "const patch: PatchFn = (n1, n2) => { go(); };\nlet count: Map<string, number> = new Map()\n"
            "const queue: (job: Job) => void = flush\ninterface Box<T = Item> { x: T }\n"
            "interface Options<\n  Node = BaseNode,\n  Element = BaseElement,\n> { x: Node }\nlet a = 1, b = "
            "2",
            "arrow patch ((n1, n2) =>); variable count (new Map()); variable queue (flush); variable a (1); "
            "variable b (2)" },
        ReaderRow { "objectLiteral",
            "const api = { open() {}, close: () => 0, get size() { return 1; }, version: '1', nested: { "
            "deep: 1 }, short };",
            "object api (6 members) { method open (()); method close (() =>); getter size (()); property "
            "version ('1'); "
            "object nested (1 members) { property deep (1) }; property short }" },
        ReaderRow { "classExpression", "const Thing = class extends Base {};", "klass Thing (extends Base)" },
        ReaderRow { "memberFunction", "Menu.prototype.render = function (x) {};", "method render ((x))" },
        ReaderRow { "memberValueIsNoPart", "this.count = 0; obj.flag = true;", "" },
        ReaderRow { "exports", "module.exports = { run };", "object exports (1 members) { property run }" },
        ReaderRow {
            "inlineHandlerProperty", "button.onclick = () => go();", "handler click on button (() =>)" },
        ReaderRow { "typeAliasIsNoValue", "type Props = { a: string };", "" },
        ReaderRow { "destructuringIsNoDeclaration", "const { a, b } = props;", "" },
        ReaderRow { "callArgumentsAreSearched", "app.use(function logger(req) { next(); });",
            "function logger ((req))" },
        ReaderRow { "withoutSemicolons", "const a = 1\nconst b = a\nfunction c() {}",
            "variable a (1); variable b (a); function c (())" },
        ReaderRow { "regexValue", "const re = /\\{/g; function after() {}",
            "variable re (/\\{/g); function after (())" }),
    rowName);

namespace {

struct ReferenceRow {
    const char* name;
    QByteArray text;
    std::string calls;
    std::string methodCalls;
    std::string constructs;
    std::string selectors;
};

void PrintTo(const ReferenceRow& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class ScriptReferences : public testing::TestWithParam<ReferenceRow> { };

TEST_P(ScriptReferences, CollectsWhatTheFirstDeclarationUses)
{
    const std::vector<ScriptSymbol> symbols = read(GetParam().text);
    ASSERT_FALSE(symbols.empty());
    EXPECT_EQ(joined(symbols[0].calls), GetParam().calls);
    EXPECT_EQ(joined(symbols[0].methodCalls), GetParam().methodCalls);
    EXPECT_EQ(joined(symbols[0].constructs), GetParam().constructs);
    EXPECT_EQ(joined(symbols[0].selectors), GetParam().selectors);
}

INSTANTIATE_TEST_SUITE_P(Table, ScriptReferences,
    testing::Values(
        ReferenceRow { "keywordsAreNoCalls",
            "function f() { if (x) g(); while (y) {} switch (z) {} return h(); }", "g h", "", "", "" },
        ReferenceRow {
            "methodCallsApart", "function f() { foo.bar(); baz(); a?.b(); }", "baz", "bar b", "", "" },
        ReferenceRow { "constructions", "function f() { new Foo(); new ns.Bar(1); new Date; }", "", "",
            "Foo Bar Date", "" },
        ReferenceRow { "eachNameOnce", "function f() { g(); g(); h(g()); }", "g h", "", "", "" },
        ReferenceRow { "nestedCodeBelongsToTheNested",
            "function f() { function inner() { hidden(); } seen(); }", "seen", "", "", "" },
        ReferenceRow { "elementQueries",
            "function f() { document.getElementById('menu'); document.querySelectorAll('nav a'); "
            "el.closest(\".card\"); document.getElementsByClassName('x'); "
            "document.getElementsByTagName('LI'); }",
            "", "getElementById querySelectorAll closest getElementsByClassName getElementsByTagName", "",
            "#menu nav a .card .x li" },
        ReferenceRow { "classList",
            "function f() { el.classList.add('a', 'b'); el.classList.toggle('c', on); "
            "el.classList.remove(name); }",
            "", "add toggle remove", "", ".a .b .c" },
        ReferenceRow { "defaultParameters", "function f(a = make()) {}", "make", "", "", "" },
        ReferenceRow { "variableValue", "const menu = document.querySelector('#menu');", "", "querySelector",
            "", "#menu" }),
    rowName);

TEST(ScriptListeners, AListenerOnAQueriedElementIsAHandler)
{
    const std::vector<ScriptSymbol> symbols
        = read("document.getElementById('menu').addEventListener('click', open)");
    ASSERT_EQ(symbols.size(), 1u);
    const ScriptSymbol& handler = symbols[0];
    EXPECT_EQ(handler.kind, ScriptSymbol::Kind::handler);
    EXPECT_EQ(handler.event, "click");
    EXPECT_EQ(joined(handler.selectors), "#menu");
    EXPECT_EQ(joined(handler.passed), "open");
}

TEST(ScriptListeners, TheReceiverIsFoundThroughTheNameItWasAssignedTo)
{
    const std::vector<ScriptSymbol> symbols = read("const save = document.querySelector('button.save');\n"
                                                   "let other = 1;\n"
                                                   "save.addEventListener('click', async (event) => {\n"
                                                   "  event.preventDefault(); store(event.target);\n"
                                                   "  function helper() {}\n"
                                                   "});\n"
                                                   "window.addEventListener('load', this.start.bind(this));");
    ASSERT_EQ(symbols.size(), 4u);
    const ScriptSymbol& click = symbols[2];
    EXPECT_EQ(click.name, "click on button.save");
    EXPECT_EQ(click.tag, "button");
    EXPECT_EQ(joined(click.selectors), "button.save");
    EXPECT_EQ(click.detail, "(event) =>");
    EXPECT_EQ(joined(click.calls), "store");
    EXPECT_EQ(shape(click.children), "function helper (())");
    EXPECT_EQ(click.line, 2);
    EXPECT_EQ(click.endLine, 5);
    const ScriptSymbol& load = symbols[3];
    EXPECT_EQ(load.name, "load on window");
    EXPECT_EQ(joined(load.passed), "start");
}

namespace {

// Functions nested `levels` deep: level1 holds level2 …
QByteArray nested(int levels)
{
    QByteArray text;
    for (int i = 1; i <= levels; ++i)
        text += "function level" + QByteArray::number(i) + "() {\n";
    return text + QByteArray(levels, '}');
}

qsizetype count(const std::vector<ScriptSymbol>& symbols)
{
    qsizetype total = qsizetype(symbols.size());
    for (const ScriptSymbol& symbol : symbols)
        total += count(symbol.children);
    return total;
}

} // namespace

TEST(ScriptLimits, DeclarationsNestSevenLevelsAndNoDeeper)
{
    EXPECT_EQ(count(read(nested(7))), 7);
    EXPECT_EQ(count(read(nested(8))), 7) << "the eighth level is not found";
    EXPECT_EQ(count(read(nested(50))), 7);
}

TEST(ScriptLimits, TheSymbolAfterTheBudgetIsDropped)
{
    QByteArray flat;
    for (int i = 0; i < 1501; ++i)
        flat += "function f" + QByteArray::number(i) + "() {}\n";
    const ScriptReader::Reading reading = ScriptReader::read(flat);
    ASSERT_EQ(reading.symbols.size(), 1500u);
    EXPECT_EQ(reading.symbols.back().name, "f1499");
    EXPECT_TRUE(reading.truncated);

    // Top levels first: 1,499 functions, one with three inner functions, keeps one of those.
    QByteArray deep;
    for (int i = 0; i < 1498; ++i)
        deep += "function f" + QByteArray::number(i) + "() {}\n";
    deep += "function outer() { function a() {} function b() {} function c() {} }";
    const ScriptReader::Reading trimmed = ScriptReader::read(deep);
    EXPECT_EQ(count(trimmed.symbols), 1500);
    EXPECT_EQ(shape(trimmed.symbols.back().children), "function a (())");

    flat.chop(1);
    flat.truncate(flat.lastIndexOf('\n') + 1);
    EXPECT_FALSE(ScriptReader::read(flat).truncated) << "1,500 symbols fit exactly";
}

// Each member assignment of a plain value once read the value's inside and then dropped it, and the
// outer reading went through the same text again: nested, a few hundred bytes took minutes.
TEST(ScriptLimits, NestedMemberAssignmentsAreReadOnce)
{
    EXPECT_TRUE(read(QByteArray("(.a=").repeated(400)).empty());
    EXPECT_EQ(read(QByteArray("(.a=").repeated(400) + "\nfunction kept() {}\n").size(), 1u);
}

TEST(ScriptLimits, TextsOfFourMebicharactersAreReadUpToTheLimit)
{
    const QByteArray head = "function kept() {}\n//";
    QByteArray text = head + QByteArray(ScriptReader::characterLimit - head.size() - 1, 'x');
    EXPECT_EQ(read(text).size(), 1u) << "one character under the limit is read";
    text += 'x';
    const ScriptReader::Reading reading = ScriptReader::read(text);
    ASSERT_EQ(reading.symbols.size(), 1u) << "the parts before the limit are kept";
    EXPECT_EQ(reading.symbols.front().name, "kept");
    EXPECT_TRUE(reading.truncated);

    // Characters as people see them: an accent that combines makes one character with its letter.
    const QByteArray accented
        = "function kept() {}\n//" + QByteArray("e\xCC\x81").repeated(ScriptReader::characterLimit / 2);
    EXPECT_EQ(read(accented).size(), 1u);
}
