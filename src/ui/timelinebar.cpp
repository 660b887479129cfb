#include "ui/timelinebar.h"

#include "model/format.h"
#include "scene/colorcontext.h"
#include "ui/style.h"

#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace {

// Commits a second, written without a trailing ".0".
class SpeedBox : public QDoubleSpinBox {
public:
    using QDoubleSpinBox::QDoubleSpinBox;

protected:
    QString textFromValue(double value) const override { return QLocale::c().toString(value, 'g', 4); }
};

} // namespace

Scrubber::Scrubber(const TimelineController& timeline, QWidget* parent)
    : QWidget(parent)
    , m_timeline(timeline)
{
    setMinimumHeight(34);
    setCursor(Qt::PointingHandCursor);
    setToolTip(QStringLiteral("Previous · next commit (⇧ for ten)"));
}

void Scrubber::setTheme(const Theme& theme)
{
    m_theme = theme;
    update();
}

QRect Scrubber::track() const
{
    return rect().adjusted(6, 4, -6, -4);
}

qint64 Scrubber::positionAt(int x) const
{
    const QRect area = track();
    const qint64 count = m_timeline.commitCount();
    if (count == 0 || area.width() <= 0)
        return -1;
    // count + 1 places from "before the first" to the last commit, spread evenly.
    const double t = std::clamp(double(x - area.left()) / area.width(), 0.0, 1.0);
    return std::llround(t * double(count)) - 1;
}

void Scrubber::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRect area = track();
    const qint64 count = m_timeline.commitCount();
    painter.fillRect(area, mix(m_theme.paper, m_theme.ink3, 0.12));
    if (count == 0)
        return;
    // One bar a pixel column: the busiest commit in it, on a root scale so that small commits show.
    const std::vector<qint64>& activity = m_timeline.activity();
    const qint64 busiest = std::max<qint64>(1, *std::max_element(activity.begin(), activity.end()));
    const QColor bar = mix(m_theme.ink3, m_theme.paper, 0.25);
    const int columns = area.width();
    for (int column = 0; column < columns; ++column) {
        const auto first = qint64(double(column) / columns * double(count));
        const auto last = std::max(first + 1, qint64(double(column + 1) / columns * double(count)));
        qint64 most = 0;
        for (qint64 i = first; i < std::min(last, count); ++i)
            most = std::max(most, activity[size_t(i)]);
        if (most == 0)
            continue;
        const int height = std::max(1, int(std::sqrt(double(most) / double(busiest)) * (area.height() - 2)));
        painter.fillRect(area.left() + column, area.bottom() - height, 1, height, bar);
    }
    // The part already played, and the playhead.
    const double t = double(m_timeline.position() + 1) / double(count);
    const int x = area.left() + int(std::lround(t * area.width()));
    QColor played = m_theme.accent;
    played.setAlphaF(0.1f);
    painter.fillRect(QRect(area.topLeft(), QPoint(x, area.bottom())), played);
    painter.fillRect(x - 1, area.top() - 3, 3, area.height() + 6, m_theme.accent);
}

void Scrubber::mousePressEvent(QMouseEvent* event)
{
    emit seek(positionAt(event->position().toPoint().x()));
}

void Scrubber::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton)
        emit seek(positionAt(event->position().toPoint().x()));
}

