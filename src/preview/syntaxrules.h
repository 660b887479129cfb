#pragma once

#include "preview/syntax.h"
#include "text/bytetext.h"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The inside of Syntax: which scanner colours a language and with what words. Each scanner reads one
// line left to right, once, and never backs up, so a line costs time in proportion to its length.

enum class SyntaxFamily : quint8 {
    plain,
    cLike,
    hash,
    dashes,
    markup,
    css,
    config,
    json,
    markdown,
    diff,
    lineComment
};

// Languages whose scanner treats some construct of their own.
enum class Dialect : quint8 {
    none,
    c,
    cpp,
    objc,
    csharp,
    go,
    rust,
    swift,
    scala,
    php,
    zig,
    verilog,
    python,
    shell,
    ruby,
    perl,
    yaml,
    toml,
    cmake,
    make,
    julia,
    nix,
    elixir,
    tcl,
    powershell,
    terraform,
    docker,
    sql,
    lua,
    haskell,
    vhdl,
    html, // markup with script and style elements
    assembly,
    erlang,
    clojure,
    fortran,
    ocaml,
    batch,
};

namespace SyntaxFeature {
enum : quint32 {
    directives = 1u << 0, // '#' first on a line starts a preprocessor line
    nestedComments = 1u << 1,
    tripleQuotes = 1u << 2, // """ strings span lines
    tripleSingleQuotes = 1u << 3, // ''' strings too
    backtickStrings = 1u << 4, // `…` strings span lines
    quoteStrings = 1u << 5, // '…' is a string, not one character
    multiLineStrings = 1u << 6, // a string left open goes on to the next line
    annotations = 1u << 7, // @Name
    capitalisedTypes = 1u << 8, // a name that starts upper case and has lower case in it
    regexLiterals = 1u << 9, // '/' where a value is due starts a regular expression
    variables = 1u << 10, // $name
    slashComments = 1u << 11, // '//' and '/* */' besides '#'
};
}

// Words looked up by hashing their bytes into a small open-addressed table: a handful of byte
// compares for a word, none for most identifiers, whose length alone rules them out.
class KeywordSet {
public:
    KeywordSet() = default;
    // Space-separated words; `keywords` colour as keywords, `types` as types. With `ignoreCase` the
    // words are given in lower case.
    KeywordSet(std::string_view keywords, std::string_view types, bool ignoreCase);
    SyntaxRole roleOf(std::string_view word) const;

private:
    struct Slot {
        quint32 offset = 0; // into m_text
        quint8 length = 0; // 0 for an empty slot
        SyntaxRole role = SyntaxRole::plain;
    };
    static size_t hash(std::string_view word);
    void insert(size_t from, size_t to, SyntaxRole role);
    std::string_view wordAt(const Slot& slot) const
    {
        return std::string_view(m_text).substr(slot.offset, slot.length);
    }

    std::string m_text;
    std::vector<Slot> m_slots;
    quint64 m_lengths = 0; // bit n set when some word is n bytes long
    bool m_ignoreCase = false;
};

// A row of the table of languages: the language's name as the language table spells it, and how
// its lines are coloured.
struct SyntaxRow {
    const char* language;
    SyntaxFamily family;
    Dialect dialect;
    quint32 features;
    const char* keywords;
    const char* types;
    bool ignoreCase = false;
};
std::span<const SyntaxRow> cLikeRows();
std::span<const SyntaxRow> otherRows();

// The openers of a language's rules.
std::array<bool, 256> openersOf(SyntaxFamily family, Dialect dialect, quint32 features);

struct SyntaxRules {
    SyntaxFamily family = SyntaxFamily::plain;
    Dialect dialect = Dialect::none;
    quint32 features = 0;
    KeywordSet words;
    // Markup: what colours the inside of script and style elements.
    const SyntaxRules* script = nullptr;
    const SyntaxRules* style = nullptr;
    // The bytes without which a line that starts with nothing open leaves nothing open either.
    // Walking a long file for its carries passes most lines at a glance this way.
    std::array<bool, 256> openers {};

    bool has(quint32 feature) const { return (features & feature) != 0; }
};

