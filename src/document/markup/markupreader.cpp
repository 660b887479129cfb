#include "document/markup/markupreader.h"

#include "text/bytetext.h"
#include "text/nametable.h"

#include <algorithm>
#include <cstring>

QByteArray MarkupElement::name() const
{
    QByteArray shown = tag;
    if (!id.isEmpty())
        shown += '#' + id;
    if (!classes.isEmpty())
        shown += '.' + classes.first();
    if (classes.size() >= 2)
        shown += ".…";
    return shown;
}

constexpr auto markupElementKindNames = nameTable<MarkupElement::Kind>("element", "script", "style", "link");

QString markupElementKindName(MarkupElement::Kind kind)
{
    return markupElementKindNames.name(kind);
}

namespace MarkupReader {

namespace {

using ByteText::isSpace;
using ByteText::view;

using ByteText::among;

bool isVoid(QByteArrayView tag)
{
    return among(tag,
        { "area", "base", "br", "col", "embed", "hr", "img", "input", "link", "meta", "param", "source",
            "track", "wbr" });
}

// Opening one of these ends an open paragraph, as browsers do.
bool closesParagraph(QByteArrayView tag)
{
    return among(tag,
        { "p", "div", "ul", "ol", "dl", "table", "h1", "h2", "h3", "h4", "h5", "h6", "section", "article",
            "header", "footer", "nav", "form", "pre", "blockquote", "aside", "main", "figure", "hr",
            "fieldset", "address" });
}

// The character references people write in text; others stay as written.
QByteArray decoded(QByteArrayView text)
{
    if (!text.contains('&'))
        return text.toByteArray();
    static constexpr std::pair<std::string_view, std::string_view> named[] { { "amp", "&" }, { "lt", "<" },
        { "gt", ">" }, { "quot", "\"" }, { "apos", "'" }, { "nbsp", " " }, { "copy", "©" }, { "mdash", "—" },
        { "ndash", "–" }, { "hellip", "…" }, { "pound", "£" }, { "euro", "€" }, { "yen", "¥" },
        { "cent", "¢" }, { "times", "×" }, { "middot", "·" }, { "bull", "•" }, { "laquo", "«" },
        { "raquo", "»" }, { "reg", "®" }, { "trade", "™" }, { "deg", "°" }, { "rarr", "→" },
        { "larr", "←" } };
    QByteArray out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const qsizetype semicolon = text[i] == '&' ? text.indexOf(';', i) : -1;
        if (semicolon < 0 || semicolon - i > 10) {
            out += text[i];
            continue;
        }
        const QByteArrayView name = text.sliced(i + 1, semicolon - i - 1);
        bool replaced = false;
        if (name.startsWith('#') && name.size() > 1) {
            const bool hex = name.size() > 2 && (name[1] == 'x' || name[1] == 'X');
            bool ok = false;
            const uint code = name.sliced(hex ? 2 : 1).toUInt(&ok, hex ? 16 : 10);
            if (ok && code > 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF)) {
                out += QString::fromUcs4(reinterpret_cast<const char32_t*>(&code), 1).toUtf8();
                replaced = true;
            }
        } else {
            for (const auto& [entity, character] : named) {
                if (view(name) == entity) {
                    out.append(character.data(), qsizetype(character.size()));
                    replaced = true;
                    break;
                }
            }
        }
        if (replaced)
            i = semicolon;
        else
            out += text[i];
    }
    return out;
}

class Scanner {
public:
    explicit Scanner(QByteArrayView text)
        : m_text(text)
        , m_lines(text)
    {
    }
    Reading run();

private:
    // Where a start tag ended, and what its attributes said beyond the element's own fields.
    struct TagEnd {
        qsizetype at = 0;
        bool selfClosed = false;
        QByteArray rel;
    };

