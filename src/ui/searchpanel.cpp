#include "ui/searchpanel.h"

#include "ui/structureviews.h"

#include "model/format.h"
#include "scene/theme.h"
#include "text/fuzzy.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

QString searchSummary(const AppState& state)
{
    const Filters& filters = state.filters();
    const SearchController& search = state.search();
    if (filters.searchText().trimmed().isEmpty())
        return {};
    if (search.textSearching() || (filters.searchInText() && !search.isActive()))
        return QStringLiteral("Searching…");
    const qsizetype found = search.results().size();
    const bool parts = search.inDocument();
    QString line = found == 0
        ? (parts ? QStringLiteral("No part matches") : QStringLiteral("No file matches"))
        : Format::count(found, parts ? u"part" : u"file");
    if (filters.searchInText() && search.textSkipped() > 0)
        line += QStringLiteral(" · %1 skipped").arg(Format::grouped(search.textSkipped()));
    return line;
}

// --- the field ------------------------------------------------------------------------------

SearchBar::SearchBar(AppState& state, KeyRouter& router, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_field(new QLineEdit(this))
    , m_kind(new QPushButton(this))
    , m_status(new QLabel(this))
{
    m_field->setObjectName(QStringLiteral("searchField"));
    m_field->setClearButtonEnabled(true);
    m_field->setMinimumWidth(200);
    m_field->setMaximumWidth(320);
    m_kind->setFocusPolicy(Qt::NoFocus);
    m_kind->setToolTip(QStringLiteral("Search the names or the files' text (Tab in the field)"));
    m_status->setProperty("class", QStringLiteral("secondary"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    row->addWidget(m_kind);
    row->addWidget(m_field, 1);
    row->addWidget(m_status);

    Filters& filters = state.filters();
    connect(m_field, &QLineEdit::textChanged, this,
        [&filters](const QString& text) { filters.setSearchText(text); });
    connect(m_kind, &QPushButton::clicked, this, [&router] { router.perform(Action::searchToggleText); });
    for (const auto signal : { &Filters::searchTextChanged, &Filters::searchInTextChanged })
        connect(&filters, signal, this, &SearchBar::refresh);
    for (const auto signal : { &SearchController::resultsChanged, &SearchController::textSearchingChanged })
        connect(&state.search(), signal, this, &SearchBar::refresh);
    refresh();
}

void SearchBar::refresh()
{
    const Filters& filters = m_state.filters();
    if (m_field->text() != filters.searchText())
        m_field->setText(filters.searchText());
    m_kind->setText(filters.searchInText() ? QStringLiteral("Text") : QStringLiteral("Names"));
    const bool parts = m_state.search().inDocument();
    m_field->setPlaceholderText(filters.searchInText()
            ? (parts ? QStringLiteral("Search the file's text  ( / )")
                     : QStringLiteral("Search the files' text  ( / )"))
            : (parts ? QStringLiteral("Search the parts  ( / )") : QStringLiteral("Search names  ( / )")));
    m_status->setText(searchSummary(m_state));
}

// --- the results ----------------------------------------------------------------------------

SearchResultsModel::SearchResultsModel(const AppState& state, QObject* parent)
    : QAbstractListModel(parent)
    , m_state(state)
{
    connect(&state.search(), &SearchController::resultsChanged, this, [this] {
        beginResetModel();
        const Filters& filters = m_state.filters();
        m_terms = filters.searchInText() ? QStringList() : Fuzzy::terms(filters.searchText());
        endResetModel();
    });
}

const FileNode* SearchResultsModel::node(const QModelIndex& index) const
{
    const QList<const FileNode*>& results = m_state.search().results();
    return index.isValid() && index.row() < results.size() ? results.at(index.row()) : nullptr;
}

int SearchResultsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_state.search().results().size());
}

QVariant SearchResultsModel::data(const QModelIndex& index, int role) const
{
    const FileNode* file = node(index);
    if (!file)
        return {};
    // A part of the file walked into is placed by its role and lines, not by a path.
    const StructureController& structure = m_state.structure();
    const std::optional<qsizetype> part
        = m_state.search().inDocument() && structure.city() ? structure.city()->part(file) : std::nullopt;
    if (part && structure.document() && (role == Qt::ToolTipRole || role == PathRole)) {
        const WebDocument::Node& item = structure.document()->nodes[std::size_t(*part)];
        return QString(roleName(item.role) + QStringLiteral(" · ") + partLines(item));
    }
    switch (role) {
    case Qt::DisplayRole: return file->name;
    case Qt::ToolTipRole: return file->relativePath;
    case PathRole:
        return !file->parent || file->parent->relativePath.isEmpty()
            ? QStringLiteral("/")
            : QString(file->parent->relativePath + u'/');
    case PositionsRole: return QVariant::fromValue(Fuzzy::positions(m_terms, file->name));
    case CountRole: return m_state.search().textHits().value(file, 0);
    default: return {};
    }
}

namespace {

constexpr int resultRow = 38;

// A result on two lines: the name, its matched letters in the accent, and the count on the right;
// under it the folder, faint.
class ResultDelegate : public QStyledItemDelegate {
public:
    ResultDelegate(const AppState& state, QObject* parent)
        : QStyledItemDelegate(parent)
        , m_state(state)
    {
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override
    {
        return { option.rect.width(), resultRow };
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const Theme& theme = Theme::of(m_state.display().dark());
        const bool current = option.state & QStyle::State_Selected;
        const QRect box = option.rect.adjusted(10, 3, -10, -3);
        painter->save();
        if (current)
            painter->fillRect(option.rect, theme.accent);
        const QColor ink = current ? (theme.dark ? theme.ink : theme.paper) : theme.ink;
        const QColor faint = current ? ink : theme.ink3;
        const QFontMetrics metrics(option.font);
        const int line = metrics.height();

        QString count;
        if (const qint64 hits = index.data(SearchResultsModel::CountRole).toLongLong(); hits > 0)
            count = Format::grouped(hits);
        const int countWidth = count.isEmpty() ? 0 : metrics.horizontalAdvance(count) + 8;
        painter->setPen(faint);
        painter->drawText(QRect(box.right() - countWidth, box.top(), countWidth, line),
            Qt::AlignRight | Qt::AlignVCenter, count);

        const QString name = metrics.elidedText(
            index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle, box.width() - countWidth);
        const QList<qsizetype> marked = name.contains(QChar(0x2026))
            ? QList<qsizetype>()
            : index.data(SearchResultsModel::PositionsRole).value<QList<qsizetype>>();
        QFont bold = option.font;
        bold.setBold(true);
        int x = box.left();
        for (qsizetype i = 0; i < name.size(); ++i) {
            const bool hit = marked.contains(i);
            painter->setFont(hit ? bold : option.font);
            painter->setPen(hit && !current ? theme.accent : ink);
            const QString letter = name.mid(i, 1);
            painter->drawText(QPoint(x, box.top() + metrics.ascent()), letter);
            x += QFontMetrics(painter->font()).horizontalAdvance(letter);
        }
        painter->setFont(option.font);
        painter->setPen(faint);
        const QString place = index.data(SearchResultsModel::PathRole).toString();
        painter->drawText(QRect(box.left(), box.top() + line, box.width(), line),
            Qt::AlignLeft | Qt::AlignVCenter, metrics.elidedText(place, Qt::ElideLeft, box.width()));
        painter->restore();
    }

private:
    const AppState& m_state;
};

} // namespace

SearchResultsView::SearchResultsView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_model(new SearchResultsModel(state, this))
    , m_heading(new QLabel(this))
    , m_list(new QListView(this))
{
    setObjectName(QStringLiteral("rail"));
    setAttribute(Qt::WA_StyledBackground);
    m_heading->setProperty("class", QStringLiteral("secondary"));
    m_list->setModel(m_model);
    m_list->setItemDelegate(new ResultDelegate(state, m_list));
    m_list->setUniformItemSizes(true);
    m_list->setFocusPolicy(Qt::ClickFocus);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setFrameShape(QFrame::NoFrame);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 8, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_heading);
    layout->addWidget(m_list, 1);
    m_heading->setContentsMargins(10, 0, 10, 0);

    const SearchController& search = state.search();
    connect(&search, &SearchController::resultsChanged, this, &SearchResultsView::refresh);
    connect(&search, &SearchController::textSearchingChanged, this, &SearchResultsView::refresh);
    connect(&search, &SearchController::searchIndexChanged, this, &SearchResultsView::followIndex);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this,
        [this](const QModelIndex& index) {
            if (m_syncing || !index.isValid())
                return;
            SearchController& search = m_state.search();
            if (search.choose(index.row()))
                m_state.select(search.current());
        });
    refresh();
}

