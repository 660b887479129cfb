#include "layout/graphlayout.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

struct Graphed {
    std::unique_ptr<FileNode> root;
    DependencyGraph graph;
};

// A finished tree from "path lines" rows, and a graph over its files with the given links.
Graphed graphOf(const QString& tree, const std::vector<std::pair<qint32, qint32>>& links = {})
{
    Graphed made { makeTree(tree), {} };
    made.graph = DependencyGraph::ofTree(*made.root);
    for (const auto& [from, to] : links)
        made.graph.link(from, to);
    return made;
}

// n files, `perFolder` to a folder, named so that tree order is index order.
QString files(int n, int perFolder, int lines = 10)
{
    QString text;
    for (int i = 0; i < n; ++i)
        text += u"d%1/f%2.c %3\n"_s.arg(i / perFolder, 3, 10, QChar(u'0'))
                    .arg(i, 4, 10, QChar(u'0'))
                    .arg(lines);
    return text;
}

float distance(const Placement& a, const Placement& b)
{
    return std::hypot(a.base.x - b.base.x, a.base.z - b.base.z);
}

} // namespace

TEST(GraphLayout, FilesStartOnASunflowerSpiral)
{
    const Graphed one = graphOf(u"a.c\n"_s);
    const GraphLayout::Forces single(one.graph);
    EXPECT_NEAR(single.positions[0].x, 2.6 * std::sqrt(0.5), 1e-5);
    EXPECT_NEAR(single.positions[0].z, 0, 1e-5);

    const Graphed many = graphOf(files(50, 50));
    const GraphLayout::Forces forces(many.graph);
    for (size_t i = 0; i < 50; ++i) {
        const double r = 2.6 * std::sqrt(double(i) + 0.5);
        const double angle = double(i) * 2.399963;
        EXPECT_NEAR(forces.positions[i].x, r * std::cos(angle), 1e-3) << i;
        EXPECT_NEAR(forces.positions[i].z, r * std::sin(angle), 1e-3) << i;
    }
    EXPECT_FLOAT_EQ(forces.idealDistance(), 5.72f);
    EXPECT_EQ(forces.iterations(), 260);
    EXPECT_EQ(GraphLayout::Forces(graphOf(files(700, 20)).graph).iterations(), 260);
    EXPECT_EQ(GraphLayout::Forces(graphOf(files(701, 20)).graph).iterations(), 160);
}

TEST(GraphLayout, CoincidentFilesArePushedApartAlongADirectionFixedByTheirIndices)
{
    // Every file in a folder of its own, so no folder pulls; the others far away from the pair.
    const Graphed made = graphOf(files(8, 1));
    GraphLayout::Forces forces(made.graph);
    for (size_t i = 0; i < 8; ++i)
        forces.positions[i] = { 1000.0f * float(i + 1), -1000.0f * float(i + 1) };
    forces.positions[2] = forces.positions[5] = {};
    forces.step(0);

    const float limit = forces.idealDistance() * 1.2f + 0.05f;
    const auto expectAlong = [&](size_t i, float x, float z) {
        const GraphLayout::Point v = forces.velocities[i];
        EXPECT_NEAR(std::hypot(v.x, v.z), limit, 1e-4) << "pushed as far as a step may go";
        EXPECT_NEAR(v.x / std::hypot(v.x, v.z), x / std::hypot(x, z), 1e-5);
        EXPECT_NEAR(v.z / std::hypot(v.x, v.z), z / std::hypot(x, z), 1e-5);
    };
    expectAlong(2, 2 % 7 - 3, 5 % 7 - 3);
    expectAlong(5, 5 % 7 - 3, 2 % 7 - 3);
    EXPECT_GT(std::hypot(forces.positions[2].x - forces.positions[5].x,
                  forces.positions[2].z - forces.positions[5].z),
        1.0f);
}

TEST(GraphLayout, TheSameGraphAlwaysGivesTheSameLayout)
{
    std::vector<std::pair<qint32, qint32>> links;
    for (qint32 i = 0; i < 800; ++i)
        links.emplace_back(i, (i * 37 + 11) % 800);
    const Graphed made = graphOf(files(800, 25), links);
    const LayoutResult first = GraphLayout::build(*made.root, made.graph, HeightMode::lines);
    const LayoutResult second = GraphLayout::build(*made.root, made.graph, HeightMode::lines);
    ASSERT_EQ(first.placements.size(), 800u);
    for (size_t i = 0; i < 800; ++i) {
        EXPECT_EQ(std::memcmp(&first.placements[i].base, &second.placements[i].base, sizeof(Vec3)), 0) << i;
        EXPECT_EQ(first.placements[i].file, made.graph.files[i]) << "one building per file, in index order";
    }
}

