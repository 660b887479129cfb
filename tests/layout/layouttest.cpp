#include "layout/citylayout.h"
#include "layout/treelayout.h"
#include "scan/scanner.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QHash>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// n files spread over folders of `perFolder` files, two levels deep.
std::unique_ptr<FileNode> wide(int n, int perFolder)
{
    QString text;
    for (int i = 0; i < n; ++i)
        text += u"p%1/m%2/f%3.c %4\n"_s.arg(i / (perFolder * 10)).arg(i / perFolder).arg(i).arg(i % 500);
    return makeTree(text);
}

const Placement& find(const LayoutResult& result, const QString& path, PlacementKind kind)
{
    for (const Placement& p : result.placements) {
        if (p.file->relativePath == path && p.kind == kind)
            return p;
    }
    ADD_FAILURE() << "no placement for " << path.toStdString();
    return result.placements.front();
}

// Every building stands inside its folder's lot, and sibling lots do not overlap.
void expectNested(const LayoutResult& result)
{
    QHash<const FileNode*, const Placement*> lots;
    for (const Placement& p : result.placements) {
        if (p.kind == PlacementKind::paving && p.file->isDirectory)
            lots.insert(p.file, &p);
    }
    const auto inside = [](const Placement& inner, const Placement& outer) {
        constexpr float e = 1e-3f;
        return std::abs(inner.base.x - outer.base.x) + inner.size.x / 2 <= outer.size.x / 2 + e
            && std::abs(inner.base.z - outer.base.z) + inner.size.z / 2 <= outer.size.z / 2 + e;
    };
    for (const Placement& p : result.placements) {
        const Placement* lot = lots.value(p.file->parent);
        if (lot) {
            EXPECT_TRUE(inside(p, *lot)) << p.file->relativePath.toStdString();
        }
    }
    for (const Placement* a : lots) {
        for (const Placement* b : lots) {
            if (a == b || a->file->parent != b->file->parent)
                continue;
            const bool apart = std::abs(a->base.x - b->base.x) >= (a->size.x + b->size.x) / 2 - 1e-3f
                || std::abs(a->base.z - b->base.z) >= (a->size.z + b->size.z) / 2 - 1e-3f;
            EXPECT_TRUE(apart) << a->file->relativePath.toStdString() << " and "
                               << b->file->relativePath.toStdString();
        }
    }
}

void expectRect(const TMRect& r, double x, double z, double width, double depth)
{
    EXPECT_NEAR(r.x, x, 1e-9);
    EXPECT_NEAR(r.z, z, 1e-9);
    EXPECT_NEAR(r.width, width, 1e-9);
    EXPECT_NEAR(r.depth, depth, 1e-9);
}

} // namespace

TEST(Treemap, TilesInProportionWithColumnsOnWideRectsAndRowsOnTallOnes)
{
    expectRect(Treemap::squarify({ 5 }, { 1, 2, 3, 4 })[0], 1, 2, 3, 4);
    const auto squares = Treemap::squarify({ 1, 1, 1, 1 }, { 0, 0, 2, 2 });
    expectRect(squares[0], 0, 0, 1, 1);
    expectRect(squares[1], 0, 1, 1, 1);
    expectRect(squares[2], 1, 0, 1, 1);
    expectRect(squares[3], 1, 1, 1, 1);
    // Equal worst ratios take the item into the row: two halves share the first column.
    expectRect(Treemap::squarify({ 1, 1, 1, 1 }, { 0, 0, 2, 1 })[0], 0, 0, 1, 0.5);
    // A tall rectangle fills rows from the top.
    expectRect(Treemap::squarify({ 1, 1, 1, 1 }, { 0, 0, 1, 2 })[0], 0, 0, 0.5, 1);
}

