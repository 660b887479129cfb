#include "ui/mainwindow.h"

#include "ui/aboutbox.h"

#include "model/format.h"
#include "state/menus.h"
#include "ui/filetreemodel.h"
#include "ui/openpanels.h"
#include "ui/panels.h"
#include "ui/previewpanel.h"
#include "ui/sceneview.h"
#include "ui/searchpanel.h"
#include "ui/structurepanel.h"
#include "ui/style.h"
#include "ui/timelinebar.h"
#include "ui/welcomeview.h"

#include <QAbstractSpinBox>
#include <QActionGroup>
#include <QApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

constexpr int compactRail = 230;
constexpr int expandedRail = 360;

// The first local folder among dropped URLs.
QString droppedFolder(const QMimeData* data)
{
    if (!data || !data->hasUrls())
        return {};
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isDir())
            return url.toLocalFile();
    }
    return {};
}

} // namespace

MainWindow::MainWindow(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_router(state)
{
    setWindowTitle(QStringLiteral("Korvane"));
    setAcceptDrops(true);
    resize(1400, 880);

    m_stage = new QWidget(this);
    m_pages = new QStackedWidget(m_stage);
    m_welcome = new WelcomeView(state, m_router, m_pages);
    m_viewer = new QWidget(m_pages);
    m_pages->addWidget(m_welcome);
    m_pages->addWidget(m_viewer);
    auto* stageLayout = new QVBoxLayout(m_stage);
    stageLayout->setContentsMargins(0, 0, 0, 0);
    stageLayout->addWidget(m_pages);

    m_railStack = new QStackedWidget(m_viewer);
    m_rail = new QTreeView(m_railStack);
    m_rail->setObjectName(QStringLiteral("rail"));
    m_rail->setAttribute(Qt::WA_StyledBackground);
    m_railModel = new FileTreeModel(m_rail);
    m_rail->setModel(m_railModel);
    m_rail->setHeaderHidden(true);
    m_rail->setUniformRowHeights(true);
    // Long names keep both ends, so that siblings alike at the start stay apart.
    m_rail->setTextElideMode(Qt::ElideMiddle);
    m_rail->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_rail->setFocusPolicy(Qt::ClickFocus);
    m_rail->header()->setStretchLastSection(false);
    m_rail->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_rail->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_rail->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_rail, &QWidget::customContextMenuRequested, this, &MainWindow::railMenu);
    m_results = new SearchResultsView(state, m_railStack);
    m_railStack->addWidget(m_rail);
    m_railStack->addWidget(m_results);
    // The scene, with the history's bar under it while the history is shown.
    auto* centre = new QWidget(m_viewer);
    m_scene = new SceneView(state, centre);
    m_timeline = new TimelineBar(state, m_router, centre);
    auto* column = new QVBoxLayout(centre);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_scene, 1);
    column->addWidget(m_timeline);
    m_drawer = new Drawer(state, m_viewer);
    m_structure = new StructurePanel(state, m_viewer);
    m_preview = new PreviewPanel(state, m_viewer);
    auto* body = new QHBoxLayout(m_viewer);
    body->setContentsMargins(0, 0, 0, 0);
    body->setSpacing(0);
    body->addWidget(m_railStack);
    // The preview takes half of what the scene and it share.
    body->addWidget(centre, 1);
    body->addWidget(m_preview, 1);
    body->addWidget(m_structure);
    body->addWidget(m_drawer);
    connect(&state.structure(), &StructureController::structureChanged, this, &MainWindow::refreshPanels);

    m_banner = new MessageBanner(state, m_stage);
    m_progress = new ProgressPanel(state, m_stage);
    m_keySheet = new KeySheet(m_stage);
    m_picker = new FolderPickerPanel(state, m_stage);
    m_download = new DownloadPanel(state, m_stage);
    m_picker->hide();
    m_download->hide();
    m_legend = new Legend(m_stage);
    connect(m_legend, &Legend::resized, this, &MainWindow::placeOverlays);
    m_stage->installEventFilter(this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_menus = makeMenus();
    layout->setMenuBar(m_menus);
    layout->addWidget(makeMasthead());
    layout->addWidget(m_stage, 1);

    connect(m_rail->selectionModel(), &QItemSelectionModel::currentChanged, this,
        [this](const QModelIndex& index) {
            if (!m_syncing && index.isValid())
                m_state.select(m_railModel->node(index), true, false);
        });
    connect(&state, &AppState::rootChanged, this, [this] { m_railModel->setRoot(m_state.root()); });
    connect(&state, &AppState::selectionChanged, this, &MainWindow::syncRail);
    connect(m_scene, &SceneView::built, this, &MainWindow::refreshLegend);
    // The rail's squares show each file in the colour the scene gives it.
    connect(m_scene, &SceneView::built, this, [this] {
        m_railModel->setColoring(
            [this](const FileNode& file) { return m_scene->controller().colors().style(file).color; });
        m_rail->viewport()->update();
    });
    connect(&state.search(), &SearchController::resultsChanged, this, [this] {
        m_railStack->setCurrentWidget(
            m_state.search().isActive() ? static_cast<QWidget*>(m_results) : m_rail);
        refreshLegend();
    });
    connect(&state.filters(), &Filters::searchFocusedChanged, this, &MainWindow::followSearchFocus);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* before, QWidget* now) {
        if (now == m_searchBar->field())
            m_state.filters().setSearchFocused(true);
        else if (before == m_searchBar->field() && now && now->window() == this)
            m_state.filters().focusScene();
    });
    watchState();

    applyTheme(*this, Theme::of(state.display().dark()));
    qApp->installEventFilter(this);
    refreshMasthead();
    refreshPanels();
}

