#include "ui/sceneview.h"

#include "ui/desktop.h"
#include "ui/structureviews.h"

#include "model/format.h"
#include "scene/labels.h"

#include <QApplication>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QPainter>
#include <QTimer>
#include <QToolTip>

#include <cmath>

// The names over the scene, painted as a plain widget on top of the GL view so that they compose
// (and grab) like any other widget.
class LabelLayer : public QWidget {
public:
    LabelLayer(const SceneController& scene, QWidget* parent)
        : QWidget(parent)
        , m_scene(scene)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        paintLabels(painter, m_scene, size(), m_moving);
    }

public:
    // While the camera moves the names wait: placed anew every frame they would only flicker.
    void setMoving(bool moving) { m_moving = moving; }

private:
    const SceneController& m_scene;
    bool m_moving = false;
};

namespace {

constexpr float dragTurn = 0.008f; // radians per pixel
constexpr int shadowsSettleMs = 400; // shadows come back once the history stands this long

constexpr int dragThreshold = 4; // pixels before a press becomes a drag

} // namespace

SceneView::SceneView(AppState& state, QWidget* parent)
    : QOpenGLWidget(parent)
    , m_state(state)
{
    setFormat(Renderer::defaultFormat());
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(200, 150);
    m_labels = new LabelLayer(m_controller, this);
    m_state.setScene(this);

    // The old tree is freed right after a new one arrives: nothing may point into it by then.
    connect(&state, &AppState::rootChanged, this, [this] {
        m_controller.clear();
        m_marks.clear();
        m_builtRoot = nullptr;
        m_builtCity.reset();
        scheduleBuild(true);
    });
    const DisplaySettings& display = state.display();
    // Commit counts arriving after the tree change what the churn and age colours and heights show,
    // and which files the fewest-changes filter dims.
    connect(&state, &AppState::commitsChanged, this, [this] {
        const DisplaySettings& display = m_state.display();
        if (readsCommits(display.colorMode()) || readsCommits(display.heightMode()))
            scheduleBuild(false);
        applyFilter();
        update();
    });
    connect(&state, &AppState::viewRootChanged, this, [this] { scheduleBuild(true); });
    connect(&display, &DisplaySettings::modeChanged, this, [this] { scheduleBuild(true); });
    for (const auto signal : { &DisplaySettings::colorModeChanged, &DisplaySettings::heightModeChanged,
             &DisplaySettings::heightScaleChanged, &DisplaySettings::darkChanged })
        connect(&display, signal, this, [this] { scheduleBuild(false); });
    connect(&state, &AppState::selectionChanged, this, [this] {
        m_controller.setSelection(shownSelection());
        applyLinkFocus();
        update();
    });
    const StructureController& structure = state.structure();
    // Walking into a file or out of it, or its parts arriving, changes what stands in the scene.
    // At once, not at the next turn of the loop: the window would first be drawn again without it.
    connect(&structure, &StructureController::structureChanged, this, [this] {
        if (shownCity() != m_builtCity) {
            scheduleBuild(true);
            flush();
        }
    });
    connect(&structure, &StructureController::partSelected, this, [this] {
        m_controller.setSelection(shownSelection());
        applyLinkFocus();
        update();
    });
    const DependencyController& imports = state.imports();
    connect(&imports, &DependencyController::dependenciesChanged, this, [this] {
        if (m_state.display().mode() == VisualizationMode::graph)
            scheduleBuild(true);
        else
            applyLinkFocus();
    });
    for (const auto signal :
        { &DependencyController::showImportsChanged, &DependencyController::chosenCycleChanged })
        connect(&imports, signal, this, [this] { applyLinkFocus(); });
    // Isolation draws a city of just the isolated paths; the other filters dim what they leave out.
    connect(&state.filters(), &Filters::filtersChanged, this, [this] {
        if (m_state.display().mode() == VisualizationMode::city
            && m_state.filters().isolated() != m_builtIsolated)
            scheduleBuild(true); // a different city: framed anew
        applyFilter();
        update();
    });
    connect(&state.search(), &SearchController::resultsChanged, this, [this] {
        applyFilter();
        update();
    });
    connect(&state.timeline(), &TimelineController::moved, this, &SceneView::followTimeline);
    m_shadowsBack.setSingleShot(true);
    m_shadowsBack.setInterval(shadowsSettleMs);
    connect(&m_shadowsBack, &QTimer::timeout, this, [this] {
        m_controller.setShadowsEnabled(true);
        update();
    });
    m_clock.start();
    m_markClock.start();
}

