#include "engineering/drawing.h"

#include "engineering/drawing_p.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace DrawingRead {

QByteArrayView headOf(const SExpr& list)
{
    // A list's utf8() is empty, so a list that starts with a list has no head either.
    return list.size() == 0 ? QByteArrayView() : list.item(0).utf8();
}

namespace {

// Plain decimals of up to fifteen digits, which is every number a board holds, read exactly: both
// the digits and the power of ten are exact doubles, so their quotient is rounded once.
std::optional<double> plainDecimal(QByteArrayView text)
{
    static constexpr double powers[]
        = { 1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15 };
    const char* at = text.data();
    const char* const end = at + text.size();
    if (at == end)
        return std::nullopt;
    const bool negative = *at == '-';
    if (negative || *at == '+')
        ++at;
    quint64 digits = 0;
    int count = 0, decimals = 0;
    bool point = false;
    for (; at < end; ++at) {
        const char c = *at;
        if (c >= '0' && c <= '9') {
            if (++count > 15)
                return std::nullopt;
            digits = digits * 10 + quint64(c - '0');
            decimals += point;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return std::nullopt;
        }
    }
    if (count == 0)
        return std::nullopt;
    const double value = double(digits) / powers[decimals];
    return negative ? -value : value;
}

} // namespace

std::optional<double> numberAt(const SExpr& list, qsizetype index)
{
    if (index >= list.size())
        return std::nullopt;
    const SExpr item = list.item(index);
    std::optional<double> value = plainDecimal(item.utf8());
    if (!value)
        value = item.number();
    // A NaN or an infinity would poison every bound and transform it touches, and so would a number
    // large enough to overflow a sum, a float or an int; no drawing reaches a thousand kilometres.
    if (value && !(std::abs(*value) <= 1e9))
        return std::nullopt;
    return value;
}

std::optional<double> firstNumber(const SExpr& list, QByteArrayView name)
{
    if (const std::optional<SExpr> child = list.child(name)) {
        for (qsizetype i = 1; i < child->size(); ++i) {
            if (const std::optional<double> value = numberAt(*child, i))
                return value;
        }
    }
    return std::nullopt;
}

std::optional<QPointF> pointOf(const SExpr& list)
{
    const std::optional<double> x = numberAt(list, 1);
    const std::optional<double> y = numberAt(list, 2);
    if (!x || !y)
        return std::nullopt;
    return QPointF(*x, *y);
}

bool hasHide(const SExpr& list)
{
    for (qsizetype i = 1; i < list.size(); ++i) {
        const SExpr item = list.item(i);
        const QByteArrayView head = headOf(item);
        if (head.isEmpty() ? is(item.utf8(), "hide")
                           : is(head, "hide") && item.size() > 1 && is(item.item(1).utf8(), "yes"))
            return true;
    }
    return false;
}

double strokeWidth(const SExpr& list)
{
    for (qsizetype i = 1; i < list.size(); ++i) {
        const SExpr item = list.item(i);
        const QByteArrayView head = headOf(item);
        if (is(head, "width"))
            return numberAt(item, 1).value_or(0);
        if (is(head, "stroke")) {
            if (const std::optional<SExpr> width = item.child("width"))
                return numberAt(*width, 1).value_or(0);
        }
    }
    return 0;
}

TextStyle readEffects(const SExpr& effects, TextStyle style)
{
    for (qsizetype i = 1; i < effects.size(); ++i) {
        const SExpr item = effects.item(i);
        const QByteArrayView head = headOf(item);
        if (head.isEmpty()) {
            style.hidden = style.hidden || is(item.utf8(), "hide");
        } else if (is(head, "font")) {
            for (qsizetype j = 1; j < item.size(); ++j) {
                const SExpr size = item.item(j);
                if (!is(headOf(size), "size"))
                    continue;
                j = item.size(); // the thickness and the rest of the font do not show here
                const std::optional<double> height = numberAt(size, 1);
                const std::optional<double> width = numberAt(size, 2);
                if (height && *height > 0)
                    style.size = QSizeF(width && *width > 0 ? *width : *height, *height);
            }
        } else if (is(head, "justify")) {
            Qt::Alignment horizontal = Qt::AlignHCenter, vertical = Qt::AlignVCenter;
            for (qsizetype j = 1; j < item.size(); ++j) {
                const QByteArrayView word = item.item(j).utf8();
                if (is(word, "left"))
                    horizontal = Qt::AlignLeft;
                else if (is(word, "right"))
                    horizontal = Qt::AlignRight;
                else if (is(word, "top"))
                    vertical = Qt::AlignTop;
                else if (is(word, "bottom"))
                    vertical = Qt::AlignBottom;
            }
            style.align = horizontal | vertical;
        } else if (is(head, "hide")) {
            style.hidden = style.hidden || (item.size() > 1 && is(item.item(1).utf8(), "yes"));
        }
    }
    return style;
}