MainWindow::~MainWindow()
{
    qApp->removeEventFilter(this);
    // Closing the window moves the focus once more, after this part of it is gone.
    disconnect(qApp, nullptr, this, nullptr);
}

void MainWindow::watchState()
{
    const DisplaySettings* display = &m_state.display();
    const Panels* panels = &m_state.panels();
    const ScanController* scan = &m_state.scan();
    for (const auto signal : { &AppState::rootChanged, &AppState::viewRootChanged })
        connect(&m_state, signal, this, &MainWindow::refreshMasthead);
    connect(display, &DisplaySettings::modeChanged, this, &MainWindow::refreshMasthead);
    for (const auto signal : { &DisplaySettings::colorModeChanged, &DisplaySettings::heightModeChanged })
        connect(display, signal, this, &MainWindow::refreshMasthead);
    connect(scan, &ScanController::scanningChanged, this, &MainWindow::refreshMasthead);
    connect(scan, &ScanController::readingHistoryChanged, this, &MainWindow::refreshMasthead);
    connect(scan, &ScanController::readingHistoryChanged, this, &MainWindow::refreshLegend);
    connect(&m_state.structure(), &StructureController::structureChanged, this, &MainWindow::refreshMasthead);

    for (const auto signal : { &AppState::rootChanged, &AppState::errorMessageChanged })
        connect(&m_state, signal, this, &MainWindow::refreshPanels);
    connect(scan, &ScanController::scanningChanged, this, &MainWindow::refreshPanels);
    connect(&m_state.imports(), &DependencyController::progressChanged, this, &MainWindow::placeOverlays);
    for (const auto signal :
        { &Panels::railModeChanged, &Panels::showDrawerChanged, &Panels::showPreviewChanged,
            &Panels::drawerWidthChanged, &Panels::showKeysChanged, &Panels::captureImageChanged })
        connect(panels, signal, this, &MainWindow::refreshPanels);
    // The scene takes the keys back from the preview.
    connect(panels, &Panels::previewKeysChanged, this, [this] {
        if (!m_state.panels().previewKeys() && m_preview->isAncestorOf(QApplication::focusWidget()))
            m_scene->setFocus();
    });
    for (const auto signal : { &Panels::showPickerChanged, &Panels::showRemoteChanged })
        connect(panels, signal, this, &MainWindow::followOpenPanels);
    connect(&m_state.downloads(), &DownloadController::cloningChanged, this, &MainWindow::placeOverlays);
    connect(&m_state.downloads(), &DownloadController::textChanged, this, &MainWindow::placeOverlays);
    connect(panels, &Panels::fullScreenChanged, this, [this] {
        if (m_state.panels().fullScreen())
            showFullScreen();
        else
            showNormal();
    });

    connect(display, &DisplaySettings::darkChanged, this, [this] {
        applyTheme(*this, Theme::of(m_state.display().dark()));
        refreshLegend();
    });
}

