#include "layout/flowgraph.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <numeric>

namespace {

using Adjacency = std::vector<std::vector<int>>;

// Marks each node 1 while it is being visited and 2 when finished; an edge to a node marked 1 closes
// a cycle and is set aside. Iterative, so a call chain thousands of functions long cannot overflow
// the stack. Returns the nodes in finishing order: reversed, a topological order of what is left.
std::vector<int> visitAll(
    const Adjacency& out, const std::vector<int>& starts, QSet<std::pair<int, int>>& back)
{
    std::vector<char> mark(out.size(), 0);
    std::vector<int> finished;
    finished.reserve(out.size());
    std::vector<std::pair<int, size_t>> stack;
    for (const int start : starts) {
        if (mark[size_t(start)])
            continue;
        mark[size_t(start)] = 1;
        stack.push_back({ start, 0 });
        while (!stack.empty()) {
            auto& [node, next] = stack.back();
            const std::vector<int>& successors = out[size_t(node)];
            if (next == successors.size()) {
                mark[size_t(node)] = 2;
                finished.push_back(node);
                stack.pop_back();
                continue;
            }
            const int to = successors[next++];
            if (mark[size_t(to)] == 1)
                back.insert({ node, to });
            else if (mark[size_t(to)] == 0) {
                mark[size_t(to)] = 1;
                stack.push_back({ to, 0 });
            }
        }
    }
    return finished;
}

// Crossings between two neighbouring layers, given each node's row.
qsizetype crossingsBetween(const std::vector<std::pair<int, int>>& pairs)
{
    qsizetype count = 0;
    for (size_t i = 0; i < pairs.size(); ++i) {
        for (size_t j = i + 1; j < pairs.size(); ++j) {
            const auto [a1, b1] = pairs[i];
            const auto [a2, b2] = pairs[j];
            if ((a1 < a2 && b1 > b2) || (a1 > a2 && b1 < b2))
                ++count;
        }
    }
    return count;
}

// Each node's place in `ids`.
QHash<qsizetype, int> localIndices(const QList<qsizetype>& ids)
{
    QHash<qsizetype, int> local;
    local.reserve(ids.size());
    for (int i = 0; i < int(ids.size()); ++i)
        local.insert(ids[i], i);
    return local;
}

// The successors of each node by the calls between nodes of the graph, each call once; the calls
// kept are added to `kept` in the order given.
Adjacency callsAmong(qsizetype n, const QHash<qsizetype, int>& local,
    const std::vector<FlowGraph::Edge>& edges, std::vector<FlowGraph::Edge>& kept)
{
    Adjacency out(static_cast<size_t>(n));
    QSet<std::pair<int, int>> seenEdges;
    for (const FlowGraph::Edge& edge : edges) {
        const auto from = local.constFind(edge.from);
        const auto to = local.constFind(edge.to);
        if (from == local.cend() || to == local.cend())
            continue;
        if (seenEdges.contains({ *from, *to }))
            continue;
        seenEdges.insert({ *from, *to });
        out[size_t(*from)].push_back(*to);
        kept.push_back(edge);
    }
    return out;
}

struct Search {
    std::vector<int> order; // every node after those that call it, but for the back edges
    QSet<std::pair<int, int>> back; // the edges set aside to break cycles
};

// Cycles are broken where the search first closes them; from the focus first, so that what it
// calls stays to its right, then from each node in document order.
Search searchFrom(const Adjacency& out, std::optional<int> focus)
{
    std::vector<int> starts(out.size());
    std::iota(starts.begin(), starts.end(), 0);
    if (focus)
        std::stable_partition(starts.begin(), starts.end(), [&](int i) { return i == *focus; });
    Search search;
    search.order = visitAll(out, starts, search.back);
    std::reverse(search.order.begin(), search.order.end());
    return search;
}

struct Layering {
    std::vector<int> layer; // each node's column
    int layers = 0;
    // Neighbours in each direction, by any edge, back edges included: they are drawn too.
    Adjacency left, right;
};

// Longest path: each node at least one layer right of everything that calls it.
Layering layersOf(const Adjacency& out, const Search& search)
{
    const size_t n = out.size();
    Layering layering { std::vector<int>(n, 0), 0, Adjacency(n), Adjacency(n) };
    std::vector<int>& layer = layering.layer;
    for (const int node : search.order) {
        for (const int to : out[size_t(node)]) {
            if (!search.back.contains({ node, to }))
                layer[size_t(to)] = std::max(layer[size_t(to)], layer[size_t(node)] + 1);
        }
    }
    layering.layers = *std::max_element(layer.begin(), layer.end()) + 1;
    for (size_t from = 0; from < n; ++from) {
        for (const int to : out[from]) {
            if (int(from) == to)
                continue;
            const bool forward = layer[from] < layer[size_t(to)];
            (forward ? layering.right : layering.left)[from].push_back(to);
            (forward ? layering.left : layering.right)[size_t(to)].push_back(int(from));
        }
    }
    return layering;
}

// The nodes of each layer from top to bottom. Rows start in document order and are reordered by
// barycentres, sweeping right then left; the order with the fewest crossings is kept.
class RowOrder {
public:
    explicit RowOrder(const Layering& layering)
        : m_layering(layering)
        , m_rows(static_cast<size_t>(layering.layers))
        , m_row(layering.layer.size(), 0)
    {
        for (size_t i = 0; i < layering.layer.size(); ++i)
            m_rows[size_t(layering.layer[i])].push_back(int(i));
    }

