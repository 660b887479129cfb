#include "engineering/drawing.h"

#include "engineering/drawing_p.h"

#include <QHash>

#include <cmath>
#include <numbers>

using namespace DrawingRead;

namespace {

constexpr double defaultLine = 0.1524; // six mils, the width a stroke of width 0 stands for
constexpr double defaultBus = 0.3048;
constexpr double defaultJunction = 0.9144;
constexpr double noConnectSize = 1.2192;

// A linear map and a move. A symbol's library drawing has y pointing up: placing it flips y,
// turns it counter-clockwise as seen, then mirrors it.
struct Frame {
    double xx = 1, xy = 0, yx = 0, yy = 1;
    QPointF origin;

    QPointF vector(QPointF p) const { return { xx * p.x() + xy * p.y(), yx * p.x() + yy * p.y() }; }
    QPointF map(QPointF p) const { return origin + vector(p); }
    Frame after(const Frame& first) const // this ∘ first
    {
        return { xx * first.xx + xy * first.yx, xx * first.xy + xy * first.yy, yx * first.xx + yy * first.yx,
            yx * first.xy + yy * first.yy, origin + vector(first.origin) };
    }
};

// Rounded, so that a quarter turn maps a pin's end exactly where a wire's end is.
Frame turn(double degrees)
{
    const double radians = degrees * std::numbers::pi / 180;
    const double c = std::round(std::cos(radians) * 1e12) / 1e12,
                 s = std::round(std::sin(radians) * 1e12) / 1e12;
    return { c, s, -s, c, {} };
}

struct PlacedText {
    double angle;
    Qt::Alignment align;
};

// Text whose direction and downward side went through a frame, turned to read from the left or
// from below: an alignment flips with each side that now faces the other way.
PlacedText placeText(QPointF forward, QPointF down, Qt::Alignment align)
{
    bool turned = false;
    const double angle
        = readableAngle(std::atan2(-forward.y(), forward.x()) * 180 / std::numbers::pi, &turned);
    const QPointF shown = turned ? -forward : forward;
    const QPointF shownDown(-shown.y(), shown.x());
    const bool downFlips = down.x() * shownDown.x() + down.y() * shownDown.y() < 0;
    const Qt::Alignment horizontal = align & (Qt::AlignLeft | Qt::AlignRight | Qt::AlignHCenter);
    const Qt::Alignment vertical = align & (Qt::AlignTop | Qt::AlignBottom | Qt::AlignVCenter);
    const Qt::Alignment out
        = (turned ? flipped(horizontal) : horizontal) | (downFlips ? flipped(vertical) : vertical);
    return { angle, out };
}

// "~{RESET}" draws RESET with a bar over it; the bar is left out.
QString withoutOverbar(QString text)
{
    for (qsizetype at = text.indexOf(u"~{"); at >= 0; at = text.indexOf(u"~{", at)) {
        text.remove(at, 2);
        if (const qsizetype end = text.indexOf(u'}', at); end >= 0)
            text.remove(end, 1);
    }
    return text;
}

struct PinStyle {
    double nameOffset = 0.508;
    bool names = true;
    bool numbers = true;
};

class SchematicReader {
public:
    explicit SchematicReader(Drawing& drawing)
        : m_drawing(drawing)
    {
    }
    void read(const SExpr& root);

private:
    void paper(const SExpr& list);
    void graphic(const SExpr& list, QByteArrayView head, const Frame& frame);
    void symbol(const SExpr& list);
    void pin(const SExpr& list, const Frame& frame, const PinStyle& style);
    void sheet(const SExpr& list);
    // Labels, notes and sheet fields: their alignment in the file is already as seen.
    void labelLike(const SExpr& list, DrawingItemKind kind, const QString& text);
    DrawingItem& addText(QPointF anchor, const QString& text, QSizeF size, PlacedText placed);

    Drawing& m_drawing;
    QHash<QByteArray, qsizetype> m_libraryIndex;
    std::vector<SExpr> m_library;
    std::vector<QPointF> m_scratch;
};

} // namespace

