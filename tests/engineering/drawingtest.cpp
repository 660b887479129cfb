#include "engineering/drawing.h"

#include "support/testsupport.h"

#include <QDir>
#include <QDirIterator>

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace {

// The drawing of a file written to a real folder and read back, as the preview reads it.
Drawing drawingOf(const QString& name, const QByteArray& text)
{
    const TempFolder folder;
    const QString path = folder.write(name, text);
    std::optional<Drawing> drawing = readDrawing(name.toUtf8(), readFile(path));
    EXPECT_TRUE(drawing.has_value()) << name.toStdString();
    return drawing ? *drawing : Drawing();
}

std::vector<const DrawingItem*> itemsOf(const Drawing& drawing, DrawingItemKind kind)
{
    std::vector<const DrawingItem*> found;
    for (const DrawingItem& item : drawing.items) {
        if (item.kind == kind)
            found.push_back(&item);
    }
    return found;
}

void expectNear(QPointF actual, QPointF expected, const std::string& what)
{
    EXPECT_NEAR(actual.x(), expected.x(), 1e-6) << what;
    EXPECT_NEAR(actual.y(), expected.y(), 1e-6) << what;
}

// As KiCad 7 writes a board: a footprint with two pads, its reference and value, a silkscreen
// line and a court-yard rectangle; tracks, an arc, vias, a zone, a board text and the outline.
const QByteArray board = R"((kicad_pcb (version 20221018) (generator pcbnew)
  (layers (0 "F.Cu" signal) (1 "In1.Cu" signal) (31 "B.Cu" signal) (36 "B.SilkS" user "B.Silkscreen")
    (37 "F.SilkS" user "F.Silkscreen") (44 "Edge.Cuts" user) (47 "F.CrtYd" user "F.Courtyard"))
  (footprint "Resistor_SMD:R_0603" (layer "F.Cu") (at 20 30 90)
    (fp_text reference "R1" (at 0 -1.5 90) (layer "F.SilkS") (effects (font (size 1 1) (thickness 0.15))))
    (fp_text value "10k" (at 0 1.5 90) (layer "F.Fab") (effects (font (size 1 1))))
    (fp_line (start -0.2 -0.7) (end 0.2 -0.7) (stroke (width 0.12) (type solid)) (layer "F.SilkS"))
    (fp_rect (start -1.5 -0.8) (end 1.5 0.8) (stroke (width 0.05) (type solid)) (fill none) (layer "F.CrtYd"))
    (pad "1" smd roundrect (at -0.8 0 90) (size 0.8 0.9) (layers "F.Cu" "F.Paste" "F.Mask") (net 1 "GND"))
    (pad "2" smd roundrect (at 0.8 0 90) (size 0.8 0.9) (layers "F.Cu" "F.Paste" "F.Mask") (net 2 "VCC")))
  (footprint "Connector:Pin" (layer "B.Cu") (at 40 30)
    (property "Reference" "J1" (at 0 -2 0) (layer "B.SilkS") (effects (font (size 1.2 1.2)) (justify mirror)))
    (property "Value" "Pin" (at 0 2 0) (layer "B.Fab") (hide yes) (effects (font (size 1 1))))
    (pad "1" thru_hole circle (at 0 0) (size 1.7 1.7) (drill 1) (layers "*.Cu" "*.Mask")))
  (segment (start 20.8 30) (end 30 30) (width 0.25) (layer "F.Cu") (net 1))
  (segment (start 30 30) (end 30 40) (width 0.25) (layer "In1.Cu") (net 1))
  (segment (start 30 40) (end 40 40) (width 0.5) (layer "B.Cu") (net 1))
  (arc (start 40 40) (mid 42 42) (end 40 44) (width 0.25) (layer "B.Cu") (net 1))
  (via (at 30 30) (size 0.8) (drill 0.4) (layers "F.Cu" "B.Cu") (net 1))
  (via micro (at 30 40) (size 0.5) (drill 0.2) (layers "In1.Cu" "B.Cu") (net 1))
  (zone (net 1) (net_name "GND") (layer "B.Cu") (polygon (pts (xy 5 5) (xy 55 5) (xy 55 55) (xy 5 55))))
  (gr_text "Korvane" (at 30 50 180) (layer "F.SilkS") (effects (font (size 1.5 1.5)) (justify left)))
  (gr_rect (start 0 0) (end 60 60) (stroke (width 0.1) (type solid)) (fill none) (layer "Edge.Cuts"))
))";

} // namespace

