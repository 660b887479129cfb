#pragma once

#include "scene/renderer.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

class QOffscreenSurface;
class QOpenGLContext;
class QOpenGLFramebufferObject;
class SceneController;

// A GL context of its own with a multisampled framebuffer, for snapshots and benchmarks. Needs a
// QGuiApplication and a platform that gives OpenGL (a display, or xvfb-run).
class OffscreenView {
public:
    OffscreenView();
    ~OffscreenView();
    OffscreenView(const OffscreenView&) = delete;
    OffscreenView& operator=(const OffscreenView&) = delete;

    // A framebuffer of size × devicePixelRatio pixels with that many samples a pixel; false, with
    // the reason in error(), when no suitable context can be made.
    bool create(QSize size, float devicePixelRatio = 1, int samples = 4);
    QString error() const { return m_error; }
    QSize size() const { return m_size; }

    Renderer& renderer() { return m_renderer; }

    // Renders one frame into the framebuffer; finish() waits until the GPU is done with it.
    void draw(const SceneController& scene);
    void finish();
    // The last frame, with the labels painted over it unless told otherwise.
    QImage image(const SceneController& scene, bool labels = true);

private:
    std::unique_ptr<QOpenGLContext> m_context;
    std::unique_ptr<QOffscreenSurface> m_surface;
    std::unique_ptr<QOpenGLFramebufferObject> m_framebuffer;
    Renderer m_renderer;
    QSize m_size;
    float m_ratio = 1;
    QString m_error;
};

// The scene as it will look once the camera settles, in an image of that logical size; a null image
// when no GL context can be made, with the reason in *error.
QImage renderImage(SceneController& scene, QSize size, float devicePixelRatio = 1, QString* error = nullptr);
