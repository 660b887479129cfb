#pragma once

// The two meshes every scene is drawn with, built once when the renderer starts.

#include <QOpenGLFunctions>

#include <vector>

struct MeshVertex {
    float position[3];
    float normal[3];
};

// A unit box standing on the origin: x and z in [-0.5, 0.5], y in [0, 1]. Two meshes share one
// buffer. The whole box comes first, four corners a face so that each face has its own normal,
// for the perspective camera and the shadow map. Then, for each quarter the orthographic camera
// can look from, only the eight corners of the three faces it can see (the top and the two sides
// turned toward it). Faces are lit flat, from the last corner of each triangle, so the corners
// can be shared between faces as long as each face's triangles end on a corner of its own that
// carries its normal: eight corners shaded a box instead of twenty-four. The near foot comes twice,
// once for each side, because each side's foot is raised on its own where it is hidden.
struct BoxMesh {
    std::vector<MeshVertex> vertices;
    std::vector<GLushort> indices;
};

// Indices of the whole box, then of the three faces seen from each quarter.
constexpr GLsizei allFaces = 36, visibleFaces = 18;

BoxMesh boxMesh();
// A unit square lying flat at height 0, facing up.
std::vector<MeshVertex> planeMesh();