Qt::Alignment flipped(Qt::Alignment align)
{
    Qt::Alignment out = align & ~(Qt::AlignLeft | Qt::AlignRight | Qt::AlignTop | Qt::AlignBottom);
    if (align & Qt::AlignLeft)
        out |= Qt::AlignRight;
    if (align & Qt::AlignRight)
        out |= Qt::AlignLeft;
    if (align & Qt::AlignTop)
        out |= Qt::AlignBottom;
    if (align & Qt::AlignBottom)
        out |= Qt::AlignTop;
    return out;
}

double readableAngle(double degrees, bool* turned)
{
    double angle = std::remainder(degrees, 360.0); // in [-180, 180]
    const bool turn = angle > 90.001 || angle <= -89.999;
    if (turn)
        angle += angle > 0 ? -180 : 180;
    if (turned)
        *turned = turn;
    return angle;
}

void bezierThrough(std::vector<QPointF>& points)
{
    if (points.size() != 4)
        return;
    const std::vector<QPointF> c = points;
    points.clear();
    for (int i = 0; i <= 16; ++i) {
        const double t = i / 16.0, u = 1 - t;
        points.push_back(u * u * u * c[0] + 3 * u * u * t * c[1] + 3 * u * t * t * c[2] + t * t * t * c[3]);
    }
}

DrawingItem& addItem(Drawing& drawing, DrawingItemKind kind, std::span<const QPointF> points)
{
    DrawingItem& item = drawing.items.emplace_back();
    item.kind = kind;
    item.first = quint32(drawing.points.size());
    item.count = quint32(points.size());
    drawing.points.insert(drawing.points.end(), points.begin(), points.end());
    return item;
}

DrawingItem& addItem(Drawing& drawing, DrawingItemKind kind, std::initializer_list<QPointF> points)
{
    return addItem(drawing, kind, std::span<const QPointF>(points.begin(), points.size()));
}

namespace {

struct Extent {
    double left = INFINITY, top = INFINITY, right = -INFINITY, bottom = -INFINITY;

    void add(QPointF p, double reach = 0)
    {
        left = std::min(left, p.x() - reach);
        right = std::max(right, p.x() + reach);
        top = std::min(top, p.y() - reach);
        bottom = std::max(bottom, p.y() + reach);
    }
    bool empty() const { return left > right; }
    QRectF rect() const { return empty() ? QRectF() : QRectF(QPointF(left, top), QPointF(right, bottom)); }
};

void addArcExtent(Extent& extent, std::span<const QPointF> points)
{
    for (const QPointF& p : points)
        extent.add(p);
    const std::optional<DrawingArc> arc = arcThrough(points[0], points[1], points[2]);
    if (!arc)
        return;
    // The arc reaches past its points only where it crosses an axis of its circle. It starts in
    // (-180, 180] and turns less than a whole turn either way, so it lies within (-540, 540).
    const double from = std::min(arc->startAngle, arc->startAngle + arc->span);
    const double to = std::max(arc->startAngle, arc->startAngle + arc->span);
    for (int quarter = -5; quarter <= 5; ++quarter) {
        if (quarter * 90.0 > from && quarter * 90.0 < to) {
            const double radians = quarter * std::numbers::pi / 2;
            extent.add(arc->centre + arc->radius * QPointF(std::cos(radians), -std::sin(radians)));
        }
    }
}

void addItemExtent(Extent& extent, const Drawing& drawing, const DrawingItem& item)
{
    const std::span<const QPointF> points = drawing.pointsOf(item);
    if (points.empty())
        return;
    switch (item.kind) {
    case DrawingItemKind::via:
    case DrawingItemKind::circle:
    case DrawingItemKind::junction: extent.add(points[0], item.size.width() / 2); break;
    case DrawingItemKind::pad:
        extent.add(points[0], std::max(item.size.width(), item.size.height()) / 2);
        break;
    case DrawingItemKind::arc:
    case DrawingItemKind::trackArc:
        if (points.size() == 3)
            addArcExtent(extent, points);
        break;
    default:
        for (const QPointF& p : points)
            extent.add(p);
    }
}

} // namespace