TEST(DrawingBoard, CountsEveryItemTheTextHolds)
{
    const Drawing drawing = drawingOf(QStringLiteral("a.kicad_pcb"), board);
    EXPECT_EQ(drawing.kind, DrawingKind::board);
    const std::pair<DrawingItemKind, qsizetype> rows[] = {
        { DrawingItemKind::track, 3 },
        { DrawingItemKind::trackArc, 1 },
        { DrawingItemKind::via, 2 },
        { DrawingItemKind::pad, 3 },
        { DrawingItemKind::text, 3 }, // two references and the board's text; values are left out
        { DrawingItemKind::line, 1 },
        { DrawingItemKind::polygon, 2 }, // the courtyard and the outline, both rectangles
        { DrawingItemKind::zone, 1 },
    };
    for (const auto& [kind, count] : rows)
        EXPECT_EQ(drawing.count(kind), count) << int(kind);
    // The outline gives the bounds, though the zone and tracks are inside and nothing is outside.
    EXPECT_EQ(drawing.bounds, QRectF(0, 0, 60, 60));
    const auto vias = itemsOf(drawing, DrawingItemKind::via);
    EXPECT_TRUE(vias[0]->throughAll);
    EXPECT_FALSE(vias[1]->throughAll) << "a micro via from an inner layer";
    const auto pads = itemsOf(drawing, DrawingItemKind::pad);
    EXPECT_TRUE(pads[2]->throughAll);
    EXPECT_FLOAT_EQ(pads[2]->drill, 1);
    EXPECT_EQ(drawing.layerName(*pads[0]), u"F.Cu");
    EXPECT_EQ(drawing.layers[pads[0]->layer].role, DrawingLayerRole::frontCopper);
    EXPECT_EQ(drawing.layers[itemsOf(drawing, DrawingItemKind::trackArc)[0]->layer].role,
        DrawingLayerRole::backCopper);
}

TEST(DrawingBoard, PlacesFootprintPartsByTheFootprintsTurn)
{
    // KiCad turns counter-clockwise as seen with y down; a pad's and a text's angles in the file
    // are already as seen on the board, their places relative to the footprint.
    struct Row {
        double angle;
        QPointF pad;
        QPointF text;
        float textAngle;
        Qt::Alignment align;
    };
    const Row rows[] = {
        { 0, { 11, 20 }, { 10, 18 }, 0, Qt::AlignLeft | Qt::AlignBottom },
        { 90, { 10, 19 }, { 8, 20 }, 90, Qt::AlignLeft | Qt::AlignBottom },
        { 180, { 9, 20 }, { 10, 22 }, 0, Qt::AlignRight | Qt::AlignTop }, // turned back to read
        { -90, { 10, 21 }, { 12, 20 }, 90, Qt::AlignRight | Qt::AlignTop },
        { 30, { 10 + std::cos(M_PI / 6), 20 - std::sin(M_PI / 6) },
            { 10 - 2 * std::sin(M_PI / 6), 20 - 2 * std::cos(M_PI / 6) }, 30,
            Qt::AlignLeft | Qt::AlignBottom },
    };
    for (const Row& row : rows) {
        const QByteArray angle = QByteArray::number(row.angle);
        const Drawing drawing = drawingOf(QStringLiteral("turn.kicad_pcb"),
            "(kicad_pcb (footprint \"x\" (layer \"F.Cu\") (at 10 20 " + angle + ")"
                + " (fp_text reference \"U1\" (at 0 -2 " + angle
                + ") (layer \"F.SilkS\") (effects (font (size 1 1)) (justify left bottom)))"
                + " (pad \"1\" smd rect (at 1 0 " + angle + ") (size 1 2) (layers \"F.Cu\"))))");
        const std::string what = "footprint at " + angle.toStdString();
        ASSERT_EQ(drawing.count(DrawingItemKind::pad), 1) << what;
        const DrawingItem& pad = *itemsOf(drawing, DrawingItemKind::pad)[0];
        expectNear(drawing.pointsOf(pad)[0], row.pad, what);
        EXPECT_FLOAT_EQ(pad.angle, float(row.angle)) << what;
        const DrawingItem& text = *itemsOf(drawing, DrawingItemKind::text)[0];
        expectNear(drawing.pointsOf(text)[0], row.text, what);
        EXPECT_NEAR(text.angle, row.textAngle, 1e-4) << what;
        EXPECT_EQ(text.align, row.align) << what;
    }
}

