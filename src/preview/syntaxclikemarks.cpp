#include "preview/syntaxclike.h"

#include <string>

// The C-like marks and literals past plain strings and comments: directives, annotations, variables,
// regular expressions, numbers, and the words that prefix strings.

using namespace SyntaxScan;
namespace F = SyntaxFeature;

namespace {

// After these words a '/' starts a regular expression, not a division.
bool expectsValue(std::string_view word)
{
    return ByteText::among(QByteArrayView(word.data(), qsizetype(word.size())),
        { "return", "typeof", "instanceof", "in", "of", "new", "delete", "void", "throw", "case", "do",
            "else", "yield", "await" });
}

} // namespace

qsizetype CLikeScanner::hash(qsizetype i, bool firstOnLine)
{
    if (m_dialect == Dialect::php) {
        return nextIs(i, '[') ? bracketed(i) : toEnd(i, Role::comment);
    }
    if (m_dialect == Dialect::rust && i + 1 < m_n && (m_line[i + 1] == '[' || m_line[i + 1] == '!'))
        return bracketed(i);
    const bool anywhere = m_dialect == Dialect::swift;
    if (!m_rules.has(F::directives) || !(firstOnLine || anywhere))
        return i + 1;
    const qsizetype nameAt = skipBlanks(m_line, i + 1);
    const qsizetype nameEnd = wordEnd(m_line, nameAt);
    m_out.add(i, nameEnd, Role::preprocessor);
    const std::string_view name = view(m_line).substr(size_t(nameAt), size_t(nameEnd - nameAt));
    const qsizetype target = skipBlanks(m_line, nameEnd);
    if ((name == "include" || name == "import") && target < m_n && m_line[target] == '<') {
        const qsizetype close = find(m_line, target, ">");
        const qsizetype end = close < 0 ? m_n : close + 1;
        m_out.add(target, end, Role::string);
        return end;
    }
    return nameEnd;
}

// An attribute such as #[derive(Debug)], to its matching bracket.
qsizetype CLikeScanner::bracketed(qsizetype i)
{
    int depth = 0;
    qsizetype j = i + 1;
    for (; j < m_n; ++j) {
        if (m_line[j] == '[')
            ++depth;
        else if (m_line[j] == ']' && --depth == 0)
            break;
    }
    const qsizetype end = std::min(j + 1, m_n);
    m_out.add(i, end, Role::preprocessor);
    return end;
}

qsizetype CLikeScanner::at(qsizetype i)
{
    const qsizetype next = i + 1;
    if (m_dialect == Dialect::csharp) {
        if (next < m_n && m_line[next] == '"')
            return verbatim(i, next);
        if (next + 1 < m_n && m_line[next] == '$' && m_line[next + 1] == '"')
            return verbatim(i, next + 1);
        return next;
    }
    if (m_dialect == Dialect::objc && next < m_n && m_line[next] == '"')
        return doubleQuote(i, next);
    if (next < m_n && isWordStart(m_line[next])
        && (m_dialect == Dialect::objc || m_rules.has(F::annotations))) {
        qsizetype end = wordEnd(m_line, next);
        while (end + 1 < m_n && m_line[end] == '.' && isWordStart(m_line[end + 1]))
            end = wordEnd(m_line, end + 1);
        m_out.add(i, end, m_dialect == Dialect::objc ? Role::keyword : Role::preprocessor);
        return end;
    }
    return next;
}

qsizetype CLikeScanner::verbatim(qsizetype start, qsizetype quoteAt)
{
    return afterValue(doubled(start, quoteAt + 1, '"'));
}

qsizetype CLikeScanner::dollar(qsizetype i)
{
    const qsizetype next = i + 1;
    if (m_dialect == Dialect::csharp && next < m_n) {
        if (m_line[next] == '"')
            return doubleQuote(i, next);
        if (next + 1 < m_n && m_line[next] == '@' && m_line[next + 1] == '"')
            return verbatim(i, next + 1);
    }
    if (next < m_n && isWordStart(m_line[next])
        && (m_rules.has(F::variables) || m_dialect == Dialect::verilog)) {
        const qsizetype end = wordEnd(m_line, next);
        m_out.add(i, end, m_dialect == Dialect::verilog ? Role::preprocessor : Role::attribute);
        return afterValue(end);
    }
    setValueBefore(false);
    return next;
}

// PHP's <?php, <?= and ?>, where the page's text stops and starts.
qsizetype CLikeScanner::phpTag(qsizetype i)
{
    setValueBefore(false);
    if (m_dialect != Dialect::php)
        return i + 1;
    qsizetype end = i;
    if (startsWith(m_line, i, "<?php"))
        end = i + 5;
    else if (startsWith(m_line, i, "<?="))
        end = i + 3;
    else if (startsWith(m_line, i, "?>"))
        end = i + 2;
    m_out.add(i, end, Role::preprocessor);
    return std::max(end, i + 1);
}

