#include "layout/codetreemap.h"

#include "layout/treemap.h"

#include <algorithm>
#include <numeric>

namespace {

// Declarations own a block of code: style rules and everything from functions to variables.
bool ownsCode(WebRole role)
{
    return isStyleRole(role) || isCodeRole(role);
}

} // namespace

CodeTreemap::CodeTreemap(const WebDocument& document, WebStream stream, std::optional<QSet<qsizetype>> shown)
    : m_document(document)
    , m_stream(stream)
    , m_shown(std::move(shown))
{
}

QList<qsizetype> CodeTreemap::topLevel() const
{
    // A stream's parts may sit inside another stream's (a page's script blocks inside its elements):
    // the top of a stream is where its parts start.
    QList<qsizetype> ids;
    for (const WebDocument::Node& node : m_document.nodes) {
        if (node.stream != m_stream || (m_shown && !m_shown->contains(node.id)))
            continue;
        if (!node.parent || m_document.nodes[size_t(*node.parent)].stream != m_stream)
            ids.append(node.id);
    }
    return ids;
}

QList<qsizetype> CodeTreemap::shownChildren(qsizetype index) const
{
    const QList<qsizetype>& children = m_document.nodes[size_t(index)].children;
    if (!m_shown)
        return children;
    QList<qsizetype> shown;
    for (const qsizetype child : children) {
        if (m_shown->contains(child))
            shown.append(child);
    }
    return shown;
}

double CodeTreemap::weight(qsizetype index, QHash<qsizetype, double>& cache) const
{
    if (const auto known = cache.constFind(index); known != cache.cend())
        return *known;
    const WebDocument::Node& node = m_document.nodes[size_t(index)];
    const QList<qsizetype> children = shownChildren(index);
    double childSum = 0;
    for (const qsizetype child : children)
        childSum += weight(child, cache);
    const bool hasRange = node.line >= 0;
    double span = hasRange
        ? double(std::max<qint64>(node.endLine - node.line + 1, 1))
        : (size_t(index) < m_document.positions.size() ? double(m_document.positions[size_t(index)].lines)
                                                       : 0.0);
    double result;
    if (ownsCode(node.role)) {
        if (!children.isEmpty())
            result = (!m_shown && hasRange) ? std::max(childSum, span) : std::max(childSum, 1.0);
        else
            result = std::max(span, 1.0);
    } else if (node.role == WebRole::element
        && (node.name.startsWith(u"script") || node.name.startsWith(u"style"))) {
        result = 1;
    } else {
        result = children.isEmpty() ? std::max(span, 1.0) : childSum + 1;
    }
    cache.insert(index, result);
    return result;
}

void CodeTreemap::place(const QList<qsizetype>& ids, const QRectF& rect, int depth, double own,
    QHash<qsizetype, double>& cache, std::vector<Tile>& tiles) const
{
    if (rect.width() <= 3 || rect.height() <= 3 || ids.isEmpty())
        return;
    QList<qsizetype> sorted = ids;
    std::stable_sort(sorted.begin(), sorted.end(),
        [&](qsizetype a, qsizetype b) { return weight(a, cache) > weight(b, cache); });
    std::vector<double> weights;
    weights.reserve(size_t(sorted.size()) + 1);
    for (const qsizetype id : std::as_const(sorted))
        weights.push_back(weight(id, cache));
    // The parent's own code, not covered by its children, keeps an unlabelled place of its own.
    if (own > 0)
        weights.push_back(own);
    const std::vector<TMRect> rects
        = Treemap::squarify(weights, { rect.x(), rect.y(), rect.width(), rect.height() });
    for (qsizetype i = 0; i < sorted.size(); ++i) {
        const qsizetype id = sorted[i];
        const TMRect& t = rects[size_t(i)];
        const QRectF r(t.x, t.z, t.width, t.depth);
        const QList<qsizetype> children = shownChildren(id);
        const bool container = !children.isEmpty() && r.width() > minContainerWidth
            && r.height() > minContainerHeight && depth < maxDepth;
        tiles.push_back({ id, r, depth, !container, false });
        if (!container)
            continue;
        tiles.push_back({ id, QRectF(r.x(), r.y(), r.width(), headerHeight), depth, false, true });
        double childSum = 0;
        for (const qsizetype child : children)
            childSum += weight(child, cache);
        const double ownPart = m_shown ? 0 : std::max(weight(id, cache) - childSum, 0.0);
        place(children, QRectF(r.x() + 3, r.y() + 16, r.width() - 6, r.height() - 19), depth + 1, ownPart,
            cache, tiles);
    }
}

std::vector<CodeTreemap::Tile> CodeTreemap::layout(QSizeF size) const
{
    std::vector<Tile> tiles;
    QHash<qsizetype, double> cache;
    place(topLevel(), QRectF(inset, inset, size.width() - 2 * inset, size.height() - 2 * inset), 0, 0, cache,
        tiles);
    return tiles;
}

const CodeTreemap::Tile* CodeTreemap::hit(const std::vector<Tile>& tiles, QPointF point)
{
    for (auto tile = tiles.rbegin(); tile != tiles.rend(); ++tile) {
        if (tile->rect.contains(point))
            return &*tile;
    }
    return nullptr;
}
