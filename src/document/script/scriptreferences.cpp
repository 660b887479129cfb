#include "document/script/scriptparser_p.h"

// What a declaration refers to (the names its code calls and constructs, the elements it queries
// and listens on) and the ScriptSymbol made of it.

namespace ScriptReader {

namespace {

using ByteText::UniqueNames;

using ByteText::among;

// A word followed by "(" that is one of these is not a call.
bool isStatementKeyword(QByteArrayView word)
{
    return among(word,
        { "if", "for", "while", "switch", "catch", "return", "typeof", "do", "else", "function", "class",
            "new", "delete", "void", "instanceof", "await", "in", "of" });
}

// Details longer than a line of the outline are cut; only a window of a long text is looked at.
QByteArray detailText(QByteArrayView text)
{
    constexpr qsizetype window = 8192;
    QByteArray shown
        = ByteText::shortened(ByteText::collapsed(text.first(std::min(text.size(), window))), 81, 78);
    if (text.size() > window && !shown.endsWith("…"))
        shown += "…";
    return shown;
}

// The element tag a selector ends on: "nav > button.primary" gives button.
QByteArray tagOf(QByteArrayView selector)
{
    qsizetype start = selector.size();
    while (start > 0) {
        const char c = selector[start - 1];
        if (ByteText::isSpace(c) || c == '>' || c == '+' || c == '~' || c == ',')
            break;
        --start;
    }
    qsizetype end = start;
    while (end < selector.size()
        && (ByteText::isLetter(selector[end]) || ByteText::isDigit(selector[end]) || selector[end] == '-'))
        ++end;
    return ByteText::lowered(selector.sliced(start, end - start));
}

} // namespace

// What an element query at a word selects: #id, .class, a tag, or a selector as written.
std::optional<QByteArray> Parser::queried(qsizetype word) const
{
    if (!isWord(word) || !isPunct(word + 1, '(') || word + 2 >= qsizetype(m_tokens.size()))
        return std::nullopt;
    const Token::Kind argument = m_tokens[size_t(word + 2)].kind();
    if (argument != Token::Kind::string && argument != Token::Kind::templateLiteral)
        return std::nullopt;
    const QByteArrayView name = text(word);
    const QByteArrayView value = ByteText::unquoted(text(word + 2));
    if (name == "getElementById")
        return '#' + value.toByteArray();
    if (name == "getElementsByClassName")
        return '.' + value.toByteArray();
    if (name == "getElementsByTagName")
        return ByteText::lowered(value);
    if (among(name, { "querySelector", "querySelectorAll", "closest", "matches" }))
        return value.toByteArray();
    return std::nullopt;
}

// The element a listener is added to: the query that produced its receiver, directly or through a
// name it was assigned to.
Parser::Receiver Parser::element(qsizetype dot)
{
    Receiver receiver;
    qsizetype at = dot - 1;
    if (isPunct(at, ']') && m_match[size_t(at)] > 0)
        at = m_match[size_t(at)] - 1; // items[0]
    if (isPunct(at, ')') && m_match[size_t(at)] > 0) {
        const qsizetype call = m_match[size_t(at)] - 1;
        if (const std::optional<QByteArray> selector = queried(call)) {
            receiver.selectors.append(*selector);
            receiver.tag = tagOf(*selector);
            receiver.description = *selector;
        } else if (isWord(call)) {
            receiver.description = text(call).toByteArray();
        }
        return receiver;
    }
    if (!isWord(at))
        return receiver;
    const QByteArrayView name = text(at);
    receiver.description = name.toByteArray();
    if (name == "window" || name == "document")
        return receiver;
    if (!m_assignments) {
        m_assignments.emplace();
        for (qsizetype i = 0; i + 2 < qsizetype(m_tokens.size()); ++i) {
            if (isWord(i) && isPunct(i + 1, '=') && !isPunct(i + 2, '='))
                (*m_assignments)[ByteText::view(text(i))].push_back(qint32(i));
        }
    }
    const auto places = m_assignments->find(ByteText::view(name));
    if (places == m_assignments->end())
        return receiver;
    const auto after = std::lower_bound(places->second.begin(), places->second.end(), qint32(at));
    if (after == places->second.begin())
        return receiver;
    // The query that made it opens the value; only the start of a long expression is looked at.
    const qsizetype assigned = *(after - 1);
    const qsizetype end = expressionEnd(assigned + 2, std::min(qsizetype(m_tokens.size()), assigned + 66));
    for (qsizetype i = end - 1; i >= assigned + 2; --i) {
        if (const std::optional<QByteArray> selector = queried(i)) {
            receiver.selectors.append(*selector);
            receiver.tag = tagOf(*selector);
            receiver.description = *selector;
            break;
        }
    }
    return receiver;
}

// The names a declaration's own code calls, constructs and queries, leaving out the code of the
// declarations inside it.
void Parser::collect(ScriptSymbol& symbol, const Found& found) const
{
    UniqueNames calls(symbol.calls);
    UniqueNames methodCalls(symbol.methodCalls);
    UniqueNames constructs(symbol.constructs);
    UniqueNames selectors(symbol.selectors);
    qsizetype constructed = -1;
    size_t child = 0;
    const qsizetype to = std::min<qsizetype>(found.bodyTo, qsizetype(m_tokens.size()) - 1);
    for (qsizetype i = found.bodyFrom; i <= to;) {
        while (child < found.children.size() && found.children[child].last < i)
            ++child;
        if (child < found.children.size() && found.children[child].first <= i) {
            i = found.children[child].last + 1;
            continue;
        }
        if (!isWord(i)) {
            ++i;
            continue;
        }
        const QByteArrayView word = text(i);
        if (word == "new") {
            qsizetype last = -1;
            for (qsizetype k = i + 1; isWord(k); k += 2) {
                last = k;
                if (!isPunct(k + 1, '.'))
                    break;
            }
            if (last >= 0) {
                constructs.add(text(last));
                constructed = last;
            }
        } else if (isPunct(i + 1, '(') && i != constructed && !isStatementKeyword(word)
            && !(word == "async" && closing(i + 1, to + 1) <= to
                && text(closing(i + 1, to + 1) + 1) == "=>")) {
            const bool afterDot = isPunct(i - 1, '.');
            (afterDot ? methodCalls : calls).add(word);
            if (const std::optional<QByteArray> selector = queried(i))
                selectors.add(*selector);
            if (afterDot && among(word, { "add", "remove", "toggle" }) && isWord(i - 2, "classList")) {
                const qsizetype close = closing(i + 1, to + 1);
                for (qsizetype k = i + 2; k < close; k = nextComma(k, close) + 1) {
                    if (m_tokens[size_t(k)].kind() == Token::Kind::string)
                        selectors.add(QByteArray('.' + ByteText::unquoted(text(k)).toByteArray()));
                    if (word == "toggle")
                        break;
                }
            }
        }
        ++i;
    }
}

ScriptSymbol Parser::symbol(const Found& found) const
{
    ScriptSymbol symbol;
    symbol.kind = found.kind;
    symbol.name = found.nameToken >= 0 ? ByteText::unquoted(text(found.nameToken)).toByteArray()
        : found.extra                  ? found.extra->name
                                       : QByteArray();
    if (symbol.name.isEmpty())
        symbol.name = "anonymous";
    switch (found.detail) {
    case Found::Detail::none: break;
    case Found::Detail::tokens: symbol.detail = detailText(text(found.detailFrom, found.detailTo)); break;
    case Found::Detail::arrow:
        symbol.detail = detailText(text(found.detailFrom, found.detailTo)) + " =>";
        break;
    case Found::Detail::value: symbol.detail = detailText(text(found.detailFrom, found.detailTo)); break;
    case Found::Detail::extends: symbol.detail = "extends " + found.extra->base; break;
    case Found::Detail::members:
        symbol.detail = QByteArray::number(found.children.size()) + " members";
        break;
    case Found::Detail::extra: symbol.detail = detailText(found.extra->detail); break;
    }
    const Token& first = m_tokens[size_t(found.first)];
    const Token& last
        = m_tokens[size_t(std::clamp<qsizetype>(found.last, found.first, qsizetype(m_tokens.size()) - 1))];
    symbol.start = first.start();
    symbol.end = last.end();
    symbol.line = m_lines.lineOf(first.start());
    symbol.endLine = m_lines.lineOf(last.start());
    if (found.extra) {
        symbol.base = found.extra->base;
        symbol.tag = found.extra->tag;
        symbol.event = found.extra->event;
        symbol.selectors = found.extra->selectors;
        symbol.passed = found.extra->passed;
    }
    for (const Found& child : found.children) {
        if (child.kept)
            symbol.children.push_back(this->symbol(child));
    }
    if (found.bodyTo >= found.bodyFrom)
        collect(symbol, found);
    return symbol;
}

} // namespace ScriptReader
