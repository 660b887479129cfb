#include "scene/scenecontroller.h"

#include "layout/citylayout.h"
#include "layout/graphlayout.h"
#include "layout/treelayout.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

QVector3D vec(const Vec3& v)
{
    return { v.x, v.y, v.z };
}

// Lots darken with depth, so nested folders read as steps; the light theme needs a steeper step.
QColor pavingColor(const Theme& theme, qint64 depth)
{
    const double k = theme.dark ? 0.16 : 0.22;
    return mix(theme.stoneLit, theme.stoneDark, std::clamp(double(depth - 1) * k, 0.0, 0.55));
}

SceneInstance instance(const ScenePart& part, const QColor& color, bool storeys)
{
    const QColor rgb = color.toRgb();
    return { { part.base.x(), part.base.y(), part.base.z() }, { part.size.x(), part.size.y(), part.size.z() },
        { rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF() }, storeys ? 1.0f : 0.0f,
        part.castsShadow ? 1.0f : 0.0f };
}

void addLine(std::vector<SceneLineVertex>& lines, const QVector3D& a, const QVector3D& b, const QColor& color,
    bool fog)
{
    const QColor rgb = color.toRgb();
    for (const QVector3D& p : { a, b }) {
        lines.push_back({ { p.x(), p.y(), p.z() }, { rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF() },
            fog ? 1.0f : 0.0f });
    }
}

// The edges of a box, or the rim of a flat one, held a little off its faces so that they are not
// lost in them.
void addOutline(std::vector<SceneLineVertex>& lines, const ScenePart& part, const QColor& color)
{
    const float grow = 0.03f + 0.01f * std::max(part.size.x(), part.size.z());
    const QVector3D lo = part.box().min - QVector3D(grow, part.kind == PartKind::plane ? -0.004f : 0, grow);
    const QVector3D hi = part.box().max + QVector3D(grow, part.kind == PartKind::plane ? 0.004f : grow, grow);
    const auto corner = [&](int i) {
        return QVector3D((i & 1) ? hi.x() : lo.x(), (i & 2) ? hi.y() : lo.y(), (i & 4) ? hi.z() : lo.z());
    };
    // Corners 0, 1, 5, 4 go round the bottom; adding 2 lifts a corner to the top.
    const int ring[4] = { 0, 1, 5, 4 };
    for (int i = 0; i < 4; ++i) {
        const int a = ring[i], b = ring[(i + 1) % 4];
        addLine(lines, corner(a | 2), corner(b | 2), color, false);
        if (part.kind == PartKind::box) {
            addLine(lines, corner(a), corner(b), color, false);
            addLine(lines, corner(a), corner(a | 2), color, false);
        }
    }
}

// The roof of a folder drawn whole as one block: its rim and a hatch across it, so that it is never
// taken for one large file.
void addHatchedRoof(std::vector<SceneLineVertex>& lines, const ScenePart& part, const QColor& color)
{
    const SceneBox box = part.box();
    const float y = box.max.y() + 0.01f;
    const float x0 = box.min.x(), x1 = box.max.x(), z0 = box.min.z(), z1 = box.max.z();
    const QVector3D corners[4] = { { x0, y, z0 }, { x1, y, z0 }, { x1, y, z1 }, { x0, y, z1 } };
    for (int i = 0; i < 4; ++i)
        addLine(lines, corners[i], corners[(i + 1) % 4], color, false);
    // Lines where x + z is constant, evenly across the roof.
    constexpr int hatches = 5;
    for (int k = 1; k <= hatches; ++k) {
        const float c = (x0 + z0) + float(k) / (hatches + 1) * ((x1 + z1) - (x0 + z0));
        const float fromX = std::max(x0, c - z1), toX = std::min(x1, c - z0);
        addLine(lines, { fromX, y, c - fromX }, { toX, y, c - toX }, color, false);
    }
}

