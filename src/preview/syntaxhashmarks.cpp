#include "preview/syntaxhash.h"

// What the hash languages make of a line's start, their words, numbers, variables, here-documents and
// symbols.

using namespace SyntaxScan;
namespace F = SyntaxFeature;

namespace {

bool isPythonPrefix(std::string_view word)
{
    if (word.size() > 2)
        return false;
    for (const char c : word)
        if (std::string_view("rRbBfFuU").find(c) == std::string_view::npos)
            return false;
    return true;
}

} // namespace

// Constructs that only a line's start opens.
qsizetype HashScanner::lineHead(qsizetype i)
{
    const qsizetype start = m_lineStart;
    if ((m_dialect == Dialect::ruby && startsWith(m_line, 0, "=begin"))
        || (m_dialect == Dialect::perl && m_n > 1 && m_line[0] == '=' && isLetter(m_line[1]))) {
        m_out.add(0, m_n, Role::comment);
        m_carry.open = Open::comment;
        return m_n;
    }
    if ((m_dialect == Dialect::ruby || m_dialect == Dialect::perl)
        && (view(m_line) == "__END__" || view(m_line) == "__DATA__")) {
        m_out.add(0, m_n, Role::comment);
        m_carry.open = Open::comment;
        m_carry.depth = 2;
        return m_n;
    }
    if (m_dialect == Dialect::docker)
        return keyword(start, wordEnd(m_line, start));
    if (m_dialect == Dialect::make && start == 0 && m_line[0] != '#') {
        // A rule's targets: "all clean: deps", but not "x := 1" nor "a = b:c".
        for (qsizetype j = 0; j < m_n; ++j) {
            const char c = m_line[j];
            if (c == '=' || c == '#' || c == '$')
                break;
            if (c == ':') {
                if (j + 1 < m_n && (m_line[j + 1] == '=' || m_line[j + 1] == ':'))
                    break;
                m_out.add(0, j, Role::type);
                return j + 1;
            }
        }
    }
    return i;
}

qsizetype HashScanner::word(qsizetype i)
{
    qsizetype end = wordEnd(m_line, i);
    if (m_dialect == Dialect::ruby && end < m_n && (m_line[end] == '?' || m_line[end] == '!')
        && (end + 1 >= m_n || m_line[end + 1] != '='))
        ++end;
    const std::string_view name = text(i, end);
    if (m_dialect == Dialect::python && end < m_n && (m_line[end] == '"' || m_line[end] == '\'')
        && isPythonPrefix(name)) {
        m_out.add(i, end, Role::string); // joined to the string's own span
        return quote(end);
    }
    if (m_dialect == Dialect::perl && end < m_n
        && (name == "m" || name == "s" || name == "qr" || name == "tr" || name == "y")) {
        const char delimiter = m_line[end];
        const char prior = before(i);
        const bool bracket = delimiter == '{' || delimiter == '(' || delimiter == '[' || delimiter == '<';
        if ((delimiter == '/' || delimiter == '|' || delimiter == '!' || delimiter == '#'
                || (bracket && name != "y"))
            && prior != '>' && prior != '$' && prior != '@' && prior != '%' && prior != '&' && prior != '{') {
            const int parts = name == "s" || name == "tr" || name == "y" ? 2 : 1;
            return quoteLike(i, end, parts);
        }
    }
    if (!m_out.wanted())
        return end;
    if (m_dialect == Dialect::shell
        && ((i > 0 && !isShellBreak(m_line[i - 1])) || (end < m_n && !isShellBreak(m_line[end]))))
        return end;
    if (m_dialect == Dialect::docker)
        return end;
    if (m_dialect == Dialect::cmake) {
        const qsizetype after = skipBlanks(m_line, end);
        if (after < m_n && m_line[after] == '(') {
            m_out.add(i, end, Role::keyword);
            return end;
        }
    }
    if (m_dialect == Dialect::terraform) {
        const qsizetype after = skipBlanks(m_line, end);
        if (after < m_n && m_line[after] == '=' && (after + 1 >= m_n || m_line[after + 1] != '=')) {
            m_out.add(i, end, Role::attribute);
            return end;
        }
    }
    return keyword(i, end);
}

qsizetype HashScanner::number(qsizetype i)
{
    const qsizetype end = numberEnd(m_line, i);
    // In shell-like languages a number is a whole word: "file-2.txt" holds none.
    const bool words = m_dialect == Dialect::shell || m_dialect == Dialect::make
        || m_dialect == Dialect::docker || m_dialect == Dialect::cmake || m_dialect == Dialect::tcl;
    if (words) {
        const char after = end < m_n ? m_line[end] : ' ';
        const auto isBreak
            = [](char c) { return isShellBreak(c) || c == '=' || c == ',' || c == '[' || c == ']'; };
        if (!isBreak(before(i)) || !isBreak(after))
            return end;
    }
    m_out.add(i, end, Role::number);
    return end;
}

qsizetype HashScanner::variable(qsizetype i)
{
    if (!m_rules.has(F::variables) || i + 1 >= m_n)
        return i + 1;
    const char next = m_line[i + 1];
    if (next == '\'' && m_dialect == Dialect::shell) // $'…' knows escapes
        return string(i, i + 2, '\'');
    qsizetype end = i + 1;
    if (next == '{' || (next == '(' && (m_dialect == Dialect::make || m_dialect == Dialect::cmake))) {
        const char closer = next == '{' ? '}' : ')';
        int depth = 0;
        for (end = i + 1; end < m_n; ++end) {
            if (m_line[end] == next)
                ++depth;
            else if (m_line[end] == closer && --depth == 0)
                break;
        }
        end = std::min(end + 1, m_n);
    } else if (isWordStart(next)) {
        end = wordEnd(m_line, i + 1);
    } else if (isDigit(next) || std::string_view("@*#?$!-_").find(next) != std::string_view::npos) {
        end = i + 2;
    } else {
        return i + 1;
    }
    m_out.add(i, end, Role::attribute);
    return end;
}