void SearchResultsView::refresh()
{
    m_heading->setText(searchSummary(m_state));
    followIndex();
}

void SearchResultsView::followIndex()
{
    m_syncing = true;
    const int row = m_state.search().searchIndex();
    if (row >= 0) {
        m_list->setCurrentIndex(m_model->index(row));
        m_list->scrollTo(m_model->index(row));
    } else {
        m_list->selectionModel()->clearCurrentIndex();
        m_list->clearSelection();
    }
    m_syncing = false;
}

// --- the filters chip -----------------------------------------------------------------------

FiltersChip::FiltersChip(AppState& state, KeyRouter& router, QWidget* parent)
    : QPushButton(parent)
    , m_state(state)
{
    setFocusPolicy(Qt::NoFocus);
    setCheckable(true);
    setChecked(true); // drawn in the accent: something is hidden
    connect(this, &QPushButton::clicked, this, [this, &router] {
        router.perform(Action::clearFilters);
        setChecked(true);
    });
    connect(&state.filters(), &Filters::filtersChanged, this, &FiltersChip::refresh);
    refresh();
}

void FiltersChip::refresh()
{
    const Filters& filters = m_state.filters();
    QStringList active;
    if (!filters.searchText().isEmpty())
        active << QStringLiteral("search \u201c%1\u201d").arg(filters.searchText());
    if (!filters.isolated().isEmpty())
        active << QStringLiteral("only %1").arg(Format::count(filters.isolated().size(), u"path"));
    if (filters.minChanges() > 0)
        active << Format::count(filters.minChanges(), u"commit") + QStringLiteral(" or more");
    setVisible(!active.isEmpty());
    setText(QStringLiteral("Filters: %1  ✕").arg(active.size()));
    setToolTip(active.join(QStringLiteral(", ")) + QStringLiteral(". Click or press k to clear them."));
}