void SchematicReader::read(const SExpr& root)
{
    if (const std::optional<SExpr> library = root.child("lib_symbols")) {
        for (qsizetype i = 1; i < library->size(); ++i) {
            const SExpr entry = library->item(i);
            if (is(headOf(entry), "symbol") && entry.size() > 1) {
                m_libraryIndex.insert(entry.item(1).utf8().toByteArray(), qsizetype(m_library.size()));
                m_library.push_back(entry);
            }
        }
    }
    const Frame page;
    for (qsizetype i = 1; i < root.size(); ++i) {
        const SExpr list = root.item(i);
        const QByteArrayView head = headOf(list);
        if (is(head, "wire") || is(head, "bus")) {
            const std::optional<SExpr> pts = list.child("pts");
            if (!pts)
                continue;
            m_scratch.clear();
            for (qsizetype j = 1; j < pts->size(); ++j) {
                if (const std::optional<QPointF> p = pointOf(pts->item(j)))
                    m_scratch.push_back(*p);
            }
            if (m_scratch.size() < 2)
                continue;
            const bool bus = is(head, "bus");
            const double width = strokeWidth(list);
            addItem(m_drawing, bus ? DrawingItemKind::bus : DrawingItemKind::wire, m_scratch).width
                = float(width > 0 ? width
                        : bus     ? defaultBus
                                  : defaultLine);
        } else if (is(head, "bus_entry")) {
            const std::optional<SExpr> at = list.child("at"), size = list.child("size");
            const std::optional<QPointF> from = at ? pointOf(*at) : std::nullopt;
            const std::optional<QPointF> reach = size ? pointOf(*size) : std::nullopt;
            if (from && reach)
                addItem(m_drawing, DrawingItemKind::bus, { *from, *from + *reach }).width
                    = float(defaultLine);
        } else if (is(head, "junction") || is(head, "no_connect")) {
            const std::optional<SExpr> at = list.child("at");
            const std::optional<QPointF> centre = at ? pointOf(*at) : std::nullopt;
            if (!centre)
                continue;
            const bool junction = is(head, "junction");
            DrawingItem& item = addItem(
                m_drawing, junction ? DrawingItemKind::junction : DrawingItemKind::noConnect, { *centre });
            const double diameter = firstNumber(list, "diameter").value_or(0);
            const double size = !junction ? noConnectSize : diameter <= 0 ? defaultJunction : diameter;
            item.size = QSizeF(size, size);
        } else if (is(head, "label") || is(head, "global_label") || is(head, "hierarchical_label")
            || is(head, "text")) {
            if (list.size() > 1)
                labelLike(list,
                    is(head, "label")              ? DrawingItemKind::label
                        : is(head, "global_label") ? DrawingItemKind::globalLabel
                        : is(head, "text")         ? DrawingItemKind::text
                                                   : DrawingItemKind::hierarchicalLabel,
                    list.item(1).text());
        } else if (is(head, "symbol")) {
            symbol(list);
        } else if (is(head, "sheet")) {
            sheet(list);
        } else if (is(head, "paper")) {
            paper(list);
        } else {
            graphic(list, head, page);
        }
    }
}

void SchematicReader::paper(const SExpr& list)
{
    static const QHash<QByteArray, QSizeF> sizes {
        { "A5", { 210, 148 } },
        { "A4", { 297, 210 } },
        { "A3", { 420, 297 } },
        { "A2", { 594, 420 } },
        { "A1", { 841, 594 } },
        { "A0", { 1189, 841 } },
        { "A", { 279.4, 215.9 } },
        { "B", { 431.8, 279.4 } },
        { "C", { 558.8, 431.8 } },
        { "D", { 863.6, 558.8 } },
        { "E", { 1117.6, 863.6 } },
        { "USLetter", { 279.4, 215.9 } },
        { "USLegal", { 355.6, 215.9 } },
        { "USLedger", { 431.8, 279.4 } },
    };
    if (list.size() < 2)
        return;
    const QByteArray name = list.item(1).utf8().toByteArray();
    QSizeF size = is(name, "User") ? QSizeF(numberAt(list, 2).value_or(0), numberAt(list, 3).value_or(0))
                                   : sizes.value(name);
    if (list.size() > 2 && is(list.item(list.size() - 1).utf8(), "portrait"))
        size.transpose();
    if (size.width() <= 0 || size.height() <= 0)
        return;
    m_drawing.paper = size;
    addItem(m_drawing, DrawingItemKind::frame, { QPointF(0, 0), QPointF(size.width(), size.height()) });
}