TEST(DrawingBoard, ReadsOlderBoardsAndTheirOwnLayerNames)
{
    // Boards of KiCad 4 and 5: modules, unquoted names, copper named by the board's maker, arcs by
    // centre and angle, vias without a drill of their own.
    const Drawing drawing = drawingOf(QStringLiteral("old.kicad_pcb"), R"((kicad_pcb (version 4)
  (layers (0 C1F signal) (1 C2 signal hide) (31 C4B signal) (37 F.SilkS user) (44 Edge.Cuts user))
  (setup (via_drill 0.33))
  (module R_0402 (layer C1F) (at 10 10 180)
    (fp_text reference R5 (at 0 0 180) (layer F.SilkS) (effects (font (size 0.5 0.5))))
    (fp_arc (start 0 0) (end 1 0) (angle 90) (layer F.SilkS) (width 0.1))
    (pad 1 smd rect (at 0.5 0 180) (size 0.5 0.6) (layers C1F F.Paste F.Mask)))
  (segment (start 1 1) (end 2 2) (width 0.2) (layer C2) (net 1))
  (via (at 5 5) (size 0.6) (layers C1F C4B) (net 1))
  (gr_arc (start 50 50) (end 60 50) (angle 90) (layer Edge.Cuts) (width 0.1))
))");
    const auto role = [&](const DrawingItem& item) { return drawing.layers[item.layer].role; };
    EXPECT_EQ(role(*itemsOf(drawing, DrawingItemKind::pad)[0]), DrawingLayerRole::frontCopper);
    EXPECT_EQ(role(*itemsOf(drawing, DrawingItemKind::track)[0]), DrawingLayerRole::innerCopper);
    const DrawingItem& via = *itemsOf(drawing, DrawingItemKind::via)[0];
    EXPECT_TRUE(via.throughAll);
    EXPECT_FLOAT_EQ(via.drill, 0.33f);
    expectNear(drawing.pointsOf(*itemsOf(drawing, DrawingItemKind::pad)[0])[0], { 9.5, 10 }, "pad");
    const auto arcs = itemsOf(drawing, DrawingItemKind::arc);
    ASSERT_EQ(arcs.size(), 2u);
    // Clockwise as seen from the start: a quarter from the right of the centre to below it.
    const std::span<const QPointF> edge = drawing.pointsOf(*arcs[1]);
    expectNear(edge[0], { 60, 50 }, "arc start");
    expectNear(edge[1], { 50 + 10 / std::sqrt(2), 50 + 10 / std::sqrt(2) }, "arc middle");
    expectNear(edge[2], { 50, 60 }, "arc end");
    // The footprint's arc turned with it: from (9, 10) a quarter to (10, 9).
    expectNear(drawing.pointsOf(*arcs[0])[2], { 10, 9 }, "footprint arc end");
    EXPECT_EQ(drawing.bounds, QRectF(50, 50, 10, 10));
}