QWidget* MainWindow::makeMasthead()
{
    auto* masthead = new QWidget(this);
    masthead->setObjectName(QStringLiteral("masthead"));
    masthead->setAttribute(Qt::WA_StyledBackground);
    m_folderName = new QLabel(QStringLiteral("Korvane"), masthead);
    m_folderName->setObjectName(QStringLiteral("folderName"));
    m_facts = new QLabel(masthead);
    m_facts->setProperty("class", QStringLiteral("secondary"));
    m_facts->setMinimumWidth(1); // the facts give way to the buttons in a narrow window

    // A button performs its action; its tip is the action's description and key.
    const auto button = [&](const QString& text, Action action) {
        auto* b = new QPushButton(text, masthead);
        b->setFocusPolicy(Qt::NoFocus);
        b->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        b->setToolTip(actionDescription(action) + QStringLiteral(" (") + actionKey(action) + u')');
        connect(b, &QPushButton::clicked, this, [this, action] { m_router.perform(action); });
        return b;
    };
    m_cityButton = button(QStringLiteral("City"), Action::city);
    m_treeButton = button(QStringLiteral("Tree"), Action::tree);
    m_historyButton = button(QStringLiteral("History"), Action::history);
    m_graphButton = button(QStringLiteral("Graph"), Action::graph);
    for (QPushButton* mode : { m_cityButton, m_treeButton, m_historyButton, m_graphButton })
        mode->setCheckable(true);
    m_colorButton = button({}, Action::color);
    m_heightButton = button({}, Action::height);
    auto* keys = button(QStringLiteral("?"), Action::keys);
    m_searchBar = new SearchBar(m_state, m_router, masthead);
    m_filtersChip = new FiltersChip(m_state, m_router, masthead);

    m_modes = new QWidget(masthead);
    auto* modes = new QHBoxLayout(m_modes);
    modes->setContentsMargins(0, 0, 0, 0);
    modes->setSpacing(6);
    modes->addWidget(m_cityButton);
    modes->addWidget(m_treeButton);
    modes->addWidget(m_historyButton);
    modes->addWidget(m_graphButton);
    modes->addSpacing(12);
    modes->addWidget(m_colorButton);
    modes->addWidget(m_heightButton);

    auto* row = new QHBoxLayout(masthead);
    row->setContentsMargins(16, 8, 12, 8);
    row->setSpacing(14);
    row->addWidget(m_folderName);
    row->addWidget(m_facts);
    row->addStretch(1);
    row->addWidget(m_searchBar);
    row->addWidget(m_filtersChip);
    row->addWidget(m_modes);
    row->addWidget(keys);
    return masthead;
}

void MainWindow::refreshMasthead()
{
    const FileNode* root = m_state.root();
    m_modes->setVisible(root != nullptr);
    m_searchBar->setVisible(root != nullptr);
    if (!root) {
        m_folderName->setText(QStringLiteral("Korvane"));
        m_facts->clear();
        setWindowTitle(QStringLiteral("Korvane"));
        return;
    }
    m_folderName->setText(root->name);
    QStringList facts;
    if (m_state.branch())
        facts << QStringLiteral("⎇ ") + *m_state.branch();
    facts << Format::count(root->fileCount, u"file") << Format::count(root->lines, u"line");
    if (m_state.truncated())
        facts << QStringLiteral("first %1 files only").arg(Format::grouped(root->fileCount));
    if (m_state.scan().readingHistory())
        facts << QStringLiteral("reading history…");
    if (m_state.viewRoot() && !m_state.viewRoot()->relativePath.isEmpty())
        facts << QStringLiteral("in ") + m_state.viewRoot()->relativePath;
    // In a file's city: the file and what it is written in.
    const StructureController& structure = m_state.structure();
    const std::shared_ptr<const WebDocument>& document = structure.document();
    const bool inFile = structure.cityShown() && document;
    if (inFile)
        facts = QStringList { *structure.path(), document->program,
            Format::count(qint64(document->nodes.size()), u"part"),
            Format::count(qint64(document->links.size()), u"link") };
    m_facts->setText(facts.join(QStringLiteral("  ·  ")));
    setWindowTitle(root->name + QStringLiteral(" — Korvane"));
    const DisplaySettings& display = m_state.display();
    m_cityButton->setChecked(display.mode() == VisualizationMode::city);
    m_treeButton->setChecked(display.mode() == VisualizationMode::tree);
    m_historyButton->setChecked(display.mode() == VisualizationMode::history);
    m_historyButton->setEnabled(m_state.isGit());
    m_graphButton->setChecked(display.mode() == VisualizationMode::graph);
    m_colorButton->setText(
        QStringLiteral("Colour: ") + (inFile ? QStringLiteral("role") : modeName(display.colorMode())));
    m_colorButton->setEnabled(!inFile);
    m_heightButton->setText(QStringLiteral("Height: ") + modeName(display.heightMode()));
}

