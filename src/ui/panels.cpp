#include "ui/panels.h"

#include "model/format.h"
#include "state/keyrouter.h"
#include "ui/importspanel.h"
#include "ui/style.h"

#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QVBoxLayout>

// --- message --------------------------------------------------------------------------------

MessageBanner::MessageBanner(AppState& state, QWidget* parent)
    : QFrame(parent)
    , m_text(new QLabel(this))
{
    setObjectName(QStringLiteral("banner"));
    m_text->setWordWrap(true);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* close = new QPushButton(QStringLiteral("✕"), this);
    close->setToolTip(QStringLiteral("Dismiss (Escape)"));
    close->setFocusPolicy(Qt::NoFocus);
    connect(close, &QPushButton::clicked, this, [&state] { state.setErrorMessage(std::nullopt); });
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(14, 8, 8, 8);
    layout->addWidget(m_text, 1);
    layout->addWidget(close);
    const auto refresh = [this, &state] {
        m_text->setText(state.errorMessage().value_or(QString()));
        setVisible(state.errorMessage().has_value());
        adjustSize();
    };
    connect(&state, &AppState::errorMessageChanged, this, refresh);
    refresh();
}

// --- progress -------------------------------------------------------------------------------

ProgressPanel::ProgressPanel(AppState& state, QWidget* parent)
    : QFrame(parent)
    , m_state(state)
    , m_phase(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_count(new QLabel(this))
{
    setObjectName(QStringLiteral("panel"));
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(6);
    m_count->setProperty("class", QStringLiteral("faint"));
    auto* hint = new QLabel(QStringLiteral("Escape cancels"), this);
    hint->setProperty("class", QStringLiteral("faint"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->addWidget(m_phase);
    layout->addWidget(m_bar);
    auto* row = new QHBoxLayout;
    row->addWidget(m_count);
    row->addStretch();
    row->addWidget(hint);
    layout->addLayout(row);
    setFixedWidth(360);
    m_later.setSingleShot(true);
    connect(&m_later, &QTimer::timeout, this, &ProgressPanel::refresh);
    connect(&state.scan(), &ScanController::scanningChanged, this, &ProgressPanel::refresh);
    connect(&state.scan(), &ScanController::progressChanged, this, &ProgressPanel::refresh);
    connect(&state.imports(), &DependencyController::progressChanged, this, &ProgressPanel::refresh);
    // A file being walked into shows its reading only once it takes long enough to notice.
    m_walkDelay.setSingleShot(true);
    m_walkDelay.setInterval(walkDelayMs);
    connect(&m_walkDelay, &QTimer::timeout, this, &ProgressPanel::refresh);
    connect(&state.structure(), &StructureController::structureChanged, this, [this] {
        if (walkingIn() && !m_walkDelay.isActive() && !isVisible())
            m_walkDelay.start();
        refresh();
    });
    refresh();
}

bool ProgressPanel::walkingIn() const
{
    const StructureController& structure = m_state.structure();
    return structure.cityShown() && structure.isReading();
}

void ProgressPanel::refresh()
{
    // A scan comes first: the imports are read from the tree it brings.
    const std::optional<ScanProgress>& scan = m_state.scan().scanning();
    const std::optional<DependencyProgress>& imports = m_state.imports().progress();
    const bool reading = walkingIn() && !m_walkDelay.isActive();
    setVisible(scan || imports || reading);
    if (!scan && !imports) {
        if (reading) {
            m_phase->setText(QStringLiteral("Reading ") + QFileInfo(*m_state.structure().path()).fileName()
                + QStringLiteral("…"));
            m_bar->setRange(0, 0);
            m_count->clear();
        }
        return;
    }
    const QString phase = scan ? scan->phase : imports->phase;
    // Each repaint composes the whole window again, which on a software renderer takes a core's
    // share from the work being shown: the bar moves four times a second, a new phase at once.
    const QString shownPhase = phase + QStringLiteral("…");
    if (shownPhase == m_phase->text() && m_sinceShown.isValid() && m_sinceShown.elapsed() < repaintMs) {
        if (!m_later.isActive())
            m_later.start(repaintMs - int(m_sinceShown.elapsed()));
        return;
    }
    m_later.stop();
    m_sinceShown.start();
    const qint64 done = scan ? scan->done : imports->done;
    const qint64 total = scan ? scan->total : imports->total;
    m_phase->setText(shownPhase);
    if (total > 0) {
        m_bar->setRange(0, 1000);
        m_bar->setValue(int(1000 * std::min(done, total) / total));
        m_count->setText(Format::grouped(done) + QStringLiteral(" of ") + Format::grouped(total));
    } else {
        m_bar->setRange(0, 0); // no end known yet: a busy bar
        m_count->setText(done > 0 ? Format::grouped(done) : QString());
    }
}

// --- key sheet ------------------------------------------------------------------------------

KeySheet::KeySheet(QWidget* parent)
    : QFrame(parent)
{
    setObjectName(QStringLiteral("panel"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(24, 18, 24, 18);
    grid->setHorizontalSpacing(18);
    grid->setVerticalSpacing(5);
    auto* title = new QLabel(QStringLiteral("Keys"), this);
    title->setObjectName(QStringLiteral("folderName"));
    grid->addWidget(title, 0, 0, 1, 4);
    // Two columns of keys, so that the sheet fits a small window.
    const QList<QPair<QString, QString>> rows = KeyRouter::sceneKeys();
    const qsizetype perColumn = (rows.size() + 1) / 2;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const int row = 1 + int(i % perColumn);
        const int column = 2 * int(i / perColumn);
        auto* key = new QLabel(rows[i].first, this);
        key->setStyleSheet(QStringLiteral("font-weight: 600; font-family: monospace;"));
        grid->addWidget(key, row, column, Qt::AlignRight);
        grid->addWidget(new QLabel(rows[i].second, this), row, column + 1);
    }
    grid->setColumnMinimumWidth(2, 160);
    auto* hint = new QLabel(QStringLiteral("Escape or ? closes this sheet"), this);
    hint->setProperty("class", QStringLiteral("faint"));
    grid->addWidget(hint, 1 + int(perColumn), 0, 1, 4);
}

// --- legend ---------------------------------------------------------------------------------

namespace {

constexpr int legendRow = 18;
constexpr int legendCount = 56; // the width of the count column
constexpr int legendGap = 8; // between the counts and the colour keys

} // namespace

Legend::Legend(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
}

void Legend::setEntries(const QList<LegendEntry>& entries, const QList<LegendFact>& facts, const Theme& theme,
    const QString& note, const QString& counted)
{
    m_entries.clear();
    m_ranks.clear();
    for (const LegendEntry& entry : note.isEmpty() ? entries : QList<LegendEntry> {})
        (entry.low.isEmpty() ? m_entries : m_ranks).append(entry);
    m_facts = facts;
    m_note = note;
    m_counted = counted;
    m_theme = theme;
    fit();
}

qsizetype Legend::listedCount() const
{
    if (!folds())
        return m_entries.size();
    return std::min(m_entries.size(), m_unfolded ? unfoldedMost : foldedCount);
}

QRect Legend::foldRow() const
{
    return folds() && m_foldTop >= 0 ? QRect(0, m_foldTop, width(), legendRow) : QRect();
}

void Legend::fit()
{
    // The style sheet's font, not the default one, measures the labels.
    ensurePolished();
    const QFontMetrics metrics = fontMetrics();
    const qsizetype listed = listedCount();
    const bool keyed = listed > 0 || !m_ranks.isEmpty();
    const int keys = !m_note.isEmpty()
        ? 1
        : int(listed) + (folds() ? 1 : 0) + (m_ranks.isEmpty() ? 0 : 2) + (keyed ? 1 : 0);
    const int rows = keys + int(m_facts.size());
    int labelWidth = std::max(80, metrics.horizontalAdvance(m_note) - legendCount);
    for (qsizetype i = 0; i < listed; ++i)
        labelWidth = std::max(labelWidth, metrics.horizontalAdvance(m_entries[i].label));
    if (!m_ranks.isEmpty())
        labelWidth = std::max(labelWidth,
            metrics.horizontalAdvance(m_ranks.front().low) + metrics.horizontalAdvance(m_ranks.back().high)
                + 24);
    for (const LegendFact& fact : m_facts)
        labelWidth = std::max(labelWidth, metrics.horizontalAdvance(fact.first) - 18);
    m_labelWidth = std::min(labelWidth, 300);
    const int gap = m_facts.isEmpty() || keys == 0 ? 0 : legendGap;
    setFixedSize(28 + m_labelWidth + 12 + legendCount + 10, rows * legendRow + gap + 12);
    setVisible(keys > 0 || !m_facts.isEmpty());
    update();
}

void Legend::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !foldRow().contains(event->position().toPoint())) {
        event->ignore();
        return;
    }
    m_unfolded = !m_unfolded;
    fit();
    emit resized();
}

void Legend::mouseMoveEvent(QMouseEvent* event)
{
    setCursor(foldRow().contains(event->position().toPoint()) ? Qt::PointingHandCursor : Qt::ArrowCursor);
    event->ignore();
}

void Legend::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor back = m_theme.paper;
    back.setAlphaF(0.82f);
    painter.setPen(Qt::NoPen);
    painter.setBrush(back);
    painter.drawRoundedRect(rect(), 6, 6);
    int y = 6;
    const auto text = [&](const QRect& box, const QString& words, const QColor& ink, Qt::Alignment align) {
        painter.setPen(ink);
        painter.drawText(box, int(align | Qt::AlignVCenter), words);
    };
    const QRect countColumn(width() - legendCount - 10, 0, legendCount, legendRow);
    const auto count = [&](qint64 value) {
        text(countColumn.translated(0, y), Format::grouped(value), m_theme.ink3, Qt::AlignRight);
    };
    for (const LegendFact& fact : m_facts) {
        text(QRect(10, y, m_labelWidth + 18, legendRow), fact.first, m_theme.ink2, Qt::AlignLeft);
        count(fact.second);
        y += legendRow;
    }
    if (!m_facts.isEmpty() && (!m_entries.isEmpty() || !m_ranks.isEmpty() || !m_note.isEmpty())) {
        painter.setPen(m_theme.rule);
        painter.drawLine(10, y + legendGap / 2, width() - 10, y + legendGap / 2);
        y += legendGap;
    }
    if (!m_note.isEmpty()) {
        text(QRect(10, y, width() - 20, legendRow), m_note, m_theme.ink3, Qt::AlignLeft);
        return;
    }
    if (m_entries.isEmpty() && m_ranks.isEmpty())
        return;
    text(countColumn.translated(-40, y).adjusted(0, 0, 40, 0), m_counted, m_theme.ink3, Qt::AlignRight);
    y += legendRow;
    const qsizetype listed = listedCount();
    qint64 rest = 0;
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        const LegendEntry& entry = m_entries[i];
        if (i >= listed) {
            rest += entry.count;
            continue;
        }
        painter.setPen(Qt::NoPen);
        painter.setBrush(entry.color);
        painter.drawRoundedRect(QRectF(10, y + 4, 10, 10), 2, 2);
        const QString label = fontMetrics().elidedText(entry.label, Qt::ElideRight, m_labelWidth);
        text(QRect(28, y, m_labelWidth, legendRow), label, m_theme.ink2, Qt::AlignLeft);
        count(entry.count);
        y += legendRow;
    }
    m_foldTop = -1;
    if (folds()) {
        // "N more" opens the rest; "fewer" folds them, saying how many stay out of a long list.
        m_foldTop = y;
        const qsizetype left = m_entries.size() - listed;
        const QString words = !m_unfolded ? QStringLiteral("%1 more").arg(left)
            : left > 0                    ? QStringLiteral("fewer (%1 not listed)").arg(left)
                                          : QStringLiteral("fewer");
        text(QRect(28, y, m_labelWidth, legendRow), words, m_theme.accent, Qt::AlignLeft);
        if (rest > 0)
            count(rest);
        y += legendRow;
    }
    if (m_ranks.isEmpty())
        return;
    // The ranks side by side, each as wide as the buildings it colours, with the range's two ends
    // under the bar's two ends.
    qint64 ranked = 0;
    for (const LegendEntry& rank : m_ranks)
        ranked += rank.count;
    const double left = 10, right = 28 + m_labelWidth;
    double x = left;
    painter.setPen(Qt::NoPen);
    for (const LegendEntry& rank : m_ranks) {
        const double w = (right - left) * double(rank.count) / double(std::max<qint64>(ranked, 1));
        painter.setBrush(rank.color);
        painter.drawRect(QRectF(x, y + 4, w + 0.5, 10));
        x += w;
    }
    // A pale end stays visible against a pale panel.
    painter.setPen(m_theme.rule);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(QRectF(left, y + 4, right - left, 10));
    count(ranked);
    y += legendRow;
    text(QRect(10, y, m_labelWidth, legendRow), m_ranks.front().low, m_theme.ink2, Qt::AlignLeft);
    text(QRect(10, y, int(right) - 10, legendRow), m_ranks.back().high, m_theme.ink2, Qt::AlignRight);
}

