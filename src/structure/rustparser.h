#pragma once

// The tokeniser and item scan behind RustReader; not for use elsewhere.

#include "nativetree.h"
#include "rustreader.h"

#include <optional>

namespace RustReader {

using CReader::Token;

// Words, punctuation, strings (raw ones and character literals too) and numbers; a lifetime such
// as 'a is a word.
std::vector<Token> tokenise(QByteArrayView utf8);

// What an attribute written #[name] or #[path::name(…)] makes of a function: its event, and for a
// web route the route's detail.
struct AttributeEvent {
    QByteArray event;
    QByteArray detail;
};

class Parser {
public:
    Parser(QByteArrayView source, const std::vector<Token>& tokens);
    void items(qsizetype from, qsizetype to, std::optional<qsizetype> owner, bool inTrait, int depth);

    NativeTree tree;
    std::vector<CReader::Include> includes;
    bool full = false;

private:
    using Owner = std::optional<qsizetype>;

    qsizetype function(qsizetype from, qsizetype at, qsizetype limit, Owner owner, bool member);
    qsizetype record(qsizetype from, qsizetype at, qsizetype limit, Owner owner);
    qsizetype trait(qsizetype from, qsizetype at, qsizetype limit, Owner owner, int depth);
    qsizetype implementation(qsizetype at, qsizetype limit, Owner owner, int depth);
    qsizetype module(qsizetype from, qsizetype at, qsizetype limit, Owner owner, int depth);
    void fields(qsizetype open, qsizetype close, qsizetype owner, bool variants);
    void fill(qsizetype open, qsizetype close, NativeSymbol& symbol) const;
    std::optional<AttributeEvent> attributeEvent(qsizetype open, qsizetype close) const;
    std::optional<QByteArrayView> passedName(qsizetype from, qsizetype to) const;
    qsizetype add(NativeSymbol symbol, Owner owner);

    bool isWord(qsizetype i) const
    {
        return i >= 0 && i < qsizetype(m_tokens.size()) && m_tokens[size_t(i)].kind == Token::Kind::word;
    }
    bool isWord(qsizetype i, QByteArrayView word) const { return isWord(i) && text(i) == word; }
    bool isPunct(qsizetype i, QByteArrayView punct) const
    {
        return i >= 0 && i < qsizetype(m_tokens.size()) && m_tokens[size_t(i)].kind == Token::Kind::punct
            && text(i) == punct;
    }
    QByteArrayView text(qsizetype i) const { return m_tokens[size_t(i)].text(m_source); }
    QByteArray text(qsizetype from, qsizetype through) const
    {
        if (from < 0 || through < from || through >= qsizetype(m_tokens.size()))
            return {};
        const qsizetype start = m_tokens[size_t(from)].start;
        return m_source.sliced(start, m_tokens[size_t(through)].end - start).toByteArray();
    }
    qsizetype closing(qsizetype open, qsizetype limit) const
    {
        const qsizetype close = m_match[size_t(open)];
        return close < 0 || close > limit ? limit : close;
    }
    qsizetype skipAngles(qsizetype open, qsizetype limit) const;
    qsizetype endOfItem(qsizetype at, qsizetype limit) const;
    void span(ScriptSymbol& symbol, qsizetype from, qsizetype through) const
    {
        const qsizetype last = std::clamp<qsizetype>(through, from, qsizetype(m_tokens.size()) - 1);
        symbol.line = m_tokens[size_t(from)].line;
        symbol.endLine = m_tokens[size_t(last)].line;
        symbol.start = m_tokens[size_t(from)].start;
        symbol.end = m_tokens[size_t(last)].end;
    }

    QByteArrayView m_source;
    const std::vector<Token>& m_tokens;
    std::vector<qint32> m_match;
    std::vector<std::pair<qsizetype, qsizetype>> m_attributes; // the brackets of those before an item
    int m_implDepth = 0; // inside impl blocks, associated constants are no parts of their own
};

} // namespace RustReader