// The tree as it is drawn: the layout's places, with files as wide as the room beside their
// neighbours on the ring allows, up to about twice the layout's slim buildings, and folder plates
// the square inscribed in the folder's own circle. No building reaches up through its folder's
// plate: one that stands under the plate stops just below it.
void drawReadably(LayoutResult& tree)
{
    constexpr float widest = 1.1f, below = 0.15f;
    QHash<const FileNode*, const Placement*> plates;
    for (Placement& placement : tree.placements) {
        if (placement.kind != PlacementKind::junction)
            continue;
        placement.size.x = placement.size.z = placement.size.x / std::numbers::sqrt2_v<float>;
        plates.insert(placement.file, &placement);
    }
    // Each folder's children in the order they go round its ring.
    QHash<const FileNode*, std::vector<Placement*>> rings;
    for (Placement& placement : tree.placements) {
        if (placement.file->parent && plates.contains(placement.file->parent))
            rings[placement.file->parent].push_back(&placement);
    }
    const auto isFile
        = [](const Placement* p) { return p->kind == PlacementKind::building && !p->aggregate; };
    QHash<const Placement*, float> room; // the half width each file may take
    for (const std::vector<Placement*>& ring : std::as_const(rings)) {
        for (std::size_t i = 0; ring.size() > 1 && i < ring.size(); ++i) {
            const Placement* a = ring[i];
            const Placement* b = ring[(i + 1) % ring.size()];
            // Two squares are clear of each other when they are apart along one axis.
            const float apart = std::max(std::abs(a->base.x - b->base.x), std::abs(a->base.z - b->base.z));
            for (const auto& [one, other] : { std::pair(a, b), std::pair(b, a) }) {
                if (!isFile(one))
                    continue;
                const float half = isFile(other) ? apart / 2 : apart - other->size.x / 2;
                room[one] = std::min(room.value(one, widest / 2), half);
            }
        }
    }
    for (Placement& placement : tree.placements) {
        if (placement.kind != PlacementKind::building)
            continue;
        if (!placement.aggregate) {
            const float half = std::min(room.value(&placement, widest / 2), widest / 2);
            placement.size.x = placement.size.z = std::max(placement.size.x, 2 * half);
        }
        const Placement* plate = plates.value(placement.file->parent);
        if (!plate)
            continue;
        const float reach = (placement.size.x + plate->size.x) / 2;
        const bool under = std::abs(placement.base.x - plate->base.x) < reach
            && std::abs(placement.base.z - plate->base.z) < reach;
        if (under)
            placement.size.y = std::clamp(plate->base.y - below - placement.base.y, 0.2f, placement.size.y);
    }
}

SceneBox merged(const SceneBox& a, const SceneBox& b)
{
    return { QVector3D(std::min(a.min.x(), b.min.x()), std::min(a.min.y(), b.min.y()),
                 std::min(a.min.z(), b.min.z())),
        QVector3D(
            std::max(a.max.x(), b.max.x()), std::max(a.max.y(), b.max.y()), std::max(a.max.z(), b.max.z())) };
}

// Where a ray from `origin` along `dir` first enters the box, if it does.
std::optional<float> hitBox(const QVector3D& origin, const QVector3D& dir, const SceneBox& box)
{
    float near = 0, far = std::numeric_limits<float>::max();
    for (int axis = 0; axis < 3; ++axis) {
        const float o = origin[axis], d = dir[axis], lo = box.min[axis], hi = box.max[axis];
        if (std::abs(d) < 1e-9f) {
            if (o < lo || o > hi)
                return std::nullopt;
            continue;
        }
        float t0 = (lo - o) / d, t1 = (hi - o) / d;
        if (t0 > t1)
            std::swap(t0, t1);
        near = std::max(near, t0);
        far = std::min(far, t1);
        if (near > far)
            return std::nullopt;
    }
    return near;
}

} // namespace