void SceneView::drawForTheScreen()
{
    QSurfaceFormat screen = format();
    screen.setSamples(Renderer::interactiveSamples());
    setFormat(screen);
}

SceneView::~SceneView()
{
    if (m_state.scene() == this)
        m_state.setScene(nullptr);
    if (m_glReady) {
        makeCurrent();
        m_renderer.release();
        doneCurrent();
    }
}

void SceneView::scheduleBuild(bool resetCamera)
{
    m_resetPending = m_resetPending || resetCamera;
    if (m_buildPending)
        return;
    m_buildPending = true;
    QTimer::singleShot(0, this, [this] {
        if (m_buildPending)
            build();
    });
}

void SceneView::flush()
{
    if (m_buildPending)
        build();
}

std::shared_ptr<const PartCity> SceneView::shownCity() const
{
    const StructureController& structure = m_state.structure();
    return structure.cityShown() ? structure.city() : nullptr;
}

const FileNode* SceneView::shownSelection() const
{
    return m_builtCity ? m_state.structure().selectedPartNode() : m_state.selection();
}

void SceneView::buildPartCity(std::shared_ptr<const PartCity> city, bool reset)
{
    // Parts are coloured by their role and stand as tall as their lines, whatever the folder's
    // city shows; every part stands on its own, none drawn whole.
    const DisplaySettings& display = m_state.display();
    const HeightMode measure
        = display.heightMode() == HeightMode::flat ? HeightMode::flat : HeightMode::lines;
    const SceneConfig config { VisualizationMode::city, ColorMode::language, measure,
        display.heightScale() * city->heightScale(), Theme::of(display.dark()), true };
    m_controller.camera().setAspect(float(width()) / float(std::max(height(), 1)));
    m_controller.build(city->root(), config, reset, {}, &city->everyNode());
    m_builtCity = std::move(city);
    m_builtRoot = &m_builtCity->root();
    m_builtMode = VisualizationMode::city;
}

void SceneView::build()
{
    m_buildPending = false;
    const bool leaving = m_builtCity != nullptr;
    if (std::shared_ptr<const PartCity> city = shownCity()) {
        QElapsedTimer clock;
        clock.start();
        const bool reset = m_resetPending || city != m_builtCity;
        m_resetPending = false;
        buildPartCity(std::move(city), reset);
        // A file's city comes at once; its shadows, the dearest part of a first frame, just after.
        if (reset) {
            m_controller.setShadowsEnabled(false);
            m_shadowsBack.start();
        }
        m_controller.setSelection(shownSelection());
        applyFilter();
        applyLinkFocus();
        m_buildMs = clock.elapsed();
        if (reset)
            m_controller.camera().settle();
        update();
        emit built();
        return;
    }
    if (leaving)
        m_controller.setShadowsEnabled(true);
    m_builtCity.reset();
    const FileNode* root = m_state.viewRoot();
    if (!root) {
        m_controller.clear();
        m_builtRoot = nullptr;
        update();
        emit built();
        return;
    }
    const DisplaySettings& display = m_state.display();
    TimelineController& timeline = m_state.timeline();
    const bool history = display.mode() == VisualizationMode::history;
    // The history view draws the history's own city, once it is read.
    if (history && (!timeline.isReady() || !AppState::isUnder(root, timeline.root())))
        root = nullptr;
    if (!root) {
        m_controller.clear();
        m_builtRoot = nullptr;
        m_builtMode = display.mode();
        update();
        emit built();
        return;
    }
    // Byte sizes at a past commit are not known: the history is measured in lines.
    const HeightMode heightMode
        = history && display.heightMode() == HeightMode::size ? HeightMode::lines : display.heightMode();
    // Until a repository's commits arrive no file has any, and its age would be the checkout's time:
    // the age colouring waits in churn's neutral colour.
    const bool waiting = !history && m_state.scan().readingHistory() && display.colorMode() == ColorMode::age;
    const SceneConfig config { display.mode(), waiting ? ColorMode::churn : display.colorMode(), heightMode,
        display.heightScale(), Theme::of(display.dark()) };
    const bool reset = m_resetPending || root != m_builtRoot || display.mode() != m_builtMode || leaving;
    m_resetPending = false;
    QElapsedTimer clock;
    clock.start();
    m_controller.camera().setAspect(float(width()) / float(std::max(height(), 1)));
    m_controller.setImports(m_state.imports().dependencies());
    if (!history && m_builtMode == VisualizationMode::history) {
        m_marks.clear();
        m_controller.setTouched(QHash<const FileNode*, float>());
        m_controller.setHidden({});
        m_controller.setShadowsEnabled(true);
    }
    if (history)
        buildHistoryScene(m_controller, timeline, config, reset);
    else if (display.mode() == VisualizationMode::city && !m_state.filters().isolated().isEmpty()) {
        const NodeSet only = isolatedNodes();
        m_controller.build(*root, config, reset, {}, &only);
    } else
        m_controller.build(*root, config, reset);
    m_builtIsolated = m_state.filters().isolated();
    m_controller.setSelection(m_state.selection());
    applyFilter();
    applyLinkFocus();
    m_buildMs = clock.elapsed();
    if (reset)
        m_controller.camera().settle();
    m_builtRoot = root;
    m_builtMode = display.mode();
    // Back from a file's city, the camera finds the file again.
    if (leaving && m_state.selection())
        focus(*m_state.selection(), true, false);
    update();
    emit built();
}

