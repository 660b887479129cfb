#include "document/native/creader.h"

#include "document/native/cparser_p.h"
#include "text/bytetext.h"
#include "text/nametable.h"

#include <cstring>

namespace CReader {

namespace {

using ByteText::isDigit;
using ByteText::isWordByte;
using ByteText::isWordStart;
using Kind = Token::Kind;

// Directives, words, numbers, strings (raw ones too) and punctuation, "::" and "->" as one.
class Tokeniser : TokenWriter {
public:
    explicit Tokeniser(QByteArrayView text)
        : TokenWriter(text)
    {
    }
    std::vector<Token> run();

private:
    qsizetype directiveEnd(qsizetype at) const;
    qsizetype stringEnd(qsizetype at) const { return ByteText::quotedEnd(m_text, at); }
    qsizetype rawStringEnd(qsizetype quote) const;
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
            push(Kind::directive, at, end);
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
            push(Kind::number, at, end);
            m_at = end;
        } else if (c == '"' || c == '\'') {
            const qsizetype end = std::min(size, stringEnd(at));
            push(Kind::string, at, end);
            advance(end);
        } else if (isWordStart(c)) {
            const qsizetype end = wordEnd(at + 1);
            const QByteArrayView word = m_text.sliced(at, end - at);
            if (end < size && m_text[end] == '"' && word.endsWith('R')
                && (word == "R" || word == "u8R" || word == "uR" || word == "UR" || word == "LR")) {
                const qsizetype stringEnd = rawStringEnd(end);
                push(Kind::string, at, stringEnd);
                advance(stringEnd);
            } else {
                push(Kind::word, at, end);
                m_at = end;
            }
        } else if ((c == ':' && next == ':') || (c == '-' && next == '>')) {
            push(Kind::punct, at, at + 2);
            m_at = at + 2;
        } else {
            push(Kind::punct, at, at + 1);
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
    return parser.finish(readable.size() < utf8.size(), NativeHandlers::markHandlers);
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
