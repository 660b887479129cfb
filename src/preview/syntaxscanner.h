#pragma once

#include "preview/syntaxrules.h"

#include <algorithm>

// What every scanner holds of the line it colours, and the steps most of them take alike: strings
// and comments that close on the line or stay open in the carry, and words looked up. One object a
// line; nothing here is virtual, so the steps inline into each scanner's loop.
class LineScanner {
public:
    LineScanner(const SyntaxRules& rules, QByteArrayView line, SyntaxCarry& carry, SpanOut& out)
        : m_rules(rules)
        , m_dialect(rules.dialect)
        , m_line(line)
        , m_n(line.size())
        , m_carry(carry)
        , m_out(out)
    {
    }

protected:
    using Open = SyntaxCarry::Open;
    using Role = SyntaxRole;

    std::string_view text(qsizetype from, qsizetype to) const
    {
        return SyntaxScan::view(m_line).substr(size_t(from), size_t(to - from));
    }
    bool nextIs(qsizetype i, char c) const { return i + 1 < m_n && m_line[i + 1] == c; }
    char before(qsizetype i) const { return i > 0 ? m_line[i - 1] : ' '; }

    // Colours from `start` to the line's end, and returns it.
    qsizetype toEnd(qsizetype start, Role role)
    {
        m_out.add(start, m_n, role);
        return m_n;
    }
    // Colours from `start` to `end`, where what was open closes; or, with `end` -1, to the line's
    // end, leaving the carry as the caller set it.
    qsizetype close(qsizetype start, qsizetype end, Role role)
    {
        if (end < 0)
            return toEnd(start, role);
        m_out.add(start, end, role);
        m_carry = {};
        return end;
    }
    void carryOpen(Open open, char quote)
    {
        m_carry.open = open;
        m_carry.quote = quote;
    }

    // A string from `start`, its body from `i`. One the line leaves open goes on to the next when the
    // language's strings span lines, when `carries`, or when a backslash escapes the break.
    qsizetype string(qsizetype start, qsizetype i, char quote, bool carries = false)
    {
        const SyntaxScan::QuoteEnd end = SyntaxScan::closingQuote(m_line, i, quote, true);
        if (end.end < 0) {
            if (end.escapedBreak || carries || m_rules.has(SyntaxFeature::multiLineStrings))
                carryOpen(Open::string, quote);
            else
                m_carry = {};
        }
        return close(start, end.end, Role::string);
    }
    qsizetype triple(qsizetype start, qsizetype i, char quote, bool escapes = true)
    {
        const qsizetype end = SyntaxScan::closingTriple(m_line, i, quote, escapes);
        if (end < 0)
            carryOpen(Open::triple, quote);
        return close(start, end, Role::string);
    }
    // A string in which a doubled quote stands for one.
    qsizetype doubled(qsizetype start, qsizetype i, char quote)
    {
        const qsizetype end = SyntaxScan::closingDoubledQuote(m_line, i, quote);
        if (end < 0)
            carryOpen(Open::verbatim, quote);
        return close(start, end, Role::string);
    }
    // Colours from `start` through `closer`, which may lie lines on; -1 when the closer is too long
    // for the carry to keep.
    qsizetype delimited(qsizetype start, qsizetype bodyAt, Open open, std::string_view closer, Role role)
    {
        if (!SyntaxScan::openRaw(m_carry, open, closer))
            return -1;
        m_out.add(start, bodyAt, role);
        return SyntaxScan::finishRaw(m_line, bodyAt, m_carry, role, m_out);
    }

    // A block comment from `start`, its body from `i`, closed by `inner` then `last`. When it `nests`,
    // `first` then `inner` opens a level more, m_carry.depth counting the levels open.
    qsizetype blockComment(qsizetype start, qsizetype i, char first, char inner, char last, bool nests)
    {
        while (i + 1 < m_n) {
            if (m_line[i] == inner && m_line[i + 1] == last) {
                i += 2;
                if (!nests || --m_carry.depth == 0)
                    return close(start, i, Role::comment);
            } else if (nests && m_line[i] == first && m_line[i + 1] == inner && m_carry.depth < 255) {
                ++m_carry.depth;
                i += 2;
            } else {
                ++i;
            }
        }
        m_carry.open = Open::comment;
        m_carry.depth = std::max<quint8>(m_carry.depth, 1);
        return toEnd(start, Role::comment);
    }

    // A /* */ that does not nest, found by a search. Only the carry's `open` changes: style sheets
    // keep their brace depth beside it.
    qsizetype searchedComment(qsizetype start, qsizetype i)
    {
        const qsizetype close = SyntaxScan::find(m_line, i, "*/");
        if (close < 0) {
            m_carry.open = Open::comment;
            return toEnd(start, Role::comment);
        }
        m_carry.open = Open::nothing;
        m_out.add(start, close + 2, Role::comment);
        return close + 2;
    }

    // The word from `i` to `end`, coloured as the language's word lists say, or as a type when
    // capitalised in a language that writes its types so.
    qsizetype keyword(qsizetype i, qsizetype end)
    {
        if (!m_out.wanted())
            return end;
        const std::string_view word = text(i, end);
        Role role = m_rules.words.roleOf(word);
        if (role == Role::plain && m_rules.has(SyntaxFeature::capitalisedTypes)
            && SyntaxScan::isCapitalised(word))
            role = Role::type;
        m_out.add(i, end, role);
        return end;
    }

    const SyntaxRules& m_rules;
    Dialect m_dialect;
    QByteArrayView m_line;
    qsizetype m_n;
    SyntaxCarry& m_carry;
    SpanOut& m_out;
};
