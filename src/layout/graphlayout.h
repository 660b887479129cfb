#pragma once

#include "imports/dependencygraph.h"
#include "layout/layoutresult.h"
#include "scan/cancelflag.h"

#include <optional>
#include <vector>

namespace GraphLayout {

struct Point {
    float x = 0;
    float z = 0;
};

// The force simulation behind the imports view, one file a body: every file pushes its neighbours
// away, every import pulls its two files together, files of one folder drift to their folder's
// centre and everything is drawn gently to the origin, with a step length that cools to nothing.
// There is no randomness: the files start on a sunflower spiral in index order, so the same graph
// always settles the same way.
class Forces {
public:
    explicit Forces(const DependencyGraph& graph);

    int iterations() const { return m_iterations; }
    float idealDistance() const { return m_k; }
    static float idealDistanceFor(size_t files);

    // One iteration, 0-based: the step length shrinks as `iteration` nears iterations().
    void step(int iteration);

    std::vector<Point> positions;
    std::vector<Point> velocities;

private:
    void repel();

    const DependencyGraph& m_graph;
    float m_k;
    int m_iterations;
    std::vector<Point> m_displacement;
    std::vector<qint32> m_group; // per file: the index of its folder among the folders met
    qint32 m_groupCount = 0;
};

// Where the simulation leaves each file of the graph, by index; the costly half of the layout, which
// depends on the graph alone. Nothing once the flag is set (it is tested between iterations).
std::optional<std::vector<Point>> settle(const DependencyGraph& graph, const CancelFlagPtr& cancel = {});

// One building per file of the graph below `root` (the tree the graph was read from, or a folder of
// it), at its settled position; wider the more files import it, and a line for each import between
// two of those files from the importer's roof to the imported file's roof. A graph of another tree,
// or positions of another graph, give an empty result.
LayoutResult place(const FileNode& root, const DependencyGraph& graph, const std::vector<Point>& positions,
    HeightMode height, float scale = 1);

// Settles and places the whole graph; `root` must be the tree the graph was read from.
LayoutResult build(const FileNode& root, const DependencyGraph& graph, HeightMode height, float scale = 1);

} // namespace GraphLayout
