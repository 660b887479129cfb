#include "preview/syntaxrules.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// Longer words are never looked up: no keyword is this long.
constexpr size_t longestWord = 63;

} // namespace

KeywordSet::KeywordSet(std::string_view keywords, std::string_view types, bool ignoreCase)
    : m_ignoreCase(ignoreCase)
{
    m_text.reserve(keywords.size() + types.size() + 1);
    m_text.append(keywords).append(" ").append(types);
    const size_t count = size_t(std::count(m_text.begin(), m_text.end(), ' ')) + 1;
    // At most half full, so a miss ends at an empty slot within a probe or two.
    m_slots.resize(std::bit_ceil(2 * count + 8));
    insert(0, keywords.size(), SyntaxRole::keyword);
    insert(keywords.size() + 1, m_text.size(), SyntaxRole::type);
}

void KeywordSet::insert(size_t from, size_t to, SyntaxRole role)
{
    const std::string_view text(m_text);
    size_t at = from;
    while (at < to) {
        size_t end = std::min(text.find(' ', at), to);
        const std::string_view word = text.substr(at, end - at);
        const size_t offset = at;
        at = end + 1;
        if (word.empty() || word.size() > longestWord)
            continue;
        const size_t mask = m_slots.size() - 1;
        size_t slot = hash(word) & mask;
        while (m_slots[slot].length && wordAt(m_slots[slot]) != word)
            slot = (slot + 1) & mask;
        if (!m_slots[slot].length) // a word listed twice keeps its first role
            m_slots[slot] = { quint32(offset), quint8(word.size()), role };
        m_lengths |= quint64(1) << word.size();
    }
}

size_t KeywordSet::hash(std::string_view word)
{
    size_t h = word.size() * 0x9E3779B1u;
    for (const char c : word)
        h = (h ^ static_cast<unsigned char>(c)) * 0x01000193u;
    return h ^ (h >> 15);
}

SyntaxRole KeywordSet::roleOf(std::string_view word) const
{
    if (m_slots.empty() || word.size() > longestWord || !(m_lengths >> word.size() & 1))
        return SyntaxRole::plain;
    char lowered[longestWord];
    if (m_ignoreCase) {
        for (size_t i = 0; i < word.size(); ++i)
            lowered[i] = SyntaxScan::lowerAscii(word[i]);
        word = { lowered, word.size() };
    }
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = hash(word) & mask; m_slots[slot].length; slot = (slot + 1) & mask) {
        if (wordAt(m_slots[slot]) == word)
            return m_slots[slot].role;
    }
    return SyntaxRole::plain;
}

std::array<bool, 256> openersOf(SyntaxFamily family, Dialect dialect, quint32 features)
{
    std::string marks;
    switch (family) {
    case SyntaxFamily::cLike: marks = "/\"'`"; break; // comments, strings, template and raw strings
    case SyntaxFamily::hash:
        marks = "\"'`";
        if (dialect == Dialect::julia || dialect == Dialect::cmake) // #= =#, #[[ ]]
            marks += '#';
        if (dialect == Dialect::shell || dialect == Dialect::ruby || dialect == Dialect::perl
            || dialect == Dialect::terraform || dialect == Dialect::powershell) // here-documents, <# #>
            marks += '<';
        if ((features & SyntaxFeature::slashComments) || dialect == Dialect::nix)
            marks += '/';
        if (dialect == Dialect::ruby || dialect == Dialect::perl) // =begin, =pod, __END__
            marks += "=_";
        break;
    case SyntaxFamily::dashes: marks = "\"'`$/[{"; break;
    case SyntaxFamily::lineComment: marks = "\"("; break;
    case SyntaxFamily::markup: marks = "<"; break;
    case SyntaxFamily::css: marks = "/{"; break;
    case SyntaxFamily::config: marks = "\"'"; break;
    case SyntaxFamily::json: marks = "/"; break;
    case SyntaxFamily::markdown: marks = "`~<"; break;
    case SyntaxFamily::diff: marks = "@"; break;
    case SyntaxFamily::plain: break;
    }
    std::array<bool, 256> openers {};
    for (const char c : marks)
        openers[static_cast<unsigned char>(c)] = true;
    return openers;
}