void computeBounds(Drawing& drawing)
{
    Extent all, outline;
    for (const DrawingItem& item : drawing.items) {
        addItemExtent(all, drawing, item);
        if (drawing.kind == DrawingKind::board && item.layer < drawing.layers.size()
            && drawing.layers[item.layer].role == DrawingLayerRole::outline)
            addItemExtent(outline, drawing, item);
    }
    drawing.bounds = outline.empty() ? all.rect() : outline.rect();
}

} // namespace DrawingRead

qsizetype Drawing::count(DrawingItemKind kind) const
{
    return std::count_if(
        items.begin(), items.end(), [kind](const DrawingItem& item) { return item.kind == kind; });
}

QString Drawing::layerName(const DrawingItem& item) const
{
    return kind == DrawingKind::board && item.layer < layers.size() ? layers[item.layer].name : QString();
}

std::optional<Drawing> readDrawing(QByteArrayView fileName, const QByteArray& utf8)
{
    const bool board = fileName.endsWith(".kicad_pcb");
    if (!board && !fileName.endsWith(".kicad_sch"))
        return std::nullopt;
    const std::optional<SExpr> root = SExpr::parse(utf8);
    if (!root || DrawingRead::headOf(*root) != (board ? "kicad_pcb" : "kicad_sch"))
        return std::nullopt;
    return board ? readBoard(*root) : readSchematic(*root);
}

std::optional<DrawingArc> arcThrough(QPointF start, QPointF mid, QPointF end)
{
    // The centre is where the perpendicular bisectors of start–mid and mid–end meet.
    const QPointF a = mid - start, b = end - mid;
    const double cross = a.x() * b.y() - a.y() * b.x();
    const double scale = std::max({ std::abs(a.x()), std::abs(a.y()), std::abs(b.x()), std::abs(b.y()) });
    if (scale == 0 || std::abs(cross) < 1e-9 * scale * scale) {
        if (start == end && mid != start) { // a whole circle, from a point through the opposite one
            const QPointF centre = (start + mid) / 2;
            const QPointF r = start - centre;
            return DrawingArc { centre, std::hypot(r.x(), r.y()),
                std::atan2(-r.y(), r.x()) * 180 / std::numbers::pi, 360 };
        }
        return std::nullopt;
    }
    const QPointF m1 = (start + mid) / 2, m2 = (mid + end) / 2;
    // m1 + t * perp(a) = m2 + s * perp(b), with perp(v) = (-v.y, v.x)
    const QPointF d = m2 - m1;
    const double t = (d.x() * b.x() + d.y() * b.y()) / cross;
    const QPointF centre = m1 + t * QPointF(-a.y(), a.x());
    const auto angleOf = [&](QPointF p) {
        return std::atan2(-(p.y() - centre.y()), p.x() - centre.x()) * 180 / std::numbers::pi;
    };
    const auto positive = [](double degrees) { return std::fmod(std::fmod(degrees, 360.0) + 360.0, 360.0); };
    const double from = angleOf(start);
    const double toEnd = positive(angleOf(end) - from), toMid = positive(angleOf(mid) - from);
    const QPointF r = start - centre;
    return DrawingArc { centre, std::hypot(r.x(), r.y()), from, toMid < toEnd ? toEnd : toEnd - 360 };
}

void appendArcPoints(std::vector<QPointF>& out, QPointF start, QPointF mid, QPointF end, int segments)
{
    const std::optional<DrawingArc> arc = arcThrough(start, mid, end);
    if (!arc) {
        out.insert(out.end(), { start, end });
        return;
    }
    segments = std::max(segments, 1);
    for (int i = 0; i <= segments; ++i) {
        const double radians = (arc->startAngle + arc->span * i / segments) * std::numbers::pi / 180;
        out.push_back(arc->centre + arc->radius * QPointF(std::cos(radians), -std::sin(radians)));
    }
}
