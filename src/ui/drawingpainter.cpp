#include "ui/drawingview.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace {

// The colours of both themes: copper as KiCad users know it (front red, back blue), opaque so that
// the overlapping ends of a track's segments do not show, silkscreen in the theme's ink, and each
// dimmer for the layers that matter less. Pads are a shade lighter than their copper.
struct Colours {
    QColor front, back;
    std::array<QColor, 4> inner;
    QColor throughPad, via, silk, silkBack, fab, courtyard, outline, other;
    QColor wire, bus, body, bodyFill, label, text, sheet, sheetFill, frame, noConnect;
};

QColor faded(QColor colour, int alpha)
{
    colour.setAlpha(alpha);
    return colour;
}

Colours coloursOf(const Theme& theme)
{
    if (theme.dark)
        return { QColor(200, 64, 56), QColor(70, 118, 218),
            { QColor(196, 176, 56), QColor(72, 176, 110), QColor(176, 94, 196), QColor(64, 176, 188) },
            QColor(216, 172, 84), QColor(160, 160, 160), faded(theme.ink, 225), faded(theme.ink3, 190),
            faded(theme.ink3, 150), faded(theme.ruleStrong, 200), QColor(240, 202, 72),
            faded(theme.ink3, 120), QColor(92, 192, 104), QColor(92, 134, 232), QColor(218, 124, 108),
            QColor(50, 43, 32), theme.ink, theme.ink2, QColor(184, 124, 214), QColor(38, 30, 44),
            theme.ruleStrong, QColor(92, 134, 232) };
    return { QColor(214, 60, 52), QColor(56, 102, 214),
        { QColor(176, 150, 20), QColor(40, 150, 80), QColor(160, 64, 180), QColor(20, 150, 160) },
        QColor(184, 134, 30), QColor(120, 120, 120), faded(theme.ink, 225), faded(theme.ink3, 190),
        faded(theme.ink3, 150), faded(theme.ruleStrong, 220), QColor(192, 132, 0), faded(theme.ink3, 120),
        QColor(0, 142, 0), QColor(0, 0, 182), QColor(142, 0, 0), QColor(255, 255, 206), theme.ink, theme.ink2,
        QColor(132, 0, 132), QColor(252, 244, 252), theme.ruleStrong, QColor(0, 0, 182) };
}

class Painter {
public:
    Painter(QPainter& painter, const Drawing& drawing, const QTransform& fileToWidget, const Theme& theme);
    void board();
    void schematic();

private:
    bool visible(const DrawingItem& item, double reach = 0) const;
    QPen pen(const QColor& colour, double width) const;
    QColor layerColour(const DrawingItem& item) const;
    void stroke(const DrawingItem& item, const QColor& colour, const QColor& fill = QColor());
    void flushLines();
    void disc(QPointF centre, double radius);
    void pad(const DrawingItem& item, const QColor& colour);
    void via(const DrawingItem& item);
    void text(const DrawingItem& item, const QColor& colour);
    void label(const DrawingItem& item);
    // Sets the frame of a text at its anchor, in pixels, turned; false when it would be too small to read.
    bool textFrame(const DrawingItem& item, QFont& font);
    void alignedText(const QFont& font, QPointF at, Qt::Alignment align, const QString& text);

    QPainter& m_painter;
    const Drawing& m_drawing;
    QTransform m_toDevice;
    double m_scale; // pixels a millimetre
    QRectF m_visible; // in millimetres
    Colours m_colours;
    QColor m_paper;
    QFont m_font;
    // Straight strokes of one colour and width are drawn together.
    QColor m_lineColour;
    double m_lineWidth = -1;
    std::vector<QLineF> m_lines;
};

Painter::Painter(
    QPainter& painter, const Drawing& drawing, const QTransform& fileToWidget, const Theme& theme)
    : m_painter(painter)
    , m_drawing(drawing)
    , m_toDevice(fileToWidget * painter.transform())
    , m_scale(std::sqrt(std::abs(fileToWidget.determinant())))
    , m_colours(coloursOf(theme))
    , m_paper(theme.paper)
{
    m_visible = m_toDevice.inverted().mapRect(QRectF(painter.window()));
    m_painter.setTransform(m_toDevice);
    m_painter.setRenderHint(QPainter::Antialiasing);
}