// --- language bar ---------------------------------------------------------------------------

LanguageBar::LanguageBar(QWidget* parent)
    : QWidget(parent)
{
    setFixedHeight(10);
}

void LanguageBar::setShares(const QList<LanguageShare>& shares, bool dark)
{
    m_shares = shares;
    std::stable_sort(m_shares.begin(), m_shares.end(),
        [](const LanguageShare& a, const LanguageShare& b) { return a.lines > b.lines; });
    m_dark = dark;
    update();
}

void LanguageBar::paintEvent(QPaintEvent*)
{
    qint64 total = 0;
    for (const LanguageShare& share : m_shares)
        total += share.lines;
    if (total <= 0)
        return;
    QPainter painter(this);
    double x = 0;
    for (const LanguageShare& share : m_shares) {
        const double w = double(width()) * double(share.lines) / double(total);
        painter.fillRect(QRectF(x, 0, w, height()),
            QColor(QRgb(m_dark ? share.language->darkColor : share.language->lightColor)));
        x += w;
    }
}

// --- drawer ---------------------------------------------------------------------------------

Drawer::Drawer(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_title(new QLabel(this))
    , m_path(new QLabel(this))
    , m_details(new QLabel(this))
    , m_bar(new LanguageBar(this))
    , m_languages(new QLabel(this))
    , m_standouts(new QLabel(this))
    , m_commits(new QLabel(this))
    , m_isolate(new QPushButton(this))
    , m_showAll(new QPushButton(QStringLiteral("Show everything"), this))
    , m_changes(new QWidget(this))
    , m_minChanges(new QSpinBox(m_changes))
{
    setObjectName(QStringLiteral("drawer"));
    setAttribute(Qt::WA_StyledBackground);
    m_title->setObjectName(QStringLiteral("folderName"));
    m_title->setWordWrap(true);
    m_path->setWordWrap(true);
    m_path->setProperty("class", QStringLiteral("secondary"));
    // Rows of a table do not wrap: a wrapping rich-text label is measured a line short.
    for (QLabel* label : { m_path, m_details, m_languages, m_commits }) {
        label->setTextFormat(label == m_path ? Qt::PlainText : Qt::RichText);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    // Long lists of imports scroll; the drawer keeps its width.
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);
    auto* content = new QWidget(scroll);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);
    // Narrowing the view: to the selection alone, or to files changed often enough.
    auto* narrowing = new QWidget(content);
    auto* buttons = new QHBoxLayout(narrowing);
    buttons->setContentsMargins(0, 0, 0, 0);
    for (QPushButton* button : { m_isolate, m_showAll }) {
        button->setFocusPolicy(Qt::NoFocus);
        buttons->addWidget(button);
    }
    buttons->addStretch();
    Filters& filters = state.filters();
    connect(m_isolate, &QPushButton::clicked, this, [this, &filters] {
        if (const FileNode* node = m_state.selection())
            filters.toggleIsolation(node->relativePath);
    });
    connect(m_showAll, &QPushButton::clicked, this, [&filters] { filters.clearIsolation(); });
    auto* changesRow = new QGridLayout(m_changes);
    changesRow->setContentsMargins(0, 0, 0, 0);
    changesRow->setVerticalSpacing(4);
    auto* changesLabel = new QLabel(QStringLiteral("Dim files with fewer commits"), m_changes);
    changesLabel->setProperty("class", QStringLiteral("secondary"));
    changesRow->addWidget(changesLabel, 0, 0, 1, 2);
    changesRow->addWidget(m_minChanges, 1, 0);
    changesRow->setColumnStretch(1, 1);
    m_minChanges->setFocusPolicy(Qt::ClickFocus);
    m_minChanges->setPrefix(QStringLiteral("at least "));
    m_minChanges->setSuffix(QStringLiteral(" commits"));
    m_minChanges->setSpecialValueText(QStringLiteral("off"));
    connect(
        m_minChanges, &QSpinBox::valueChanged, this, [&filters](int value) { filters.setMinChanges(value); });
    for (QWidget* part : std::initializer_list<QWidget*> { m_title, m_path, m_details, narrowing, m_changes,
             m_bar, m_languages, m_standouts, m_commits, new ImportsPanel(state, content) })
        layout->addWidget(part);
    layout->addStretch();
    scroll->setWidget(content);
    // The drawer's own background shows through.
    content->setAutoFillBackground(false);
    scroll->viewport()->setAutoFillBackground(false);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);
    m_standouts->setTextFormat(Qt::RichText);
    m_standouts->setTextInteractionFlags(Qt::LinksAccessibleByMouse);
    connect(m_standouts, &QLabel::linkActivated, this, [this](const QString& path) {
        if (const FileNode* root = m_state.root(); root && root->find(path))
            m_state.select(root->find(path), true, false);
    });
    for (const auto signal : { &AppState::selectionChanged, &AppState::viewRootChanged })
        connect(&state, signal, this, &Drawer::refresh);
    connect(&state.panels(), &Panels::drawerWidthChanged, this, &Drawer::refresh);
    connect(&state.scan(), &ScanController::readingHistoryChanged, this, &Drawer::refresh);
    connect(&state.recentCommits(), &CommitsController::commitsChanged, this, &Drawer::refresh);
    connect(&state.display(), &DisplaySettings::darkChanged, this, &Drawer::refresh);
    connect(&state.display(), &DisplaySettings::modeChanged, this, &Drawer::refresh);
    connect(&state.display(), &DisplaySettings::colorModeChanged, this, &Drawer::refreshFilters);
    connect(&state.filters(), &Filters::filtersChanged, this, &Drawer::refreshFilters);
    connect(&state.timeline(), &TimelineController::moved, this, [this] {
        if (m_state.display().mode() == VisualizationMode::history)
            refresh();
    });
}

