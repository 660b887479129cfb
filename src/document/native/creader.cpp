#include "document/native/creader.h"

#include "document/native/cparser_p.h"
#include "text/bytetext.h"
#include "text/nametable.h"

#include <cstring>

namespace CReader {

namespace {

using ByteText::isDigit;
using ByteText::isLetter;
using ByteText::isWordByte;
using ByteText::isWordStart;
using Kind = Token::Kind;

class Tokeniser {
public:
    explicit Tokeniser(QByteArrayView text)
        : m_text(text)
    {
        m_tokens.reserve(size_t(text.size())); // no token is shorter than a byte: it never grows
    }
    std::vector<Token> run();

private:
    void add(Kind kind, qsizetype start, qsizetype end, qint64 line)
    {
        m_tokens.push_back({ kind, qint32(line), qint32(start), qint32(end) });
    }
    // Moves to `end`, counting the newlines passed.
    void advance(qsizetype end)
    {
        end = std::min(end, m_text.size());
        m_line += std::count(m_text.begin() + m_at, m_text.begin() + end, '\n');
        m_at = end;
    }
    qsizetype find(std::string_view what, qsizetype from) const
    {
        const size_t found = ByteText::view(m_text).find(what, size_t(from));
        return found == std::string_view::npos ? m_text.size() : qsizetype(found);
    }
    qsizetype directiveEnd(qsizetype at) const;
    qsizetype stringEnd(qsizetype at) const { return ByteText::quotedEnd(m_text, at); }
    qsizetype rawStringEnd(qsizetype quote) const;

    QByteArrayView m_text;
    std::vector<Token> m_tokens;
    qsizetype m_at = 0;
    qint64 m_line = 0;
};

// A directive runs to the end of its line, and on over lines that end in a backslash.
qsizetype Tokeniser::directiveEnd(qsizetype at) const
{
    for (;;) {
        const qsizetype end = ByteText::lineEnd(m_text, at);
        if (end == m_text.size())
            return end;
        qsizetype last = end - 1;
        if (last >= at && m_text[last] == '\r')
            --last;
        if (last < at || m_text[last] != '\\')
            return end;
        at = end + 1;
    }
}

// R"delimiter( … )delimiter"
qsizetype Tokeniser::rawStringEnd(qsizetype quote) const
{
    qsizetype open = quote + 1;
    while (open < m_text.size() && open - quote <= 17 && m_text[open] != '(' && m_text[open] != '\n')
        ++open;
    if (open >= m_text.size() || m_text[open] != '(')
        return stringEnd(quote);
    const std::string closing = ')' + std::string(m_text.data() + quote + 1, size_t(open - quote - 1)) + '"';
    const qsizetype close = find(closing, open + 1);
    return std::min(m_text.size(), close + qsizetype(closing.size()));
}

std::vector<Token> Tokeniser::run()
{
    const qsizetype size = m_text.size();
    bool lineStart = true;
    while (m_at < size) {
        const qsizetype at = m_at;
        const char c = m_text[at];
        const char next = at + 1 < size ? m_text[at + 1] : '\0';
        if (c == '\n') {
            ++m_line;
            ++m_at;
            lineStart = true;
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
            ++m_at;
            continue;
        }
        if (c == '#' && lineStart) {
            const qsizetype end = directiveEnd(at);
            add(Kind::directive, at, end, m_line);
            advance(end);
            continue;
        }
        lineStart = false;
        if (c == '/' && next == '/') {
            m_at = ByteText::lineEnd(m_text, at);
        } else if (c == '/' && next == '*') {
            advance(std::min(size, find("*/", at + 2) + 2));
        } else if (isDigit(c)) {
            qsizetype end = at + 1;
            while (end < size && (isWordByte(m_text[end]) || m_text[end] == '.'))
                ++end;
            add(Kind::number, at, end, m_line);
            m_at = end;
        } else if (c == '"' || c == '\'') {
            const qsizetype end = std::min(size, stringEnd(at));
            add(Kind::string, at, end, m_line);
            advance(end);
        } else if (isWordStart(c)) {
            qsizetype end = at + 1;
            while (end < size && isWordByte(m_text[end]))
                ++end;
            const QByteArrayView word = m_text.sliced(at, end - at);
            if (end < size && m_text[end] == '"' && word.endsWith('R')
                && (word == "R" || word == "u8R" || word == "uR" || word == "UR" || word == "LR")) {
                const qsizetype stringEnd = rawStringEnd(end);
                add(Kind::string, at, stringEnd, m_line);
                advance(stringEnd);
            } else {
                add(Kind::word, at, end, m_line);
                m_at = end;
            }
        } else if ((c == ':' && next == ':') || (c == '-' && next == '>')) {
            add(Kind::punct, at, at + 2, m_line);
            m_at = at + 2;
        } else {
            add(Kind::punct, at, at + 1, m_line);
            m_at = at + 1;
        }
    }
    return std::move(m_tokens);
}

} // namespace

QByteArrayView readablePart(QByteArrayView utf8)
{
    if (utf8.size() <= byteLimit)
        return utf8;
    const QByteArrayView head = utf8.first(byteLimit);
    const qsizetype newline = head.lastIndexOf('\n');
    return newline < 0 ? head : head.first(newline + 1);
}

std::vector<Token> tokenise(QByteArrayView utf8)
{
    return Tokeniser(readablePart(utf8)).run();
}

bool looksLikeCpp(const std::vector<Token>& tokens, QByteArrayView utf8)
{
    const size_t count = std::min<size_t>(tokens.size(), 20000);
    for (size_t i = 0; i < count; ++i) {
        const Token& token = tokens[i];
        const QByteArrayView text = token.text(utf8);
        if (token.kind == Kind::word
            && (text == "class" || text == "namespace" || text == "template" || text == "public"
                || text == "virtual"))
            return true;
        if (token.kind == Kind::punct && text == "::")
            return true;
    }
    return false;
}

Reading read(QByteArrayView utf8, const std::vector<Token>& tokens, bool cpp)
{
    const QByteArrayView readable = readablePart(utf8);
    Parser parser(readable, tokens, cpp);
    parser.run();
    NativeHandlers::attachOutOfLine(parser.tree);
    NativeHandlers::markHandlers(parser.tree);
    NativeHandlers::linkPassed(parser.tree);
    Reading reading;
    reading.symbols = parser.tree.build();
    reading.includes = std::move(parser.includes);
    reading.truncated = parser.full || readable.size() < utf8.size();
    return reading;
}

Reading read(QByteArrayView utf8, bool cpp)
{
    return read(utf8, tokenise(utf8), cpp);
}

constexpr auto tokenKindNames = nameTable<Token::Kind>("word", "punct", "string", "number", "directive");

QString tokenKindName(Token::Kind kind)
{
    return tokenKindNames.name(kind);
}

} // namespace CReader
