#include "layout/graphlayout.h"

#include <QHash>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace GraphLayout {

namespace {

constexpr float goldenAngle = 2.399963f;

// The radius of the start spiral: it grows with the square root of the file count, so the starting
// density is the same for any graph.
float spiralRadius(size_t n)
{
    return std::sqrt(float(n)) * 2.6f;
}

// Grid coordinates truncate towards zero, as an integer conversion does; far-off values are held
// to a range where the conversion is defined.
qint32 cellOf(float value, float cellSize)
{
    const float cell = std::clamp(value / cellSize, -1e9f, 1e9f);
    return std::isfinite(cell) ? qint32(cell) : 0;
}

// Four files at a time, in one SSE register.
constexpr size_t lanes = 4;
using Floats = float __attribute__((vector_size(lanes * sizeof(float))));
using Ints = qint32 __attribute__((vector_size(lanes * sizeof(qint32))));

inline Floats load(const float* at)
{
    Floats values;
    std::memcpy(&values, at, sizeof values);
    return values;
}

struct Cell {
    qint32 row; // z
    qint32 column; // x
    qint32 file;

    bool operator<(const Cell& other) const
    {
        if (row != other.row)
            return row < other.row;
        if (column != other.column)
            return column < other.column;
        return file < other.file;
    }
};

} // namespace

Forces::Forces(const DependencyGraph& graph)
    : m_graph(graph)
{
    const size_t n = graph.files.size();
    const float r0 = spiralRadius(n);
    m_k = idealDistanceFor(n);
    m_iterations = n < 701 ? 260 : 160;
    positions.resize(n);
    velocities.resize(n);
    m_displacement.resize(n);
    for (size_t i = 0; i < n; ++i) {
        const float r = r0 * std::sqrt(float(i) + 0.5f) / std::sqrt(float(n));
        const float angle = float(i) * goldenAngle;
        positions[i] = { r * std::cos(angle), r * std::sin(angle) };
    }
    QHash<const FileNode*, qint32> groups;
    m_group.reserve(n);
    for (const FileNode* file : graph.files) {
        const auto known = groups.constFind(file->parent);
        m_group.push_back(known != groups.cend() ? *known : (groups[file->parent] = m_groupCount++));
    }
}

void Forces::repel()
{
    // Only files in the 3 × 3 block of grid cells around a file push it: one pass costs the file
    // count times the crowding of a cell, not its square. The files are sorted by cell, so a cell is
    // a run of the sorted list and a row of three cells one stretch of it; their coordinates are
    // copied in that order, so the innermost loop reads memory straight through.
    const size_t n = positions.size();
    const float cellSize = 2 * m_k;
    const float strength = m_k * m_k * 0.6f;
    std::vector<Cell> cells(n);
    for (size_t i = 0; i < n; ++i)
        cells[i] = { cellOf(positions[i].z, cellSize), cellOf(positions[i].x, cellSize), qint32(i) };
    std::sort(cells.begin(), cells.end());
    std::vector<float> xs(n + lanes), zs(n + lanes);
    for (size_t s = 0; s < n; ++s) {
        xs[s] = positions[size_t(cells[s].file)].x;
        zs[s] = positions[size_t(cells[s].file)].z;
    }
    const auto rowStart = [&](qint32 row, qint32 column) {
        return size_t(std::lower_bound(cells.begin(), cells.end(), Cell { row, column, -1 }) - cells.begin());
    };
    for (size_t run = 0; run < n;) {
        size_t runEnd = run;
        while (runEnd < n && cells[runEnd].row == cells[run].row && cells[runEnd].column == cells[run].column)
            ++runEnd;
        std::pair<size_t, size_t> block[3];
        for (int dz = -1; dz <= 1; ++dz) {
            const qint32 row = cells[run].row + dz;
            block[dz + 1] = { rowStart(row, cells[run].column - 1), rowStart(row, cells[run].column + 2) };
        }
        for (size_t at = run; at < runEnd; ++at) {
            const float px = xs[at], pz = zs[at];
            // Running sums, one a lane, added up in a fixed order: the result is the same on every
            // run. Files closer than 0.0001, the file itself among them, are counted instead.
            Floats pushX {}, pushZ {}, coincident {};
            for (const auto& [from, to] : block) {
                // The last group reads past the stretch, into the padding at worst, and is masked.
                for (size_t s = from; s < to; s += lanes) {
                    const Ints index = Ints { 0, 1, 2, 3 } + qint32(s);
                    const Floats counted = __builtin_convertvector(-Ints(index < qint32(to)), Floats);
                    const Floats dx = px - load(&xs[s]);
                    const Floats dz = pz - load(&zs[s]);
                    const Floats squared = dx * dx + dz * dz;
                    const Floats apart = __builtin_convertvector(-Ints(squared >= 1e-8f), Floats); // 0.0001²
                    const Floats scale = strength / (squared + 1e-30f) * apart * counted;
                    coincident += (1 - apart) * counted;
                    pushX += dx * scale;
                    pushZ += dz * scale;
                }
            }
            float sumX = 0, sumZ = 0, near = 0;
            for (size_t lane = 0; lane < lanes; ++lane) {
                sumX += pushX[lane];
                sumZ += pushZ[lane];
                near += coincident[lane];
            }
            const auto i = size_t(cells[at].file);
            if (near > 1.5f) {
                // Coincident files part along a direction fixed by their indices, as if 0.1 apart.
                for (const auto& [from, to] : block) {
                    for (size_t s = from; s < to; ++s) {
                        const auto j = size_t(cells[s].file);
                        const float dx = px - xs[s], dz = pz - zs[s];
                        if (j == i || dx * dx + dz * dz >= 1e-8f)
                            continue;
                        sumX += float(qint64(i % 7) - 3) * strength / 0.01f;
                        sumZ += float(qint64(j % 7) - 3) * strength / 0.01f;
                    }
                }
            }
            m_displacement[i].x += sumX;
            m_displacement[i].z += sumZ;
        }
        run = runEnd;
    }
}