void MainWindow::refreshPanels()
{
    m_pages->setCurrentWidget(m_state.root() ? m_viewer : m_welcome);
    const Panels& panels = m_state.panels();
    const bool capture = panels.captureImage();
    m_railStack->setVisible(!capture && panels.railMode() != RailMode::hidden);
    m_railStack->setFixedWidth(panels.railMode() == RailMode::expanded ? expandedRail : compactRail);
    m_rail->setColumnHidden(1, panels.railMode() != RailMode::expanded);
    // A file walked into takes the drawer's place, whose details are of that file anyway; "]"
    // shows or hides whichever the right column holds.
    // While a file is read for its city, the column stays as it was: the window is drawn again
    // once, when the city comes, and not twice.
    const StructureController& structure = m_state.structure();
    const bool walked = structure.panelShown() && !(structure.cityShown() && structure.isReading());
    m_drawer->setVisible(!capture && panels.showDrawer() && !walked);
    m_structure->setVisible(!capture && panels.showDrawer() && walked);
    m_drawer->setFixedWidth(int(panels.drawerWidth()));
    m_preview->setVisible(!capture && panels.showPreview());
    m_keySheet->setVisible(panels.showKeys());
    m_legend->setVisible(!capture && m_state.root() && !m_legend->isHidden());
    placeOverlays();
}

void MainWindow::refreshLegend()
{
    const SceneController& scene = m_scene->controller();
    QList<LegendFact> facts;
    if (scene.config().mode == VisualizationMode::graph && scene.imports()) {
        const DependencyGraph& graph = scene.imports()->graph;
        facts = { { QStringLiteral("Files"), qint64(scene.layout().placements.size()) },
            { QStringLiteral("Import links"), qint64(scene.layout().edges.size()) },
            { QStringLiteral("External imports"), graph.external },
            { QStringLiteral("Unresolved imports"), graph.unresolved } };
    }
    const SearchController& search = m_state.search();
    const bool parts = search.inDocument();
    if (search.isActive()) {
        facts.prepend({ m_state.filters().searchInText()
                ? (parts ? QStringLiteral("Parts with the text") : QStringLiteral("Files with the text"))
                : QStringLiteral("Names that match"),
            qint64(search.results().size()) });
        if (m_state.filters().searchInText() && search.textSkipped() > 0)
            facts.insert(1, { QStringLiteral("Skipped (binary or too large)"), search.textSkipped() });
    }
    // A text search colours the files it found by their matching lines instead.
    QList<LegendEntry> entries = scene.legend();
    const Theme& theme = Theme::of(m_state.display().dark());
    if (search.isActive() && m_state.filters().searchInText()) {
        entries.clear();
        const QList<qint64> counts = search.textHits().values();
        if (!counts.isEmpty()) {
            const auto [least, most] = std::minmax_element(counts.begin(), counts.end());
            const auto files
                = [&](qint64 lines) { return qint64(std::count(counts.begin(), counts.end(), lines)); };
            entries.append({ QStringLiteral("most"), Format::count(*most, u"matching line"),
                SceneController::heatColor(theme, 1), files(*most), {}, {} });
            if (*least != *most)
                entries.append({ QStringLiteral("least"), Format::count(*least, u"matching line"),
                    SceneController::heatColor(theme, SceneController::coolestHeat), files(*least), {}, {} });
        }
    }
    // Churn and age colours wait for the commits, which come after the tree.
    const bool waiting = m_state.scan().readingHistory() && readsCommits(scene.config().color)
        && scene.config().mode != VisualizationMode::history;
    const bool textHits = search.isActive() && m_state.filters().searchInText();
    m_legend->setEntries(entries, facts, theme, waiting ? QStringLiteral("reading history…") : QString(),
        textHits ? (parts ? QStringLiteral("parts") : QStringLiteral("files")) : QStringLiteral("buildings"));
    m_legend->setVisible(m_state.root() && !m_state.panels().captureImage()
        && (!entries.isEmpty() || !facts.isEmpty() || waiting));
    placeOverlays();
}

