#include "document/native/tokenscan_p.h"

#include "text/bytetext.h"

namespace CReader {

using Kind = Token::Kind;

TokenScan::TokenScan(QByteArrayView source, const std::vector<Token>& tokens)
    : m_source(source)
    , m_tokens(tokens)
{
    m_match = ByteText::matchBrackets(qsizetype(tokens.size()), [&](qsizetype i) {
        const Token& token = tokens[size_t(i)];
        return token.kind == Kind::punct && token.end - token.start == 1 ? source[token.start] : '\0';
    });
}

qsizetype TokenScan::add(NativeSymbol symbol, Owner owner)
{
    const qsizetype id = tree.add(std::move(symbol), owner);
    if (tree.size() >= symbolLimit)
        full = true;
    return id;
}

bool TokenScan::isWord(qsizetype i) const
{
    return i >= 0 && i < qsizetype(m_tokens.size()) && m_tokens[size_t(i)].kind == Kind::word;
}

bool TokenScan::isPunct(qsizetype i, QByteArrayView punct) const
{
    return i >= 0 && i < qsizetype(m_tokens.size()) && m_tokens[size_t(i)].kind == Kind::punct
        && text(i) == punct;
}

QByteArray TokenScan::text(qsizetype from, qsizetype through) const
{
    if (from < 0 || through < from || through >= qsizetype(m_tokens.size()))
        return {};
    const qsizetype start = m_tokens[size_t(from)].start;
    return m_source.sliced(start, m_tokens[size_t(through)].end - start).toByteArray();
}

qsizetype TokenScan::closing(qsizetype open, qsizetype limit) const
{
    const qsizetype close = m_match[size_t(open)];
    return close < 0 || close > limit ? limit : close;
}

qsizetype TokenScan::skipAngles(qsizetype open, qsizetype limit) const
{
    qsizetype depth = 0;
    // Parameter lists are short: a "<" with no ">" within this many tokens was a comparison.
    for (qsizetype i = open; i < limit && i < open + 128; ++i) {
        if (isPunct(i, "<")) {
            ++depth;
        } else if (isPunct(i, ">")) {
            if (--depth <= 0)
                return i + 1;
        } else if (isPunct(i, "(") || isPunct(i, "[")) {
            i = closing(i, limit);
        } else if (isPunct(i, ";") || isPunct(i, "{") || isPunct(i, "}")) {
            return i;
        }
    }
    return std::min(limit, open + 1);
}

qsizetype TokenScan::argumentEnd(qsizetype from, qsizetype close) const
{
    qsizetype end = from;
    while (end < close && !isPunct(end, ",")) {
        if (isPunct(end, "(") || isPunct(end, "[") || isPunct(end, "{"))
            end = closing(end, close);
        ++end;
    }
    return std::min(end, close); // a bracket left open ends with the list
}

void TokenScan::span(ScriptSymbol& symbol, qsizetype from, qsizetype through) const
{
    const qsizetype last = std::clamp<qsizetype>(through, from, qsizetype(m_tokens.size()) - 1);
    symbol.line = m_tokens[size_t(from)].line;
    symbol.endLine = m_tokens[size_t(last)].line;
    symbol.start = m_tokens[size_t(from)].start;
    symbol.end = m_tokens[size_t(last)].end;
    // A directive may run on over lines that end in a backslash.
    if (m_tokens[size_t(last)].kind == Kind::directive)
        symbol.endLine += text(last).count('\n');
}

TokenScan::QualifiedName TokenScan::qualifiedName(qsizetype at, qsizetype limit) const
{
    QualifiedName name;
    qsizetype k = at;
    while (k < limit && isWord(k)) {
        name.last = k++;
        if (k < limit && isPunct(k, "::"))
            ++k;
        else
            break;
    }
    name.end = k;
    return name;
}

qsizetype TokenScan::lastOfPath(qsizetype at) const
{
    while (isWord(at) && isPunct(at + 1, "::") && isWord(at + 2))
        at += 2;
    return at;
}

QByteArrayList TokenScan::passedArguments(qsizetype open, qsizetype limit, BodyNames& names) const
{
    const qsizetype close = closing(open, limit);
    QByteArrayList passed;
    for (qsizetype k = open + 1; k < close;) {
        const qsizetype end = argumentEnd(k, close);
        if (const std::optional<QByteArrayView> name = passedName(k, end)) {
            passed.append(name->toByteArray());
            names.passed.add(*name);
        }
        k = end + 1;
    }
    return passed;
}

Reading TokenScan::finish(bool textCut, void (*markHandlers)(NativeTree& tree))
{
    NativeHandlers::attachOutOfLine(tree);
    markHandlers(tree);
    NativeHandlers::linkPassed(tree);
    Reading reading;
    reading.symbols = tree.build();
    reading.includes = std::move(includes);
    reading.truncated = full || textCut;
    return reading;
}

} // namespace CReader