void Forces::step(int iteration)
{
    const size_t n = positions.size();
    std::fill(m_displacement.begin(), m_displacement.end(), Point {});
    repel();

    for (const auto& [from, to] : m_graph.edges) {
        Point& a = m_displacement[size_t(from)];
        Point& b = m_displacement[size_t(to)];
        const float dx = positions[size_t(to)].x - positions[size_t(from)].x;
        const float dz = positions[size_t(to)].z - positions[size_t(from)].z;
        const float dist = std::max(std::sqrt(dx * dx + dz * dz), 0.001f);
        const float pull = dist / m_k * 0.06f; // (d / dist) × dist² / k × 0.06
        a.x += dx * pull;
        a.z += dz * pull;
        b.x -= dx * pull;
        b.z -= dz * pull;
    }

    const auto groups = static_cast<size_t>(m_groupCount);
    std::vector<double> sumX(groups), sumZ(groups);
    std::vector<qint32> members(groups);
    for (size_t i = 0; i < n; ++i) {
        const auto g = size_t(m_group[i]);
        sumX[g] += positions[i].x;
        sumZ[g] += positions[i].z;
        ++members[g];
    }
    for (size_t i = 0; i < n; ++i) {
        const auto g = size_t(m_group[i]);
        const auto centreX = float(sumX[g] / members[g]);
        const auto centreZ = float(sumZ[g] / members[g]);
        m_displacement[i].x += (centreX - positions[i].x) * 0.02f - positions[i].x * 0.004f;
        m_displacement[i].z += (centreZ - positions[i].z) * 0.02f - positions[i].z * 0.004f;
    }

    const float temperature = m_k * 1.2f * (1 - float(iteration) / float(m_iterations)) + 0.05f;
    for (size_t i = 0; i < n; ++i) {
        Point& v = velocities[i];
        v.x = (v.x + m_displacement[i].x * 0.02f) * 0.82f;
        v.z = (v.z + m_displacement[i].z * 0.02f) * 0.82f;
        const float speed = std::sqrt(v.x * v.x + v.z * v.z);
        if (speed > temperature) {
            v.x *= temperature / speed;
            v.z *= temperature / speed;
        }
        positions[i].x += v.x;
        positions[i].z += v.z;
    }
}