void MainWindow::placeOverlays()
{
    const QRect area = m_stage->rect();
    const int left = m_railStack->isVisible() && m_state.root() ? m_railStack->width() : 0;
    const int right = (m_drawer->isVisible() && m_state.root() ? m_drawer->width() : 0)
        + (m_structure->isVisible() && m_state.root() ? m_structure->width() : 0);
    const int bottom = m_timeline->isVisible() ? m_timeline->height() : 0;
    const QRect scene = area.adjusted(left, 0, -right, -bottom);
    m_banner->setFixedWidth(std::min(560, scene.width() - 32));
    m_banner->adjustSize();
    m_banner->move(scene.center().x() - m_banner->width() / 2, 16);
    m_progress->adjustSize();
    m_progress->move(scene.center() - QPoint(m_progress->width() / 2, m_progress->height() / 2));
    m_keySheet->adjustSize();
    m_keySheet->move(scene.center() - QPoint(m_keySheet->width() / 2, m_keySheet->height() / 2));
    m_legend->move(scene.left() + 14, scene.bottom() - m_legend->height() - 14);
    // The picker and the download entry hang from the top third, so that a list growing or a
    // message appearing does not move the field being typed in.
    for (QFrame* panel : { static_cast<QFrame*>(m_picker), static_cast<QFrame*>(m_download) }) {
        panel->adjustSize();
        panel->move(area.center().x() - panel->width() / 2, std::max(16, area.height() / 6));
    }
    for (QWidget* overlay : { static_cast<QWidget*>(m_legend), static_cast<QWidget*>(m_progress),
             static_cast<QWidget*>(m_picker), static_cast<QWidget*>(m_download),
             static_cast<QWidget*>(m_banner), static_cast<QWidget*>(m_keySheet) })
        overlay->raise();
}

void MainWindow::syncRail()
{
    const QModelIndex index = m_railModel->indexOf(m_state.selection());
    m_syncing = true;
    if (index.isValid()) {
        m_rail->setCurrentIndex(index);
        m_rail->scrollTo(index);
    } else {
        m_rail->selectionModel()->clearCurrentIndex();
        m_rail->clearSelection();
    }
    m_syncing = false;
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    const bool moved
        = event->type() == QEvent::Resize || event->type() == QEvent::Show || event->type() == QEvent::Hide;
    if ((watched == m_stage && event->type() == QEvent::Resize) || (watched == m_timeline && moved))
        placeOverlays();
    if (event->type() != QEvent::KeyPress)
        return false;
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || widget->window() != this || QApplication::activeModalWidget()
        || QApplication::activePopupWidget())
        return false;
    return routeKey(static_cast<QKeyEvent*>(event));
}