    void takeText(qsizetype from, qsizetype to);
    void startTag();
    TagEnd attributes(qsizetype at, MarkupElement& element) const;
    QByteArray attributeValue(qsizetype& j) const;
    static void keep(MarkupElement& element, TagEnd& end, QByteArrayView name, const QByteArray& value);
    void closeLeftOpen(QByteArrayView tag, qsizetype start);
    static void setKind(MarkupElement& element, const QByteArray& rel);
    void rawContents(qsizetype index, qsizetype from);
    void closeTag();
    void close(qsizetype index, qsizetype at, qsizetype end);
    void closeInnermost(qsizetype at);
    qint64 lineAt(qsizetype offset) const { return m_lines.lineOf(offset); }
    qsizetype find(std::string_view what, qsizetype from) const;
    qsizetype findClosing(QByteArrayView tag, qsizetype from) const;
    QByteArrayView innermostTag() const;

    QByteArrayView m_text;
    qsizetype m_at = 0;
    std::vector<MarkupElement> m_flat;
    std::vector<qsizetype> m_parentOf;
    std::vector<qsizetype> m_open;
    bool m_stopped = false;
    bool m_truncated = false;
    ByteText::LineIndex m_lines;
};

qsizetype Scanner::find(std::string_view what, qsizetype from) const
{
    const size_t found = view(m_text).find(what, size_t(std::min(from, m_text.size())));
    return found == std::string_view::npos ? -1 : qsizetype(found);
}

// "</tag" in any letter case, where a script or style block ends.
qsizetype Scanner::findClosing(QByteArrayView tag, qsizetype from) const
{
    for (qsizetype at = find("</", from); at >= 0; at = find("</", at + 2)) {
        const QByteArrayView after = m_text.sliced(at + 2);
        if (after.size() >= tag.size() && ByteText::lowered(after.first(tag.size())) == tag)
            return at;
    }
    return -1;
}

QByteArrayView Scanner::innermostTag() const
{
    return m_open.empty() ? QByteArrayView() : QByteArrayView(m_flat[size_t(m_open.back())].tag);
}

// Text between tags belongs to the innermost open element, when it has none yet.
void Scanner::takeText(qsizetype from, qsizetype to)
{
    if (m_open.empty() || to <= from)
        return;
    MarkupElement& element = m_flat[size_t(m_open.back())];
    if (!element.text.isEmpty())
        return;
    constexpr qsizetype window = 81 * 64;
    const QByteArray text = decoded(ByteText::collapsed(m_text.sliced(from, std::min(to - from, window))));
    if (!text.isEmpty())
        element.text = ByteText::shortened(text, 81, 78);
}

void Scanner::close(qsizetype index, qsizetype at, qsizetype end)
{
    MarkupElement& element = m_flat[size_t(index)];
    element.endLine = std::max(element.line, lineAt(at));
    element.end = end;
}

void Scanner::closeInnermost(qsizetype at)
{
    close(m_open.back(), at, at);
    m_open.pop_back();
}

void Scanner::closeTag()
{
    qsizetype j = m_at + 2;
    while (j < m_text.size() && !isSpace(m_text[j]) && m_text[j] != '>')
        ++j;
    const QByteArray tag = ByteText::lowered(m_text.sliced(m_at + 2, j - m_at - 2));
    const qsizetype gt = find(">", j);
    const qsizetype end = gt < 0 ? m_text.size() : gt + 1;
    // The nearest open element of the name closes, with any opened inside it; a stray tag does nothing.
    const auto match = std::find_if(
        m_open.rbegin(), m_open.rend(), [&](qsizetype index) { return m_flat[size_t(index)].tag == tag; });
    if (match != m_open.rend()) {
        const qsizetype keep = m_open.rend() - match - 1;
        while (qsizetype(m_open.size()) > keep) {
            close(m_open.back(), m_at, end);
            m_open.pop_back();
        }
    }
    m_at = end;
}