void SceneController::build(const FileNode& root, const SceneConfig& config, bool resetCamera,
    const LotWeight& lot, const NodeSet* only)
{
    m_config = config;
    m_root = &root;
    QElapsedTimer clock;
    clock.start();
    switch (config.mode) {
    case VisualizationMode::tree:
        m_layout = TreeLayout::build(root, config.height, config.heightScale);
        drawReadably(m_layout);
        break;
    case VisualizationMode::history:
        m_layout = CityLayout::build(root, config.height, config.heightScale, lot, nullptr);
        break;
    case VisualizationMode::city:
        m_layout = CityLayout::build(root, config.height, config.heightScale, lot, only);
        break;
    case VisualizationMode::graph:
        m_layout = m_imports ? GraphLayout::place(
                       root, m_imports->graph, m_imports->positions, config.height, config.heightScale)
                             : LayoutResult {};
        break;
    }
    m_layoutMs = clock.elapsed();
    m_colors = ColorContext(config.color, config.theme.dark, root.allFiles());

    m_entities.clear();
    m_entities.reserve(m_layout.placements.size());
    m_index.clear();
    m_index.reserve(qsizetype(m_layout.placements.size()));
    for (const Placement& placement : m_layout.placements) {
        m_entities.push_back(makeEntity(placement));
        // A top-level file has a tile of its own under its building; the building stands for it.
        const auto known = m_index.constFind(placement.file);
        if (known == m_index.cend() || placement.kind == PlacementKind::building)
            m_index.insert(placement.file, qsizetype(m_entities.size() - 1));
    }
    if (const auto chosen = m_index.constFind(m_selection); chosen != m_index.cend())
        m_entities[size_t(*chosen)].selected = true;

    m_bounds = { vec(m_layout.minBound), vec(m_layout.maxBound) };
    m_ground.reset();
    if (isTreemap(config.mode)) {
        const TMRect& g = m_layout.ground;
        ScenePart ground { PartKind::plane, QVector3D(float(g.x + g.width / 2), 0, float(g.z + g.depth / 2)),
            QVector3D(float(g.width + 3.2), 0, float(g.depth + 3.2)), config.theme.tarmac, false, false };
        m_bounds = m_layout.placements.empty() ? ground.box() : merged(m_bounds, ground.box());
        m_ground = ground;
    }
    m_radius = std::max((vec(m_layout.maxBound) - vec(m_layout.minBound)).length() / 2, 4.0f);

    // What home must show: the ground's corners and every building's and disc's box.
    std::vector<QVector3D> outline;
    outline.reserve(m_entities.size() * 8 + 4);
    const auto corners = [&](const SceneBox& box) {
        for (int corner = 0; corner < 8; ++corner) {
            outline.emplace_back((corner & 1) ? box.max.x() : box.min.x(),
                (corner & 2) ? box.max.y() : box.min.y(), (corner & 4) ? box.max.z() : box.min.z());
        }
    };
    if (m_ground)
        corners(m_ground->box());
    for (const EntityNode& entity : m_entities) {
        if (entity.kind() != PlacementKind::paving || !m_ground)
            corners(entity.box());
    }
    m_camera.setUp(m_bounds, std::move(outline));
    if (resetCamera || !m_built)
        m_camera.home();
    if (!m_built)
        m_camera.settle();
    m_built = true;

    makeLegend();
    ++m_shapeGeneration;
    refresh();
}

void SceneController::clear()
{
    m_layout = {};
    m_colors = {};
    m_entities.clear();
    m_index.clear();
    m_ground.reset();
    m_legend.clear();
    m_selection = nullptr;
    m_selectedFolder = nullptr;
    m_filteredOut = {};
    m_hidden = {};
    m_touched.clear();
    m_heat.clear();
    m_root = nullptr;
    m_imports.reset();
    m_focus = {};
    ++m_shapeGeneration;
    refresh();
}