bool MainWindow::routeKey(QKeyEvent* event)
{
    const KeyPress press { event->key(), event->text(), event->modifiers() };
    // The keys of a field with the keys (the search, the picker, the download entry) go to the
    // router first; what it does not take is typed into the field. Nothing is typed behind the key sheet.
    if (typingField() || m_state.panels().showKeys())
        return m_router.handle(press);
    // The window's own keys (Ctrl O, Ctrl D, Ctrl W, F11) work from any field. Another text field
    // keeps its typing; the welcome list still answers the arrows, and Return in an empty field
    // opens the highlighted recent folder ("?" there shows the keys).
    if (KeyRouter::windowAction(press))
        return m_router.handle(press);
    QWidget* focused = QApplication::focusWidget();
    if (qobject_cast<QAbstractSpinBox*>(focused) && event->key() != Qt::Key_Escape)
        return false;
    if (auto* field = qobject_cast<QLineEdit*>(focused)) {
        const int key = event->key();
        const bool listKey = key == Qt::Key_Up || key == Qt::Key_Down
            || ((key == Qt::Key_Return || key == Qt::Key_Enter || event->text() == u"?")
                && field->text().isEmpty());
        if (!listKey)
            return false;
    }
    return m_router.handle(press);
}

QLineEdit* MainWindow::typingField() const
{
    const Panels& panels = m_state.panels();
    if (panels.showKeys())
        return nullptr;
    if (panels.showPicker())
        return m_picker->field();
    if (panels.showRemote())
        return m_download->field();
    return m_state.filters().searchFocused() ? m_searchBar->field() : nullptr;
}

void MainWindow::pressKey(const KeyPress& key)
{
    QLineEdit* field = typingField();
    if (!field) {
        if (!m_router.handle(key) && m_state.panels().previewKeys())
            m_preview->pressKey(key);
        return;
    }
    // Through the window's own filter, as a key from the keyboard would go.
    QKeyEvent press(QEvent::KeyPress, key.key, key.modifiers, key.text);
    QCoreApplication::sendEvent(field, &press);
    QKeyEvent release(QEvent::KeyRelease, key.key, key.modifiers, key.text);
    QCoreApplication::sendEvent(field, &release);
}

void MainWindow::followOpenPanels()
{
    const Panels& panels = m_state.panels();
    m_picker->setVisible(panels.showPicker());
    m_download->setVisible(panels.showRemote());
    if (panels.showPicker() || panels.showRemote()) {
        m_picker->refresh();
        m_download->refresh();
        placeOverlays();
        typingField()->setFocus(Qt::OtherFocusReason);
        typingField()->selectAll();
    } else if (QWidget* focused = QApplication::focusWidget();
               focused == m_picker->field() || focused == m_download->field()) {
        m_scene->setFocus(Qt::OtherFocusReason);
    }
}

void MainWindow::followSearchFocus()
{
    if (m_state.filters().searchFocused()) {
        m_searchBar->field()->setFocus(Qt::ShortcutFocusReason);
        m_searchBar->field()->selectAll();
    } else if (QApplication::focusWidget() == m_searchBar->field()) {
        m_scene->setFocus(Qt::OtherFocusReason);
    }
}

QMenuBar* MainWindow::makeMenus()
{
    const auto text
        = [](std::string_view title) { return QString::fromUtf8(title.data(), qsizetype(title.size())); };
    auto* bar = new QMenuBar(this);
    for (const MenuSection& section : menuSections()) {
        QMenu* menu = bar->addMenu(text(section.title));
        const bool file = section.title == "File";
        if (file) {
            QAction* openFolder = menu->addAction(QStringLiteral("Open a Folder…"), this, [this] {
                const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Open folder"),
                    m_state.root() ? QFileInfo(m_state.root()->url).path() : QDir::homePath());
                if (!folder.isEmpty())
                    m_state.open(folder);
            });
            openFolder->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
        }
        QHash<QString, QMenu*> submenus;
        for (const MenuEntry& entry : section.entries) {
            QMenu* into = menu;
            if (!entry.submenu.empty()) {
                QMenu*& submenu = submenus[text(entry.submenu)];
                if (!submenu)
                    submenu = menu->addMenu(text(entry.submenu));
                into = submenu;
            }
            const QString key = actionKey(entry.action);
            QAction* item = into->addAction(text(entry.title) + (key.isEmpty() ? QString() : u'\t' + key),
                this, [this, action = entry.action] { m_router.perform(action); });
            item->setData(actionName(entry.action));
            if (entry.action == Action::picker)
                addRecentsMenu(*menu);
            if (entry.action == Action::remote)
                menu->addSeparator();
        }
        if (QMenu* colours = submenus.value(QStringLiteral("Colour")))
            addModeChoices(*colours, colorModes, &DisplaySettings::colorMode, &DisplaySettings::setColorMode);
        if (QMenu* heights = submenus.value(QStringLiteral("Height")))
            addModeChoices(
                *heights, allHeightModes, &DisplaySettings::heightMode, &DisplaySettings::setHeightMode);
        if (file) {
            menu->addSeparator();
            menu->addAction(QStringLiteral("Quit"), this, &QWidget::close)->setShortcut(QKeySequence::Quit);
        }
        if (section.title == "Help")
            menu->addAction(
                QStringLiteral("About Korvane"), this, [this] { showAboutBox(this, m_scene->driver()); });
        // Each time it opens, a menu offers what can be done now.
        QList<QMenu*> shown = submenus.values();
        shown.append(menu);
        for (QMenu* each : std::as_const(shown))
            connect(each, &QMenu::aboutToShow, this, [this, each] { offerItems(*each); });
    }
    return bar;
}