TEST(DrawingBoard, AnOutlineArcBoundsReachWhereItCrossesAnAxis)
{
    // Around (0, 0) with radius 10, from 10° to 200° counter-clockwise: it passes the top and the
    // left of its circle, between its three points.
    const auto at = [](double degrees) -> QByteArray {
        return QByteArray::number(10 * std::cos(degrees * M_PI / 180), 'f', 6) + ' '
            + QByteArray::number(-10 * std::sin(degrees * M_PI / 180), 'f', 6);
    };
    const Drawing drawing = drawingOf(QStringLiteral("arc.kicad_pcb"),
        "(kicad_pcb (gr_arc (start " + at(10) + ") (mid " + at(105) + ") (end " + at(200)
            + ") (layer \"Edge.Cuts\") (width 0.1)))");
    EXPECT_NEAR(drawing.bounds.left(), -10, 1e-6);
    EXPECT_NEAR(drawing.bounds.top(), -10, 1e-6);
    EXPECT_NEAR(drawing.bounds.right(), 10 * std::cos(10 * M_PI / 180), 1e-6);
    EXPECT_NEAR(drawing.bounds.bottom(), -10 * std::sin(200 * M_PI / 180), 1e-6);
}

TEST(Drawing, AnArcTurnsTheWayItsMiddleLies)
{
    struct Row {
        QPointF start, mid, end;
        std::optional<DrawingArc> arc;
    };
    const double half = std::sqrt(0.5);
    const Row rows[] = {
        { { 1, 0 }, { half, -half }, { 0, -1 }, DrawingArc { {}, 1, 0, 90 } }, // up is counter-clockwise
        { { 1, 0 }, { half, half }, { 0, 1 }, DrawingArc { {}, 1, 0, -90 } },
        { { 1, 0 }, { -half, -half }, { 0, 1 }, DrawingArc { {}, 1, 0, 270 } }, // the long way round
        { { 1, 0 }, { -1, 0 }, { 1, 0 }, DrawingArc { {}, 1, 0, 360 } }, // a whole circle
        { { 0, 0 }, { 1, 1 }, { 2, 2 }, std::nullopt }, // in a line
        { { 0, 0 }, { 0, 0 }, { 0, 0 }, std::nullopt },
    };
    for (const Row& row : rows) {
        const std::optional<DrawingArc> arc = arcThrough(row.start, row.mid, row.end);
        ASSERT_EQ(arc.has_value(), row.arc.has_value()) << row.end.y();
        if (!arc)
            continue;
        expectNear(arc->centre, row.arc->centre, "centre");
        EXPECT_NEAR(arc->radius, row.arc->radius, 1e-9);
        EXPECT_NEAR(arc->startAngle, row.arc->startAngle, 1e-9);
        EXPECT_NEAR(arc->span, row.arc->span, 1e-9);
        std::vector<QPointF> along;
        appendArcPoints(along, row.start, row.mid, row.end, 8);
        ASSERT_EQ(along.size(), 9u);
        expectNear(along.front(), row.start, "first point");
        expectNear(along[4], row.mid, "middle point");
        expectNear(along.back(), row.end, "last point");
    }
}

