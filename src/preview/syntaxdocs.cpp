#include "preview/syntaxscanner.h"

using namespace SyntaxScan;
using Open = SyntaxCarry::Open;
using Role = SyntaxRole;

namespace {

qsizetype runOf(QByteArrayView line, qsizetype i, char c)
{
    qsizetype end = i;
    while (end < line.size() && line[end] == c)
        ++end;
    return end - i;
}

bool onlyBlanksFrom(QByteArrayView line, qsizetype i)
{
    return skipBlanks(line, i) == line.size();
}

// Markdown as written: headings, fenced code, inline code, links, markup comments.
class MarkdownScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i)
    {
        const qsizetype first = skipBlanks(m_line, i);
        if (m_carry.open == Open::fence) {
            const qsizetype run = first - i <= 3 ? runOf(m_line, first, m_carry.quote) : 0;
            if (run >= m_carry.depth && onlyBlanksFrom(m_line, first + run))
                m_carry = {};
            m_out.add(i, m_n, Role::string);
            return;
        }
        if (m_carry.open == Open::rawComment) {
            inlines(finishRaw(m_line, i, m_carry, Role::comment, m_out));
            return;
        }
        m_carry = {};
        if (first - i > 3 || first >= m_n) {
            inlines(i);
            return;
        }
        const char c = m_line[first];
        const qsizetype run = runOf(m_line, first, c);
        if ((c == '`' || c == '~') && run >= 3
            && (c == '~' || find(m_line, first + run, "`") < 0)) { // an info string holds no backtick
            m_out.add(first, m_n, Role::string);
            m_carry.open = Open::fence;
            m_carry.quote = c;
            m_carry.depth = quint8(std::min<qsizetype>(run, 255));
            return;
        }
        if (c == '#' && run <= 6 && (first + run == m_n || isBlank(m_line[first + run]))) {
            m_out.add(first, m_n, Role::heading);
            return;
        }
        if (c == '=' && onlyBlanksFrom(m_line, first + run)) { // under a heading
            m_out.add(first, first + run, Role::heading);
            return;
        }
        if ((c == '-' || c == '*' || c == '_') && run >= 3 && onlyBlanksFrom(m_line, first + run)) {
            m_out.add(first, first + run, Role::keyword);
            return;
        }
        inlines(blockMarker(first));
    }

private:
    // A quote's '>' or a list item's marker.
    qsizetype blockMarker(qsizetype i)
    {
        const char c = m_line[i];
        qsizetype end = i;
        if (c == '>')
            end = i + 1;
        else if ((c == '-' || c == '*' || c == '+') && i + 1 < m_n && isBlank(m_line[i + 1]))
            end = i + 1;
        else if (isDigit(c)) {
            qsizetype j = i;
            while (j < m_n && isDigit(m_line[j]))
                ++j;
            if (j + 1 < m_n && (m_line[j] == '.' || m_line[j] == ')') && isBlank(m_line[j + 1]))
                end = j + 1;
        }
        m_out.add(i, end, Role::keyword);
        return end;
    }

    void inlines(qsizetype i)
    {
        while (i < m_n) {
            const char c = m_line[i];
            if (c == '\\') {
                i += 2;
            } else if (c == '`') {
                i = code(i);
            } else if (c == '<' && startsWith(m_line, i, "<!--")) {
                i = delimited(i, i + 4, Open::rawComment, "-->", Role::comment);
            } else if (c == '<' && i + 1 < m_n && (isLetter(m_line[i + 1]) || m_line[i + 1] == '/')) {
                const qsizetype close = next(m_nextAngle, i, '>');
                const qsizetype end = close < 0 ? i + 1 : close + 1;
                m_out.add(i, end, Role::tag);
                i = end;
            } else if (c == ']' && i + 1 < m_n && m_line[i + 1] == '(') {
                const qsizetype close = next(m_nextParen, i + 2, ')');
                const qsizetype end = close < 0 ? i + 2 : close;
                m_out.add(i + 2, end, Role::attribute);
                i = std::max(end, i + 2);
            } else {
                ++i;
            }
        }
    }

    // The next `c` at or after `from`, remembered in `cache`, so that many openers looking for the
    // same closer read the line once.
    qsizetype next(qsizetype& cache, qsizetype from, char c) const
    {
        if (cache != -2 && cache < from) {
            const qsizetype found = find(m_line, from, std::string_view(&c, 1));
            cache = found < 0 ? -2 : found;
        }
        return cache < 0 ? -1 : cache;
    }

    // Inline code closes at a run of as many backticks as opened it. A run that found no partner
    // never will further on, so each length is looked for once.
    qsizetype code(qsizetype i)
    {
        const qsizetype run = runOf(m_line, i, '`');
        if (run >= 64 || (m_unclosedRuns >> run & 1))
            return i + run;
        m_unclosedRuns |= quint64(1) << run;
        for (qsizetype j = i + run; j < m_n;) {
            if (m_line[j] != '`') {
                ++j;
                continue;
            }
            const qsizetype closing = runOf(m_line, j, '`');
            if (closing == run) {
                m_unclosedRuns &= ~(quint64(1) << run);
                m_out.add(i, j + run, Role::string);
                return j + run;
            }
            j += closing;
        }
        return i + run;
    }

    qsizetype m_nextAngle = -1; // -1 not looked for yet, -2 none left
    qsizetype m_nextParen = -1;
    quint64 m_unclosedRuns = 0; // lengths of backtick runs with no partner after them
};

