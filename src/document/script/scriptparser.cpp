#include "document/script/scriptparser_p.h"

namespace ScriptReader {

namespace {

using SKind = ScriptSymbol::Kind;

using ByteText::among;

bool isFunctionLike(SKind kind)
{
    return kind == SKind::function || kind == SKind::arrow;
}

} // namespace

std::vector<Found> Parser::parse(qsizetype from, qsizetype to, int depth, size_t enough)
{
    std::vector<Found> found;
    if (depth > depthLimit)
        return found;
    // Bracketed ranges are scanned in place, with their closers on a stack of their own, so that
    // brackets nested a hundred thousand deep cost no call depth.
    std::vector<qsizetype> ends;
    qsizetype i = from;
    for (;;) {
        while (!ends.empty() && i >= ends.back()) {
            i = std::max(i, ends.back() + 1);
            ends.pop_back();
        }
        if (i >= to)
            break;
        const qsizetype limit = ends.empty() ? to : ends.back();
        if (isWord(i)) {
            if (std::optional<Parsed> parsed = declaration(i, limit, depth)) {
                found.push_back(std::move(parsed->found));
                if (found.size() >= enough)
                    break;
                i = std::max(parsed->next, i + 1);
                continue;
            }
            ++i;
        } else if (isOpener(i)) {
            const qsizetype close = closing(i, limit);
            if (close - i - 1 >= 3) {
                ends.push_back(close);
                ++i;
            } else {
                i = close + 1;
            }
        } else {
            ++i;
        }
    }
    return found;
}

std::optional<Parser::Parsed> Parser::declaration(qsizetype at, qsizetype limit, int depth)
{
    qsizetype j = at;
    while (j + 1 < limit && isWord(j) && among(text(j), { "export", "default", "async" }))
        ++j;
    if (j >= limit || !isWord(j))
        return std::nullopt;
    const QByteArrayView word = text(j);
    if (word == "function")
        return function(at, j, limit, depth);
    if (word == "class")
        return klass(at, j, limit, depth);
    if (among(word, { "const", "let", "var" })) {
        // A TypeScript annotation between the name and its value: const patch: PatchFn = …
        const qsizetype equals = isWord(j + 1) ? skipType(j + 2, limit, true) : limit;
        if (isPunct(equals, '=') && !isPunct(equals + 1, '=') && equals + 1 < limit)
            return assignment(at, j + 1, limit, depth, true, equals + 1);
        return std::nullopt;
    }
    if (j != at)
        return std::nullopt;
    if (word == "addEventListener" && isPunct(at + 1, '('))
        return listener(at, limit, depth);
    if (isPunct(at + 1, '=') && !isPunct(at + 2, '=') && at + 2 < limit)
        return assignment(at, at, limit, depth, false);
    return std::nullopt;
}

std::optional<Parser::Parsed> Parser::function(qsizetype from, qsizetype at, qsizetype limit, int depth)
{
    qsizetype k = at + 1;
    if (isPunct(k, '*'))
        ++k;
    qsizetype nameAt = -1;
    if (isWord(k)) {
        nameAt = k;
        ++k;
    }
    if (isPunct(k, '<')) {
        for (int steps = 0; k < limit && !isPunct(k, '(') && steps < 64; ++steps)
            ++k; // type parameters of a TypeScript function
    }
    if (k >= limit || !isPunct(k, '('))
        return std::nullopt;
    // From its parameters on, a function reads as a method does.
    return method(from, nameAt, k, limit, depth, SKind::function);
}

std::optional<Parser::Parsed> Parser::klass(qsizetype from, qsizetype at, qsizetype limit, int depth)
{
    qsizetype k = at + 1;
    qsizetype nameAt = -1;
    if (isWord(k) && !isWord(k, "extends") && !isWord(k, "implements")) {
        nameAt = k;
        ++k;
    }
    qsizetype baseFrom = -1;
    qsizetype baseTo = -1;
    // Type parameters, the base and what it implements, up to the body.
    if (isPunct(k, '<')) {
        // Type parameters, which may say extends of their own: class Store<T extends Item>
        int angles = 0;
        for (int steps = 0; k < limit && steps < 256; ++steps, ++k) {
            angles += isPunct(k, '<') ? 1 : isPunct(k, '>') ? -1 : 0;
            if (angles == 0 || isPunct(k, '{'))
                break;
        }
        if (isPunct(k, '>'))
            ++k;
    }
    for (int steps = 0; k < limit && !isPunct(k, '{') && steps < 256; ++steps) {
        if (isWord(k, "extends") && baseFrom < 0 && (nameAt < 0 || k > nameAt)) {
            baseFrom = k + 1;
        } else if (isWord(k, "implements")) {
            if (baseFrom >= 0 && baseTo < 0)
                baseTo = k - 1;
        }
        k = isOpener(k) ? closing(k, limit) + 1 : k + 1;
    }
    if (k >= limit || !isPunct(k, '{'))
        return std::nullopt;
    if (baseFrom >= 0 && baseTo < 0)
        baseTo = k - 1;
    const qsizetype close = closing(k, limit);
    Found found;
    found.kind = SKind::klass;
    found.first = qint32(from);
    found.last = qint32(close < limit ? close : limit - 1);
    found.bodyFrom = qint32(at);
    found.bodyTo = found.last;
    found.nameToken = qint32(nameAt);
    if (baseFrom >= 0 && baseTo >= baseFrom) {
        found.more().base = ByteText::collapsed(QByteArrayView(text(baseFrom, baseTo)));
        found.detail = Found::Detail::extends;
    }
    found.children = members(k, close, depth + 1, MemberSyntax::classBody);
    const qsizetype next = found.last + 1;
    return Parsed { std::move(found), next };
}

std::optional<Parser::Parsed> Parser::assignment(
    qsizetype from, qsizetype at, qsizetype limit, int depth, bool declared, qsizetype valueAt)
{
    if (valueAt < 0)
        valueAt = at + 2;
    const bool member = !declared && (isPunct(at - 1, '.') || isPunct(at - 1, '#'));
    if (!declared && (isWord(at - 1, "type") || isWord(at - 1, "interface") || inTypeParameters(at)))
        return std::nullopt; // a TypeScript type or a type parameter's default, not a value
    // obj.count = 0 declares nothing worth a part: for a member only a function, class or object
    // is read, and a plain value's inside is not looked through only to be dropped (which, nested,
    // once made a few hundred bytes take seconds).
    std::optional<Parsed> parsed = value(from, valueAt, limit, depth, !member);
    if (!parsed)
        return std::nullopt;
    Found& found = parsed->found;
    found.nameToken = qint32(at);
    if (found.extra)
        found.extra->name.clear();
    if (!member)
        return parsed;
    // obj.name = value: a function there is a method, or a handler when named on…
    if (isFunctionLike(found.kind)) {
        const QByteArrayView name = text(at);
        if (name.size() > 2 && name.startsWith("on")) {
            const Receiver receiver = element(at - 1);
            Extra& extra = found.more();
            extra.event = ByteText::lowered(name.sliced(2));
            extra.selectors = receiver.selectors;
            extra.tag = receiver.tag;
            extra.detail = ByteText::collapsed(QByteArrayView(text(found.detailFrom, found.detailTo)));
            if (found.detail == Found::Detail::arrow)
                extra.detail += " =>";
            found.kind = SKind::handler;
            found.detail = Found::Detail::extra;
            found.nameToken = -1;
            extra.name = extra.event
                + (receiver.description.isEmpty() ? QByteArray() : " on " + receiver.description);
        } else {
            found.kind = SKind::method;
        }
    }
    return parsed;
}

std::optional<Parser::Parsed> Parser::value(
    qsizetype from, qsizetype at, qsizetype limit, int depth, bool plain)
{
    qsizetype k = at;
    if (isWord(k, "async") && (isWord(k + 1, "function") || isArrowAt(k + 1, limit)))
        ++k;
    std::optional<Parsed> parsed;
    if (isWord(k, "function"))
        parsed = function(from, k, limit, depth);
    else if (isArrowAt(k, limit))
        parsed = arrow(from, k, limit, depth);
    else if (isWord(k, "class"))
        parsed = klass(from, k, limit, depth);
    else if (isPunct(k, '{'))
        parsed = object(from, k, limit, depth);
    if (parsed || !plain)
        return parsed;
    const qsizetype end = expressionEnd(at, limit);
    Found found;
    found.kind = SKind::variable;
    found.first = qint32(from);
    found.last = qint32(std::max(end - 1, from));
    found.bodyFrom = qint32(at);
    found.bodyTo = qint32(end - 1);
    found.detail = Found::Detail::value;
    found.detailFrom = qint32(at);
    found.detailTo = qint32(end - 1);
    found.children = parse(at, end, depth + 1);
    return Parsed { std::move(found), std::max(end, from + 1) };
}

std::optional<Parser::Parsed> Parser::arrow(qsizetype from, qsizetype at, qsizetype limit, int depth)
{
    qsizetype paramsTo = at;
    qsizetype arrowAt = at + 1;
    if (isPunct(at, '(')) {
        paramsTo = closing(at, limit);
        arrowAt = skipType(paramsTo + 1, limit);
    }
    if (arrowAt >= limit || text(arrowAt) != "=>")
        return std::nullopt;
    const qsizetype body = arrowAt + 1;
    Found found;
    found.kind = SKind::arrow;
    found.first = qint32(from);
    found.bodyFrom = qint32(at);
    found.detail = Found::Detail::arrow;
    found.detailFrom = qint32(at);
    found.detailTo = qint32(paramsTo);
    qsizetype next;
    if (isPunct(body, '{')) {
        const qsizetype close = closing(body, limit);
        found.last = qint32(close < limit ? close : limit - 1);
        found.children = parse(body + 1, close, depth + 1);
        next = found.last + 1;
    } else {
        const qsizetype end = expressionEnd(body, limit);
        found.last = qint32(std::max(end - 1, arrowAt));
        found.children = parse(body, end, depth + 1);
        next = found.last + 1;
    }
    found.bodyTo = found.last;
    return Parsed { std::move(found), next };
}

std::optional<Parser::Parsed> Parser::object(qsizetype from, qsizetype at, qsizetype limit, int depth)
{
    const qsizetype close = closing(at, limit);
    Found found;
    found.kind = SKind::object;
    found.first = qint32(from);
    found.last = qint32(close < limit ? close : limit - 1);
    found.bodyFrom = qint32(at);
    found.bodyTo = found.last;
    found.detail = Found::Detail::members;
    found.children = members(at, close, depth + 1, MemberSyntax::objectLiteral);
    const qsizetype next = found.last + 1;
    return Parsed { std::move(found), next };
}

std::optional<Parser::Parsed> Parser::method(
    qsizetype from, qsizetype nameAt, qsizetype paren, qsizetype limit, int depth, ScriptSymbol::Kind kind)
{
    const qsizetype paramsClose = closing(paren, limit);
    if (paramsClose >= limit)
        return std::nullopt;
    const qsizetype open = skipType(paramsClose + 1, limit, true);
    if (open >= limit || !isPunct(open, '{'))
        return std::nullopt;
    const qsizetype close = closing(open, limit);
    Found found;
    found.kind = kind;
    found.first = qint32(from);
    found.last = qint32(close < limit ? close : limit - 1);
    found.bodyFrom = qint32(paren);
    found.bodyTo = found.last;
    found.nameToken = qint32(nameAt);
    found.detail = Found::Detail::tokens;
    found.detailFrom = qint32(paren);
    found.detailTo = qint32(paramsClose);
    found.children = parse(open + 1, close, depth + 1);
    const qsizetype next = found.last + 1;
    return Parsed { std::move(found), next };
}

// Class bodies and object literals list their members the same way: modifiers, a name, then a
// parameter list, a value or nothing. A class body also holds fields and static blocks and separates
// members by ";" or line breaks; an object literal separates them by commas. Anything the scan does
// not know (TypeScript's access modifiers, decorators, index signatures, spreads) is stepped over, so
// it finds its footing again at the next member.
std::vector<Found> Parser::members(qsizetype open, qsizetype close, int depth, MemberSyntax syntax)
{
    std::vector<Found> found;
    if (depth > depthLimit)
        return found;
    const bool inClass = syntax == MemberSyntax::classBody;
    qsizetype j = open + 1;
    while (j < close) {
        if (isPunct(j, ',') || (inClass && isPunct(j, ';'))) {
            ++j;
            continue;
        }
        const qsizetype start = j;
        SKind kind = SKind::method;
        j = memberModifiers(j, kind, syntax);
        if (isPunct(j, '*'))
            ++j;
        if (inClass && isPunct(j, '{') && j > start) {
            j = closing(j, close) + 1; // a static initialisation block
            continue;
        }
        MemberName name;
        if (!memberName(j, close, syntax, name)) {
            j = inClass ? start + 1 : std::max(nextComma(j, close), start + 1);
            continue;
        }
        j = inClass ? classMember(start, j, close, depth, kind, name, found)
                    : objectMember(start, j, close, depth, kind, name, found);
    }
    return found;
}

// Past the words before a member's name that make it static, an accessor or asynchronous; a word
// followed by what follows a name is the name itself.
qsizetype Parser::memberModifiers(qsizetype j, SKind& kind, MemberSyntax syntax) const
{
    const auto accessor = [&kind](QByteArrayView word) {
        if (word == "get")
            kind = SKind::getter;
        else if (word == "set")
            kind = SKind::setter;
    };
    if (syntax == MemberSyntax::objectLiteral) {
        if (isWord(j) && among(text(j), { "get", "set", "async" })
            && (isWord(j + 1) || isPunct(j + 1, '[') || isPunct(j + 1, '*'))) {
            accessor(text(j));
            ++j;
        }
        return j;
    }
    while (isWord(j) && among(text(j), { "static", "get", "set", "async" })
        && !(isPunct(j + 1, '(') || isPunct(j + 1, '=') || isPunct(j + 1, ';') || isPunct(j + 1, '}')
            || isPunct(j + 1, ':'))) {
        accessor(text(j));
        ++j;
    }
    return j;
}

// A member's name: a token, a computed [name] or, in a class, a #private name. Moves j past it.
bool Parser::memberName(qsizetype& j, qsizetype close, MemberSyntax syntax, MemberName& name) const
{
    const bool inClass = syntax == MemberSyntax::classBody;
    const auto namingToken = [&](qsizetype i) {
        const auto kind = [&] { return m_tokens[size_t(i)].kind(); };
        if (inClass)
            return isWord(i) || (i < close && kind() != Token::Kind::punct);
        return i < close && (isWord(i) || kind() == Token::Kind::string || kind() == Token::Kind::number);
    };
    if (inClass && isPunct(j, '#') && isWord(j + 1)) {
        name.text = '#' + text(j + 1).toByteArray();
        j += 2;
    } else if (namingToken(j)) {
        name.at = j++;
    } else if (isPunct(j, '[')) {
        const qsizetype computedClose = closing(j, close);
        name.text = text(j, std::min(computedClose, close - 1));
        j = std::min(computedClose + 1, close);
    } else {
        return false;
    }
    return true;
}

void Parser::MemberName::give(Found& member) const
{
    member.nameToken = qint32(at);
    if (!text.isEmpty())
        member.more().name = text;
}

// A method, a field with a value, or a field without one; j is past the name. Returns where the
// next member may start.
qsizetype Parser::classMember(qsizetype start, qsizetype j, qsizetype close, int depth, SKind kind,
    const MemberName& name, std::vector<Found>& found)
{
    if (isPunct(j, '?') || isPunct(j, '!'))
        ++j;
    if (isPunct(j, '<')) {
        for (int steps = 0; j < close && !isPunct(j, '(') && steps < 64; ++steps)
            ++j; // type parameters of a TypeScript method
    }
    if (isPunct(j, '(')) {
        std::optional<Parsed> parsed = method(start, name.at, j, close, depth, kind);
        if (!parsed)
            return closing(j, close) + 1; // a signature without a body
        name.give(parsed->found);
        found.push_back(std::move(parsed->found));
        return parsed->next;
    }
    j = skipType(j, close);
    if (isPunct(j, '=') && !isPunct(j + 1, '=')) {
        if (std::optional<Parsed> parsed = value(start, j + 1, close, depth)) {
            name.give(parsed->found);
            if (parsed->found.kind == SKind::variable)
                parsed->found.kind = SKind::property;
            found.push_back(std::move(parsed->found));
            return parsed->next;
        }
    }
    if (kind == SKind::method && j > start && (j >= close || isPunct(j, ';') || newlineBefore(j))) {
        Found field; // a field without a value
        field.kind = SKind::property;
        field.first = qint32(start);
        field.last = qint32(j - 1);
        name.give(field);
        found.push_back(std::move(field));
        return j;
    }
    return start + 1;
}

// A method, a property with a value after ":", or a shorthand property; j is past the name. Returns
// where the next member may start.
qsizetype Parser::objectMember(qsizetype start, qsizetype j, qsizetype close, int depth, SKind kind,
    const MemberName& name, std::vector<Found>& found)
{
    if (isPunct(j, '(')) {
        if (std::optional<Parsed> parsed = method(start, name.at, j, close, depth, kind)) {
            name.give(parsed->found);
            found.push_back(std::move(parsed->found));
            j = parsed->next;
        }
    } else if (isPunct(j, ':')) {
        if (std::optional<Parsed> parsed = value(start, j + 1, close, depth)) {
            name.give(parsed->found);
            SKind& memberKind = parsed->found.kind;
            if (isFunctionLike(memberKind))
                memberKind = SKind::method;
            else if (memberKind == SKind::variable)
                memberKind = SKind::property;
            found.push_back(std::move(parsed->found));
            j = parsed->next;
        }
    } else if (name.at >= 0 && (j >= close || isPunct(j, ','))) {
        Found shorthand;
        shorthand.kind = SKind::property;
        shorthand.first = shorthand.last = qint32(name.at);
        name.give(shorthand);
        found.push_back(std::move(shorthand));
    }
    return std::max(nextComma(j, close), start + 1);
}

std::optional<Parser::Parsed> Parser::listener(qsizetype at, qsizetype limit, int depth)
{
    const qsizetype open = at + 1;
    const qsizetype close = closing(open, limit);
    Found found;
    found.kind = SKind::handler;
    found.first = qint32(at);
    found.last = qint32(close < limit ? close : limit - 1);
    found.bodyFrom = qint32(at);
    found.bodyTo = found.last;
    found.detail = Found::Detail::extra;
    Extra& extra = found.more();

    const qsizetype eventAt = open + 1;
    const qsizetype eventEnd = nextComma(eventAt, close);
    if (eventAt < eventEnd) {
        const Token::Kind kind = m_tokens[size_t(eventAt)].kind();
        extra.event = kind == Token::Kind::string || kind == Token::Kind::templateLiteral
            ? ByteText::unquoted(text(eventAt)).toByteArray()
            : text(eventAt, eventEnd - 1);
    }
    const qsizetype handlerAt = eventEnd + 1;
    if (handlerAt < close) {
        qsizetype k = handlerAt;
        if (isWord(k, "async"))
            ++k;
        std::optional<Parsed> inline_;
        if (isWord(k, "function"))
            inline_ = function(handlerAt, k, close, depth);
        else if (isArrowAt(k, close))
            inline_ = arrow(handlerAt, k, close, depth);
        if (inline_) {
            const Found& code = inline_->found;
            extra.detail = ByteText::collapsed(QByteArrayView(text(code.detailFrom, code.detailTo)));
            if (code.detail == Found::Detail::arrow)
                extra.detail += " =>";
            found.children = std::move(inline_->found.children);
        } else {
            // A handler given by name, perhaps as this.name or name.bind(this).
            // The last word outside brackets: this.start.bind(this) gives bind, then start.
            qsizetype nameAt = nextComma(handlerAt, close) - 1;
            while (nameAt >= handlerAt && !isWord(nameAt))
                nameAt = isCloser(nameAt) && m_match[size_t(nameAt)] >= 0 ? m_match[size_t(nameAt)] - 1
                                                                          : nameAt - 1;
            if (isWord(nameAt, "bind") && isPunct(nameAt - 1, '.') && isWord(nameAt - 2))
                nameAt -= 2;
            if (nameAt >= handlerAt) {
                extra.passed.append(text(nameAt).toByteArray());
                extra.detail = text(nameAt).toByteArray();
            }
        }
    }
    const Receiver receiver = isPunct(at - 1, '.') ? element(at - 1) : Receiver {};
    extra.selectors = receiver.selectors;
    extra.tag = receiver.tag;
    extra.name
        = extra.event + (receiver.description.isEmpty() ? QByteArray() : " on " + receiver.description);
    const qsizetype next = found.last + 1;
    return Parsed { std::move(found), next };
}

} // namespace ScriptReader
