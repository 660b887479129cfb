#include "ui/structurepanel.h"

#include "model/format.h"
#include "ui/structureviews.h"
#include "ui/textpreview.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int idRole = Qt::UserRole;

// A role in words: "function", "script block", "class".
QString roleWords(WebRole role)
{
    if (role == WebRole::klass)
        return QStringLiteral("class");
    QString words;
    for (const QChar c : roleName(role))
        words += c.isUpper() ? u' ' + QString(c.toLower()) : QString(c);
    return words;
}

} // namespace

StructurePanel::StructurePanel(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_title(new QLabel(this))
    , m_program(new QLabel(this))
    , m_note(new QLabel(this))
    , m_views(new QStackedWidget(this))
    , m_outline(new QTreeWidget(this))
    , m_sourceTitle(new QLabel(this))
    , m_source(new TextPreview(this))
{
    setObjectName(QStringLiteral("drawer"));
    setAttribute(Qt::WA_StyledBackground);
    m_title->setObjectName(QStringLiteral("folderName"));
    m_title->setTextInteractionFlags(Qt::NoTextInteraction);
    m_program->setProperty("class", QStringLiteral("secondary"));
    m_note->setProperty("class", QStringLiteral("faint"));
    m_note->setWordWrap(true);
    m_outline->setColumnCount(3);
    m_outline->setHeaderHidden(true);
    m_outline->setFocusPolicy(Qt::NoFocus);
    m_outline->setUniformRowHeights(true);
    m_outline->setTextElideMode(Qt::ElideMiddle);
    m_outline->header()->setStretchLastSection(false);
    m_outline->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_outline->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_outline->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    m_sourceTitle->setProperty("class", QStringLiteral("faint"));
    m_source->setFocusPolicy(Qt::ClickFocus);
    m_source->setTheme(Theme::of(state.display().dark()));
    connect(&state.display(), &DisplaySettings::darkChanged, this,
        [this] { m_source->setTheme(Theme::of(m_state.display().dark())); });
    auto* keys
        = new QLabel(QStringLiteral("↑ ↓ parts · → ← open, close · g next view · Escape closes"), this);
    keys->setProperty("class", QStringLiteral("faint"));
    keys->setWordWrap(true);
    auto* tabs = new QHBoxLayout;
    tabs->setSpacing(4);
    for (const StructureTab tab : structureTabs) {
        QString title = modeName(tab);
        title[0] = title[0].toUpper();
        auto* button = new QPushButton(title, this);
        button->setCheckable(true);
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QPushButton::clicked, this, [this, tab] { m_state.panels().setStructureTab(tab); });
        m_tabs.append(button);
        tabs->addWidget(button);
    }
    tabs->addStretch(1);
    m_views->addWidget(m_outline);
    m_views->addWidget(new StructureTreemap(state, m_views));
    m_views->addWidget(new StructureFlow(state, m_views));
    m_views->addWidget(new StructureLinks(state, m_views));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(6);
    layout->addWidget(m_title);
    layout->addWidget(m_program);
    layout->addWidget(m_note);
    layout->addLayout(tabs);
    layout->addWidget(m_views, 3);
    layout->addWidget(m_sourceTitle);
    layout->addWidget(m_source, 2);
    layout->addWidget(keys);
    setFixedWidth(420);

    connect(m_outline, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        if (!m_syncing && item)
            m_state.structure().setFocus(item->data(0, idRole).toLongLong());
    });
    connect(m_outline, &QTreeWidget::itemPressed, this, [this] { claimArrows(true); });
    connect(&state.search(), &SearchController::resultsChanged, this, &StructurePanel::applySearch);
    connect(&state.structure(), &StructureController::structureChanged, this, &StructurePanel::rebuild);
    connect(&state.structure(), &StructureController::focusChanged, this, &StructurePanel::followFocus);
    connect(&state.panels(), &Panels::structureTabChanged, this, &StructurePanel::followTab);
    followTab();
    rebuild();
}

StructurePanel::~StructurePanel()
{
    m_state.panels().setOutlineKeys(std::nullopt);
}

void StructurePanel::followTab()
{
    const StructureTab shown = m_state.panels().structureTab();
    for (qsizetype i = 0; i < m_tabs.size(); ++i)
        m_tabs[i]->setChecked(structureTabs[std::size_t(i)] == shown);
    m_views->setCurrentIndex(
        int(std::find(structureTabs.begin(), structureTabs.end(), shown) - structureTabs.begin()));
}

QTreeWidgetItem* StructurePanel::itemOf(qsizetype id) const
{
    return m_items.value(id);
}

