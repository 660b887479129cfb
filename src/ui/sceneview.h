#pragma once

#include "scene/historyscene.h"
#include "scene/renderer.h"
#include "scene/scenecontroller.h"
#include "state/appstate.h"

#include <QElapsedTimer>
#include <QOpenGLWidget>
#include <QPoint>
#include <QTimer>

// The 3D view of the folder: draws the state's view root in the current mode, keeps the selection
// and filters shown, eases the camera, and turns the mouse into orbiting, panning, zooming and
// selecting. It is also how the state sees the screen (nearest-in-direction, framing).
class LabelLayer;

class SceneView : public QOpenGLWidget, public SceneHost {
    Q_OBJECT

public:
    explicit SceneView(AppState& state, QWidget* parent = nullptr);
    ~SceneView() override;

    SceneController& controller() { return m_controller; }
    const SceneController& controller() const { return m_controller; }
    // Drawn for the screen rather than for a picture: without multisampling on a software renderer,
    // where it would take most of each frame. Call it before the view is first shown.
    void drawForTheScreen();
    // Builds now whatever is waiting to be built; scripts call it before they read the screen.
    void flush();
    // Puts the camera at its goal at once (scripted keys and snapshots do not wait for easing).
    void settleCamera();
    // Shadows held back for a moment (a file's city just built, the history moving) come now.
    void restoreShadows();
    // Whether the scene stands for a walked-into file's parts.
    bool showsPartCity() const { return m_builtCity != nullptr; }
    qint64 lastBuildMilliseconds() const { return m_buildMs; }
    // Why the view has drawn nothing once shown (no OpenGL context, or a renderer that would not
    // start), or an empty string when it draws.
    QString drawingError() const;

    // SceneHost
    QSizeF viewSize() const override { return size(); }
    std::optional<QPointF> screenPoint(const FileNode& node) const override;
    std::vector<VisibleEntity> visibleEntities() const override;
    void focus(const FileNode& node, bool follow, bool frame) override;
    void camera(CameraAction action) override;
    void beep() override;
    // What draws the city, once it has been drawn.
    const QString& driver() const { return m_renderer.driver(); }
    std::optional<QString> openExternally(const QString& path, int line) override;
    std::optional<QString> revealExternally(const QString& path) override;

signals:
    // A new scene stands, or the history's moved on: the legend and anything else read from it may
    // be refreshed.
    void built();

protected:
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void scheduleBuild(bool resetCamera);
    void build();
    // The city of the walked-into file's parts, when the scene is to show it.
    std::shared_ptr<const PartCity> shownCity() const;
    void buildPartCity(std::shared_ptr<const PartCity> city, bool reset);
    // What the scene's selection is: the part selected in a file's city, else the state's.
    const FileNode* shownSelection() const;
    void applyFilter();
    // The isolated paths, the folders that lead to them and everything below them: the city drawn
    // while anything is isolated.
    NodeSet isolatedNodes() const;
    // Around every search result drawn; none without an active search or with none drawn.
    std::optional<SceneBox> resultsBox() const;
    // Lights the selection's imports and importers, or the chosen cycle, from the folder's imports.
    void applyLinkFocus();
    LinkFocus partLinks() const;
    // Selects what a click met: a file or folder, or in a file's city a part.
    void choose(const FileNode* node);
    // The history's files have moved: heights, colours and presence follow, the files moved are
    // marked and the marks fade; shadows wait until the movement settles.
    void followTimeline();
    QString describe(const FileNode& node) const;

    AppState& m_state;
    SceneController m_controller;
    Renderer m_renderer;
    bool m_glReady = false;
    bool m_buildPending = false;
    bool m_resetPending = false;
    const FileNode* m_builtRoot = nullptr;
    // The city of a file's parts the scene was built from, kept alive while the scene points into it.
    std::shared_ptr<const PartCity> m_builtCity;
    VisualizationMode m_builtMode = VisualizationMode::city;
    QSet<QString> m_builtIsolated;
    QElapsedTimer m_clock;
    QElapsedTimer m_markClock;
    FadingMarks m_marks; // on m_markClock
    QTimer m_shadowsBack;
    qint64 m_buildMs = 0;
    LabelLayer* m_labels = nullptr;
    QPoint m_pressAt;
    QPoint m_lastMouse;
    bool m_dragging = false;
};