bool Painter::visible(const DrawingItem& item, double reach) const
{
    const std::span<const QPointF> points = m_drawing.pointsOf(item);
    if (points.empty())
        return false;
    double left = points[0].x(), right = left, top = points[0].y(), bottom = top;
    for (const QPointF& p : points.subspan(1)) {
        left = std::min(left, p.x());
        right = std::max(right, p.x());
        top = std::min(top, p.y());
        bottom = std::max(bottom, p.y());
    }
    reach += item.width / 2;
    return right + reach >= m_visible.left() && left - reach <= m_visible.right()
        && bottom + reach >= m_visible.top() && top - reach <= m_visible.bottom();
}

// Strokes thinner than a pixel are drawn a pixel wide, so that long thin tracks still show. Round
// ends are drawn only where they show: the painter outlines them as curves, while it draws lines
// with square ends straight away.
QPen Painter::pen(const QColor& colour, double width) const
{
    const bool round = width * m_scale >= 6;
    return QPen(colour, std::max(width, 1 / m_scale), Qt::SolidLine, round ? Qt::RoundCap : Qt::SquareCap,
        round ? Qt::RoundJoin : Qt::MiterJoin);
}

// Discs of a few pixels as octagons, which cost a fraction of a curve.
void Painter::disc(QPointF centre, double radius)
{
    if (radius * m_scale >= 5) {
        m_painter.drawEllipse(centre, radius, radius);
        return;
    }
    const double near = radius * 0.4142;
    const QPointF corners[] = { centre + QPointF(radius, near), centre + QPointF(near, radius),
        centre + QPointF(-near, radius), centre + QPointF(-radius, near), centre + QPointF(-radius, -near),
        centre + QPointF(-near, -radius), centre + QPointF(near, -radius), centre + QPointF(radius, -near) };
    m_painter.drawConvexPolygon(corners, 8);
}

void Painter::flushLines()
{
    if (m_lines.empty())
        return;
    m_painter.setPen(pen(m_lineColour, m_lineWidth));
    m_painter.drawLines(m_lines.data(), int(m_lines.size()));
    m_lines.clear();
}

QColor Painter::layerColour(const DrawingItem& item) const
{
    if (item.layer >= m_drawing.layers.size())
        return m_colours.other;
    const DrawingLayer& layer = m_drawing.layers[item.layer];
    switch (layer.role) {
    case DrawingLayerRole::frontCopper: return m_colours.front;
    case DrawingLayerRole::backCopper: return m_colours.back;
    case DrawingLayerRole::innerCopper: return m_colours.inner[item.layer % m_colours.inner.size()];
    case DrawingLayerRole::outline: return m_colours.outline;
    case DrawingLayerRole::silkscreen: return layer.back ? m_colours.silkBack : m_colours.silk;
    case DrawingLayerRole::fabrication: return m_colours.fab;
    case DrawingLayerRole::courtyard: return m_colours.courtyard;
    default: return m_colours.other;
    }
}

// Lines, arcs, circles and polygons; a fill colour given is used for a background fill.
void Painter::stroke(const DrawingItem& item, const QColor& colour, const QColor& fill)
{
    const std::span<const QPointF> points = m_drawing.pointsOf(item);
    const double reach = item.kind == DrawingItemKind::circle ? item.size.width() / 2 : 0;
    if (!visible(item, reach))
        return;
    const bool straight = points.size() == 2
        && (item.kind == DrawingItemKind::track || item.kind == DrawingItemKind::line
            || item.kind == DrawingItemKind::wire || item.kind == DrawingItemKind::bus
            || item.kind == DrawingItemKind::pin);
    if (straight) {
        if (colour != m_lineColour || item.width != m_lineWidth)
            flushLines();
        m_lineColour = colour;
        m_lineWidth = item.width;
        m_lines.emplace_back(points[0], points[1]);
        return;
    }
    flushLines();
    const QBrush brush = item.fill == DrawingFill::solid ? QBrush(colour)
        : item.fill == DrawingFill::background           ? QBrush(fill.isValid() ? fill : colour)
                                                         : QBrush(Qt::NoBrush);
    m_painter.setBrush(brush);
    m_painter.setPen(pen(colour, item.width));
    switch (item.kind) {
    case DrawingItemKind::circle:
        if (reach * m_scale >= 0.5)
            m_painter.drawEllipse(points[0], reach, reach);
        break;
    case DrawingItemKind::arc:
    case DrawingItemKind::trackArc:
        if (points.size() == 3) {
            const std::optional<DrawingArc> arc = arcThrough(points[0], points[1], points[2]);
            const double pixels
                = arc ? arc->radius * m_scale * std::abs(arc->span) * std::numbers::pi / 180 : 0;
            std::vector<QPointF> along;
            appendArcPoints(along, points[0], points[1], points[2],
                int(std::clamp(std::isfinite(pixels) ? pixels / 3 : 2.0, 2.0, 90.0)));
            m_painter.drawPolyline(along.data(), int(along.size()));
        }
        break;
    case DrawingItemKind::polygon:
    case DrawingItemKind::zone: m_painter.drawPolygon(points.data(), int(points.size())); break;
    default: m_painter.drawPolyline(points.data(), int(points.size()));
    }
}

