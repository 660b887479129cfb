#pragma once

#include "engineering/drawing.h"
#include "scene/theme.h"

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QTransform>
#include <QWidget>

#include <memory>
#include <optional>

class QPainter;

// Draws a board or a schematic, mapped by fileToWidget from millimetres into the painter's frame,
// on the theme's paper (drill holes are cut in the paper's colour). Whatever would cover less than a
// pixel is left out, so that a whole large board draws quickly.
void paintDrawing(
    QPainter& painter, const Drawing& drawing, const QTransform& fileToWidget, const Theme& theme);

// The map that shows `bounds` whole and centred in `area`, `margin` pixels from its edges.
QTransform fitTransform(const QRectF& bounds, const QSizeF& area, double margin);

// A board or schematic to look around: dragging pans, the wheel zooms about the pointer. The
// drawing fits the view until it is panned or zoomed.
class DrawingView : public QWidget {
    Q_OBJECT
public:
    explicit DrawingView(QWidget* parent = nullptr);

    void setDrawing(std::shared_ptr<const Drawing> drawing);
    const Drawing* drawing() const { return m_drawing.get(); }
    void setTheme(const Theme& theme);

    void fit();
    // Moves the drawing by this many pixels, as a drag would.
    void pan(QPointF pixels);
    // Zooms about the middle of the view: a factor above 1 enlarges.
    void zoomBy(double factor);
    void zoomBy(double factor, QPointF around);
    QTransform fileToWidget() const { return m_transform; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void changed();
    void render();

    std::shared_ptr<const Drawing> m_drawing;
    Theme m_theme = Theme::darkPalette();
    QTransform m_transform;
    bool m_fitted = true;
    std::optional<QPointF> m_dragFrom;

    // The last picture drawn and the map it was drawn with. While a slow drawing moves, the picture
    // moves with it, and the drawing is drawn anew once the moving pauses.
    QImage m_picture;
    QTransform m_pictureTransform;
    bool m_pictureCurrent = false;
    qint64 m_renderMilliseconds = 0;
    QTimer m_settle;
};
