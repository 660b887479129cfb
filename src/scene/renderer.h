#pragma once

#include "scene/entitynode.h"
#include "scene/hiddenwalls.h"

#include <QMatrix4x4>
#include <QOpenGLFunctions_3_3_Core>
#include <QSize>
#include <QString>
#include <QSurfaceFormat>

#include <memory>
#include <optional>
#include <vector>

class QOpenGLShaderProgram;
class SceneController;
struct Theme;

// Draws a SceneController with OpenGL 3.3 core: buildings as instanced boxes with storey lines,
// lots and the ground as instanced planes, connections as lines, a sun whose shadows fall on the
// ground, fog into the background. Works in whatever context is current at initialize() (a
// window's or an offscreen one) and draws into the framebuffer bound when render() is called; one
// draw call per kind of geometry. Instance buffers are uploaded only when the scene's generation
// changes. The sun does not move with the camera, so the shadows (a shadow map drawn from the sun,
// then baked into a shade texture over the ground) are redone only when the shapes change.
class Renderer : protected QOpenGLFunctions_3_3_Core {
public:
    static constexpr int shadowMapSize = 2048;
    static constexpr int groundShadeSize = 1024;

    // 3.3 core with depth, stencil and 4× multisampling, for the scene's own framebuffer.
    static QSurfaceFormat defaultFormat();
    // Makes it, without the samples, the application's default, the format of the windows the
    // scene's widgets are composed in; must run before the QApplication is made.
    static void useDefaultFormat();
    // Whether OpenGL is drawn by the processor (Mesa's llvmpipe or softpipe, SwiftShader), found
    // once with a throwaway context; needs a QGuiApplication.
    static bool softwareRendering();
    // Samples a pixel for an interactive view: none on a software renderer, where four would cost
    // several times the frame, else the default format's.
    static int interactiveSamples();

    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // Needs a current context of version 3.3 or later; false, with the reason in error(), if not.
    bool initialize();
    bool isInitialized() const { return m_initialized; }
    QString error() const { return m_error; }
    void render(const SceneController& scene, QSize pixels, float devicePixelRatio);

    // On a software renderer, frames drawn while the camera moves leave out the detail that costs
    // most and cannot be read in motion: buildings are drawn without storey lines and fogged face
    // by face, and the hatches on folders drawn whole wait. That keeps turning and zooming fluid at
    // full resolution; the frame the camera settles on has everything. On by default; it never
    // applies on a GPU.
    void setAdaptiveDetail(bool on) { m_adaptive = on; }
    bool adaptiveDetail() const { return m_adaptive; }
    // On a software renderer, the feet of walls that other buildings hide are left out, found anew
    // for each view of the orthographic camera: in a dense city, most of what its walls would cost
    // is behind other buildings. A GPU throws that away for less than the finding costs. On by
    // default; off only to compare, since the picture is the same.
    void setWallCutting(bool on) { m_cutWalls = on; }
    bool softwareContext() const { return m_software; } // known once initialized
    // What draws: "llvmpipe (LLVM 15.0.6, 256 bits), OpenGL 4.5 (Core Profile) Mesa 22.3.6".
    const QString& driver() const { return m_driver; } // known once initialized
    // Frees the GL objects; the context of initialize() must be current.
    void release();

    // The sun: a fixed direction in the world, from the right and behind as the home view sees it.
    static QVector3D lightDirection();

private:
    struct FrameView;

    bool checkContext();
    bool buildPrograms();
    void createGeometry();
    GLuint surfaceArray(GLuint mesh, GLuint instances);
    void floatAttribute(GLuint location, GLint count, GLsizei stride, size_t at, GLuint divisor = 0);
    GLenum createShadowTargets();

    bool prepare(const SceneController& scene, int quarter, GLuint target);
    void clear(const Theme& theme, QSize drawn);
    FrameView frameView(const SceneController& scene, float aspect) const;
    void bindFrame(QOpenGLShaderProgram& program, const FrameView& frame);
    // Storey lines are drawn when their pixel ratio is given.
    void drawBoxes(const SceneController& scene, const FrameView& frame, int quarter,
        const float* storeyLinesPixelRatio);
    void drawPlanes(const Theme& theme, const FrameView& frame, bool shadows);
    void drawLines(const FrameView& frame, GLsizei vertices);
    void upload(const SceneController& scene, int quarter);
    void uploadBoxes(const SceneController& scene, int quarter);
    void uploadHiddenWalls(const std::vector<HiddenWalls::Hidden>& heights);
    void hideWalls(const QMatrix4x4& viewProjection, QSize pixels);
    void drawShadows(const SceneController& scene);
    QMatrix4x4 lightMatrix(const SceneController& scene) const;

    bool m_initialized = false;
    QString m_error;
    std::unique_ptr<QOpenGLShaderProgram> m_box;
    std::unique_ptr<QOpenGLShaderProgram> m_plainBox;
    std::unique_ptr<QOpenGLShaderProgram> m_plane;
    std::unique_ptr<QOpenGLShaderProgram> m_line;
    std::unique_ptr<QOpenGLShaderProgram> m_shadow;
    std::unique_ptr<QOpenGLShaderProgram> m_bake;
    GLuint m_boxMesh = 0, m_boxIndices = 0, m_planeMesh = 0;
    GLuint m_hiddenWalls = 0; // a height for each box: how much of its walls' feet is not drawn
    GLuint m_boxInstances = 0, m_planeInstances = 0, m_lineBuffer = 0;
    GLuint m_boxArray = 0, m_planeArray = 0, m_lineArray = 0, m_emptyArray = 0;
    GLuint m_shadowTexture = 0, m_shadowFramebuffer = 0;
    GLuint m_shadeTexture = 0, m_shadeFramebuffer = 0;
    bool m_software = false;
    QString m_driver;
    bool m_adaptive = true;
    GLsizei m_boxCount = 0, m_planeCount = 0, m_lineCount = 0;
    GLsizei m_detailLines = 0; // the lines a moving frame draws
    quint64 m_generation = 0;
    bool m_uploaded = false;
    int m_boxQuarter = -1; // the quarter of view the boxes are sorted for
    std::vector<SceneInstance> m_boxes; // as uploaded, nearest first from that quarter
    bool m_cutWalls = true;
    std::optional<std::pair<QMatrix4x4, QSize>> m_hiddenFor; // the view the walls were cut for
    std::optional<quint64> m_shadowShape; // the shape generation the shade texture shows
    QVector4D m_shadeRect;
};