void SceneView::applyFilter()
{
    const Filters& filters = m_state.filters();
    const SearchController& search = m_state.search();
    // A file's parts answer only to the search inside the file; the folder's filters wait for it.
    const QSet<QString> isolated = m_builtCity ? QSet<QString>() : filters.isolated();
    const int minChanges = m_builtCity ? 0 : filters.minChanges();
    // A text search lights the files it found by how many lines matched, on a log scale so that
    // one file of a thousand hits does not leave the rest looking cold.
    QHash<const FileNode*, float> heat;
    if (search.isActive() && filters.searchInText()) {
        qint64 most = 1;
        for (const qint64 count : search.textHits())
            most = std::max(most, count);
        for (auto hit = search.textHits().cbegin(); hit != search.textHits().cend(); ++hit)
            heat.insert(hit.key(),
                SceneController::coolestHeat
                    + (1 - SceneController::coolestHeat)
                        * float(std::log1p(double(hit.value())) / std::log1p(double(most))));
    }
    m_controller.setHeat(std::move(heat));
    if (isolated.isEmpty() && minChanges <= 0 && !search.isActive()) {
        m_controller.clearFilter();
        return;
    }
    const NodeSet* lit = search.isActive() ? &search.lit() : nullptr;
    m_controller.setFilteredOut([isolated, minChanges, lit](const FileNode& node) {
        if (lit && !lit->contains(&node))
            return true;
        if (minChanges > 0 && !node.isDirectory && node.commits < minChanges)
            return true;
        if (isolated.isEmpty())
            return false;
        for (const FileNode* at = &node; at; at = at->parent) {
            if (isolated.contains(at->relativePath))
                return false;
        }
        // A folder that holds an isolated path stays lit, so that the way to it shows.
        const QString prefix = node.relativePath + u'/';
        return !node.isDirectory || std::none_of(isolated.begin(), isolated.end(), [&](const QString& path) {
            return node.relativePath.isEmpty() || path.startsWith(prefix);
        });
    });
}

NodeSet SceneView::isolatedNodes() const
{
    NodeSet only;
    const FileNode* root = m_state.root();
    const auto keep = [&only](const FileNode* node) {
        for (; node && only.insert(node).second; node = node->parent) { }
    };
    for (const QString& path : m_state.filters().isolated()) {
        const FileNode* node = root ? root->find(path) : nullptr;
        if (!node)
            continue;
        keep(node);
        node->forEach([&](const FileNode& file) { keep(&file); });
    }
    return only;
}

void SceneView::applyLinkFocus()
{
    if (m_builtCity) {
        m_controller.setLinkFocus(partLinks());
        update();
        return;
    }
    const DependencyController& imports = m_state.imports();
    const std::shared_ptr<const ImportsMap>& map = imports.dependencies();
    const VisualizationMode mode = m_state.display().mode();
    LinkFocus focus;
    focus.arcs = mode != VisualizationMode::graph;
    if (map && (mode == VisualizationMode::graph || imports.showImports())) {
        const auto set
            = [](const QList<const FileNode*>& files) { return NodeSet(files.begin(), files.end()); };
        const FileNode* selection = m_state.selection();
        if (imports.chosenCycle()) {
            focus.cycle = set(map->filesOf(map->cycles[size_t(*imports.chosenCycle())]));
        } else if (selection && !selection->isDirectory) {
            focus.centre = selection;
            focus.imports = set(map->graph.imports(*selection));
            focus.importers = set(map->graph.importedBy(*selection));
        }
    }
    m_controller.setLinkFocus(std::move(focus));
    update();
}

