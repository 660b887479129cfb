#pragma once

#include "engineering/drawing.h"
#include "engineering/sexpr.h"

#include <cstring>
#include <optional>

// What the board and the schematic readers share: reading the small lists both files are made of,
// and adding items to a drawing.
namespace DrawingRead {

// Compared inline: readers compare every list's name against a dozen words, and the out-of-line
// comparison of two views costs more than the comparing.
template <size_t N> bool is(QByteArrayView text, const char (&word)[N])
{
    return text.size() == qsizetype(N - 1) && std::memcmp(text.data(), word, N - 1) == 0;
}

// The first item of a list when it is an atom, else empty.
QByteArrayView headOf(const SExpr& list);
// An item read as a number; one no drawing could hold (NaN, infinite or past a thousand kilometres)
// counts as none.
std::optional<double> numberAt(const SExpr& list, qsizetype index);
// The first number among the arguments of the child list with this name, as numberAt reads them.
std::optional<double> firstNumber(const SExpr& list, QByteArrayView name);
// The two numbers after the head: (xy 1 2), (at 1 2 90), (start 1 2).
std::optional<QPointF> pointOf(const SExpr& list);
// A bare `hide` among the items, or (hide yes).
bool hasHide(const SExpr& list);
double strokeWidth(const SExpr& list); // (width w) or (stroke (width w)); 0 when there is none

struct TextStyle {
    QSizeF size { 1.27, 1.27 };
    Qt::Alignment align = Qt::AlignCenter;
    bool hidden = false;
};
// Reads (effects (font (size h w)) (justify ...) hide) over the style given.
TextStyle readEffects(const SExpr& effects, TextStyle style);
// Horizontal and vertical alignment both turned half a turn.
Qt::Alignment flipped(Qt::Alignment align);
// An angle in (-90, 90], so that text reads from the left or from below.
double readableAngle(double degrees, bool* turned = nullptr);

// Four control points become a cubic Bézier curve's points; any other count stays as it is.
void bezierThrough(std::vector<QPointF>& points);

// Adds an item with these points and returns it to be filled in.
DrawingItem& addItem(Drawing& drawing, DrawingItemKind kind, std::span<const QPointF> points);
DrawingItem& addItem(Drawing& drawing, DrawingItemKind kind, std::initializer_list<QPointF> points);
void computeBounds(Drawing& drawing);

} // namespace DrawingRead