TEST(Treemap, ZeroWeightsGetASliverAndNothingGivesCorners)
{
    const auto tiles = Treemap::squarify({ 3, 0, 1 }, { 0, 0, 4, 1 });
    EXPECT_GT(tiles[1].width * tiles[1].depth, 0);
    EXPECT_LT(tiles[1].width * tiles[1].depth, 1e-6);
    for (const TMRect& r : Treemap::squarify({ 0, 0 }, { 5, 6, 7, 8 }))
        expectRect(r, 5, 6, 0, 0);
    for (const TMRect& r : Treemap::squarify({ 1, 2 }, { 5, 6, 0, 8 }))
        expectRect(r, 5, 6, 0, 0);
    EXPECT_TRUE(Treemap::squarify({}, { 0, 0, 1, 1 }).empty());
}

TEST(Aggregation, TakesDeeperFoldersFirstAndOnlyFoldersOfMoreThanElevenFiles)
{
    QString text;
    for (int i = 0; i < 11; ++i)
        text += u"eleven/f%1\n"_s.arg(i);
    for (int i = 0; i < 13; ++i)
        text += u"x/f%1\n"_s.arg(i);
    for (int i = 0; i < 20; ++i)
        text += u"x/y/f%1\n"_s.arg(i);
    const auto root = makeTree(text); // 44 files
    const auto names = [&](qint64 budget) {
        QStringList taken;
        for (const FileNode* node : Aggregation::collapse(*root, budget))
            taken << node->relativePath;
        taken.sort();
        return taken.join(u' ');
    };
    EXPECT_EQ(names(44), u"");
    EXPECT_EQ(names(30), u"x/y"); // 44 - 19 = 25 left
    EXPECT_EQ(names(5), u"x x/y"); // the ancestor too, while over budget; never the 11-file folder
}

TEST(CityLayout, FilesStandOnTheirLotsAtTheLotsHeight)
{
    const auto root = makeTree(u"top.c 1\nsrc/a.c 900\nsrc/b.c 0\n"_s);
    const LayoutResult city = CityLayout::build(*root, HeightMode::lines);
    EXPECT_FLOAT_EQ(city.peak, 6);
    // Pavings first, then each lot's buildings: the top-level file on its own paving tile.
    ASSERT_EQ(city.placements.size(), 5u);
    EXPECT_EQ(city.placements[0].file->relativePath, u"src");
    EXPECT_EQ(city.placements[0].kind, PlacementKind::paving);
    EXPECT_FLOAT_EQ(city.placements[0].base.y, 0.012f);
    const Placement& a = find(city, u"src/a.c"_s, PlacementKind::building);
    EXPECT_FLOAT_EQ(a.base.y, 0.012f);
    EXPECT_FLOAT_EQ(a.size.y, 6 + 0.16f);
    EXPECT_FLOAT_EQ(find(city, u"src/b.c"_s, PlacementKind::building).size.y, 0.16f);
    const Placement& topPaving = find(city, u"top.c"_s, PlacementKind::paving);
    const Placement& top = find(city, u"top.c"_s, PlacementKind::building);
    EXPECT_FLOAT_EQ(topPaving.base.y, 0.006f);
    EXPECT_EQ(topPaving.depth, 1);
    EXPECT_FLOAT_EQ(top.base.y, 0);
    // A 1-line file covers 0.628 of its lot per side; 900 lines 0.86.
    EXPECT_NEAR(top.size.x / (topPaving.size.x / 0.94f), 0.628, 1e-4);
    const Placement& b = find(city, u"src/b.c"_s, PlacementKind::building);
    EXPECT_NEAR(a.size.x * a.size.z / (b.size.x * b.size.z), std::pow(0.86 / 0.628, 2), 1e-4); // equal tiles
    EXPECT_EQ(city.tallest->file->relativePath, u"src/a.c");
    EXPECT_EQ(city.maxDepth, 1);
    expectNested(city);
}

