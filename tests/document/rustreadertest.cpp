#include "document/native/rustreader.h"
#include "document/readerrow.h"
#include "document/symbolshape.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

namespace {

using Kind = ScriptSymbol::Kind;

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

class RustItems : public testing::TestWithParam<ReaderRow> { };

TEST_P(RustItems, AreReadWithTheirMembers)
{
    EXPECT_EQ(shape(RustReader::read(GetParam().text).symbols), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, RustItems,
    testing::Values(ReaderRow { "function",
                        "pub(crate) async unsafe fn go<'a, T: Clone>(x: &'a T) -> T where T: Copy { *x }",
                        "function go ((x: &'a T))" },
        ReaderRow { "declarationsAreNoParts", "extern \"C\" { fn abs(x: i32) -> i32; } fn f();", "" },
        ReaderRow { "structs",
            "struct P { pub x: f64, y: Vec<(u8, u8)> } struct T(pub u8, String); struct U;",
            "klass P (2 fields) { property x (f64); property y (Vec<(u8, u8)>) }; "
            "klass T (2 fields) { property 0 (u8); property 1 (String) }; klass U (0 fields)" },
        ReaderRow { "enums", "enum E { A, B(u8), C { x: i32 }, #[default] D = 4 }",
            "klass E (4 variants) { property A; property B; property C; property D }" },
        ReaderRow { "implAfterItsType",
            "struct S; impl S { fn new() -> Self { S } } impl Display for S { fn fmt(&self) {} }",
            "klass S (0 fields) { method new (()); method fmt ((&self)) }" },
        ReaderRow { "implBeforeItsType",
            "impl<T> Stack<T> { fn push(&mut self, v: T) {} } struct Stack<T> { items: Vec<T> }",
            "klass Stack (1 fields) { method push ((&mut self, v: T)); property items (Vec<T>) }" },
        ReaderRow { "implOfAForeignType", "impl fmt::Debug for Vec2 { fn fmt(&self) {} }",
            "klass Vec2 (defined elsewhere) { method fmt ((&self)) }" },
        ReaderRow { "traits",
            "pub trait Shape: Debug { const SIDES: u8; fn area(&self) -> f64; fn name(&self) -> &str { \"s\" "
            "} }",
            "klass Shape (trait) { method name ((&self)) }" },
        ReaderRow { "modules", "mod net; pub mod util { pub fn clamp() {} mod deep { fn x() {} } }",
            "object util (module) { function clamp (()); object deep (module) { function x (()) } }" },
        ReaderRow { "constants", "const MAX: usize = 10; static mut COUNT: AtomicU32 = AtomicU32::new(0);",
            "variable MAX (usize); variable COUNT (AtomicU32)" },
        ReaderRow {
            "macros", "macro_rules! square { ($x:expr) => { $x * $x }; }", "function square (macro)" },
        ReaderRow { "charactersAndLifetimes",
            "fn f<'a>(s: &'a str) -> char { let c = '{'; let d = '\\''; '}' } fn g() {}",
            "function f ((s: &'a str)); function g (())" },
        ReaderRow { "stringsHoldingBraces", "fn f() { let s = r#\"}\"#; let t = \"}\\\"\"; } fn g() {}",
            "function f (()); function g (())" },
        ReaderRow { "byteCharacters", "fn f() { let a = b'{'; let b = b'\\''; let c = b\"}\"; } fn g() {}",
            "function f (()); function g (())" },
        ReaderRow {
            "nestedComments", "/* a /* b */ fn hidden() {} */ fn shown() {}", "function shown (())" }),
    rowName);

namespace {

struct RustHandlerRow {
    const char* name;
    QByteArray text;
    const char* function;
    ScriptSymbol::Kind kind;
    const char* event;
    const char* detail;
};

void PrintTo(const RustHandlerRow& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class RustHandlers : public testing::TestWithParam<RustHandlerRow> { };

TEST_P(RustHandlers, AreMarkedByAttributesAndRegistrations)
{
    const std::vector<ScriptSymbol> symbols = RustReader::read(GetParam().text).symbols;
    const ScriptSymbol* symbol = find(symbols, GetParam().function);
    ASSERT_TRUE(symbol) << shape(symbols);
    EXPECT_EQ(symbol->kind, GetParam().kind);
    EXPECT_EQ(symbol->event, GetParam().event);
    EXPECT_EQ(symbol->detail, GetParam().detail);
}

INSTANTIATE_TEST_SUITE_P(Table, RustHandlers,
    testing::Values(RustHandlerRow { "test", "#[test]\nfn adds() {}", "adds", Kind::handler, "test", "()" },
        RustHandlerRow { "pathAttribute", "#[tokio::test(flavor = \"multi_thread\")] async fn t() {}", "t",
            Kind::handler, "test", "()" },
        RustHandlerRow { "rstest", "#[rstest]\n#[case(1)]\nfn cases(#[case] n: u8) {}", "cases",
            Kind::handler, "test", "(#[case] n: u8)" },
        RustHandlerRow {
            "bench", "#[bench] fn b(b: &mut Bencher) {}", "b", Kind::handler, "bench", "(b: &mut Bencher)" },
        RustHandlerRow {
            "asyncMain", "#[tokio::main]\nasync fn main() {}", "main", Kind::handler, "start", "()" },
        RustHandlerRow { "plainMain", "fn main() {}", "main", Kind::handler, "start", "()" },
        RustHandlerRow {
            "interrupt", "#[interrupt]\nfn TIM2() {}", "TIM2", Kind::handler, "interrupt", "()" },
        RustHandlerRow { "route", "#[get(\"/users/{id}\")]\nasync fn user() {}", "user", Kind::handler, "get",
            "route \"/users/{id}\"" },
        RustHandlerRow { "routeWithMethod", "#[route(\"/\", method = \"GET\")] fn index() {}", "index",
            Kind::handler, "route", "route \"/\"" },
        RustHandlerRow { "otherAttributesMarkNothing", "#[inline]\n#[allow(dead_code)]\nfn f() {}", "f",
            Kind::function, "", "()" },
        RustHandlerRow {
            "attributesDoNotCarryOver", "#[test]\nstruct S;\nfn f() {}", "f", Kind::function, "", "()" },
        RustHandlerRow { "spawnByName", "fn work() {}\nfn main() { std::thread::spawn(work); }", "work",
            Kind::handler, "thread", "() · via spawn" },
        RustHandlerRow { "spawnThroughAClosure",
            "fn work(n: u8) {}\nfn go() { thread::spawn(move || work(1)); }", "work", Kind::handler, "thread",
            "(n: u8) · via spawn" },
        RustHandlerRow { "signalHandler", "fn bye() {}\nfn go() { ctrlc::set_handler(bye).unwrap(); }", "bye",
            Kind::handler, "signal", "() · via set_handler" },
        RustHandlerRow { "aMethodPassedAsPath",
            "struct S; impl S { fn tick() {} }\nfn go() { spawn_local(S::tick); }", "tick", Kind::handler,
            "thread", "() · via spawn_local" }),
    rowName);

TEST(RustReader, UseDeclarationsAreIncludes)
{
    const RustReader::Reading reading = RustReader::read(
        "use std::{io, fs::File};\nuse crate::a::b as c;\nextern crate serde;\nmod local;\n");
    ASSERT_EQ(reading.includes.size(), 4u);
    EXPECT_EQ(reading.includes[0].name, "std::{io,fs::File}");
    EXPECT_TRUE(reading.includes[0].system);
    EXPECT_EQ(reading.includes[1].name, "crate::a::b as c");
    EXPECT_FALSE(reading.includes[1].system);
    EXPECT_EQ(reading.includes[2].name, "serde");
    EXPECT_EQ(reading.includes[3].name, "local");
    EXPECT_EQ(reading.includes[3].line, 3);
}

TEST(RustReader, CallsInBodies)
{
    const std::vector<ScriptSymbol> symbols
        = RustReader::read("fn f() { if x { g(); } let v = Point::new(1); v.norm(); helper!(2); "
                           "let w: Vec<_> = it.collect::<Vec<_>>(); match y { _ => h() } }")
              .symbols;
    ASSERT_EQ(symbols.size(), 1u);
    EXPECT_EQ(joined(symbols[0].calls), "g new helper h");
    EXPECT_EQ(joined(symbols[0].methodCalls), "new norm collect");
    EXPECT_EQ(joined(symbols[0].constructs), "Point");
}
