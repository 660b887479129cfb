#pragma once

#include "layout/citylayout.h"
#include "layout/layoutresult.h"
#include "scene/colorcontext.h"
#include "scene/entitynode.h"
#include "scene/orbitcamera.h"
#include "scene/sceneconfig.h"
#include "state/dependencycontroller.h"
#include "state/scenehost.h"

#include <QHash>
#include <QList>
#include <QPointF>
#include <QSize>

#include <functional>
#include <optional>
#include <vector>

using LotWeight = CityLayout::LotWeight;

struct LegendEntry {
    QString key;
    QString label;
    QColor color;
    qint64 count = 0; // buildings shown in this colour
    // Of one rank of ages or changes: the oldest and newest date, or the fewest and most commits, it
    // holds ("2025-04-17", "34 commits"); empty for other keys.
    QString low, high;
};

// The files and links that stand out from the rest: the selected file's imports and importers, or
// one import cycle. In the graph view everything else dims and the layout's own links light up; in
// the city and the tree the links are drawn as arcs from roof to roof.
struct LinkFocus {
    const FileNode* centre = nullptr;
    NodeSet imports; // what the centre imports
    NodeSet importers; // what imports the centre
    NodeSet cycle; // the files of one cycle, lit with the links among them
    bool arcs = false;

    bool isEmpty() const { return !centre && cycle.empty(); }
    bool contains(const FileNode* file) const
    {
        return file == centre || imports.contains(file) || importers.contains(file) || cycle.contains(file);
    }
};

// The 3D scene of the main view as plain data: one entity per placement of the mode's layout,
// coloured by the colour mode, plus the ground and the connecting lines, packed into the instance
// lists the renderer draws, and the camera that looks at it. Holds no GL state, so it builds and
// answers screen questions without a display. It keeps pointers into the tree it was built from:
// that tree must stay alive until the next build or clear().
class SceneController {
public:
    using NodePredicate = std::function<bool(const FileNode&)>;

    SceneController() = default;
    SceneController(const SceneController&) = delete;
    SceneController& operator=(const SceneController&) = delete;

    // Runs the layout of the config's mode (the graph view places the files of the imports given to
    // setImports, and nothing before there are any) and rebuilds every entity. `lot` weighs the files' lots
    // and `only` keeps just those nodes in the city; the history view lays out everything. The selection,
    // filter, hidden and touched marks are kept for nodes that are still drawn.
    void build(const FileNode& root, const SceneConfig& config, bool resetCamera, const LotWeight& lot = {},
        const NodeSet* only = nullptr);
    void clear(); // nothing drawn, nothing referenced

    const SceneConfig& config() const { return m_config; }
    const Theme& theme() const { return m_config.theme; }
    const LayoutResult& layout() const { return m_layout; }
    const ColorContext& colors() const { return m_colors; }
    float radius() const { return m_radius; }
    // How long the last build's layout took, of the whole build.
    qint64 layoutMilliseconds() const { return m_layoutMs; }

    const std::vector<EntityNode>& entities() const { return m_entities; }
    // The entity that stands for the node: its building, or its lot or disc for a folder.
    const EntityNode* entityFor(const FileNode* file) const;

    // Highlight marks; each changes the instance data and so the generation.
    void setSelection(const FileNode* file);
    const FileNode* selection() const { return m_selection; }
    void setFilteredOut(const NodePredicate& isFilteredOut); // dimmed, drawn without storeys
    void setFilteredOut(const NodeSet& filteredOut);
    void clearFilter() { setFilteredOut(NodePredicate()); }
    void setHidden(const NodePredicate& isHidden); // not drawn, not picked, not listed
    void setTouched(const NodeSet& touched); // outlined in the theme's mark colour
    // Marks that fade: a strength of 1 is a full mark, 0 none.
    void setTouched(const QHash<const FileNode*, float>& strengths);
    // The files' values have moved on (the history view's playhead): buildings take the heights and
    // colours their nodes give now, and those `isHidden` names go, without laying the city out again.
    void remeasure(const NodePredicate& isHidden);
    void setShadowsEnabled(bool enabled);
    // Buildings coloured by a heat from just above 0 (cool) to 1 (hot) instead of their colour mode,
    // such as the files a text search found, by how many lines matched; none with an empty map.
    void setHeat(QHash<const FileNode*, float> heat);
    static constexpr float coolestHeat = 0.08f; // the least a heat map gives, still visibly warm
    static QColor heatColor(const Theme& theme, float heat);
    // The imports the graph view is laid out from; they take effect at the next build.
    void setImports(std::shared_ptr<const ImportsMap> imports) { m_imports = std::move(imports); }
    const std::shared_ptr<const ImportsMap>& imports() const { return m_imports; }
    void setLinkFocus(LinkFocus focus);
    const LinkFocus& linkFocus() const { return m_focus; }
    // The colours of a file's imports and of its importers, in links, arcs and outlines.
    static QColor importsColor(const Theme& theme);
    static QColor importersColor(const Theme& theme);
    bool shadowsEnabled() const { return m_shadows; }

