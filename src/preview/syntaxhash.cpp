#include "preview/syntaxhash.h"

using namespace SyntaxScan;
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
    case Open::comment: return commentBlock(i, i);
    case Open::rawComment: return finishRaw(m_line, i, m_carry, Role::comment, m_out);
    case Open::string: return string(i, i, m_carry.quote);
    case Open::verbatim: return doubled(i, i, m_carry.quote);
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

bool HashScanner::commentStarts(qsizetype i) const
{
    const char prior = before(i);
    if (prior == '$')
        return false;
    switch (m_dialect) {
    case Dialect::shell: return isShellBreak(prior);
    case Dialect::docker: return i == m_lineStart;
    case Dialect::tcl: return m_commandStart;
    case Dialect::make: return prior != '\\';
    default: return true;
    }
}

// A comment from '#' at `i`; returns where code goes on.
qsizetype HashScanner::comment(qsizetype i)
{
    // #[[ … ]] and #[==[ … ]==]; one whose closer is too long to keep ends with the line.
    const qsizetype bracket = m_dialect == Dialect::cmake ? longBracket(m_line, i + 1) : 0;
    if (bracket > 0) {
        const qsizetype end
            = delimited(i, i + 1 + bracket, Open::rawComment, longCloser(bracket), Role::comment);
        if (end >= 0)
            return end;
    }
    if (m_dialect == Dialect::julia && nextIs(i, '=')) {
        m_carry.depth = 1;
        return commentBlock(i, i + 2);
    }
    return toEnd(i, Role::comment);
}

// Block comments of the dialects that have them: Julia's #= =# (nesting), Ruby's =begin/=end
// and Perl's documentation to =cut, both whole lines; Nix's and Terraform's /* */.
qsizetype HashScanner::commentBlock(qsizetype start, qsizetype i)
{
    if (m_dialect == Dialect::ruby || m_dialect == Dialect::perl) {
        // Depth 2: past __END__, where nothing is code again.
        if (m_carry.depth != 2 && startsWith(m_line, 0, m_dialect == Dialect::ruby ? "=end" : "=cut"))
            m_carry = {};
        return toEnd(start, Role::comment);
    }
    if (m_dialect == Dialect::julia)
        return blockComment(start, i, '#', '=', '#', true);
    return blockComment(start, i, '/', '*', '/', false);
}

qsizetype HashScanner::quote(qsizetype i)
{
    const char q = m_line[i];
    if (q == '\'') {
        if (m_dialect == Dialect::julia) { // a character, or the transpose after a value
            const char prior = before(i);
            if (isWordByte(prior) || prior == ')' || prior == ']' || prior == '\'' || prior == '.')
                return i + 1;
            const qsizetype end = closingCharacter(m_line, i + 1, true);
            if (end < 0)
                return i + 1;
            m_out.add(i, end, Role::string);
            return end;
        }
        if (m_dialect == Dialect::nix && startsWith(m_line, i, "''")) // an indented string
            return delimited(i, i + 2, Open::raw, "''", Role::string);
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
        if (m_dialect == Dialect::powershell)
            return doubled(i, i + 1, '\'');
        return string(i, i + 1, '\'');
    }
    if (m_rules.has(F::tripleQuotes) && startsWith(m_line, i, "\"\"\""))
        return triple(i, i + 3, '"');
    return string(i, i + 1, '"');
}

qsizetype HashScanner::slash(qsizetype i)
{
    if ((m_dialect == Dialect::perl || m_dialect == Dialect::ruby) && m_valueDue)
        return quoteLike(i, i, 1);
    const bool slashes = m_rules.has(F::slashComments);
    if (nextIs(i, '/') && slashes)
        return toEnd(i, Role::comment);
    if (nextIs(i, '*') && (slashes || m_dialect == Dialect::nix)) {
        m_carry.depth = 1;
        return commentBlock(i, i + 2);
    }
    return i + 1;
}

void scanHash(const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    HashScanner(rules, line, carry, out).run(from);
}