void Painter::pad(const DrawingItem& item, const QColor& colour)
{
    const double largest = std::max(item.size.width(), item.size.height());
    if (largest * m_scale < 1 || !visible(item, largest / 2))
        return;
    const QPointF centre = m_drawing.pointsOf(item)[0];
    m_painter.setPen(Qt::NoPen);
    m_painter.setBrush(colour);
    const double smallest = std::min(item.size.width(), item.size.height());
    if (item.shape == DrawingShape::circle) {
        disc(centre, item.size.width() / 2);
    } else if (item.shape == DrawingShape::rect || item.shape == DrawingShape::trapezoid
        || smallest * m_scale < 6) {
        const QTransform local
            = QTransform(QTransform::fromTranslate(centre.x(), centre.y())).rotate(-item.angle);
        const double w = item.size.width() / 2, h = item.size.height() / 2;
        const QPointF corners[] = { local.map(QPointF(-w, -h)), local.map(QPointF(w, -h)),
            local.map(QPointF(w, h)), local.map(QPointF(-w, h)) };
        m_painter.drawConvexPolygon(corners, 4);
    } else {
        QTransform local = QTransform::fromTranslate(centre.x(), centre.y());
        local.rotate(-item.angle);
        m_painter.setTransform(local * m_toDevice);
        const double radius = item.shape == DrawingShape::oval ? smallest / 2 : smallest / 4;
        m_painter.drawRoundedRect(
            QRectF(-item.size.width() / 2, -item.size.height() / 2, item.size.width(), item.size.height()),
            radius, radius);
        m_painter.setTransform(m_toDevice);
    }
    if (item.drill * m_scale >= 1.5) {
        m_painter.setBrush(m_paper);
        disc(centre, item.drill / 2);
    }
}

void Painter::via(const DrawingItem& item)
{
    const double radius = item.size.width() / 2;
    if (radius * m_scale < 0.5 || !visible(item, radius))
        return;
    const QPointF centre = m_drawing.pointsOf(item)[0];
    m_painter.setPen(Qt::NoPen);
    m_painter.setBrush(item.throughAll ? m_colours.via : layerColour(item));
    disc(centre, radius);
    if (item.drill * m_scale >= 1.5) {
        m_painter.setBrush(m_paper);
        disc(centre, item.drill / 2);
    }
}

bool Painter::textFrame(const DrawingItem& item, QFont& font)
{
    // Capitals of a few pixels cannot be read; a board has thousands of them, which would take the
    // most of its drawing, while a schematic's few show where its words are.
    const double capital = item.size.height() * m_scale;
    if (capital < (m_drawing.kind == DrawingKind::board ? 5 : 3) || item.text.isEmpty()
        || !visible(item, item.size.height() * item.text.size()))
        return false;
    // A glyph of KiCad's height h is about as tall as a capital of a font h × 1.4 high.
    font.setPixelSize(std::max(1, int(std::lround(capital * 1.4))));
    const QPointF at = m_toDevice.map(m_drawing.pointsOf(item)[0]);
    QTransform local = QTransform::fromTranslate(at.x(), at.y());
    local.rotate(-item.angle);
    m_painter.setTransform(local);
    m_painter.setFont(font);
    return true;
}

// One line of text is placed by its advance, which costs far less than laying it out in a box.
void Painter::alignedText(const QFont& font, QPointF at, Qt::Alignment align, const QString& text)
{
    if (text.contains(u'\n')) {
        m_painter.drawText(QRectF(at, QSizeF()), int(align) | Qt::TextDontClip, text);
        return;
    }
    const QFontMetricsF metrics(font);
    double x = at.x(), y = at.y();
    if (align & (Qt::AlignRight | Qt::AlignHCenter)) {
        const double width = metrics.horizontalAdvance(text);
        x -= align & Qt::AlignRight ? width : width / 2;
    }
    if (align & Qt::AlignTop)
        y += metrics.ascent();
    else if (align & Qt::AlignBottom)
        y -= metrics.descent();
    else
        y += (metrics.ascent() - metrics.descent()) / 2;
    m_painter.drawText(QPointF(x, y), text);
}

