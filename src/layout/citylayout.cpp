#include "layout/citylayout.h"

#include <QHash>

#include <algorithm>
#include <cmath>

namespace CityLayout {

namespace {

// The margin around a folder's content: wide at the root, narrowing with depth.
double margin(qint64 depth)
{
    return depth == 0 ? 1.2 : std::max(0.62 - 0.1 * double(depth - 1), 0.22);
}

struct Lot {
    const FileNode* node;
    TMRect rect;
    float base;
    qint64 depth;
    bool aggregated;
};

class Builder {
public:
    Builder(HeightMode height, const LotWeight& lot, const NodeSet* only, NodeSet aggregate)
        : m_height(height)
        , m_lot(lot)
        , m_only(only)
        , m_aggregate(std::move(aggregate))
    {
    }

    double weigh(const FileNode& node, qint64 depth)
    {
        if (const auto known = m_weights.constFind(&node); known != m_weights.cend())
            return *known;
        double weight = 0;
        if (!node.isDirectory) {
            weight = m_lot ? m_lot(node) : 1;
        } else if (m_aggregate.contains(&node)) {
            weight = std::max(std::pow(double(std::max<qint64>(node.fileCount, 1)), 0.55), 4.0);
        } else {
            double sum = 0;
            for (const FileNode* child : shownChildren(node))
                sum += weigh(*child, depth + 1);
            weight = std::pow(std::sqrt(std::max(sum, 1.0)) + 2 * margin(depth), 2);
        }
        m_weights.insert(&node, weight);
        return weight;
    }

    void layout(const FileNode& node, qint64 depth, TMRect rect, LayoutResult& result)
    {
        const auto base = float(double(depth) * 0.012);
        if (depth >= 1) {
            result.placements.push_back({ &node, PlacementKind::paving,
                { float(rect.x + rect.width / 2), base, float(rect.z + rect.depth / 2) },
                { float(rect.width), 0, float(rect.depth) }, false, depth, false });
            result.maxDepth = std::max(result.maxDepth, depth);
        }
        const double p = margin(depth);
        const double dx = std::min(0.45 * rect.width, p), dz = std::min(0.45 * rect.depth, p);
        const TMRect inset { rect.x + dx, rect.z + dz, rect.width - 2 * dx, rect.depth - 2 * dz };
        if (m_aggregate.contains(&node)) {
            m_lots.push_back({ &node, inset, base, depth, true });
            return;
        }
        std::vector<const FileNode*> children = shownChildren(node);
        std::stable_sort(children.begin(), children.end(), [&](const FileNode* a, const FileNode* b) {
            return weigh(*a, depth + 1) > weigh(*b, depth + 1);
        });
        std::vector<double> weights;
        for (const FileNode* child : children)
            weights.push_back(weigh(*child, depth + 1));
        const std::vector<TMRect> tiles = Treemap::squarify(weights, inset);
        for (size_t i = 0; i < children.size(); ++i) {
            if (children[i]->isDirectory)
                layout(*children[i], depth + 1, tiles[i], result);
            else
                m_lots.push_back({ children[i], tiles[i], base, depth, false });
        }
    }

    // The tallest measure of the files beneath a folder drawn whole; a file's own measure.
    double measure(const FileNode& node) const
    {
        if (!node.isDirectory || m_height == HeightMode::flat)
            return heightMeasure(node, m_height);
        double largest = 0;
        node.forEach(
            [&](const FileNode& file) { largest = std::max(largest, heightMeasure(file, m_height)); });
        return largest;
    }

    void buildings(LayoutResult& result) const
    {
        std::vector<double> measures;
        double maxValue = 1;
        for (const Lot& lot : m_lots) {
            measures.push_back(measure(*lot.node));
            maxValue = std::max(maxValue, measures.back());
        }
        result.metric = { m_height, maxValue };
        const float peak = result.peak;
        for (size_t i = 0; i < m_lots.size(); ++i) {
            const Lot& lot = m_lots[i];
            const double fraction = lot.aggregated
                ? 0.88
                : 0.62 + 0.24 * std::min(std::sqrt(double(std::max<qint64>(lot.node->lines, 1))) / 30, 1.0);
            const float height = buildingHeight(measures[i], result);
            const auto width = float(std::max(fraction * lot.rect.width, 0.08));
            const auto depthExtent = float(std::max(fraction * lot.rect.depth, 0.08));
            const auto cx = float(lot.rect.x + lot.rect.width / 2),
                       cz = float(lot.rect.z + lot.rect.depth / 2);
            const bool setback = hasSetback(height, peak, lot.aggregated);
            if (lot.depth == 0 && !lot.aggregated) {
                result.placements.push_back({ lot.node, PlacementKind::paving, { cx, 0.006f, cz },
                    { float(0.94 * lot.rect.width), 0, float(0.94 * lot.rect.depth) }, false, 1, false });
            }
            const Placement building { lot.node, PlacementKind::building, { cx, lot.base, cz },
                { width, height, depthExtent }, setback, lot.depth, lot.aggregated };
            result.placements.push_back(building);
            if (!result.tallest || building.size.y > result.tallest->size.y)
                result.tallest = building;
            result.aggregated += lot.aggregated ? 1 : 0;
        }
    }

private:
    std::vector<const FileNode*> shownChildren(const FileNode& node) const
    {
        std::vector<const FileNode*> shown;
        for (const auto& child : node.children) {
            if (!m_only || m_only->contains(child.get()))
                shown.push_back(child.get());
        }
        return shown;
    }

    HeightMode m_height;
    const LotWeight& m_lot;
    const NodeSet* m_only;
    NodeSet m_aggregate;
    QHash<const FileNode*, double> m_weights;
    std::vector<Lot> m_lots;
};

} // namespace

float buildingHeight(double measure, const LayoutResult& result)
{
    const double t = result.metric.mode == HeightMode::flat
        ? 0.12
        : std::pow(std::max(measure, 0.0) / std::max(result.metric.maxValue, 1.0), 0.62);
    return float(std::max(result.peak * t + 0.16, 0.16));
}

bool hasSetback(float height, float peak, bool aggregated)
{
    return !aggregated && height > 2.2f && height > 0.18f * peak;
}

LayoutResult build(
    const FileNode& root, HeightMode height, float scale, const LotWeight& lot, const NodeSet* only)
{
    Builder builder(height, lot, only, only ? NodeSet() : Aggregation::collapse(root, Aggregation::budget));
    LayoutResult result;
    const double side = std::sqrt(builder.weigh(root, 0));
    result.peak = float(scale * std::clamp(0.32 * side, 6.0, 30.0));
    result.ground = { -side / 2, -side / 2, side, side };
    builder.layout(root, 0, result.ground, result);
    builder.buildings(result);
    result.computeBounds();
    return result;
}

} // namespace CityLayout
