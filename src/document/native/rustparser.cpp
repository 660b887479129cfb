#include "document/native/rustparser_p.h"

#include "text/bytetext.h"

namespace RustReader {

namespace {

using Kind = Token::Kind;
using SKind = ScriptSymbol::Kind;

using ByteText::among;

} // namespace

Parser::Parser(QByteArrayView source, const std::vector<Token>& tokens)
    : TokenScan(source, tokens)
{
}

// Past the ";" or the braced body that ends an item.
qsizetype Parser::endOfItem(qsizetype at, qsizetype limit) const
{
    qsizetype i = at;
    while (i < limit) {
        if (isPunct(i, ";"))
            return i + 1;
        if (isPunct(i, "{"))
            return closing(i, limit) + 1;
        if (isPunct(i, "(") || isPunct(i, "["))
            i = closing(i, limit);
        ++i;
    }
    return limit;
}

void Parser::items(qsizetype from, qsizetype to, Owner owner, bool inTrait, int depth)
{
    m_attributes.clear();
    qsizetype i = from;
    while (i < to && !full) {
        if (const std::optional<qsizetype> past = attribute(i, to)) {
            i = *past;
            continue;
        }
        if (!isWord(i)) {
            if (isPunct(i, "{"))
                i = closing(i, to);
            ++i;
            m_attributes.clear();
            continue;
        }
        const qsizetype start = i;
        const qsizetype k = itemKeyword(i, to);
        const QByteArrayView word = isWord(k) ? text(k) : QByteArrayView();
        if (word == "fn") {
            i = function(start, k, to, owner, owner.has_value() && inTrait);
        } else if (among(word, { "struct", "enum", "union" }) && isWord(k + 1)) {
            i = record(start, k, to, owner);
        } else if (word == "trait" && isWord(k + 1)) {
            i = trait(start, k, to, owner, depth);
        } else if (word == "impl") {
            i = implementation(k, to, owner, depth);
        } else if (word == "mod" && isWord(k + 1)) {
            i = module(start, k, to, owner, depth);
        } else if (word == "use" || (word == "extern" && isWord(k + 1, "crate"))) {
            i = useDeclaration(k, word == "use" ? k + 1 : k + 2, to);
        } else if (word == "macro_rules" && isPunct(k + 1, "!") && isWord(k + 2)) {
            i = macroDefinition(start, k, to, owner);
        } else if ((word == "const" || word == "static") && isWord(k + 1)) {
            i = constant(start, k, to, owner);
        } else {
            i = k > i ? k : i + 1;
            if (word.isEmpty() || !among(word, { "type", "where" }))
                continue;
            i = endOfItem(k, to);
        }
        m_attributes.clear();
    }
}

// Past an attribute #[…] or #![…] at `at`; the outer ones are kept for the item they stand before.
std::optional<qsizetype> Parser::attribute(qsizetype at, qsizetype limit)
{
    if (!isPunct(at, "#"))
        return std::nullopt;
    const qsizetype open = isPunct(at + 1, "!") ? at + 2 : at + 1;
    if (!isPunct(open, "["))
        return std::nullopt;
    const qsizetype close = closing(open, limit);
    if (open == at + 1)
        m_attributes.emplace_back(open, close);
    return close + 1;
}

// The item's keyword, past the visibility and qualifiers written before it.
qsizetype Parser::itemKeyword(qsizetype at, qsizetype limit) const
{
    qsizetype k = at;
    for (;;) {
        if (isWord(k, "pub")) {
            k = isPunct(k + 1, "(") ? closing(k + 1, limit) + 1 : k + 1;
        } else if (isWord(k) && among(text(k), { "async", "unsafe", "default", "const" }) && isWord(k + 1)
            && among(text(k + 1), { "fn", "unsafe", "async", "extern", "impl", "trait" })) {
            ++k;
        } else if (isWord(k, "extern")
            && (m_tokens.size() > size_t(k + 1) && m_tokens[size_t(k + 1)].kind == Kind::string)
            && isWord(k + 2, "fn")) {
            k += 2;
        } else {
            return k;
        }
    }
}

// use a::b::{c, d}; or extern crate name;: an include of the path as written.
qsizetype Parser::useDeclaration(qsizetype keyword, qsizetype pathFrom, qsizetype limit)
{
    qsizetype end = keyword; // past the ";", over any {…} list of names
    while (end < limit && !isPunct(end, ";"))
        end = isPunct(end, "{") ? closing(end, limit) + 1 : end + 1;
    end = std::min(end + 1, limit);
    // The path as written, spaced only between words: std::{io, fs} gives std::{io,fs}.
    QByteArray path;
    for (qsizetype t = pathFrom; t < end - 1; ++t) {
        if (t > pathFrom && isWord(t) && isWord(t - 1))
            path += ' ';
        path += text(t);
    }
    if (path.startsWith("::"))
        path = path.sliced(2);
    const bool local = path.startsWith("crate") || path.startsWith("self") || path.startsWith("super");
    if (!path.isEmpty())
        includes.push_back({ path, m_tokens[size_t(keyword)].line, !local });
    return end;
}

// macro_rules! name { … }
qsizetype Parser::macroDefinition(qsizetype from, qsizetype at, qsizetype limit, Owner owner)
{
    NativeSymbol macro;
    macro.symbol.kind = SKind::function;
    macro.symbol.name = text(at + 2).toByteArray();
    macro.symbol.detail = "macro";
    const qsizetype end = endOfItem(at + 3, limit);
    span(macro.symbol, from, end - 1);
    add(std::move(macro), owner);
    return end;
}

// A const or static item with its type; inside impl blocks and traits, associated constants are
// passed over.
qsizetype Parser::constant(qsizetype from, qsizetype at, qsizetype limit, Owner owner)
{
    qsizetype name = at + 1;
    if (isWord(name, "mut"))
        ++name;
    const qsizetype end = endOfItem(at, limit);
    if (m_implDepth > 0 || (owner && tree[*owner].member))
        return end;
    NativeSymbol constant;
    constant.symbol.kind = SKind::variable;
    constant.symbol.name = text(name).toByteArray();
    const qsizetype colon = isPunct(name + 1, ":") ? name + 2 : -1;
    qsizetype typeEnd = colon;
    while (typeEnd >= 0 && typeEnd < end && !isPunct(typeEnd, "=") && !isPunct(typeEnd, ";"))
        ++typeEnd;
    if (colon >= 0 && typeEnd > colon)
        constant.symbol.detail = ByteText::collapsed(text(colon, typeEnd - 1));
    span(constant.symbol, from, end - 1);
    add(std::move(constant), owner);
    return end;
}

qsizetype Parser::function(qsizetype from, qsizetype at, qsizetype limit, Owner owner, bool member)
{
    const std::vector<std::pair<qsizetype, qsizetype>> attributes = std::move(m_attributes);
    m_attributes.clear();
    if (!isWord(at + 1))
        return at + 1;
    qsizetype k = at + 2;
    if (isPunct(k, "<"))
        k = skipAngles(k, limit);
    if (!isPunct(k, "("))
        return endOfItem(k, limit);
    const qsizetype paramsClose = closing(k, limit);
    qsizetype body = paramsClose + 1;
    while (body < limit && !isPunct(body, "{") && !isPunct(body, ";")) {
        if (isPunct(body, "<"))
            body = skipAngles(body, limit);
        else if (isPunct(body, "(") || isPunct(body, "["))
            body = closing(body, limit) + 1;
        else
            ++body;
    }
    if (!isPunct(body, "{"))
        return std::min(limit, body + 1); // a declaration without a body
    const qsizetype close = closing(body, limit);
    NativeSymbol function;
    function.symbol.kind = member ? SKind::method : SKind::function;
    function.member = member;
    function.symbol.name = text(at + 1).toByteArray();
    function.symbol.detail
        = ByteText::shortened(ByteText::collapsed(text(k, paramsClose).left(8192)), 81, 78);
    span(function.symbol, from, close);
    for (const auto& [open, attributeClose] : attributes) {
        if (const std::optional<AttributeEvent> marked = attributeEvent(open, attributeClose)) {
            function.symbol.kind = SKind::handler;
            function.symbol.event = marked->event;
            if (!marked->detail.isEmpty())
                function.symbol.detail = marked->detail;
            break;
        }
    }
    if (!member && !owner && function.symbol.kind != SKind::handler && function.symbol.name == "main") {
        function.symbol.kind = SKind::handler;
        function.symbol.event = "start";
    }
    fill(body, close, function);
    add(std::move(function), owner);
    return close + 1;
}

std::optional<AttributeEvent> Parser::attributeEvent(qsizetype open, qsizetype close) const
{
    // The last segment of the attribute's path: tokio::main gives main.
    const qsizetype name = lastOfPath(open + 1);
    if (!isWord(name) || name >= close)
        return std::nullopt;
    const QByteArrayView word = text(name);
    if (word == "test" || word == "rstest")
        return AttributeEvent { "test", {} };
    if (word == "bench")
        return AttributeEvent { "bench", {} };
    if (word == "main" || word == "entry")
        return AttributeEvent { "start", {} };
    if (word == "interrupt" || word == "exception")
        return AttributeEvent { "interrupt", {} };
    if (word == "panic_handler")
        return AttributeEvent { "panic", {} };
    if (word == "wasm_bindgen" && isPunct(name + 1, "(") && isWord(name + 2, "start"))
        return AttributeEvent { "start", {} };
    if (among(word, { "get", "post", "put", "delete", "patch", "head", "options", "route" })) {
        AttributeEvent route { word.toByteArray(), "route" };
        for (qsizetype k = name + 1; k < close; ++k) {
            if (m_tokens[size_t(k)].kind == Kind::string) {
                route.detail += ' ' + text(k).toByteArray();
                break;
            }
        }
        return route;
    }
    return std::nullopt;
}

qsizetype Parser::record(qsizetype from, qsizetype at, qsizetype limit, Owner owner)
{
    m_attributes.clear();
    const bool isEnum = text(at) == "enum";
    qsizetype k = at + 2;
    if (isPunct(k, "<"))
        k = skipAngles(k, limit);
    while (k < limit && !isPunct(k, "{") && !isPunct(k, "(") && !isPunct(k, ";"))
        k = isPunct(k, "<") ? skipAngles(k, limit) : k + 1; // a where clause
    NativeSymbol record;
    record.symbol.kind = SKind::klass;
    record.symbol.name = text(at + 1).toByteArray();
    qsizetype end = std::min(k, limit - 1);
    if (isPunct(k, "{") || isPunct(k, "("))
        end = closing(k, limit);
    span(record.symbol, from, std::max(end, at));
    const qsizetype id = add(std::move(record), owner);
    if (isPunct(k, "{") || isPunct(k, "("))
        fields(k, end, id, isEnum);
    qsizetype count = 0;
    for (const qsizetype child : tree[id].children)
        count += tree[child].symbol.kind == SKind::property;
    tree[id].symbol.detail = QByteArray::number(count) + (isEnum ? " variants" : " fields");
    return isPunct(k, "(") ? endOfItem(end + 1, limit) : std::min(limit, end + 1);
}

// Named fields, tuple fields (named by position) or enum variants, between commas.
void Parser::fields(qsizetype open, qsizetype close, qsizetype owner, bool variants)
{
    const bool tuple = isPunct(open, "(");
    qsizetype position = 0;
    qsizetype k = open + 1;
    while (k < close && !full) {
        qsizetype end = k;
        while (end < close && !isPunct(end, ",")) {
            if (isPunct(end, "<"))
                end = skipAngles(end, close) - 1;
            else if (isPunct(end, "(") || isPunct(end, "[") || isPunct(end, "{"))
                end = closing(end, close);
            ++end;
        }
        end = std::min(end, close); // a bracket left open ends with the list

        qsizetype name = k;
        while (name < end && isPunct(name, "#") && isPunct(name + 1, "["))
            name = closing(name + 1, end) + 1;
        if (isWord(name, "pub"))
            name = isPunct(name + 1, "(") ? closing(name + 1, end) + 1 : name + 1;
        if (name < end) {
            NativeSymbol field;
            field.symbol.kind = SKind::property;
            field.member = true;
            if (tuple) {
                field.symbol.name = QByteArray::number(position);
                field.symbol.detail = ByteText::collapsed(text(name, end - 1));
            } else if (isWord(name)) {
                field.symbol.name = text(name).toByteArray();
                if (!variants && isPunct(name + 1, ":") && name + 2 < end)
                    field.symbol.detail = ByteText::collapsed(text(name + 2, end - 1));
            }
            if (!field.symbol.name.isEmpty()) {
                span(field.symbol, name, end - 1);
                add(std::move(field), owner);
            }
            ++position;
        }
        k = end + 1;
    }
}

qsizetype Parser::trait(qsizetype from, qsizetype at, qsizetype limit, Owner owner, int depth)
{
    m_attributes.clear();
    qsizetype k = at + 2;
    if (isPunct(k, "<"))
        k = skipAngles(k, limit);
    QByteArray base;
    if (isPunct(k, ":") && isWord(k + 1)) {
        base = text(lastOfPath(k + 1)).toByteArray();
    }
    while (k < limit && !isPunct(k, "{") && !isPunct(k, ";"))
        k = isPunct(k, "<") ? skipAngles(k, limit) : k + 1;
    if (!isPunct(k, "{"))
        return std::min(limit, k + 1);
    const qsizetype close = closing(k, limit);
    NativeSymbol trait;
    trait.symbol.kind = SKind::klass;
    trait.symbol.name = text(at + 1).toByteArray();
    trait.symbol.detail = "trait";
    trait.symbol.base = base;
    span(trait.symbol, from, close);
    const qsizetype id = add(std::move(trait), owner);
    tree[id].member = true; // its functions are methods
    if (depth + 1 <= depthLimit)
        items(k + 1, close, id, true, depth + 1);
    tree[id].member = false;
    return close + 1;
}

// impl [<…>] [Trait for] Type [where …] { … }: the functions are Type's methods, attached to it
// once the whole file is read, wherever Type is declared.
qsizetype Parser::implementation(qsizetype at, qsizetype limit, Owner owner, int depth)
{
    m_attributes.clear();
    qsizetype k = at + 1;
    if (isPunct(k, "<"))
        k = skipAngles(k, limit);
    qsizetype typeName = -1;
    while (k < limit && !isPunct(k, "{") && !isPunct(k, ";") && !isWord(k, "where")) {
        if (isWord(k, "for")) {
            typeName = -1; // what came before was the trait
        } else if (isWord(k) && !among(text(k), { "dyn", "mut", "const", "unsafe" })) {
            typeName = k;
        } else if (isPunct(k, "<")) {
            k = skipAngles(k, limit);
            continue;
        }
        ++k;
    }
    while (k < limit && !isPunct(k, "{") && !isPunct(k, ";"))
        k = isPunct(k, "<") ? skipAngles(k, limit) : k + 1;
    if (!isPunct(k, "{"))
        return std::min(limit, k + 1);
    const qsizetype close = closing(k, limit);
    if (depth + 1 > depthLimit || typeName < 0)
        return close + 1;
    const qsizetype before = tree.size();
    ++m_implDepth;
    items(k + 1, close, owner, false, depth + 1);
    --m_implDepth;
    for (qsizetype id = before; id < tree.size(); ++id) {
        if (tree[id].parent == owner && tree.isFunction(id))
            tree[id].qualifier = text(typeName).toByteArray();
    }
    return close + 1;
}

qsizetype Parser::module(qsizetype from, qsizetype at, qsizetype limit, Owner owner, int depth)
{
    m_attributes.clear();
    const qsizetype open = at + 2;
    if (!isPunct(open, "{")) {
        includes.push_back({ text(at + 1).toByteArray(), m_tokens[size_t(at)].line, false });
        return endOfItem(open, limit);
    }
    const qsizetype close = closing(open, limit);
    NativeSymbol module;
    module.symbol.kind = SKind::object;
    module.symbol.name = text(at + 1).toByteArray();
    module.symbol.detail = "module";
    span(module.symbol, from, close);
    const qsizetype id = add(std::move(module), owner);
    if (depth + 1 <= depthLimit)
        items(open + 1, close, id, false, depth + 1);
    return close + 1;
}

} // namespace RustReader
