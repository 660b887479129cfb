#include "ui/drawingview.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace {

constexpr double margin = 16; // pixels around a fitted drawing
// Past this, a whole drawing is a speck or a millimetre fills the screen.
constexpr double smallestZoom = 0.25, largestScale = 2000;
// A drawing that takes longer than this is moved as a picture while it keeps moving.
constexpr qint64 slowRender = 40;

} // namespace

DrawingView::DrawingView(QWidget* parent)
    : QWidget(parent)
{
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_settle.setSingleShot(true);
    m_settle.setInterval(120);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        m_pictureCurrent = false;
        update();
    });
}

void DrawingView::setDrawing(std::shared_ptr<const Drawing> drawing)
{
    m_drawing = std::move(drawing);
    m_pictureCurrent = false;
    m_renderMilliseconds = 0;
    m_settle.stop(); // the last picture is of another drawing
    fit();
}

void DrawingView::setTheme(const Theme& theme)
{
    if (theme == m_theme)
        return;
    m_theme = theme;
    m_pictureCurrent = false;
    m_settle.stop();
    update();
}

void DrawingView::fit()
{
    m_fitted = true;
    if (m_drawing)
        m_transform = fitTransform(m_drawing->bounds, size(), margin);
    changed();
}

void DrawingView::pan(QPointF pixels)
{
    m_fitted = false;
    m_transform *= QTransform::fromTranslate(pixels.x(), pixels.y());
    changed();
}

void DrawingView::zoomBy(double factor)
{
    zoomBy(factor, QRectF(rect()).center());
}

void DrawingView::zoomBy(double factor, QPointF around)
{
    if (!m_drawing || !(factor > 0))
        return;
    const double scale = std::sqrt(std::abs(m_transform.determinant()));
    const double fitted = std::sqrt(std::abs(fitTransform(m_drawing->bounds, size(), margin).determinant()));
    const double wanted = std::clamp(scale * factor, fitted * smallestZoom, std::max(largestScale, fitted));
    factor = wanted / scale;
    m_fitted = false;
    m_transform *= QTransform::fromTranslate(-around.x(), -around.y()) * QTransform::fromScale(factor, factor)
        * QTransform::fromTranslate(around.x(), around.y());
    changed();
}

void DrawingView::changed()
{
    m_pictureCurrent = m_pictureCurrent && m_pictureTransform == m_transform;
    if (!m_pictureCurrent && m_renderMilliseconds > slowRender)
        m_settle.start();
    update();
}

void DrawingView::render()
{
    const qreal ratio = devicePixelRatioF();
    if (m_picture.size() != size() * ratio) {
        m_picture = QImage(size() * ratio, QImage::Format_ARGB32_Premultiplied);
        m_picture.setDevicePixelRatio(ratio);
    }
    QElapsedTimer timer;
    timer.start();
    m_picture.fill(m_theme.paper);
    if (m_drawing) {
        QPainter painter(&m_picture);
        paintDrawing(painter, *m_drawing, m_transform, m_theme);
    }
    m_renderMilliseconds = timer.elapsed();
    m_pictureTransform = m_transform;
    m_pictureCurrent = true;
}

void DrawingView::paintEvent(QPaintEvent*)
{
    const bool sameSize = m_picture.size() == size() * devicePixelRatioF();
    QPainter painter(this);
    if (!m_pictureCurrent && sameSize && m_settle.isActive()) {
        // The last picture moved as the drawing has, until the moving pauses.
        painter.fillRect(rect(), m_theme.paper);
        painter.setTransform(m_pictureTransform.inverted() * m_transform);
        painter.drawImage(QPointF(), m_picture);
        return;
    }
    if (!m_pictureCurrent || !sameSize)
        render();
    painter.drawImage(QPointF(), m_picture);
}

void DrawingView::resizeEvent(QResizeEvent*)
{
    if (m_fitted)
        fit();
    m_pictureCurrent = false;
}

void DrawingView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton || event->button() == Qt::MiddleButton)
        m_dragFrom = event->position();
    else
        QWidget::mousePressEvent(event);
}

void DrawingView::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_dragFrom)
        return QWidget::mouseMoveEvent(event);
    pan(event->position() - *m_dragFrom);
    m_dragFrom = event->position();
}

void DrawingView::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_dragFrom)
        return QWidget::mouseReleaseEvent(event);
    m_dragFrom.reset();
}

void DrawingView::mouseDoubleClickEvent(QMouseEvent*)
{
    fit();
}

void DrawingView::wheelEvent(QWheelEvent* event)
{
    // One notch of a wheel (120) zooms by a fifth.
    const QPoint delta = event->angleDelta();
    if (delta.y() == 0)
        return QWidget::wheelEvent(event);
    zoomBy(std::pow(1.2, delta.y() / 120.0), event->position());
}

void DrawingView::keyPressEvent(QKeyEvent* event)
{
    const double step = std::min(width(), height()) / 8.0;
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal: zoomBy(1.25); break;
    case Qt::Key_Minus: zoomBy(1 / 1.25); break;
    case Qt::Key_0: fit(); break;
    case Qt::Key_Left: pan({ step, 0 }); break;
    case Qt::Key_Right: pan({ -step, 0 }); break;
    case Qt::Key_Up: pan({ 0, step }); break;
    case Qt::Key_Down: pan({ 0, -step }); break;
    default: QWidget::keyPressEvent(event);
    }
}
