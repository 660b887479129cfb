#include "preview/syntaxclike.h"

using namespace SyntaxScan;
namespace F = SyntaxFeature;

void CLikeScanner::run(qsizetype i)
{
    i = resume(i);
    const qsizetype firstCode = skipBlanks(m_line, i);
    code(i, firstCode);
    if (m_levelCount > 0)
        storeTemplateLevels();
}

void CLikeScanner::code(qsizetype i, qsizetype firstCode)
{
    while (i < m_n) {
        const char c = m_line[i];
        if (isWordStart(c)) {
            i = word(i);
            continue;
        }
        if (isDigit(c) || (c == '.' && i + 1 < m_n && isDigit(m_line[i + 1]) && !follows(i))) {
            i = number(i);
            continue;
        }
        switch (c) {
        case ' ':
        case '\t': ++i; continue;
        case '/':
            if (nextIs(i, '/')) {
                m_out.add(i, m_n, Role::comment);
                return;
            }
            if (nextIs(i, '*')) {
                m_carry.depth = 1;
                i = comment(i, i + 2);
                continue;
            }
            i = slash(i);
            continue;
        case '"': i = doubleQuote(i, i); continue;
        case '\'': i = singleQuote(i); continue;
        case '`': i = backtick(i); continue;
        case '#': i = hash(i, i == firstCode); continue;
        case '@': i = at(i); continue;
        case '$': i = dollar(i); continue;
        case '\\':
            // Zig's multi-line string: each line of it starts with two backslashes.
            if (m_dialect == Dialect::zig && nextIs(i, '\\')) {
                m_out.add(i, m_n, Role::string);
                return;
            }
            ++i;
            continue;
        case '<':
        case '?': i = phpTag(i); continue;
        case '{':
            if (m_levelCount > 0 && m_levels[size_t(m_levelCount - 1)] < 255)
                ++m_levels[size_t(m_levelCount - 1)];
            setValueBefore(false);
            ++i;
            continue;
        case '}': i = closeBrace(i); continue;
        case ')':
        case ']':
            setValueBefore(true);
            ++i;
            continue;
        default: setValueBefore(false); ++i;
        }
    }
}

void CLikeScanner::setValueBefore(bool value)
{
    m_valueBefore = value;
    m_lastWord = {};
}

// Whether the byte before `i` ends a value, so that ".5" there is a member or a range ("t.0",
// "1..2"), not a fraction.
bool CLikeScanner::follows(qsizetype i) const
{
    const char prior = before(i);
    return isWordByte(prior) || prior == '.' || prior == ')' || prior == ']';
}

// Finishes what the line before left open; returns where code starts.
qsizetype CLikeScanner::resume(qsizetype i)
{
    switch (m_carry.open) {
    case Open::comment: return comment(i, i);
    case Open::string:
        if (m_carry.quote == '`' && m_rules.has(F::backtickStrings)) {
            loadTemplateLevels();
            return templateText(i, i);
        }
        return quoted(i, i, m_carry.quote);
    case Open::expression:
        loadTemplateLevels();
        m_carry = {};
        return i;
    case Open::verbatim: return afterValue(doubled(i, i, m_carry.quote));
    case Open::raw: return finishRaw(m_line, i, m_carry, Role::string, m_out);
    case Open::triple: return triple(i, i, m_carry.quote);
    default: m_carry = {}; return i;
    }
}

// A string from `start` whose body starts at `i`.
qsizetype CLikeScanner::quoted(qsizetype start, qsizetype i, char quote)
{
    return afterValue(string(start, i, quote, quote == '`'));
}

qsizetype CLikeScanner::triple(qsizetype start, qsizetype i, char quote)
{
    return afterValue(LineScanner::triple(start, i, quote));
}

qsizetype CLikeScanner::raw(qsizetype start, qsizetype bodyAt, std::string_view closer)
{
    const qsizetype end = find(m_line, bodyAt, closer);
    if (end < 0 && !openRaw(m_carry, Open::raw, closer))
        m_carry = {};
    return afterValue(close(start, end < 0 ? -1 : end + qsizetype(closer.size()), Role::string));
}