TEST(DrawingBoard, MalformedTextGivesWhatItCan)
{
    struct Row {
        const char* name;
        QByteArray text;
        qsizetype tracks;
        qsizetype pads;
    };
    const QByteArray cut = board.left(board.indexOf("(segment (start 30 40)"));
    const Row rows[] = {
        { "truncated", cut, 2, 3 },
        { "truncatedInsideANumber", cut + "(segment (start 1 2) (end 3 4", 3, 3 },
        { "wordsForNumbers", "(kicad_pcb (segment (start a b) (end 1 2) (width 1) (layer F.Cu)))", 0, 0 },
        { "notFinite",
            "(kicad_pcb (segment (start 1 2) (end nan 4) (layer F.Cu)) (segment (start 1 2) (end inf 4)))", 0,
            0 },
        { "missingParts",
            "(kicad_pcb (segment (start 1 2)) (via (at 1 2)) (footprint (pad 1 smd rect (at 0 0))) (zone "
            "(polygon)))",
            0, 0 },
        { "listsWhereWordsBelong",
            "(kicad_pcb (footprint (at (1) 2) (pad (1) (smd) (rect) (at 1 1) (size 1 1) (layers ()))))", 0,
            1 },
        { "anUnknownLayer", "(kicad_pcb (segment (start 0 0) (end 1 1) (layer \"User.9\")))", 1, 0 },
        // Past any board's size a coordinate would overflow what the painter adds up.
        { "hugeNumbers", "(kicad_pcb (footprint (at 1e308 0) (pad 1 smd rect (at 1e308 0) (size 1 1))))", 0,
            0 },
        { "noLayerAtAll", "(kicad_pcb (segment (start 0 0) (end 1 1)) (segment (start 1 1) (end 2 2)))", 2,
            0 },
        { "empty", "(kicad_pcb)", 0, 0 },
    };
    for (const Row& row : rows) {
        const Drawing drawing = drawingOf(QStringLiteral("bad.kicad_pcb"), row.text);
        EXPECT_EQ(drawing.count(DrawingItemKind::track), row.tracks) << row.name;
        EXPECT_EQ(drawing.count(DrawingItemKind::pad), row.pads) << row.name;
        for (const DrawingItem& item : drawing.items)
            EXPECT_LE(size_t(item.first + item.count), drawing.points.size()) << row.name;
        for (const QPointF& point : drawing.points)
            EXPECT_TRUE(std::isfinite(point.x()) && std::isfinite(point.y())) << row.name;
    }
}

TEST(Drawing, PicksTheReaderByNameAndRoot)
{
    struct Row {
        const char* name;
        QByteArray text;
        std::optional<DrawingKind> kind;
    };
    const Row rows[] = {
        { "a.kicad_pcb", "(kicad_pcb (version 4))", DrawingKind::board },
        { "a.kicad_sch", "(kicad_sch (version 20211123))", DrawingKind::schematic },
        { "a.kicad_pcb", "(kicad_sch)", std::nullopt },
        { "a.kicad_sch", "(kicad_symbol_lib)", std::nullopt },
        { "a.kicad_pro", "(kicad_pcb)", std::nullopt },
        { "a.txt", "(kicad_pcb)", std::nullopt },
        { "a.kicad_pcb", "", std::nullopt },
        { "a.kicad_pcb", "kicad_pcb", std::nullopt },
        { "a.kicad_pcb", "((kicad_pcb))", std::nullopt },
    };
    for (const Row& row : rows) {
        const std::optional<Drawing> drawing = readDrawing(row.name, row.text);
        EXPECT_EQ(drawing.has_value(), row.kind.has_value()) << row.name << ' ' << row.text.toStdString();
        if (drawing && row.kind) {
            EXPECT_EQ(drawing->kind, *row.kind) << row.name;
        }
    }
}