float Forces::idealDistanceFor(size_t files)
{
    return files > 0 ? std::max(spiralRadius(files) / std::sqrt(float(files)) * 2.2f, 2.2f) : 2.2f;
}

std::optional<std::vector<Point>> settle(const DependencyGraph& graph, const CancelFlagPtr& cancel)
{
    if (graph.files.empty())
        return std::vector<Point> {};
    Forces forces(graph);
    for (int iteration = 0; iteration < forces.iterations(); ++iteration) {
        if (cancel && cancel->isCancelled())
            return std::nullopt;
        forces.step(iteration);
    }
    return std::move(forces.positions);
}

namespace {

bool isWithin(const FileNode& node, const FileNode& folder)
{
    for (const FileNode* at = &node; at; at = at->parent) {
        if (at == &folder)
            return true;
    }
    return false;
}

} // namespace

LayoutResult place(const FileNode& root, const DependencyGraph& graph, const std::vector<Point>& positions,
    HeightMode height, float scale)
{
    LayoutResult result;
    result.metric = { height, 1 };
    if (graph.files.empty() || !graph.root || positions.size() != graph.files.size()
        || !isWithin(root, *graph.root))
        return result;
    const size_t n = graph.files.size();
    // The placement of each file drawn, by graph index; -1 for files outside the root.
    std::vector<qint32> placed(n, -1);
    double maxValue = 1;
    for (size_t i = 0; i < n; ++i) {
        if (&root != graph.root && !isWithin(*graph.files[i], root))
            continue;
        placed[i] = 0;
        if (height != HeightMode::flat)
            maxValue = std::max(maxValue, heightMeasure(*graph.files[i], height));
    }
    // The peak follows the whole graph, so that a folder's files keep their heights when it is
    // looked at alone.
    const float peak = scale * std::clamp(spiralRadius(n) * 0.5f, 6.0f, 26.0f);
    result.peak = peak;
    result.metric = { height, maxValue };
    for (size_t i = 0; i < n; ++i) {
        if (placed[i] < 0)
            continue;
        const FileNode& file = *graph.files[i];
        const double t = height == HeightMode::flat
            ? 0.12
            : std::pow(std::max(heightMeasure(file, height), 0.0) / maxValue, 0.62);
        const float tall = std::max(peak * float(t) + 0.2f, 0.2f);
        const float width = std::min(std::sqrt(float(graph.incoming[i].size())) * 0.24f + 0.75f, 2.4f);
        const Point at = positions[i];
        placed[i] = qint32(result.placements.size());
        result.placements.push_back({ &file, PlacementKind::building, { at.x, 0, at.z },
            { width, tall, width }, tall > 0.3f * peak, 1, false });
        if (!result.tallest || tall > result.tallest->size.y)
            result.tallest = result.placements.back();
    }
    if (result.placements.empty())
        return result;

    // Links run roof to roof, so that buildings in front of them never hide them.
    for (const auto& [from, to] : graph.edges) {
        if (placed[size_t(from)] < 0 || placed[size_t(to)] < 0)
            continue;
        const Placement& a = result.placements[size_t(placed[size_t(from)])];
        const Placement& b = result.placements[size_t(placed[size_t(to)])];
        result.edges.push_back({ { a.base.x, a.size.y, a.base.z }, { b.base.x, b.size.y, b.base.z } });
        result.edgeEnds.push_back({ a.file, b.file });
    }

    result.computeBounds();
    // The ground is a square around everything, one ideal distance wider on each side.
    const double margin = Forces::idealDistanceFor(n);
    const double side
        = std::max(result.maxBound.x - result.minBound.x, result.maxBound.z - result.minBound.z) + 2 * margin;
    const double centreX = (double(result.minBound.x) + result.maxBound.x) / 2;
    const double centreZ = (double(result.minBound.z) + result.maxBound.z) / 2;
    result.ground = { centreX - side / 2, centreZ - side / 2, side, side };
    return result;
}

LayoutResult build(const FileNode& root, const DependencyGraph& graph, HeightMode height, float scale)
{
    // A graph of another tree, or none, places nothing.
    return place(root, graph, graph.root == &root ? *settle(graph) : std::vector<Point> {}, height, scale);
}

} // namespace GraphLayout