qsizetype HashScanner::at(qsizetype i)
{
    if (i + 1 >= m_n)
        return i + 1;
    qsizetype nameAt = i + 1;
    if (m_dialect == Dialect::ruby && m_line[nameAt] == '@')
        ++nameAt;
    if (nameAt >= m_n || !isWordStart(m_line[nameAt]))
        return i + 1;
    qsizetype end = wordEnd(m_line, nameAt);
    if (m_rules.has(F::annotations)) {
        while (end + 1 < m_n && m_line[end] == '.' && isWordStart(m_line[end + 1]))
            end = wordEnd(m_line, end + 1);
        m_out.add(i, end, Role::preprocessor);
    } else if (m_dialect == Dialect::ruby || m_dialect == Dialect::perl) {
        m_out.add(i, end, Role::attribute);
    }
    return end;
}

// Here-documents (<<EOF, <<-'EOF', <<~EOS) and PowerShell's <# #> comments.
qsizetype HashScanner::angle(qsizetype i)
{
    if (m_dialect == Dialect::powershell && nextIs(i, '#'))
        return delimited(i, i + 2, Open::rawComment, "#>", Role::comment);
    const bool heredocs = m_dialect == Dialect::shell || m_dialect == Dialect::ruby
        || m_dialect == Dialect::perl || m_dialect == Dialect::terraform;
    if (!heredocs || !startsWith(m_line, i, "<<") || startsWith(m_line, i, "<<<"))
        return i + 1;
    qsizetype j = i + 2;
    const bool indented = j < m_n && (m_line[j] == '-' || m_line[j] == '~');
    if (indented)
        ++j;
    const char q = j < m_n && (m_line[j] == '\'' || m_line[j] == '"') ? m_line[j] : 0;
    if (q)
        ++j;
    // Perl's <<"" ends at the first empty line.
    const bool empty = q && j < m_n && m_line[j] == q && m_dialect == Dialect::perl;
    if (!empty && (j >= m_n || !isWordStart(m_line[j])))
        return i + 2;
    const qsizetype end = empty ? j : wordEnd(m_line, j);
    qsizetype markEnd = end;
    if (q && end < m_n && m_line[end] == q)
        ++markEnd;
    m_out.add(i, markEnd, Role::string);
    if (!m_heredocPending && size_t(end - j) <= size_t(SyntaxCarry::delimiterCapacity)) {
        m_heredocPending = true;
        m_heredoc.assign(m_line.data() + j, size_t(end - j));
        m_heredocIndented = indented;
    }
    return markEnd;
}

// Ruby's and Elixir's symbols: ":name" where a value starts, not "a ? b :c"'s ternary nor "::".
qsizetype HashScanner::symbol(qsizetype i)
{
    if ((m_dialect != Dialect::ruby && m_dialect != Dialect::elixir) || i + 1 >= m_n
        || !isWordStart(m_line[i + 1]))
        return i + 1;
    const char prior = before(i);
    if (!(isBlank(prior) || prior == '(' || prior == '[' || prior == ',' || prior == '{'))
        return i + 1;
    const qsizetype end = wordEnd(m_line, i + 1);
    m_out.add(i, end, Role::number);
    return end;
}

// PowerShell's operators: -eq, -match.
qsizetype HashScanner::dash(qsizetype i)
{
    if (m_dialect != Dialect::powershell || i + 1 >= m_n || !isLetter(m_line[i + 1]))
        return i + 1;
    return keyword(i, wordEnd(m_line, i + 1));
}

// In shells a backslash makes the next character plain, a quote included.
qsizetype HashScanner::backslash(qsizetype i)
{
    const bool escapes = m_dialect == Dialect::shell || m_dialect == Dialect::tcl
        || m_dialect == Dialect::docker || m_dialect == Dialect::cmake || m_dialect == Dialect::make;
    return escapes ? i + 2 : i + 1;
}

qsizetype HashScanner::quoteLike(qsizetype start, qsizetype at, int parts)
{
    if (m_noPattern)
        return at + 1;
    const char open = m_line[at];
    const char close = open == '{' ? '}' : open == '(' ? ')' : open == '[' ? ']' : open == '<' ? '>' : open;
    qsizetype i = at + 1;
    for (int part = 0; part < parts; ++part) {
        if (part > 0 && close != open) { // s{…}{…}: the second part has brackets of its own
            i = skipBlanks(m_line, i);
            if (i >= m_n || m_line[i] != open)
                break;
            ++i;
        }
        int depth = 0;
        bool inClass = false;
        bool closed = false;
        while (i < m_n && !closed) {
            const char c = m_line[i++];
            if (c == '\\')
                ++i;
            else if (open == '/' && c == '[')
                inClass = true;
            else if (inClass)
                inClass = c != ']';
            else if (c == open && close != open)
                ++depth;
            else if (c == close)
                closed = depth-- == 0;
        }
        if (!closed) {
            // Never closed: division after all, and so is every later '/' on the line.
            m_noPattern = true;
            return at + 1;
        }
    }
    const qsizetype end = wordEnd(m_line, i); // flags
    m_out.add(start, end, Role::string);
    return end;
}
