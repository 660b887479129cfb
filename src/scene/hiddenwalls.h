#pragma once

// How much of each building's walls other buildings hide, so that a software renderer need not
// rasterize it. In a dense city seen from above, most of a wall stands behind the building in front
// of it and only a strip under its roof shows; rasterizing the rest, only for the depth test to
// throw it away, was most of a frame's cost on llvmpipe.
//
// The screen is cut into square cells. Every face turned toward the camera marks the cells it
// covers whole with the farthest depth it has in them; a wall is hidden in a cell when the nearest
// depth it could have there lies behind what is marked. A wall's hidden height is the lowest, over
// the columns of cells it crosses, of the run of hidden cells from its foot up; parts off the screen
// count as hidden. Every bound is taken on the safe side, so what is cut is never seen, and the
// buildings may come in any order.

#include "scene/entitynode.h"

#include <QMatrix4x4>
#include <QSize>

#include <vector>

namespace HiddenWalls {

// A cell's width and height, in pixels.
inline constexpr int cellWidth = 2, cellHeight = 16;

// How high above a box's foot its walls turned toward the camera are hidden, in the scene's units
// and at most the box's height: the wall facing along x, and the one facing along z.
struct Hidden {
    float x = 0;
    float z = 0;
};

// For each box, its hidden walls. All zero unless the projection is orthographic with the world's up
// pointing up the screen, as the default camera's is.
std::vector<Hidden> heights(
    const std::vector<SceneInstance>& boxes, const QMatrix4x4& viewProjection, QSize pixels);

} // namespace HiddenWalls