// Where the spans of a line go; nowhere when only the carry is wanted, which lets the scanners skip
// the work that only decides colours.
class SpanOut {
public:
    explicit SpanOut(std::vector<SyntaxSpan>* spans)
        : m_spans(spans)
    {
    }
    bool wanted() const { return m_spans != nullptr; }
    // Joins a stretch to the span before it when they touch and share a role.
    void add(qsizetype start, qsizetype end, SyntaxRole role)
    {
        if (!m_spans || end <= start || role == SyntaxRole::plain)
            return;
        if (!m_spans->empty()) {
            SyntaxSpan& last = m_spans->back();
            if (last.role == role && last.start + last.length == start) {
                last.length += qint32(end - start);
                return;
            }
        }
        m_spans->push_back({ qint32(start), qint32(end - start), role });
    }

private:
    std::vector<SyntaxSpan>* m_spans;
};

// A scanner colours `line` from byte `from` on; the bytes before belong to someone else (markup
// around an embedded script).
using SyntaxScanner = void (*)(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out);

void scanCLike(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanHash(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanDashes(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanLineComment(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanMarkup(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanCss(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanConfig(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanJson(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanMarkdown(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);
void scanDiff(const SyntaxRules&, QByteArrayView, qsizetype, SyntaxCarry&, SpanOut&);

// Byte helpers the scanners share.
namespace SyntaxScan {

using ByteText::isDigit;
using ByteText::isLetter;
using ByteText::isWordByte;
using ByteText::isWordStart;

inline bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
inline bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}
inline bool isUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}
inline char lowerAscii(char c)
{
    return isUpper(c) ? char(c + ('a' - 'A')) : c;
}

inline std::string_view view(QByteArrayView line)
{
    return { line.data(), size_t(line.size()) };
}
inline bool startsWith(QByteArrayView line, qsizetype at, std::string_view text)
{
    return at + qsizetype(text.size()) <= line.size() && view(line).substr(size_t(at), text.size()) == text;
}
// The offset of `text` at or after `from`, or -1.
inline qsizetype find(QByteArrayView line, qsizetype from, std::string_view text)
{
    const size_t at = view(line).find(text, size_t(from));
    return at == std::string_view::npos ? -1 : qsizetype(at);
}
inline qsizetype skipBlanks(QByteArrayView line, qsizetype i)
{
    while (i < line.size() && isBlank(line[i]))
        ++i;
    return i;
}
inline qsizetype wordEnd(QByteArrayView line, qsizetype i)
{
    while (i < line.size() && isWordByte(line[i]))
        ++i;
    return i;
}
// Upper case first, lower case somewhere after: a type by convention in many languages, where
// ALL_CAPS is a constant.
bool isCapitalised(std::string_view word);

// Past the quote that closes a string whose body starts at `i`, or -1 when the line ends first;
// `escapedBreak` tells whether a backslash escaped the line's end.
struct QuoteEnd {
    qsizetype end;
    bool escapedBreak;
};
QuoteEnd closingQuote(QByteArrayView line, qsizetype i, char quote, bool escapes);
// The same for a string where a doubled quote stands for one.
qsizetype closingDoubledQuote(QByteArrayView line, qsizetype i, char quote);
// Past the quote closing a character literal whose body starts at `i`, or -1. It looks only a few
// bytes on, so that a line of stray quotes costs no more than its length.
qsizetype closingCharacter(QByteArrayView line, qsizetype i, bool escapes);
// Past three quotes in a row, or -1.
qsizetype closingTriple(QByteArrayView line, qsizetype i, char quote, bool escapes);

// Past the number that starts at `i`: decimal, hexadecimal, octal or binary, with separators, a
// fraction, an exponent and a suffix of letters.
qsizetype numberEnd(QByteArrayView line, qsizetype i, bool quoteSeparators = false);

// The length of the long bracket at `i` ('[', any '=', '[': "[[", "[==["), or 0; Lua's long strings
// and CMake's bracket comments open with one. And what closes one of that length: "]]", "]==]".
qsizetype longBracket(QByteArrayView line, qsizetype i);
std::string longCloser(qsizetype length);

// Sets the carry to a delimiter-closed state; false when the delimiter is too long to keep.
bool openRaw(SyntaxCarry& carry, SyntaxCarry::Open open, std::string_view delimiter);
inline std::string_view delimiterOf(const SyntaxCarry& carry)
{
    return { carry.delimiter, carry.delimiterLength };
}

// Colours up to and past the carry's delimiter (or to the end); returns where the line goes on.
qsizetype finishRaw(QByteArrayView line, qsizetype from, SyntaxCarry& carry, SyntaxRole role, SpanOut& out);

} // namespace SyntaxScan