void StructurePanel::rebuild()
{
    const StructureController& structure = m_state.structure();
    // Walking in and out of the file's city, or hiding the panel, leaves its outline as it is.
    if (structure.document() && structure.document() == m_listed) {
        claimArrows(!structure.cityShown());
        return;
    }
    m_listed = structure.document();
    m_outline->clear();
    m_items.clear();
    m_state.panels().setOutlineKeys(std::nullopt);
    if (!structure.path())
        return;
    m_title->setText(QFileInfo(*structure.path()).fileName());
    m_title->setToolTip(*structure.path());
    const std::shared_ptr<const WebDocument>& document = structure.document();
    if (!document) {
        m_program->setText(QStringLiteral("Reading its parts…"));
        m_note->hide();
        followFocus();
        return;
    }
    m_program->setText(document->program + QStringLiteral(" · ")
        + Format::grouped(qint64(document->nodes.size())) + QStringLiteral(" parts · ")
        + Format::grouped(qint64(document->links.size())) + QStringLiteral(" links"));
    m_note->setVisible(document->truncated || document->nodes.empty());
    m_note->setText(document->nodes.empty() ? QStringLiteral("No parts found in this file.")
                                            : StructureController::truncatedMessage());
    // Rows are made apart from the tree and handed to it at once: one by one, each would have the
    // tree measure its columns again.
    const std::function<QTreeWidgetItem*(qsizetype, QTreeWidgetItem*)> add
        = [&](qsizetype id, QTreeWidgetItem* parent) {
              const WebDocument::Node& node = document->nodes[std::size_t(id)];
              auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem();
              item->setText(0, node.name.isEmpty() ? roleWords(node.role) : node.name);
              item->setText(1, roleWords(node.role));
              item->setText(2, lineRange(node));
              item->setForeground(1, palette().color(QPalette::PlaceholderText));
              item->setForeground(2, palette().color(QPalette::PlaceholderText));
              item->setToolTip(0, node.detail.isEmpty() ? node.name : node.name + u'\n' + node.detail);
              item->setData(0, idRole, qlonglong(id));
              m_items.insert(id, item);
              for (const qsizetype child : node.children)
                  add(child, item);
              return item;
          };
    QList<QTreeWidgetItem*> top;
    for (const qsizetype root : document->roots)
        top.append(add(root, nullptr));
    m_outline->addTopLevelItems(top);
    // Containers of a few parts open, and the block a source file is; other large ones stay shut
    // until asked.
    for (QTreeWidgetItem* item : std::as_const(top)) {
        const WebRole role = document->nodes[std::size_t(item->data(0, idRole).toLongLong())].role;
        if (item->childCount() <= 40 || role == WebRole::scriptBlock || role == WebRole::styleBlock)
            item->setExpanded(true);
    }
    claimArrows(!structure.cityShown());
    applySearch();
    followFocus();
}

void StructurePanel::claimArrows(bool claim)
{
    if (claim && !m_items.isEmpty())
        m_state.panels().setOutlineKeys(
            OutlineKeys { [this](int delta) { step(delta); }, [this] { open(); }, [this] { close(); } });
    else
        m_state.panels().setOutlineKeys(std::nullopt);
}

void StructurePanel::applySearch()
{
    const SearchController& search = m_state.search();
    const std::shared_ptr<const PartCity>& city = m_state.structure().city();
    const bool narrowed = search.isActive() && search.inDocument() && city;
    const bool counted = narrowed && m_state.filters().searchInText();
    // A row stays when its part was found, or leads to one that was.
    const std::function<bool(QTreeWidgetItem*)> show = [&](QTreeWidgetItem* item) {
        const qsizetype id = item->data(0, idRole).toLongLong();
        const FileNode* node = narrowed ? city->node(id) : nullptr;
        bool shown = !narrowed || (node && search.lit().contains(node));
        for (int i = 0; i < item->childCount(); ++i)
            shown = show(item->child(i)) || shown;
        item->setHidden(!shown);
        const qint64 hits = counted && node ? search.textHits().value(node, 0) : 0;
        item->setText(1,
            hits > 0 ? Format::count(hits, u"line")
                     : roleWords(m_state.structure().document()->nodes[std::size_t(id)].role));
        return shown;
    };
    if (!m_state.structure().document())
        return;
    for (int i = 0; i < m_outline->topLevelItemCount(); ++i)
        show(m_outline->topLevelItem(i));
}

void StructurePanel::followFocus()
{
    const StructureController& structure = m_state.structure();
    const WebDocument::Node* node = structure.focusedNode();
    m_syncing = true;
    QTreeWidgetItem* item = node ? itemOf(node->id) : nullptr;
    m_outline->setCurrentItem(item);
    if (item)
        m_outline->scrollToItem(item);
    m_syncing = false;
    if (!node) {
        m_sourceTitle->setText(
            structure.document() ? QStringLiteral("Choose a part to read its lines.") : QString());
        m_source->setText(nullptr, {});
        return;
    }
    m_sourceTitle->setText(node->name + QStringLiteral(" · ") + partLines(*node));
    // The part's lines, coloured as the file's language is, numbered as they stand in the file.
    m_source->setText(MappedText::fromBytes(structure.document()->source(node->id).toUtf8()),
        QFileInfo(*structure.path()).fileName(), std::max<qint64>(node->line, 0));
}

void StructurePanel::step(int delta)
{
    QTreeWidgetItem* item = m_outline->currentItem();
    if (!item) {
        item = m_outline->topLevelItem(0);
    } else {
        for (int i = 0; i < std::abs(delta) && item; ++i) {
            QTreeWidgetItem* next = delta > 0 ? m_outline->itemBelow(item) : m_outline->itemAbove(item);
            if (!next)
                break;
            item = next;
        }
    }
    if (item)
        m_state.structure().setFocus(item->data(0, idRole).toLongLong());
}

void StructurePanel::open()
{
    QTreeWidgetItem* item = m_outline->currentItem();
    if (!item || item->childCount() == 0)
        return;
    if (!item->isExpanded())
        item->setExpanded(true);
    else
        m_state.structure().setFocus(item->child(0)->data(0, idRole).toLongLong());
}

void StructurePanel::close()
{
    QTreeWidgetItem* item = m_outline->currentItem();
    if (!item)
        return;
    if (item->isExpanded() && item->childCount() > 0)
        item->setExpanded(false);
    else if (item->parent())
        m_state.structure().setFocus(item->parent()->data(0, idRole).toLongLong());
}
