#include "document/webreader.h"
#include "layout/flowgraph.h"

#include <gtest/gtest.h>

#include <QMap>

using namespace Qt::StringLiterals;

namespace {

// A script of functions from lines such as "a: b c" (a calls b and c); a name alone defines a
// function that calls nothing.
WebDocument script(const QStringList& functions)
{
    QByteArray text;
    for (const QString& line : functions) {
        const QStringList parts = line.split(u':');
        text += "function " + parts[0].trimmed().toUtf8() + "() {\n";
        if (parts.size() > 1) {
            for (const QString& callee : parts[1].split(u' ', Qt::SkipEmptyParts))
                text += "  " + callee.toUtf8() + "();\n";
        }
        text += "}\n";
    }
    return *WebReader::read(text, u"js");
}

qsizetype idOf(const WebDocument& document, const QString& name)
{
    for (const WebDocument::Node& node : document.nodes) {
        if (node.name == name && isCallableRole(node.role))
            return node.id;
    }
    ADD_FAILURE() << "no function " << name.toStdString();
    return -1;
}

// "name layer" for every box, by name.
QMap<QString, int> layers(const WebDocument& document, const FlowGraph::Arranged& graph)
{
    QMap<QString, int> out;
    for (const FlowGraph::Box& box : graph.boxes)
        out.insert(document.nodes[size_t(box.index)].name, box.layer);
    return out;
}

// The names of one layer from top to bottom.
QStringList column(const WebDocument& document, const FlowGraph::Arranged& graph, int layer)
{
    std::vector<const FlowGraph::Box*> boxes;
    for (const FlowGraph::Box& box : graph.boxes)
        if (box.layer == layer)
            boxes.push_back(&box);
    std::sort(boxes.begin(), boxes.end(), [](auto* a, auto* b) { return a->rect.top() < b->rect.top(); });
    QStringList names;
    for (const FlowGraph::Box* box : boxes)
        names << document.nodes[size_t(box->index)].name;
    return names;
}

struct ArrangeRow {
    const char* label;
    QStringList functions; // the script
    QStringList edges; // "a b": an edge from a to b handed to arrange
    QMap<QString, int> layers;
};

void PrintTo(const ArrangeRow& row, std::ostream* out)
{
    *out << row.label;
}

} // namespace

class FlowLayers : public testing::TestWithParam<ArrangeRow> { };

TEST_P(FlowLayers, PutEachFunctionRightOfItsCallersAndEndDespiteCycles)
{
    const WebDocument document = script(GetParam().functions);
    const FlowGraph flow(document);
    QList<qsizetype> ids;
    for (const QString& line : GetParam().functions)
        ids << idOf(document, line.split(u':')[0].trimmed());
    std::vector<FlowGraph::Edge> edges;
    for (const QString& edge : GetParam().edges) {
        const QStringList ends = edge.split(u' ');
        edges.push_back({ idOf(document, ends[0]), idOf(document, ends[1]), false });
    }
    const FlowGraph::Arranged graph = flow.arrange(ids, edges);
    EXPECT_EQ(layers(document, graph), GetParam().layers);
    EXPECT_EQ(graph.boxes.size(), size_t(ids.size()));
}

INSTANTIATE_TEST_SUITE_P(Table, FlowLayers,
    testing::Values(ArrangeRow { "selfCall", { u"a"_s, u"b"_s }, { u"a a"_s, u"a b"_s },
                        { { u"a"_s, 0 }, { u"b"_s, 1 } } },
        ArrangeRow { "mutualRecursion", { u"a"_s, u"b"_s, u"c"_s }, { u"a b"_s, u"b a"_s, u"b c"_s },
            { { u"a"_s, 0 }, { u"b"_s, 1 }, { u"c"_s, 2 } } },
        ArrangeRow { "twoUnrelatedChains", { u"a"_s, u"b"_s, u"c"_s, u"x"_s, u"y"_s },
            { u"a b"_s, u"b c"_s, u"x y"_s },
            { { u"a"_s, 0 }, { u"b"_s, 1 }, { u"c"_s, 2 }, { u"x"_s, 0 }, { u"y"_s, 1 } } },
        ArrangeRow { "chainStartingLateInTheDocument", { u"y"_s, u"x"_s }, { u"x y"_s },
            { { u"x"_s, 0 }, { u"y"_s, 1 } } },
        ArrangeRow { "longestPathWins", { u"a"_s, u"b"_s, u"c"_s }, { u"a b"_s, u"b c"_s, u"a c"_s },
            { { u"a"_s, 0 }, { u"b"_s, 1 }, { u"c"_s, 2 } } },
        ArrangeRow { "bigCycle", { u"a"_s, u"b"_s, u"c"_s, u"d"_s },
            { u"a b"_s, u"b c"_s, u"c d"_s, u"d a"_s },
            { { u"a"_s, 0 }, { u"b"_s, 1 }, { u"c"_s, 2 }, { u"d"_s, 3 } } }),
    [](const auto& info) { return std::string(info.param.label); });

TEST(FlowGraph, BarycentresUntangleCrossedCalls)
{
    // In document order the callees stand as d, c, f, e: every call crosses another.
    const WebDocument document
        = script({ u"a: c"_s, u"b: d"_s, u"g: f"_s, u"h: e"_s, u"d"_s, u"c"_s, u"f"_s, u"e"_s });
    const FlowGraph::Arranged graph = FlowGraph(document).whole();
    EXPECT_EQ(flowCrossings(graph), 0);
    EXPECT_EQ(column(document, graph, 0), (QStringList { u"a"_s, u"b"_s, u"g"_s, u"h"_s }));
    EXPECT_EQ(column(document, graph, 1), (QStringList { u"c"_s, u"d"_s, u"f"_s, u"e"_s }));
}

