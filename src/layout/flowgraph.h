#pragma once

#include "document/webdocument.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <optional>
#include <vector>

// The functions of one document as boxes and the calls between them as arrows, in layers from left
// to right in the order things run: callers to the left of what they call. Pure: the view draws what
// this arranges.
class FlowGraph {
public:
    struct Edge {
        qsizetype from = 0; // node index
        qsizetype to = 0;
        bool upstream = false; // leads toward the focus, from a caller
        bool operator==(const Edge&) const = default;
    };

    struct Box {
        qsizetype index = 0; // node index
        QRectF rect;
        int layer = 0; // column, 0 at the left
        bool focus = false;
    };

    struct Arranged {
        std::vector<Box> boxes;
        std::vector<Edge> edges;
        QSizeF size;
        bool isEmpty() const { return boxes.empty(); }
        const Box* box(qsizetype index) const;
    };

    static constexpr int defaultReach = 2;
    static constexpr int maxReach = 12;

    // Box geometry, in view points.
    static constexpr double boxHeight = 28;
    static constexpr double minBoxWidth = 72;
    static constexpr double maxBoxWidth = 240;
    static constexpr double layerGap = 56;
    static constexpr double rowGap = 12;
    static constexpr double margin = 16;

    explicit FlowGraph(const WebDocument& document);

    // Every function that calls or is called by another function of the document.
    Arranged whole() const;
    // The function and those reached from it in at most `reach` steps along calls (callees, to the
    // right) and against them (callers, to the left).
    Arranged centred(qsizetype index, int reach = defaultReach) const;
    // Layers and rows for the given nodes and calls. Edges whose ends are not among `ids` are dropped.
    Arranged arrange(const QList<qsizetype>& ids, const std::vector<Edge>& edges,
        std::optional<qsizetype> focus = std::nullopt) const;

    // The box under a point, if any.
    static const Box* hit(const Arranged& graph, QPointF point);
    // The width a box needs for a name, as the view draws it.
    static double boxWidth(const QString& name);
    // The name a box shows.
    QString label(qsizetype index) const;

private:
    const WebDocument& m_document;
};

// How many pairs of edges between neighbouring layers cross, for arranged boxes.
qsizetype flowCrossings(const FlowGraph::Arranged& graph);