void Scanner::startTag()
{
    const qsizetype start = m_at;
    qsizetype j = m_at + 1;
    while (j < m_text.size() && !isSpace(m_text[j]) && m_text[j] != '>' && m_text[j] != '/')
        ++j;
    if (qsizetype(m_flat.size()) >= elementLimit) {
        m_truncated = true;
        m_stopped = true;
        return;
    }
    MarkupElement element;
    element.tag = ByteText::lowered(m_text.sliced(m_at + 1, j - m_at - 1));
    element.start = start;
    const TagEnd tagEnd = attributes(j, element);
    j = tagEnd.at;
    const QByteArrayView tag = element.tag;
    closeLeftOpen(tag, start);
    element.line = lineAt(start);
    setKind(element, tagEnd.rel);
    const qsizetype index = qsizetype(m_flat.size());
    m_flat.push_back(std::move(element));
    m_parentOf.push_back(m_open.empty() ? -1 : m_open.back());
    m_at = j;
    if ((tag == "script" || tag == "style") && !tagEnd.selfClosed) {
        rawContents(index, j);
        return;
    }
    if (tagEnd.selfClosed || isVoid(tag)) {
        close(index, std::max(start, j - 1), j);
        return;
    }
    m_open.push_back(index);
}

// The attributes of a start tag from `at` on, up to and past its ">" or "/>", kept in the element.
Scanner::TagEnd Scanner::attributes(qsizetype at, MarkupElement& element) const
{
    TagEnd end;
    qsizetype& j = end.at;
    j = at;
    const qsizetype size = m_text.size();
    while (j < size) {
        const char c = m_text[j];
        if (isSpace(c)) {
            ++j;
            continue;
        }
        if (c == '>') {
            ++j;
            break;
        }
        if (c == '/') {
            ++j;
            if (j < size && m_text[j] == '>') {
                end.selfClosed = true;
                ++j;
                break;
            }
            continue;
        }
        const qsizetype nameStart = j;
        while (j < size && !isSpace(m_text[j]) && m_text[j] != '=' && m_text[j] != '>' && m_text[j] != '/')
            ++j;
        const QByteArray name = ByteText::lowered(m_text.sliced(nameStart, j - nameStart));
        if (name.isEmpty()) {
            ++j; // a stray "="
            continue;
        }
        keep(element, end, name, attributeValue(j));
    }
    return end;
}

// The value after an attribute's name, if an "=" follows: quoted or bare. Moves `j` past it.
QByteArray Scanner::attributeValue(qsizetype& j) const
{
    const qsizetype size = m_text.size();
    qsizetype after = j;
    while (after < size && isSpace(m_text[after]))
        ++after;
    if (after >= size || m_text[after] != '=')
        return {};
    j = after + 1;
    while (j < size && isSpace(m_text[j]))
        ++j;
    if (j < size && (m_text[j] == '"' || m_text[j] == '\'')) {
        const char quote = m_text[j];
        const auto* close
            = static_cast<const char*>(std::memchr(m_text.data() + j + 1, quote, size_t(size - j - 1)));
        const qsizetype valueEnd = close ? close - m_text.data() : size;
        const QByteArray value = m_text.sliced(j + 1, valueEnd - j - 1).toByteArray();
        j = std::min(size, valueEnd + 1);
        return value;
    }
    const qsizetype valueStart = j;
    while (j < size && !isSpace(m_text[j]) && m_text[j] != '>')
        ++j;
    return m_text.sliced(valueStart, j - valueStart).toByteArray();
}

// The attributes the outline shows or reads by; the others are passed over.
void Scanner::keep(MarkupElement& element, TagEnd& end, QByteArrayView name, const QByteArray& value)
{
    if (name == "id") {
        element.id = value;
    } else if (name == "class") {
        for (const QByteArray& word : ByteText::collapsed(value).split(' ')) {
            if (!word.isEmpty())
                element.classes.append(word);
        }
    } else if (name == "src" || name == "href") {
        element.source = value;
    } else if (name == "type") {
        element.type = value;
    } else if (name == "rel") {
        end.rel = ByteText::lowered(value);
    } else if (name.startsWith("on") && !value.isEmpty()) {
        element.handlers.append(decoded(value));
    }
}

