#include "document/markup/markupreader.h"
#include "document/script/scriptreader.h"
#include "document/style/stylereader.h"
#include "document/webreader.h"
#include "text/bytetext.h"

namespace WebReader {

namespace {

using Node = WebDocument::Node;
using SKind = ScriptSymbol::Kind;
using ByteText::lineCount;

QStringList texts(const QByteArrayList& list)
{
    QStringList out;
    out.reserve(list.size());
    for (const QByteArray& item : list)
        out.append(QString::fromUtf8(item));
    return out;
}

WebRole roleOf(StyleRule::Kind kind)
{
    switch (kind) {
    case StyleRule::Kind::rule: return WebRole::rule;
    case StyleRule::Kind::keyframes: return WebRole::keyframes;
    case StyleRule::Kind::media:
    case StyleRule::Kind::supports:
    case StyleRule::Kind::atRule:
    case StyleRule::Kind::statement: return WebRole::atRule;
    }
    return WebRole::rule;
}

WebRole roleOf(SKind kind, bool inClass)
{
    switch (kind) {
    case SKind::function:
    case SKind::arrow: return inClass ? WebRole::method : WebRole::function;
    case SKind::klass: return WebRole::klass;
    case SKind::method:
    case SKind::getter:
    case SKind::setter: return WebRole::method;
    case SKind::object: return WebRole::object;
    case SKind::property: return WebRole::variable;
    case SKind::handler: return WebRole::handler;
    case SKind::variable: return WebRole::variable;
    }
    return WebRole::variable;
}

// Script blocks of these types hold code; others (templates, data, shaders) are shown unread.
bool holdsScript(const QByteArray& type)
{
    const QByteArray lowered = type.trimmed().toLower();
    return lowered.isEmpty() || lowered == "module" || lowered.contains("javascript")
        || lowered.contains("ecmascript") || lowered.contains("babel") || lowered.contains("jsx")
        || lowered.contains("typescript");
}

// The name after an at-keyword: "@keyframes spin" gives spin.
QString animationName(const QString& prelude)
{
    const QStringList words = prelude.split(u' ', Qt::SkipEmptyParts);
    return words.size() > 1 ? words[1] : QString();
}

} // namespace

QString Builder::counted(qsizetype count, const char* one, const char* many)
{
    return QString::number(count) + QLatin1String(count == 1 ? one : many);
}

void Builder::reserve(qsizetype count)
{
    document.nodes.reserve(document.nodes.size() + size_t(count));
    m_scope.reserve(m_scope.size() + size_t(count));
}

Builder::Id Builder::add(Node node, Parent parent)
{
    const Id id = Id(document.nodes.size());
    node.id = id;
    node.parent = parent;
    node.depth = parent ? document.nodes[size_t(*parent)].depth + 1 : 0;
    document.nodes.push_back(std::move(node));
    m_scope.push_back(parent);
    if (parent)
        document.nodes[size_t(*parent)].children.append(id);
    else
        document.roots.append(id);
    return id;
}

Builder::Id Builder::addElement(const MarkupElement& top, Parent topParent)
{
    // Pages nest thousands deep at times: walked with a stack of our own.
    std::vector<std::pair<const MarkupElement*, Parent>> pending { { &top, topParent } };
    std::optional<Id> first;
    while (!pending.empty()) {
        const auto [element, parent] = pending.back();
        pending.pop_back();
        Node node;
        node.stream = WebStream::markup;
        node.name = QString::fromUtf8(element->name());
        node.tag = QString::fromUtf8(element->tag);
        node.line = element->line;
        node.endLine = element->endLine;
        node.handlers = texts(element->handlers);
        switch (element->kind) {
        case MarkupElement::Kind::element:
            node.role = WebRole::element;
            node.detail = QString::fromUtf8(element->text);
            break;
        case MarkupElement::Kind::script:
        case MarkupElement::Kind::style:
            node.role = WebRole::element;
            node.detail = counted(element->code.isEmpty() ? 0 : lineCount(element->code), " line", " lines");
            break;
        case MarkupElement::Kind::link:
            node.role = WebRole::external;
            node.name = QString::fromUtf8(element->source);
            node.detail = element->tag == "script" ? QStringLiteral("script") : QStringLiteral("stylesheet");
            break;
        }
        const Id id = add(std::move(node), parent);
        if (!first)
            first = id;
        ++document.stats.elements;
        m_elements.insert(
            id, { QString::fromUtf8(element->tag), QString::fromUtf8(element->id), texts(element->classes) });
        m_elementsByTag[QString::fromUtf8(element->tag).toLower()].append(id);
        if (!element->id.isEmpty())
            elementsById[QString::fromUtf8(element->id).toLower()].append(id);
        for (const QByteArray& name : element->classes)
            elementsByClass[QString::fromUtf8(name).toLower()].append(id);

        if (element->kind == MarkupElement::Kind::style) {
            readStylesheet(element->code, QStringLiteral("Style"), element->codeLine, std::nullopt);
        } else if (element->kind == MarkupElement::Kind::script && holdsScript(element->type)) {
            readScript(element->code, element->codeLine);
        }
        for (auto child = element->children.rbegin(); child != element->children.rend(); ++child)
            pending.emplace_back(&*child, id);
    }
    return *first;
}

Builder::Id Builder::addRule(const StyleRule& rule, qint64 offset, Parent parent)
{
    Node node;
    node.role = roleOf(rule.kind);
    node.stream = WebStream::style;
    node.name = QString::fromUtf8(rule.name);
    node.detail = QString::fromUtf8(rule.detail);
    node.tag = QStringLiteral("css");
    node.line = rule.line + offset;
    node.endLine = rule.endLine + offset;
    node.selectors = texts(rule.targets);
    node.targets = node.selectors;
    node.defines = texts(rule.defines);
    node.uses = texts(rule.uses);
    node.animations = texts(rule.animations);
    const Id id = add(std::move(node), parent);
    ++document.stats.rules;
    for (const QString& name : document.nodes[size_t(id)].defines) {
        if (!definesVariable.contains(name.toLower()))
            definesVariable.insert(name.toLower(), id);
    }
    if (rule.kind == StyleRule::Kind::keyframes) {
        const QString name = animationName(document.nodes[size_t(id)].name).toLower();
        if (!name.isEmpty() && !keyframesByName.contains(name))
            keyframesByName.insert(name, id);
    }
    for (const StyleRule& child : rule.children)
        addRule(child, offset, id);
    return id;
}

Builder::Id Builder::addSymbol(const ScriptSymbol& symbol, qint64 offset, Parent parent, Parent owner)
{
    const Parent enclosing = ownerClass;
    ownerClass = owner;
    Node node;
    node.role = roleOf(symbol.kind, owner.has_value());
    node.stream = WebStream::script;
    node.name = QString::fromUtf8(symbol.name);
    node.detail = QString::fromUtf8(symbol.detail);
    node.tag = codeTag;
    node.line = symbol.line + offset;
    node.endLine = symbol.endLine + offset;
    node.calls = texts(symbol.calls);
    // A handler given by name runs that function: it is seen to call it.
    for (const QByteArray& name : symbol.passed) {
        const QString text = QString::fromUtf8(name);
        if (symbol.kind == SKind::handler && !node.calls.contains(text))
            node.calls.append(text);
    }
    node.methodCalls = texts(symbol.methodCalls);
    node.constructs = texts(symbol.constructs);
    node.selectors = texts(symbol.selectors);
    node.targets = node.selectors;
    if (node.targets.isEmpty() && !symbol.tag.isEmpty())
        node.targets.append(QString::fromUtf8(symbol.tag));
    node.event = QString::fromUtf8(symbol.event);
    if (!node.event.isEmpty())
        node.handlers.append(node.event);
    node.base = QString::fromUtf8(symbol.base);
    const WebRole role = node.role;
    const QString key = node.name.toLower();
    const Id id = add(std::move(node), parent);
    switch (role) {
    case WebRole::function: symbolsByName[key].append(id); break;
    case WebRole::method: methodsByName[key].append(id); break;
    case WebRole::handler: (owner ? methodsByName : symbolsByName)[key].append(id); break;
    case WebRole::klass: classesByName[key].append(id); break;
    default: break;
    }
    if (role == WebRole::function || role == WebRole::method || role == WebRole::handler)
        ++document.stats.functions;
    if (role == WebRole::klass)
        ++document.stats.classes;
    const Parent childOwner = symbol.kind == SKind::klass ? Parent(id) : Parent();
    for (const ScriptSymbol& child : symbol.children)
        addSymbol(child, offset, id, childOwner);
    ownerClass = enclosing;
    return id;
}

Builder::Id Builder::readScript(QByteArrayView utf8, qint64 offset)
{
    const ScriptReader::Reading reading = ScriptReader::read(utf8);
    document.truncated = document.truncated || reading.truncated;
    const qint64 lines = lineCount(utf8);
    Node root;
    root.role = WebRole::scriptBlock;
    root.stream = WebStream::script;
    root.name = QStringLiteral("Script");
    root.detail = QString::number(reading.symbols.size()) + QStringLiteral(" top-level declarations");
    root.tag = QStringLiteral("js");
    root.line = offset;
    root.endLine = offset + lines - 1;
    const Id id = add(std::move(root), std::nullopt);
    ++document.stats.scripts;
    document.stats.scriptLines += lines;
    for (const ScriptSymbol& symbol : reading.symbols)
        addSymbol(symbol, offset, id, std::nullopt);
    return id;
}

Builder::Id Builder::readStylesheet(
    QByteArrayView utf8, const QString& rootName, qint64 offset, Parent parent)
{
    const StyleReader::Reading reading = StyleReader::read(utf8);
    document.truncated = document.truncated || reading.truncated;
    Node root;
    root.role = WebRole::styleBlock;
    root.stream = WebStream::style;
    root.name = rootName;
    root.detail = counted(qsizetype(reading.rules.size()), " rule", " rules");
    root.tag = QStringLiteral("css");
    root.line = offset;
    root.endLine = offset + lineCount(utf8) - 1;
    const Id id = add(std::move(root), parent);
    ++document.stats.styles;
    document.stats.styleLines += lineCount(utf8);
    for (const StyleRule& rule : reading.rules)
        addRule(rule, offset, id);
    return id;
}

} // namespace WebReader
