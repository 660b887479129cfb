#pragma once

#include "layout/layoutresult.h"
#include "scene/orbitcamera.h"

#include <QColor>
#include <QMatrix4x4>
#include <QString>

#include <optional>
#include <vector>

enum class PartKind { box, plane };

// One piece of an entity's shape: a unit box (or a flat unit square) scaled to `size`, the centre
// of its bottom at `base`. Planes have no height and face up.
struct ScenePart {
    PartKind kind = PartKind::box;
    QVector3D base;
    QVector3D size;
    QColor color; // before any highlight
    bool storeys = false; // its walls are lined storey by storey
    bool castsShadow = false;

    QMatrix4x4 transform() const;
    SceneBox box() const;
};

// What the scene draws for one placement: a building of one or two blocks, a paved lot or a
// folder's disc.
struct EntityNode {
    const FileNode* file = nullptr;
    std::optional<Placement> placement;
    QString colorKey;
    QColor baseColor;
    std::vector<ScenePart> parts;
    float touched = 0; // the strength of its mark: 1 fresh, 0 none
    float height = 1;
    bool filteredOut = false;
    bool hidden = false;
    bool selected = false;

    PlacementKind kind() const { return placement ? placement->kind : PlacementKind::building; }
    SceneBox box() const; // around all of its parts
};

// The per-instance record the renderer reads for boxes and planes: a transform as base and size,
// the colour to show, and whether the walls carry storey lines (0 or 1).
struct SceneInstance {
    float base[3];
    float size[3];
    float color[4];
    float storeys;
    float castsShadow;
};

// A vertex of the line list; `fog` is 0 for lines that stay crisp at any distance.
struct SceneLineVertex {
    float position[3];
    float color[4];
    float fog;
};
