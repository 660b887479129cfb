#include "state/appstate.h"

#include <QDir>
#include <QFileInfo>

AppState::AppState(QObject* parent, bool persistent)
    : QObject(parent)
{
    m_display = adopt<DisplaySettings>();
    m_filters = adopt<Filters>();
    m_search = adopt<SearchController>(m_pool, *m_filters);
    m_scan = adopt<ScanController>(m_pool);
    m_imports = adopt<DependencyController>(m_pool);
    m_timeline = adopt<TimelineController>(m_pool);
    m_commits = adopt<CommitsController>(m_pool);
    m_structure = adopt<StructureController>(m_pool);
    m_picker = adopt<FolderPicker>();
    m_downloads = adopt<DownloadController>(m_pool);
    m_panels = adopt<Panels>();
    m_preview = adopt<PreviewController>(m_pool);
    m_recents = adopt<Recents>(persistent);
    connect(m_display, &DisplaySettings::modeChanged, this, &AppState::modeChanged);
    connect(m_scan, &ScanController::scanned, this, [this](const ScanResult& result) { apply(result); });
    connect(m_scan, &ScanController::historyRead, this, &AppState::applyHistory);
    connect(m_imports, &DependencyController::showImportsChanged, this, &AppState::followImportsNeed);
    connect(m_timeline, &TimelineController::phaseChanged, this, &AppState::followHistory);
    for (const auto signal :
        { &AppState::rootChanged, &AppState::selectionChanged, &AppState::viewRootChanged })
        connect(this, signal, this, &AppState::followCommitsNeed);
    connect(m_panels, &Panels::showDrawerChanged, this, &AppState::followCommitsNeed);
    connect(m_display, &DisplaySettings::modeChanged, this, &AppState::followCommitsNeed);
    connect(m_structure, &StructureController::structureChanged, this, &AppState::followStructure);
    connect(this, &AppState::selectionChanged, this, &AppState::followPreview);
    connect(m_panels, &Panels::showPreviewChanged, this, &AppState::followPreview);
    connect(m_display, &DisplaySettings::modeChanged, this, &AppState::followPreview);
    connect(m_timeline, &TimelineController::moved, this, &AppState::followPreview);
    connect(m_timeline, &TimelineController::phaseChanged, this, &AppState::followPreview);
    connect(m_downloads, &DownloadController::fetched, this, [this](const QString& folder) {
        m_panels->setShowRemote(false);
        open(folder);
    });
}

void AppState::followStructure()
{
    // In a file's city the search looks among its parts; each way in or out starts it afresh.
    const bool inCity = m_structure->cityShown() && m_structure->city();
    if (inCity != m_search->inDocument())
        m_filters->setSearchText(QString());
    m_search->searchDocument(inCity ? m_structure->city() : nullptr, m_structure->document());
    // A file walked into whose reading stopped early says so over its city, once.
    const std::shared_ptr<const WebDocument>& document = m_structure->document();
    if (document && document->truncated && m_structure->cityShown() && document != m_toldTruncated.lock()) {
        m_toldTruncated = document;
        setErrorMessage(StructureController::truncatedMessage());
    }
}

void AppState::followPreview()
{
    const FileNode* file = m_selection && !m_selection->isDirectory ? m_selection : nullptr;
    if (!m_panels->showPreview() || !file)
        return m_preview->clear();
    if (m_display->mode() != VisualizationMode::history)
        return m_preview->show(*file);
    if (!m_timeline->isReady())
        return m_preview->clear();
    // The history has a tree of its own, whose files carry their values at the playhead.
    const FileNode* then = m_timeline->root()->find(file->relativePath);
    if (!then)
        return m_preview->showRevision(
            *file, file->relativePath + QStringLiteral(" is not in the history read."), QString());
    // During playback the text follows the file's own changes, not every step of the playhead.
    const Commit* changed = m_timeline->lastChange(*then);
    const std::shared_ptr<const PreviewContent>& shown = m_preview->content();
    const QString caption = changed
        ? QStringLiteral("At commit ") + changed->shortHash() + QStringLiteral(" · ") + changed->subject
        : QStringLiteral("Before its first commit");
    if (shown && shown->node == file && shown->caption == caption)
        return;
    m_preview->showRevision(*file, m_timeline->revision(*then), caption);
}

void AppState::followCommitsNeed()
{
    const FileNode* shown = m_selection ? m_selection : m_viewRoot;
    const bool wanted
        = shown && m_isGit && m_panels->showDrawer() && m_display->mode() != VisualizationMode::history;
    m_commits->follow(wanted ? std::optional<QString>(shown->relativePath) : std::nullopt);
}

AppState::~AppState()
{
    // Scans stop at their next check of the flag; none may outlive the state.
    m_scan->cancel();
    m_imports->cancel();
    m_timeline->cancel();
    m_commits->cancel();
    m_downloads->stop();
    m_structure->close();
    m_search->cancel();
    m_pool.waitForDone();
}

template <typename Controller, typename... Arguments> Controller* AppState::adopt(Arguments&&... arguments)
{
    auto* controller = new Controller(std::forward<Arguments>(arguments)..., this);
    connect(controller, &StateController::refused, this,
        [this](const QString& message) { setErrorMessage(message); });
    m_controllers.append(controller);
    return controller;
}

void AppState::open(const QString& path)
{
    // The folder joins the recent ones once it has opened: one that could not be is no shortcut.
    m_scan->start(path);
}

