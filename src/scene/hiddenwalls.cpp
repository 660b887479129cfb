#include "scene/hiddenwalls.h"

#include <QVector3D>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

namespace HiddenWalls {

namespace {

constexpr float wide = cellWidth, tall = cellHeight; // a cell's size
constexpr float halfWide = wide / 2, halfTall = tall / 2;

// A whole number of cells, within [low, high] however far off the screen (or not a number) it is.
int cells(float count, int low, int high)
{
    return count >= float(high) ? high : count >= float(low) ? int(count) : low;
}

// A point on the screen in pixels, y downward, with its depth.
struct ScreenPoint {
    float x, y, depth;
};

// An affine function of the screen position: a x + b y + c.
struct Affine {
    float a = 0, b = 0, c = 0;
    float at(float x, float y) const { return a * x + b * y + c; }
    // Its largest and smallest values over the cell centred on (x, y).
    float reach() const { return std::abs(a) * halfWide + std::abs(b) * halfTall; }
    float highest(float x, float y) const { return at(x, y) + reach(); }
    float lowest(float x, float y) const { return at(x, y) - reach(); }
};

// A face as the screen sees it: four corners of a convex quad in order, and its depth over the
// screen. `flat` when it is seen edge on, too thin for its depth to be told from its corners; its
// depth is then its nearest corner's, which bounds it anywhere.
struct Face {
    std::array<ScreenPoint, 4> corners;
    Affine depth;
    bool flat = false;
};

// The farthest a face can be anywhere on it.
Affine farthest(const Face& face)
{
    if (!face.flat)
        return face.depth;
    const auto& c = face.corners;
    return { 0, 0, std::max({ c[0].depth, c[1].depth, c[2].depth, c[3].depth }) };
}

Face makeFace(const std::array<ScreenPoint, 4>& corners)
{
    Face face { corners, {}, false };
    const ScreenPoint &p = corners[0], &q = corners[1], &r = corners[2];
    const float ux = q.x - p.x, uy = q.y - p.y, vx = r.x - p.x, vy = r.y - p.y;
    const float det = ux * vy - vx * uy;
    if (std::abs(det) < 1.0f) { // under a pixel's area between these three corners
        face.flat = true;
        face.depth.c = std::min({ p.depth, q.depth, r.depth, corners[3].depth });
        return face;
    }
    const float du = q.depth - p.depth, dv = r.depth - p.depth;
    face.depth.a = (du * vy - dv * uy) / det;
    face.depth.b = (ux * dv - vx * du) / det;
    face.depth.c = p.depth - face.depth.a * p.x - face.depth.b * p.y;
    return face;
}

// The outline of a box on the screen: a convex hexagon, either way round, which a box seen face on
// or edge on folds into fewer sides with corners that coincide.
using Outline = std::array<ScreenPoint, 6>;

class Grid {
public:
    explicit Grid(QSize pixels)
        : m_columns((pixels.width() + cellWidth - 1) / cellWidth)
        , m_rows((pixels.height() + cellHeight - 1) / cellHeight)
        , m_depth(size_t(m_columns) * size_t(m_rows), std::numeric_limits<float>::infinity())
    {
    }

    int columns() const { return m_columns; }
    int rows() const { return m_rows; }