TEST(FlowGraph, EqualCentresKeepTheirOrder)
{
    const WebDocument document = script({ u"a: z y x"_s, u"z"_s, u"y"_s, u"x"_s });
    const FlowGraph::Arranged graph = FlowGraph(document).whole();
    EXPECT_EQ(column(document, graph, 1), (QStringList { u"z"_s, u"y"_s, u"x"_s }));
}

TEST(FlowGraph, AFunctionWithNoCallIntoTheNextLayerKeepsItsRow)
{
    // f9 calls only f8, two layers to its right: the sweeps have nothing to move it by, so it stays
    // below the callers it started below.
    const WebDocument document = script({ u"f1"_s, u"f2: f3"_s, u"f3: f8"_s, u"f4"_s, u"f5: f1"_s, u"f6"_s,
        u"f7: f6"_s, u"f8: f4"_s, u"f9: f8"_s });
    const FlowGraph::Arranged graph = FlowGraph(document).whole();
    EXPECT_EQ(column(document, graph, 0), (QStringList { u"f2"_s, u"f5"_s, u"f7"_s, u"f9"_s }));
    EXPECT_EQ(column(document, graph, 1), (QStringList { u"f3"_s, u"f1"_s, u"f6"_s }));
    EXPECT_EQ(flowCrossings(graph), 0);
}

TEST(FlowGraph, ACentredCycleIsBrokenSoTheFocusStaysLeftOfWhatItCalls)
{
    const WebDocument document = script({ u"a: b"_s, u"b: a"_s });
    const FlowGraph flow(document);
    const qsizetype b = idOf(document, u"b"_s);
    EXPECT_EQ(layers(document, flow.whole()), (QMap<QString, int> { { u"a"_s, 0 }, { u"b"_s, 1 } }));
    EXPECT_EQ(layers(document, flow.centred(b, 1)), (QMap<QString, int> { { u"a"_s, 1 }, { u"b"_s, 0 } }));
}

TEST(FlowGraph, TheWholeGraphLeavesOutFunctionsWithoutCalls)
{
    const WebDocument document = script({ u"a: a b"_s, u"b: a"_s, u"lonely"_s });
    const FlowGraph::Arranged graph = FlowGraph(document).whole();
    EXPECT_EQ(layers(document, graph), (QMap<QString, int> { { u"a"_s, 0 }, { u"b"_s, 1 } }));
    EXPECT_EQ(graph.edges.size(), 2u) << "a → b and b → a; the self-call makes no link";
    EXPECT_TRUE(FlowGraph(script({ u"a"_s, u"b"_s })).whole().isEmpty());
}

TEST(FlowGraph, ACentredGraphFollowsTheReachBothWays)
{
    const WebDocument document
        = script({ u"a: b"_s, u"b: c"_s, u"c: d"_s, u"d: e"_s, u"e"_s, u"other: a"_s });
    const FlowGraph flow(document);
    const qsizetype c = idOf(document, u"c"_s);
    const FlowGraph::Arranged near = flow.centred(c, 1);
    EXPECT_EQ(layers(document, near), (QMap<QString, int> { { u"b"_s, 0 }, { u"c"_s, 1 }, { u"d"_s, 2 } }));
    ASSERT_EQ(near.edges.size(), 2u);
    for (const FlowGraph::Edge& edge : near.edges)
        EXPECT_EQ(edge.upstream, edge.to == c) << "the call from b leads toward the focus";
    EXPECT_TRUE(near.box(c)->focus);
    EXPECT_FALSE(near.box(idOf(document, u"b"_s))->focus);

    const FlowGraph::Arranged far = flow.centred(c, 3);
    EXPECT_EQ(far.boxes.size(), 6u);
    EXPECT_EQ(layers(document, far).value(u"other"_s), 0);
    EXPECT_TRUE(flow.centred(idOf(document, u"other"_s), 1).box(idOf(document, u"a"_s)));
    EXPECT_TRUE(FlowGraph(script({ u"a"_s, u"b: b"_s })).centred(1, 2).isEmpty()) << "no callers, no callees";
}

TEST(FlowGraph, BoxesFitTheirNamesWithoutOverlapAndAreFoundByPoint)
{
    const WebDocument document = script({ u"a: b c shortName aVeryMuchLongerFunctionNameThanTheOthers"_s,
        u"b"_s, u"c"_s, u"shortName"_s, u"aVeryMuchLongerFunctionNameThanTheOthers"_s });
    const FlowGraph::Arranged graph = FlowGraph(document).whole();
    const QRectF shortBox = graph.box(idOf(document, u"shortName"_s))->rect;
    const QRectF longBox = graph.box(idOf(document, u"aVeryMuchLongerFunctionNameThanTheOthers"_s))->rect;
    EXPECT_GT(longBox.width(), shortBox.width());
    for (const FlowGraph::Box& box : graph.boxes) {
        EXPECT_TRUE(QRectF(QPointF(0, 0), graph.size).contains(box.rect));
        for (const FlowGraph::Box& other : graph.boxes)
            EXPECT_TRUE(&box == &other || !box.rect.intersects(other.rect));
        EXPECT_EQ(FlowGraph::hit(graph, box.rect.center())->index, box.index);
    }
    EXPECT_EQ(FlowGraph::hit(graph, QPointF(-5, -5)), nullptr);
}
