#include "scene/offscreenview.h"

#include "scene/labels.h"
#include "scene/scenecontroller.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QPainter>

#include <algorithm>
#include <cmath>

OffscreenView::OffscreenView() = default;

OffscreenView::~OffscreenView()
{
    if (m_context && m_context->makeCurrent(m_surface.get())) {
        m_renderer.release();
        m_framebuffer.reset();
        m_context->doneCurrent();
    }
}

bool OffscreenView::create(QSize size, float devicePixelRatio, int samples)
{
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        m_error = QStringLiteral("Rendering needs a QGuiApplication.");
        return false;
    }
    if (size.isEmpty() || !(devicePixelRatio > 0)) {
        m_error = QStringLiteral("An image of %1×%2 pixels cannot be drawn.")
                      .arg(size.width())
                      .arg(size.height());
        return false;
    }
    m_context = std::make_unique<QOpenGLContext>();
    m_context->setFormat(Renderer::defaultFormat());
    if (!m_context->create()) {
        m_error = QStringLiteral("No OpenGL context can be made on the platform \"%1\".")
                      .arg(QGuiApplication::platformName());
        return false;
    }
    m_surface = std::make_unique<QOffscreenSurface>();
    m_surface->setFormat(m_context->format());
    m_surface->create();
    if (!m_surface->isValid() || !m_context->makeCurrent(m_surface.get())) {
        m_error = QStringLiteral("The OpenGL context cannot be made current offscreen.");
        return false;
    }
    if (!m_renderer.initialize()) {
        m_error = m_renderer.error();
        return false;
    }
    m_size = size;
    m_ratio = devicePixelRatio;
    const QSize pixels(qRound(size.width() * devicePixelRatio), qRound(size.height() * devicePixelRatio));
    QOpenGLFramebufferObjectFormat format;
    format.setAttachment(QOpenGLFramebufferObject::CombinedDepthStencil);
    format.setSamples(std::max(samples, 0));
    m_framebuffer = std::make_unique<QOpenGLFramebufferObject>(pixels, format);
    if (!m_framebuffer->isValid()) {
        m_error = QStringLiteral("No framebuffer of %1×%2 pixels can be made.")
                      .arg(pixels.width())
                      .arg(pixels.height());
        return false;
    }
    return true;
}

void OffscreenView::draw(const SceneController& scene)
{
    if (!m_framebuffer || !m_context->makeCurrent(m_surface.get()))
        return;
    m_framebuffer->bind();
    m_renderer.render(scene, m_framebuffer->size(), m_ratio);
}

void OffscreenView::finish()
{
    if (!m_framebuffer || !m_context->makeCurrent(m_surface.get()))
        return;
    m_context->functions()->glFinish();
}

QImage OffscreenView::image(const SceneController& scene, bool labels)
{
    if (!m_framebuffer || !m_context->makeCurrent(m_surface.get()))
        return {};
    QImage image = m_framebuffer->toImage();
    image.setDevicePixelRatio(m_ratio);
    if (!labels)
        return image;
    QPainter painter(&image);
    paintLabels(painter, scene, m_size);
    painter.end();
    return image;
}

QImage renderImage(SceneController& scene, QSize size, float devicePixelRatio, QString* error)
{
    OffscreenView view;
    if (!view.create(size, devicePixelRatio)) {
        if (error)
            *error = view.error();
        return {};
    }
    scene.camera().setAspect(float(size.width()) / float(size.height()));
    scene.camera().settle();
    view.draw(scene);
    return view.image(scene);
}