    // The colour keys of the buildings, in legend order, with their words and counts.
    const QList<LegendEntry>& legend() const { return m_legend; }

    OrbitCamera& camera() { return m_camera; }
    const OrbitCamera& camera() const { return m_camera; }

    // The point that stands for an entity on screen: the top centre of its building or lot.
    static QVector3D focusPoint(const EntityNode& entity);
    QMatrix4x4 viewProjection(QSize view) const;
    // The node the scene was built from, or none.
    const FileNode* root() const { return m_root; }
    // Where the node's focus point lies in a view of that size, y downward; none when it is not
    // drawn or lies behind the camera.
    std::optional<QPointF> screenPoint(const FileNode* file, QSize view) const;
    std::optional<QPointF> project(const QVector3D& point, QSize view) const;
    // The same through a view-projection already worked out, for many points of one frame.
    static std::optional<QPointF> project(
        const QMatrix4x4& viewProjection, const QVector3D& point, QSize view);
    // The smallest screen rectangle around a box's eight corners; none when any lies behind the eye.
    static std::optional<QRectF> screenBounds(
        const QMatrix4x4& viewProjection, const SceneBox& box, QSize view);
    // Every drawn node whose focus point falls inside the view.
    QList<VisibleEntity> visibleEntities(QSize view) const;
    // The node whose geometry the ray through that screen point meets first.
    const FileNode* pick(QPointF screen, QSize view) const;

    // Changes whenever the instance lists below change; the shape generation only when what stands
    // where changes (a build, hiding), not with colours and outlines, so shadows are redone less.
    quint64 generation() const { return m_generation; }
    quint64 shapeGeneration() const { return m_shapeGeneration; }
    const std::vector<SceneInstance>& boxInstances() const { return m_boxes; }
    const std::vector<SceneInstance>& planeInstances() const { return m_planes; }
    const std::vector<SceneLineVertex>& lineVertices() const { return m_lines; }
    // Where the line vertices that a moving frame may leave out begin: the hatches on the roofs of
    // folders drawn whole, detail that cannot be read in motion.
    std::size_t detailLineStart() const { return m_detailLines; }
    // The box that holds everything drawn, the ground included.
    const SceneBox& bounds() const { return m_bounds; }
    // The flat box of the ground plane, in the views drawn on one.
    std::optional<SceneBox> ground() const
    {
        return m_ground ? std::optional(m_ground->box()) : std::nullopt;
    }

private:
    EntityNode makeEntity(const Placement& placement) const;
    // A building's measure for the height mode: a folder drawn whole takes its tallest shown file.
    double measureOf(const Placement& placement) const;
    // Makes the entity again from its placement, keeping its selection.
    void restyle(EntityNode& entity) const;
    QColor shownColor(const EntityNode& entity, const ScenePart& part) const;
    void makeLegend();
    void refresh(); // repacks the instance lists after any change
    void addLinks(); // the layout's connections, lit or dimmed by the focus
    void addArcs(); // the focus's imports and importers over the city or the tree
    bool isDimmed(const EntityNode& entity) const;
    // Whether the entity stands outside the selected folder, when one below the top is selected.
    bool outsideSelectedFolder(const EntityNode& entity) const;

    SceneConfig m_config;
    LayoutResult m_layout;
    ColorContext m_colors;
    std::vector<EntityNode> m_entities;
    QHash<const FileNode*, qsizetype> m_index;
    std::optional<ScenePart> m_ground;
    QList<LegendEntry> m_legend;
    SceneBox m_bounds;
    float m_radius = 4;
    qint64 m_layoutMs = 0;
    bool m_built = false;

    const FileNode* m_selection = nullptr;
    const FileNode* m_selectedFolder = nullptr; // found again by each refresh, among the entities
    std::size_t m_detailLines = 0;
    NodePredicate m_filteredOut;
    NodePredicate m_hidden;
    QHash<const FileNode*, float> m_touched;
    QHash<const FileNode*, float> m_heat;
    const FileNode* m_root = nullptr;
    bool m_shadows = true;
    std::shared_ptr<const ImportsMap> m_imports;
    LinkFocus m_focus;

    OrbitCamera m_camera;
    quint64 m_generation = 0;
    quint64 m_shapeGeneration = 0;
    std::vector<SceneInstance> m_boxes;
    std::vector<SceneInstance> m_planes;
    std::vector<SceneLineVertex> m_lines;
};
