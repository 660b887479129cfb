#include "document/style/stylereader.h"

#include "document/scriptsymbol.h"
#include "text/bytetext.h"
#include "text/nametable.h"

#include <cstring>

constexpr auto styleRuleKindNames
    = nameTable<StyleRule::Kind>("rule", "media", "keyframes", "supports", "atRule", "statement");

QString styleRuleKindName(StyleRule::Kind kind)
{
    return styleRuleKindNames.name(kind);
}

namespace StyleReader {

namespace {

using ByteText::isDigit;
using ByteText::isLetter;
using ByteText::isSpace;
using ByteText::UniqueNames;

using ByteText::among;

bool isAnimationKeyword(QByteArrayView word)
{
    return among(ByteText::lowered(word),
        { "infinite", "linear", "ease", "ease-in", "ease-out", "ease-in-out", "alternate", "normal",
            "reverse", "forwards", "backwards", "both", "none", "running", "paused", "step-start", "step-end",
            "s", "ms" });
}

bool isNameByte(char c)
{
    return isLetter(c) || isDigit(c) || c == '-' || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

// A rule as the scan finds it, in byte ranges; only the rules kept after trimming are read closely.
struct Found {
    StyleRule::Kind kind = StyleRule::Kind::rule;
    bool kept = true;
    bool inKeyframes = false;
    qsizetype preludeFrom = 0;
    qsizetype preludeTo = 0;
    qsizetype bodyFrom = 0; // a rule's declarations
    qsizetype bodyTo = 0;
    qsizetype end = 0; // past the closing brace
    std::vector<std::pair<qsizetype, qsizetype>> loose; // declarations directly inside an at-rule
    std::vector<Found> children;
};

class Cursor {
public:
    explicit Cursor(QByteArrayView text)
        : m_text(text)
        , m_lines(text)
    {
    }

    std::vector<Found> block(int depth, bool inKeyframes, Found* owner);
    StyleRule rule(const Found& found) const;

private:
    bool skipComment();
    qsizetype skipBlock(qsizetype open) const;
    void declarations(StyleRule& rule, qsizetype from, qsizetype to) const;
    void record(StyleRule& rule, QByteArrayView declaration) const;
    static StyleRule::Kind kind(QByteArrayView prelude);

    QByteArrayView m_text;
    ByteText::LineIndex m_lines;
    qsizetype m_at = 0;
};

qsizetype endOfComment(QByteArrayView text, qsizetype at)
{
    const size_t close = ByteText::view(text).find("*/", size_t(at + 2));
    return close == std::string_view::npos ? text.size() : qsizetype(close) + 2;
}

qsizetype endOfString(QByteArrayView text, qsizetype at)
{
    const char quote = text[at];
    qsizetype i = at + 1;
    while (i < text.size() && text[i] != quote && text[i] != '\n')
        i += text[i] == '\\' ? 2 : 1;
    return std::min(i + 1, text.size());
}

// SCSS and Less comments run to the end of the line; "//" right after a colon is a URL's.
bool startsLineComment(QByteArrayView text, qsizetype at)
{
    return at + 1 < text.size() && text[at] == '/' && text[at + 1] == '/' && (at == 0 || text[at - 1] != ':');
}

// "url(" … ")" holds slashes, semicolons and quotes that mean nothing there.
qsizetype endOfUrl(QByteArrayView text, qsizetype at)
{
    const void* close = std::memchr(text.data() + at, ')', size_t(text.size() - at));
    return close ? static_cast<const char*>(close) - text.data() + 1 : text.size();
}

bool startsUrl(QByteArrayView text, qsizetype at)
{
    const auto is = [&](qsizetype i, char lower) { return (text[at + i] | 0x20) == lower; };
    return at + 4 <= text.size() && text[at + 3] == '(' && is(0, 'u') && is(1, 'r') && is(2, 'l')
        && (at == 0 || !isNameByte(text[at - 1]));
}

QByteArray withoutComments(QByteArrayView text)
{
    QByteArray out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size();) {
        if (text[i] == '/' && i + 1 < text.size() && text[i + 1] == '*') {
            i = endOfComment(text, i);
            out += ' ';
        } else if (text[i] == '"' || text[i] == '\'') {
            const qsizetype end = endOfString(text, i);
            out += text.sliced(i, end - i);
            i = end;
        } else {
            out += text[i++];
        }
    }
    return out;
}

bool Cursor::skipComment()
{
    const char c = m_text[m_at];
    if (c == '/' && m_at + 1 < m_text.size() && m_text[m_at + 1] == '*') {
        m_at = endOfComment(m_text, m_at);
        return true;
    }
    if (startsLineComment(m_text, m_at)) {
        m_at = ByteText::lineEnd(m_text, m_at);
        return true;
    }
    return false;
}

// Past the brace that closes the one at `open`, counting braces outside comments and strings.
qsizetype Cursor::skipBlock(qsizetype open) const
{
    qsizetype depth = 0;
    qsizetype i = open;
    while (i < m_text.size()) {
        const char c = m_text[i];
        if (c == '/' && i + 1 < m_text.size() && m_text[i + 1] == '*') {
            i = endOfComment(m_text, i);
        } else if (startsLineComment(m_text, i)) {
            i = ByteText::lineEnd(m_text, i);
        } else if (c == '"' || c == '\'') {
            i = endOfString(m_text, i);
        } else if (startsUrl(m_text, i)) {
            i = endOfUrl(m_text, i + 4);
        } else {
            if (c == '{')
                ++depth;
            else if (c == '}' && --depth == 0)
                return i + 1;
            ++i;
        }
    }
    return m_text.size();
}

StyleRule::Kind Cursor::kind(QByteArrayView prelude)
{
    if (!prelude.startsWith('@'))
        return StyleRule::Kind::rule;
    qsizetype end = 1;
    while (end < prelude.size() && isNameByte(prelude[end]))
        ++end;
    const QByteArray keyword = ByteText::lowered(prelude.sliced(1, end - 1));
    if (keyword == "media")
        return StyleRule::Kind::media;
    if (keyword == "keyframes" || keyword == "-webkit-keyframes")
        return StyleRule::Kind::keyframes;
    if (keyword == "supports")
        return StyleRule::Kind::supports;
    return StyleRule::Kind::atRule;
}

// Reads rules up to the "}" that ends this block (consumed) or the end of the text. Declarations
// directly inside an at-rule are recorded on its owner.
std::vector<Found> Cursor::block(int depth, bool inKeyframes, Found* owner)
{
    std::vector<Found> rules;
    qsizetype preludeStart = -1;
    while (m_at < m_text.size()) {
        const char c = m_text[m_at];
        if (skipComment())
            continue;
        if (c == '"' || c == '\'') {
            if (preludeStart < 0)
                preludeStart = m_at;
            m_at = endOfString(m_text, m_at);
            continue;
        }
        if (isSpace(c)) {
            ++m_at;
            continue;
        }
        if (c == '}') {
            ++m_at;
            if (depth == 0)
                continue; // a stray brace at the top ends nothing
            return rules;
        }
        if (c == ';') {
            if (preludeStart >= 0) {
                const QByteArrayView text = m_text.sliced(preludeStart, m_at - preludeStart);
                if (text.startsWith('@')) {
                    Found statement;
                    statement.kind = StyleRule::Kind::statement;
                    statement.preludeFrom = preludeStart;
                    statement.preludeTo = m_at;
                    statement.end = m_at + 1;
                    rules.push_back(std::move(statement));
                    if (depth == 0 && qsizetype(rules.size()) > ruleBudget)
                        return rules;
                } else if (owner) {
                    owner->loose.emplace_back(preludeStart, m_at);
                }
            }
            preludeStart = -1;
            ++m_at;
            continue;
        }
        if (c == '{') {
            Found found;
            found.preludeFrom = preludeStart < 0 ? m_at : preludeStart;
            found.preludeTo = m_at;
            found.kind = kind(m_text.sliced(found.preludeFrom, m_at - found.preludeFrom));
            found.inKeyframes = inKeyframes;
            if (found.kind == StyleRule::Kind::rule || depth + 1 > depthLimit) {
                found.bodyFrom = m_at + 1;
                m_at = skipBlock(m_at);
                found.bodyTo = m_at > found.bodyFrom && m_text[m_at - 1] == '}' ? m_at - 1 : m_at;
                if (found.kind != StyleRule::Kind::rule)
                    found.bodyTo = found.bodyFrom; // too deep to read: shown without its contents
            } else {
                ++m_at;
                found.children = block(depth + 1, found.kind == StyleRule::Kind::keyframes, &found);
            }
            found.end = m_at;
            rules.push_back(std::move(found));
            preludeStart = -1;
            if (depth == 0 && qsizetype(rules.size()) > ruleBudget)
                return rules; // beyond the budget the top level alone decides what is kept
            continue;
        }
        if (preludeStart < 0)
            preludeStart = m_at;
        if (startsUrl(m_text, m_at))
            m_at = endOfUrl(m_text, m_at + 4);
        else
            ++m_at;
    }
    return rules;
}

void Cursor::record(StyleRule& rule, QByteArrayView declaration) const
{
    const QByteArray text
        = declaration.contains("/*") ? withoutComments(declaration) : declaration.toByteArray();
    const qsizetype colon = text.indexOf(':');
    if (colon < 0)
        return;
    const QByteArray property = text.first(colon).trimmed();
    const QByteArray value = text.sliced(colon + 1).trimmed();
    if (property.isEmpty())
        return;
    ++rule.declarations;
    if (property.startsWith("--"))
        UniqueNames(rule.defines).add(property);
    // Every var( gives the name up to the next ")" or ",".
    UniqueNames uses(rule.uses);
    for (qsizetype at = value.indexOf("var("); at >= 0; at = value.indexOf("var(", at + 4)) {
        qsizetype end = at + 4;
        while (end < value.size() && value[end] != ')' && value[end] != ',')
            ++end;
        const QByteArray name = value.sliced(at + 4, end - at - 4).trimmed();
        if (name.startsWith("--"))
            uses.add(name);
    }
    const QByteArray lowered = ByteText::lowered(property);
    if (lowered != "animation" && lowered != "animation-name")
        return;
    // Words of the value outside parentheses, so cubic-bezier(…) and steps(…) leave no arguments.
    QByteArray words;
    int parentheses = 0;
    for (const char c : value) {
        if (c == '(')
            ++parentheses;
        if (parentheses == 0)
            words += c == ',' ? ' ' : c;
        if (c == ')' && parentheses > 0)
            --parentheses;
    }
    UniqueNames animations(rule.animations);
    for (const QByteArray& word : ByteText::collapsed(words).split(' ')) {
        if (!word.isEmpty() && isLetter(word[0]) && !isAnimationKeyword(word)
            && !ByteText::lowered(word).startsWith("cubic-bezier")
            && !ByteText::lowered(word).startsWith("steps"))
            animations.add(word);
    }
}

// Declarations split at ";" and "}"; the selectors of nested blocks are not declarations, but what
// is declared inside them is.
void Cursor::declarations(StyleRule& rule, qsizetype from, qsizetype to) const
{
    qsizetype pieceStart = from;
    qsizetype i = from;
    while (i < to) {
        const char c = m_text[i];
        if (c == '/' && i + 1 < to && m_text[i + 1] == '*') {
            i = endOfComment(m_text, i);
        } else if (startsLineComment(m_text, i)) {
            record(rule, m_text.sliced(pieceStart, i - pieceStart));
            i = ByteText::lineEnd(m_text, i);
            pieceStart = i;
        } else if (c == '"' || c == '\'') {
            i = endOfString(m_text, i);
        } else if (startsUrl(m_text, i)) {
            i = endOfUrl(m_text, i + 4);
        } else if (c == ';' || c == '}') {
            record(rule, m_text.sliced(pieceStart, i - pieceStart));
            pieceStart = ++i;
        } else if (c == '{') {
            pieceStart = ++i;
        } else {
            ++i;
        }
    }
    if (pieceStart < to)
        record(rule, m_text.sliced(pieceStart, std::min(i, to) - pieceStart));
}

QByteArray counted(qsizetype count, const char* one, const char* many)
{
    return QByteArray::number(count) + (count == 1 ? one : many);
}

StyleRule Cursor::rule(const Found& found) const
{
    StyleRule rule;
    rule.kind = found.kind;
    const QByteArrayView prelude = m_text.sliced(found.preludeFrom, found.preludeTo - found.preludeFrom);
    const QByteArray selector
        = ByteText::collapsed(prelude.contains("/*") ? withoutComments(prelude) : prelude);
    rule.name = selector.isEmpty() ? QByteArray("{ }") : ByteText::shortened(selector, 161, 158);
    rule.start = found.preludeFrom;
    rule.end = found.end;
    rule.line = m_lines.lineOf(found.preludeFrom);
    rule.endLine = m_lines.lineOf(std::max(found.preludeFrom, found.end - 1));
    if (found.kind == StyleRule::Kind::statement)
        return rule;
    if (found.kind == StyleRule::Kind::rule) {
        declarations(rule, found.bodyFrom, found.bodyTo);
        rule.detail = counted(rule.declarations, " declaration", " declarations");
        if (!found.inKeyframes)
            rule.targets = targets(selector);
        return rule;
    }
    for (const auto& [from, to] : found.loose)
        record(rule, m_text.sliced(from, to - from));
    rule.detail = counted(qsizetype(found.children.size()), " rule", " rules");
    for (const Found& child : found.children) {
        if (child.kept)
            rule.children.push_back(this->rule(child));
    }
    return rule;
}

} // namespace

QByteArrayList targets(QByteArrayView selector)
{
    QByteArrayList found;
    UniqueNames names(found);
    const qsizetype size = selector.size();
    const auto endsCompound
        = [](char c) { return isSpace(c) || c == ',' || c == '>' || c == '+' || c == '~'; };
    qsizetype i = 0;
    while (i < size) {
        const char c = selector[i];
        if (c == '.' || c == '#') {
            qsizetype end = i + 1;
            while (end < size && isNameByte(selector[end]))
                ++end;
            if (end > i + 1)
                names.add(selector.sliced(i, end - i));
            i = end;
        } else if (c == ':') {
            // A pseudo-class or element, with any arguments, to the end of the compound.
            int parentheses = 0;
            ++i;
            while (i < size && (parentheses > 0 || !endsCompound(selector[i]))) {
                if (selector[i] == '(')
                    ++parentheses;
                else if (selector[i] == ')' && parentheses > 0)
                    --parentheses;
                ++i;
            }
        } else if (c == '[') {
            while (i < size && selector[i] != ']')
                ++i;
            ++i;
        } else if (isLetter(c)) {
            qsizetype end = i + 1;
            while (end < size && isNameByte(selector[end]))
                ++end;
            names.add(ByteText::lowered(selector.sliced(i, end - i)));
            i = end;
        } else {
            ++i;
        }
    }
    return found;
}

Reading read(QByteArrayView utf8)
{
    if (ByteText::hasAtLeastCharacters(utf8, characterLimit)) {
        // What comes before the limit is read, up to its last whole line: no character is shorter
        // than a byte, so that many bytes hold fewer characters than the limit.
        QByteArrayView head = utf8.first(characterLimit - 1);
        if (const qsizetype newline = head.lastIndexOf('\n'); newline >= 0)
            head = head.first(newline + 1);
        Reading reading = read(head);
        reading.truncated = true;
        return reading;
    }
    Reading reading;
    Cursor cursor(utf8);
    std::vector<Found> found = cursor.block(0, false, nullptr);
    qsizetype budget = ruleBudget;
    reading.truncated = trim(found, budget);
    for (const Found& rule : found) {
        if (rule.kept)
            reading.rules.push_back(cursor.rule(rule));
    }
    return reading;
}

} // namespace StyleReader
