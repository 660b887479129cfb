#include "document/script/scriptparser_p.h"

#include <cstring>

// The questions the script parser asks of its tokens: their kind and text, matching brackets, where
// a type, an expression or an argument ends.

namespace ScriptReader {

namespace {

using ByteText::among;

} // namespace

Parser::Parser(QByteArrayView source, const std::vector<Token>& tokens, const std::vector<qint32>& match)
    : m_source(source)
    , m_tokens(tokens)
    , m_match(match)
    , m_lines(source)
{
}

bool Parser::isWord(qsizetype i) const
{
    return i >= 0 && i < qsizetype(m_tokens.size()) && m_tokens[size_t(i)].kind() == Token::Kind::word;
}

bool Parser::isWord(qsizetype i, QByteArrayView word) const
{
    return isWord(i) && text(i) == word;
}

bool Parser::isPunct(qsizetype i, char c) const
{
    if (i < 0 || i >= qsizetype(m_tokens.size()))
        return false;
    const Token& token = m_tokens[size_t(i)];
    return token.kind() == Token::Kind::punct && token.end() - token.start() == 1
        && m_source[token.start()] == c;
}

bool Parser::inTypeParameters(qsizetype at) const
{
    // Back over the list, nested angles skipped, to the "<" that opens it after a name.
    int depth = 0;
    for (qsizetype i = at - 1, steps = 0; i >= 0 && steps < 64; --i, ++steps) {
        if (isPunct(i, ';') || isPunct(i, '{') || isPunct(i, '}'))
            return false;
        if (isPunct(i, '>')) {
            ++depth;
        } else if (isPunct(i, '<')) {
            if (depth == 0)
                return isWord(i - 1);
            --depth;
        }
    }
    return false;
}

bool Parser::isOpener(qsizetype i) const
{
    return isPunct(i, '(') || isPunct(i, '[') || isPunct(i, '{');
}

bool Parser::isCloser(qsizetype i) const
{
    return isPunct(i, ')') || isPunct(i, ']') || isPunct(i, '}');
}

QByteArray Parser::text(qsizetype from, qsizetype through) const
{
    if (from < 0 || through < from || through >= qsizetype(m_tokens.size()))
        return {};
    const qsizetype start = m_tokens[size_t(from)].start();
    return m_source.sliced(start, m_tokens[size_t(through)].end() - start).toByteArray();
}

// The matching closer of an opening bracket, or the limit when it closes beyond it or never.
qsizetype Parser::closing(qsizetype open, qsizetype limit) const
{
    const qsizetype close = m_match[size_t(open)];
    return close < 0 || close > limit ? limit : close;
}

// A return or field type after ":", up to what follows it.
qsizetype Parser::skipType(qsizetype at, qsizetype limit, bool beforeBody) const
{
    if (!isPunct(at, ':'))
        return at;
    qsizetype j = at + 1;
    // Inside a type's angle brackets (Map<string, number>) a comma or a brace ends nothing.
    int angles = 0;
    for (int steps = 0; j < limit && steps < 64; ++steps) {
        if (angles == 0
            && ((text(j) == "=>" && !beforeBody) || isPunct(j, '{') || isPunct(j, ';') || isPunct(j, '=')
                || isPunct(j, ',') || isCloser(j)
                || (steps > 0 && newlineBefore(j) && !isPunct(j, '|') && !isPunct(j, '&'))))
            break;
        const QByteArrayView token = text(j);
        if (token == "<")
            ++angles;
        else if (!token.isEmpty() && angles > 0 && token.count('>') == token.size())
            angles = std::max(0, angles - int(token.size()));
        const bool opener = isPunct(j, '(') || isPunct(j, '[') || (angles > 0 && isPunct(j, '{'));
        j = opener ? closing(j, limit) + 1 : j + 1;
    }
    return std::min(j, limit);
}

bool Parser::isArrowAt(qsizetype at, qsizetype limit) const
{
    if (at >= limit)
        return false;
    if (isWord(at))
        return at + 1 < limit && text(at + 1) == "=>";
    if (!isPunct(at, '('))
        return false;
    const qsizetype close = closing(at, limit);
    if (close + 1 >= limit)
        return false;
    const qsizetype after = skipType(close + 1, limit);
    return after < limit && text(after) == "=>";
}

bool Parser::newlineBefore(qsizetype i) const
{
    if (i <= 0 || i >= qsizetype(m_tokens.size()))
        return false;
    const qsizetype from = m_tokens[size_t(i - 1)].end();
    const qsizetype to = m_tokens[size_t(i)].start();
    return to > from && std::memchr(m_source.data() + from, '\n', size_t(to - from));
}

qsizetype Parser::nextComma(qsizetype at, qsizetype limit) const
{
    qsizetype j = at;
    while (j < limit) {
        if (isOpener(j))
            j = closing(j, limit) + 1;
        else if (isPunct(j, ','))
            return j;
        else
            ++j;
    }
    return limit;
}

// Where an expression ends: a comma, semicolon or closer at its own level, or a line break between
// a finished expression and the start of a new statement, as the language inserts semicolons.
qsizetype Parser::expressionEnd(qsizetype at, qsizetype limit) const
{
    qsizetype j = at;
    while (j < limit) {
        if (isOpener(j)) {
            j = closing(j, limit) + 1;
            continue;
        }
        if (isPunct(j, ',') || isPunct(j, ';') || isCloser(j))
            return j;
        if (j > at && newlineBefore(j)) {
            const Token& previous = m_tokens[size_t(j - 1)];
            const Token& current = m_tokens[size_t(j)];
            const bool finished
                = (previous.kind() != Token::Kind::punct && previous.kind() != Token::Kind::word)
                || isCloser(j - 1)
                || (previous.kind() == Token::Kind::word
                    && !among(text(j - 1),
                        { "return", "typeof", "case", "in", "of", "new", "delete", "void", "instanceof", "do",
                            "else", "yield", "await" }));
            const bool starts
                = current.kind() != Token::Kind::punct && !among(text(j), { "in", "of", "instanceof" });
            if (finished && starts)
                return j;
        }
        ++j;
    }
    return std::min(j, limit);
}

} // namespace ScriptReader
