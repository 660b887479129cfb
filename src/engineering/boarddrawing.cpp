#include "engineering/drawing.h"

#include "engineering/drawing_p.h"

#include <cmath>
#include <numbers>

using namespace DrawingRead;

namespace {

// Where a footprint puts its own coordinates: turned about its anchor, counter-clockwise as seen
// with y down, then moved there.
struct Placement {
    QPointF origin;
    double cosine = 1;
    double sine = 0;

    static Placement at(QPointF origin, double degrees)
    {
        const double radians = degrees * std::numbers::pi / 180;
        return { origin, std::cos(radians), std::sin(radians) };
    }
    QPointF map(QPointF p) const
    {
        return origin + QPointF(p.x() * cosine + p.y() * sine, -p.x() * sine + p.y() * cosine);
    }
};

// The lists an item is made of, read in one pass over it: a board has hundreds of thousands of
// them, and looking each field up by name would walk every item once per field.
struct Fields {
    std::optional<QPointF> start, mid, end, centre, at;
    double atAngle = 0;
    std::optional<double> sweep;
    double width = 0;
    QByteArrayView layer;
    std::optional<SExpr> layers, pts, effects, fill;
    QSizeF size;
    double drill = 0;
    bool hidden = false;
    unsigned found = 0;
};

// What an item needs, so that reading it can stop before the identifiers, nets and other lists
// that follow in every file KiCad writes.
enum Field : unsigned {
    startField = 1,
    endField = 2,
    atField = 4,
    widthField = 8,
    layerField = 16,
    layersField = 32,
    sizeField = 64,
    everything = ~0u,
};

Fields readFields(const SExpr& list, qsizetype from = 1, unsigned needed = everything)
{
    Fields fields;
    for (qsizetype i = from; i < list.size() && (fields.found & needed) != needed; ++i) {
        const SExpr item = list.item(i);
        const QByteArrayView head = headOf(item);
        if (head.isEmpty()) {
            fields.hidden = fields.hidden || is(item.utf8(), "hide");
        } else if (is(head, "start")) {
            fields.start = pointOf(item);
            fields.found |= startField;
        } else if (is(head, "end")) {
            fields.end = pointOf(item);
            fields.found |= endField;
        } else if (is(head, "mid")) {
            fields.mid = pointOf(item);
        } else if (is(head, "center")) {
            fields.centre = pointOf(item);
        } else if (is(head, "at")) {
            fields.at = pointOf(item);
            fields.atAngle = numberAt(item, 3).value_or(0);
            fields.found |= atField;
        } else if (is(head, "angle")) {
            fields.sweep = numberAt(item, 1);
        } else if (is(head, "width")) {
            fields.width = numberAt(item, 1).value_or(0);
            fields.found |= widthField;
        } else if (is(head, "stroke")) {
            if (const std::optional<SExpr> width = item.child("width"))
                fields.width = numberAt(*width, 1).value_or(0);
            fields.found |= widthField;
        } else if (is(head, "layer")) {
            fields.layer = item.size() > 1 ? item.item(1).utf8() : QByteArrayView();
            fields.found |= layerField;
        } else if (is(head, "layers")) {
            fields.layers = item;
            fields.found |= layersField;
        } else if (is(head, "pts")) {
            fields.pts = item;
        } else if (is(head, "effects")) {
            fields.effects = item;
        } else if (is(head, "fill")) {
            fields.fill = item;
        } else if (is(head, "size")) {
            const double width = numberAt(item, 1).value_or(0);
            fields.size = QSizeF(width, numberAt(item, 2).value_or(width));
            fields.found |= sizeField;
        } else if (is(head, "drill")) {
            // (drill d), (drill oval w h), (drill d (offset x y))
            for (qsizetype j = 1; j < item.size() && fields.drill == 0; ++j)
                fields.drill = numberAt(item, j).value_or(0);
        } else if (is(head, "hide")) {
            fields.hidden = fields.hidden || (item.size() > 1 && is(item.item(1).utf8(), "yes"));
        }
    }
    return fields;
}

class BoardReader {
public:
    explicit BoardReader(Drawing& drawing)
        : m_drawing(drawing)
    {
    }
    void readLayerTable(const SExpr& table);
    void read(const SExpr& root);

private:
    quint16 layerIndex(QByteArrayView name);
    DrawingItem& add(DrawingItemKind kind, std::span<const QPointF> points, QByteArrayView layer);
    void graphic(const SExpr& list, QByteArrayView shape, const Placement& place);
    void text(const Fields& fields, const QString& text, const Placement* footprint);
    void footprint(const SExpr& list);
    void pad(const SExpr& list, const Placement& place);
    void via(const SExpr& list);
    void zone(const SExpr& list);
    void polygonPoints(const SExpr& pts, const Placement& place);