    // Marks the cells the box's outline covers whole with the farthest depth its faces can have in
    // each: whichever face shows at a point, its depth there is at most the largest of the planes.
    void cover(const Outline& shape, const std::array<Affine, 3>& planes)
    {
        const auto unseen = [](const Affine& plane) { return std::isinf(plane.c) && plane.c < 0; };
        if (std::all_of(planes.begin(), planes.end(), unseen))
            return;
        // Along a row at height y, each edge leaves the cells whose centres lie on one side of
        // slope y + offset: a left edge those before, a right edge those after.
        struct Bound {
            float slope, offset;
        };
        std::array<Bound, 6> lefts, rights;
        int leftCount = 0, rightCount = 0;
        // Each plane's highest over a cell, at the cell's centre; and its step from a cell to the next.
        std::array<Affine, 3> highest;
        std::array<float, 3> step;
        for (size_t p = 0; p < 3; ++p) {
            const Affine& plane = planes[p];
            highest[p] = { plane.a, plane.b, plane.c + plane.reach() };
            step[p] = plane.a * wide;
        }
        float area = 0;
        for (size_t i = 0; i < shape.size(); ++i) {
            const ScreenPoint &p = shape[i], &q = shape[(i + 1) % shape.size()];
            area += p.x * q.y - q.x * p.y;
        }
        const float turn = area < 0 ? -1.0f : 1.0f; // the edge functions below take a left turn
        float top = shape[0].y, bottom = top;
        for (size_t i = 0; i < shape.size(); ++i) {
            // Inside is to the left of every edge: -dy x + dx y + dy x0 - dx y0 >= 0 all over a
            // cell, that is at its centre less |dy| half its width and |dx| half its height.
            const ScreenPoint &from = shape[i], &to = shape[(i + 1) % shape.size()];
            const float dx = (to.x - from.x) * turn, dy = (to.y - from.y) * turn;
            const float rest = dy * from.x - dx * from.y - std::abs(dy) * halfWide - std::abs(dx) * halfTall;
            top = std::min(top, from.y);
            bottom = std::max(bottom, from.y);
            if (dy < 0) // -dy x >= -(dx y + rest): x >= (dx y + rest) / dy
                lefts[size_t(leftCount++)] = { dx / dy, rest / dy };
            else if (dy > 0)
                rights[size_t(rightCount++)] = { dx / dy, rest / dy };
            // A level edge is the outline's top or bottom, which the rows below keep to.
        }
        const int firstRow = cells(std::ceil(top / tall), 0, m_rows);
        const int lastRow = cells(std::floor(bottom / tall) - 1, -1, m_rows - 1);
        for (int row = firstRow; row <= lastRow; ++row) {
            const float y = float(row) * tall + halfTall;
            float from = -std::numeric_limits<float>::infinity(), to = std::numeric_limits<float>::infinity();
            for (int i = 0; i < leftCount; ++i)
                from = std::max(from, lefts[size_t(i)].slope * y + lefts[size_t(i)].offset);
            for (int i = 0; i < rightCount; ++i)
                to = std::min(to, rights[size_t(i)].slope * y + rights[size_t(i)].offset);
            if (!(from <= to))
                continue;
            // Cell centres between the two bounds.
            const int first = cells(std::ceil((from - halfWide) / wide), 0, m_columns);
            const int last = cells(std::floor((to - halfWide) / wide), -1, m_columns - 1);
            float* line = m_depth.data() + size_t(row) * size_t(m_columns);
            std::array<float, 3> along; // each plane's highest at the row's first cell centre
            for (size_t p = 0; p < 3; ++p)
                along[p] = highest[p].at(float(first) * wide + halfWide, y);
            for (int column = first; column <= last; ++column) {
                line[column] = std::min(line[column], std::max({ along[0], along[1], along[2] }));
                for (size_t p = 0; p < 3; ++p)
                    along[p] += step[p];
            }
        }
    }