// Rectangles, circles, arcs, polylines, Bézier curves and text, on the page or in a symbol.
void SchematicReader::graphic(const SExpr& list, QByteArrayView head, const Frame& frame)
{
    const auto point = [&](QByteArrayView name) -> std::optional<QPointF> {
        const std::optional<SExpr> child = list.child(name);
        return child ? pointOf(*child) : std::nullopt;
    };
    DrawingFill fill = DrawingFill::none;
    if (const std::optional<SExpr> filling = list.child("fill")) {
        const std::optional<SExpr> type = filling->child("type");
        const QByteArrayView word = type && type->size() > 1 ? type->item(1).utf8() : QByteArrayView();
        fill = is(word, "background")                  ? DrawingFill::background
            : is(word, "outline") || is(word, "color") ? DrawingFill::solid
                                                       : DrawingFill::none;
    }
    const double stroke = strokeWidth(list);
    const float width = float(stroke > 0 ? stroke : defaultLine);
    m_scratch.clear();
    DrawingItemKind kind = DrawingItemKind::line;
    if (is(head, "rectangle")) {
        const std::optional<QPointF> a = point("start"), b = point("end");
        if (!a || !b)
            return;
        m_scratch
            = { frame.map(*a), frame.map({ b->x(), a->y() }), frame.map(*b), frame.map({ a->x(), b->y() }) };
        kind = DrawingItemKind::polygon;
    } else if (is(head, "circle")) {
        const std::optional<QPointF> centre = point("center");
        const std::optional<double> radius = firstNumber(list, "radius");
        if (!centre || !radius)
            return;
        DrawingItem& item = addItem(m_drawing, DrawingItemKind::circle, { frame.map(*centre) });
        item.size = QSizeF(2 * *radius, 2 * *radius);
        item.width = width;
        item.fill = fill;
        return;
    } else if (is(head, "arc")) {
        const std::optional<QPointF> start = point("start"), end = point("end");
        const std::optional<QPointF> mid = point("mid");
        if (!start || !mid || !end)
            return;
        m_scratch = { frame.map(*start), frame.map(*mid), frame.map(*end) };
        kind = DrawingItemKind::arc;
    } else if (is(head, "polyline") || is(head, "bezier")) {
        const std::optional<SExpr> pts = list.child("pts");
        for (qsizetype i = 1; pts && i < pts->size(); ++i) {
            if (const std::optional<QPointF> p = pointOf(pts->item(i)))
                m_scratch.push_back(frame.map(*p));
        }
        if (is(head, "bezier"))
            bezierThrough(m_scratch);
        if (m_scratch.size() < 2)
            return;
        if (fill != DrawingFill::none && m_scratch.size() > 2)
            kind = DrawingItemKind::polygon;
    } else if (is(head, "text") && list.size() > 1) {
        const std::optional<SExpr> at = list.child("at");
        const std::optional<SExpr> effects = list.child("effects");
        const TextStyle style = effects ? readEffects(*effects, {}) : TextStyle();
        if (!at || !pointOf(*at) || style.hidden || is(list.item(1).utf8(), "~"))
            return;
        double degrees = numberAt(*at, 3).value_or(0);
        if (std::abs(degrees) > 360) // symbol texts of some versions turn in tenths of a degree
            degrees /= 10;
        // In a symbol's own frame y points up: its text reads along (cos, sin) with its foot below.
        const double radians = degrees * std::numbers::pi / 180;
        const QPointF forward(std::cos(radians), std::sin(radians)),
            down(std::sin(radians), -std::cos(radians));
        addText(frame.map(*pointOf(*at)), withoutOverbar(list.item(1).text()), style.size,
            placeText(frame.vector(forward), frame.vector(down), style.align));
        return;
    } else {
        return;
    }
    DrawingItem& item = addItem(m_drawing, kind, m_scratch);
    item.width = width;
    item.fill = kind == DrawingItemKind::line ? DrawingFill::none : fill;
}

DrawingItem& SchematicReader::addText(QPointF anchor, const QString& text, QSizeF size, PlacedText placed)
{
    DrawingItem& item = addItem(m_drawing, DrawingItemKind::text, { anchor });
    item.text = text;
    item.size = size;
    item.angle = float(placed.angle);
    item.align = placed.align;
    return item;
}

void SchematicReader::labelLike(const SExpr& list, DrawingItemKind kind, const QString& text)
{
    const std::optional<SExpr> at = list.child("at");
    const std::optional<QPointF> anchor = at ? pointOf(*at) : std::nullopt;
    const std::optional<SExpr> effects = list.child("effects");
    const TextStyle style = effects ? readEffects(*effects, {}) : TextStyle();
    if (!anchor || style.hidden || text.isEmpty())
        return;
    DrawingItem& item = addItem(m_drawing, kind, { *anchor });
    item.text = withoutOverbar(text);
    item.size = style.size;
    item.align = style.align;
    item.angle = float(readableAngle(numberAt(*at, 3).value_or(0)));
    QByteArrayView shape;
    if (const std::optional<SExpr> shapeList = list.child("shape"); shapeList && shapeList->size() > 1)
        shape = shapeList->item(1).utf8();
    else if (list.size() > 2 && list.item(2).isAtom()) // a sheet's pin: (pin "name" input …)
        shape = list.item(2).utf8();
    item.shape = is(shape, "input")  ? DrawingShape::input
        : is(shape, "output")        ? DrawingShape::output
        : is(shape, "bidirectional") ? DrawingShape::bidirectional
        : is(shape, "tri_state")     ? DrawingShape::triState
        : is(shape, "passive")       ? DrawingShape::passive
                                     : DrawingShape::none;
}

