#include "preview/syntaxrules.h"

#include <string>

using namespace SyntaxScan;
using Open = SyntaxCarry::Open;
using Role = SyntaxRole;
namespace F = SyntaxFeature;

namespace {

// Haskell's operators are runs of these; "-->" is one, not a comment.
bool isHaskellSymbol(char c)
{
    return std::string_view("!#$%&*+./<=>?@\\^|~:").find(c) != std::string_view::npos;
}

// SQL, Lua, Haskell and VHDL: "--" comments, each with its own block comments and strings.
class DashesScanner {
public:
    DashesScanner(const SyntaxRules& rules, QByteArrayView line, SyntaxCarry& carry, SpanOut& out)
        : m_rules(rules)
        , m_dialect(rules.dialect)
        , m_line(line)
        , m_n(line.size())
        , m_carry(carry)
        , m_out(out)
    {
    }

    void run(qsizetype i)
    {
        i = resume(i);
        while (i < m_n) {
            const char c = m_line[i];
            if (isWordStart(c)) {
                i = word(i);
            } else if (isDigit(c)) {
                i = number(i);
            } else if (c == '-' && i + 1 < m_n && m_line[i + 1] == '-') {
                i = dashes(i);
            } else if (c == '/' && i + 1 < m_n && m_line[i + 1] == '*' && m_dialect != Dialect::lua
                && m_dialect != Dialect::haskell) {
                i = blockComment(i, i + 2);
            } else if (c == '{' && i + 1 < m_n && m_line[i + 1] == '-' && m_dialect == Dialect::haskell) {
                m_carry.depth = 1;
                i = blockComment(i, i + 2);
            } else if (c == '[' && m_dialect == Dialect::lua && longBracket(i) > 0) {
                i = longString(i, Open::raw, Role::string);
            } else if (c == '\'' || c == '"' || c == '`') {
                i = quote(i);
            } else if (c == '$' && m_dialect == Dialect::sql) {
                i = dollarQuote(i);
            } else {
                m_afterValue = c == ')' || c == ']';
                ++i;
            }
        }
    }

private:
    qsizetype resume(qsizetype i)
    {
        switch (m_carry.open) {
        case Open::comment: return blockComment(i, i);
        case Open::rawComment: return finishRaw(m_line, i, m_carry, Role::comment, m_out);
        case Open::raw: return finishRaw(m_line, i, m_carry, Role::string, m_out);
        case Open::verbatim: return close(i, closingDoubledQuote(m_line, i, m_carry.quote));
        case Open::string: return string(i, i, m_carry.quote);
        default: m_carry = {}; return i;
        }
    }

    qsizetype close(qsizetype start, qsizetype end)
    {
        m_afterValue = true;
        if (end < 0) {
            m_out.add(start, m_n, Role::string);
            return m_n;
        }
        m_out.add(start, end, Role::string);
        m_carry = {};
        return end;
    }

    qsizetype dashes(qsizetype i)
    {
        if (m_dialect == Dialect::lua && i + 2 < m_n && m_line[i + 2] == '[' && longBracket(i + 2) > 0)
            return longString(i, Open::rawComment, Role::comment);
        if (m_dialect == Dialect::haskell) {
            qsizetype j = i;
            while (j < m_n && m_line[j] == '-')
                ++j;
            if (j < m_n && isHaskellSymbol(m_line[j]))
                return j;
        }
        m_out.add(i, m_n, Role::comment);
        return m_n;
    }

    // /* */, or Haskell's nesting {- -}.
    qsizetype blockComment(qsizetype start, qsizetype i)
    {
        const bool haskell = m_dialect == Dialect::haskell;
        const char open = haskell ? '{' : '/';
        const char inner = haskell ? '-' : '*';
        const char close = haskell ? '}' : '/';
        while (i + 1 < m_n) {
            if (m_line[i] == inner && m_line[i + 1] == close) {
                i += 2;
                if (!haskell || --m_carry.depth == 0) {
                    m_out.add(start, i, Role::comment);
                    m_carry = {};
                    return i;
                }
            } else if (haskell && m_line[i] == open && m_line[i + 1] == inner && m_carry.depth < 255) {
                ++m_carry.depth;
                i += 2;
            } else {
                ++i;
            }
        }
        m_out.add(start, m_n, Role::comment);
        m_carry.open = Open::comment;
        m_carry.depth = std::max<quint8>(m_carry.depth, 1);
        return m_n;
    }

    // The length of Lua's long bracket at `i` ("[[", "[==["), or 0.
    qsizetype longBracket(qsizetype i) const
    {
        qsizetype j = i + 1;
        while (j < m_n && m_line[j] == '=')
            ++j;
        return j < m_n && m_line[j] == '[' ? j + 1 - i : 0;
    }

