#include "document/webreader.h"

// The passes of the builder that place nodes: handlers gathered under their events, children put in
// reading order with the names they define indexed, then the drawn order and the extents.

namespace WebReader {

namespace {

using Node = WebDocument::Node;

} // namespace

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