    Drawing& m_drawing;
    std::vector<QByteArray> m_names; // beside m_drawing.layers, for looking names up as bytes
    qsizetype m_last = -1;
    std::vector<QPointF> m_scratch;
    double m_viaDrill = 0;
};

DrawingLayerRole roleByName(QByteArrayView name)
{
    if (is(name, "F.Cu"))
        return DrawingLayerRole::frontCopper;
    if (is(name, "B.Cu"))
        return DrawingLayerRole::backCopper;
    if (name.endsWith(".Cu"))
        return DrawingLayerRole::innerCopper;
    if (is(name, "Edge.Cuts"))
        return DrawingLayerRole::outline;
    if (name.endsWith(".SilkS") || name.endsWith("Silkscreen"))
        return DrawingLayerRole::silkscreen;
    if (name.endsWith(".Fab"))
        return DrawingLayerRole::fabrication;
    if (name.endsWith(".CrtYd") || name.endsWith("Courtyard"))
        return DrawingLayerRole::courtyard;
    if (name.endsWith(".Mask"))
        return DrawingLayerRole::mask;
    if (name.endsWith(".Paste"))
        return DrawingLayerRole::paste;
    return DrawingLayerRole::other;
}

bool isCopper(DrawingLayerRole role)
{
    return role == DrawingLayerRole::frontCopper || role == DrawingLayerRole::innerCopper
        || role == DrawingLayerRole::backCopper;
}

} // namespace

// Older boards may give the copper layers names of their own (C1F … C4B): those are copper by
// their type, the first of them the front and the last the back.
void BoardReader::readLayerTable(const SExpr& table)
{
    std::vector<size_t> customCopper;
    for (qsizetype i = 1; i < table.size(); ++i) {
        const SExpr entry = table.item(i);
        if (entry.size() < 3 || !entry.item(1).isAtom())
            continue;
        const QByteArrayView name = entry.item(1).utf8();
        const QByteArrayView type = entry.item(2).utf8();
        DrawingLayerRole role = roleByName(name);
        if (!isCopper(role)
            && (is(type, "signal") || is(type, "power") || is(type, "mixed") || is(type, "jumper"))) {
            customCopper.push_back(m_names.size());
            role = DrawingLayerRole::innerCopper;
        }
        m_names.push_back(name.toByteArray());
        m_drawing.layers.push_back({ QString::fromUtf8(name), role, name.startsWith("B.") });
    }
    if (customCopper.size() > 1) {
        m_drawing.layers[customCopper.front()].role = DrawingLayerRole::frontCopper;
        m_drawing.layers[customCopper.back()].role = DrawingLayerRole::backCopper;
        m_drawing.layers[customCopper.back()].back = true;
    }
}

quint16 BoardReader::layerIndex(QByteArrayView name)
{
    // An item without a layer gives an empty view, whose pointer may be null: memcmp must not see it
    // even for no bytes.
    const auto same = [name](const QByteArray& known) {
        return known.size() == name.size()
            && (name.isEmpty() || std::memcmp(known.constData(), name.data(), size_t(name.size())) == 0);
    };
    if (m_last >= 0 && same(m_names[size_t(m_last)]))
        return quint16(m_last);
    for (size_t i = 0; i < m_names.size(); ++i) {
        if (same(m_names[i])) {
            m_last = qsizetype(i);
            return quint16(i);
        }
    }
    if (m_names.size() >= 0xffff) // a file that names this many layers is not a board
        return 0;
    m_names.push_back(name.toByteArray());
    const DrawingLayerRole role = roleByName(name);
    m_drawing.layers.push_back(
        { QString::fromUtf8(name), role, name.startsWith("B.") || role == DrawingLayerRole::backCopper });
    m_last = qsizetype(m_names.size() - 1);
    return quint16(m_last);
}