TEST(CityLayout, FlatHeightsAndAggregatedFolders)
{
    const auto root = wide(6000, 30);
    const LayoutResult flat = CityLayout::build(*root, HeightMode::flat, 2);
    qint64 buildings = 0;
    for (const Placement& p : flat.placements) {
        if (p.kind != PlacementKind::building)
            continue;
        ++buildings;
        EXPECT_FLOAT_EQ(p.size.y, flat.peak * 0.12f + 0.16f);
        EXPECT_FALSE(p.aggregate && p.setback);
    }
    EXPECT_GT(flat.aggregated, 0);
    EXPECT_LE(buildings, Aggregation::budget);
    EXPECT_GE(buildings, Aggregation::budget - 30);
    expectNested(flat);

    // Restricted to some nodes, nothing is drawn whole and only those nodes stand.
    NodeSet only { root->children[0].get(), root->children[0]->children[0].get() };
    for (const auto& file : root->children[0]->children[0]->children)
        only.insert(file.get());
    const LayoutResult part = CityLayout::build(*root, HeightMode::lines, 1, {}, &only);
    EXPECT_EQ(part.aggregated, 0);
    for (const Placement& p : part.placements)
        EXPECT_TRUE(only.contains(p.file)) << p.file->relativePath.toStdString();
}

TEST(CityLayout, ARealFolderNestsItsLots)
{
    auto scanned = Scanner(QStringLiteral(KORVANE_SOURCE_DIR "/src"), std::make_shared<CancelFlag>()).scan();
    ASSERT_TRUE(std::holds_alternative<ScanResult>(scanned));
    const FileNode& root = *std::get<ScanResult>(scanned).root;
    for (const HeightMode mode : { HeightMode::lines, HeightMode::size, HeightMode::churn })
        expectNested(CityLayout::build(root, mode));
}

TEST(TreeLayout, ChildrenStandOnRingsBelowTheirFolder)
{
    const auto root = makeTree(u"one/only.c 10\na.c 0\nb.c 0\n"_s);
    const LayoutResult result = TreeLayout::build(*root, HeightMode::lines);
    EXPECT_EQ(result.edges.size(), 4u);
    EXPECT_EQ(result.edgeEnds.size(), 4u);
    // The root's three children share its ring; the first span starts at angle 0.
    const Placement& one = find(result, u"one"_s, PlacementKind::junction);
    const Placement& only = find(result, u"one/only.c"_s, PlacementKind::building);
    EXPECT_FLOAT_EQ(only.base.x, one.base.x); // a single child stands straight below
    EXPECT_FLOAT_EQ(only.base.z, one.base.z);
    EXPECT_FLOAT_EQ(only.base.y, one.base.y - 5);
    EXPECT_FLOAT_EQ(find(result, u"a.c"_s, PlacementKind::building).size.y, 0.2f);
    EXPECT_FLOAT_EQ(only.size.y, 7 + 0.2f);
    EXPECT_EQ(result.edgeEnds[0].first, root.get());
    EXPECT_FLOAT_EQ(result.edges[0].first.y, 0.11f);
    EXPECT_EQ(result.maxDepth, 1);
}

TEST(TreeLayout, SiblingsShareTheRingByTheirRadius)
{
    const auto root = makeTree(u"a.c\nb.c\n"_s);
    const LayoutResult result = TreeLayout::build(*root, HeightMode::flat);
    // Two files of radius 0.55: spans of pi each, the first centred at pi/2, on a ring of 1.05.
    const Placement& a = find(result, u"a.c"_s, PlacementKind::building);
    const Placement& b = find(result, u"b.c"_s, PlacementKind::building);
    EXPECT_NEAR(a.base.x, 0, 1e-5);
    EXPECT_NEAR(a.base.z, 1.05, 1e-5);
    EXPECT_NEAR(b.base.z, -1.05, 1e-5);
    EXPECT_FLOAT_EQ(a.base.y, -5);
    EXPECT_FLOAT_EQ(a.size.y, 7 * 0.12f + 0.2f);
}