LinkFocus SceneView::partLinks() const
{
    // The selected part's calls as arcs: what it calls in one colour, what calls it in the other.
    LinkFocus focus;
    focus.arcs = true;
    const StructureController& structure = m_state.structure();
    const std::shared_ptr<const WebDocument>& document = structure.document();
    const FileNode* centre = structure.selectedPartNode();
    if (!document || !centre || !structure.selectedPart())
        return focus;
    focus.centre = centre;
    const auto add = [this](NodeSet& into, const QList<qsizetype>& parts) {
        for (const qsizetype part : parts) {
            if (const FileNode* node = m_builtCity->node(part))
                into.insert(node);
        }
    };
    add(focus.imports, document->callees(*structure.selectedPart()));
    add(focus.importers, document->callers(*structure.selectedPart()));
    return focus;
}

void SceneView::followTimeline()
{
    if (m_state.display().mode() != VisualizationMode::history || m_builtMode != VisualizationMode::history
        || !m_builtRoot)
        return;
    remeasureHistory(m_controller);
    const qint64 now = m_markClock.elapsed();
    m_marks.mark(m_state.timeline().lastTouched(), m_controller, now);
    m_marks.apply(m_controller, now);
    m_controller.setShadowsEnabled(false);
    m_shadowsBack.start();
    update();
    emit built();
}

void SceneView::restoreShadows()
{
    if (!m_shadowsBack.isActive())
        return;
    m_shadowsBack.stop();
    m_controller.setShadowsEnabled(true);
    update();
}

void SceneView::settleCamera()
{
    m_controller.camera().settle();
    update();
}

// --- SceneHost ------------------------------------------------------------------------------

std::optional<QPointF> SceneView::screenPoint(const FileNode& node) const
{
    return m_controller.screenPoint(&node, size());
}

std::vector<VisibleEntity> SceneView::visibleEntities() const
{
    const auto list = m_controller.visibleEntities(size());
    return { list.begin(), list.end() };
}

void SceneView::focus(const FileNode& node, bool follow, bool frame)
{
    const EntityNode* entity = m_controller.entityFor(&node);
    if (!entity)
        return;
    if (frame)
        m_controller.camera().frame(entity->box());
    else if (follow && m_state.display().autoFrame())
        m_controller.camera().follow(SceneController::focusPoint(*entity));
    update();
}

void SceneView::camera(CameraAction action)
{
    OrbitCamera& camera = m_controller.camera();
    switch (action) {
    case CameraAction::turnLeft: camera.turn(-OrbitCamera::turnStep); break;
    case CameraAction::turnRight: camera.turn(OrbitCamera::turnStep); break;
    case CameraAction::tiltUp: camera.tilt(OrbitCamera::tiltStep); break;
    case CameraAction::tiltDown: camera.tilt(-OrbitCamera::tiltStep); break;
    case CameraAction::panLeft: camera.pan(-OrbitCamera::panStep, 0); break;
    case CameraAction::panRight: camera.pan(OrbitCamera::panStep, 0); break;
    case CameraAction::panUp: camera.pan(0, -OrbitCamera::panStep); break;
    case CameraAction::panDown: camera.pan(0, OrbitCamera::panStep); break;
    case CameraAction::zoomIn: camera.zoom(OrbitCamera::zoomStep); break;
    case CameraAction::zoomOut: camera.zoom(1 / OrbitCamera::zoomStep); break;
    case CameraAction::home: camera.home(); break;
    case CameraAction::frame:
        // While a search is active, everything it found.
        if (const std::optional<SceneBox> found = resultsBox())
            camera.frame(*found);
        else if (const EntityNode* entity = m_controller.entityFor(shownSelection()))
            camera.frame(entity->box());
        else
            camera.home();
        break;
    case CameraAction::perspective: camera.togglePerspective(); break;
    }
    update();
}

std::optional<SceneBox> SceneView::resultsBox() const
{
    std::optional<SceneBox> box;
    for (const FileNode* file :
        m_state.search().isActive() ? m_state.search().results() : QList<const FileNode*>()) {
        const EntityNode* entity = m_controller.entityFor(file);
        if (!entity)
            continue;
        const SceneBox one = entity->box();
        box = box ? SceneBox { QVector3D(std::min(box->min.x(), one.min.x()),
                                   std::min(box->min.y(), one.min.y()), std::min(box->min.z(), one.min.z())),
            QVector3D(std::max(box->max.x(), one.max.x()), std::max(box->max.y(), one.max.y()),
                std::max(box->max.z(), one.max.z())) }
                  : one;
    }
    return box;
}

void SceneView::beep()
{
    QApplication::beep();
}

std::optional<QString> SceneView::openExternally(const QString& path, int line)
{
    return Desktop::open(path, line);
}