void MainWindow::offerItems(QMenu& menu) const
{
    for (QAction* item : menu.actions()) {
        if (const auto action = actionFromName(item->data().toString()))
            item->setEnabled(offered(*action));
    }
}

void MainWindow::addRecentsMenu(QMenu& menu)
{
    QMenu* recent = menu.addMenu(QStringLiteral("Open Recent"));
    const auto fill = [this, recent] {
        recent->clear();
        for (const QString& folder : m_state.recents().folders().mid(0, Recents::maxRecents))
            recent->addAction(folder, this, [this, folder] { m_state.open(folder); });
        if (recent->isEmpty())
            recent->addAction(QStringLiteral("No recent folders"))->setEnabled(false);
    };
    fill();
    connect(&m_state.recents(), &Recents::recentsChanged, recent, fill);
}

template <typename Mode, std::size_t count>
void MainWindow::addModeChoices(QMenu& menu, const std::array<Mode, count>& modes,
    Mode (DisplaySettings::*current)() const, void (DisplaySettings::*choose)(Mode))
{
    menu.addSeparator();
    auto* group = new QActionGroup(&menu);
    for (const Mode mode : modes) {
        QString title = modeName(mode);
        title[0] = title[0].toUpper();
        QAction* item
            = menu.addAction(title, this, [this, choose, mode] { (m_state.display().*choose)(mode); });
        item->setCheckable(true);
        group->addAction(item);
        connect(&menu, &QMenu::aboutToShow, item, [this, item, mode, current] {
            item->setChecked((m_state.display().*current)() == mode);
            item->setEnabled(m_state.root() && (m_state.isGit() || !needsGit(mode)));
        });
    }
}

bool MainWindow::offered(Action action) const
{
    if (action == Action::keys || action == Action::picker || action == Action::remote
        || action == Action::fullScreen)
        return true;
    if (action == Action::closeFolder)
        return m_state.root() || m_state.scan().scanning();
    if (!m_state.root())
        return false;
    if (action >= Action::play && action <= Action::commitEnd)
        return m_state.display().mode() == VisualizationMode::history && m_state.timeline().isReady();
    if (action == Action::history)
        return m_state.isGit();
    return true;
}

void MainWindow::railMenu(const QPoint& at)
{
    const FileNode* node = m_railModel->node(m_rail->indexAt(at));
    Filters& filters = m_state.filters();
    QMenu menu(this);
    if (node) {
        const bool isolated = filters.isolated().contains(node->relativePath);
        menu.addAction(isolated ? QStringLiteral("Stop showing only this") : QStringLiteral("Show only this"),
            this, [&filters, path = node->relativePath] { filters.toggleIsolation(path); });
    }
    if (!filters.isolated().isEmpty())
        menu.addAction(QStringLiteral("Show everything"), this, [&filters] { filters.clearIsolation(); });
    if (!menu.isEmpty())
        menu.exec(m_rail->viewport()->mapToGlobal(at));
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (!droppedFolder(event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    const QString folder = droppedFolder(event->mimeData());
    if (folder.isEmpty())
        return;
    event->acceptProposedAction();
    m_state.open(folder);
}
