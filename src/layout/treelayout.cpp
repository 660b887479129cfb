#include "layout/treelayout.h"

#include "layout/aggregation.h"

#include <QHash>

#include <cmath>
#include <numbers>

namespace TreeLayout {

namespace {

constexpr double gap = 0.5;
constexpr double fileRadius = 0.55;

double ownRadius(const FileNode& folder)
{
    return std::min(std::sqrt(double(folder.fileCount)) * 0.08 + 0.7, 3.2);
}

class Builder {
public:
    Builder(HeightMode height, float scale, NodeSet aggregate)
        : m_height(height)
        , m_peak(scale * 7)
        , m_aggregate(std::move(aggregate))
    {
    }

    void collect(const FileNode& node)
    {
        if (!node.isDirectory) {
            m_maxValue = std::max(m_maxValue, heightMeasure(node, m_height));
            return;
        }
        if (m_aggregate.contains(&node))
            return;
        for (const auto& child : node.children)
            collect(*child);
    }

    // The horizontal radius the subtree needs; folders also keep the radius of their children's ring.
    double measure(const FileNode& node)
    {
        if (!node.isDirectory)
            return fileRadius;
        double radius = ownRadius(node);
        if (!m_aggregate.contains(&node)) {
            double sum = 0, largest = 0;
            for (const auto& child : node.children) {
                const double r = measure(*child);
                sum += gap + 2 * r;
                largest = std::max(largest, r);
            }
            const double ring
                = node.children.size() == 1 ? 0 : std::max(sum / (2 * std::numbers::pi), gap + largest);
            m_ring.insert(&node, ring);
            radius = std::max(radius, largest + ring);
        }
        m_radius.insert(&node, radius);
        return radius;
    }

    void place(const FileNode& node, qint64 depth, Vec3 p, LayoutResult& result)
    {
        const auto height = [&](const FileNode& measured) {
            const double t = m_height == HeightMode::flat
                ? 0.12
                : std::pow(std::max(heightMeasure(measured, m_height), 0.0) / m_maxValue, 0.62);
            return float(m_peak * t + 0.2);
        };
        if (!node.isDirectory) {
            result.placements.push_back(
                { &node, PlacementKind::building, p, { 0.55f, height(node), 0.55f }, false, depth, false });
            return;
        }
        const auto own = float(ownRadius(node));
        if (m_aggregate.contains(&node)) {
            result.placements.push_back({ &node, PlacementKind::building, p,
                { 1.6f * own, height(node), 1.6f * own }, false, depth, true });
            ++result.aggregated;
            return;
        }
        result.placements.push_back(
            { &node, PlacementKind::junction, p, { 2 * own, 0.22f, 2 * own }, false, depth, false });
        result.maxDepth = std::max(result.maxDepth, depth);

        const double ring = m_ring.value(&node);
        const double drop = std::max(ring / 2 + 3, 5.0);
        double sum = 0;
        for (const auto& child : node.children)
            sum += gap + 2 * m_radius.value(child.get(), 1);
        double cursor = double(depth) * 0.7;
        for (const auto& child : node.children) {
            const double span = 2 * std::numbers::pi * (gap + 2 * m_radius.value(child.get(), 1)) / sum;
            const double angle = cursor + span / 2;
            cursor += span;
            const Vec3 at { float(p.x + ring * std::cos(angle)), float(p.y - drop),
                float(p.z + ring * std::sin(angle)) };
            result.edges.push_back({ { p.x, p.y + 0.11f, p.z }, { at.x, at.y + 0.11f, at.z } });
            result.edgeEnds.push_back({ &node, child.get() });
            place(*child, depth + 1, at, result);
        }
    }

    double maxValue() const { return m_maxValue; }
    float peak() const { return m_peak; }

private:
    HeightMode m_height;
    float m_peak;
    NodeSet m_aggregate;
    double m_maxValue = 1;
    QHash<const FileNode*, double> m_radius;
    QHash<const FileNode*, double> m_ring;
};

} // namespace

LayoutResult build(const FileNode& root, HeightMode height, float scale)
{
    Builder builder(height, scale, Aggregation::collapse(root, Aggregation::budget));
    builder.collect(root);
    builder.measure(root);
    LayoutResult result;
    result.peak = builder.peak();
    result.metric = { height, builder.maxValue() };
    builder.place(root, 0, {}, result);
    for (const Placement& placement : result.placements) {
        if (placement.kind == PlacementKind::building
            && (!result.tallest || placement.size.y > result.tallest->size.y))
            result.tallest = placement;
    }
    result.computeBounds();
    return result;
}

} // namespace TreeLayout