    std::vector<std::vector<int>> untangled()
    {
        number();
        auto best = m_rows;
        qsizetype fewest = crossings();
        constexpr int sweeps = 8;
        const int layers = m_layering.layers;
        for (int pass = 0; pass < sweeps && fewest > 0; ++pass) {
            for (int l = 1; l < layers; ++l)
                sweep(l, m_layering.left, l - 1);
            for (int l = layers - 2; l >= 0; --l)
                sweep(l, m_layering.right, l + 1);
            const qsizetype now = crossings();
            if (now < fewest) {
                fewest = now;
                best = m_rows;
            }
        }
        return best;
    }

private:
    void number()
    {
        for (const auto& nodes : m_rows)
            for (size_t r = 0; r < nodes.size(); ++r)
                m_row[size_t(nodes[r])] = int(r);
    }

    qsizetype crossings() const
    {
        qsizetype total = 0;
        for (int l = 0; l + 1 < m_layering.layers; ++l) {
            std::vector<std::pair<int, int>> pairs;
            for (const int node : m_rows[size_t(l)])
                for (const int to : m_layering.right[size_t(node)])
                    if (m_layering.layer[size_t(to)] == l + 1)
                        pairs.push_back({ m_row[size_t(node)], m_row[size_t(to)] });
            total += crossingsBetween(pairs);
        }
        return total;
    }

