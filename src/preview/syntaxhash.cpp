#include "preview/syntaxhash.h"

using namespace SyntaxScan;
using Open = SyntaxCarry::Open;
using Role = SyntaxRole;
namespace F = SyntaxFeature;

void HashScanner::run(qsizetype i)
{
    const bool atStart = m_carry.open == Open::nothing;
    i = resume(i);
    m_lineStart = atStart ? skipBlanks(m_line, i) : -1;
    if (atStart && i < m_n)
        i = lineHead(i);
    while (i < m_n) {
        const char c = m_line[i];
        if (isWordStart(c)) {
            i = word(i);
        } else if (isDigit(c)) {
            i = number(i);
        } else {
            switch (c) {
            case '#': i = commentStarts(i) ? comment(i) : i + 1; break;
            case '"':
            case '\'': i = quote(i); break;
            case '`': i = m_dialect == Dialect::ruby ? string(i, i + 1, '`') : i + 1; break;
            case '$': i = variable(i); break;
            case '@': i = at(i); break;
            case '<': i = angle(i); break;
            case '/': i = slash(i); break;
            case ':': i = symbol(i); break;
            case '-': i = dash(i); break;
            case '\\': i = backslash(i); break;
            default: ++i;
            }
        }
        if (!isBlank(c))
            m_valueDue = !(isWordByte(c) || std::string_view(")]}\"'$@").find(c) != std::string_view::npos);
        if (c == ';' || c == '[' || c == '{')
            m_commandStart = true;
        else if (!isBlank(c))
            m_commandStart = false;
    }
    if (m_heredocPending && m_carry.open == Open::nothing) {
        m_carry = {};
        m_carry.open = Open::heredoc;
        m_carry.depth = m_heredocIndented;
        m_carry.delimiterLength = quint8(m_heredoc.size());
        std::copy(m_heredoc.begin(), m_heredoc.end(), m_carry.delimiter);
    }
}

qsizetype HashScanner::resume(qsizetype i)
{
    switch (m_carry.open) {
    case Open::comment: return blockComment(i, i);
    case Open::rawComment: return finishRaw(m_line, i, m_carry, Role::comment, m_out);
    case Open::string: return string(i, i, m_carry.quote);
    case Open::verbatim: return close(i, closingDoubledQuote(m_line, i, m_carry.quote), Role::string);
    case Open::raw: return finishRaw(m_line, i, m_carry, Role::string, m_out);
    case Open::triple: return triple(i, i, m_carry.quote);
    case Open::heredoc: {
        const qsizetype at = m_carry.depth ? skipBlanks(m_line, i) : i;
        const bool ends = view(m_line).substr(size_t(at)) == delimiterOf(m_carry);
        m_out.add(i, m_n, Role::string);
        if (ends)
            m_carry = {};
        return m_n;
    }
    default: m_carry = {}; return i;
    }
}

qsizetype HashScanner::close(qsizetype start, qsizetype end, Role role)
{
    if (end < 0) {
        m_out.add(start, m_n, role);
        return m_n;
    }
    m_out.add(start, end, role);
    m_carry = {};
    return end;
}

bool HashScanner::commentStarts(qsizetype i) const
{
    const char before = i > 0 ? m_line[i - 1] : ' ';
    if (before == '$')
        return false;
    switch (m_dialect) {
    case Dialect::shell: return isShellBreak(before);
    case Dialect::docker: return i == m_lineStart;
    case Dialect::tcl: return m_commandStart;
    case Dialect::make: return before != '\\';
    default: return true;
    }
}

// A comment from '#' at `i`; returns where code goes on.
qsizetype HashScanner::comment(qsizetype i)
{
    if (m_dialect == Dialect::cmake && i + 1 < m_n && m_line[i + 1] == '[') {
        // #[[ … ]] and #[==[ … ]==]
        qsizetype j = i + 2;
        while (j < m_n && m_line[j] == '=')
            ++j;
        if (j < m_n && m_line[j] == '[') {
            const std::string closer = ']' + std::string(size_t(j - i - 2), '=') + ']';
            if (openRaw(m_carry, Open::rawComment, closer)) {
                m_out.add(i, j + 1, Role::comment);
                return finishRaw(m_line, j + 1, m_carry, Role::comment, m_out);
            }
        }
    }
    if (m_dialect == Dialect::julia && i + 1 < m_n && m_line[i + 1] == '=') {
        m_carry.depth = 1;
        return blockComment(i, i + 2);
    }
    m_out.add(i, m_n, Role::comment);
    return m_n;
}