// A string whose opening quote is at `quoteAt`, coloured from `start` (a prefix such as u8 or @).
qsizetype CLikeScanner::doubleQuote(qsizetype start, qsizetype quoteAt)
{
    if (m_rules.has(F::tripleQuotes) && startsWith(m_line, quoteAt, R"(""")"))
        return triple(start, quoteAt + 3, '"');
    return quoted(start, quoteAt + 1, '"');
}

qsizetype CLikeScanner::singleQuote(qsizetype i)
{
    if (m_rules.has(F::tripleSingleQuotes) && startsWith(m_line, i, "'''"))
        return triple(i, i + 3, '\'');
    if (m_rules.has(F::quoteStrings))
        return quoted(i, i + 1, '\'');
    if (m_dialect == Dialect::verilog) // 'hFF, an unsized number
        return i + 1 < m_n && isLetter(m_line[i + 1]) ? number(i) : i + 1;
    // A lifetime ('a) in Rust, a symbol ('a) in Scala: a name with no closing quote after its
    // first character.
    if ((m_dialect == Dialect::rust || m_dialect == Dialect::scala) && i + 1 < m_n
        && isWordStart(m_line[i + 1])) {
        const char* p = m_line.data() + i + 1;
        ByteText::decode(p, m_line.data() + m_n);
        const qsizetype next = p - m_line.data();
        if (next >= m_n || m_line[next] != '\'') {
            const qsizetype end = wordEnd(m_line, i + 1);
            m_out.add(i, end, m_dialect == Dialect::rust ? Role::type : Role::number);
            return end;
        }
    }
    // A character literal closes on its own line; a stray quote stays plain.
    const qsizetype end = closingCharacter(m_line, i + 1, true);
    if (end < 0)
        return i + 1;
    m_out.add(i, end, Role::string);
    return afterValue(end);
}

qsizetype CLikeScanner::backtick(qsizetype i)
{
    if (m_rules.has(F::backtickStrings))
        return templateText(i, i + 1);
    if (m_dialect == Dialect::go)
        return raw(i, i + 1, "`");
    if (m_dialect == Dialect::verilog) { // `define, `include
        const qsizetype end = wordEnd(m_line, i + 1);
        m_out.add(i, end, Role::preprocessor);
        return end;
    }
    // A quoted name (Kotlin, Scala, Swift): plain, but nothing inside it is code.
    const qsizetype close = find(m_line, i + 1, "`");
    return close < 0 ? i + 1 : close + 1;
}

qsizetype CLikeScanner::templateText(qsizetype start, qsizetype i)
{
    while (i < m_n) {
        const char c = m_line[i];
        if (c == '\\') {
            i += 2;
        } else if (c == '`') {
            return afterValue(close(start, i + 1, Role::string));
        } else if (c == '$' && i + 1 < m_n && m_line[i + 1] == '{' && m_levelCount < int(m_levels.size())) {
            m_out.add(start, i + 2, Role::string);
            m_levels[size_t(m_levelCount++)] = 0;
            m_carry = {};
            setValueBefore(false);
            return i + 2;
        } else {
            ++i;
        }
    }
    carryOpen(Open::string, '`');
    return toEnd(start, Role::string);
}

// A '}' closes a block, or the ${…} of a template string, whose text goes on after it.
qsizetype CLikeScanner::closeBrace(qsizetype i)
{
    setValueBefore(false);
    if (m_levelCount == 0)
        return i + 1;
    quint8& braces = m_levels[size_t(m_levelCount - 1)];
    if (braces > 0) {
        --braces;
        return i + 1;
    }
    --m_levelCount;
    return templateText(i, i + 1);
}

void CLikeScanner::loadTemplateLevels()
{
    m_levelCount = m_carry.delimiterLength;
    std::copy_n(m_carry.delimiter, m_levelCount, m_levels.begin());
}

// At the line's end, inside a ${…} or a template string within one: what the next line needs to
// know where each closes. Anything else open there (a block comment) forgets them.
void CLikeScanner::storeTemplateLevels()
{
    if (m_carry.open == Open::nothing)
        m_carry.open = Open::expression;
    if (m_carry.open != Open::expression && !(m_carry.open == Open::string && m_carry.quote == '`'))
        return;
    m_carry.delimiterLength = quint8(m_levelCount);
    std::fill(std::begin(m_carry.delimiter), std::end(m_carry.delimiter), 0);
    std::copy_n(m_levels.begin(), m_levelCount, m_carry.delimiter);
}

void scanCLike(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    CLikeScanner(rules, line, carry, out).run(from);
}