DrawingItem& BoardReader::add(DrawingItemKind kind, std::span<const QPointF> points, QByteArrayView layer)
{
    DrawingItem& item = addItem(m_drawing, kind, points);
    item.layer = layerIndex(layer);
    return item;
}

void BoardReader::read(const SExpr& root)
{
    if (const std::optional<SExpr> table = root.child("layers"))
        readLayerTable(*table);
    // Older boards leave out the drill of a via that has the board's usual one.
    if (const std::optional<SExpr> setup = root.child("setup")) {
        m_viaDrill = firstNumber(*setup, "via_drill").value_or(0);
    }
    // Room for two items and three points for each top-level list, about what boards hold, so that
    // the arrays seldom grow.
    m_drawing.items.reserve(size_t(root.size()) * 2);
    m_drawing.points.reserve(size_t(root.size()) * 3);
    const Placement board;
    for (qsizetype i = 1; i < root.size(); ++i) {
        const SExpr list = root.item(i);
        const QByteArrayView head = headOf(list);
        if (is(head, "segment") || is(head, "arc")) {
            const Fields fields = readFields(list, 1, startField | endField | widthField | layerField);
            if (!fields.start || !fields.end || (is(head, "arc") && !fields.mid))
                continue;
            const bool arc = is(head, "arc");
            m_scratch.assign({ *fields.start });
            if (arc)
                m_scratch.push_back(*fields.mid);
            m_scratch.push_back(*fields.end);
            add(arc ? DrawingItemKind::trackArc : DrawingItemKind::track, m_scratch, fields.layer).width
                = float(fields.width);
        } else if (is(head, "via")) {
            via(list);
        } else if (is(head, "footprint") || is(head, "module")) {
            footprint(list);
        } else if (is(head, "gr_text")) {
            if (list.size() > 1)
                text(readFields(list, 2), list.item(1).text(), nullptr);
        } else if (head.startsWith("gr_")) {
            graphic(list, head.sliced(3), board);
        } else if (is(head, "zone")) {
            zone(list);
        }
    }
}

void BoardReader::graphic(const SExpr& list, QByteArrayView shape, const Placement& place)
{
    // Lines and arcs are the most of a footprint's drawing; their middles, or their angles in older
    // boards, come before their layers.
    const bool stroke = is(shape, "line") || is(shape, "arc");
    const Fields fields
        = readFields(list, 1, stroke ? startField | endField | widthField | layerField : everything);
    const float width = float(fields.width);
    DrawingFill fill = is(shape, "poly") ? DrawingFill::solid : DrawingFill::none;
    if (fields.fill && fields.fill->size() > 1) {
        const QByteArrayView word = fields.fill->item(1).utf8();
        fill = is(word, "solid") || is(word, "yes") ? DrawingFill::solid : DrawingFill::none;
    }
    m_scratch.clear();
    if (is(shape, "line") && fields.start && fields.end) {
        m_scratch = { place.map(*fields.start), place.map(*fields.end) };
        add(DrawingItemKind::line, m_scratch, fields.layer).width = width;
    } else if (is(shape, "arc") && fields.start && fields.end) {
        QPointF start = *fields.start, mid, end = *fields.end;
        if (fields.mid) {
            mid = *fields.mid;
        } else if (fields.sweep) {
            // Older boards: the centre, the point the arc starts at, and how far it turns clockwise.
            const QPointF centre = *fields.start, from = *fields.end - centre;
            const auto turned = [&](double degrees) {
                const double radians = degrees * std::numbers::pi / 180;
                const double c = std::cos(radians), s = std::sin(radians);
                return centre + QPointF(from.x() * c - from.y() * s, from.x() * s + from.y() * c);
            };
            start = *fields.end;
            mid = turned(*fields.sweep / 2);
            end = turned(*fields.sweep);
        } else {
            return;
        }
        m_scratch = { place.map(start), place.map(mid), place.map(end) };
        add(DrawingItemKind::arc, m_scratch, fields.layer).width = width;
    } else if (is(shape, "circle") && fields.centre && fields.end) {
        const QPointF radius = *fields.end - *fields.centre;
        const double diameter = 2 * std::hypot(radius.x(), radius.y());
        m_scratch = { place.map(*fields.centre) };
        DrawingItem& item = add(DrawingItemKind::circle, m_scratch, fields.layer);
        item.size = QSizeF(diameter, diameter);
        item.width = width;
        item.fill = fill;
    } else if (is(shape, "rect") && fields.start && fields.end) {
        const QPointF a = *fields.start, b = *fields.end;
        m_scratch = { place.map(a), place.map({ b.x(), a.y() }), place.map(b), place.map({ a.x(), b.y() }) };
        DrawingItem& item = add(DrawingItemKind::polygon, m_scratch, fields.layer);
        item.width = width;
        item.fill = fill;
    } else if ((is(shape, "poly") || is(shape, "curve")) && fields.pts) {
        polygonPoints(*fields.pts, place);
        if (is(shape, "curve"))
            bezierThrough(m_scratch);
        if (m_scratch.size() < 2)
            return;
        DrawingItem& item = add(
            is(shape, "poly") ? DrawingItemKind::polygon : DrawingItemKind::line, m_scratch, fields.layer);
        item.width = width;
        item.fill = is(shape, "poly") ? fill : DrawingFill::none;
    }
}