EntityNode SceneController::makeEntity(const Placement& placement) const
{
    EntityNode entity;
    entity.file = placement.file;
    entity.placement = placement;
    const QVector3D base = vec(placement.base), size = vec(placement.size);
    switch (placement.kind) {
    case PlacementKind::building: {
        const ColorStyle style = m_colors.style(*placement.file);
        entity.colorKey = style.key;
        entity.baseColor = style.color;
        entity.height = size.y();
        if (placement.setback) {
            const float lower = size.y() * 0.72f;
            entity.parts.push_back(
                { PartKind::box, base, QVector3D(size.x(), lower, size.z()), style.color, true, true });
            entity.parts.push_back({ PartKind::box, base + QVector3D(0, lower, 0),
                QVector3D(size.x() * 0.62f, size.y() - lower, size.z() * 0.62f), style.color, true, true });
        } else {
            entity.parts.push_back({ PartKind::box, base, size, style.color, true, true });
        }
        break;
    }
    case PlacementKind::paving:
        entity.colorKey = u"pave:" + QString::number(placement.depth);
        entity.baseColor = pavingColor(m_config.theme, placement.depth);
        entity.parts.push_back({ PartKind::plane, base, size, entity.baseColor, false, false });
        break;
    case PlacementKind::junction:
        entity.colorKey = QStringLiteral("junction");
        entity.baseColor = m_config.theme.stoneMid;
        entity.parts.push_back({ PartKind::box, base, size, entity.baseColor, false, true });
        break;
    }
    // Marks set before this build carry over to the nodes that are still drawn.
    entity.filteredOut = m_filteredOut && m_filteredOut(*placement.file);
    entity.hidden = m_hidden && m_hidden(*placement.file);
    entity.touched = m_touched.value(placement.file);
    if (entity.touched > 0 && placement.kind == PlacementKind::building) {
        // A fresh mark tints the building as well as outlining it, so a fast replay shows where the
        // work happens.
        for (ScenePart& part : entity.parts)
            part.color = mix(part.color, m_config.theme.mark, 0.5 * double(entity.touched));
    }
    return entity;
}

const EntityNode* SceneController::entityFor(const FileNode* file) const
{
    const auto found = m_index.constFind(file);
    return found == m_index.cend() ? nullptr : &m_entities[size_t(*found)];
}

void SceneController::setSelection(const FileNode* file)
{
    m_selection = file;
    const EntityNode* chosen = entityFor(file);
    for (EntityNode& entity : m_entities)
        entity.selected = &entity == chosen;
    refresh();
}

void SceneController::setFilteredOut(const NodePredicate& isFilteredOut)
{
    m_filteredOut = isFilteredOut;
    for (EntityNode& entity : m_entities)
        entity.filteredOut = m_filteredOut && m_filteredOut(*entity.file);
    refresh();
}

void SceneController::setFilteredOut(const NodeSet& filteredOut)
{
    setFilteredOut([filteredOut](const FileNode& node) { return filteredOut.contains(&node); });
}

void SceneController::setHidden(const NodePredicate& isHidden)
{
    m_hidden = isHidden;
    for (EntityNode& entity : m_entities)
        entity.hidden = m_hidden && m_hidden(*entity.file);
    ++m_shapeGeneration;
    refresh();
}

void SceneController::setTouched(const NodeSet& touched)
{
    QHash<const FileNode*, float> strengths;
    for (const FileNode* file : touched)
        strengths.insert(file, 1);
    setTouched(strengths);
}

void SceneController::setTouched(const QHash<const FileNode*, float>& strengths)
{
    if (strengths.isEmpty() && m_touched.isEmpty())
        return;
    m_touched = strengths;
    for (EntityNode& entity : m_entities) {
        if (entity.touched != m_touched.value(entity.file))
            restyle(entity);
    }
    refresh();
}

void SceneController::restyle(EntityNode& entity) const
{
    const bool selected = entity.selected;
    entity = makeEntity(*entity.placement);
    entity.selected = selected;
}

