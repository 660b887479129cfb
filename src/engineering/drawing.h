#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <optional>
#include <span>
#include <vector>

class SExpr;

// A board or a schematic flattened into 2D items for drawing: every footprint, symbol and pin is
// already placed, so a painter needs no knowledge of the file. Millimetres, in the file's own frame
// with y pointing down; angles in degrees, counter-clockwise as seen.

enum class DrawingKind : quint8 { board, schematic };

// The points an item keeps, in order, are given beside each kind.
enum class DrawingItemKind : quint8 {
    track, // start, end; width
    trackArc, // start, mid, end; width
    via, // centre; size: diameter; drill
    pad, // centre; size; angle; shape; drill (0 for a surface pad)
    line, // a polyline; width
    arc, // start, mid, end; width
    circle, // centre; size: diameter; width; fill
    polygon, // a closed outline (rectangles become polygons, as they may be turned); width; fill
    zone, // a copper zone's closed outline
    text, // anchor; text; size: glyph height and width; angle; align
    wire, // a polyline
    bus, // a polyline
    junction, // centre; size: diameter
    noConnect, // centre
    label, // anchor; text; size; angle; align
    globalLabel, // as a label; shape
    hierarchicalLabel, // as a label; shape (a sheet's pins too)
    pin, // the connection end, then the end at the symbol's body
    sheet, // top-left and bottom-right corners; text: its name
    frame, // the page's top-left and bottom-right corners
};

enum class DrawingShape : quint8 {
    none,
    // pads
    rect,
    roundRect,
    circle,
    oval,
    trapezoid,
    // labels
    input,
    output,
    bidirectional,
    triState,
    passive,
};

// A background fill is a schematic symbol's body colour; a solid fill takes the stroke's colour.
enum class DrawingFill : quint8 { none, solid, background };

enum class DrawingLayerRole : quint8 {
    frontCopper,
    innerCopper,
    backCopper,
    outline,
    silkscreen,
    fabrication,
    courtyard,
    mask,
    paste,
    other,
};

struct DrawingLayer {
    QString name;
    DrawingLayerRole role = DrawingLayerRole::other;
    bool back = false;
};

struct DrawingItem {
    DrawingItemKind kind = DrawingItemKind::line;
    DrawingShape shape = DrawingShape::none;
    DrawingFill fill = DrawingFill::none;
    bool throughAll = false; // a pad or via on every copper layer
    quint16 layer = 0; // in Drawing::layers; boards only
    quint32 first = 0; // the item's points are Drawing::points[first, first + count)
    quint32 count = 0;
    float width = 0;
    float drill = 0;
    // A pad's turn as seen. A text's is turned to read from the left or from below, and its align
    // is then as seen.
    float angle = 0;
    Qt::Alignment align = Qt::AlignCenter;
    QSizeF size;
    QString text;
};

struct Drawing {
    DrawingKind kind = DrawingKind::board;
    std::vector<DrawingItem> items;
    std::vector<QPointF> points;
    std::vector<DrawingLayer> layers;
    // The board's outline when it has one, else everything drawn (a schematic's page too).
    QRectF bounds;
    QSizeF paper; // a schematic's page, empty for a board

    std::span<const QPointF> pointsOf(const DrawingItem& item) const
    {
        return std::span<const QPointF>(points).subspan(item.first, item.count);
    }
    qsizetype count(DrawingItemKind kind) const;
    QString layerName(const DrawingItem& item) const;
};

// Readers never fail: what is missing or malformed is left out.
Drawing readBoard(const SExpr& root);
Drawing readSchematic(const SExpr& root);
// By the name's extension, .kicad_pcb or .kicad_sch; none for any other file or another root.
std::optional<Drawing> readDrawing(QByteArrayView fileName, const QByteArray& utf8);

// The circle through an arc's three points, and where it starts and how far it turns; none when
// the points are in a line.
struct DrawingArc {
    QPointF centre;
    double radius = 0;
    double startAngle = 0; // degrees, counter-clockwise as seen from +x
    double span = 0; // signed
};
std::optional<DrawingArc> arcThrough(QPointF start, QPointF mid, QPointF end);
// Points along an arc, `segments` steps from start to end.
void appendArcPoints(std::vector<QPointF>& out, QPointF start, QPointF mid, QPointF end, int segments);