// A placed symbol draws the units of its library symbol that are its own or shared by all, and its
// visible fields, which the file already places on the page.
void SchematicReader::symbol(const SExpr& list)
{
    QByteArray name;
    Frame placement { 1, 0, 0, 1, {} };
    double degrees = 0;
    int unit = 1, bodyStyle = 1;
    for (qsizetype i = 1; i < list.size(); ++i) {
        const SExpr item = list.item(i);
        const QByteArrayView head = headOf(item);
        if ((is(head, "lib_id") && name.isEmpty()) || is(head, "lib_name")) {
            name = item.size() > 1 ? item.item(1).utf8().toByteArray() : QByteArray();
        } else if (is(head, "at")) {
            placement.origin = pointOf(item).value_or(QPointF());
            degrees = numberAt(item, 3).value_or(0);
        } else if (is(head, "mirror") && item.size() > 1) {
            placement.xx = is(item.item(1).utf8(), "y") ? -1 : 1;
            placement.yy = is(item.item(1).utf8(), "x") ? -1 : 1;
        } else if (is(head, "unit")) {
            unit = int(numberAt(item, 1).value_or(1));
        } else if (is(head, "convert") || is(head, "body_style")) {
            bodyStyle = int(numberAt(item, 1).value_or(1));
        }
    }
    // Mirroring comes after turning, both as seen on the page.
    const Frame mirror { placement.xx, 0, 0, placement.yy, {} };
    const Frame seen = mirror.after(turn(degrees));
    Frame frame = seen.after(Frame { 1, 0, 0, -1, {} });
    frame.origin = placement.origin;

    if (const auto found = m_libraryIndex.constFind(name); found != m_libraryIndex.cend()) {
        const SExpr& library = m_library[size_t(*found)];
        PinStyle pins;
        if (const std::optional<SExpr> names = library.child("pin_names")) {
            pins.names = !hasHide(*names);
            pins.nameOffset = firstNumber(*names, "offset").value_or(pins.nameOffset);
        }
        if (const std::optional<SExpr> numbers = library.child("pin_numbers"))
            pins.numbers = !hasHide(*numbers);
        for (qsizetype i = 1; i < library.size(); ++i) {
            const SExpr part = library.item(i);
            if (!is(headOf(part), "symbol") || part.size() < 2)
                continue;
            // Named NAME_UNIT_STYLE, where 0 stands for every unit or every body style.
            const QByteArrayView partName = part.item(1).utf8();
            const qsizetype lastBreak = partName.lastIndexOf('_');
            const qsizetype unitBreak = lastBreak > 0 ? partName.first(lastBreak).lastIndexOf('_') : -1;
            if (unitBreak < 0)
                continue;
            const int partUnit = partName.sliced(unitBreak + 1, lastBreak - unitBreak - 1).toInt();
            const int partStyle = partName.sliced(lastBreak + 1).toInt();
            if ((partUnit != 0 && partUnit != unit) || (partStyle != 0 && partStyle != bodyStyle))
                continue;
            for (qsizetype j = 2; j < part.size(); ++j) {
                const SExpr shape = part.item(j);
                const QByteArrayView head = headOf(shape);
                if (is(head, "pin"))
                    pin(shape, frame, pins);
                else
                    graphic(shape, head, frame);
            }
        }
    }

    for (const SExpr& field : list.children("property")) {
        const std::optional<SExpr> at = field.child("at");
        const std::optional<SExpr> effects = field.child("effects");
        TextStyle style = effects ? readEffects(*effects, {}) : TextStyle();
        if (field.size() < 3 || !at || !pointOf(*at) || style.hidden || hasHide(field))
            continue;
        const QString text = field.item(2).text();
        if (text.isEmpty())
            continue;
        const Frame angle = turn(numberAt(*at, 3).value_or(0));
        addText(*pointOf(*at), text, style.size,
            placeText(seen.vector(angle.vector({ 1, 0 })), seen.vector(angle.vector({ 0, 1 })), style.align));
    }
}