namespace {

// A symbol of two units: a body shared by both, two pins of the first and one of the second.
QByteArray schematic(const QByteArray& placement)
{
    return R"((kicad_sch (version 20211123) (generator eeschema)
  (paper "A4")
  (lib_symbols
    (symbol "Test:Part" (pin_names (offset 1.016)) (in_bom yes) (on_board yes)
      (property "Reference" "U" (id 0) (at 0 3.81 0) (effects (font (size 1.27 1.27))))
      (symbol "Part_0_1"
        (rectangle (start -2.54 2.54) (end 2.54 -2.54) (stroke (width 0.254)) (fill (type background))))
      (symbol "Part_1_1"
        (pin input line (at -5.08 1.27 0) (length 2.54)
          (name "IN" (effects (font (size 1.27 1.27)))) (number "1" (effects (font (size 1.27 1.27)))))
        (pin output line (at 5.08 0 180) (length 2.54)
          (name "~" (effects (font (size 1.27 1.27)))) (number "2" (effects (font (size 1.27 1.27))))))
      (symbol "Part_2_1"
        (pin power_in line (at 0 -5.08 90) (length 2.54) (name "VDD") (number "3")))))
  (symbol (lib_id "Test:Part") )"
        + placement + R"( (unit 1)
    (property "Reference" "U1" (id 0) (at 100 45 0) (effects (font (size 1.27 1.27)) (justify left)))
    (property "Value" "Part" (id 1) (at 100 55 0) (effects (font (size 1.27 1.27)) hide)))
  (wire (pts (xy 80 48.73) (xy 94.92 48.73)) (stroke (width 0) (type default)))
  (wire (pts (xy 105.08 50) (xy 120 50)) (stroke (width 0) (type default)))
  (bus (pts (xy 10 10) (xy 10 40)) (stroke (width 0) (type default)))
  (junction (at 80 48.73) (diameter 0))
  (no_connect (at 120 50))
  (label "CLK" (at 80 48.73 180) (effects (font (size 1.27 1.27)) (justify right bottom)))
  (global_label "RESET" (shape input) (at 60 60 0) (effects (font (size 1.27 1.27)) (justify left)))
  (hierarchical_label "DATA" (shape output) (at 60 70 270) (effects (font (size 1.27 1.27)) (justify right)))
  (text "a note" (at 20 150 0) (effects (font (size 2 2)) (justify left bottom)))
  (sheet (at 150 100) (size 30 20)
    (property "Sheet name" "power" (id 0) (at 150 99 0) (effects (font (size 1.5 1.5)) (justify left bottom)))
    (property "Sheet file" "power.kicad_sch" (id 1) (at 150 121 0) (effects (font (size 1.5 1.5)) (justify left top)))
    (pin "VIN" input (at 150 110 180) (effects (font (size 1.27 1.27)) (justify left))))
))";
}

} // namespace

TEST(DrawingSchematic, CountsWhatThePageHolds)
{
    const Drawing drawing = drawingOf(QStringLiteral("page.kicad_sch"), schematic("(at 100 50 0)"));
    EXPECT_EQ(drawing.kind, DrawingKind::schematic);
    const std::pair<DrawingItemKind, qsizetype> rows[] = {
        { DrawingItemKind::wire, 2 },
        { DrawingItemKind::bus, 1 },
        { DrawingItemKind::junction, 1 },
        { DrawingItemKind::noConnect, 1 },
        { DrawingItemKind::label, 1 },
        { DrawingItemKind::globalLabel, 1 },
        { DrawingItemKind::hierarchicalLabel, 2 }, // the label and the sheet's pin
        { DrawingItemKind::pin, 2 }, // the second unit's pin is not this symbol's
        { DrawingItemKind::polygon, 1 }, // the body, shared by every unit
        { DrawingItemKind::sheet, 1 },
        { DrawingItemKind::frame, 1 },
        // U1; IN, 1 and 2 (a name of "~" is none); the note; the sheet's name and file
        { DrawingItemKind::text, 7 },
    };
    for (const auto& [kind, count] : rows)
        EXPECT_EQ(drawing.count(kind), count) << int(kind);
    EXPECT_EQ(drawing.paper, QSizeF(297, 210));
    EXPECT_EQ(drawing.bounds, QRectF(0, 0, 297, 210));
    const DrawingItem& sheet = *itemsOf(drawing, DrawingItemKind::sheet)[0];
    EXPECT_EQ(sheet.text, u"power");
    expectNear(drawing.pointsOf(sheet)[1], { 180, 120 }, "sheet corner");
    // Labels keep the alignment the file gives, turned only to read from the left or from below.
    const DrawingItem& label = *itemsOf(drawing, DrawingItemKind::label)[0];
    EXPECT_FLOAT_EQ(label.angle, 0);
    EXPECT_EQ(label.align, Qt::AlignRight | Qt::AlignBottom);
    const DrawingItem& hierarchical = *itemsOf(drawing, DrawingItemKind::hierarchicalLabel)[0];
    EXPECT_FLOAT_EQ(hierarchical.angle, 90);
    EXPECT_EQ(hierarchical.shape, DrawingShape::output);
    EXPECT_EQ(itemsOf(drawing, DrawingItemKind::globalLabel)[0]->shape, DrawingShape::input);
}

