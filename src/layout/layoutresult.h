#pragma once

#include "layout/treemap.h"
#include "model/filenode.h"

#include <QString>

#include <optional>
#include <utility>
#include <vector>

// What a building's height shows.
enum class HeightMode { lines, size, churn, flat };

QString heightModeName(HeightMode mode);
std::optional<HeightMode> heightModeFromName(const QString& name);
// A node's measure for a height mode: lines, bytes, commits, or 1.
double heightMeasure(const FileNode& node, HeightMode mode);

enum class PlacementKind { building, paving, junction };
QString placementKindName(PlacementKind kind);

struct Vec3 {
    float x = 0;
    float y = 0;
    float z = 0;
};

// One placed box: base is the centre of its footprint with the height of its bottom, size its
// extents (height 0 for paving). The node belongs to the tree the layout was built from.
struct Placement {
    const FileNode* file = nullptr;
    PlacementKind kind = PlacementKind::building;
    Vec3 base;
    Vec3 size;
    bool setback = false;
    qint64 depth = 0;
    bool aggregate = false;
};

struct HeightMetric {
    HeightMode mode = HeightMode::lines;
    double maxValue = 1;
};

// The common output of the layouts, on the x-z ground plane with y up, in scene units.
struct LayoutResult {
    std::vector<Placement> placements;
    std::vector<std::pair<Vec3, Vec3>> edges;
    std::vector<std::pair<const FileNode*, const FileNode*>> edgeEnds;
    TMRect ground;
    Vec3 minBound;
    Vec3 maxBound;
    qint64 maxDepth = 0;
    std::optional<Placement> tallest;
    float peak = 0;
    HeightMetric metric;
    qint64 aggregated = 0;

    void computeBounds();
};
