#include "preview/syntaxscanner.h"

using namespace SyntaxScan;

namespace {

// Languages with a comment mark of their own and little else to tell: Erlang's %, Clojure's ;,
// Fortran's !, OCaml's nesting (* *), Batch's REM and ::, and assembly's ; and #.
class LineCommentScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i)
    {
        if (m_carry.open == Open::comment)
            i = blockComment(i, i, '(', '*', ')', true);
        else if (m_carry.open == Open::string)
            i = quoted(i, i, m_carry.quote);
        else
            m_carry = {};
        const qsizetype first = skipBlanks(m_line, i);
        if (i < m_n && wholeLineComment(first)) {
            m_out.add(first, m_n, Role::comment);
            return;
        }
        while (i < m_n) {
            const char c = m_line[i];
            if (isWordStart(c)) {
                i = word(i);
            } else if (isDigit(c)) {
                const qsizetype end = numberEnd(m_line, i);
                m_out.add(i, end, Role::number);
                i = end;
            } else if (startsComment(i)) {
                i = toEnd(i, Role::comment);
            } else if (c == '(' && m_dialect == Dialect::ocaml && nextIs(i, '*')) {
                m_carry.depth = 1;
                i = blockComment(i, i + 2, '(', '*', ')', true);
            } else if ((c == '$' && m_dialect == Dialect::erlang)
                || (c == '\\' && m_dialect == Dialect::clojure)) {
                // Characters: Erlang's $a and $\n, Clojure's \a, which may be a quote.
                const qsizetype end = std::min(m_n, i + (nextIs(i, '\\') ? 3 : 2));
                m_out.add(i, end, Role::number);
                i = end;
            } else if (c == '"') {
                i = quoted(i, i + 1, '"');
            } else if (c == '\'' && m_dialect == Dialect::fortran) {
                i = quoted(i, i + 1, '\'');
            } else if (c == '\'' && (m_dialect == Dialect::ocaml || m_dialect == Dialect::assembly)) {
                // 'a' is a character, '\n' too; 'a alone is an OCaml type variable, as in 'a -> 'b.
                qsizetype end = closingCharacter(m_line, i + 1, true);
                if (end != i + 3 && !nextIs(i, '\\'))
                    end = -1;
                if (end > 0)
                    m_out.add(i, end, Role::string);
                i = end > 0 ? end : i + 1;
            } else if (c == ':' && m_dialect == Dialect::clojure && i + 1 < m_n
                && isWordStart(m_line[i + 1])) {
                qsizetype end = i + 1;
                while (end < m_n && (isWordByte(m_line[end]) || m_line[end] == '-' || m_line[end] == '/'))
                    ++end;
                m_out.add(i, end, Role::number);
                i = end;
            } else if (c == '%' && m_dialect == Dialect::batch) {
                const qsizetype close = find(m_line, i + 1, "%");
                const qsizetype end = close < 0 ? i + 1 : close + 1;
                m_out.add(i, end, Role::attribute);
                i = end;
            } else if (c == '.' && m_dialect == Dialect::assembly && i == first) {
                const qsizetype end = wordEnd(m_line, i + 1);
                m_out.add(i, end, Role::preprocessor);
                i = std::max(end, i + 1);
                m_instructionDue = false;
            } else {
                ++i;
            }
        }
    }

private:
    bool wholeLineComment(qsizetype first) const
    {
        if (m_dialect == Dialect::batch)
            return startsWith(m_line, first, "::")
                || (first + 3 <= m_n && lowerAscii(m_line[first]) == 'r'
                    && lowerAscii(m_line[first + 1]) == 'e' && lowerAscii(m_line[first + 2]) == 'm'
                    && (first + 3 == m_n || isBlank(m_line[first + 3])));
        if (m_dialect == Dialect::assembly)
            return first < m_n && m_line[first] == '#';
        return false;
    }

    bool startsComment(qsizetype i) const
    {
        const char c = m_line[i];
        switch (m_dialect) {
        case Dialect::erlang: return c == '%';
        case Dialect::clojure:
        case Dialect::assembly:
            return c == ';' || (m_dialect == Dialect::assembly && startsWith(m_line, i, "//"));
        case Dialect::fortran: return c == '!';
        default: return false;
        }
    }

    qsizetype quoted(qsizetype start, qsizetype i, char q)
    {
        // Fortran and Batch have no escapes; Fortran doubles its quotes instead.
        if (m_dialect == Dialect::fortran || m_dialect == Dialect::batch) {
            m_carry = {};
            return close(start, closingDoubledQuote(m_line, i, q), Role::string);
        }
        // Erlang's, OCaml's and Clojure's strings go on over lines, assembly's do not.
        if (m_dialect != Dialect::assembly)
            return string(start, i, q, true);
        m_carry = {};
        return close(start, closingQuote(m_line, i, q, true).end, Role::string);
    }

    qsizetype word(qsizetype i)
    {
        qsizetype end = wordEnd(m_line, i);
        if (m_dialect == Dialect::clojure) // names hold dashes and more: update-in, empty?
            while (end < m_n
                && (isWordByte(m_line[end])
                    || std::string_view("-?!*<>=/").find(m_line[end]) != std::string_view::npos))
                ++end;
        if (!m_out.wanted())
            return end;
        if (m_dialect == Dialect::assembly && m_instructionDue) {
            // A label ("loop:") or an instruction.
            const bool label = end < m_n && m_line[end] == ':';
            m_out.add(i, end, label ? Role::type : Role::keyword);
            m_instructionDue = label;
            return end;
        }
        return keyword(i, end);
    }

    bool m_instructionDue = true; // assembly: the next word is the line's instruction, after any label
};

} // namespace

void scanLineComment(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    LineCommentScanner(rules, line, carry, out).run(from);
}