TEST(DrawingSchematic, PlacesASymbolsBodyAndPinsByItsTurnAndMirror)
{
    // A symbol's own drawing has y up; placed, it is turned counter-clockwise as seen, then mirrored.
    // Its first pin runs from (-5.08, 1.27) to the body at (-2.54, 1.27).
    struct Row {
        const char* placement;
        QPointF connection;
        QPointF body;
        float fieldAngle; // a field turns with the symbol from across the page to up it
        Qt::Alignment fieldAlign; // and its left-justified text starts from its other end when turned back
    };
    const Row rows[] = {
        { "(at 100 50 0)", { -5.08, -1.27 }, { -2.54, -1.27 }, 0, Qt::AlignLeft | Qt::AlignVCenter },
        { "(at 100 50 90)", { -1.27, 5.08 }, { -1.27, 2.54 }, 90, Qt::AlignLeft | Qt::AlignVCenter },
        { "(at 100 50 180)", { 5.08, 1.27 }, { 2.54, 1.27 }, 0, Qt::AlignRight | Qt::AlignVCenter },
        { "(at 100 50 270)", { 1.27, -5.08 }, { 1.27, -2.54 }, 90, Qt::AlignRight | Qt::AlignVCenter },
        { "(at 100 50 0) (mirror x)", { -5.08, 1.27 }, { -2.54, 1.27 }, 0, Qt::AlignLeft | Qt::AlignVCenter },
        { "(at 100 50 0) (mirror y)", { 5.08, -1.27 }, { 2.54, -1.27 }, 0,
            Qt::AlignRight | Qt::AlignVCenter },
        { "(at 100 50 90) (mirror x)", { -1.27, -5.08 }, { -1.27, -2.54 }, 90,
            Qt::AlignRight | Qt::AlignVCenter },
    };
    for (const Row& row : rows) {
        const Drawing drawing = drawingOf(QStringLiteral("placed.kicad_sch"), schematic(row.placement));
        ASSERT_EQ(drawing.count(DrawingItemKind::pin), 2) << row.placement;
        const std::span<const QPointF> pin = drawing.pointsOf(*itemsOf(drawing, DrawingItemKind::pin)[0]);
        expectNear(pin[0], QPointF(100, 50) + row.connection, row.placement);
        expectNear(pin[1], QPointF(100, 50) + row.body, row.placement);
        const auto texts = itemsOf(drawing, DrawingItemKind::text);
        const auto reference
            = std::find_if(texts.begin(), texts.end(), [](auto* t) { return t->text == u"U1"; });
        ASSERT_NE(reference, texts.end()) << row.placement;
        EXPECT_FLOAT_EQ((*reference)->angle, row.fieldAngle) << row.placement;
        EXPECT_EQ((*reference)->align, row.fieldAlign) << row.placement;
        expectNear(drawing.pointsOf(**reference)[0], { 100, 45 }, "a field stays where the file puts it");
    }
}