TimelineBar::TimelineBar(AppState& state, KeyRouter& router, QWidget* parent)
    : QFrame(parent)
    , m_state(state)
    , m_router(router)
    , m_pages(new QStackedWidget(this))
    , m_status(new QLabel(this))
    , m_busy(new QProgressBar(this))
    , m_speed(new SpeedBox(this))
    , m_scrubber(new Scrubber(state.timeline(), this))
    , m_position(new QLabel(this))
    , m_commit(new QLabel(this))
    , m_counts(new QLabel(this))
{
    setObjectName(QStringLiteral("timeline"));
    setAttribute(Qt::WA_StyledBackground);

    // While reading, or when the reading failed: one line, and a bar while it runs.
    auto* waiting = new QWidget(m_pages);
    auto* waitingRow = new QHBoxLayout(waiting);
    waitingRow->setContentsMargins(0, 0, 0, 0);
    m_status->setWordWrap(true);
    m_busy->setRange(0, 0);
    m_busy->setTextVisible(false);
    m_busy->setFixedWidth(220);
    waitingRow->addWidget(m_status, 1);
    waitingRow->addWidget(m_busy);

    auto* controls = new QWidget(m_pages);
    auto* column = new QVBoxLayout(controls);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    row->addWidget(
        button(QStringLiteral("|◀"), Action::commitStart, QStringLiteral("Start, before the first commit")));
    row->addWidget(button(QStringLiteral("◀"), Action::commitBack, QStringLiteral("Previous commit · ,")));
    m_play = button(QStringLiteral("▶"), Action::play, {});
    m_play->setMinimumWidth(44);
    row->addWidget(m_play);
    row->addWidget(button(QStringLiteral("▶"), Action::commitOn, QStringLiteral("Next commit · .")));
    row->addWidget(button(QStringLiteral("▶|"), Action::commitEnd, QStringLiteral("End, the last commit")));
    row->addWidget(button(QStringLiteral("◆"), Action::commitMid, QStringLiteral("The middle commit")));
    row->addSpacing(10);
    const auto speedStep = [this](const QString& text, double factor, const QString& tip) {
        auto* b = new QPushButton(text, this);
        b->setFocusPolicy(Qt::NoFocus);
        b->setToolTip(tip);
        connect(b, &QPushButton::clicked, this,
            [this, factor] { m_state.timeline().setSpeed(m_state.timeline().speed() * factor); });
        return b;
    };
    row->addWidget(speedStep(QStringLiteral("−"), 0.5, QStringLiteral("Slower, half the speed")));
    m_speed->setRange(TimelineController::minSpeed, TimelineController::maxSpeed);
    m_speed->setDecimals(1);
    m_speed->setButtonSymbols(QAbstractSpinBox::NoButtons);
    m_speed->setSuffix(QStringLiteral(" commits a second"));
    m_speed->setFocusPolicy(Qt::ClickFocus);
    m_speed->setToolTip(
        QStringLiteral("Replay speed, 0.5 to 120: above 30 commits a second, a frame moves several"));
    m_speed->setValue(state.timeline().speed());
    m_speed->setAlignment(Qt::AlignCenter);
    m_speed->setMinimumWidth(
        m_speed->fontMetrics().horizontalAdvance(QStringLiteral("120 commits a second")) + 24);
    row->addWidget(m_speed);
    row->addWidget(speedStep(QStringLiteral("+"), 2, QStringLiteral("Faster, twice the speed")));
    row->addStretch(1);
    row->addWidget(m_position);
    column->addLayout(row);
    column->addWidget(m_scrubber);
    auto* facts = new QHBoxLayout;
    m_commit->setTextFormat(Qt::RichText);
    m_commit->setMinimumWidth(1);
    m_counts->setProperty("class", QStringLiteral("secondary"));
    facts->addWidget(m_commit, 1);
    facts->addWidget(m_counts);
    column->addLayout(facts);

    m_pages->addWidget(waiting);
    m_pages->addWidget(controls);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(12, 8, 12, 8);
    outer->addWidget(m_pages);

    TimelineController& timeline = state.timeline();
    connect(m_speed, &QDoubleSpinBox::valueChanged, &timeline, &TimelineController::setSpeed);
    connect(&timeline, &TimelineController::speedChanged, this,
        [this] { m_speed->setValue(m_state.timeline().speed()); });
    connect(m_scrubber, &Scrubber::seek, this, [this](qint64 position) {
        m_state.timeline().stop();
        m_state.timeline().move(position);
    });
    for (const auto signal : { &TimelineController::phaseChanged, &TimelineController::progressChanged,
             &TimelineController::playingChanged })
        connect(&timeline, signal, this, &TimelineBar::refresh);
    connect(&timeline, &TimelineController::moved, this, &TimelineBar::refreshCommit);
    connect(&state.display(), &DisplaySettings::modeChanged, this, &TimelineBar::refresh);
    connect(&state.display(), &DisplaySettings::darkChanged, this, &TimelineBar::refresh);
    refresh();
}

