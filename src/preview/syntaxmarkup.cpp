#include "preview/syntaxscanner.h"

using namespace SyntaxScan;

namespace {

enum Embed : quint8 { noEmbed, scriptEmbed, styleEmbed };

bool isNameByte(char c)
{
    return isWordByte(c) || c == '-' || c == ':' || c == '.';
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower)
{
    if (text.size() != lower.size())
        return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (lowerAscii(text[i]) != lower[i])
            return false;
    return true;
}

// HTML, XML, Vue and Svelte: tags, attributes, comments, entities, and script and style elements
// coloured by their own languages.
class MarkupScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i)
    {
        while (i < m_n) {
            if (m_carry.embed != noEmbed && m_carry.open != Open::tag
                && m_carry.open != Open::attributeValue) {
                i = embedded(i);
                continue;
            }
            switch (m_carry.open) {
            case Open::rawComment: i = finishRaw(m_line, i, m_carry, Role::comment, m_out); break;
            case Open::raw: i = finishRaw(m_line, i, m_carry, Role::string, m_out); break;
            case Open::tag: i = tag(i); break;
            case Open::attributeValue: i = value(i, i, m_carry.quote); break;
            default: m_carry = {}; i = content(i);
            }
        }
    }

private:
    // Text between tags: only tags and entities are coloured.
    qsizetype content(qsizetype i)
    {
        while (i < m_n && m_line[i] != '<' && m_line[i] != '&')
            ++i;
        if (i >= m_n)
            return m_n;
        if (m_line[i] == '&')
            return entity(i);
        if (startsWith(m_line, i, "<!--"))
            return delimited(i, i + 4, Open::rawComment, "-->", Role::comment);
        if (startsWith(m_line, i, "<![CDATA["))
            return delimited(i, i + 9, Open::raw, "]]>", Role::string);
        if (i + 1 < m_n && (m_line[i + 1] == '!' || m_line[i + 1] == '?')) { // <!DOCTYPE …>, <?xml …?>
            const qsizetype close = find(m_line, i + 2, ">");
            const qsizetype end = close < 0 ? m_n : close + 1;
            m_out.add(i, end, Role::preprocessor);
            return end;
        }
        const bool closing = nextIs(i, '/');
        const qsizetype nameAt = i + (closing ? 2 : 1);
        if (nameAt >= m_n || !isWordStart(m_line[nameAt]))
            return i + 1;
        qsizetype end = nameAt;
        while (end < m_n && isNameByte(m_line[end]))
            ++end;
        m_out.add(i, end, Role::tag);
        m_carry.open = Open::tag;
        if (!closing && m_rules.script && m_rules.style) {
            const std::string_view name = text(nameAt, end);
            m_carry.embed = equalsIgnoringCase(name, "script") ? scriptEmbed
                : equalsIgnoringCase(name, "style")            ? styleEmbed
                                                               : noEmbed;
        }
        return end;
    }

    // &amp; &#160; &#x1F600;
    qsizetype entity(qsizetype i)
    {
        qsizetype end = i + 1;
        if (end < m_n && m_line[end] == '#')
            ++end;
        const qsizetype nameAt = end;
        while (end < m_n && (isLetter(m_line[end]) || isDigit(m_line[end])))
            ++end;
        if (end == nameAt || end >= m_n || m_line[end] != ';')
            return i + 1;
        m_out.add(i, end + 1, Role::number);
        return end + 1;
    }

    // Between a tag's name and its end: attribute names and values.
    qsizetype tag(qsizetype i)
    {
        while (i < m_n) {
            const char c = m_line[i];
            if (isBlank(c)) {
                ++i;
            } else if (c == '>') {
                m_out.add(i, i + 1, Role::tag);
                m_carry.open = Open::nothing;
                return i + 1;
            } else if (c == '/' && nextIs(i, '>')) {
                m_out.add(i, i + 2, Role::tag);
                m_carry = {}; // <script/> holds no script
                return i + 2;
            } else if (c == '"' || c == '\'') {
                return value(i, i + 1, c);
            } else if (c == '=') {
                const qsizetype at = skipBlanks(m_line, i + 1);
                if (at < m_n && (m_line[at] == '"' || m_line[at] == '\''))
                    return value(at, at + 1, m_line[at]);
                qsizetype end = at;
                while (end < m_n && !isBlank(m_line[end]) && m_line[end] != '>')
                    ++end;
                m_out.add(at, end, Role::string);
                i = std::max(end, i + 1);
            } else {
                qsizetype end = i;
                while (end < m_n && !isBlank(m_line[end]) && m_line[end] != '=' && m_line[end] != '>'
                    && m_line[end] != '"' && m_line[end] != '\'' && !(m_line[end] == '/' && nextIs(end, '>')))
                    ++end;
                end = std::max(end, i + 1);
                m_out.add(i, end, Role::attribute);
                i = end;
            }
        }
        return m_n;
    }

    // An attribute value from `start`, its text from `i`; it may go on over lines.
    qsizetype value(qsizetype start, qsizetype i, char quote)
    {
        const qsizetype close = find(m_line, i, std::string_view(&quote, 1));
        if (close < 0) {
            carryOpen(Open::attributeValue, quote);
            return toEnd(start, Role::string);
        }
        m_out.add(start, close + 1, Role::string);
        m_carry.open = Open::tag;
        m_carry.quote = 0;
        return close + 1;
    }

    // The inside of a script or style element, up to its closing tag, which ends whatever the script
    // left open.
    qsizetype embedded(qsizetype i)
    {
        const std::string_view name = m_carry.embed == scriptEmbed ? "script" : "style";
        qsizetype close = i;
        for (;; ++close) {
            close = find(m_line, close, "</");
            if (close < 0 || equalsIgnoringCase(view(m_line).substr(size_t(close + 2), name.size()), name))
                break;
        }
        const qsizetype end = close < 0 ? m_n : close;
        const SyntaxRules& inner = m_carry.embed == scriptEmbed ? *m_rules.script : *m_rules.style;
        const quint8 embed = m_carry.embed;
        (inner.family == SyntaxFamily::css ? scanCss : scanCLike)(
            inner, m_line.first(end), i, m_carry, m_out);
        m_carry.embed = embed;
        if (close < 0)
            return m_n;
        m_carry = {};
        return close;
    }
};

} // namespace

void scanMarkup(
    const SyntaxRules& rules, QByteArrayView line, qsizetype from, SyntaxCarry& carry, SpanOut& out)
{
    MarkupScanner(rules, line, carry, out).run(from);
}