    // The nearest bound marked in a cell on the screen.
    float at(int column, int row) const { return m_depth[size_t(row) * size_t(m_columns) + size_t(column)]; }

private:
    int m_columns, m_rows;
    std::vector<float> m_depth; // the nearest bound marked in each cell, row by row
};

// How high from its foot a wall is hidden. Its corners are the two at its foot, then the two above
// them, each standing straight above the other on the screen.
float hiddenHeight(const Grid& grid, const Face& wall, float height)
{
    const ScreenPoint &foot0 = wall.corners[0], &foot1 = wall.corners[1], &head0 = wall.corners[3];
    const float rise = (foot0.y - head0.y) / height; // pixels a unit of height
    if (!(rise > 1e-4f))
        return 0;
    const float left = std::min(foot0.x, foot1.x), right = std::max(foot0.x, foot1.x);
    const float slope = right > left ? (foot1.y - foot0.y) / (foot1.x - foot0.x) : 0;
    const auto footAt = [&](float x) {
        return right > left ? foot0.y + (x - foot0.x) * slope : std::max(foot0.y, foot1.y);
    };
    float hidden = height;
    const int firstColumn = cells(std::floor(left / wide), 0, grid.columns());
    const int lastColumn = cells(std::floor(right / wide), -1, grid.columns() - 1);
    for (int column = firstColumn; column <= lastColumn && hidden > 0; ++column) {
        const float x0 = std::max(float(column) * wide, left), x1 = std::min(float(column + 1) * wide, right);
        const float lowest = std::max(footAt(x0), footAt(x1)), highest = std::min(footAt(x0), footAt(x1));
        // No higher than the other columns have shown the wall hidden, since the least counts.
        const float top = highest - rise * hidden;
        // Up from the cell holding the wall's lowest point, while the cells hide it.
        // Cells off the screen hide all.
        int row = cells(std::floor(lowest / tall), -1, grid.rows() - 1);
        float hiddenFrom = float(row + 1) * tall; // the hidden run reaches up to here
        const float nearestAtTop = wall.depth.lowest(float(column) * wide + halfWide, halfTall); // in row 0
        while (hiddenFrom > top) {
            if (row < 0) {
                hiddenFrom = -std::numeric_limits<float>::infinity();
                break;
            }
            if (!(grid.at(column, row) < nearestAtTop + wall.depth.b * float(row) * tall - 1e-6f))
                break;
            hiddenFrom = float(row) * tall;
            --row;
        }
        hidden = std::min(hidden, std::clamp((highest - hiddenFrom) / rise, 0.0f, height));
    }
    return hidden;
}

} // namespace

std::vector<Hidden> heights(
    const std::vector<SceneInstance>& boxes, const QMatrix4x4& viewProjection, QSize pixels)
{
    std::vector<Hidden> result(boxes.size());
    // Orthographic, without roll: no division by w, and a vertical line stays vertical on screen.
    const QVector4D w = viewProjection.row(3);
    const QVector4D up = viewProjection.column(1);
    if (pixels.isEmpty() || boxes.empty() || !qFuzzyIsNull(w.x()) || !qFuzzyIsNull(w.y())
        || !qFuzzyIsNull(w.z()) || !qFuzzyCompare(w.w(), 1.0f) || std::abs(up.x()) > 1e-5f * std::abs(up.y())
        || up.y() <= 0)
        return result;
    // Toward the camera: where depth falls.
    const QVector3D toward = -viewProjection.row(2).toVector3D();
    // The screen position and depth are affine in the world's.
    const float width = float(pixels.width()), height = float(pixels.height());
    const QVector4D across = viewProjection.row(0) * (width / 2) + QVector4D(0, 0, 0, width / 2);
    const QVector4D down = viewProjection.row(1) * (-height / 2) + QVector4D(0, 0, 0, height / 2);
    const QVector4D depth = viewProjection.row(2);
    const auto project = [&](const QVector4D& p) {
        return ScreenPoint { QVector4D::dotProduct(across, p), QVector4D::dotProduct(down, p),
            QVector4D::dotProduct(depth, p) };
    };
    const auto add = [](const ScreenPoint& p, const ScreenPoint& q) {
        return ScreenPoint { p.x + q.x, p.y + q.y, p.depth + q.depth };
    };

    // Corners are numbered by bits: 1 the far x side, 2 the top, 4 the far z side. The nearest
    // corner; the faces turned toward the camera, feet first for walls; and the outline, which
    // runs through the six corners that are neither the nearest nor the farthest.
    const int nearest = (toward.x() > 0 ? 1 : 0) | (toward.y() > 0 ? 2 : 0) | (toward.z() > 0 ? 4 : 0);
    const int sideX = nearest & 1, sideZ = nearest & 4;
    const std::array<int, 4> wallX { sideX, sideX | 4, sideX | 6, sideX | 2 };
    const std::array<int, 4> wallZ { sideZ, sideZ | 1, sideZ | 3, sideZ | 2 };
    const std::array<int, 4> roof { 2, 3, 7, 6 };
    std::array<int, 6> around;
    for (size_t k = 0; const int flip : { 1, 3, 2, 6, 4, 5 })
        around[k++] = nearest ^ flip;

    // The walls each box turns toward the camera, across x then across z.
    struct Seen {
        std::optional<Face> x, z;
    };
    std::vector<Seen> seen(boxes.size());
    Grid grid(pixels);
    for (size_t i = 0; i < boxes.size(); ++i) {
        const SceneInstance& box = boxes[i];
        std::array<ScreenPoint, 8> corners;
        corners[0] = project(
            QVector4D(box.base[0] - box.size[0] / 2, box.base[1], box.base[2] - box.size[2] / 2, 1));
        const ScreenPoint alongX = project(QVector4D(box.size[0], 0, 0, 0));
        const ScreenPoint alongY = project(QVector4D(0, box.size[1], 0, 0));
        const ScreenPoint alongZ = project(QVector4D(0, 0, box.size[2], 0));
        corners[1] = add(corners[0], alongX);
        for (size_t c = 2; c < 4; ++c)
            corners[c] = add(corners[c - 2], alongY);
        for (size_t c = 4; c < 8; ++c)
            corners[c] = add(corners[c - 4], alongZ);
        const auto face = [&](const std::array<int, 4>& at) {
            return makeFace({ corners[size_t(at[0])], corners[size_t(at[1])], corners[size_t(at[2])],
                corners[size_t(at[3])] });
        };
        Seen& faces = seen[i];
        // The planes of the faces seen; one that is not seen takes no part.
        std::array<Affine, 3> planes;
        planes.fill({ 0, 0, -std::numeric_limits<float>::infinity() });
        if (toward.x() != 0) {
            faces.x = face(wallX);
            planes[0] = farthest(*faces.x);
        }
        if (toward.z() != 0) {
            faces.z = face(wallZ);
            planes[1] = farthest(*faces.z);
        }
        if (toward.y() > 0)
            planes[2] = farthest(face(roof));
        Outline shape;
        for (size_t k = 0; k < shape.size(); ++k)
            shape[k] = corners[size_t(around[k])];
        grid.cover(shape, planes);
    }
    for (size_t i = 0; i < boxes.size(); ++i) {
        const float boxHeight = boxes[i].size[1];
        if (!(boxHeight > 0))
            continue;
        if (seen[i].x)
            result[i].x = hiddenHeight(grid, *seen[i].x, boxHeight);
        if (seen[i].z)
            result[i].z = hiddenHeight(grid, *seen[i].z, boxHeight);
    }
    return result;
}

} // namespace HiddenWalls
