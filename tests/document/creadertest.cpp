#include "document/native/creader.h"
#include "document/readerrow.h"
#include "document/symbolshape.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

namespace {

std::string tokens(const QByteArray& text)
{
    std::string out;
    for (const CReader::Token& token : CReader::tokenise(text)) {
        if (!out.empty())
            out += ' ';
        out += CReader::tokenKindName(token.kind).toStdString() + std::to_string(token.line) + ':'
            + token.text(text).toByteArray().toStdString();
    }
    return out;
}

const ScriptSymbol* find(const std::vector<ScriptSymbol>& symbols, QByteArrayView name)
{
    for (const ScriptSymbol& symbol : symbols) {
        if (symbol.name == name)
            return &symbol;
        if (const ScriptSymbol* inner = find(symbol.children, name))
            return inner;
    }
    return nullptr;
}

} // namespace

class CTokens : public testing::TestWithParam<ReaderRow> { };

TEST_P(CTokens, SplitTheTextWithLines)
{
    EXPECT_EQ(tokens(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, CTokens,
    testing::Values(ReaderRow { "directives", "  #include <a.h>\nx # y",
                        "directive0:#include <a.h> word1:x punct1:# word1:y" },
        ReaderRow {
            "continuedDirective", "#define TWO \\\n  2\nz", "directive0:#define TWO \\\n  2 word2:z" },
        ReaderRow { "twoCharacterPunctuation", "a::b->c", "word0:a punct0::: word0:b punct0:-> word0:c" },
        ReaderRow { "comments", "a // x\n/* y\n*/ b", "word0:a word2:b" },
        ReaderRow { "strings", "'\\'' \"a\\\"b\" \"open\nc",
            "string0:'\\'' string0:\"a\\\"b\" string0:\"open word1:c" },
        ReaderRow { "rawString", "R\"x(a \")\" b)x\" c", "string0:R\"x(a \")\" b)x\" word0:c" },
        ReaderRow { "numbersAndWords", "0x1Fu 1.5f größe", "number0:0x1Fu number0:1.5f word0:größe" }),
    rowName);

class CLanguage : public testing::TestWithParam<std::pair<const char*, bool>> { };

TEST_P(CLanguage, HeadersAreCppWhenTheySaySo)
{
    const QByteArray text = GetParam().first;
    EXPECT_EQ(CReader::looksLikeCpp(CReader::tokenise(text), text), GetParam().second) << GetParam().first;
}

INSTANTIATE_TEST_SUITE_P(Table, CLanguage,
    testing::Values(std::pair { "namespace a { int f(); }", true },
        std::pair { "int x = std::max(a, b);", true }, std::pair { "template <class T> T f();", true },
        std::pair { "struct A { virtual void f(); };", true },
        std::pair { "struct point { int x, y; };\nint main(void);", false },
        std::pair { "/* class namespace :: */ int f(void);", false },
        std::pair { "#define public 1\nchar *s = \"::\";", false }));

TEST(CLanguage, OnlyTheFirstTwentyThousandTokensAreLookedAt)
{
    const QByteArray late = QByteArray("x ").repeated(20000) + "namespace";
    EXPECT_FALSE(CReader::looksLikeCpp(CReader::tokenise(late), late));
    const QByteArray early = QByteArray("x ").repeated(19999) + "namespace";
    EXPECT_TRUE(CReader::looksLikeCpp(CReader::tokenise(early), early));
}

class CDeclarations : public testing::TestWithParam<ReaderRow> { };

TEST_P(CDeclarations, FindRecordsFunctionsAndMethods)
{
    EXPECT_EQ(shape(CReader::read(GetParam().text, true).symbols), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, CDeclarations,
    testing::Values(ReaderRow { "prototypesAreNoParts", "int f(int); extern int g;", "" },
        ReaderRow { "function", "static inline int add(int a, int b) { return a + b; }",
            "function add ((int a, int b))" },
        ReaderRow { "macros", "#define N 4\n#define SQ(x) ((x)*(x))\n#define",
            "variable N (macro); function SQ (macro)" },
        ReaderRow { "struct", "struct point { int x, y; double *z[3]; unsigned flag : 1; };",
            "klass point (4 fields) { property x (int); property y (int); property z (double); property flag "
            "(unsigned) }" },
        ReaderRow { "anonymousRecord", "struct { int a; } value; union { int i; float f; } u;",
            "klass (anonymous struct) (1 fields) { property a (int) }; "
            "klass (anonymous union) (2 fields) { property i (int); property f (float) }" },
        ReaderRow { "typedefNamesTheNameless",
            "typedef struct { int a; } thing_t; typedef struct node { int v; } node_t;",
            "klass thing_t (1 fields) { property a (int) }; klass node (1 fields) { property v (int) }" },
        ReaderRow { "enums", "enum class Colour : int { red = 1, green, blue = red << 2 };",
            "klass Colour (3 values) { property red (1); property green; property blue (red << 2) }" },
        ReaderRow { "functionPointerField", "struct ops { void (*run)(int); int (*count)(void); };",
            "klass ops (2 fields) { property run (void); property count (int) }" },
        ReaderRow { "classWithMethods",
            "class A : public Base, private B { public: A() : m(0), n{1} {} ~A() {} int get() const noexcept "
            "{ return m; } "
            "bool operator==(const A&) const { return true; } void operator()(int) {} virtual void f() = 0; "
            "private: int m, n; Q_OBJECT };",
            "klass A (2 fields) { method A (()); method ~A (()); method get (()); method operator== ((const "
            "A&)); "
            "method operator() ((int)); property m (int); property n (int) }" },
        ReaderRow { "outOfLineMethods",
            "class W { void paint(); }; void W::paint() { draw(); } int W::size() const { return 1; }",
            "klass W (0 fields) { method paint (()); method size (()) }" },
        ReaderRow { "methodsOfAClassDefinedElsewhere",
            "void View::show() {}\nvoid View::hide() {}\nvoid other() {}",
            "klass View (defined elsewhere) { method show (()); method hide (()) }; function other (())" },
        ReaderRow { "namespaces",
            "namespace a::b { int f() { return 0; } namespace { struct S {}; } } namespace c = a;",
            "object a::b (namespace) { function f (()); object (anonymous namespace) (namespace) { klass S "
            "(0 fields) } }" },
        ReaderRow { "externC", "extern \"C\" { void hook(void) {} }", "function hook ((void))" },
        ReaderRow { "templates",
            "template <typename T, int N = 3> struct Array { T data[N]; T& at(int i) { return data[i]; } };",
            "klass Array (1 fields) { property data (T); method at ((int i)) }" },
        ReaderRow {
            "macroLineBeforeAFunction", "DECLARE_MODULE(net)\nvoid start() {}", "function start (())" },
        ReaderRow {
            "initialisersAreNoBodies", "int table[] = { 1, 2 }; auto f = [](int x) { return x; };", "" },
        ReaderRow { "trailingReturnType", "auto sum(int a) -> decltype(a + 1) { return a; }",
            "function sum ((int a))" }),
    rowName);

namespace {

struct CHandlerRow {
    const char* name;
    QByteArray text;
    const char* function;
    ScriptSymbol::Kind kind;
    const char* event;
    const char* detail;
};

void PrintTo(const CHandlerRow& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class CHandlers : public testing::TestWithParam<CHandlerRow> { };

TEST_P(CHandlers, AreMarkedByNameMacroOrRegistration)
{
    const std::vector<ScriptSymbol> symbols = CReader::read(GetParam().text, true).symbols;
    const ScriptSymbol* symbol = find(symbols, GetParam().function);
    ASSERT_TRUE(symbol) << shape(symbols);
    EXPECT_EQ(symbol->kind, GetParam().kind);
    EXPECT_EQ(symbol->event, GetParam().event);
    EXPECT_EQ(symbol->detail, GetParam().detail);
}

using Kind = ScriptSymbol::Kind;

INSTANTIATE_TEST_SUITE_P(Table, CHandlers,
    testing::Values(
        CHandlerRow { "attachInterrupt",
            "void onPulse() {}\nvoid setup() { attachInterrupt(digitalPinToInterrupt(2), onPulse, RISING); }",
            "onPulse", Kind::handler, "interrupt", "() · via attachInterrupt" },
        CHandlerRow { "setup", "void setup() {}", "setup", Kind::handler, "start", "()" },
        CHandlerRow { "loop", "void loop() {}", "loop", Kind::handler, "loop", "()" },
        CHandlerRow { "mainWithArguments", "int main(int argc, char **argv) { return 0; }", "main",
            Kind::handler, "start", "(int argc, char **argv)" },
        CHandlerRow { "irqHandler", "void TIM2_IRQHandler(void) {}", "TIM2_IRQHandler", Kind::handler,
            "interrupt", "(void)" },
        CHandlerRow { "handlerWithoutIrqIsNoHandler", "void Foo_Handler(void) {}", "Foo_Handler",
            Kind::function, "", "(void)" },
        CHandlerRow { "handlerNamingIrq", "void USART1_IRQ_Handler(void) {}", "USART1_IRQ_Handler",
            Kind::handler, "interrupt", "(void)" },
        CHandlerRow {
            "avrVector", "void __vector_5(void) {}", "__vector_5", Kind::handler, "interrupt", "(void)" },
        CHandlerRow { "isrMacro", "ISR(TIMER1_COMPA_vect, ISR_NOBLOCK) { tick(); }", "TIMER1_COMPA_vect",
            Kind::handler, "interrupt", "(TIMER1_COMPA_vect, ISR_NOBLOCK)" },
        CHandlerRow { "signal", "void stop(int s) {}\nint main() { signal(SIGINT, stop); }", "stop",
            Kind::handler, "signal", "(int s) · via signal" },
        CHandlerRow { "exitHook", "void bye(void) {}\nvoid init() { atexit(&bye); }", "bye", Kind::handler,
            "exit", "(void) · via atexit" },
        CHandlerRow { "thread",
            "void *work(void *a) { return a; }\nvoid go() { pthread_create(&t, NULL, work, NULL); }", "work",
            Kind::handler, "thread", "(void *a) · via pthread_create" },
        CHandlerRow { "castArgument",
            "void task(void *p) {}\nvoid go() { xTaskCreate((TaskFunction_t)task, \"t\", 2048, 0, 1, 0); }",
            "task", Kind::handler, "thread", "(void *p) · via xTaskCreate" },
        CHandlerRow { "threadObject", "void run() {}\nvoid go() { std::thread worker(run); worker.join(); }",
            "run", Kind::handler, "thread", "() · via thread" },
        CHandlerRow { "timerMethod", "void blink() {}\nvoid go() { ticker.attach_ms(500, blink); }", "blink",
            Kind::handler, "timer", "() · via attach_ms" },
        CHandlerRow { "onSomething", "void ready() {}\nvoid go() { button.onReady(ready); }", "ready",
            Kind::handler, "ready", "() · via onReady" },
        CHandlerRow { "onWithoutCapitalIsNothing", "void x() {}\nvoid go() { once(x); }", "x", Kind::function,
            "", "()" },
        CHandlerRow { "firstRuleWins", "void setup() {}\nvoid go() { atexit(setup); }", "setup",
            Kind::handler, "start", "()" },
        CHandlerRow { "firstRegistrationWins", "void f() {}\nvoid go() { signal(1, f); atexit(f); }", "f",
            Kind::handler, "signal", "() · via signal" },
        CHandlerRow { "aMethodNamedLoopIsNoLoop", "struct Engine { void loop() {} };", "loop", Kind::method,
            "", "()" }),
    rowName);

TEST(CReader, TheRegistrationSiteCallsThePassedFunction)
{
    const std::vector<ScriptSymbol> symbols = CReader::read(
        "void onPulse() {}\nvoid setup() { attachInterrupt(digitalPinToInterrupt(2), onPulse, RISING); }",
        true)
                                                  .symbols;
    const ScriptSymbol* setup = find(symbols, "setup");
    ASSERT_TRUE(setup);
    EXPECT_EQ(joined(setup->calls), "attachInterrupt digitalPinToInterrupt onPulse")
        << "RISING is passed too, but names no function";
    EXPECT_EQ(joined(setup->passed), "onPulse RISING");
}

TEST(CReader, BodiesGiveCallsMethodCallsAndConstructions)
{
    const std::vector<ScriptSymbol> symbols
        = CReader::read("void f() { if (a) g(); for (;;) {} h(sizeof(x)); "
                        "obj.m(); ptr->n(); ns::k(); new Widget(1); "
                        "auto p = std::make_unique<Dialog>(); return q(); }",
            true)
              .symbols;
    ASSERT_EQ(symbols.size(), 1u);
    EXPECT_EQ(joined(symbols[0].calls), "g h k q");
    EXPECT_EQ(joined(symbols[0].methodCalls), "m n k");
    EXPECT_EQ(joined(symbols[0].constructs), "Widget Dialog");
}

TEST(CReader, IncludesAndLines)
{
    const CReader::Reading reading = CReader::read("#include <stdio.h>\n#import \"a/b.h\"\n#include MACRO\n\n"
                                                   "int f(void)\n{\n  return 0;\n}\n",
        false);
    ASSERT_EQ(reading.includes.size(), 2u);
    EXPECT_EQ(reading.includes[0].name, "stdio.h");
    EXPECT_TRUE(reading.includes[0].system);
    EXPECT_EQ(reading.includes[1].name, "a/b.h");
    EXPECT_FALSE(reading.includes[1].system);
    EXPECT_EQ(reading.includes[1].line, 1);
    ASSERT_EQ(reading.symbols.size(), 1u);
    EXPECT_EQ(reading.symbols[0].line, 4);
    EXPECT_EQ(reading.symbols[0].endLine, 7);
}

TEST(CReader, StopsAtItsSymbolLimit)
{
    const CReader::Reading reading
        = CReader::read(QByteArray("void f() {}\n").repeated(CReader::symbolLimit + 10), false);
    EXPECT_EQ(reading.symbols.size(), size_t(CReader::symbolLimit));
    EXPECT_TRUE(reading.truncated);
}