void TimelineBar::resizeEvent(QResizeEvent* event)
{
    QFrame::resizeEvent(event);
    // The commit's line is measured once the layout has given it its new width.
    QTimer::singleShot(0, this, &TimelineBar::refreshCommit);
}

QPushButton* TimelineBar::button(const QString& text, Action action, const QString& tip)
{
    auto* b = new QPushButton(text, this);
    b->setFocusPolicy(Qt::NoFocus);
    b->setToolTip(tip);
    connect(b, &QPushButton::clicked, this, [this, action] { m_router.perform(action); });
    return b;
}

void TimelineBar::refresh()
{
    const TimelineController& timeline = m_state.timeline();
    setVisible(m_state.display().mode() == VisualizationMode::history);
    m_scrubber->setTheme(Theme::of(m_state.display().dark()));
    switch (timeline.phase()) {
    case TimelineController::Phase::idle:
    case TimelineController::Phase::indexing: {
        const HistoryProgress& progress = timeline.progress();
        m_status->setText(progress.phase + QStringLiteral("… ") + Format::count(progress.commits, u"commit")
            + QStringLiteral("  ·  Escape stops"));
        m_busy->show();
        m_pages->setCurrentIndex(0);
        return;
    }
    case TimelineController::Phase::failed:
        m_status->setText(timeline.error());
        m_busy->hide();
        m_pages->setCurrentIndex(0);
        return;
    case TimelineController::Phase::ready: break;
    }
    m_pages->setCurrentIndex(1);
    m_play->setText(timeline.isPlaying() ? QStringLiteral("❚❚") : QStringLiteral("▶"));
    m_play->setToolTip(
        timeline.isPlaying() ? QStringLiteral("Pause · Space") : QStringLiteral("Play · Space"));
    refreshCommit();
}

void TimelineBar::refreshCommit()
{
    const TimelineController& timeline = m_state.timeline();
    if (!timeline.isReady())
        return;
    const Theme& theme = Theme::of(m_state.display().dark());
    m_position->setText(
        QStringLiteral("Commit %1 of %2")
            .arg(Format::grouped(timeline.position() + 1), Format::grouped(timeline.commitCount())));
    const QString present = Format::count(timeline.fileCount(), u"file") + QStringLiteral(" present, ")
        + Format::count(timeline.totalLines(), u"line");
    const Commit* commit = timeline.commit();
    m_counts->setText(!commit
            ? present
            : QStringLiteral("%1 changed, +%2 −%3  ·  ")
                    .arg(Format::count(commit->changedFiles, u"file"), Format::grouped(commit->insertions),
                        Format::grouped(commit->deletions))
                + present);
    if (commit) {
        // The subject takes what room the hash, the date and the author leave.
        const QString date = Format::date(commit->date);
        const QFontMetrics metrics = m_commit->fontMetrics();
        // The line's width less the counts beside it, which are set first and never shrink.
        const int room = m_scrubber->width() - m_counts->sizeHint().width() - 12;
        const int used = metrics.horizontalAdvance(commit->shortHash() + date + commit->author)
            + metrics.horizontalAdvance(QStringLiteral("      ")) + 28;
        const QString subject
            = metrics.elidedText(commit->subject, Qt::ElideRight, std::max(40, room - used));
        m_commit->setText(QStringLiteral(
            "<b>%1</b>&nbsp;&nbsp;<span style='color:%2'>%3</span>&nbsp;&nbsp;%4&nbsp;&nbsp;%5")
                              .arg(commit->shortHash(), cssColor(theme.ink3), date,
                                  commit->author.toHtmlEscaped(), subject.toHtmlEscaped()));
    } else {
        m_commit->setText(QStringLiteral("Before the first commit"));
    }
    m_scrubber->update();
}