std::optional<QString> SceneView::revealExternally(const QString& path)
{
    return Desktop::reveal(path, this, [this](const QString& why) { m_state.setErrorMessage(why); });
}

// --- drawing --------------------------------------------------------------------------------

void SceneView::initializeGL()
{
    m_glReady = m_renderer.initialize();
    if (!m_glReady)
        m_state.setErrorMessage(QStringLiteral("The city cannot be drawn: ") + m_renderer.error());
}

QString SceneView::drawingError() const
{
    if (m_glReady || !isVisible())
        return {};
    if (!context() || !context()->isValid())
        return QStringLiteral("no OpenGL context can be made on the platform \"%1\"")
            .arg(QGuiApplication::platformName());
    return m_renderer.error();
}

void SceneView::resizeGL(int width, int height)
{
    m_labels->resize(size());
    m_controller.camera().setAspect(float(width) / float(std::max(height, 1)));
}

void SceneView::paintGL()
{
    const float dt = std::min(float(m_clock.restart()) / 1000.0f, 0.1f);
    const bool moving = m_controller.camera().step(dt);
    const bool fading = !m_marks.isEmpty() && m_marks.apply(m_controller, m_markClock.elapsed());
    if (!m_glReady)
        return;
    m_renderer.render(m_controller, size() * devicePixelRatio(), float(devicePixelRatio()));
    m_labels->setMoving(moving || m_dragging);
    m_labels->update();
    if (moving || fading)
        update();
}

// --- mouse ----------------------------------------------------------------------------------

void SceneView::mousePressEvent(QMouseEvent* event)
{
    // In a file's city the arrows walk its parts again, once the scene is clicked, and the preview
    // gives its keys back.
    if (m_builtCity)
        m_state.panels().setOutlineKeys(std::nullopt);
    m_state.panels().setPreviewKeys(false);
    m_pressAt = m_lastMouse = event->position().toPoint();
    m_dragging = false;
    setFocus();
}

void SceneView::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    const QPoint delta = at - m_lastMouse;
    m_lastMouse = at;
    if (event->buttons() == Qt::NoButton) {
        const FileNode* node = m_controller.pick(event->position(), size());
        if (node)
            QToolTip::showText(event->globalPosition().toPoint(), describe(*node), this);
        else
            QToolTip::hideText();
        return;
    }
    if (!m_dragging && (at - m_pressAt).manhattanLength() < dragThreshold)
        return;
    m_dragging = true;
    OrbitCamera& camera = m_controller.camera();
    if (event->buttons() & Qt::LeftButton) {
        camera.turn(-float(delta.x()) * dragTurn);
        camera.tilt(float(delta.y()) * dragTurn);
        camera.current.yaw = camera.goal.yaw;
        camera.current.pitch = camera.goal.pitch;
    } else {
        const float half = float(std::max(height(), 1)) / 2;
        camera.pan(-float(delta.x()) / half, -float(delta.y()) / half);
        camera.current.target = camera.goal.target;
    }
    update();
}

void SceneView::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_dragging && event->button() == Qt::LeftButton && m_state.root())
        choose(m_controller.pick(event->position(), size()));
    m_dragging = false;
}

void SceneView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (const FileNode* node = m_controller.pick(event->position(), size())) {
        choose(node);
        m_state.enter();
    }
}

void SceneView::choose(const FileNode* node)
{
    if (m_builtCity)
        m_state.structure().selectPart(node);
    else
        m_state.select(node, false, false);
}

void SceneView::wheelEvent(QWheelEvent* event)
{
    m_controller.camera().zoom(std::pow(1.0015f, float(event->angleDelta().y())));
    update();
}

QString SceneView::describe(const FileNode& node) const
{
    if (m_builtCity) {
        const std::shared_ptr<const WebDocument>& document = m_state.structure().document();
        const std::optional<qsizetype> part = m_builtCity->part(&node);
        if (!document || !part)
            return node.name;
        const WebDocument::Node& item = document->nodes[std::size_t(*part)];
        return node.name + u'\n' + roleName(item.role) + QStringLiteral(" · ") + partLines(item);
    }
    QString measure;
    switch (m_state.display().heightMode()) {
    case HeightMode::lines: measure = Format::count(node.lines, u"line"); break;
    case HeightMode::size: measure = Format::bytes(node.size); break;
    case HeightMode::churn: measure = Format::count(node.commits, u"commit"); break;
    case HeightMode::flat: measure = Format::count(node.isDirectory ? node.fileCount : 1, u"file"); break;
    }
    return (node.relativePath.isEmpty() ? node.name : node.relativePath) + u'\n' + measure;
}
