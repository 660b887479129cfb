#include "preview/syntaxscanner.h"

using namespace SyntaxScan;

namespace {

// Shared by the data formats: quoted strings, comments closing at a delimiter, and words looked up.
class ConfigScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void json(qsizetype i)
    {
        if (m_carry.open == Open::comment)
            i = searchedComment(i, i);
        while (i < m_n) {
            const char c = m_line[i];
            if (c == '"') {
                const QuoteEnd end = closingQuote(m_line, i + 1, '"', true);
                const qsizetype stop = end.end < 0 ? m_n : end.end;
                const qsizetype after = skipBlanks(m_line, stop);
                m_out.add(i, stop, after < m_n && m_line[after] == ':' ? Role::attribute : Role::string);
                i = stop;
            } else if (isDigit(c) || (c == '-' && i + 1 < m_n && isDigit(m_line[i + 1]))) {
                const qsizetype end = numberEnd(m_line, c == '-' ? i + 1 : i);
                m_out.add(i, end, Role::number);
                i = end;
            } else if (isWordStart(c)) {
                i = keyword(i, wordEnd(m_line, i));
            } else if (c == '/' && nextIs(i, '/')) { // JSON with comments
                i = toEnd(i, Role::comment);
            } else if (c == '/' && nextIs(i, '*')) {
                i = searchedComment(i, i + 2);
            } else {
                ++i;
            }
        }
    }

    void toml(qsizetype i)
    {
        if (m_carry.open == Open::triple)
            i = triple(i, i, m_carry.quote, m_carry.quote == '"');
        else
            m_carry = {};
        const qsizetype first = skipBlanks(m_line, i);
        if (i == 0 && first < m_n) {
            if (m_line[first] == ';') { // an INI comment
                m_out.add(first, m_n, Role::comment);
                return;
            }
            if (m_line[first] == '[') { // [table], [[array of tables]]
                const qsizetype close = find(m_line, first, "]");
                qsizetype end = close < 0 ? m_n : close + 1;
                if (end < m_n && m_line[end] == ']')
                    ++end;
                m_out.add(first, end, Role::heading);
                i = end;
            } else {
                i = key(first, '=');
            }
        }
        while (i < m_n) {
            const char c = m_line[i];
            if (c == '#') {
                i = toEnd(i, Role::comment);
            } else if (c == '"' || c == '\'') {
                // Basic strings know escapes, literal ones do not.
                i = startsWith(m_line, i, c == '"' ? "\"\"\"" : "'''")
                    ? triple(i, i + 3, c, c == '"')
                    : close(i, closingQuote(m_line, i + 1, c, c == '"').end, Role::string);
            } else if (isDigit(c) || ((c == '-' || c == '+') && i + 1 < m_n && isDigit(m_line[i + 1]))) {
                // Numbers and dates alike: 1_000, 1979-05-27T07:32:00Z.
                qsizetype end = i + 1;
                while (end < m_n
                    && (isWordByte(m_line[end])
                        || std::string_view("-:.+").find(m_line[end]) != std::string_view::npos))
                    ++end;
                m_out.add(i, end, Role::number);
                i = end;
            } else if (isWordStart(c)) {
                i = keyword(i, wordEnd(m_line, i));
            } else {
                ++i;
            }
        }
    }