void Drawer::fileRows(const FileNode& node, const Row& row) const
{
    if (node.isDirectory) {
        row(QStringLiteral("Files"), Format::grouped(node.fileCount));
        row(QStringLiteral("Lines"), Format::grouped(node.lines));
        row(QStringLiteral("Size"), Format::bytes(node.size));
    } else {
        row(QStringLiteral("Language"), node.language ? node.language->name : QString());
        row(QStringLiteral("Lines"), node.isBinary ? QStringLiteral("binary") : Format::grouped(node.lines));
        row(QStringLiteral("Size"), Format::bytes(node.size));
    }
    // In a repository a file's age is its last commit, not when its checkout was written.
    if (node.modified && !m_state.isGit())
        row(QStringLiteral("Modified"), Format::date(*node.modified));
    if (m_state.isGit() && m_state.scan().readingHistory()) {
        row(QStringLiteral("Commits"), QStringLiteral("reading history…"));
    } else if (m_state.isGit()) {
        // The count is of the history read; a file it never met is not a file without commits.
        const bool older = !node.lastCommit && node.gitStatus != GitFileStatus::untracked
            && node.gitStatus != GitFileStatus::added;
        row(QStringLiteral("Commits"),
            Format::grouped(node.commits) + (older ? QStringLiteral(" in the history read") : QString()));
        // git's own word on the newest commit, once it has given it, with its subject.
        const CommitsController& recent = m_state.recentCommits();
        if (recent.holds(node.relativePath) && !recent.commits().isEmpty()) {
            const Commit& last = recent.commits().front();
            row(QStringLiteral("Last commit"),
                last.shortHash() + QStringLiteral(" · ") + Format::date(last.date));
            row(QString(),
                fontMetrics().elidedText(
                    last.subject, Qt::ElideRight, int(m_state.panels().drawerWidth()) - 140));
        } else if (node.lastCommit)
            row(QStringLiteral("Last commit"), Format::date(*node.lastCommit));
        else if (older)
            row(QStringLiteral("Last commit"), QStringLiteral("older than the history read"));
        if (!node.isDirectory)
            row(QStringLiteral("Status"),
                node.gitStatus ? gitFileStatusName(*node.gitStatus) : QStringLiteral("clean"));
        else if (node.changedCount > 0)
            row(QStringLiteral("Changed"), Format::count(node.changedCount, u"file"));
    }
}

