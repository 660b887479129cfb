#pragma once

#include "scene/theme.h"
#include "state/appstate.h"
#include "state/keyrouter.h"

#include <QFrame>
#include <QWidget>

class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;

// The history's commits along a line: under it the lines each commit added and removed, over it
// the playhead. A click or a drag seeks.
class Scrubber : public QWidget {
    Q_OBJECT
public:
    explicit Scrubber(const TimelineController& timeline, QWidget* parent = nullptr);
    void setTheme(const Theme& theme);
    // The commit under an x position of the widget: -1 at the far left, the last at the far right.
    qint64 positionAt(int x) const;

signals:
    void seek(qint64 position);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QRect track() const;

    const TimelineController& m_timeline;
    Theme m_theme = Theme::darkPalette();
};

// The bar along the bottom of the history view: play and pause, the steps, the speed, the
// scrubber over the activity track, and the commit at the playhead. While the history is read it
// shows the reading's progress; a failure shows why in its place.
class TimelineBar : public QFrame {
    Q_OBJECT
public:
    TimelineBar(AppState& state, KeyRouter& router, QWidget* parent = nullptr);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void refresh();
    void refreshCommit();
    QPushButton* button(const QString& text, Action action, const QString& tip);

    AppState& m_state;
    KeyRouter& m_router;
    QStackedWidget* m_pages;
    QLabel* m_status;
    QProgressBar* m_busy;
    QPushButton* m_play;
    QDoubleSpinBox* m_speed;
    Scrubber* m_scrubber;
    QLabel* m_position;
    QLabel* m_commit;
    QLabel* m_counts;
};