TEST(GraphLayout, FootprintsWidenWithImportersUpToALimit)
{
    // File 0 is imported by 25 files, file 26 by 100 and file 1 by one; the rest by none.
    std::vector<std::pair<qint32, qint32>> links;
    for (qint32 i = 1; i <= 25; ++i)
        links.emplace_back(i, 0);
    for (qint32 i = 27; i < 127; ++i)
        links.emplace_back(i, 26);
    links.emplace_back(2, 1);
    const Graphed made = graphOf(files(127, 10), links);
    const LayoutResult result = GraphLayout::build(*made.root, made.graph, HeightMode::lines);
    const auto width = [&](size_t i) { return result.placements[i].size.x; };
    EXPECT_NEAR(width(0), 1.95f, 1e-5);
    EXPECT_NEAR(width(26), 2.4f, 1e-5);
    EXPECT_NEAR(width(1), 0.99f, 1e-5);
    EXPECT_NEAR(width(3), 0.75f, 1e-5);
    for (const Placement& p : result.placements) {
        EXPECT_EQ(p.size.x, p.size.z);
        EXPECT_EQ(p.kind, PlacementKind::building);
        EXPECT_EQ(p.base.y, 0);
    }
}

TEST(GraphLayout, HeightsFollowTheMeasureUnderAPeakSetByTheFileCount)
{
    const Graphed small = graphOf(u"a.c 400\nb.c 100\nc.c 0\n"_s);
    const LayoutResult lines = GraphLayout::build(*small.root, small.graph, HeightMode::lines, 2);
    EXPECT_FLOAT_EQ(lines.peak, 12) << "2 × the least peak, 6";
    EXPECT_EQ(lines.metric.maxValue, 400);
    EXPECT_NEAR(lines.placements[0].size.y, 12.2f, 1e-4);
    EXPECT_NEAR(lines.placements[1].size.y, 12 * std::pow(0.25f, 0.62f) + 0.2f, 1e-4);
    EXPECT_NEAR(lines.placements[2].size.y, 0.2f, 1e-6);
    EXPECT_TRUE(lines.placements[0].setback);
    EXPECT_FALSE(lines.placements[2].setback);
    ASSERT_TRUE(lines.tallest);
    EXPECT_EQ(lines.tallest->file->name, u"a.c");

    const LayoutResult flat = GraphLayout::build(*small.root, small.graph, HeightMode::flat, 2);
    EXPECT_EQ(flat.metric.maxValue, 1);
    for (const Placement& p : flat.placements)
        EXPECT_NEAR(p.size.y, 12 * 0.12f + 0.2f, 1e-5);
    EXPECT_EQ(flat.tallest->file->name, u"a.c") << "the first of equals";

    const Graphed hundred = graphOf(files(100, 10));
    EXPECT_FLOAT_EQ(GraphLayout::build(*hundred.root, hundred.graph, HeightMode::size).peak, 13)
        << "√100 × 2.6 / 2";
    const Graphed many = graphOf(files(1000, 50));
    EXPECT_FLOAT_EQ(GraphLayout::build(*many.root, many.graph, HeightMode::churn, 0.5).peak, 13)
        << "0.5 × 26";
}

TEST(GraphLayout, EachImportIsALineBetweenTheRoofsOfItsTwoFiles)
{
    const Graphed made = graphOf(u"a.c 5\nb.c 50\nc.c 500\n"_s, { { 0, 2 }, { 1, 2 }, { 2, 0 } });
    const LayoutResult result = GraphLayout::build(*made.root, made.graph, HeightMode::lines);
    ASSERT_EQ(result.edges.size(), 3u);
    ASSERT_EQ(result.edgeEnds.size(), 3u);
    for (size_t e = 0; e < 3; ++e) {
        const auto [from, to] = made.graph.edges[e];
        const Placement& a = result.placements[size_t(from)];
        const Placement& b = result.placements[size_t(to)];
        EXPECT_EQ(result.edgeEnds[e].first, a.file);
        EXPECT_EQ(result.edgeEnds[e].second, b.file);
        EXPECT_EQ(result.edges[e].first.x, a.base.x);
        EXPECT_EQ(result.edges[e].first.y, a.size.y);
        EXPECT_EQ(result.edges[e].second.z, b.base.z);
        EXPECT_EQ(result.edges[e].second.y, b.size.y);
    }
    EXPECT_LE(result.ground.x, result.minBound.x);
    EXPECT_GE(result.ground.x + result.ground.width, result.maxBound.x);
    EXPECT_LE(result.ground.z, result.minBound.z);
    EXPECT_GE(result.ground.z + result.ground.depth, result.maxBound.z);
}