// Leaves the points of (pts (xy x y) … (arc (start) (mid) (end))) in m_scratch.
void BoardReader::polygonPoints(const SExpr& pts, const Placement& place)
{
    m_scratch.clear();
    for (qsizetype i = 1; i < pts.size(); ++i) {
        const SExpr point = pts.item(i);
        const QByteArrayView head = headOf(point);
        if (is(head, "xy")) {
            if (const std::optional<QPointF> p = pointOf(point))
                m_scratch.push_back(place.map(*p));
        } else if (is(head, "arc")) {
            const Fields arc = readFields(point);
            if (arc.start && arc.mid && arc.end)
                appendArcPoints(
                    m_scratch, place.map(*arc.start), place.map(*arc.mid), place.map(*arc.end), 8);
        }
    }
}

// A text's angle in the file is as seen on the board, its place relative to its footprint.
void BoardReader::text(const Fields& fields, const QString& text, const Placement* footprint)
{
    if (!fields.at || text.isEmpty())
        return;
    TextStyle style;
    style.size = QSizeF(1, 1);
    style.hidden = fields.hidden;
    if (fields.effects)
        style = readEffects(*fields.effects, style);
    if (style.hidden)
        return;
    const QPointF anchor = footprint ? footprint->map(*fields.at) : *fields.at;
    DrawingItem& item = add(DrawingItemKind::text, { &anchor, 1 }, fields.layer);
    bool turned = false;
    item.angle = float(readableAngle(fields.atAngle, &turned));
    item.align = turned ? flipped(style.align) : style.align;
    item.size = style.size;
    item.text = text;
}

void BoardReader::footprint(const SExpr& list)
{
    // The anchor comes before the parts in every file seen, but nothing says it must.
    std::optional<Placement> place;
    const auto placement = [&] {
        if (!place) {
            const std::optional<SExpr> at = list.child("at");
            place = at ? Placement::at(pointOf(*at).value_or(QPointF()), numberAt(*at, 3).value_or(0))
                       : Placement();
        }
        return *place;
    };
    for (qsizetype i = 1; i < list.size(); ++i) {
        const SExpr item = list.item(i);
        const QByteArrayView head = headOf(item);
        if (is(head, "at")) {
            if (!place)
                place = Placement::at(pointOf(item).value_or(QPointF()), numberAt(item, 3).value_or(0));
        } else if (is(head, "pad")) {
            pad(item, placement());
        } else if (is(head, "fp_text") || is(head, "property")) {
            if (item.size() > 2
                && (is(item.item(1).utf8(), "reference") || is(item.item(1).utf8(), "Reference"))) {
                const Placement at = placement();
                text(readFields(item, 3), item.item(2).text(), &at);
            }
        } else if (head.startsWith("fp_")) {
            graphic(item, head.sliced(3), placement());
        }
    }
}

