#include "preview/syntaxscanner.h"

#include <string>

using namespace SyntaxScan;

namespace {

// Haskell's operators are runs of these; "-->" is one, not a comment.
bool isHaskellSymbol(char c)
{
    return std::string_view("!#$%&*+./<=>?@\\^|~:").find(c) != std::string_view::npos;
}

// SQL, Lua, Haskell and VHDL: "--" comments, each with its own block comments and strings.
class DashesScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i)
    {
        i = resume(i);
        while (i < m_n) {
            const char c = m_line[i];
            if (isWordStart(c)) {
                i = word(i);
            } else if (isDigit(c)) {
                i = number(i);
            } else if (c == '-' && nextIs(i, '-')) {
                i = dashes(i);
            } else if (c == '/' && nextIs(i, '*') && m_dialect != Dialect::lua
                && m_dialect != Dialect::haskell) {
                i = comment(i, i + 2);
            } else if (c == '{' && nextIs(i, '-') && m_dialect == Dialect::haskell) {
                m_carry.depth = 1;
                i = comment(i, i + 2);
            } else if (c == '[' && m_dialect == Dialect::lua && longBracket(m_line, i) > 0) {
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
        case Open::comment: return comment(i, i);
        case Open::rawComment: return finishRaw(m_line, i, m_carry, Role::comment, m_out);
        case Open::raw: return finishRaw(m_line, i, m_carry, Role::string, m_out);
        case Open::verbatim: return doubled(i, i, m_carry.quote);
        case Open::string: return string(i, i, m_carry.quote);
        default: m_carry = {}; return i;
        }
    }

    qsizetype dashes(qsizetype i)
    {
        if (m_dialect == Dialect::lua && longBracket(m_line, i + 2) > 0)
            return longString(i, Open::rawComment, Role::comment);
        if (m_dialect == Dialect::haskell) {
            qsizetype j = i;
            while (j < m_n && m_line[j] == '-')
                ++j;
            if (j < m_n && isHaskellSymbol(m_line[j]))
                return j;
        }
        return toEnd(i, Role::comment);
    }

    // /* */, or Haskell's nesting {- -}.
    qsizetype comment(qsizetype start, qsizetype i)
    {
        if (m_dialect == Dialect::haskell)
            return blockComment(start, i, '{', '-', '}', true);
        return blockComment(start, i, '/', '*', '/', false);
    }

    // A long string or comment from `start`, whose bracket follows any dashes there.
    qsizetype longString(qsizetype start, Open open, Role role)
    {
        const qsizetype bracket = m_line[start] == '-' ? start + 2 : start;
        const qsizetype length = longBracket(m_line, bracket);
        const qsizetype end = delimited(start, bracket + length, open, longCloser(length), role);
        return end < 0 ? toEnd(start, role) : end;
    }

    qsizetype quote(qsizetype i)
    {
        const char q = m_line[i];
        if (q == '\'' && (m_dialect == Dialect::haskell || m_dialect == Dialect::vhdl)) {
            // A prime (foldl') or a VHDL attribute (x'length) after a name; otherwise a character.
            const char prior = before(i);
            if (isWordByte(prior) || prior == '\'' || (m_dialect == Dialect::vhdl && m_afterValue))
                return i + 1;
            const qsizetype end = closingCharacter(m_line, i + 1, m_dialect == Dialect::haskell);
            if (end < 0)
                return i + 1;
            m_out.add(i, end, Role::string);
            return end;
        }
        if (m_dialect == Dialect::sql || m_dialect == Dialect::vhdl) {
            // Doubled quotes escape. In SQL only '…' is a value; "…" and `…` quote names.
            if (q == '\'' && m_dialect == Dialect::sql)
                return doubled(i, i + 1, q);
            m_afterValue = true;
            const qsizetype end = closingDoubledQuote(m_line, i + 1, q);
            return end < 0 ? m_n : end;
        }
        if (q == '`')
            return i + 1;
        return string(i, i + 1, q);
    }

    // PostgreSQL's $$ … $$ and $tag$ … $tag$ bodies.
    qsizetype dollarQuote(qsizetype i)
    {
        const qsizetype tagEnd = wordEnd(m_line, i + 1);
        if (tagEnd >= m_n || m_line[tagEnd] != '$' || (tagEnd > i + 1 && isDigit(m_line[i + 1])))
            return i + 1;
        const qsizetype end = delimited(i, tagEnd + 1, Open::raw, text(i, tagEnd + 1), Role::string);
        return end < 0 ? tagEnd + 1 : end;
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
        return keyword(i, end);
    }

    bool m_afterValue = false; // VHDL: a tick after a value is an attribute, not a character
};

} // namespace

void scanDashes(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    DashesScanner(rules, line, carry, out).run(from);
}