void Painter::text(const DrawingItem& item, const QColor& colour)
{
    QFont& font = m_font;
    if (!textFrame(item, font))
        return;
    m_painter.setPen(colour);
    alignedText(font, QPointF(), item.align, item.text);
    m_painter.setTransform(m_toDevice);
}

// A global label stands in a flag pointed where signals enter and leave; a hierarchical one
// behind a small arrow; a local one is its text alone.
void Painter::label(const DrawingItem& item)
{
    QFont& font = m_font;
    if (!textFrame(item, font))
        return;
    const QColor& colour = m_colours.label;
    if (item.kind == DrawingItemKind::label) {
        m_painter.setPen(colour);
        alignedText(font, QPointF(), item.align, item.text);
        m_painter.setTransform(m_toDevice);
        return;
    }
    const double height = item.size.height() * m_scale;
    const double width = QFontMetricsF(font).horizontalAdvance(item.text);
    const double side = item.align & Qt::AlignRight ? -1 : 1;
    const double half = height * 0.75, tip = height * 0.6;
    const bool inward = item.shape == DrawingShape::input || item.shape == DrawingShape::bidirectional
        || item.shape == DrawingShape::triState;
    const bool outward = item.shape == DrawingShape::output || item.shape == DrawingShape::bidirectional
        || item.shape == DrawingShape::triState;
    QPolygonF outline;
    double textAt = 0;
    if (item.kind == DrawingItemKind::globalLabel) {
        const double length = width + height * 1.6;
        outline << QPointF(inward ? tip : 0, -half) << QPointF(outward ? length - tip : length, -half);
        if (outward)
            outline << QPointF(length, 0);
        outline << QPointF(outward ? length - tip : length, half) << QPointF(inward ? tip : 0, half);
        if (inward)
            outline << QPointF(0, 0);
        textAt = height * 0.8;
    } else {
        const double size = height * 0.9;
        outline << QPointF(0, -size / 2) << QPointF(size / 2, -size / 2) << QPointF(size, 0)
                << QPointF(size / 2, size / 2) << QPointF(0, size / 2);
        textAt = size * 1.3;
    }
    for (QPointF& p : outline)
        p.setX(p.x() * side);
    m_painter.setPen(QPen(colour, std::max(1.0, 0.15 * m_scale)));
    m_painter.setBrush(Qt::NoBrush);
    m_painter.drawPolygon(outline);
    const Qt::Alignment align = (side > 0 ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter;
    alignedText(font, QPointF(side * textAt, 0), align, item.text);
    m_painter.setTransform(m_toDevice);
}

// Copper from the back of the board up, through-hole pads and vias over it, then the drawing
// layers, the outline and the texts on top.
void Painter::board()
{
    const std::vector<DrawingLayer>& layers = m_drawing.layers;
    const auto rank = [&](size_t index) {
        switch (layers[index].role) {
        case DrawingLayerRole::backCopper: return 0;
        case DrawingLayerRole::innerCopper: return 1000 - int(index);
        case DrawingLayerRole::frontCopper: return 2000;
        case DrawingLayerRole::courtyard: return 3001;
        case DrawingLayerRole::fabrication: return 3002;
        case DrawingLayerRole::silkscreen: return layers[index].back ? 3003 : 3004;
        case DrawingLayerRole::outline: return 3005;
        default: return 3000;
        }
    };
    std::vector<std::vector<quint32>> byLayer(layers.size());
    std::vector<quint32> above, texts;
    for (quint32 i = 0; i < m_drawing.items.size(); ++i) {
        const DrawingItem& item = m_drawing.items[i];
        if (item.kind == DrawingItemKind::via || (item.kind == DrawingItemKind::pad && item.throughAll))
            above.push_back(i);
        else if (item.kind == DrawingItemKind::text)
            texts.push_back(i);
        else if (item.layer < layers.size())
            byLayer[item.layer].push_back(i);
    }
    std::vector<size_t> order(layers.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return rank(a) < rank(b); });

    const auto drawLayer = [&](size_t layer) {
        for (const quint32 index : byLayer[layer]) {
            const DrawingItem& item = m_drawing.items[index];
            const QColor colour = layerColour(item);
            if (item.kind == DrawingItemKind::pad) {
                flushLines();
                pad(item, colour.lighter(125));
            } else {
                stroke(item, item.kind == DrawingItemKind::zone ? faded(colour, 110) : colour);
            }
        }
        flushLines();
    };
    size_t next = 0;
    for (; next < order.size() && rank(order[next]) <= 2000; ++next)
        drawLayer(order[next]);
    for (const quint32 index : above) {
        const DrawingItem& item = m_drawing.items[index];
        item.kind == DrawingItemKind::via ? via(item) : pad(item, m_colours.throughPad);
    }
    for (; next < order.size(); ++next)
        drawLayer(order[next]);
    for (const quint32 index : texts)
        text(m_drawing.items[index], layerColour(m_drawing.items[index]));
}