// A pad's place is relative to its footprint, its angle as seen on the board.
void BoardReader::pad(const SExpr& list, const Placement& place)
{
    // (pad NUMBER TYPE SHAPE (at) (size) (drill) (layers) …)
    const Fields fields = readFields(list, 4, atField | sizeField | layersField);
    if (!fields.at || fields.size.isEmpty())
        return;
    const QByteArrayView shape = list.size() > 3 ? list.item(3).utf8() : QByteArrayView();
    QByteArrayView layer, firstCopper;
    bool throughAll = false;
    for (qsizetype i = 1; fields.layers && i < fields.layers->size() && !throughAll && firstCopper.isEmpty();
         ++i) {
        const QByteArrayView name = fields.layers->item(i).utf8();
        if (is(name, "*.Cu") || is(name, "F&B.Cu")) {
            throughAll = true;
        } else if (!name.startsWith("*")) {
            if (layer.isEmpty())
                layer = name;
            if (isCopper(m_drawing.layers[layerIndex(name)].role))
                firstCopper = name;
        }
    }
    const QPointF centre = place.map(*fields.at);
    DrawingItem& item = add(DrawingItemKind::pad, { &centre, 1 },
        throughAll                   ? QByteArrayView("F.Cu")
            : !firstCopper.isEmpty() ? firstCopper
                                     : layer);
    item.throughAll = throughAll;
    item.size = fields.size;
    item.angle = float(fields.atAngle);
    item.drill = float(fields.drill);
    item.shape = is(shape, "rect") ? DrawingShape::rect
        : is(shape, "roundrect")   ? DrawingShape::roundRect
        : is(shape, "circle")      ? DrawingShape::circle
        : is(shape, "oval")        ? DrawingShape::oval
        : is(shape, "trapezoid")   ? DrawingShape::trapezoid
                                   : DrawingShape::rect;
}

void BoardReader::via(const SExpr& list)
{
    const Fields fields = readFields(list, 1, atField | sizeField | layersField);
    if (!fields.at || fields.size.width() <= 0)
        return;
    QByteArrayView first, last;
    if (fields.layers && fields.layers->size() > 1) {
        first = fields.layers->item(1).utf8();
        last = fields.layers->item(fields.layers->size() - 1).utf8();
    }
    DrawingItem& item
        = add(DrawingItemKind::via, { &*fields.at, 1 }, first.isEmpty() ? QByteArrayView("F.Cu") : first);
    const quint16 lastLayer = last.isEmpty() ? item.layer : layerIndex(last);
    item.throughAll = m_drawing.layers[item.layer].role == DrawingLayerRole::frontCopper
        && m_drawing.layers[lastLayer].role == DrawingLayerRole::backCopper;
    item.size = QSizeF(fields.size.width(), fields.size.width());
    item.drill = float(fields.drill > 0 ? fields.drill
            : m_viaDrill > 0            ? m_viaDrill
                                        : fields.size.width() / 2);
}

void BoardReader::zone(const SExpr& list)
{
    const Fields fields = readFields(list);
    QByteArrayView layer = fields.layer;
    if (layer.isEmpty() && fields.layers && fields.layers->size() > 1)
        layer = fields.layers->item(1).utf8();
    for (qsizetype i = 1; i < list.size(); ++i) {
        const SExpr polygon = list.item(i);
        if (!is(headOf(polygon), "polygon"))
            continue;
        if (const std::optional<SExpr> pts = polygon.child("pts")) {
            polygonPoints(*pts, Placement());
            if (m_scratch.size() > 2)
                add(DrawingItemKind::zone, m_scratch, layer);
        }
    }
}

Drawing readBoard(const SExpr& root)
{
    Drawing drawing;
    drawing.kind = DrawingKind::board;
    BoardReader(drawing).read(root);
    computeBounds(drawing);
    return drawing;
}
