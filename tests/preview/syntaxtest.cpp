#include "preview/syntax.h"
#include "model/language.h"
#include "preview/syntaxcarries.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <random>

namespace {

const char* roleName(SyntaxRole role)
{
    static const char* const names[] = { "plain", "comment", "string", "number", "keyword", "type",
        "preprocessor", "tag", "attribute", "heading", "inserted", "deleted" };
    return names[int(role)];
}

// The spans of each line as "comment:'// x' keyword:'int'", lines joined by " | ".
std::string coloured(const Syntax& syntax, const QByteArray& text)
{
    std::string out;
    SyntaxCarry carry;
    std::vector<SyntaxSpan> spans;
    const QList<QByteArray> lines = text.split('\n');
    for (qsizetype l = 0; l < lines.size(); ++l) {
        syntax.colour(lines[l], carry, spans);
        if (l > 0)
            out += " |";
        for (const SyntaxSpan& span : spans)
            out += std::string(out.empty() ? "" : " ") + roleName(span.role) + ":'"
                + lines[l].mid(span.start, span.length).toStdString() + "'";
    }
    return out;
}

// Spans in order, apart, inside the line and never plain; and the carry alone as colouring leaves it.
void expectWellFormed(const Syntax& syntax, QByteArrayView line, SyntaxCarry& carry)
{
    SyntaxCarry alone = carry;
    std::vector<SyntaxSpan> spans;
    syntax.colour(line, carry, spans);
    syntax.carryOver(line, alone);
    ASSERT_TRUE(alone == carry);
    qint32 end = 0;
    for (const SyntaxSpan& span : spans) {
        ASSERT_GE(span.start, end);
        ASSERT_GT(span.length, 0);
        ASSERT_NE(span.role, SyntaxRole::plain);
        end = span.start + span.length;
    }
    ASSERT_LE(end, line.size());
}

// All the bytes of a literal, NULs included.
template <size_t size> QByteArray bytes(const char (&literal)[size])
{
    return QByteArray(literal, qsizetype(size - 1));
}

struct ColourRow {
    const char* name;
    const char* fileName;
    QByteArray text;
    std::string expected;
};

void PrintTo(const ColourRow& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class SyntaxColours : public testing::TestWithParam<ColourRow> { };

TEST_P(SyntaxColours, ColoursEachConstruct)
{
    const ColourRow& row = GetParam();
    EXPECT_EQ(coloured(Syntax::forFile(QString::fromLatin1(row.fileName)), row.text), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Syntax, SyntaxColours,
    testing::Values(ColourRow { "cppBasics", "a.cpp", "int x = 0x1F; // if note",
                        "type:'int' number:'0x1F' comment:'// if note'" },
        ColourRow { "cppKeywordInsideAWord", "a.cpp", "classify(returned); return 1.5e3f + 1'000'000ul;",
            "keyword:'return' number:'1.5e3f' number:'1'000'000ul'" },
        ColourRow { "cppStringKeepsEscapesAndKeywords", "a.cpp", R"(auto s = "a \"if\" b"; char c = '\'';)",
            R"(keyword:'auto' string:'"a \"if\" b"' type:'char' string:''\''')" },
        ColourRow { "cppInclude", "a.cpp", "  #include <vector> // x",
            "preprocessor:'#include' string:'<vector>' comment:'// x'" },
        ColourRow { "cppRawStringOverLines", "a.cpp", "auto r = R\"x(a)\" \n)x\" if\";",
            "keyword:'auto' string:'R\"x(a)\" ' | string:')x\"' keyword:'if' string:'\";'" },
        ColourRow { "cBlockCommentOverThreeLines", "a.c", "a /* one if\ntwo\nthree */ int b;",
            "comment:'/* one if' | comment:'two' | comment:'three */' type:'int'" },
        ColourRow {
            "cStringContinuedByBackslash", "a.c", "s = \"a\\\nb\"; x", "string:'\"a\\' | string:'b\"'" },
        ColourRow { "rustLifetimesMacrosAndChars", "a.rs",
            "fn f<'a>(x: &'a str) -> Option<u8> { println!(\"{}\", 'c') }",
            "keyword:'fn' type:''a' type:''a' type:'str' type:'Option' type:'u8' preprocessor:'println!' "
            "string:'\"{}\"' string:''c''" },
        ColourRow { "rustAttributeAndRawString", "a.rs", "#[derive(Debug)] let s = r#\"a \"b\" c\"#; 1..2",
            "preprocessor:'#[derive(Debug)]' keyword:'let' string:'r#\"a \"b\" c\"#' number:'1' number:'2'" },
        ColourRow {
            "rustNestedComments", "a.rs", "/* a /* b */ c\n*/ x", "comment:'/* a /* b */ c' | comment:'*/'" },
        ColourRow { "javaScriptRegexAndDivision", "a.js", "x = /\"[/]\"/g.test(s) / 2; return /a/ // c",
            "string:'/\"[/]\"/g' number:'2' keyword:'return' string:'/a/' comment:'// c'" },
        ColourRow { "javaScriptTemplatesWithCodeInside", "a.ts",
            "x = `a${b ? `c${d}` : {e: 1}}f` // c\ny = `g${\nh}i\nj` + 1",
            "string:'`a${' string:'`c${' string:'}`' number:'1' string:'}f`' comment:'// c' | string:'`g${' "
            "| "
            "string:'}i' | string:'j`' number:'1'" },
        ColourRow { "goRawStringOverLines", "a.go", "s := `a\\`\nfunc", "string:'`a\\`' | keyword:'func'" },
        ColourRow { "csharpVerbatim", "a.cs", R"(var p = @"C:\x ""q"""; // c)",
            R"(keyword:'var' string:'@"C:\x ""q"""' comment:'// c')" },
        ColourRow { "javaAnnotationAndTextBlock", "A.java", "@Override String s = \"\"\"\nif\"\"\";",
            "preprocessor:'@Override' type:'String' string:'\"\"\"' | string:'if\"\"\"'" },
        ColourRow { "pythonBasics", "a.py", "def f(x): return 42 if True else None # if",
            "keyword:'def' keyword:'return' number:'42' keyword:'if' keyword:'True' keyword:'else' "
            "keyword:'None' comment:'# if'" },
        ColourRow { "pythonTripleQuotedOverLines", "a.py", "s = \"\"\"doc\nstill if # no\nend\"\"\" + rb'x'",
            "string:'\"\"\"doc' | string:'still if # no' | string:'end\"\"\"' string:'rb'x''" },
        ColourRow { "pythonDecorator", "a.py", "@functools.cache\nclass Point:",
            "preprocessor:'@functools.cache' | keyword:'class' type:'Point'" },
        ColourRow { "shellBasics", "a.sh", "if [ -f \"$HOME/x\" ]; then echo $1 a#b ${#x} # done",
            "keyword:'if' string:'\"$HOME/x\"' keyword:'then' attribute:'$1' attribute:'${#x}' comment:'# "
            "done'" },
        ColourRow { "shellWordsGluedToKeywords", "a.sh", "make --for file-2.txt 3", "number:'3'" },
        ColourRow { "shellHeredoc", "a.sh", "cat <<'EOF' | grep \"x\"\nif $x\n  EOF\nEOF\nfi",
            "string:'<<'EOF'' string:'\"x\"' | string:'if $x' | string:'  EOF' | string:'EOF' | "
            "keyword:'fi'" },
        ColourRow { "sqlBasics", "a.sql", "SELECT name FROM t WHERE id = 'it''s' AND n > 10 -- or",
            "keyword:'SELECT' keyword:'FROM' keyword:'WHERE' string:''it''s'' keyword:'AND' number:'10' "
            "comment:'-- or'" },
        ColourRow { "sqlDollarQuotedBody", "a.sql", "create function f() as $$\nselect 1\n$$ language sql;",
            "keyword:'create' keyword:'function' keyword:'as' string:'$$' | string:'select 1' | "
            "string:'$$'" },
        ColourRow { "luaLongCommentAndString", "a.lua", "local s = [==[x]]]==] --[[ a\nb ]] return 0x1p4",
            "keyword:'local' string:'[==[x]]]==]' comment:'--[[ a' | comment:'b ]]' keyword:'return' "
            "number:'0x1p4'" },
        ColourRow { "haskellPrimesOperatorsAndNestedComments", "a.hs",
            "foldl' f a --> b {- x {- y -} z -} where", "comment:'{- x {- y -} z -}' keyword:'where'" },
        ColourRow { "htmlTagsAttributesEntities", "a.html",
            "<a href=\"x.html\" class=big>Tom &amp; Jerry</a>",
            "tag:'<a' attribute:'href' string:'\"x.html\"' attribute:'class' string:'big' tag:'>' "
            "number:'&amp;' "
            "tag:'</a>'" },
        ColourRow { "htmlCommentOverLines", "a.html", "<p><!-- a <b>\nc --> <br/>",
            "tag:'<p>' comment:'<!-- a <b>' | comment:'c -->' tag:'<br/>'" },
        ColourRow { "htmlTagOverLines", "a.html", "<img\n  src='a\nb' alt=x>",
            "tag:'<img' | attribute:'src' string:''a' | string:'b'' attribute:'alt' string:'x' tag:'>'" },
        ColourRow { "htmlScriptAndStyle", "a.html",
            "<script type=\"module\">if (a < b) return '</p>'; /* c\n*/</script><style> p { color: red "
            "}</style>",
            "tag:'<script' attribute:'type' string:'\"module\"' tag:'>' keyword:'if' keyword:'return' "
            "string:''</p>'' comment:'/* c' | comment:'*/' tag:'</script><style>' tag:'p' attribute:'color' "
            "tag:'</style>'" },
        ColourRow { "xmlDeclarationAndCdata", "a.xml", "<?xml version=\"1.0\"?><![CDATA[<a>\n]]><b/>",
            "preprocessor:'<?xml version=\"1.0\"?>' string:'<![CDATA[<a>' | string:']]>' tag:'<b/>'" },
        ColourRow { "cssRule", "a.css",
            "a.big:hover, #main { color: #fff; margin: 0 -1.5em !important } /* c */",
            "tag:'a' type:'.big' keyword:':hover' type:'#main' attribute:'color' number:'#fff' "
            "attribute:'margin' "
            "number:'0' number:'-1.5em' keyword:'!important' comment:'/* c */'" },
        ColourRow { "cssAtRuleAndUrl", "a.scss",
            "@media (max-width: 600px) {\n  p { background: url(http://x/y.png) }",
            "keyword:'@media' number:'600px' | tag:'p' attribute:'background' string:'http://x/y.png'" },
        ColourRow { "cssCommentOverLines", "a.css", "p { /* a\nb */ color: red }",
            "tag:'p' comment:'/* a' | comment:'b */' attribute:'color'" },
        ColourRow { "json", "a.json", "{\"key\": \"va\\\"l\", \"n\": -1.5e3, \"ok\": [true, null]}",
            "attribute:'\"key\"' string:'\"va\\\"l\"' attribute:'\"n\"' number:'-1.5e3' attribute:'\"ok\"' "
            "keyword:'true' keyword:'null'" },
        ColourRow { "yaml", "a.yml", "---\n- name: \"x\" # c\n  on: [1, true, a b]\n  when: it's",
            "keyword:'---' | attribute:'name' string:'\"x\"' comment:'# c' | attribute:'on' number:'1' "
            "keyword:'true' | attribute:'when'" },
        ColourRow { "toml", "a.toml",
            "[tool.x]\nname = \"a\" # c\nwhen = 1979-05-27T07:32:00Z\ns = '''\nb'''",
            "heading:'[tool.x]' | attribute:'name' string:'\"a\"' comment:'# c' | attribute:'when' "
            "number:'1979-05-27T07:32:00Z' | attribute:'s' string:''''' | string:'b''''" },
        ColourRow { "markdown", "a.md",
            "# Title `x`\n- item [link](http://x) and `a`` b`\n```cpp\nint x; // no\n```\nafter",
            "heading:'# Title `x`' | keyword:'-' attribute:'http://x' string:'`a`` b`' | string:'```cpp' | "
            "string:'int x; // no' | string:'```' |" },
        ColourRow { "markdownFenceNeedsItsLength", "a.md", "~~~~\n~~~\n~~~~~\nx",
            "string:'~~~~' | string:'~~~' | string:'~~~~~' |" },
        ColourRow { "diffCountsHunkLines", "a.diff",
            "diff --git a/x b/x\n--- a/x\n+++ b/x\n@@ -1,2 +1 @@ fn\n-old\n--- gone\n+new\n--- a/y",
            "keyword:'diff --git a/x b/x' | keyword:'--- a/x' | keyword:'+++ b/x' | heading:'@@ -1,2 +1 @@' "
            "| "
            "deleted:'-old' | deleted:'--- gone' | inserted:'+new' | keyword:'--- a/y'" },
        ColourRow { "cmakeCommandsAndBracketComments", "CMakeLists.txt",
            "if(X) #[[ a\nb ]] set(A ${B} \"c\")",
            "keyword:'if' comment:'#[[ a' | comment:'b ]]' keyword:'set' attribute:'${B}' string:'\"c\"'" },
        ColourRow { "makeTargetsAndVariables", "Makefile", "all: $(OBJ) # c\nifeq ($(X),1)",
            "type:'all' attribute:'$(OBJ)' comment:'# c' | keyword:'ifeq' attribute:'$(X)' number:'1'" },
        ColourRow { "dockerfileInstructions", "Dockerfile", "FROM debian AS b\nRUN echo from $X # no",
            "keyword:'FROM' | keyword:'RUN' attribute:'$X'" },
        ColourRow { "kotlinNestedCommentsAndTextBlocks", "a.kt",
            "fun f() { val s = \"\"\"x\ny\"\"\" /* a /* b */ c */ }",
            "keyword:'fun' keyword:'val' string:'\"\"\"x' | string:'y\"\"\"' comment:'/* a /* b */ c */'" },
        ColourRow { "swiftDirectivesAndAttributes", "a.swift",
            "#if DEBUG\n@objc func f() -> Int { return 0b1010 }",
            "preprocessor:'#if' | preprocessor:'@objc' keyword:'func' type:'Int' keyword:'return' "
            "number:'0b1010'" },
        ColourRow { "phpTagsVariablesAndHashComments", "a.php",
            "<?php $x = \"a $b\"; # c\necho Foo::bar($x); ?>",
            "preprocessor:'<?php' attribute:'$x' string:'\"a $b\"' comment:'# c' | keyword:'echo' type:'Foo' "
            "attribute:'$x' preprocessor:'?>'" },
        ColourRow { "verilogNumbersAndDirectives", "a.v",
            "assign b = 8'hFF; `define X 1 // c\n$display(\"x\");",
            "keyword:'assign' number:'8'hFF' preprocessor:'`define' number:'1' comment:'// c' | "
            "preprocessor:'$display' string:'\"x\"'" },
        ColourRow { "zigLineStringsAndBuiltins", "a.zig",
            "const s = \\\\ if // x\nconst x = @import(\"std\");",
            "keyword:'const' string:'\\\\ if // x' | keyword:'const' preprocessor:'@import' "
            "string:'\"std\"'" },
        ColourRow { "objectiveCLiterals", "a.m", "@interface Foo : NSObject\n@property NSString *s = @\"x\";",
            "keyword:'@interface' type:'Foo' type:'NSObject' | keyword:'@property' type:'NSString' "
            "string:'@\"x\"'" },
        ColourRow { "rubyPatternsAndDivision", "a.rb", "ok = s =~ /\"#/ # c\nputs 1 / 2 if :a",
            "string:'/\"#/' comment:'# c' | number:'1' number:'2' keyword:'if' number:':a'" },
        ColourRow { "perlQuoteLikeHeredocAndDocumentation", "a.pl",
            "my $x = s#[:=]s$##; print $fd <<\"\";\nif\n\n=pod\nif\n=cut\n__END__\nmy",
            "keyword:'my' attribute:'$x' string:'s#[:=]s$##' keyword:'print' attribute:'$fd' string:'<<\"\"' "
            "| "
            "string:'if' | | comment:'=pod' | comment:'if' | comment:'=cut' | comment:'__END__' | "
            "comment:'my'" },
        ColourRow { "shellEscapesOutsideQuotes", "a.sh", "echo \\' $'a\\'b' don\\'t # c",
            "string:'$'a\\'b'' comment:'# c'" },
        ColourRow { "juliaTransposeAndNestedComments", "a.jl", "x = a' + 'c' #= a #= b =# c =# @time f(x)",
            "string:''c'' comment:'#= a #= b =# c =#' preprocessor:'@time'" },
        ColourRow { "nixIndentedStrings", "a.nix", "{ x = ''\n  if\n''; /* c */ }",
            "string:'''' | string:'  if' | string:'''' comment:'/* c */'" },
        ColourRow { "elixirHeredocsAndAtoms", "a.ex", "@doc \"\"\"\nhi\n\"\"\"\ndef f(x), do: :ok # c",
            "preprocessor:'@doc' string:'\"\"\"' | string:'hi' | string:'\"\"\"' | keyword:'def' "
            "keyword:'do' "
            "number:':ok' comment:'# c'" },
        ColourRow {
            "tclCommentsOnlyWhereACommandStarts", "a.tcl", "puts a#b ; # c", "keyword:'puts' comment:'# c'" },
        ColourRow { "powershellOperatorsAndBlockComments", "a.ps1", "IF ($x -eq 1) { 'a''b' } <# c\n#> # d",
            "keyword:'IF' attribute:'$x' keyword:'-eq' number:'1' string:''a''b'' comment:'<# c' | "
            "comment:'#>' "
            "comment:'# d'" },
        ColourRow { "terraformAttributesAndHeredocs", "a.tf",
            "resource \"x\" {\n  count = 2 // c\n  body = <<-EOF\n  if\n  EOF\n}",
            "keyword:'resource' string:'\"x\"' | attribute:'count' number:'2' comment:'// c' | "
            "attribute:'body' "
            "string:'<<-EOF' | string:'  if' | string:'  EOF' |" },
        ColourRow { "gettext", "a.po", "#: a.c:1\nmsgstr[0] \"b\"",
            "comment:'#: a.c:1' | keyword:'msgstr' number:'0' string:'\"b\"'" },
        ColourRow { "vhdlAttributesAndLiterals", "a.vhd", "x <= s'length + 16#FF# + X\"0F\"; c <= '1'; -- c",
            "number:'16#FF#' string:'X\"0F\"' string:''1'' comment:'-- c'" },
        ColourRow { "erlangCharacters", "a.erl", "f(X) -> $\", \"s\" % c",
            "number:'$\"' string:'\"s\"' comment:'% c'" },
        ColourRow { "ocamlNestedCommentsAndTypeVariables", "a.ml", "let f (x : 'a) = (* a (* b *) c *) 'x'",
            "keyword:'let' comment:'(* a (* b *) c *)' string:''x''" },
        ColourRow { "clojureKeywordsAndCharacters", "a.clj", "(defn f [x] (get x :a \\\")) ; c",
            "keyword:'defn' number:':a' number:'\\\"' comment:'; c'" },
        ColourRow { "fortranDoubledQuotes", "a.f90", "PROGRAM p ! c\n  print *, 'it''s'",
            "keyword:'PROGRAM' comment:'! c' | keyword:'print' string:''it''s''" },
        ColourRow { "batchRemarksAndVariables", "a.bat", "REM c\n:: d\nset X=%PATH%",
            "comment:'REM c' | comment:':: d' | keyword:'set' attribute:'%PATH%'" },
        ColourRow { "assemblyLabelsAndInstructions", "a.asm", "start: mov eax, 1 ; c\n  .data",
            "type:'start' keyword:'mov' number:'1' comment:'; c' | preprocessor:'.data'" },
        ColourRow { "vueScriptBlock", "a.vue",
            "<template><p :a=\"b\"/></template>\n<script setup>\nconst a: number = 1\n</script>",
            "tag:'<template><p' attribute:':a' string:'\"b\"' tag:'/></template>' | tag:'<script' "
            "attribute:'setup' "
            "tag:'>' | keyword:'const' type:'number' number:'1' | tag:'</script>'" },
        ColourRow { "jsonWithComments", "a.jsonc", "{\"a\": 1 /* c\n */, \"b\": \"x\"}",
            "attribute:'\"a\"' number:'1' comment:'/* c' | comment:' */' attribute:'\"b\"' string:'\"x\"'" },
        ColourRow { "crLineEndsKeepCarries", "a.c", "s = \"a\\\r\nb\"; /* c\r\n*/ x\r",
            "string:'\"a\\' | string:'b\"' comment:'/* c' | comment:'*/'" },
        ColourRow { "scssNestedRulesAndVariables", "a.scss",
            ".a {\n  &:hover, .b { color: red; }\n  margin: $x 0;\n}",
            "type:'.a' | keyword:':hover' type:'.b' attribute:'color' | attribute:'margin' attribute:'$x' "
            "number:'0' |" },
        ColourRow { "markdownCodeNeedsAMatchingRun", "a.md", "a `` b ` c ```x``` d", "string:'```x```'" },
        ColourRow { "plainText", "notes.txt", "int x = 1; // if", "" }),
    rowName);

// Whatever the bytes, every language returns well-formed spans, and its carry alone matches what
// colouring leaves.
TEST(SyntaxRobustness, AnyBytesInAnyLanguage)
{
    const QByteArray nasty[] = { bytes("\xff\xfe\xc3(\xe2\x82 /* \x80\""), bytes("a\0b\0\"\0'\0/*"), "'\\",
        "\"\\", "\\", "'", "`", "<!--", "<script>", "R\"abc", "r###\"", "--[==[", "{-", "#[[", "$$x$",
        "@@ -x +y @@", "```", "<<EOF", "\"\"\"", "'''", "/", "#=", "<#", "(*", "]]>", "\r", "a\r", "=begin",
        "=end", "=pod", "=cut", "__END__" };
    const QByteArray alphabet = bytes("/*\"'`#<>!-[]{}()=$@\\:;%.,\r\t 0aZ_\xff\x80\xc3\x00");
    std::mt19937 random(7);
    for (const Language* language : Languages::all()) {
        const Syntax& syntax = Syntax::forLanguage(*language);
        SyntaxCarry carry;
        const auto check = [&](QByteArrayView line, SyntaxCarry& before) {
            expectWellFormed(syntax, line, before);
            if (HasFatalFailure())
                ADD_FAILURE() << language->name.toStdString() << ": "
                              << line.toByteArray().toHex().toStdString();
            return !HasFatalFailure();
        };
        // Each line from a clean start, and in a row after the others.
        for (const QByteArray& line : nasty) {
            SyntaxCarry clean;
            if (!check(line, clean) || !check(line, carry))
                return;
        }
        carry = {};
        for (int l = 0; l < 300; ++l) {
            QByteArray line;
            // Short lines too, which often miss every byte that could open something.
            for (int i = int(random() % (l % 2 ? 60 : 8)); i > 0; --i)
                line += alphabet[qsizetype(random() % size_t(alphabet.size()))];
            if (!check(line, carry))
                return;
        }
    }
}

// Constructs that never close on a long line are passed over once, not once per opener.
TEST(SyntaxRobustness, MegabyteLinesOfOpeners)
{
    const std::pair<const char*, QByteArray> cases[] = { { "a.cpp", QByteArray("'\\").repeated(400000) },
        { "a.js", QByteArray("/[").repeated(400000) }, { "a.cpp", QByteArray("R\"").repeated(400000) },
        { "a.md", QByteArray("](<a` ``").repeated(150000) },
        { "a.yml", "k: [" + QByteArray("a, ").repeated(300000) },
        { "a.hs", QByteArray("'\\").repeated(400000) }, { "a.html", QByteArray("<a b=").repeated(200000) },
        { "a.css", QByteArray("a{b:c;").repeated(200000) },
        { "a.py", QByteArray("x = 'a' # ").repeated(100000) } };
    for (const auto& [fileName, line] : cases) {
        SyntaxCarry carry;
        std::vector<SyntaxSpan> spans;
        Syntax::forFile(QString::fromLatin1(fileName)).colour(line, carry, spans);
        EXPECT_LE(spans.size(), size_t(line.size())) << fileName;
    }
}

TEST(SyntaxFamilies, PlainOnlyForTextAndTheUnknown)
{
    EXPECT_TRUE(Syntax::forFile(u"notes.txt").isPlain());
    EXPECT_TRUE(Syntax::forFile(u"data.bin").isPlain());
    EXPECT_TRUE(Syntax::forFile(u"no-extension").isPlain());
    EXPECT_TRUE(Syntax::forFile(u"guide.rst").isPlain()); // its heading underlines are no code fences
    EXPECT_FALSE(Syntax::forFile(u"a.c").isPlain());
    EXPECT_FALSE(Syntax::forFile(u"CMakeLists.txt").isPlain());
    EXPECT_EQ(&Syntax::forFile(u"a.h"), &Syntax::forFile(u"b.c"));
}

namespace {

// A text of `count` lines where block comments and strings open and close across lines.
QList<QByteArray> commentedText(int count)
{
    QList<QByteArray> lines;
    for (int i = 0; i < count; ++i) {
        switch (i % 7) {
        case 0: lines.append("int a = 1; /* opens"); break;
        case 1: lines.append("   still inside"); break;
        case 2: lines.append("closes */ auto s = R\"(raw"); break;
        case 3: lines.append(")\" ; // done"); break;
        case 4: lines.append(i % 3 ? "/* one line */" : "/* opens again"); break;
        default: lines.append(i % 5 ? "x = \"s\";" : "*/");
        }
    }
    return lines;
}

std::vector<SyntaxCarry> carriesFromTheTop(const Syntax& syntax, const QList<QByteArray>& lines)
{
    std::vector<SyntaxCarry> carries(1);
    std::vector<SyntaxSpan> spans;
    for (const QByteArray& line : lines) {
        carries.push_back(carries.back());
        syntax.colour(line, carries.back(), spans);
    }
    return carries;
}

} // namespace

TEST(SyntaxCarriesTest, MatchesColouringFromTheTopInAnyOrder)
{
    const Syntax& syntax = Syntax::forFile(u"a.cpp");
    const QList<QByteArray> lines = commentedText(2000);
    const std::vector<SyntaxCarry> expected = carriesFromTheTop(syntax, lines);
    SyntaxCarries carries(
        syntax, [&](qint64 l) { return lines[l]; }, lines.size());
    int open = 0;
    for (const qint64 line : { 1999, 3, 700, 256, 255, 1000, 1001, 1002, 2, 1536, 1537, 2000, 0, 769 }) {
        EXPECT_TRUE(carries.carryAt(line) == expected[size_t(line)]) << line;
        open += expected[size_t(line)].open != SyntaxCarry::Open::nothing;
    }
    EXPECT_GT(open, 4); // the lines asked about do start inside things
    carries.carryAt(1500);
    carries.carryAt(1200);
    EXPECT_LE(carries.lastWalk(), 255); // from a checkpoint the first walk left
}

TEST(SyntaxCarriesTest, FarLinesStartAfreshAtTheirCheckpoint)
{
    const Syntax& syntax = Syntax::forFile(u"a.c");
    QList<QByteArray> lines(60000, "x");
    lines[0] = "/* never closes";
    SyntaxCarries carries(
        syntax, [&](qint64 l) { return lines[l]; }, lines.size());
    EXPECT_EQ(carries.carryAt(19000).open, SyntaxCarry::Open::comment); // within reach: exact
    EXPECT_EQ(carries.carryAt(59999).open, SyntaxCarry::Open::nothing);
    EXPECT_EQ(carries.lastWalk(), 59999 % SyntaxCarries::checkpointSpacing);
    EXPECT_EQ(carries.carryAt(38000).open, SyntaxCarry::Open::comment); // 19000 is within reach again
}

TEST(SyntaxCarriesTest, InvalidateForgetsTheOldText)
{
    const Syntax& syntax = Syntax::forFile(u"a.c");
    QList<QByteArray> lines(1000, "x");
    SyntaxCarries carries(
        syntax, [&](qint64 l) { return lines[l]; }, lines.size());
    EXPECT_EQ(carries.carryAt(900).open, SyntaxCarry::Open::nothing);
    lines[10] = "/* opens";
    lines.resize(2000, "y");
    carries.invalidate(lines.size());
    EXPECT_EQ(carries.carryAt(1900).open, SyntaxCarry::Open::comment);
}