double SceneController::measureOf(const Placement& placement) const
{
    const FileNode& node = *placement.file;
    if (!node.isDirectory || m_config.height == HeightMode::flat)
        return heightMeasure(node, m_config.height);
    double largest = 0;
    node.forEach([&](const FileNode& file) {
        if (!m_hidden || !m_hidden(file))
            largest = std::max(largest, heightMeasure(file, m_config.height));
    });
    return largest;
}

void SceneController::remeasure(const NodePredicate& isHidden)
{
    m_hidden = isHidden;
    // Ages and changes are ranked among the files that are there.
    if (m_root && (m_config.color == ColorMode::age || m_config.color == ColorMode::churn)) {
        QList<const FileNode*> shown = m_root->allFiles();
        if (m_hidden)
            shown.removeIf([&](const FileNode* file) { return m_hidden(*file); });
        m_colors = ColorContext(m_config.color, m_config.theme.dark, shown);
    }
    for (EntityNode& entity : m_entities) {
        entity.hidden = m_hidden && m_hidden(*entity.file);
        if (entity.kind() != PlacementKind::building) {
            continue;
        }
        Placement& placement = *entity.placement;
        if (!entity.hidden) {
            placement.size.y = CityLayout::buildingHeight(measureOf(placement), m_layout);
            placement.setback = CityLayout::hasSetback(placement.size.y, m_layout.peak, placement.aggregate);
        }
        restyle(entity);
    }
    makeLegend();
    ++m_shapeGeneration;
    refresh();
}

void SceneController::setShadowsEnabled(bool enabled)
{
    if (m_shadows == enabled)
        return;
    m_shadows = enabled;
    ++m_generation;
}

void SceneController::setHeat(QHash<const FileNode*, float> heat)
{
    if (heat.isEmpty() && m_heat.isEmpty())
        return;
    m_heat = std::move(heat);
    refresh();
}

QColor SceneController::heatColor(const Theme& theme, float heat)
{
    // The churn colours without their neutral first stop: the coolest hit still stands out.
    std::vector<QColor> stops = ColorContext::stops(ColorMode::churn, theme.dark);
    stops.erase(stops.begin());
    return ColorContext::gradient(stops, double(std::clamp(heat, 0.0f, 1.0f)));
}

void SceneController::setLinkFocus(LinkFocus focus)
{
    // Nothing lit before or after, as in the city whenever imports are not shown: nothing to redo.
    const bool unchanged = focus.isEmpty() && m_focus.isEmpty();
    m_focus = std::move(focus);
    if (!unchanged)
        refresh();
}

QColor SceneController::importsColor(const Theme& theme)
{
    return theme.dark ? QColor(95, 194, 212) : QColor(23, 135, 158);
}

QColor SceneController::importersColor(const Theme& theme)
{
    return theme.mark;
}

bool SceneController::isDimmed(const EntityNode& entity) const
{
    if (entity.filteredOut)
        return true;
    return m_config.mode == VisualizationMode::graph && !m_focus.isEmpty() && !m_focus.contains(entity.file);
}

bool SceneController::outsideSelectedFolder(const EntityNode& entity) const
{
    if (!m_selectedFolder)
        return false;
    for (const FileNode* node = entity.file; node; node = node->parent) {
        if (node == m_selectedFolder)
            return false;
    }
    return true;
}

QColor SceneController::shownColor(const EntityNode& entity, const ScenePart& part) const
{
    const Theme& theme = m_config.theme;
    if (entity.selected)
        return entity.kind() == PlacementKind::paving ? mix(part.color, theme.accent, 0.35) : theme.accent;
    if (isDimmed(entity))
        return mix(part.color, theme.paper, theme.dark ? 0.75 : 0.8);
    QColor color = part.color;
    if (entity.kind() == PlacementKind::building && !m_heat.isEmpty()) {
        if (const auto heat = m_heat.constFind(entity.file); heat != m_heat.cend())
            color = heatColor(theme, *heat);
    }
    // A selected folder stands out from the rest of the city, which steps back a little.
    return outsideSelectedFolder(entity) ? mix(color, theme.paper, theme.dark ? 0.35 : 0.4) : color;
}