// Division, or a regular expression where a value is due; one that does not close on its line is
// taken for division.
qsizetype CLikeScanner::slash(qsizetype i)
{
    const bool value = m_valueBefore && !(!m_lastWord.empty() && expectsValue(m_lastWord));
    if (!m_rules.has(F::regexLiterals) || value || m_noRegex) {
        setValueBefore(false);
        return i + 1;
    }
    bool inClass = false;
    for (qsizetype j = i + 1; j < m_n; ++j) {
        const char c = m_line[j];
        if (c == '\\')
            ++j;
        else if (c == '[')
            inClass = true;
        else if (c == ']')
            inClass = false;
        else if (c == '/' && !inClass) {
            const qsizetype end = wordEnd(m_line, j + 1); // flags
            m_out.add(i, end, Role::string);
            return afterValue(end);
        }
    }
    // None closes from here; taking each later '/' for one again would cost the line's length
    // each time.
    m_noRegex = true;
    return i + 1;
}

qsizetype CLikeScanner::number(qsizetype i)
{
    const bool quoteSeparators
        = m_dialect == Dialect::c || m_dialect == Dialect::cpp || m_dialect == Dialect::objc;
    qsizetype end = m_line[i] == '\'' ? i : numberEnd(m_line, i, quoteSeparators);
    // Verilog's sized and based numbers: 8'hFF, 4'b10_x0, 'd3.
    if (m_dialect == Dialect::verilog && end < m_n && m_line[end] == '\'') {
        qsizetype j = end + 1;
        if (j < m_n && (m_line[j] == 's' || m_line[j] == 'S'))
            ++j;
        if (j < m_n && std::string_view("bodhBODH").find(m_line[j]) != std::string_view::npos) {
            ++j;
            while (j < m_n
                && (isHexDigit(m_line[j])
                    || std::string_view("_xXzZ?").find(m_line[j]) != std::string_view::npos))
                ++j;
            end = j;
        }
    }
    end = std::max(end, i + 1);
    m_out.add(i, end, Role::number);
    return afterValue(end);
}

qsizetype CLikeScanner::word(qsizetype i)
{
    const qsizetype end = wordEnd(m_line, i);
    const std::string_view name = text(i, end);
    if (end < m_n && (m_line[end] == '"' || m_line[end] == '\'' || m_line[end] == '#')) {
        const qsizetype prefixed = stringPrefix(i, end, name);
        if (prefixed >= 0)
            return prefixed;
    }
    setValueBefore(true);
    m_lastWord = name;
    if (m_dialect == Dialect::rust && end < m_n && m_line[end] == '!'
        && (end + 1 >= m_n || m_line[end + 1] != '=')) { // a macro: println!
        m_out.add(i, end + 1, Role::preprocessor);
        return end + 1;
    }
    return keyword(i, end);
}

// A string with a prefix (u8"", R"x()x", r#""#, b'a'), or -1 when the word is no such prefix.
qsizetype CLikeScanner::stringPrefix(qsizetype i, qsizetype end, std::string_view prefix)
{
    const char next = m_line[end];
    if (m_dialect == Dialect::c || m_dialect == Dialect::cpp || m_dialect == Dialect::objc) {
        if (next == '"'
            && (prefix == "R" || prefix == "u8R" || prefix == "uR" || prefix == "UR" || prefix == "LR"))
            return cppRaw(i, end);
        if (prefix == "u8" || prefix == "u" || prefix == "U" || prefix == "L")
            return next == '"' ? quoted(i, end + 1, '"') : next == '\'' ? charAfterPrefix(i, end) : -1;
        return -1;
    }
    if (m_dialect == Dialect::rust) {
        if (prefix == "b" && next == '\'')
            return charAfterPrefix(i, end);
        if (prefix == "b" && next == '"')
            return quoted(i, end + 1, '"');
        if (prefix == "r" || prefix == "br") {
            qsizetype quoteAt = end;
            while (quoteAt < m_n && m_line[quoteAt] == '#')
                ++quoteAt;
            if (quoteAt < m_n && m_line[quoteAt] == '"') {
                std::string closer = "\"";
                closer.append(size_t(quoteAt - end), '#');
                return raw(i, quoteAt + 1, closer);
            }
        }
        return -1;
    }
    if (m_dialect == Dialect::none && prefix == "r" && (next == '\'' || next == '"')
        && m_rules.has(F::quoteStrings)) {
        // Dart's raw strings: no escapes, on one line.
        return afterValue(close(i, closingQuote(m_line, end + 1, next, false).end, Role::string));
    }
    return -1;
}

qsizetype CLikeScanner::charAfterPrefix(qsizetype i, qsizetype quoteAt)
{
    const qsizetype end = closingCharacter(m_line, quoteAt + 1, true);
    if (end < 0)
        return -1;
    m_out.add(i, end, Role::string);
    return end;
}

// R"delimiter( … )delimiter", which may span lines.
qsizetype CLikeScanner::cppRaw(qsizetype i, qsizetype quoteAt)
{
    // The delimiter is at most 16 characters; looking no further keeps a line of R" linear.
    const qsizetype open = find(m_line.first(std::min(m_n, quoteAt + 18)), quoteAt + 1, "(");
    if (open < 0)
        return quoted(i, quoteAt + 1, '"');
    std::string closer = ")";
    closer.append(m_line.data() + quoteAt + 1, size_t(open - quoteAt - 1));
    closer += '"';
    return raw(i, open + 1, closer);
}