// A number in a hunk header, at most what the carry holds.
quint32 readCount(QByteArrayView line, qsizetype& i)
{
    quint64 value = 0;
    while (i < line.size() && isDigit(line[i])) {
        value = std::min<quint64>(value * 10 + quint64(line[i] - '0'), 0xFFFFFFFFu);
        ++i;
    }
    return quint32(value);
}

// "@@ -12,5 +12,7 @@": the carry counts the lines left on each side, so that a removed line that
// reads "-- x" is not taken for the next file's "--- a/x".
bool readHunk(QByteArrayView line, SyntaxCarry& carry, qsizetype& end)
{
    if (!startsWith(line, 0, "@@ -"))
        return false;
    qsizetype i = 4;
    readCount(line, i);
    const quint32 oldLines = i < line.size() && line[i] == ',' ? readCount(line, ++i) : 1;
    if (!startsWith(line, i, " +"))
        return false;
    i += 2;
    readCount(line, i);
    const quint32 newLines = i < line.size() && line[i] == ',' ? readCount(line, ++i) : 1;
    if (!startsWith(line, i, " @@"))
        return false;
    carry.oldLines = oldLines;
    carry.newLines = newLines;
    end = i + 3;
    return true;
}

void scanDiffLine(QByteArrayView line, SyntaxCarry& carry, SpanOut& out)
{
    const qsizetype n = line.size();
    const auto take = [](quint32& count) { count = count > 0 ? count - 1 : 0; };
    if (carry.oldLines > 0 || carry.newLines > 0) {
        const char c = n > 0 ? line[0] : ' '; // an empty line is context whose blank was trimmed
        switch (c) {
        case ' ':
            take(carry.oldLines);
            take(carry.newLines);
            return;
        case '-':
            take(carry.oldLines);
            out.add(0, n, SyntaxRole::deleted);
            return;
        case '+':
            take(carry.newLines);
            out.add(0, n, SyntaxRole::inserted);
            return;
        case '\\': // "\ No newline at end of file"
            out.add(0, n, SyntaxRole::comment);
            return;
        default: carry = {};
        }
    }
    if (n == 0)
        return;
    qsizetype end = 0;
    if (readHunk(line, carry, end)) {
        out.add(0, end, SyntaxRole::heading);
        return;
    }
    if (startsWith(line, 0, "@@")) {
        out.add(0, n, SyntaxRole::heading);
        return;
    }
    for (const std::string_view header : { "diff ", "index ", "--- ", "+++ ", "new file", "deleted file",
             "similarity ", "rename ", "old mode", "new mode", "Binary files", "Index: ", "====" }) {
        if (startsWith(line, 0, header)) {
            out.add(0, n, SyntaxRole::keyword);
            return;
        }
    }
    // Outside a counted hunk, and the older forms: "> added", "< removed".
    const char c = line[0];
    if (c == '+' || (c == '>' && n > 1 && line[1] == ' '))
        out.add(0, n, SyntaxRole::inserted);
    else if (c == '-' || (c == '<' && n > 1 && line[1] == ' '))
        out.add(0, n, SyntaxRole::deleted);
}

} // namespace

void scanMarkdown(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    MarkdownScanner(rules, line, carry, out).run(from);
}

void scanDiff(const SyntaxRules&, QByteArrayView line, qsizetype, SyntaxCarry& carry, SpanOut& out)
{
    scanDiffLine(line, carry, out);
}
