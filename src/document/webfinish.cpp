#include "document/webreader.h"

namespace WebReader {

namespace {

using Node = WebDocument::Node;

QString counted(qsizetype count, const char* one, const char* many)
{
    return QString::number(count) + QLatin1String(count == 1 ? one : many);
}

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

void Builder::setDepth(Id top)
{
    std::vector<Id> pending { top };
    while (!pending.empty()) {
        const Id id = pending.back();
        pending.pop_back();
        Node& node = document.nodes[size_t(id)];
        node.depth = node.parent ? document.nodes[size_t(*node.parent)].depth + 1 : 0;
        for (const Id child : std::as_const(node.children))
            pending.push_back(child);
    }
}

void Builder::move(Id id, Id parent)
{
    Node& node = document.nodes[size_t(id)];
    QList<Id>& from = node.parent ? document.nodes[size_t(*node.parent)].children : document.roots;
    from.removeOne(id);
    node.parent = parent;
    document.nodes[size_t(parent)].children.append(id);
    setDepth(id);
}

void Builder::gatherEvents()
{
    QList<Id> handlers;
    for (const Node& node : document.nodes) {
        if (node.role == WebRole::handler && !node.event.isEmpty())
            handlers.append(node.id);
    }
    if (handlers.isEmpty())
        return;
    const auto grouping = [](WebRole role, const QString& name) {
        Node node;
        node.role = role;
        node.stream = WebStream::script;
        node.name = name;
        node.line = -1; // it stands for no text of its own
        node.endLine = -1;
        return node;
    };
    const Id events = add(grouping(WebRole::events, QStringLiteral("Events")), std::nullopt);
    QHash<QString, Id> byEvent;
    for (const Id handler : std::as_const(handlers)) {
        const QString event = document.nodes[size_t(handler)].event;
        auto group = byEvent.find(event);
        if (group == byEvent.end()) {
            Node node = grouping(WebRole::event, event);
            node.event = event;
            group = byEvent.insert(event, add(std::move(node), events));
        }
        move(handler, *group);
    }
    Node& root = document.nodes[size_t(events)];
    root.detail = counted(root.children.size(), " event", " events");
    for (const Id group : std::as_const(root.children)) {
        Node& node = document.nodes[size_t(group)];
        node.detail = counted(node.children.size(), " handler", " handlers");
    }
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
        if (node.role == WebRole::element) {
            for (const QString& code : node.handlers) {
                for (const QString& name : called(code)) {
                    const QList<Id> symbols = symbolsByName.value(name.toLower());
                    if (!symbols.isEmpty()) {
                        addLink(id, symbols.first(), LinkKind::listens);
                        break;
                    }
                }
            }
        } else if (isStyleRole(node.role)) {
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
        } else if (isCodeRole(node.role)) {
            for (const QString& name : node.calls) {
                // A plain call reaches a function, or, from inside a class, one of its own methods.
                std::optional<Id> callee = resolve(symbolsByName.value(name.toLower()), id);
                if (!callee) {
                    QList<Id> inScope;
                    for (const Id method : methodsByName.value(name.toLower())) {
                        const std::optional<Id> owner = m_scope[size_t(method)];
                        for (std::optional<Id> at = m_scope[size_t(id)]; owner && at;
                             at = m_scope[size_t(*at)]) {
                            if (*at == *owner) {
                                inScope.append(method);
                                break;
                            }
                        }
                    }
                    callee = resolve(inScope, id);
                }
                if (callee)
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
    }
}

void Builder::index()
{
    document.definitions.clear();
    for (const Node& node : document.nodes) {
        QStringList names;
        if (isCodeRole(node.role))
            names.append(node.name);
        if (node.role == WebRole::keyframes) {
            const QStringList words = node.name.split(u' ', Qt::SkipEmptyParts);
            if (words.size() > 1)
                names.append(words[1]);
        }
        names += node.defines;
        for (const QString& name : std::as_const(names)) {
            QList<Id>& ids = document.definitions[name.toLower()];
            if (!ids.contains(node.id))
                ids.append(node.id);
        }
    }
    // Reading order: nodes added out of order (methods defined out of line, script blocks of a page)
    // take their place by line; grouping nodes, which stand for no text, come last.
    const auto byLine = [this](Id a, Id b) {
        const qint64 lineA = document.nodes[size_t(a)].line;
        const qint64 lineB = document.nodes[size_t(b)].line;
        if ((lineA < 0) != (lineB < 0))
            return lineB < 0;
        return lineA < lineB;
    };
    std::stable_sort(document.roots.begin(), document.roots.end(), byLine);
    for (Node& node : document.nodes)
        std::stable_sort(node.children.begin(), node.children.end(), byLine);
}

void Builder::layout()
{
    const size_t count = document.nodes.size();
    document.positions.assign(count, {});
    document.drawn.clear();
    document.drawn.reserve(qsizetype(count));
    std::vector<Id> pending(document.roots.rbegin(), document.roots.rend());
    while (!pending.empty()) {
        const Id id = pending.back();
        pending.pop_back();
        document.positions[size_t(id)].row = document.drawn.size();
        document.drawn.append(id);
        const QList<Id>& children = document.nodes[size_t(id)].children;
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            pending.push_back(*child);
    }
    // Extents bottom-up: children come after their parent in the drawn order.
    for (auto at = document.drawn.rbegin(); at != document.drawn.rend(); ++at) {
        Node& node = document.nodes[size_t(*at)];
        WebDocument::Position& position = document.positions[size_t(*at)];
        if (node.line >= 0) {
            position.lines = std::max<qint64>(node.endLine - node.line + 1, 1);
        } else {
            for (const Id child : std::as_const(node.children))
                position.lines += document.positions[size_t(child)].lines;
            node.measured = true;
        }
    }
}

} // namespace WebReader