void SceneController::refresh()
{
    m_boxes.clear();
    m_planes.clear();
    m_lines.clear();
    // Only an entity of this scene is known to point into the tree it was built from.
    const EntityNode* chosen = entityFor(m_selection);
    m_selectedFolder = chosen && chosen->file->isDirectory && chosen->file->parent
            && m_config.mode != VisualizationMode::graph
        ? chosen->file
        : nullptr;
    if (m_ground)
        m_planes.push_back(instance(*m_ground, m_ground->color, false));
    for (const EntityNode& entity : m_entities) {
        if (entity.hidden)
            continue;
        for (const ScenePart& part : entity.parts) {
            auto& list = part.kind == PartKind::box ? m_boxes : m_planes;
            list.push_back(instance(part, shownColor(entity, part), part.storeys && !isDimmed(entity)));
        }
    }
    addLinks();
    addArcs();

    const Theme& theme = m_config.theme;
    for (const EntityNode& entity : m_entities) {
        // A top-level file's tile shares its marks but not its outline.
        if (entity.hidden || entityFor(entity.file) != &entity)
            continue;
        QColor ring;
        if (entity.selected || m_focus.cycle.contains(entity.file))
            ring = theme.accent;
        else if (m_focus.imports.contains(entity.file))
            ring = importsColor(theme);
        else if (m_focus.importers.contains(entity.file))
            ring = importersColor(theme);
        else if (entity.touched > 0)
            ring = QColor::fromRgbF(
                theme.mark.redF(), theme.mark.greenF(), theme.mark.blueF(), entity.touched);
        else
            continue;
        for (const ScenePart& part : entity.parts)
            addOutline(m_lines, part, ring);
    }
    // The hatches come last, so that a moving frame can leave them out.
    m_detailLines = m_lines.size();
    for (const EntityNode& entity : m_entities) {
        if (!entity.hidden && entity.placement && entity.placement->aggregate && !entity.parts.empty())
            addHatchedRoof(m_lines, entity.parts.back(),
                mix(shownColor(entity, entity.parts.back()),
                    theme.dark ? QColor(Qt::white) : QColor(Qt::black), 0.4));
    }
    ++m_generation;
}

void SceneController::addLinks()
{
    const Theme& theme = m_config.theme;
    const EntityNode* chosen = entityFor(m_selection);
    const bool graph = m_config.mode == VisualizationMode::graph;
    QColor edge = mix(theme.ruleStrong, theme.ink3, theme.dark ? 0.45 : 0.3);
    // Thousands of imports stay readable as a haze: thin and faint, fainter still beside a focus.
    if (graph)
        edge.setAlphaF(m_focus.isEmpty() ? (theme.dark ? 0.3f : 0.35f) : 0.08f);
    // In the tree a folder's lines to its files fade as they crowd, so that a ring of hundreds reads
    // as a ring and not as a moiré; the lines to folders, the tree's shape, stay whole.
    const bool tree = m_config.mode == VisualizationMode::tree;
    QHash<const FileNode*, int> fans;
    if (tree) {
        for (const auto& ends : m_layout.edgeEnds)
            ++fans[ends.first];
    }
    const auto fanned = [&](const FileNode* folder) {
        constexpr double uncrowded = 12;
        const int fan = fans.value(folder);
        QColor faded = edge;
        if (fan > uncrowded)
            faded.setAlphaF(float(std::max(uncrowded / fan, 0.06)));
        return faded;
    };
    for (size_t i = 0; i < m_layout.edges.size(); ++i) {
        const auto& [from, to] = m_layout.edges[i];
        const auto& ends = i < m_layout.edgeEnds.size() ? m_layout.edgeEnds[i]
                                                        : std::pair<const FileNode*, const FileNode*>();
        const EntityNode* a = entityFor(ends.first);
        const EntityNode* b = entityFor(ends.second);
        if ((a && a->hidden) || (b && b->hidden))
            continue;
        std::optional<QColor> lit;
        if (!graph) {
            if (chosen && (ends.first == chosen->file || ends.second == chosen->file))
                lit = theme.accent;
        } else if (ends.first == m_focus.centre && m_focus.imports.contains(ends.second)) {
            lit = importsColor(theme);
        } else if (ends.second == m_focus.centre && m_focus.importers.contains(ends.first)) {
            lit = importersColor(theme);
        } else if (m_focus.cycle.contains(ends.first) && m_focus.cycle.contains(ends.second)) {
            lit = theme.accent;
        }
        const bool toFile = tree && ends.second && !ends.second->isDirectory;
        addLine(m_lines, vec(from), vec(to), lit.value_or(toFile ? fanned(ends.first) : edge), !lit);
    }
}

