#include "layout/layoutresult.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array heightModes { HeightMode::lines, HeightMode::size, HeightMode::churn, HeightMode::flat };

} // namespace

QString heightModeName(HeightMode mode)
{
    switch (mode) {
    case HeightMode::lines: return QStringLiteral("lines");
    case HeightMode::size: return QStringLiteral("size");
    case HeightMode::churn: return QStringLiteral("churn");
    case HeightMode::flat: return QStringLiteral("flat");
    }
    return {};
}

std::optional<HeightMode> heightModeFromName(const QString& name)
{
    for (const HeightMode mode : heightModes) {
        if (heightModeName(mode) == name)
            return mode;
    }
    return std::nullopt;
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
    switch (kind) {
    case PlacementKind::building: return QStringLiteral("building");
    case PlacementKind::paving: return QStringLiteral("paving");
    case PlacementKind::junction: return QStringLiteral("junction");
    }
    return {};
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