TEST(DrawingSchematic, MalformedTextGivesWhatItCan)
{
    struct Row {
        const char* name;
        QByteArray text;
        qsizetype wires;
        qsizetype pins;
    };
    const QByteArray page = schematic("(at 100 50 0)");
    const Row rows[] = {
        { "truncatedAfterTheSymbol", page.left(page.indexOf("(wire (pts (xy 105.08")), 1, 2 },
        { "truncatedInTheLibrary", page.left(page.indexOf("(symbol \"Part_1_1\"") + 30), 0, 0 },
        { "unknownSymbol",
            "(kicad_sch (symbol (lib_id \"None:X\") (at 1 2 0)) (wire (pts (xy 0 0) (xy 1 0))))", 1, 0 },
        { "unitWithoutNumbers",
            "(kicad_sch (lib_symbols (symbol \"L:P\" (symbol \"P\" (pin passive line (at 0 0 0) (length "
            "1)))))"
            " (symbol (lib_id \"L:P\") (at 0 0 0)))",
            0, 0 },
        { "pinWithoutPlace",
            "(kicad_sch (lib_symbols (symbol \"L:P\" (symbol \"P_1_1\" (pin passive line (length 1)))))"
            " (symbol (lib_id \"L:P\") (at 0 0 0)))",
            0, 0 },
        { "oneWirePoint", "(kicad_sch (wire (pts (xy 1 1))) (wire (pts (xy a 1) (xy 2 2))) (paper \"Z9\"))",
            0, 0 },
    };
    for (const Row& row : rows) {
        const Drawing drawing = drawingOf(QStringLiteral("bad.kicad_sch"), row.text);
        EXPECT_EQ(drawing.count(DrawingItemKind::wire), row.wires) << row.name;
        EXPECT_EQ(drawing.count(DrawingItemKind::pin), row.pins) << row.name;
    }
}

// A real board, where the hackrf hardware is at hand: every track ends on a pad, a via or
// another track, which holds only when every footprint is turned and placed as KiCad places it.
TEST(DrawingBoard, ARealBoardsTracksEndOnItsPads)
{
    const QString folder = QStringLiteral("/work/repos/hackrf/hardware");
    if (!QDir(folder).exists())
        GTEST_SKIP() << "no hackrf hardware here";
    QDirIterator files(folder, { QStringLiteral("*.kicad_pcb") }, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        const std::optional<Drawing> drawing = readDrawing(path.toUtf8(), readFile(path));
        ASSERT_TRUE(drawing) << path.toStdString();
        EXPECT_GT(drawing->count(DrawingItemKind::via), 0) << path.toStdString();
        std::map<std::pair<long, long>, int> ends;
        const auto key
            = [](QPointF p) { return std::pair(std::lround(p.x() * 1000), std::lround(p.y() * 1000)); };
        for (const DrawingItem& item : drawing->items) {
            if (item.kind != DrawingItemKind::track && item.kind != DrawingItemKind::via)
                continue;
            for (const QPointF& p : drawing->pointsOf(item))
                ++ends[key(p)];
        }
        const auto pads = itemsOf(*drawing, DrawingItemKind::pad);
        int loose = 0, all = 0;
        for (const DrawingItem* track : itemsOf(*drawing, DrawingItemKind::track)) {
            for (const QPointF& p : drawing->pointsOf(*track)) {
                ++all;
                const bool onPad = std::any_of(pads.begin(), pads.end(), [&](const DrawingItem* pad) {
                    const QPointF d = p - drawing->pointsOf(*pad)[0];
                    const double a = pad->angle * M_PI / 180;
                    return std::abs(d.x() * std::cos(a) - d.y() * std::sin(a)) <= pad->size.width() / 2 + 1e-3
                        && std::abs(d.x() * std::sin(a) + d.y() * std::cos(a))
                        <= pad->size.height() / 2 + 1e-3;
                });
                loose += !onPad && ends[key(p)] < 2;
            }
        }
        EXPECT_GT(all, 0) << path.toStdString();
        EXPECT_LT(loose, all / 50) << path.toStdString();
    }
}