void SceneController::addArcs()
{
    const EntityNode* centre = entityFor(m_focus.centre);
    if (!m_focus.arcs || !centre || centre->hidden)
        return;
    const QVector3D home = focusPoint(*centre);
    // A parabola from roof to roof, higher the farther apart the two buildings stand.
    const auto arc = [&](const QVector3D& from, const QVector3D& to, const QColor& color) {
        constexpr int segments = 24;
        const float rise = std::max(from.y(), to.y()) + 1.5f + 0.3f * (to - from).length();
        QVector3D previous = from;
        for (int i = 1; i <= segments; ++i) {
            const float t = float(i) / segments;
            QVector3D point = from + (to - from) * t;
            point.setY(
                from.y() + (to.y() - from.y()) * t + 4 * t * (1 - t) * (rise - (from.y() + to.y()) / 2));
            addLine(m_lines, previous, point, color, false);
            previous = point;
        }
    };
    const auto draw = [&](const NodeSet& ends, const QColor& color, bool outward) {
        for (const FileNode* file : ends) {
            const EntityNode* other = entityFor(file);
            if (!other || other->hidden || other == centre)
                continue;
            const QVector3D there = focusPoint(*other);
            arc(outward ? home : there, outward ? there : home, color);
        }
    };
    draw(m_focus.imports, importsColor(m_config.theme), true);
    draw(m_focus.importers, importersColor(m_config.theme), false);
}

void SceneController::makeLegend()
{
    QHash<QString, qsizetype> at;
    m_legend.clear();
    for (const EntityNode& entity : m_entities) {
        if (entity.kind() != PlacementKind::building || entity.hidden)
            continue;
        const auto known = at.constFind(entity.colorKey);
        if (known != at.cend()) {
            ++m_legend[*known].count;
            continue;
        }
        at.insert(entity.colorKey, m_legend.size());
        const auto [low, high] = m_colors.ends(entity.colorKey);
        m_legend.append({ entity.colorKey, m_colors.label(entity.colorKey), entity.baseColor, 1, low, high });
    }
    // Languages by how many buildings they colour; statuses in their own order, clean last; ranks
    // from the oldest or least changed, with the unchanged first.
    const auto order = [&](const LegendEntry& e) -> std::pair<qint64, QString> {
        const QString tail = e.key.mid(e.key.indexOf(u':') + 1);
        switch (m_colors.mode) {
        case ColorMode::language: return { -e.count, e.label };
        case ColorMode::status: {
            const auto status = gitFileStatusFromName(tail);
            return { status ? qint64(*status) : qint64(allGitFileStatuses.size()), {} };
        }
        case ColorMode::churn:
        case ColorMode::age: return { e.key == u"none" || e.key == u"older" ? -1 : tail.toLongLong(), {} };
        }
        return {};
    };
    std::stable_sort(m_legend.begin(), m_legend.end(),
        [&](const LegendEntry& a, const LegendEntry& b) { return order(a) < order(b); });
}

