#include "document/webreader.h"

// The linker step of the builder: calls, constructions, inheritance, handlers, styles and the
// elements a script touches become links between the nodes of a document.

namespace WebReader {

namespace {

using Node = WebDocument::Node;

bool isNameChar(QChar c)
{
    return c.isLetterOrNumber() || c == u'_' || c == u'$';
}

} // namespace

Builder::Compound Builder::compound(QStringView text)
{
    Compound compound;
    qsizetype i = 0;
    const auto name = [&] {
        const qsizetype start = i;
        while (i < text.size() && (text[i].isLetterOrNumber() || text[i] == u'-' || text[i] == u'_'))
            ++i;
        return text.sliced(start, i - start).toString();
    };
    while (i < text.size()) {
        const QChar c = text[i];
        if (c == u'#') {
            ++i;
            compound.id = name();
        } else if (c == u'.') {
            ++i;
            compound.classes.append(name());
        } else if (c == u'[') {
            while (i < text.size() && text[i] != u']')
                ++i;
            ++i;
        } else if (c == u':') {
            break; // pseudo-classes narrow nothing we know
        } else if (c.isLetter() && i == 0) {
            compound.tag = name().toLower();
        } else {
            ++i;
        }
    }
    return compound;
}

QStringList Builder::called(QStringView code)
{
    QStringList names;
    qsizetype i = 0;
    while (i < code.size()) {
        if (!isNameChar(code[i])) {
            ++i;
            continue;
        }
        const qsizetype start = i;
        while (i < code.size() && isNameChar(code[i]))
            ++i;
        if (i < code.size() && code[i] == u'(') {
            const QString name = code.sliced(start, i - start).toString();
            if (!names.contains(name))
                names.append(name);
        }
    }
    return names;
}

bool Builder::matches(Id element, const Compound& compound) const
{
    const auto facts = m_elements.constFind(element);
    if (facts == m_elements.constEnd())
        return false;
    if (!compound.tag.isEmpty() && compound.tag != facts->tag.toLower())
        return false;
    if (!compound.id.isEmpty() && compound.id.compare(facts->id, Qt::CaseInsensitive) != 0)
        return false;
    for (const QString& name : compound.classes) {
        if (!facts->classes.contains(name, Qt::CaseInsensitive))
            return false;
    }
    return true;
}

QList<Builder::Id> Builder::elements(const QString& selector) const
{
    QList<Id> found;
    QSet<Id> seen; // "li" may name thousands of elements
    for (const QString& part : selector.split(u',')) {
        // Combinators are read as descent: an element matches when its ancestors hold the rest.
        QString spaced = part;
        for (const QChar combinator : { u'>', u'+', u'~' })
            spaced.replace(combinator, u' ');
        std::vector<Compound> compounds;
        for (const QString& text : spaced.split(u' ', Qt::SkipEmptyParts))
            compounds.push_back(compound(text));
        if (compounds.empty())
            continue;
        const Compound& key = compounds.back();
        QList<Id> candidates;
        if (!key.id.isEmpty())
            candidates = elementsById.value(key.id.toLower());
        else if (!key.classes.isEmpty())
            candidates = elementsByClass.value(key.classes.first().toLower());
        else if (!key.tag.isEmpty())
            candidates = m_elementsByTag.value(key.tag);
        for (const Id candidate : std::as_const(candidates)) {
            if (seen.contains(candidate) || !matches(candidate, key))
                continue;
            qsizetype wanted = qsizetype(compounds.size()) - 2;
            for (std::optional<Id> at = document.nodes[size_t(candidate)].parent; at && wanted >= 0;
                 at = document.nodes[size_t(*at)].parent) {
                if (matches(*at, compounds[size_t(wanted)]))
                    --wanted;
            }
            if (wanted < 0) {
                found.append(candidate);
                seen.insert(candidate);
            }
        }
    }
    return found;
}

// Among same-named definitions, the one in the innermost scope around the caller; outside every
// candidate's scope, one only when they all share a scope (overloads). Otherwise the name is
// ambiguous and names nothing.
std::optional<Builder::Id> Builder::resolve(const QList<Id>& candidates, Id from) const
{
    if (candidates.isEmpty())
        return std::nullopt;
    if (candidates.size() == 1)
        return candidates.first();
    QHash<Id, qsizetype> distance;
    qsizetype steps = 0;
    for (std::optional<Id> at = from; at; at = m_scope[size_t(*at)])
        distance.insert(*at, steps++);
    std::optional<Id> best;
    qsizetype bestDistance = steps;
    for (const Id candidate : candidates) {
        const std::optional<Id> scope = m_scope[size_t(candidate)];
        const qsizetype away = scope ? distance.value(*scope, -1) : steps;
        if (away >= 0 && away < bestDistance) {
            best = candidate;
            bestDistance = away;
        }
    }
    if (best)
        return best;
    const std::optional<Id> shared = m_scope[size_t(candidates.first())];
    for (const Id candidate : candidates) {
        if (m_scope[size_t(candidate)] != shared)
            return std::nullopt;
    }
    return candidates.first();
}

void Builder::addLink(Id from, Id to, LinkKind kind)
{
    if (from == to)
        return;
    if (qsizetype(document.links.size()) >= linkLimit) {
        document.truncated = true;
        return;
    }
    const quint64 key = (quint64(from) << 35) | (quint64(to) << 3) | quint64(kind);
    if (m_linked.contains(key))
        return;
    m_linked.insert(key);
    document.links.push_back({ from, to, kind });
    const qsizetype position = qsizetype(document.links.size()) - 1;
    document.outgoing[size_t(from)].append(position);
    document.incoming[size_t(to)].append(position);
}

void Builder::link()
{
    const qsizetype count = qsizetype(document.nodes.size());
    document.outgoing.assign(size_t(count), {});
    document.incoming.assign(size_t(count), {});
    for (Id id = 0; id < count; ++id) {
        if (qsizetype(document.links.size()) >= linkLimit) {
            document.truncated = true;
            return;
        }
        const Node& node = document.nodes[size_t(id)];
        if (node.role == WebRole::element)
            linkHandlers(id, node);
        else if (isStyleRole(node.role))
            linkStyle(id, node);
        else if (isCodeRole(node.role))
            linkCode(id, node);
    }
}

// An element listens to the first function its inline handlers call.
void Builder::linkHandlers(Id id, const Node& node)
{
    for (const QString& code : node.handlers) {
        for (const QString& name : called(code)) {
            const QList<Id> symbols = symbolsByName.value(name.toLower());
            if (!symbols.isEmpty()) {
                addLink(id, symbols.first(), LinkKind::listens);
                break;
            }
        }
    }
}

void Builder::linkStyle(Id id, const Node& node)
{
    for (const QString& selector : node.selectors) {
        if (selector.startsWith(u'#') || selector.startsWith(u'.')) {
            const auto& map = selector.startsWith(u'#') ? elementsById : elementsByClass;
            for (const Id element : map.value(selector.sliced(1).toLower()))
                addLink(id, element, LinkKind::styles);
        }
    }
    for (const QString& name : node.uses) {
        if (const auto definer = definesVariable.constFind(name.toLower());
            definer != definesVariable.constEnd())
            addLink(id, *definer, LinkKind::uses);
    }
    for (const QString& name : node.animations) {
        if (const auto frames = keyframesByName.constFind(name.toLower());
            frames != keyframesByName.constEnd())
            addLink(id, *frames, LinkKind::animates);
    }
}

void Builder::linkCode(Id id, const Node& node)
{
    for (const QString& name : node.calls) {
        if (const std::optional<Id> callee = plainCallee(name, id))
            addLink(id, *callee, LinkKind::calls);
    }
    for (const QString& name : node.methodCalls) {
        if (const std::optional<Id> callee = resolve(methodsByName.value(name.toLower()), id))
            addLink(id, *callee, LinkKind::calls);
    }
    for (const QString& name : node.constructs) {
        if (const std::optional<Id> made = resolve(classesByName.value(name.toLower()), id))
            addLink(id, *made, LinkKind::instantiates);
    }
    if (node.role == WebRole::klass && !node.base.isEmpty()) {
        // Of "React.Component" or "Base<T>", the class name itself.
        QString base = node.base.section(u'<', 0, 0).section(u'(', 0, 0).trimmed();
        base = base.section(u'.', -1).section(QStringLiteral("::"), -1);
        if (const std::optional<Id> parent = resolve(classesByName.value(base.toLower()), id))
            addLink(id, *parent, LinkKind::inherits);
    }
    for (const QString& selector : node.targets) {
        for (const Id element : elements(selector))
            addLink(id, element, LinkKind::touches);
    }
}

// A plain call reaches a function, or, from inside a class, one of its own methods.
std::optional<Builder::Id> Builder::plainCallee(const QString& name, Id from) const
{
    if (const std::optional<Id> function = resolve(symbolsByName.value(name.toLower()), from))
        return function;
    QList<Id> inScope;
    for (const Id method : methodsByName.value(name.toLower())) {
        const std::optional<Id> owner = m_scope[size_t(method)];
        for (std::optional<Id> at = m_scope[size_t(from)]; owner && at; at = m_scope[size_t(*at)]) {
            if (*at == *owner) {
                inScope.append(method);
                break;
            }
        }
    }
    return resolve(inScope, from);
}

} // namespace WebReader