    // Sorts layer l by the mean row of each node's neighbours in the neighbouring layer; a node with
    // none there keeps its own row, and equal means keep their order.
    void sweep(int l, const Adjacency& neighbours, int neighbourLayer)
    {
        std::vector<std::pair<double, int>> centres;
        for (const int node : m_rows[size_t(l)]) {
            double sum = 0;
            int count = 0;
            for (const int other : neighbours[size_t(node)]) {
                if (m_layering.layer[size_t(other)] == neighbourLayer) {
                    sum += m_row[size_t(other)];
                    ++count;
                }
            }
            centres.push_back({ count ? sum / count : double(m_row[size_t(node)]), node });
        }
        std::stable_sort(
            centres.begin(), centres.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        for (size_t r = 0; r < centres.size(); ++r) {
            m_rows[size_t(l)][r] = centres[r].second;
            m_row[size_t(centres[r].second)] = int(r);
        }
    }

    const Layering& m_layering;
    std::vector<std::vector<int>> m_rows;
    std::vector<int> m_row; // each node's place in its layer
};

// Columns as wide as their widest box; each column centred on the tallest.
void placeBoxes(const QList<qsizetype>& ids, std::optional<qsizetype> focus, const Layering& layering,
    const std::vector<std::vector<int>>& rows, const std::vector<double>& boxWidths,
    FlowGraph::Arranged& result)
{
    const int layers = layering.layers;
    std::vector<double> widths(size_t(layers), FlowGraph::minBoxWidth);
    for (size_t i = 0; i < boxWidths.size(); ++i) {
        double& width = widths[size_t(layering.layer[i])];
        width = std::max(width, boxWidths[i]);
    }
    size_t tallest = 0;
    for (const auto& nodes : rows)
        tallest = std::max(tallest, nodes.size());
    const auto columnHeight = [](size_t count) {
        return double(count) * (FlowGraph::boxHeight + FlowGraph::rowGap) - FlowGraph::rowGap;
    };
    double x = FlowGraph::margin;
    std::vector<double> columnX(static_cast<size_t>(layers));
    for (int l = 0; l < layers; ++l) {
        columnX[size_t(l)] = x;
        x += widths[size_t(l)] + FlowGraph::layerGap;
    }
    result.size
        = QSizeF(x - FlowGraph::layerGap + FlowGraph::margin, columnHeight(tallest) + 2 * FlowGraph::margin);
    for (int l = 0; l < layers; ++l) {
        const double top
            = FlowGraph::margin + (columnHeight(tallest) - columnHeight(rows[size_t(l)].size())) / 2;
        for (size_t r = 0; r < rows[size_t(l)].size(); ++r) {
            const int node = rows[size_t(l)][r];
            const double w = boxWidths[size_t(node)];
            const QRectF rect(columnX[size_t(l)] + (widths[size_t(l)] - w) / 2,
                top + double(r) * (FlowGraph::boxHeight + FlowGraph::rowGap), w, FlowGraph::boxHeight);
            result.boxes.push_back({ ids[node], rect, l, focus && ids[node] == *focus });
        }
    }
}

} // namespace

const FlowGraph::Box* FlowGraph::Arranged::box(qsizetype index) const
{
    const auto found
        = std::find_if(boxes.begin(), boxes.end(), [&](const Box& b) { return b.index == index; });
    return found == boxes.end() ? nullptr : &*found;
}

FlowGraph::FlowGraph(const WebDocument& document)
    : m_document(document)
{
}

QString FlowGraph::label(qsizetype index) const
{
    const QString& name = m_document.nodes[size_t(index)].name;
    return name.isEmpty() ? QStringLiteral("(anonymous)") : name;
}

double FlowGraph::boxWidth(const QString& name)
{
    // About 7 points a character at the view's label size, plus padding on both sides.
    return std::clamp(20.0 + 7.0 * double(name.size()), minBoxWidth, maxBoxWidth);
}

FlowGraph::Arranged FlowGraph::whole() const
{
    QList<qsizetype> ids;
    std::vector<Edge> edges;
    for (const WebDocument::Node& node : m_document.nodes) {
        if (!isCallableRole(node.role))
            continue;
        const QList<qsizetype> callees = m_document.callees(node.id);
        if (callees.isEmpty() && m_document.callers(node.id).isEmpty())
            continue;
        ids.append(node.id);
        for (const qsizetype callee : callees)
            edges.push_back({ node.id, callee, false });
    }
    return arrange(ids, edges, std::nullopt);
}

FlowGraph::Arranged FlowGraph::centred(qsizetype index, int reach) const
{
    if (index < 0 || index >= qsizetype(m_document.nodes.size()))
        return {};
    reach = std::clamp(reach, 1, maxReach);
    // Breadth first in each direction, so a function is reached by its fewest steps.
    const auto walk = [&](bool downstream) {
        QSet<qsizetype> seen { index };
        QList<qsizetype> frontier { index };
        for (int step = 0; step < reach && !frontier.isEmpty(); ++step) {
            QList<qsizetype> next;
            for (const qsizetype id : std::as_const(frontier)) {
                for (const qsizetype other : downstream ? m_document.callees(id) : m_document.callers(id)) {
                    if (!seen.contains(other)) {
                        seen.insert(other);
                        next.append(other);
                    }
                }
            }
            frontier = next;
        }
        return seen;
    };
    const QSet<qsizetype> down = walk(true);
    const QSet<qsizetype> up = walk(false);
    if (down.size() == 1 && up.size() == 1)
        return {};
    QList<qsizetype> ids;
    for (const WebDocument::Node& node : m_document.nodes) {
        if (down.contains(node.id) || up.contains(node.id))
            ids.append(node.id);
    }
    std::vector<Edge> edges;
    for (const qsizetype from : std::as_const(ids)) {
        for (const qsizetype to : m_document.callees(from)) {
            // A call among callers leads toward the focus; one from the focus or beyond leads away.
            const bool upstream
                = up.contains(to) && up.contains(from) && from != index && !down.contains(from);
            if ((down.contains(from) && down.contains(to)) || upstream)
                edges.push_back({ from, to, upstream });
        }
    }
    return arrange(ids, edges, index);
}

FlowGraph::Arranged FlowGraph::arrange(
    const QList<qsizetype>& ids, const std::vector<Edge>& edges, std::optional<qsizetype> focus) const
{
    Arranged result;
    if (ids.isEmpty())
        return result;
    const QHash<qsizetype, int> local = localIndices(ids);
    const Adjacency out = callsAmong(ids.size(), local, edges, result.edges);
    const auto focusIndex = focus ? local.constFind(*focus) : local.cend();
    const Search search
        = searchFrom(out, focusIndex == local.cend() ? std::nullopt : std::optional(*focusIndex));
    const Layering layering = layersOf(out, search);
    const std::vector<std::vector<int>> rows = RowOrder(layering).untangled();
    std::vector<double> boxWidths(size_t(ids.size()));
    for (qsizetype i = 0; i < ids.size(); ++i)
        boxWidths[size_t(i)] = boxWidth(label(ids[i]));
    placeBoxes(ids, focus, layering, rows, boxWidths, result);
    return result;
}

const FlowGraph::Box* FlowGraph::hit(const Arranged& graph, QPointF point)
{
    const auto found = std::find_if(
        graph.boxes.begin(), graph.boxes.end(), [&](const Box& box) { return box.rect.contains(point); });
    return found == graph.boxes.end() ? nullptr : &*found;
}

qsizetype flowCrossings(const FlowGraph::Arranged& graph)
{
    QHash<qsizetype, const FlowGraph::Box*> boxes;
    for (const FlowGraph::Box& box : graph.boxes)
        boxes.insert(box.index, &box);
    // Pairs of (row position, row position) between each pair of neighbouring layers.
    QHash<int, std::vector<std::pair<int, int>>> byLayer;
    for (const FlowGraph::Edge& edge : graph.edges) {
        const FlowGraph::Box* from = boxes.value(edge.from);
        const FlowGraph::Box* to = boxes.value(edge.to);
        if (!from || !to || to->layer != from->layer + 1)
            continue;
        byLayer[from->layer].push_back({ int(from->rect.center().y()), int(to->rect.center().y()) });
    }
    qsizetype total = 0;
    for (const auto& pairs : std::as_const(byLayer))
        total += crossingsBetween(pairs);
    return total;
}