TEST(GraphLayout, OneStepAddsTheFolderPullTheImportPullAndGravity)
{
    // Two folders of two files, too far apart to push each other; the second pair is linked.
    const Graphed made = graphOf(files(4, 2), { { 2, 3 } });
    GraphLayout::Forces forces(made.graph);
    forces.positions = { { 0, 0 }, { 100, 0 }, { 0, 200 }, { 40, 200 } };
    forces.step(0);
    const float k = forces.idealDistance();
    const float pull = 40 * 40 / k * 0.06f;
    const GraphLayout::Point expected[] = {
        { 50 * 0.02f, 0 }, // towards the folder's centre
        { -50 * 0.02f - 100 * 0.004f, 0 }, // and towards the origin
        { pull + 20 * 0.02f, -200 * 0.004f },
        { -pull - 20 * 0.02f - 40 * 0.004f, -200 * 0.004f },
    };
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(forces.velocities[i].x, expected[i].x * 0.02f * 0.82f, 1e-5) << i;
        EXPECT_NEAR(forces.velocities[i].z, expected[i].z * 0.02f * 0.82f, 1e-5) << i;
    }
}

TEST(GraphLayout, FilesThatImportEachOtherEndUpClose)
{
    // Six folders of twelve files; file i of each folder imports file i of the next, for i < 4.
    std::vector<std::pair<qint32, qint32>> links;
    for (qint32 folder = 0; folder < 5; ++folder) {
        for (qint32 i = 0; i < 4; ++i)
            links.emplace_back(folder * 12 + i, (folder + 1) * 12 + i);
    }
    const Graphed made = graphOf(files(72, 12), links);
    const LayoutResult result = GraphLayout::build(*made.root, made.graph, HeightMode::lines);
    double linked = 0, unlinked = 0;
    int unlinkedCount = 0;
    for (const auto& [from, to] : made.graph.edges)
        linked += distance(result.placements[size_t(from)], result.placements[size_t(to)]);
    for (size_t a = 0; a < 60; ++a) {
        for (size_t b = (a / 12 + 1) * 12 + 4; b < (a / 12 + 2) * 12; ++b) {
            if (a % 12 >= 4)
                unlinked += distance(result.placements[a], result.placements[b]), ++unlinkedCount;
        }
    }
    EXPECT_LT(linked / double(made.graph.edges.size()), 0.5 * unlinked / unlinkedCount);
}

TEST(GraphLayout, NoFilesOrAGraphOfAnotherTreeGiveAnEmptyResult)
{
    const Graphed empty = graphOf(QString());
    const LayoutResult none = GraphLayout::build(*empty.root, empty.graph, HeightMode::lines);
    EXPECT_TRUE(none.placements.empty());
    EXPECT_FALSE(none.tallest);

    const Graphed made = graphOf(u"a.c\nb.c\n"_s, { { 0, 1 } });
    const auto other = makeTree(u"a.c\nb.c\n"_s);
    const LayoutResult stale = GraphLayout::build(*other, made.graph, HeightMode::lines);
    EXPECT_TRUE(stale.placements.empty());
    EXPECT_TRUE(stale.edges.empty());
}

TEST(GraphLayout, AFolderOfTheGraphKeepsItsFilesWhereTheWholeGraphSettledThem)
{
    // d000 holds files 0–3, d001 files 4–7; links inside d000, inside d001 and across.
    const Graphed made = graphOf(files(8, 4), { { 0, 1 }, { 1, 2 }, { 4, 5 }, { 2, 6 }, { 7, 3 } });
    const std::vector<GraphLayout::Point> settled = *GraphLayout::settle(made.graph);
    const LayoutResult whole = GraphLayout::place(*made.root, made.graph, settled, HeightMode::lines);
    ASSERT_EQ(whole.placements.size(), 8u);
    EXPECT_EQ(whole.edges.size(), 5u);

    const FileNode& folder = *made.root->find(u"d001"_s);
    const LayoutResult part = GraphLayout::place(folder, made.graph, settled, HeightMode::lines);
    ASSERT_EQ(part.placements.size(), 4u);
    for (const Placement& placement : part.placements) {
        EXPECT_EQ(placement.file->parent, &folder);
        const qint32 index = made.graph.fileSlots.value(placement.file);
        EXPECT_EQ(placement.base.x, settled[size_t(index)].x);
        EXPECT_EQ(placement.base.z, settled[size_t(index)].z);
    }
    ASSERT_EQ(part.edgeEnds.size(), 1u) << "only the link with both ends in the folder";
    EXPECT_EQ(part.edgeEnds[0].first->parent, &folder);
    EXPECT_EQ(part.edgeEnds[0].second->parent, &folder);
    EXPECT_EQ(part.peak, whole.peak) << "heights keep the whole graph's scale";

    // Positions of another graph, or a tree the graph was not read from, place nothing.
    EXPECT_TRUE(
        GraphLayout::place(*made.root, made.graph, { settled.begin(), settled.end() - 1 }, HeightMode::lines)
            .placements.empty());
    const auto other = makeTree(files(8, 4));
    EXPECT_TRUE(GraphLayout::place(*other, made.graph, settled, HeightMode::lines).placements.empty());
}