// End tags that pages leave out: a new item ends the open one, a block ends a paragraph.
void Scanner::closeLeftOpen(QByteArrayView tag, qsizetype start)
{
    if (m_open.empty())
        return;
    const QByteArrayView inner = innermostTag();
    if ((tag == "li" && inner == "li") || (among(tag, { "dt", "dd" }) && among(inner, { "dt", "dd" }))
        || (among(tag, { "td", "th", "tr" }) && among(inner, { "td", "th" }))
        || (tag == "option" && inner == "option") || (closesParagraph(tag) && inner == "p"))
        closeInnermost(start);
    if (tag == "tr" && innermostTag() == "tr")
        closeInnermost(start);
}

void Scanner::setKind(MarkupElement& element, const QByteArray& rel)
{
    const QByteArrayView tag = element.tag;
    if (tag == "script")
        element.kind = element.source.isEmpty() ? MarkupElement::Kind::script : MarkupElement::Kind::link;
    else if (tag == "style")
        element.kind = MarkupElement::Kind::style;
    else if (tag == "link" && rel.split(' ').contains("stylesheet"))
        element.kind = MarkupElement::Kind::link;
    if (element.kind != MarkupElement::Kind::link)
        element.source.clear(); // only linked scripts and stylesheets carry one
}

// The contents of a script or style block are read raw, from `from` up to the closing tag.
void Scanner::rawContents(qsizetype index, qsizetype from)
{
    const qsizetype size = m_text.size();
    MarkupElement& added = m_flat[size_t(index)];
    const qsizetype closing = findClosing(added.tag, from);
    const qsizetype codeEnd = closing < 0 ? size : closing;
    added.codeStart = from;
    added.codeLine = lineAt(from);
    if (added.kind != MarkupElement::Kind::link)
        added.code = m_text.sliced(from, codeEnd - from).toByteArray();
    const qsizetype gt = closing < 0 ? -1 : find(">", closing);
    m_at = gt < 0 ? size : gt + 1;
    close(index, codeEnd, m_at);
}

Reading Scanner::run()
{
    const qsizetype size = m_text.size();
    qsizetype textFrom = 0;
    while (m_at < size && !m_stopped) {
        const auto* lt
            = static_cast<const char*>(std::memchr(m_text.data() + m_at, '<', size_t(size - m_at)));
        if (!lt) {
            m_at = size;
            break;
        }
        const qsizetype at = lt - m_text.data();
        const char next = at + 1 < size ? m_text[at + 1] : '\0';
        const bool tagStart = ByteText::isLetter(next) || next == '/' || next == '!' || next == '?';
        if (!tagStart) {
            m_at = at + 1; // "a < b" is text
            continue;
        }
        takeText(textFrom, at);
        m_at = at;
        if (m_text.sliced(at).startsWith("<!--")) {
            const qsizetype end = find("-->", at + 4);
            m_at = end < 0 ? size : end + 3;
        } else if (next == '!' || next == '?') {
            const qsizetype end = find(">", at);
            m_at = end < 0 ? size : end + 1;
        } else if (next == '/') {
            closeTag();
        } else {
            startTag();
        }
        textFrom = m_at;
    }
    if (!m_stopped)
        takeText(textFrom, size);
    while (!m_open.empty()) {
        close(m_open.back(), size, size);
        m_open.pop_back();
    }
    // Children have larger indices than their parents: moving from the last element back builds
    // every child list before its owner moves, without recursion.
    Reading reading;
    reading.truncated = m_truncated;
    for (qsizetype i = qsizetype(m_flat.size()) - 1; i >= 0; --i) {
        MarkupElement& element = m_flat[size_t(i)];
        std::reverse(element.children.begin(), element.children.end());
        const qsizetype parent = m_parentOf[size_t(i)];
        if (parent >= 0)
            m_flat[size_t(parent)].children.push_back(std::move(element));
        else
            reading.elements.push_back(std::move(element));
    }
    std::reverse(reading.elements.begin(), reading.elements.end());
    return reading;
}

} // namespace

Reading read(QByteArrayView utf8)
{
    return Scanner(utf8).run();
}

} // namespace MarkupReader