// A pin runs from where wires connect to the body; its name sits inside the body past its end, or
// over the line when the symbol puts names at no distance, and its number over the line.
void SchematicReader::pin(const SExpr& list, const Frame& frame, const PinStyle& style)
{
    if (hasHide(list))
        return;
    const std::optional<SExpr> at = list.child("at");
    const std::optional<QPointF> local = at ? pointOf(*at) : std::nullopt;
    if (!local)
        return;
    const double length = firstNumber(list, "length").value_or(2.54);
    const double radians = numberAt(*at, 3).value_or(0) * std::numbers::pi / 180;
    const QPointF reach = length * QPointF(std::cos(radians), std::sin(radians));
    const QPointF from = frame.map(*local), to = frame.map(*local + reach);
    addItem(m_drawing, DrawingItemKind::pin, { from, to }).width = float(defaultLine);

    const QPointF along = to - from;
    const double distance = std::hypot(along.x(), along.y());
    if (distance <= 0)
        return;
    const QPointF unit = along / distance;
    const bool vertical = std::abs(unit.y()) > std::abs(unit.x());
    const double textAngle = vertical ? 90 : 0;
    // Over the line means up for a pin across the page and left for one down it.
    const QPointF over = vertical ? QPointF(-0.3, 0) : QPointF(0, -0.3);
    const QPointF middle = (from + to) / 2;
    const auto label = [&](QByteArrayView name) -> std::pair<QString, QSizeF> {
        const std::optional<SExpr> child = list.child(name);
        if (!child || child->size() < 2)
            return {};
        const std::optional<SExpr> effects = child->child("effects");
        const TextStyle text = effects ? readEffects(*effects, {}) : TextStyle();
        const QString value = child->item(1).text();
        if (text.hidden || value == u"~")
            return {};
        return { withoutOverbar(value), text.size };
    };
    const auto [name, nameSize] = label("name");
    const auto [number, numberSize] = label("number");
    const bool nameInside = style.nameOffset > 0;
    if (style.names && !name.isEmpty()) {
        if (nameInside) {
            // Reading from the left or from below, a name runs away from the pin when it points
            // right or up, and towards it otherwise.
            const bool away = vertical ? unit.y() < 0 : unit.x() > 0;
            addText(to + unit * style.nameOffset, name, nameSize,
                { textAngle, (away ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter });
        } else {
            addText(middle + over, name, nameSize, { textAngle, Qt::AlignHCenter | Qt::AlignBottom });
        }
    }
    if (style.numbers && !number.isEmpty()) {
        if (nameInside || !style.names)
            addText(middle + over, number, numberSize, { textAngle, Qt::AlignHCenter | Qt::AlignBottom });
        else
            addText(middle - over, number, numberSize, { textAngle, Qt::AlignHCenter | Qt::AlignTop });
    }
}

void SchematicReader::sheet(const SExpr& list)
{
    const std::optional<SExpr> at = list.child("at"), size = list.child("size");
    const std::optional<QPointF> corner = at ? pointOf(*at) : std::nullopt;
    const std::optional<QPointF> extent = size ? pointOf(*size) : std::nullopt;
    if (!corner || !extent)
        return;
    DrawingItem& item = addItem(m_drawing, DrawingItemKind::sheet, { *corner, *corner + *extent });
    const double stroke = strokeWidth(list);
    item.width = float(stroke > 0 ? stroke : defaultLine);
    const qsizetype index = qsizetype(m_drawing.items.size() - 1);
    for (qsizetype i = 1; i < list.size(); ++i) {
        const SExpr child = list.item(i);
        const QByteArrayView head = headOf(child);
        if (is(head, "property") && child.size() > 2) {
            const QByteArrayView key = child.item(1).utf8();
            if (is(key, "Sheetname") || is(key, "Sheet name"))
                m_drawing.items[size_t(index)].text = child.item(2).text();
            if (!hasHide(child))
                labelLike(child, DrawingItemKind::text, child.item(2).text());
        } else if (is(head, "pin") && child.size() > 1) {
            labelLike(child, DrawingItemKind::hierarchicalLabel, child.item(1).text());
        }
    }
}

Drawing readSchematic(const SExpr& root)
{
    Drawing drawing;
    drawing.kind = DrawingKind::schematic;
    SchematicReader(drawing).read(root);
    computeBounds(drawing);
    return drawing;
}
