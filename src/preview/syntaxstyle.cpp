#include "preview/syntaxscanner.h"

using namespace SyntaxScan;

namespace {

bool isIdentByte(char c)
{
    return isWordByte(c) || c == '-';
}

// Style sheets (CSS, SCSS, Less). The carry keeps the brace depth besides an open comment: at depth 0
// names are selectors, inside a block they are properties or values.
class CssScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i)
    {
        if (m_carry.open == Open::comment)
            i = searchedComment(i, i);
        else
            m_carry.open = Open::nothing;
        m_statement = true;
        while (i < m_n) {
            const char c = m_line[i];
            if (m_statement && !isBlank(c) && c != '/') {
                m_statement = false;
                m_selector = startsSelector(i);
            }
            if (isBlank(c)) {
                ++i;
            } else if (c == '/' && nextIs(i, '*')) {
                i = searchedComment(i, i + 2);
            } else if (c == '/' && nextIs(i, '/')) {
                i = toEnd(i, Role::comment);
            } else if (isDigit(c) || ((c == '.' || c == '-' || c == '+') && !m_selector && digitAfter(i))) {
                i = number(i);
            } else if (isWordStart(c)
                || (c == '-' && i + 1 < m_n && (isWordStart(m_line[i + 1]) || m_line[i + 1] == '-'))) {
                i = ident(i);
            } else {
                i = punctuation(i, c);
            }
        }
    }

private:
    bool digitAfter(qsizetype i) const
    {
        qsizetype j = i + 1;
        if (m_line[i] != '.' && j < m_n && m_line[j] == '.')
            ++j;
        return j < m_n && isDigit(m_line[j]);
    }

    // A statement inside a block is a nested rule when a '{' comes before its end.
    bool startsSelector(qsizetype i) const
    {
        if (m_carry.depth == 0)
            return m_line[i] != '@' && m_line[i] != '$';
        for (; i < m_n; ++i) {
            const char c = m_line[i];
            if (c == '{')
                return true;
            if (c == ';' || c == '}')
                return false;
        }
        return false;
    }

    qsizetype number(qsizetype i)
    {
        qsizetype end = i + 1;
        while (end < m_n && (isDigit(m_line[end]) || m_line[end] == '.'))
            ++end;
        end = wordEnd(m_line, end); // the unit: px, em, s
        if (end < m_n && m_line[end] == '%')
            ++end;
        m_out.add(i, end, Role::number);
        return end;
    }

    qsizetype ident(qsizetype i)
    {
        qsizetype end = i;
        while (end < m_n && isIdentByte(m_line[end]))
            ++end;
        if (end < m_n && m_line[end] == '(' && end - i == 3 && lowerAscii(m_line[i]) == 'u'
            && lowerAscii(m_line[i + 1]) == 'r' && lowerAscii(m_line[i + 2]) == 'l') {
            // url(…) quotes nothing, and may hold "//".
            const qsizetype close = find(m_line, end + 1, ")");
            const qsizetype stop = close < 0 ? m_n : close;
            const qsizetype at = skipBlanks(m_line, end + 1);
            if (at < stop && m_line[at] != '"' && m_line[at] != '\'')
                m_out.add(at, stop, Role::string);
            return at < stop && (m_line[at] == '"' || m_line[at] == '\'') ? at : stop;
        }
        if (m_selector) {
            m_out.add(i, end, Role::tag);
        } else if (m_carry.depth > 0 && !m_inValue) {
            const qsizetype after = skipBlanks(m_line, end);
            if (after < m_n && m_line[after] == ':')
                m_out.add(i, end, Role::attribute);
        }
        return end;
    }

    qsizetype punctuation(qsizetype i, char c)
    {
        switch (c) {
        case '"':
        case '\'': {
            const QuoteEnd end = closingQuote(m_line, i + 1, c, true);
            const qsizetype stop = end.end < 0 ? m_n : end.end;
            m_out.add(i, stop, Role::string);
            return stop;
        }
        case '{': m_carry.depth = quint8(std::min(255, m_carry.depth + 1)); return statementEnd(i);
        case '}': m_carry.depth = quint8(std::max(0, m_carry.depth - 1)); return statementEnd(i);
        case ';': return statementEnd(i);
        case ':':
            if (m_selector && i + 1 < m_n && (isWordStart(m_line[i + 1]) || m_line[i + 1] == ':')) {
                qsizetype end = i + 1;
                while (end < m_n && (m_line[end] == ':' || isIdentByte(m_line[end])))
                    ++end;
                m_out.add(i, end, Role::keyword); // :hover, ::before
                return end;
            }
            m_inValue = m_carry.depth > 0 || !m_selector;
            return i + 1;
        case '@':
        case '$':
        case '!':
        case '#':
        case '.': {
            const qsizetype end = wordOrIdent(i + 1);
            if (end == i + 1)
                return i + 1;
            const Role role = c == '@' || c == '!' ? Role::keyword
                : c == '$'                         ? Role::attribute
                : m_selector                       ? Role::type
                : c == '#'                         ? Role::number // a colour
                                                   : Role::plain;
            m_out.add(i, end, role);
            return end;
        }
        default: return i + 1;
        }
    }

    qsizetype wordOrIdent(qsizetype i) const
    {
        while (i < m_n && isIdentByte(m_line[i]))
            ++i;
        return i;
    }

    qsizetype statementEnd(qsizetype i)
    {
        m_statement = true;
        m_inValue = false;
        m_selector = false;
        return i + 1;
    }

    bool m_statement = true; // at the start of a rule or a declaration
    bool m_selector = false;
    bool m_inValue = false; // past a declaration's ':'
};

} // namespace

void scanCss(const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    CssScanner(rules, line, carry, out).run(from);
}
