// Feeds arbitrary bytes to the board and schematic readers, through readDrawing by name and to both
// readers straight from the parsed tree whatever its head, and checks what the painter relies on:
// every item's points lie end to end inside the points array, each kind has as many points as the
// painter indexes, every number it draws with is finite, and the bounds are finite and hold the
// points they were taken from.
#include "engineering/drawing.h"
#include "engineering/sexpr.h"

#include <cmath>
#include <cstdlib>

namespace {

constexpr DrawingItemKind allKinds[] = {
    DrawingItemKind::track,
    DrawingItemKind::trackArc,
    DrawingItemKind::via,
    DrawingItemKind::pad,
    DrawingItemKind::line,
    DrawingItemKind::arc,
    DrawingItemKind::circle,
    DrawingItemKind::polygon,
    DrawingItemKind::zone,
    DrawingItemKind::text,
    DrawingItemKind::wire,
    DrawingItemKind::bus,
    DrawingItemKind::junction,
    DrawingItemKind::noConnect,
    DrawingItemKind::label,
    DrawingItemKind::globalLabel,
    DrawingItemKind::hierarchicalLabel,
    DrawingItemKind::pin,
    DrawingItemKind::sheet,
    DrawingItemKind::frame,
};

void require(bool condition)
{
    if (!condition)
        std::abort();
}

// The fewest and the most points each kind is read with; the painter takes points[0] of a single
// point kind and points[2] of an arc without asking.
std::pair<quint32, quint32> pointRange(DrawingItemKind kind)
{
    constexpr quint32 any = ~0u;
    switch (kind) {
    case DrawingItemKind::track:
    case DrawingItemKind::pin:
    case DrawingItemKind::sheet:
    case DrawingItemKind::frame: return { 2, 2 };
    case DrawingItemKind::trackArc:
    case DrawingItemKind::arc: return { 3, 3 };
    case DrawingItemKind::via:
    case DrawingItemKind::pad:
    case DrawingItemKind::circle:
    case DrawingItemKind::text:
    case DrawingItemKind::junction:
    case DrawingItemKind::noConnect:
    case DrawingItemKind::label:
    case DrawingItemKind::globalLabel:
    case DrawingItemKind::hierarchicalLabel: return { 1, 1 };
    case DrawingItemKind::line:
    case DrawingItemKind::polygon:
    case DrawingItemKind::wire:
    case DrawingItemKind::bus: return { 2, any };
    case DrawingItemKind::zone: return { 3, any };
    }
    return { 0, any };
}

bool isText(DrawingItemKind kind)
{
    return kind == DrawingItemKind::text || kind == DrawingItemKind::label
        || kind == DrawingItemKind::globalLabel || kind == DrawingItemKind::hierarchicalLabel;
}

bool finite(QPointF p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y());
}

bool finite(QSizeF size)
{
    return std::isfinite(size.width()) && std::isfinite(size.height());
}

bool finite(const QRectF& rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

void check(const Drawing& drawing, DrawingKind kind)
{
    require(drawing.kind == kind);
    // Items take their points one after another, so no two share a point and none is left over.
    quint64 next = 0;
    bool outlined = false;
    for (const DrawingItem& item : drawing.items) {
        require(item.first == next);
        next += item.count;
        require(next <= drawing.points.size());
        const auto [fewest, most] = pointRange(item.kind);
        require(item.count >= fewest && item.count <= most);
        for (const QPointF& p : drawing.pointsOf(item))
            require(finite(p));
        require(std::isfinite(item.width) && std::isfinite(item.drill) && std::isfinite(item.angle));
        require(finite(item.size));
        if (isText(item.kind))
            require(item.angle > -90.01f && item.angle < 90.01f);
        if (kind == DrawingKind::board) {
            require(item.layer < drawing.layers.size());
            outlined = outlined || drawing.layers[item.layer].role == DrawingLayerRole::outline;
        } else {
            require(item.layer == 0);
        }
    }
    require(next == drawing.points.size());
    if (kind == DrawingKind::schematic)
        require(drawing.layers.empty());

    qsizetype counted = 0;
    for (const DrawingItemKind each : allKinds)
        counted += drawing.count(each);
    require(counted == qsizetype(drawing.items.size()));

    require(finite(drawing.bounds));
    // A page has a size or none at all; a board has none.
    require(finite(drawing.paper));
    require(drawing.paper == QSizeF() || (drawing.paper.width() > 0 && drawing.paper.height() > 0));
    require(kind == DrawingKind::schematic || drawing.paper.isEmpty());
    if (drawing.points.empty()) {
        require(drawing.bounds.isNull());
        return;
    }
    // Without an outline the bounds are taken from everything drawn, so every point lies in them.
    if (outlined)
        return;
    const QRectF& b = drawing.bounds;
    for (const QPointF& p : drawing.points) {
        const double slack = 1e-9 * std::max({ 1.0, std::abs(p.x()), std::abs(p.y()) });
        require(p.x() >= b.left() - slack && p.x() <= b.right() + slack);
        require(p.y() >= b.top() - slack && p.y() <= b.bottom() + slack);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::optional<SExpr> root = SExpr::parse(bytes);
    const QByteArrayView head = root && root->size() > 0 ? root->item(0).utf8() : QByteArrayView();

    const std::optional<Drawing> board = readDrawing("x.kicad_pcb", bytes);
    require(board.has_value() == (head == "kicad_pcb"));
    if (board)
        check(*board, DrawingKind::board);
    const std::optional<Drawing> schematic = readDrawing("x.kicad_sch", bytes);
    require(schematic.has_value() == (head == "kicad_sch"));
    if (schematic)
        check(*schematic, DrawingKind::schematic);
    require(!readDrawing("x.sch", bytes));

    // Either reader on a tree of any head, so that a mutation need not keep the head to reach them.
    if (root && !board && !schematic) {
        check(readBoard(*root), DrawingKind::board);
        check(readSchematic(*root), DrawingKind::schematic);
    }
    return 0;
}
