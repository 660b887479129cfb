#include "layout/layoutresult.h"

#include "text/nametable.h"

#include <algorithm>

namespace {

constexpr auto heightModeNames = nameTable<HeightMode>("lines", "size", "churn", "flat");
constexpr auto placementKindNames = nameTable<PlacementKind>("building", "paving", "junction");

} // namespace

QString heightModeName(HeightMode mode)
{
    return heightModeNames.name(mode);
}

std::optional<HeightMode> heightModeFromName(const QString& name)
{
    return heightModeNames.find(name);
}

double heightMeasure(const FileNode& node, HeightMode mode)
{
    switch (mode) {
    case HeightMode::lines: return double(node.lines);
    case HeightMode::size: return double(node.size);
    case HeightMode::churn: return double(node.commits);
    case HeightMode::flat: return 1;
    }
    return 1;
}

QString placementKindName(PlacementKind kind)
{
    return placementKindNames.name(kind);
}

void LayoutResult::computeBounds()
{
    if (placements.empty()) {
        minBound = maxBound = {};
        return;
    }
    minBound = { std::numeric_limits<float>::max(), std::numeric_limits<float>::max(),
        std::numeric_limits<float>::max() };
    maxBound = { std::numeric_limits<float>::lowest(), std::numeric_limits<float>::lowest(),
        std::numeric_limits<float>::lowest() };
    for (const Placement& p : placements) {
        minBound.x = std::min(minBound.x, p.base.x - p.size.x / 2);
        minBound.y = std::min(minBound.y, p.base.y);
        minBound.z = std::min(minBound.z, p.base.z - p.size.z / 2);
        maxBound.x = std::max(maxBound.x, p.base.x + p.size.x / 2);
        maxBound.y = std::max(maxBound.y, p.base.y + p.size.y);
        maxBound.z = std::max(maxBound.z, p.base.z + p.size.z / 2);
    }
}