    // A long string or comment from `start`, whose bracket follows any dashes there.
    qsizetype longString(qsizetype start, Open open, Role role)
    {
        const qsizetype bracket = m_line[start] == '-' ? start + 2 : start;
        const qsizetype length = longBracket(bracket);
        const std::string closer = ']' + std::string(size_t(length - 2), '=') + ']';
        if (!openRaw(m_carry, open, closer)) {
            m_out.add(start, m_n, role);
            return m_n;
        }
        m_out.add(start, bracket + length, role);
        return finishRaw(m_line, bracket + length, m_carry, role, m_out);
    }

    qsizetype quote(qsizetype i)
    {
        const char q = m_line[i];
        if (q == '\'' && (m_dialect == Dialect::haskell || m_dialect == Dialect::vhdl)) {
            // A prime (foldl') or a VHDL attribute (x'length) after a name; otherwise a character.
            const char before = i > 0 ? m_line[i - 1] : ' ';
            if (isWordByte(before) || before == '\'' || (m_dialect == Dialect::vhdl && m_afterValue))
                return i + 1;
            const qsizetype end = closingCharacter(m_line, i + 1, m_dialect == Dialect::haskell);
            if (end < 0)
                return i + 1;
            m_out.add(i, end, Role::string);
            return end;
        }
        if (m_dialect == Dialect::sql || m_dialect == Dialect::vhdl) {
            // Doubled quotes escape. In SQL only '…' is a value; "…" and `…` quote names.
            const qsizetype end = closingDoubledQuote(m_line, i + 1, q);
            if (q != '\'' || m_dialect == Dialect::vhdl) {
                m_afterValue = true;
                return end < 0 ? m_n : end;
            }
            if (end < 0) {
                m_carry.open = Open::verbatim;
                m_carry.quote = q;
            }
            return close(i, end);
        }
        if (q == '`')
            return i + 1;
        return string(i, i + 1, q);
    }

    qsizetype string(qsizetype start, qsizetype i, char q)
    {
        const QuoteEnd end = closingQuote(m_line, i, q, true);
        if (end.end < 0 && end.escapedBreak) {
            m_carry.open = Open::string;
            m_carry.quote = q;
        } else if (end.end < 0) {
            m_carry = {};
        }
        return close(start, end.end);
    }

    // PostgreSQL's $$ … $$ and $tag$ … $tag$ bodies.
    qsizetype dollarQuote(qsizetype i)
    {
        const qsizetype tagEnd = wordEnd(m_line, i + 1);
        if (tagEnd >= m_n || m_line[tagEnd] != '$' || (tagEnd > i + 1 && isDigit(m_line[i + 1])))
            return i + 1;
        const std::string_view tag = view(m_line).substr(size_t(i), size_t(tagEnd + 1 - i));
        if (!openRaw(m_carry, Open::raw, tag))
            return tagEnd + 1;
        m_out.add(i, tagEnd + 1, Role::string);
        return finishRaw(m_line, tagEnd + 1, m_carry, Role::string, m_out);
    }

    qsizetype number(qsizetype i)
    {
        qsizetype end = numberEnd(m_line, i);
        // VHDL's based literals: 16#FF#, 2#1010_0101#.
        if (m_dialect == Dialect::vhdl && end < m_n && m_line[end] == '#') {
            const qsizetype close = find(m_line, end + 1, "#");
            if (close > 0)
                end = wordEnd(m_line, close + 1);
        }
        m_out.add(i, end, Role::number);
        m_afterValue = true;
        return end;
    }

    qsizetype word(qsizetype i)
    {
        const qsizetype end = wordEnd(m_line, i);
        m_afterValue = true;
        if (m_dialect == Dialect::vhdl && end < m_n && m_line[end] == '"' && end - i <= 2) { // X"FF"
            const qsizetype close = closingDoubledQuote(m_line, end + 1, '"');
            const qsizetype stop = close < 0 ? m_n : close;
            m_out.add(i, stop, Role::string);
            return stop;
        }
        if (!m_out.wanted())
            return end;
        const std::string_view text = view(m_line).substr(size_t(i), size_t(end - i));
        Role role = m_rules.words.roleOf(text);
        if (role == Role::plain && m_rules.has(F::capitalisedTypes) && isCapitalised(text))
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
    bool m_afterValue = false; // VHDL: a tick after a value is an attribute, not a character
};

} // namespace

void scanDashes(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    DashesScanner(rules, line, carry, out).run(from);
}
