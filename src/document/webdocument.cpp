#include "document/webdocument.h"

#include "text/nametable.h"

#include <algorithm>
#include <functional>

constexpr auto streamNames = nameTable<WebStream>("markup", "style", "script");

QString streamName(WebStream stream)
{
    return streamNames.name(stream);
}

constexpr auto roleNames
    = nameTable<WebRole>("group", "element", "styleBlock", "scriptBlock", "rule", "atRule", "keyframes",
        "function", "klass", "method", "handler", "object", "variable", "external", "events", "event");

QString roleName(WebRole role)
{
    return roleNames.name(role);
}

constexpr auto linkKindNames = nameTable<LinkKind>(
    "calls", "instantiates", "inherits", "listens", "touches", "styles", "uses", "animates");
// A case added to either enumeration needs its name here too.
static_assert(streamNames.size() == webStreams.size() && linkKindNames.size() == linkKinds.size());

QString linkKindName(LinkKind kind)
{
    return linkKindNames.name(kind);
}

std::optional<WebStream> streamFromRaw(int raw)
{
    if (raw < 0 || raw >= int(webStreams.size()))
        return std::nullopt;
    return webStreams[size_t(raw)];
}

std::optional<LinkKind> linkKindFromRaw(int raw)
{
    if (raw < 0 || raw >= int(linkKinds.size()))
        return std::nullopt;
    return linkKinds[size_t(raw)];
}

namespace {

// Calls, instantiations and listeners lead somewhere that runs; inheriting does not.
bool followsRun(LinkKind kind)
{
    return kind == LinkKind::calls || kind == LinkKind::instantiates || kind == LinkKind::listens;
}

} // namespace

QList<qsizetype> WebDocument::callees(qsizetype id) const
{
    QList<qsizetype> found;
    if (id < 0 || size_t(id) >= outgoing.size())
        return found;
    for (const qsizetype position : outgoing[size_t(id)]) {
        const Link& link = links[size_t(position)];
        if (followsRun(link.kind) && isCallableRole(nodes[size_t(link.to)].role) && !found.contains(link.to))
            found.append(link.to);
    }
    return found;
}

QList<qsizetype> WebDocument::callers(qsizetype id) const
{
    QList<qsizetype> found;
    if (id < 0 || size_t(id) >= incoming.size())
        return found;
    for (const qsizetype position : incoming[size_t(id)]) {
        const Link& link = links[size_t(position)];
        if (followsRun(link.kind) && isCallableRole(nodes[size_t(link.from)].role)
            && !found.contains(link.from))
            found.append(link.from);
    }
    return found;
}

std::optional<qsizetype> WebDocument::definition(const QString& name, std::optional<qsizetype> near) const
{
    if (name.isEmpty())
        return std::nullopt;
    const auto entry = definitions.constFind(name.toLower());
    if (entry == definitions.constEnd() || entry->isEmpty())
        return std::nullopt;
    const QList<qsizetype>& candidates = *entry;
    if (!near || *near < 0 || size_t(*near) >= nodes.size() || candidates.size() == 1)
        return candidates.first();
    // The class around `near` decides between same-named members of different classes.
    std::optional<qsizetype> at = near;
    while (at && nodes[size_t(*at)].role != WebRole::klass)
        at = nodes[size_t(*at)].parent;
    if (!at)
        return candidates.first();
    for (const qsizetype candidate : candidates) {
        if (nodes[size_t(candidate)].parent == at)
            return candidate;
    }
    return candidates.first();
}

QString WebDocument::source(qsizetype id) const
{
    if (id < 0 || size_t(id) >= nodes.size())
        return {};
    const Node& node = nodes[size_t(id)];
    const qint64 first = std::max<qint64>(node.line, 0);
    const qint64 last = std::min<qint64>(node.endLine, lines.size() - 1);
    if (node.line < 0 || first > last)
        return {};
    return QStringList(lines.begin() + first, lines.begin() + last + 1).join(u'\n');
}

QHash<qsizetype, QList<qint64>> WebDocument::lineHits(const TextNeedle& needle) const
{
    QList<qint64> hitLines;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (needle.inLine(lines[i]))
            hitLines.append(i);
    }
    QHash<qsizetype, QList<qint64>> hits;
    if (hitLines.isEmpty())
        return hits;
    // A grouping node may be made after the children it gathers, so its hits are collected from
    // its children on demand rather than in one pass over `nodes`.
    std::vector<char> done(nodes.size(), 0);
    const std::function<const QList<qint64>*(qsizetype)> gather = [&](qsizetype id) -> const QList<qint64>* {
        if (!done[size_t(id)]) {
            done[size_t(id)] = 1;
            const Node& node = nodes[size_t(id)];
            QList<qint64> inside;
            if (node.line >= 0) {
                const auto first = std::lower_bound(hitLines.cbegin(), hitLines.cend(), node.line);
                const auto last = std::upper_bound(first, hitLines.cend(), std::max(node.line, node.endLine));
                inside = QList<qint64>(first, last);
            } else {
                for (const qsizetype child : node.children) {
                    if (const QList<qint64>* found = gather(child))
                        inside += *found;
                }
                std::sort(inside.begin(), inside.end());
                inside.erase(std::unique(inside.begin(), inside.end()), inside.end());
            }
            if (!inside.isEmpty())
                hits.insert(id, inside);
        }
        const auto found = hits.constFind(id);
        return found == hits.cend() ? nullptr : &*found;
    };
    for (const Node& node : nodes)
        gather(node.id);
    return hits;
}