void Painter::schematic()
{
    // Drawn in passes, so that fills lie under strokes and dots and labels over wires.
    const auto pass = [&](auto&& draw) {
        for (const DrawingItem& item : m_drawing.items)
            draw(item);
        flushLines();
    };
    pass([&](const DrawingItem& item) {
        if (item.kind == DrawingItemKind::frame || item.kind == DrawingItemKind::sheet) {
            const std::span<const QPointF> corners = m_drawing.pointsOf(item);
            const bool frame = item.kind == DrawingItemKind::frame;
            m_painter.setPen(pen(frame ? m_colours.frame : m_colours.sheet, item.width));
            m_painter.setBrush(frame ? QBrush(Qt::NoBrush) : QBrush(m_colours.sheetFill));
            m_painter.drawRect(QRectF(corners[0], corners[1]));
        }
    });
    pass([&](const DrawingItem& item) {
        switch (item.kind) {
        case DrawingItemKind::line:
        case DrawingItemKind::arc:
        case DrawingItemKind::circle:
        case DrawingItemKind::polygon:
        case DrawingItemKind::pin: stroke(item, m_colours.body, m_colours.bodyFill); break;
        default: break;
        }
    });
    pass([&](const DrawingItem& item) {
        if (item.kind == DrawingItemKind::wire || item.kind == DrawingItemKind::bus)
            stroke(item, item.kind == DrawingItemKind::wire ? m_colours.wire : m_colours.bus);
    });
    pass([&](const DrawingItem& item) {
        if (item.kind == DrawingItemKind::junction) {
            const double radius = item.size.width() / 2;
            if (radius * m_scale >= 0.5 && visible(item, radius)) {
                m_painter.setPen(Qt::NoPen);
                m_painter.setBrush(m_colours.wire);
                disc(m_drawing.pointsOf(item)[0], radius);
            }
        } else if (item.kind == DrawingItemKind::noConnect && visible(item, item.size.width())) {
            const QPointF c = m_drawing.pointsOf(item)[0];
            const double r = item.size.width() / 2;
            m_painter.setPen(pen(m_colours.noConnect, 0.1524));
            m_painter.drawLine(c + QPointF(-r, -r), c + QPointF(r, r));
            m_painter.drawLine(c + QPointF(-r, r), c + QPointF(r, -r));
        }
    });
    pass([&](const DrawingItem& item) {
        if (item.kind == DrawingItemKind::label || item.kind == DrawingItemKind::globalLabel
            || item.kind == DrawingItemKind::hierarchicalLabel)
            label(item);
        else if (item.kind == DrawingItemKind::text)
            text(item, m_colours.text);
    });
}

} // namespace

void paintDrawing(
    QPainter& painter, const Drawing& drawing, const QTransform& fileToWidget, const Theme& theme)
{
    painter.save();
    Painter draw(painter, drawing, fileToWidget, theme);
    if (drawing.kind == DrawingKind::board)
        draw.board();
    else
        draw.schematic();
    painter.restore();
}

QTransform fitTransform(const QRectF& bounds, const QSizeF& area, double margin)
{
    const double width = std::max(bounds.width(), 1e-3), height = std::max(bounds.height(), 1e-3);
    const double scale = std::max(
        std::min((area.width() - 2 * margin) / width, (area.height() - 2 * margin) / height), 1e-6);
    QTransform transform = QTransform::fromTranslate(area.width() / 2, area.height() / 2);
    transform.scale(scale, scale);
    transform.translate(-bounds.center().x(), -bounds.center().y());
    return transform;
}