// Block comments of the dialects that have them: Julia's #= =# (nesting), Ruby's =begin/=end
// and Perl's documentation to =cut, both whole lines; Nix's and Terraform's /* */.
qsizetype HashScanner::blockComment(qsizetype start, qsizetype i)
{
    if (m_dialect == Dialect::ruby || m_dialect == Dialect::perl) {
        // Depth 2: past __END__, where nothing is code again.
        if (m_carry.depth != 2 && startsWith(m_line, 0, m_dialect == Dialect::ruby ? "=end" : "=cut"))
            m_carry = {};
        m_out.add(start, m_n, Role::comment);
        return m_n;
    }
    const bool julia = m_dialect == Dialect::julia;
    const char mark = julia ? '#' : '/';
    const char inner = julia ? '=' : '*';
    while (i + 1 < m_n) {
        if (m_line[i] == inner && m_line[i + 1] == mark) {
            i += 2;
            if (!julia || --m_carry.depth == 0) {
                m_out.add(start, i, Role::comment);
                m_carry = {};
                return i;
            }
        } else if (julia && m_line[i] == mark && m_line[i + 1] == inner && m_carry.depth < 255) {
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

qsizetype HashScanner::quote(qsizetype i)
{
    const char q = m_line[i];
    if (q == '\'') {
        if (m_dialect == Dialect::julia) { // a character, or the transpose after a value
            const char before = i > 0 ? m_line[i - 1] : ' ';
            if (isWordByte(before) || before == ')' || before == ']' || before == '\'' || before == '.')
                return i + 1;
            const qsizetype end = closingCharacter(m_line, i + 1, true);
            if (end < 0)
                return i + 1;
            m_out.add(i, end, Role::string);
            return end;
        }
        if (m_dialect == Dialect::nix && startsWith(m_line, i, "''")) { // an indented string
            openRaw(m_carry, Open::raw, "''");
            m_out.add(i, i + 2, Role::string);
            return finishRaw(m_line, i + 2, m_carry, Role::string, m_out);
        }
        if (!m_rules.has(F::quoteStrings))
            return i + 1;
        if (m_rules.has(F::tripleSingleQuotes) && startsWith(m_line, i, "'''"))
            return triple(i, i + 3, '\'');
        if (m_dialect == Dialect::shell) { // no escapes inside
            const QuoteEnd end = closingQuote(m_line, i + 1, '\'', false);
            if (end.end < 0)
                openRaw(m_carry, Open::raw, "'");
            return close(i, end.end, Role::string);
        }
        if (m_dialect == Dialect::powershell) {
            const qsizetype end = closingDoubledQuote(m_line, i + 1, '\'');
            if (end < 0) {
                m_carry.open = Open::verbatim;
                m_carry.quote = '\'';
            }
            return close(i, end, Role::string);
        }
        return string(i, i + 1, '\'');
    }
    if (m_rules.has(F::tripleQuotes) && startsWith(m_line, i, "\"\"\""))
        return triple(i, i + 3, '"');
    return string(i, i + 1, '"');
}

qsizetype HashScanner::string(qsizetype start, qsizetype i, char q)
{
    const QuoteEnd end = closingQuote(m_line, i, q, true);
    if (end.end < 0) {
        if (end.escapedBreak || m_rules.has(F::multiLineStrings)) {
            m_carry.open = Open::string;
            m_carry.quote = q;
        } else {
            m_carry = {};
        }
    }
    return close(start, end.end, Role::string);
}

qsizetype HashScanner::triple(qsizetype start, qsizetype i, char q)
{
    const qsizetype end = closingTriple(m_line, i, q, true);
    if (end < 0) {
        m_carry.open = Open::triple;
        m_carry.quote = q;
    }
    return close(start, end, Role::string);
}

qsizetype HashScanner::slash(qsizetype i)
{
    if ((m_dialect == Dialect::perl || m_dialect == Dialect::ruby) && m_valueDue)
        return quoteLike(i, i, 1);
    const bool slashes = m_rules.has(F::slashComments);
    if (i + 1 < m_n && m_line[i + 1] == '/' && slashes) {
        m_out.add(i, m_n, Role::comment);
        return m_n;
    }
    if (i + 1 < m_n && m_line[i + 1] == '*' && (slashes || m_dialect == Dialect::nix)) {
        m_carry.depth = 1;
        return blockComment(i, i + 2);
    }
    return i + 1;
}

void scanHash(const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    HashScanner(rules, line, carry, out).run(from);
}
