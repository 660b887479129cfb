#include "document/native/cparser_p.h"

#include "text/bytetext.h"

namespace CReader {

namespace {

using Kind = Token::Kind;
using SKind = ScriptSymbol::Kind;

using ByteText::among;

bool isHandlerMacro(QByteArrayView word)
{
    return among(word, { "ISR", "SIGNAL", "INTERRUPT", "IRAM_ATTR_ISR" });
}

bool isAccessWord(QByteArrayView word)
{
    return among(word, { "public", "private", "protected", "signals", "slots", "Q_SIGNALS", "Q_SLOTS" });
}

QByteArray detailOf(QByteArrayView text)
{
    constexpr qsizetype window = 8192;
    return ByteText::shortened(ByteText::collapsed(text.first(std::min(text.size(), window))), 81, 78);
}

} // namespace

bool isControl(QByteArrayView word)
{
    return among(word,
        { "if", "for", "while", "switch", "return", "sizeof", "catch", "do", "else", "case", "alignof",
            "alignas", "decltype", "typeid", "static_assert", "defined", "__attribute__", "__declspec",
            "noexcept", "throw", "requires", "typeof", "__typeof__", "_Alignas", "_Static_assert", "co_await",
            "co_return", "co_yield", "__asm__", "asm", "__asm" });
}

Parser::Parser(QByteArrayView source, const std::vector<Token>& tokens, bool cpp)
    : TokenScan(source, tokens)
    , m_cpp(cpp)
{
}

void Parser::run()
{
    block(0, qsizetype(m_tokens.size()), std::nullopt, false, 0);
}

qsizetype Parser::endOfStatement(qsizetype at, qsizetype limit) const
{
    qsizetype i = at;
    while (i < limit && !isPunct(i, ";")) {
        if (isPunct(i, "(") || isPunct(i, "[") || isPunct(i, "{"))
            i = closing(i, limit);
        ++i;
    }
    return std::min(i, limit);
}

void Parser::block(qsizetype from, qsizetype to, Owner owner, bool inRecord, int depth)
{
    qsizetype i = from;
    while (i < to && !full) {
        const Token& token = m_tokens[size_t(i)];
        if (token.kind == Kind::directive) {
            directive(i, owner);
            ++i;
            continue;
        }
        if (token.kind != Kind::word) {
            i = isPunct(i, "{") ? closing(i, to) + 1 : i + 1;
            continue;
        }
        const QByteArrayView word = text(i);
        if (inRecord && isAccessWord(word)) {
            qsizetype colon = i + 1;
            while (colon < to && colon < i + 3 && isWord(colon))
                ++colon;
            if (isPunct(colon, ":")) {
                i = colon + 1;
                continue;
            }
        }
        if (m_cpp && word == "inline" && isWord(i + 1, "namespace")) {
            ++i;
        } else if (m_cpp && word == "namespace") {
            i = namespaceBlock(i, to, owner, depth);
        } else if (word == "extern" && i + 2 < to && m_tokens[size_t(i + 1)].kind == Kind::string
            && isPunct(i + 2, "{")) {
            const qsizetype close = closing(i + 2, to);
            block(i + 3, close, owner, inRecord, depth); // extern "C" { … } adds no level
            i = close + 1;
        } else if (m_cpp && word == "template") {
            i = isPunct(i + 1, "<") ? skipAngles(i + 1, to) : i + 1;
        } else if (word == "typedef") {
            i = typedefinition(i, to, owner, depth);
        } else if (among(word, { "using", "friend", "static_assert", "_Static_assert" })) {
            i = endOfStatement(i, to) + 1;
        } else if (among(word, { "struct", "union", "enum" }) || (m_cpp && word == "class")) {
            if (const std::optional<Record> found = record(i, to, owner, inRecord, depth)) {
                // struct { … } name; inside a record declares a field of that record.
                const qsizetype after = found->close + 1;
                const qsizetype end = endOfStatement(after, to);
                if (inRecord && owner && end > after)
                    fields(after, end, *owner);
                i = end + 1;
            } else {
                i = statement(i, to, owner, inRecord);
            }
        } else {
            i = statement(i, to, owner, inRecord);
        }
    }
}

void Parser::directive(qsizetype at, Owner owner)
{
    const QByteArrayView line = text(at);
    qsizetype k = 1;
    while (k < line.size() && (line[k] == ' ' || line[k] == '\t'))
        ++k;
    qsizetype wordEnd = k;
    while (wordEnd < line.size() && ByteText::isLetter(line[wordEnd]))
        ++wordEnd;
    const QByteArrayView keyword = line.sliced(k, wordEnd - k);
    QByteArrayView rest = line.sliced(wordEnd).trimmed();
    if (keyword == "include" || keyword == "import" || keyword == "include_next") {
        if (rest.size() < 2 || (rest[0] != '<' && rest[0] != '"'))
            return; // a computed include names no file
        const char close = rest[0] == '<' ? '>' : '"';
        const qsizetype end = rest.indexOf(close, 1);
        includes.push_back({ rest.sliced(1, (end < 0 ? rest.size() : end) - 1).toByteArray(),
            m_tokens[size_t(at)].line, rest[0] == '<' });
    } else if (keyword == "define") {
        qsizetype nameEnd = 0;
        while (nameEnd < rest.size() && ByteText::isWordByte(rest[nameEnd]))
            ++nameEnd;
        if (nameEnd == 0)
            return;
        NativeSymbol macro;
        const bool functionLike = nameEnd < rest.size() && rest[nameEnd] == '(';
        macro.symbol.kind = functionLike ? SKind::function : SKind::variable;
        macro.symbol.name = rest.first(nameEnd).toByteArray();
        macro.symbol.detail = "macro";
        span(macro.symbol, at, at);
        add(std::move(macro), owner);
    }
}

qsizetype Parser::namespaceBlock(qsizetype at, qsizetype limit, Owner owner, int depth)
{
    qsizetype k = at + 1;
    QByteArray name;
    while (k < limit && (isWord(k) || isPunct(k, "::"))) {
        name += text(k);
        ++k;
    }
    while (k < limit && isPunct(k, "[") && isPunct(k + 1, "["))
        k = closing(k, limit) + 1;
    if (!isPunct(k, "{"))
        return endOfStatement(k, limit) + 1; // an alias, namespace a = b;
    const qsizetype close = closing(k, limit);
    if (depth + 1 > depthLimit)
        return close + 1;
    NativeSymbol space;
    space.symbol.kind = SKind::object;
    space.symbol.name = name.isEmpty() ? QByteArray("(anonymous namespace)") : name;
    space.symbol.detail = "namespace";
    span(space.symbol, at, close);
    const qsizetype id = add(std::move(space), owner);
    block(k + 1, close, id, false, depth + 1);
    return close + 1;
}

// A record with a body: class, struct, union or enum. Without a body it is a type in a declaration,
// and the caller reads the statement.
std::optional<Parser::Record> Parser::record(
    qsizetype at, qsizetype limit, Owner owner, bool inRecord, int depth)
{
    const QByteArrayView keyword = text(at);
    const bool isEnum = keyword == "enum";
    qsizetype k = at + 1;
    if (isEnum && (isWord(k, "class") || isWord(k, "struct")))
        ++k;
    qsizetype nameAt = -1;
    while (k < limit) {
        if (isWord(k, "final")) {
            ++k;
        } else if (isWord(k) && among(text(k), { "alignas", "__attribute__", "__declspec" })
            && isPunct(k + 1, "(")) {
            k = closing(k + 1, limit) + 1;
        } else if (isWord(k)) {
            nameAt = k++;
        } else if (isPunct(k, "[") && isPunct(k + 1, "[")) {
            k = closing(k, limit) + 1;
        } else if (isPunct(k, "<") && nameAt >= 0) {
            k = skipAngles(k, limit);
        } else if (isPunct(k, "::")) {
            ++k;
        } else {
            break;
        }
    }
    QByteArray base;
    if (isPunct(k, ":")) {
        // The first base class: its last word outside template arguments.
        ++k;
        while (k < limit && !isPunct(k, "{") && !isPunct(k, ";") && !isPunct(k, ",")) {
            if (isPunct(k, "<")) {
                k = skipAngles(k, limit);
                continue;
            }
            if (isWord(k) && !among(text(k), { "public", "private", "protected", "virtual" }) && !isEnum)
                base = text(k).toByteArray();
            ++k;
        }
        while (k < limit && !isPunct(k, "{") && !isPunct(k, ";"))
            k = isPunct(k, "(") ? closing(k, limit) + 1 : k + 1;
    }
    if (!isPunct(k, "{"))
        return std::nullopt;
    const qsizetype close = closing(k, limit);
    NativeSymbol record;
    record.symbol.kind = SKind::klass;
    record.symbol.name
        = nameAt >= 0 ? text(nameAt).toByteArray() : "(anonymous " + keyword.toByteArray() + ')';
    record.symbol.base = base;
    record.member = inRecord;
    span(record.symbol, at, close);
    const qsizetype id = add(std::move(record), owner);
    if (depth + 1 <= depthLimit) {
        if (isEnum)
            enumerators(k, close, id);
        else
            block(k + 1, close, id, true, depth + 1);
    }
    qsizetype fieldCount = 0;
    for (const qsizetype child : tree[id].children)
        fieldCount += tree[child].symbol.kind == SKind::property;
    tree[id].symbol.detail = QByteArray::number(fieldCount) + (isEnum ? " values" : " fields");
    return Record { id, close };
}

void Parser::enumerators(qsizetype open, qsizetype close, qsizetype owner)
{
    qsizetype k = open + 1;
    while (k < close && !full) {
        qsizetype end = k;
        while (end < close && !isPunct(end, ",")) {
            if (isPunct(end, "(") || isPunct(end, "[") || isPunct(end, "{"))
                end = closing(end, close);
            ++end;
        }
        end = std::min(end, close); // a bracket left open ends with the list

        if (isWord(k)) {
            NativeSymbol value;
            value.symbol.kind = SKind::property;
            value.symbol.name = text(k).toByteArray();
            value.member = true;
            if (isPunct(k + 1, "=") && k + 2 < end)
                value.symbol.detail = detailOf(text(k + 2, end - 1));
            span(value.symbol, k, end - 1);
            add(std::move(value), owner);
        }
        k = end + 1;
    }
}

qsizetype Parser::typedefinition(qsizetype at, qsizetype limit, Owner owner, int depth)
{
    qsizetype k = at + 1;
    while (isWord(k, "const") || isWord(k, "volatile"))
        ++k;
    if (isWord(k) && (among(text(k), { "struct", "union", "enum" }) || (m_cpp && text(k) == "class"))) {
        if (const std::optional<Record> found = record(k, limit, owner, false, depth)) {
            const qsizetype end = endOfStatement(found->close + 1, limit);
            // The name the typedef gives; a nameless record takes it.
            qsizetype alias = end - 1;
            while (alias > found->close && !isWord(alias))
                --alias;
            ScriptSymbol& symbol = tree[found->id].symbol;
            if (alias > found->close && symbol.name.startsWith("(anonymous "))
                symbol.name = text(alias).toByteArray();
            span(symbol, at, end);
            return end + 1;
        }
    }
    return endOfStatement(at, limit) + 1;
}

bool Parser::isFunctionHead(qsizetype paren) const
{
    const qsizetype before = paren - 1;
    if (isWord(before))
        return !isControl(text(before));
    if (isPunct(before, ")") && isPunct(before - 1, "(") && isWord(before - 2, "operator"))
        return true; // operator()(…)
    // operator==, operator<< …
    for (qsizetype k = before; k >= 0 && k >= before - 3; --k) {
        if (isWord(k))
            return text(k) == "operator";
        if (m_tokens[size_t(k)].kind != Kind::punct || isPunct(k, ")") || isPunct(k, ";") || isPunct(k, "}"))
            return false;
    }
    return false;
}

std::pair<QByteArray, QByteArray> Parser::functionName(qsizetype paren) const
{
    qsizetype k = paren - 1;
    QByteArray name;
    if (isPunct(k, ")") && isPunct(k - 1, "(") && isWord(k - 2, "operator")) {
        name = "operator()";
        k -= 2;
    } else if (isWord(k)) {
        name = text(k).toByteArray();
        if (isPunct(k - 1, "~")) {
            name.prepend('~');
            --k;
        }
    } else {
        qsizetype word = k;
        while (word >= 0 && !isWord(word))
            --word;
        name = text(word, k).replace(' ', QByteArray());
        k = word;
    }
    QByteArray qualifier;
    if (isPunct(k - 1, "::")) {
        qsizetype owner = k - 2;
        if (isPunct(owner, ">")) {
            // Foo<T>::bar: back over the template arguments
            qsizetype depth = 0;
            for (; owner >= 0 && owner > k - 256; --owner) {
                if (isPunct(owner, ">"))
                    ++depth;
                else if (isPunct(owner, "<") && --depth == 0)
                    break;
            }
            --owner;
        }
        if (isWord(owner))
            qualifier = text(owner).toByteArray();
    }
    return { name, qualifier };
}

// A declaration at namespace or record level: a function definition when a parameter list is
// followed by a body (after qualifiers, a trailing return type or a constructor's initialisers);
// fields in a record; anything else is passed over.
qsizetype Parser::statement(qsizetype at, qsizetype limit, Owner owner, bool inRecord)
{
    qsizetype head = at;
    qsizetype candidate = -1;
    bool assigned = false;
    qsizetype j = at;
    while (j < limit) {
        const Token& token = m_tokens[size_t(j)];
        if (token.kind == Kind::directive)
            return j;
        if (isPunct(j, ";")) {
            if (inRecord && owner)
                fields(head, j, *owner);
            return j + 1;
        }
        if (isPunct(j, "}"))
            return j;
        if (isPunct(j, "{")) {
            const qsizetype close = closing(j, limit);
            if (candidate >= 0 && !assigned) {
                function(head, candidate, j, close, owner, inRecord);
                return isPunct(close + 1, ";") ? close + 2 : close + 1;
            }
            j = close + 1; // an initialiser
            continue;
        }
        if (isPunct(j, "=") && candidate < 0) {
            qsizetype back = j - 1;
            while (back > at && back > j - 3 && m_tokens[size_t(back)].kind == Kind::punct)
                --back;
            assigned = !isWord(back, "operator");
        } else if (isPunct(j, "[")) {
            j = closing(j, limit) + 1;
            continue;
        } else if (isPunct(j, "(")) {
            const qsizetype close = closing(j, limit);
            if (!assigned && isFunctionHead(j) && !(isWord(j - 1, "operator") && isPunct(j + 1, ")"))) {
                if (candidate >= 0)
                    head = std::min(closing(candidate, limit) + 1, j); // after a macro such as DECLARE(x)
                candidate = j;
                if (isPunct(close + 1, ":")) {
                    // A constructor's initialisers: name(…) or name{…}, separated by commas.
                    qsizetype k = close + 2;
                    while (k < limit) {
                        while (k < limit && (isWord(k) || isPunct(k, "::")))
                            ++k;
                        if (isPunct(k, "<"))
                            k = skipAngles(k, limit);
                        if (!isPunct(k, "(") && !isPunct(k, "{"))
                            break;
                        k = closing(k, limit) + 1;
                        if (!isPunct(k, ","))
                            break;
                        ++k;
                    }
                    if (isPunct(k, "{")) {
                        j = k;
                        continue;
                    }
                }
            }
            j = close + 1;
            continue;
        } else if (inRecord && j > at && isWord(j) && isAccessWord(text(j)) && isPunct(j + 1, ":")) {
            return j; // a macro such as Q_OBJECT, with no semicolon, before an access label
        }
        ++j;
    }
    return std::max(j, at + 1);
}

void Parser::function(
    qsizetype from, qsizetype paren, qsizetype body, qsizetype close, Owner owner, bool inRecord)
{
    NativeSymbol function;
    const qsizetype paramsClose = closing(paren, close);
    if (isWord(paren - 1) && isHandlerMacro(text(paren - 1))) {
        // ISR(TIMER1_COMPA_vect) { … }: named by its vector
        function.viaMacro = true;
        function.symbol.name
            = isWord(paren + 1) ? text(paren + 1).toByteArray() : text(paren - 1).toByteArray();
    } else {
        auto [name, qualifier] = functionName(paren);
        function.symbol.name = name;
        if (!inRecord)
            function.qualifier = qualifier;
    }
    function.symbol.kind = inRecord ? SKind::method : SKind::function;
    function.member = inRecord;
    function.symbol.detail = detailOf(text(paren, paramsClose));
    span(function.symbol, from, close);
    fill(body, close, function);
    add(std::move(function), owner);
}

void Parser::fields(qsizetype from, qsizetype semicolon, qsizetype owner)
{
    if (tree[owner].symbol.kind != SKind::klass || from >= semicolon)
        return;
    // Declarators split at top-level commas; a method's declaration (a name before "(") is no field,
    // but a function pointer, (*name)(…), is.
    std::vector<std::pair<qsizetype, qsizetype>> declarators;
    qsizetype start = from;
    qsizetype angles = 0;
    for (qsizetype k = from; k < semicolon; ++k) {
        if (isPunct(k, "(") || isPunct(k, "[") || isPunct(k, "{")) {
            if (angles == 0 && isPunct(k, "(") && isFunctionHead(k) && !isPunct(k + 1, "*"))
                return;
            k = closing(k, semicolon);
        } else if (isPunct(k, "<")) {
            ++angles;
        } else if (isPunct(k, ">") && angles > 0) {
            --angles;
        } else if (isPunct(k, ",") && angles == 0) {
            declarators.emplace_back(start, k);
            start = k + 1;
        }
    }
    declarators.emplace_back(start, semicolon);
    QByteArray type;
    for (size_t d = 0; d < declarators.size() && !full; ++d) {
        auto [begin, end] = declarators[d];
        // The name is the last word before an initialiser, a bit width or array bounds.
        qsizetype nameEnd = end;
        for (qsizetype k = begin; k < end; ++k) {
            if (isPunct(k, "=") || isPunct(k, ":") || isPunct(k, "{") || isPunct(k, "[")) {
                nameEnd = k;
                break;
            }
            if (isPunct(k, "(") && isPunct(k + 1, "*")) {
                nameEnd = closing(k, end); // (*name)
                break;
            }
        }
        qsizetype name = nameEnd - 1;
        while (name >= begin && !isWord(name))
            --name;
        if (name < begin)
            continue;
        if (d == 0) {
            qsizetype typeEnd = name - 1;
            while (
                typeEnd >= begin && (isPunct(typeEnd, "*") || isPunct(typeEnd, "&") || isPunct(typeEnd, "(")))
                --typeEnd;
            type = typeEnd >= begin ? detailOf(text(begin, typeEnd)) : QByteArray();
        }
        NativeSymbol field;
        field.symbol.kind = SKind::property;
        field.symbol.name = text(name).toByteArray();
        field.symbol.detail = type;
        field.member = true;
        span(field.symbol, begin, end - 1);
        add(std::move(field), owner);
    }
}

} // namespace CReader