// A file or folder at the history's playhead.
void Drawer::historyRows(const FileNode& node, const Row& row) const
{
    const TimelineController& timeline = m_state.timeline();
    if (node.isDirectory) {
        row(QStringLiteral("Files now"), Format::grouped(node.fileCount));
        row(QStringLiteral("Lines now"), Format::grouped(node.lines));
        return;
    }
    row(QStringLiteral("Language"), node.language ? node.language->name : QString());
    const std::optional<qint64> lines = timeline.lines(node);
    row(QStringLiteral("Lines now"),
        lines ? Format::grouped(*lines) : QStringLiteral("not there at this commit"));
    if (const auto commits = timeline.commits(node))
        row(QStringLiteral("Commits"),
            QStringLiteral("%1 so far of %2")
                .arg(Format::grouped(commits->soFar), Format::grouped(commits->total)));
    if (const Commit* last = timeline.lastChange(node)) {
        row(QStringLiteral("Last change"),
            last->shortHash() + QStringLiteral(" · ") + Format::date(last->date));
        row(QString(),
            fontMetrics().elidedText(
                last->subject, Qt::ElideRight, int(m_state.panels().drawerWidth()) - 140));
    }
}

void Drawer::refreshFilters()
{
    const Filters& filters = m_state.filters();
    const FileNode* selection = m_state.selection();
    const bool isolated = selection && filters.isolated().contains(selection->relativePath);
    m_isolate->setText(
        isolated ? QStringLiteral("Stop showing only this") : QStringLiteral("Show only this"));
    m_isolate->setVisible(
        selection && selection->parent && m_state.display().mode() != VisualizationMode::history);
    m_showAll->setVisible(!filters.isolated().isEmpty());
    const bool churn = m_state.isGit() && m_state.display().colorMode() == ColorMode::churn;
    m_changes->setVisible(churn || filters.minChanges() > 0);
    if (m_changes->isHidden())
        return; // the ceiling walks the whole tree: only worth it when the control shows
    const QSignalBlocker quiet(m_minChanges);
    m_minChanges->setRange(
        0, int(std::clamp<qint64>(filters.changeCeiling(), filters.minChanges(), 1 << 20)));
    m_minChanges->setValue(filters.minChanges());
}