QVector3D SceneController::focusPoint(const EntityNode& entity)
{
    const SceneBox box = entity.box();
    const QVector3D centre = box.centre();
    return { centre.x(), box.max.y(), centre.z() };
}

QMatrix4x4 SceneController::viewProjection(QSize view) const
{
    const float aspect = view.height() > 0 ? float(view.width()) / float(view.height()) : 1;
    return m_camera.projectionMatrix(aspect) * m_camera.viewMatrix();
}

std::optional<QPointF> SceneController::project(const QVector3D& point, QSize view) const
{
    return project(viewProjection(view), point, view);
}

std::optional<QPointF> SceneController::project(
    const QMatrix4x4& viewProjection, const QVector3D& point, QSize view)
{
    const QVector4D clip = viewProjection * QVector4D(point, 1);
    if (clip.w() <= 1e-6f)
        return std::nullopt;
    const QVector3D ndc = clip.toVector3DAffine();
    return QPointF((double(ndc.x()) + 1) / 2 * view.width(), (1 - double(ndc.y())) / 2 * view.height());
}

std::optional<QRectF> SceneController::screenBounds(
    const QMatrix4x4& viewProjection, const SceneBox& box, QSize view)
{
    QRectF bounds;
    for (int corner = 0; corner < 8; ++corner) {
        const QVector3D point((corner & 1) ? box.max.x() : box.min.x(),
            (corner & 2) ? box.max.y() : box.min.y(), (corner & 4) ? box.max.z() : box.min.z());
        const std::optional<QPointF> at = project(viewProjection, point, view);
        if (!at)
            return std::nullopt;
        bounds = corner == 0
            ? QRectF(*at, QSizeF(0, 0))
            : QRectF(QPointF(std::min(bounds.left(), at->x()), std::min(bounds.top(), at->y())),
                QPointF(std::max(bounds.right(), at->x()), std::max(bounds.bottom(), at->y())));
    }
    return bounds;
}

std::optional<QPointF> SceneController::screenPoint(const FileNode* file, QSize view) const
{
    const EntityNode* entity = entityFor(file);
    if (!entity || entity->hidden)
        return std::nullopt;
    return project(focusPoint(*entity), view);
}

QList<VisibleEntity> SceneController::visibleEntities(QSize view) const
{
    QList<VisibleEntity> visible;
    const QMatrix4x4 matrix = viewProjection(view);
    const QRectF area(0, 0, view.width(), view.height());
    for (const EntityNode& entity : m_entities) {
        if (entity.hidden || entityFor(entity.file) != &entity)
            continue;
        const std::optional<QPointF> point = project(matrix, focusPoint(entity), view);
        if (point && area.contains(*point))
            visible.append({ entity.file, entity.kind(), *point });
    }
    return visible;
}

const FileNode* SceneController::pick(QPointF screen, QSize view) const
{
    if (view.isEmpty())
        return nullptr;
    const QMatrix4x4 inverse = viewProjection(view).inverted();
    const float x = float(screen.x() / view.width() * 2 - 1), y = float(1 - screen.y() / view.height() * 2);
    const QVector3D near = inverse.map(QVector3D(x, y, -1)), far = inverse.map(QVector3D(x, y, 1));
    const QVector3D dir = far - near;
    const EntityNode* best = nullptr;
    float bestT = std::numeric_limits<float>::max();
    for (const EntityNode& entity : m_entities) {
        if (entity.hidden)
            continue;
        for (const ScenePart& part : entity.parts) {
            const std::optional<float> t = hitBox(near, dir, part.box());
            if (t && *t < bestT) {
                bestT = *t;
                best = &entity;
            }
        }
    }
    return best ? best->file : nullptr;
}
