#include "ui/openpanels.h"

#include "model/format.h"
#include "scene/theme.h"

#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace {

constexpr int branchRole = Qt::UserRole + 1;

// A folder's name, and at the right of its row, for a repository, "git" and its branch in the
// accent colour (in the text's colour on the highlight).
class FolderDelegate : public QStyledItemDelegate {
public:
    FolderDelegate(const AppState& state, QObject* parent)
        : QStyledItemDelegate(parent)
        , m_state(state)
    {
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        const QString tag = index.data(branchRole).toString();
        if (tag.isEmpty())
            return;
        const Theme theme = Theme::of(m_state.display().dark());
        const bool selected = option.state & QStyle::State_Selected;
        painter->save();
        painter->setPen(selected ? (theme.dark ? theme.ink : theme.paper) : theme.accent);
        painter->drawText(tagRect(option), Qt::AlignRight | Qt::AlignVCenter,
            option.fontMetrics.elidedText(tag, Qt::ElideMiddle, tagRect(option).width()));
        painter->restore();
    }

protected:
    // The name stops short of the tag.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (index.data(branchRole).toString().isEmpty())
            return;
        const int room = option->rect.width() - tagRect(*option).width() - 24;
        option->text = option->fontMetrics.elidedText(option->text, Qt::ElideMiddle, std::max(room, 40));
    }

private:
    static QRect tagRect(const QStyleOptionViewItem& option)
    {
        return option.rect.adjusted(option.rect.width() - std::min(option.rect.width() / 2, 240), 0, -8, 0);
    }

    const AppState& m_state;
};

QLabel* faintLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setProperty("class", QStringLiteral("faint"));
    return label;
}

} // namespace

FolderPickerPanel::FolderPickerPanel(AppState& state, QWidget* parent)
    : QFrame(parent)
    , m_state(state)
    , m_path(new QLabel(this))
    , m_filter(new QLineEdit(this))
    , m_list(new QListWidget(this))
    , m_empty(faintLabel({}, this))
{
    setObjectName(QStringLiteral("panel"));
    auto* title = new QLabel(QStringLiteral("Open a folder"), this);
    title->setObjectName(QStringLiteral("folderName"));
    m_path->setProperty("class", QStringLiteral("secondary"));
    m_path->setTextInteractionFlags(Qt::NoTextInteraction);
    m_filter->setPlaceholderText(QStringLiteral("Type to narrow the list"));
    m_list->setFocusPolicy(Qt::NoFocus);
    m_list->setItemDelegate(new FolderDelegate(state, m_list));
    m_list->setUniformItemSizes(true);
    m_list->setTextElideMode(Qt::ElideMiddle);
    auto* open = new QPushButton(QStringLiteral("Open"), this);
    open->setObjectName(QStringLiteral("primary"));
    open->setFocusPolicy(Qt::NoFocus);
    open->setToolTip(QStringLiteral("Open the highlighted folder (Ctrl Return)"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(8);
    auto* top = new QHBoxLayout;
    top->addWidget(title, 1);
    top->addWidget(open);
    layout->addLayout(top);
    layout->addWidget(m_path);
    layout->addWidget(m_filter);
    layout->addWidget(m_list);
    layout->addWidget(m_empty);
    layout->addWidget(faintLabel(
        QStringLiteral("↑ ↓ choose · → or Return goes in · ← goes back · Ctrl Return opens · Escape closes"),
        this));
    setFixedWidth(620);

    connect(m_filter, &QLineEdit::textChanged, this,
        [this](const QString& text) { m_state.picker().setFilter(text); });
    connect(m_list, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0)
            m_state.picker().step(row - m_state.picker().index());
    });
    connect(m_list, &QListWidget::itemDoubleClicked, this, [this] { m_state.picker().into(); });
    connect(open, &QPushButton::clicked, this, [this] { m_state.openFromPicker(); });
    connect(&state.picker(), &FolderPicker::changed, this, &FolderPickerPanel::refresh);
}

