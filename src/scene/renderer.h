#pragma once

#include <QMatrix4x4>
#include <QOpenGLFunctions_3_3_Core>
#include <QSize>
#include <QString>
#include <QSurfaceFormat>

#include <memory>

class QOpenGLShaderProgram;
class SceneController;

// Draws a SceneController with OpenGL 3.3 core: buildings as instanced boxes with storey lines,
// lots and the ground as instanced planes, connections as lines, a sun with a shadow map, fog into
// the background. Works in whatever context is current at initialize() (a window's or an
// offscreen one) and draws into the framebuffer bound when render() is called. Instance buffers
// are uploaded only when the scene's generation changes; the shadow map is redrawn only then,
// since the sun does not move with the camera.
class Renderer : protected QOpenGLFunctions_3_3_Core {
public:
    static constexpr int shadowMapSize = 2048;

    // 3.3 core with depth, stencil and 4× multisampling; useDefaultFormat() makes it the
    // application's default, and must run before the QApplication is made.
    static QSurfaceFormat defaultFormat();
    static void useDefaultFormat();

    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // Needs a current context of version 3.3 or later; false, with the reason in error(), if not.
    bool initialize();
    bool isInitialized() const { return m_initialized; }
    QString error() const { return m_error; }
    void render(const SceneController& scene, QSize pixels, float devicePixelRatio);
    // Frees the GL objects; the context of initialize() must be current.
    void release();

    // The sun: a fixed direction in the world, from the right and behind as the home view sees it.
    static QVector3D lightDirection();

private:
    void upload(const SceneController& scene);
    void drawShadowMap(const SceneController& scene);
    QMatrix4x4 lightMatrix(const SceneController& scene) const;

    bool m_initialized = false;
    QString m_error;
    std::unique_ptr<QOpenGLShaderProgram> m_surface;
    std::unique_ptr<QOpenGLShaderProgram> m_shadow;
    std::unique_ptr<QOpenGLShaderProgram> m_line;
    GLuint m_boxMesh = 0, m_planeMesh = 0;
    GLuint m_boxInstances = 0, m_planeInstances = 0, m_lineBuffer = 0;
    GLuint m_boxArray = 0, m_planeArray = 0, m_lineArray = 0;
    GLuint m_shadowTexture = 0, m_shadowFramebuffer = 0;
    GLsizei m_boxCount = 0, m_planeCount = 0, m_lineCount = 0;
    quint64 m_generation = 0;
    bool m_uploaded = false;
    bool m_shadowDirty = true;
    QMatrix4x4 m_lightMatrix;
};