bool AppState::toggleStructure(const FileNode* node)
{
    // In a file's city the city stays; the panel beside it comes and goes.
    if (m_structure->cityShown()) {
        m_structure->setPanelShown(!m_structure->panelShown() || !m_panels->showDrawer());
        if (m_structure->panelShown())
            m_panels->setShowDrawer(true);
        return true;
    }
    if (!node) {
        setErrorMessage(QStringLiteral("Select a file to walk into."));
        return false;
    }
    if (m_structure->path() == node->relativePath) {
        m_structure->close();
        return true;
    }
    // The structure shows where the drawer does.
    const bool opened = m_structure->open(*node);
    if (opened)
        m_panels->setShowDrawer(true);
    return opened;
}

bool AppState::close()
{
    if (!m_root && !m_scan->scanning())
        return false;
    m_scan->cancel();
    apply(ScanResult {});
    m_recents->setRecentIndex(0);
    return true;
}

void AppState::showFolderPicker()
{
    m_panels->setShowRemote(false);
    const QString start = m_root ? QFileInfo(m_root->url).path() : QDir::homePath();
    m_picker->showFolder(start, m_root ? QFileInfo(m_root->url).fileName() : QString());
    m_panels->setShowPicker(true);
}

bool AppState::openFromPicker()
{
    const FolderEntry* entry = m_picker->highlighted();
    const QString folder = entry ? entry->path : m_picker->path();
    if (!m_panels->showPicker() || folder.isEmpty())
        return false;
    m_panels->setShowPicker(false);
    open(folder);
    return true;
}

void AppState::showRemoteEntry()
{
    m_panels->setShowPicker(false);
    m_downloads->refreshDownloaded();
    m_panels->setShowRemote(true);
}

void AppState::apply(ScanResult result)
{
    // Views let go of the old tree before it is freed, at the end of this function.
    const std::shared_ptr<FileNode> previous = std::move(m_root);
    const std::shared_ptr<const HistoryCity> previousHistory = m_timeline->city();
    const std::optional<QString> warning = result.warning;
    installRoot(std::move(result));
    if (m_root)
        m_recents->remember(m_root->url);
    for (StateController* controller : std::as_const(m_controllers))
        controller->folderChanged({ m_root, m_isGit });
    // The imports over the city stay on from one folder to the next.
    followImportsNeed();

    emit rootChanged();
    m_viewRoot = nullptr;
    setViewRoot(m_root.get());
    m_filters->announceNewFolder();

    if (m_pendingSelection && m_root) {
        if (const FileNode* node = m_root->find(*m_pendingSelection))
            select(node, true, false);
    }
    m_pendingSelection.reset();
    if (warning)
        setErrorMessage(warning);
}

void AppState::applyHistory(const ScanHistory& history)
{
    if (!history.applyTo(m_root))
        return;
    emit commitsChanged();
    if (history.warning)
        setErrorMessage(history.warning);
}

void AppState::installRoot(ScanResult result)
{
    if (m_selection) {
        m_selection = nullptr;
        emit selectionChanged();
    }
    m_root = std::move(result.root);
    m_isGit = result.isGit;
    m_branch = result.branch;
    m_truncated = result.truncated;
    m_languages = m_root ? m_root->languageBreakdown() : QList<LanguageShare> {};
}

void AppState::setErrorMessage(const std::optional<QString>& message)
{
    if (message == m_errorMessage)
        return;
    m_errorMessage = message;
    emit errorMessageChanged();
}

// The history view shows a city of its own; leaving it starts again from the whole folder.
void AppState::modeChanged(VisualizationMode previous)
{
    const VisualizationMode mode = m_display->mode();
    if (mode == VisualizationMode::graph)
        m_modeBeforeGraph = previous == VisualizationMode::history ? VisualizationMode::city : previous;
    if (mode == VisualizationMode::history) {
        m_modeBeforeHistory = previous;
        // A reading that failed or was cancelled is tried again.
        if (m_timeline->phase() == TimelineController::Phase::failed && m_root)
            m_timeline->load(m_root->url);
        followHistory();
    } else if (previous == VisualizationMode::history) {
        m_timeline->stop();
        setViewRoot(m_root.get());
    }
    followImportsNeed();
}

void AppState::followHistory()
{
    if (m_display->mode() != VisualizationMode::history)
        return;
    const FileNode* history = m_timeline->root();
    if (!history) {
        setViewRoot(m_root.get());
        return;
    }
    if (!isUnder(m_viewRoot, history))
        setViewRoot(history);
}

bool AppState::stopReadingHistory()
{
    if (m_display->mode() != VisualizationMode::history
        || m_timeline->phase() != TimelineController::Phase::indexing)
        return false;
    m_timeline->cancel();
    m_display->setMode(m_modeBeforeHistory);
    return true;
}

void AppState::followImportsNeed()
{
    const VisualizationMode mode = m_display->mode();
    const bool needed = mode == VisualizationMode::graph
        || (m_imports->showImports() && (mode == VisualizationMode::city || mode == VisualizationMode::tree));
    if (needed)
        m_imports->build();
    else
        m_imports->cancel();
}

bool AppState::stopReadingImports()
{
    if (!m_imports->isReading())
        return false;
    m_imports->cancel();
    if (m_display->mode() == VisualizationMode::graph)
        m_display->setMode(m_modeBeforeGraph);
    m_imports->setShowImports(false);
    return true;
}
