#include "preview/syntaxrules.h"

// The C-like languages: the common words of each, not every one, enough that a screen of code reads
// at a glance.

namespace {

using enum SyntaxFamily;
using D = Dialect;
using namespace SyntaxFeature;

constexpr const char* cKeywords
    = "auto break case const continue default do else enum extern for goto if inline "
      "register restrict return sizeof static struct switch typedef union volatile "
      "while _Alignas _Alignof _Atomic _Generic _Noreturn _Static_assert "
      "_Thread_local NULL true false";
constexpr const char* cTypes
    = "char double float int long short signed unsigned void bool _Bool size_t ssize_t "
      "ptrdiff_t int8_t int16_t int32_t int64_t uint8_t uint16_t uint32_t uint64_t "
      "intptr_t uintptr_t FILE";
constexpr const char* cppKeywords
    = "alignas alignof and asm auto break case catch class co_await co_return co_yield concept const "
      "consteval constexpr constinit const_cast continue decltype default delete do dynamic_cast else enum "
      "explicit export extern false final for friend goto if import inline module mutable namespace new "
      "noexcept not nullptr operator or override private protected public register reinterpret_cast "
      "requires return sizeof static static_assert static_cast struct switch template this thread_local "
      "throw true try typedef typeid typename union using virtual volatile while xor NULL";
constexpr const char* cppTypes = "bool char char8_t char16_t char32_t double float int long short signed "
                                 "unsigned void wchar_t size_t ptrdiff_t int8_t int16_t int32_t int64_t "
                                 "uint8_t uint16_t uint32_t uint64_t intptr_t uintptr_t";
constexpr const char* objcKeywords
    = "auto break case const continue default do else enum extern for goto if inline return sizeof static "
      "struct switch typedef union volatile while self super nil Nil YES NO NULL in out inout bycopy byref "
      "oneway __block __weak __strong nonatomic atomic strong weak readonly readwrite copy assign retain "
      "nullable nonnull class namespace new delete template typename this true false nullptr";
constexpr const char* objcTypes = "char double float int long short signed unsigned void bool BOOL id "
                                  "instancetype SEL IMP Class NSInteger NSUInteger CGFloat";
constexpr const char* javaKeywords
    = "abstract assert break case catch class const continue default do else enum extends final finally for "
      "goto if implements import instanceof interface native new package private protected public return "
      "static strictfp super switch synchronized this throw throws transient try volatile while var record "
      "sealed permits yield true false null";
constexpr const char* javaTypes = "boolean byte char double float int long short void";
constexpr const char* kotlinKeywords
    = "abstract actual annotation as break by catch class companion const constructor continue crossinline "
      "data do else enum expect external false final finally for fun get if import in infix init inline "
      "inner interface internal is lateinit noinline null object open operator out override package private "
      "protected public reified return sealed set super suspend tailrec this throw true try typealias val "
      "var "
      "vararg when where while";
constexpr const char* csharpKeywords
    = "abstract as async await base break case catch checked class const continue default delegate do else "
      "enum event explicit extern false finally fixed for foreach get goto if implicit in init interface "
      "internal is lock namespace new null operator out override params private protected public readonly "
      "record ref return sealed set sizeof stackalloc static struct switch this throw true try typeof "
      "unchecked unsafe using var virtual volatile when where while with yield nameof";
constexpr const char* csharpTypes = "bool byte char decimal double dynamic float int long nint nuint object "
                                    "sbyte short string uint ulong ushort void";
constexpr const char* jsKeywords
    = "as async await break case catch class const continue debugger default delete do else export extends "
      "false finally for from function get if import in instanceof let new null of return set static super "
      "switch this throw true try typeof undefined var void while with yield";
constexpr const char* tsKeywords
    = "abstract as asserts async await break case catch class const continue debugger declare default delete "
      "do else enum export extends false finally for from function get if implements import in infer "
      "instanceof interface is keyof let module namespace new null of override private protected public "
      "readonly return satisfies set static super switch this throw true try type typeof undefined unique "
      "var void while with yield";
constexpr const char* tsTypes = "any bigint boolean never number object string symbol unknown";
constexpr const char* goKeywords
    = "break case chan const continue default defer else fallthrough for func go "
      "goto if import interface map package range return select struct switch "
      "type var true false nil iota";
constexpr const char* goTypes
    = "any bool byte complex64 complex128 error float32 float64 int int8 int16 int32 "
      "int64 rune string uint uint8 uint16 uint32 uint64 uintptr";
constexpr const char* rustKeywords
    = "as async await break const continue crate dyn else enum extern false fn for if impl in let loop match "
      "mod move mut pub ref return self Self static struct super trait true type union unsafe use where "
      "while";
constexpr const char* rustTypes = "bool char f32 f64 i8 i16 i32 i64 i128 isize str u8 u16 u32 u64 u128 usize";
constexpr const char* swiftKeywords
    = "actor any as associatedtype async await break case catch class continue convenience default defer "
      "deinit didSet do dynamic else enum extension fallthrough false fileprivate final for func get guard "
      "if "
      "import in indirect infix init inout internal is lazy let mutating nil nonmutating open operator "
      "optional override postfix prefix private protocol public repeat required rethrows return self Self "
      "set some static struct subscript super switch throw throws true try typealias unowned var weak where "
      "while willSet";
constexpr const char* dartKeywords
    = "abstract as assert async await base break case catch class const continue covariant default deferred "
      "do else enum export extends extension external factory false final finally for get hide if implements "
      "import in interface is late library mixin new null on operator part required rethrow return sealed "
      "set show static super switch sync this throw true try typedef var when while with yield";
constexpr const char* dartTypes = "bool double dynamic int num void";
constexpr const char* scalaKeywords
    = "abstract case catch class def do else end enum export extends extension false final finally for "
      "forSome given if implicit import lazy match new null object override package private protected "
      "return sealed super then this throw trait true try type using val var while with yield";
constexpr const char* phpKeywords
    = "abstract and array as break callable case catch class clone const continue declare default do echo "
      "else elseif empty enddeclare endfor endforeach endif endswitch endwhile enum extends false final "
      "finally fn for foreach function global goto if implements include include_once instanceof insteadof "
      "interface isset list match namespace new null or parent print private protected public readonly "
      "require require_once return self static switch throw trait true try unset use var while xor yield";
constexpr const char* phpTypes = "bool float int iterable mixed never object string void";
constexpr const char* zigKeywords
    = "addrspace align allowzero and anyframe anytype asm async await break callconv catch comptime const "
      "continue defer else enum errdefer error export extern false fn for if inline linksection noalias "
      "noinline nosuspend null opaque or orelse packed pub resume return struct suspend switch test "
      "threadlocal true try undefined union unreachable usingnamespace var volatile while";
constexpr const char* zigTypes = "anyerror bool c_int c_long comptime_float comptime_int f16 f32 f64 f128 i8 "
                                 "i16 i32 i64 i128 isize noreturn type u8 u16 u32 u64 u128 usize void";
constexpr const char* groovyKeywords
    = "abstract as assert break case catch class const continue def default do else enum extends false final "
      "finally for goto if implements import in instanceof interface new null package private protected "
      "public return static super switch this throw throws trait true try var while";
constexpr const char* shaderKeywords
    = "attribute break buffer case cbuffer centroid const continue default discard do else false flat fn for "
      "groupshared highp if in inout invariant layout let loop lowp mediump out packoffset precision "
      "register return shared smooth static struct switch true uniform var varying while";
constexpr const char* shaderTypes
    = "bool bvec2 bvec3 bvec4 double f32 float float2 float3 float4 float3x3 float4x4 half half2 half3 half4 "
      "i32 int int2 int3 int4 ivec2 ivec3 ivec4 mat2 mat3 mat4 mat4x4f sampler2D sampler3D samplerCube "
      "SamplerState Texture2D u32 uint uvec2 uvec3 uvec4 vec2 vec3 vec4 vec2f vec3f vec4f void";
constexpr const char* metalKeywords
    = "break case class const constant constexpr continue default device do else enum false for fragment if "
      "kernel namespace private public return sizeof static struct switch template thread threadgroup true "
      "typedef using vertex while";
constexpr const char* metalTypes = "bool char float float2 float3 float4 float2x2 float3x3 float4x4 half "
                                   "half2 half3 half4 int int2 int3 int4 sampler short texture2d uint uint2 "
                                   "uint3 uint4 void";
constexpr const char* protoKeywords
    = "edition enum extend extensions false import map max message oneof option "
      "optional package public repeated required reserved returns rpc service "
      "stream syntax to true weak";
constexpr const char* protoTypes = "bool bytes double fixed32 fixed64 float int32 int64 sfixed32 sfixed64 "
                                   "sint32 sint64 string uint32 uint64";
constexpr const char* verilogKeywords
    = "always always_comb always_ff always_latch and assign automatic begin case casex casez default "
      "defparam disable else end endcase endfunction endgenerate endinterface endmodule endpackage endtask "
      "enum for forever function generate genvar if import initial inout input interface localparam modport "
      "module negedge or output package packed parameter posedge priority repeat return struct task typedef "
      "unique while";
constexpr const char* verilogTypes = "bit byte int integer logic real reg signed supply0 supply1 time tri "
                                     "unsigned wire";

constexpr quint32 jsFeatures
    = quoteStrings | backtickStrings | regexLiterals | annotations | capitalisedTypes;

constexpr SyntaxRow rows[] = {
    { "C", cLike, D::c, directives, cKeywords, cTypes },
    { "C++", cLike, D::cpp, directives, cppKeywords, cppTypes },
    { "Objective-C", cLike, D::objc, directives | capitalisedTypes, objcKeywords, objcTypes },
    { "Java", cLike, D::none, annotations | capitalisedTypes | tripleQuotes, javaKeywords, javaTypes },
    { "Kotlin", cLike, D::none, annotations | capitalisedTypes | tripleQuotes | nestedComments,
        kotlinKeywords, "" },
    { "C#", cLike, D::csharp, directives | capitalisedTypes | tripleQuotes, csharpKeywords, csharpTypes },
    { "JavaScript", cLike, D::none, jsFeatures, jsKeywords, "" },
    { "TypeScript", cLike, D::none, jsFeatures, tsKeywords, tsTypes },
    { "Go", cLike, D::go, 0, goKeywords, goTypes },
    { "Rust", cLike, D::rust, nestedComments | multiLineStrings | capitalisedTypes, rustKeywords, rustTypes },
    { "Swift", cLike, D::swift, nestedComments | tripleQuotes | annotations | capitalisedTypes | directives,
        swiftKeywords, "" },
    { "Dart", cLike, D::none,
        nestedComments | tripleQuotes | tripleSingleQuotes | quoteStrings | annotations | capitalisedTypes,
        dartKeywords, dartTypes },
    { "Scala", cLike, D::scala, nestedComments | tripleQuotes | annotations | capitalisedTypes, scalaKeywords,
        "" },
    { "PHP", cLike, D::php, quoteStrings | multiLineStrings | variables | capitalisedTypes, phpKeywords,
        phpTypes, true },
    { "Zig", cLike, D::zig, annotations, zigKeywords, zigTypes },
    { "Groovy", cLike, D::none,
        quoteStrings | tripleQuotes | tripleSingleQuotes | annotations | capitalisedTypes, groovyKeywords,
        javaTypes },
    { "Shader", cLike, D::none, directives | annotations, shaderKeywords, shaderTypes },
    { "Metal", cLike, D::cpp, directives, metalKeywords, metalTypes },
    { "Protocol Buffers", cLike, D::none, quoteStrings, protoKeywords, protoTypes },
    { "Verilog", cLike, D::verilog, 0, verilogKeywords, verilogTypes },
};

} // namespace

std::span<const SyntaxRow> cLikeRows()
{
    return rows;
}
