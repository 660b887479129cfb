#include "document/native/rustparser_p.h"

#include "text/bytetext.h"

#include <cstring>

namespace RustReader {

namespace {

using Kind = Token::Kind;
using ByteText::isDigit;
using ByteText::isWordByte;
using ByteText::isWordStart;

// The length in bytes of the UTF-8 character that starts with this byte.
qsizetype characterLength(char lead)
{
    const auto byte = static_cast<unsigned char>(lead);
    return byte < 0x80 ? 1 : byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
}

class Tokeniser : CReader::TokenWriter {
public:
    explicit Tokeniser(QByteArrayView text)
        : TokenWriter(text)
    {
    }
    std::vector<Token> run();

private:
    // A token from the current place, which may span lines; at least one byte long.
    void add(Kind kind, qsizetype start, qsizetype end)
    {
        end = std::clamp(end, start + 1, m_text.size());
        push(kind, start, end);
        advance(end);
    }
    qsizetype stringEnd(qsizetype quote) const;
    qsizetype rawStringEnd(qsizetype r) const;
    qsizetype blockCommentEnd(qsizetype at) const;
    qsizetype characterEnd(qsizetype quote) const;
};

// Strings may span lines; a backslash escapes the next byte.
qsizetype Tokeniser::stringEnd(qsizetype quote) const
{
    qsizetype i = quote + 1;
    while (i < m_text.size()) {
        if (m_text[i] == '\\')
            i += 2;
        else if (m_text[i] == '"')
            return i + 1;
        else
            ++i;
    }
    return m_text.size();
}

// r"…", r#"…"#, with as many # on both sides
qsizetype Tokeniser::rawStringEnd(qsizetype r) const
{
    qsizetype i = r + 1;
    qsizetype hashes = 0;
    while (i < m_text.size() && m_text[i] == '#') {
        ++hashes;
        ++i;
    }
    const std::string closing = '"' + std::string(size_t(hashes), '#');
    return std::min(m_text.size(), find(closing, i + 1) + qsizetype(closing.size()));
}

// Past the closing quote of a character literal that opens here, or 0 when the quote opens none.
qsizetype Tokeniser::characterEnd(qsizetype quote) const
{
    const qsizetype size = m_text.size();
    if (quote + 1 >= size)
        return 0;
    qsizetype close = quote + 1 + characterLength(m_text[quote + 1]);
    if (m_text[quote + 1] == '\\') {
        close = quote + 3; // '\n', '\'', '\u{1F600}'
        while (close < size && m_text[close] != '\'' && m_text[close] != '\n' && close < quote + 12)
            ++close;
    }
    return close < size && m_text[close] == '\'' ? close + 1 : 0;
}

// Block comments nest.
qsizetype Tokeniser::blockCommentEnd(qsizetype at) const
{
    qsizetype depth = 0;
    qsizetype i = at;
    while (i + 1 < m_text.size()) {
        if (m_text[i] == '/' && m_text[i + 1] == '*') {
            ++depth;
            i += 2;
        } else if (m_text[i] == '*' && m_text[i + 1] == '/') {
            i += 2;
            if (--depth == 0)
                return i;
        } else {
            ++i;
        }
    }
    return m_text.size();
}

std::vector<Token> Tokeniser::run()
{
    const qsizetype size = m_text.size();
    while (m_at < size) {
        const qsizetype at = m_at;
        const char c = m_text[at];
        const char next = at + 1 < size ? m_text[at + 1] : '\0';
        if (c == '\n') {
            ++m_line;
            ++m_at;
        } else if (ByteText::isSpace(c)) {
            ++m_at;
        } else if (c == '/' && next == '/') {
            m_at = ByteText::lineEnd(m_text, at);
        } else if (c == '/' && next == '*') {
            advance(blockCommentEnd(at));
        } else if (c == '"') {
            add(Kind::string, at, stringEnd(at));
        } else if ((c == 'r'
                       && (next == '"'
                           || (next == '#' && at + 2 < size
                               && (m_text[at + 2] == '"' || m_text[at + 2] == '#'))))
            || (c == 'b' && next == 'r' && at + 2 < size
                && (m_text[at + 2] == '"' || m_text[at + 2] == '#'))) {
            add(Kind::string, at, rawStringEnd(c == 'b' ? at + 1 : at));
        } else if (c == 'b' && next == '"') {
            add(Kind::string, at, stringEnd(at + 1));
        } else if (c == 'b' && next == '\'' && characterEnd(at + 1) > 0) {
            add(Kind::string, at, characterEnd(at + 1)); // b'x'
        } else if (c == '\'') {
            // A character literal, or a lifetime such as 'a, which has no closing quote.
            if (const qsizetype literalEnd = characterEnd(at); literalEnd > 0) {
                add(Kind::string, at, literalEnd);
            } else {
                add(Kind::word, at, wordEnd(at + 1));
            }
        } else if (isDigit(c)) {
            qsizetype end = at + 1;
            while (end < size
                && (isWordByte(m_text[end])
                    || (m_text[end] == '.' && end + 1 < size && isDigit(m_text[end + 1]))))
                ++end;
            add(Kind::number, at, end);
        } else if (isWordStart(c)) {
            // r#type is a raw identifier
            add(Kind::word, at, wordEnd(c == 'r' && next == '#' ? at + 2 : at + 1));
        } else if ((c == ':' && next == ':') || (c == '-' && next == '>') || (c == '=' && next == '>')) {
            add(Kind::punct, at, at + 2);
        } else {
            add(Kind::punct, at, at + 1);
        }
    }
    return std::move(m_tokens);
}

} // namespace

std::vector<Token> tokenise(QByteArrayView utf8)
{
    return Tokeniser(utf8).run();
}

} // namespace RustReader