void Drawer::refresh()
{
    refreshFilters();
    const FileNode* node = m_state.selection() ? m_state.selection() : m_state.viewRoot();
    if (!node) {
        m_title->clear();
        m_path->clear();
        m_details->clear();
        m_languages->clear();
        m_bar->setShares({}, m_state.display().dark());
        return;
    }
    const Theme& theme = Theme::of(m_state.display().dark());
    QString rows;
    const auto row = [&](const QString& label, const QString& value) {
        rows += QStringLiteral("<tr><td style='color:%1; padding-right:12px'>%2</td><td>%3</td></tr>")
                    .arg(cssColor(theme.ink3), label, value.toHtmlEscaped());
    };
    m_path->setText(node->relativePath.isEmpty() ? node->url : node->relativePath);
    const TimelineController& timeline = m_state.timeline();
    if (m_state.display().mode() == VisualizationMode::history && AppState::isUnder(node, timeline.root())) {
        historyRows(*node, row);
    } else {
        fileRows(*node, row);
    }
    m_title->setText(node->name);
    m_details->setText(QStringLiteral("<table>") + rows + QStringLiteral("</table>"));

    const QList<LanguageShare> shares
        = node->isDirectory ? node->languageBreakdown() : QList<LanguageShare> {};
    m_bar->setVisible(!shares.isEmpty());
    m_bar->setShares(shares, m_state.display().dark());
    // The wide drawer lists every language, and a folder's files that stand out.
    const bool wide = m_state.panels().drawerWidth() >= Panels::wideDrawerWidth;
    const bool history = m_state.display().mode() == VisualizationMode::history;
    m_links.clear();
    m_standouts->setText(wide && node->isDirectory && !history ? standouts(*node, &m_links) : QString());
    m_standouts->setVisible(!m_standouts->text().isEmpty());
    m_commits->setText(wide && !history && m_state.isGit() ? recentCommits(*node) : QString());
    m_commits->setVisible(!m_commits->text().isEmpty());
    QString list;
    for (qsizetype i = 0; i < (wide ? shares.size() : std::min<qsizetype>(shares.size(), 8)); ++i) {
        const LanguageShare& share = shares[i];
        const QColor swatch(
            QRgb(m_state.display().dark() ? share.language->darkColor : share.language->lightColor));
        list += QStringLiteral("<span style='color:%1'>■</span> %2 <span style='color:%3'>%4 · %5</span><br>")
                    .arg(cssColor(swatch), share.language->name.toHtmlEscaped(), cssColor(theme.ink3),
                        Format::count(share.files, u"file"), Format::count(share.lines, u"line"));
    }
    m_languages->setText(list);
}