namespace SyntaxScan {

bool isCapitalised(std::string_view word)
{
    if (word.empty() || !isUpper(word.front()))
        return false;
    for (const char c : word.substr(1))
        if (c >= 'a' && c <= 'z')
            return true;
    return false;
}

QuoteEnd closingQuote(QByteArrayView line, qsizetype i, char quote, bool escapes)
{
    const qsizetype n = line.size();
    while (i < n) {
        const char c = line[i];
        if (c == quote)
            return { i + 1, false };
        i += c == '\\' && escapes ? 2 : 1;
    }
    return { -1, i > n };
}

qsizetype closingCharacter(QByteArrayView line, qsizetype i, bool escapes)
{
    constexpr qsizetype longest = 16; // '\u{10FFFF}', 'abcd'
    const QuoteEnd end = closingQuote(line.first(std::min(line.size(), i + longest)), i, '\'', escapes);
    return end.end;
}

qsizetype closingDoubledQuote(QByteArrayView line, qsizetype i, char quote)
{
    const qsizetype n = line.size();
    while (i < n) {
        const void* found = std::memchr(line.data() + i, quote, size_t(n - i));
        if (!found)
            return -1;
        i = static_cast<const char*>(found) - line.data() + 1;
        if (i < n && line[i] == quote)
            ++i;
        else
            return i;
    }
    return -1;
}

qsizetype closingTriple(QByteArrayView line, qsizetype i, char quote, bool escapes)
{
    const qsizetype n = line.size();
    while (i < n) {
        const char c = line[i];
        if (c == '\\' && escapes)
            i += 2;
        else if (c == quote && i + 2 < n && line[i + 1] == quote && line[i + 2] == quote)
            return i + 3;
        else
            ++i;
    }
    return -1;
}

qsizetype numberEnd(QByteArrayView line, qsizetype i, bool quoteSeparators)
{
    const qsizetype n = line.size();
    const auto separator = [&](qsizetype at, bool hex) {
        const char c = line[at];
        return (c == '_' || (c == '\'' && quoteSeparators)) && at + 1 < n
            && (hex ? isHexDigit(line[at + 1]) : isDigit(line[at + 1]));
    };
    bool hex = false;
    if (line[i] == '0' && i + 2 < n) {
        const char base = lowerAscii(line[i + 1]);
        if ((base == 'x' || base == 'b' || base == 'o') && isHexDigit(line[i + 2])) {
            hex = base == 'x';
            i += 2;
        }
    }
    const auto digits = [&] {
        while (i < n && ((hex ? isHexDigit(line[i]) : isDigit(line[i])) || separator(i, hex)))
            ++i;
    };
    digits();
    // "1..2" is a range and "1.max" a member, not fractions.
    if (i < n && line[i] == '.' && (i + 1 >= n || (line[i + 1] != '.' && !isLetter(line[i + 1])))) {
        ++i;
        digits();
    }
    if (i < n) {
        const char e = lowerAscii(line[i]);
        if ((e == 'e' && !hex) || (e == 'p' && hex)) {
            qsizetype at = i + 1;
            if (at < n && (line[at] == '+' || line[at] == '-'))
                ++at;
            if (at < n && isDigit(line[at])) {
                i = at;
                hex = false;
                digits();
            }
        }
    }
    return wordEnd(line, i);
}

qsizetype longBracket(QByteArrayView line, qsizetype i)
{
    if (i >= line.size() || line[i] != '[')
        return 0;
    qsizetype j = i + 1;
    while (j < line.size() && line[j] == '=')
        ++j;
    return j < line.size() && line[j] == '[' ? j + 1 - i : 0;
}

std::string longCloser(qsizetype length)
{
    return ']' + std::string(size_t(length - 2), '=') + ']';
}

bool openRaw(SyntaxCarry& carry, SyntaxCarry::Open open, std::string_view delimiter)
{
    if (delimiter.empty() || delimiter.size() > size_t(SyntaxCarry::delimiterCapacity))
        return false;
    carry.open = open;
    carry.delimiterLength = quint8(delimiter.size());
    std::memset(carry.delimiter, 0, sizeof carry.delimiter);
    std::memcpy(carry.delimiter, delimiter.data(), delimiter.size());
    return true;
}

qsizetype finishRaw(QByteArrayView line, qsizetype from, SyntaxCarry& carry, SyntaxRole role, SpanOut& out)
{
    const std::string_view delimiter = delimiterOf(carry);
    const qsizetype at = find(line, from, delimiter);
    if (at < 0) {
        out.add(from, line.size(), role);
        return line.size();
    }
    const qsizetype end = at + qsizetype(delimiter.size());
    out.add(from, end, role);
    carry = {};
    return end;
}

} // namespace SyntaxScan
