#include "layout/codetreemap.h"
#include "document/webreader.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A script of classes with methods of varied lengths, functions nested `nesting` deep and a few
// plain top-level functions.
WebDocument sample(int nesting)
{
    QByteArray text;
    for (int c = 0; c < 3; ++c) {
        text += "class Shape" + QByteArray::number(c) + " {\n";
        for (int m = 0; m < 4; ++m) {
            text += "  method" + QByteArray::number(m) + "() {\n";
            text += QByteArray(" x();\n").repeated(1 + 3 * m + c);
            text += "  }\n";
        }
        text += "}\n";
    }
    for (int d = 0; d < nesting; ++d)
        text += "function level" + QByteArray::number(d) + "() {\n  work();\n";
    for (int d = 0; d < nesting; ++d)
        text += "}\n";
    for (int f = 0; f < 5; ++f)
        text += "function plain" + QByteArray::number(f) + "() {\n" + QByteArray(" y();\n").repeated(f * 4)
            + "}\n";
    return *WebReader::read(text, u"js");
}

struct SizeRow {
    const char* label;
    double width;
    double height;
};

void PrintTo(const SizeRow& row, std::ostream* out)
{
    *out << row.label;
}

} // namespace

class CodeTreemapTiles : public testing::TestWithParam<SizeRow> { };

TEST_P(CodeTreemapTiles, NestInsideTheirParentsAndTileWithoutOverlap)
{
    const WebDocument document = sample(9);
    const CodeTreemap treemap(document, WebStream::script);
    const QSizeF size(GetParam().width, GetParam().height);
    const std::vector<CodeTreemap::Tile> tiles = treemap.layout(size);
    ASSERT_FALSE(tiles.empty());
    const QRectF view(6, 6, size.width() - 12, size.height() - 12);
    QHash<qsizetype, QRectF> boxes; // the body of each part's box
    QHash<qsizetype, size_t> order;
    const double slack = 1e-6;
    for (size_t i = 0; i < tiles.size(); ++i) {
        const CodeTreemap::Tile& tile = tiles[i];
        if (tile.header) {
            ASSERT_TRUE(boxes.contains(tile.index)) << "a header follows its box";
            EXPECT_FALSE(tiles[order.value(tile.index)].leaf);
            EXPECT_DOUBLE_EQ(tile.rect.height(), 15);
            continue;
        }
        boxes.insert(tile.index, tile.rect);
        order.insert(tile.index, i);
        const std::optional<qsizetype> parent = document.nodes[size_t(tile.index)].parent;
        const QRectF outer = tile.depth == 0 ? view : boxes.value(*parent);
        EXPECT_TRUE(tile.depth == 0 || order.value(*parent) < i) << "parents come before their contents";
        EXPECT_TRUE(outer.adjusted(-slack, -slack, slack, slack).contains(tile.rect)) << tile.index;
        const bool big = tile.rect.width() > 46 && tile.rect.height() > 34 && tile.depth < 7;
        EXPECT_EQ(tile.leaf, !(big && !document.nodes[size_t(tile.index)].children.isEmpty())) << tile.index;
        EXPECT_LE(tile.depth, 7);
    }
    // Siblings share no area.
    for (const CodeTreemap::Tile& a : tiles) {
        for (const CodeTreemap::Tile& b : tiles) {
            if (&a == &b || a.header || b.header || a.depth != b.depth
                || document.nodes[size_t(a.index)].parent != document.nodes[size_t(b.index)].parent)
                continue;
            const QRectF overlap = a.rect.intersected(b.rect);
            EXPECT_LT(overlap.width() * overlap.height(), 1e-6) << a.index << " and " << b.index;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, CodeTreemapTiles,
    testing::Values(SizeRow { "large", 1600, 1200 }, SizeRow { "wide", 1200, 160 },
        SizeRow { "tall", 160, 1200 }, SizeRow { "small", 120, 90 }),
    [](const auto& info) { return std::string(info.param.label); });

TEST(CodeTreemap, WeightsFollowTheLinesOfCodeAndTheDeepestBoxesAreLeaves)
{
    const WebDocument document = sample(9);
    const CodeTreemap treemap(document, WebStream::script);
    QHash<qsizetype, double> cache;
    for (const WebDocument::Node& node : document.nodes) {
        if (node.role == WebRole::method || (node.role == WebRole::function && node.children.isEmpty())) {
            EXPECT_EQ(
                treemap.weight(node.id, cache), double(std::max<qint64>(node.endLine - node.line + 1, 1)));
        }
        if (node.role == WebRole::klass) {
            double children = 0;
            for (const qsizetype child : node.children)
                children += treemap.weight(child, cache);
            EXPECT_EQ(
                treemap.weight(node.id, cache), std::max(children, double(node.endLine - node.line + 1)));
        }
    }
    const std::vector<CodeTreemap::Tile> tiles = treemap.layout(QSizeF(4000, 4000));
    const auto deepest = std::max_element(
        tiles.begin(), tiles.end(), [](const auto& a, const auto& b) { return a.depth < b.depth; });
    EXPECT_EQ(deepest->depth, 7);
    EXPECT_TRUE(deepest->leaf);
}

TEST(CodeTreemap, AFilterShowsOnlyTheChosenPartsAndHitFindsTheInnermost)
{
    const WebDocument document = sample(2);
    QSet<qsizetype> shown;
    qsizetype method = -1;
    for (const WebDocument::Node& node : document.nodes) {
        if (node.name == u"method3" && document.nodes[size_t(*node.parent)].name == u"Shape1") {
            method = node.id;
            for (std::optional<qsizetype> at = node.id; at; at = document.nodes[size_t(*at)].parent)
                shown.insert(*at);
        }
    }
    const std::vector<CodeTreemap::Tile> tiles
        = CodeTreemap(document, WebStream::script, shown).layout(QSizeF(800, 600));
    for (const CodeTreemap::Tile& tile : tiles)
        EXPECT_TRUE(shown.contains(tile.index)) << tile.index;
    const auto leaf
        = std::find_if(tiles.begin(), tiles.end(), [&](const auto& t) { return t.index == method; });
    ASSERT_NE(leaf, tiles.end());
    EXPECT_EQ(CodeTreemap::hit(tiles, leaf->rect.center())->index, method);
    EXPECT_TRUE(CodeTreemap::hit(tiles, tiles.front().rect.topLeft() + QPointF(1, 1))->header);
    EXPECT_EQ(CodeTreemap::hit(tiles, QPointF(1, 1)), nullptr) << "the inset belongs to no tile";
    EXPECT_TRUE(CodeTreemap(document, WebStream::script).layout(QSizeF(8, 8)).empty());
}