QString Drawer::recentCommits(const FileNode& node) const
{
    const CommitsController& recent = m_state.recentCommits();
    const Theme& theme = Theme::of(m_state.display().dark());
    QString html = QStringLiteral("<b>Recent commits</b><br>");
    if (!recent.holds(node.relativePath))
        return recent.isReading() ? html
                + QStringLiteral("<span style='color:%1'>reading commits…</span>").arg(cssColor(theme.ink3))
                                  : QString();
    if (recent.commits().isEmpty())
        return html + QStringLiteral("<span style='color:%1'>none</span>").arg(cssColor(theme.ink3));
    // Hash and date in the faint ink, then the subject, each on one line.
    const int room = int(m_state.panels().drawerWidth()) - 40;
    for (const Commit& commit : recent.commits()) {
        const QString lead = commit.shortHash() + QStringLiteral("  ") + Format::date(commit.date).left(10)
            + QStringLiteral("  ");
        const QString subject = fontMetrics().elidedText(
            commit.subject, Qt::ElideRight, room - fontMetrics().horizontalAdvance(lead));
        html += QStringLiteral("<span style='color:%1'>%2</span>%3<br>")
                    .arg(cssColor(theme.ink3), lead.toHtmlEscaped().replace(u' ', QStringLiteral("&nbsp;")),
                        subject.toHtmlEscaped());
    }
    return html;
}