    void yaml(qsizetype i)
    {
        if (m_carry.open == Open::string || m_carry.open == Open::verbatim) {
            i = quotedScalar(i, i, m_carry.quote);
        } else {
            m_carry = {};
            if ((startsWith(m_line, 0, "---") || startsWith(m_line, 0, "..."))
                && (m_n == 3 || isBlank(m_line[3]))) {
                m_out.add(0, 3, Role::keyword);
                i = 3;
            }
            i = skipBlanks(m_line, i);
            while (i < m_n && m_line[i] == '-' && (i + 1 == m_n || isBlank(m_line[i + 1])))
                i = skipBlanks(m_line, i + 1);
            i = key(i, ':');
        }
        yamlValue(skipBlanks(m_line, i));
    }

private:
    // A key before `separator` ("name =", "name:"), coloured when it is one; returns where its value
    // starts, or `i`.
    qsizetype key(qsizetype i, char separator)
    {
        if (i >= m_n || m_line[i] == '#')
            return i;
        qsizetype end = i;
        if (m_line[i] == '"' || m_line[i] == '\'') {
            end = closingQuote(m_line, i + 1, m_line[i], m_line[i] == '"').end;
            if (end < 0)
                return i;
        } else if (separator == '=') {
            while (end < m_n
                && (isWordByte(m_line[end]) || m_line[end] == '-' || m_line[end] == '.'
                    || isBlank(m_line[end])))
                ++end;
        } else if (isWordByte(m_line[i]) || m_line[i] == '.' || m_line[i] == '/' || m_line[i] == '$') {
            // Up to ": ", and never past a flow collection's punctuation, so that every item of a long
            // [a, b, c] looks only as far as the next.
            while (end < m_n && !(m_line[end] == ':' && (end + 1 == m_n || isBlank(m_line[end + 1])))
                && !(m_line[end] == '#' && isBlank(m_line[end - 1]))
                && std::string_view(",[]{}").find(m_line[end]) == std::string_view::npos)
                ++end;
        }
        const qsizetype after = skipBlanks(m_line, end);
        if (end == i || after >= m_n || m_line[after] != separator)
            return i;
        if (separator == ':' && after + 1 < m_n && !isBlank(m_line[after + 1]))
            return i;
        while (end > i && isBlank(m_line[end - 1]))
            --end;
        m_out.add(i, end, Role::attribute);
        return after + 1;
    }

    void yamlValue(qsizetype i)
    {
        while (i < m_n) {
            const char c = m_line[i];
            if (c == '#') {
                i = toEnd(i, Role::comment);
            } else if (c == '"' || c == '\'') {
                i = quotedScalar(i, i + 1, c);
            } else if (c == '&' || c == '*' || c == '!') { // anchors, aliases and tags
                qsizetype end = i + 1;
                while (end < m_n && !isBlank(m_line[end]) && m_line[end] != ',' && m_line[end] != ']'
                    && m_line[end] != '}')
                    ++end;
                m_out.add(i, end, Role::type);
                i = end;
            } else if (c == '|' || c == '>') { // block scalars
                m_out.add(i, i + 1, Role::keyword);
                ++i;
            } else if (c == '[' || c == '{' || c == ',' || c == ']' || c == '}') {
                i = c == ']' || c == '}' ? i + 1 : key(skipBlanks(m_line, i + 1), ':');
            } else if (isBlank(c)) {
                ++i;
            } else {
                i = scalar(i);
            }
        }
    }

    // A plain scalar: a number or a word such as true when it is that whole, otherwise text.
    qsizetype scalar(qsizetype i)
    {
        qsizetype end = i;
        while (end < m_n && !(m_line[end] == '#' && isBlank(m_line[end - 1])) && m_line[end] != ','
            && m_line[end] != ']' && m_line[end] != '}')
            ++end;
        qsizetype last = end;
        while (last > i && isBlank(m_line[last - 1]))
            --last;
        const std::string_view text = view(m_line).substr(size_t(i), size_t(last - i));
        const qsizetype digits = (text[0] == '-' || text[0] == '+') && text.size() > 1 ? i + 1 : i;
        if (isDigit(m_line[digits]) && numberEnd(m_line, digits) == last)
            m_out.add(i, last, Role::number);
        else if (m_out.wanted())
            m_out.add(i, last, m_rules.words.roleOf(text));
        return end;
    }

    // Quoted scalars go on over lines; '…' doubles its quotes, "…" escapes.
    qsizetype quotedScalar(qsizetype start, qsizetype i, char quote)
    {
        return quote == '"' ? string(start, i, quote, true) : doubled(start, i, quote);
    }
};

} // namespace

void scanConfig(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    ConfigScanner scanner(rules, line, carry, out);
    if (rules.dialect == Dialect::yaml)
        scanner.yaml(from);
    else
        scanner.toml(from);
}

void scanJson(const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    ConfigScanner(rules, line, carry, out).json(from);
}