void FolderPickerPanel::refresh()
{
    const FolderPicker& picker = m_state.picker();
    m_path->setText(Format::path(picker.path()));
    if (m_filter->text() != picker.filter())
        m_filter->setText(picker.filter());
    const QSignalBlocker quiet(m_list);
    const QString listed = picker.path() + u'\0' + picker.filter();
    if (listed != m_listed || m_list->count() != picker.entries().size()) {
        m_listed = listed;
        m_list->clear();
        for (const FolderEntry& entry : picker.entries()) {
            auto* item = new QListWidgetItem(entry.name, m_list);
            item->setToolTip(entry.path);
            if (entry.isGit)
                item->setData(branchRole,
                    entry.branch ? QStringLiteral("git · ") + *entry.branch : QStringLiteral("git"));
        }
    }
    // As tall as its folders, up to a dozen rows; more scroll.
    const int row = m_list->sizeHintForRow(0) > 0 ? m_list->sizeHintForRow(0) : 26;
    m_list->setFixedHeight(row * int(std::clamp<qsizetype>(picker.entries().size(), 1, 12)) + 4);
    m_list->setVisible(!picker.entries().isEmpty());
    m_list->setCurrentRow(picker.index());
    if (picker.index() >= 0)
        m_list->scrollToItem(m_list->currentItem());
    m_empty->setVisible(picker.entries().isEmpty());
    adjustSize();
    if (!picker.filter().isEmpty())
        m_empty->setText(QStringLiteral("No folder here matches “%1”.").arg(picker.filter()));
    else if (!QFileInfo(picker.path()).isReadable())
        m_empty->setText(QStringLiteral("This folder can't be read; ← goes back."));
    else
        m_empty->setText(QStringLiteral("No folders inside. Ctrl Return opens this one; ← goes back."));
}

void FolderPickerPanel::hideEvent(QHideEvent* event)
{
    m_listed.clear(); // the folder may have changed by the next time
    QFrame::hideEvent(event);
}

DownloadPanel::DownloadPanel(AppState& state, QWidget* parent)
    : QFrame(parent)
    , m_state(state)
    , m_text(new QLineEdit(this))
    , m_hint(new QLabel(this))
    , m_phase(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_keys(faintLabel({}, this))
{
    setObjectName(QStringLiteral("panel"));
    auto* title = new QLabel(QStringLiteral("Download a repository"), this);
    title->setObjectName(QStringLiteral("folderName"));
    m_text->setPlaceholderText(QStringLiteral("owner/name, or https://github.com/owner/name"));
    m_hint->setWordWrap(true);
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(6);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(8);
    layout->addWidget(title);
    layout->addWidget(m_text);
    layout->addWidget(m_hint);
    layout->addWidget(m_phase);
    layout->addWidget(m_bar);
    layout->addWidget(m_keys);
    setFixedWidth(560);

    DownloadController& downloads = state.downloads();
    connect(m_text, &QLineEdit::textChanged, this,
        [this](const QString& text) { m_state.downloads().setText(text); });
    connect(&downloads, &DownloadController::textChanged, this, &DownloadPanel::refresh);
    connect(&downloads, &DownloadController::cloningChanged, this, &DownloadPanel::refresh);
    refresh();
}

void DownloadPanel::refresh()
{
    const DownloadController& downloads = m_state.downloads();
    if (m_text->text() != downloads.text())
        m_text->setText(downloads.text());
    const std::optional<CloneProgress>& cloning = downloads.cloning();
    m_text->setReadOnly(cloning.has_value());
    const bool failed = downloads.failure() && !cloning;
    m_hint->setText(failed ? *downloads.failure() : downloads.hint());
    m_hint->setProperty("class", failed ? QString() : QStringLiteral("secondary"));
    m_hint->setStyleSheet(
        failed ? QStringLiteral("color: palette(highlight); font-weight: 600;") : QString());
    m_phase->setVisible(cloning.has_value());
    m_bar->setVisible(cloning.has_value());
    if (cloning) {
        const QString detail = cloning->detail.isEmpty() ? QString() : QStringLiteral("  ") + cloning->detail;
        m_phase->setText(cloning->phase + QStringLiteral("…") + detail);
        m_bar->setRange(0, cloning->fraction ? 1000 : 0);
        m_bar->setValue(cloning->fraction ? int(*cloning->fraction * 1000) : 0);
    }
    m_keys->setText(cloning ? QStringLiteral("Escape cancels the download")
                            : QStringLiteral("Return downloads · Escape closes"));
    adjustSize();
}