QString Drawer::standouts(const FileNode& folder, QStringList* links) const
{
    std::vector<const FileNode*> files;
    folder.forEach([&](const FileNode& file) {
        if (!file.isDirectory)
            files.push_back(&file);
    });
    const Theme& theme = Theme::of(m_state.display().dark());
    const QString faint = cssColor(theme.ink3);
    constexpr std::size_t shown = 10;
    // The files first by a measure, the largest first, with that measure beside each.
    const auto section = [&](const QString& title, const auto& measure, const auto& words) -> QString {
        std::vector<const FileNode*> ranked = files;
        const std::size_t count = std::min(shown, ranked.size());
        std::partial_sort(ranked.begin(), ranked.begin() + std::ptrdiff_t(count), ranked.end(),
            [&](const FileNode* a, const FileNode* b) { return measure(*a) > measure(*b); });
        QString html = QStringLiteral("<p style='margin-top:6px'><b>%1</b><br>").arg(title);
        for (std::size_t i = 0; i < count && measure(*ranked[i]) > 0; ++i) {
            const FileNode& file = *ranked[i];
            links->append(file.relativePath);
            html += QStringLiteral("<a href='%1' style='color:%2; text-decoration:none'>%3</a> "
                                   "<span style='color:%4'>%5</span><br>")
                        .arg(file.relativePath.toHtmlEscaped(), cssColor(theme.ink),
                            file.name.toHtmlEscaped(), faint, words(file));
        }
        return html + QStringLiteral("</p>");
    };
    QString html = section(
        QStringLiteral("Largest files"), [](const FileNode& f) { return f.lines; },
        [](const FileNode& f) { return Format::count(f.lines, u"line"); });
    if (m_state.isGit() && !m_state.scan().readingHistory())
        html += section(
            QStringLiteral("Most changed files"), [](const FileNode& f) { return f.commits; },
            [](const FileNode& f) { return Format::count(f.commits, u"commit"); });
    return html;
}
