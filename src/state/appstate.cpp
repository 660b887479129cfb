#include "state/appstate.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include <mutex>

namespace {

const QString recentsKey = QStringLiteral("recents");

QString standardized(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QSettings settings()
{
    return QSettings(QStringLiteral("Korvane"), QStringLiteral("Korvane"));
}

// The newest progress of a scan, waiting for the main thread. Reports come far faster than the
// window can draw, so only one delivery is ever queued and it takes whatever is newest.
struct ProgressMailbox {
    std::mutex lock;
    ScanProgress latest;
    bool queued = false;
};

} // namespace

AppState::AppState(QObject* parent, bool persistent)
    : QObject(parent)
    , m_persistent(persistent)
{
    for (const QString& path : settings().value(recentsKey).toStringList()) {
        if (!path.isEmpty() && m_recents.size() < maxRecents)
            m_recents.append(path);
    }
}

AppState::~AppState()
{
    // Scans stop at their next check of the flag; none may report into a state being destroyed.
    cancelScan();
    m_pool.waitForDone();
}

// --- the folder -----------------------------------------------------------------------------

void AppState::open(const QString& path)
{
    cancelScan();
    const auto flag = std::make_shared<CancelFlag>();
    m_cancelFlag = flag;
    const QString folder = standardized(path);
    m_scannedPath = folder;
    m_scanning = ScanProgress { QStringLiteral("Listing files"), 0, 0 };
    emit scanningChanged();
    remember(folder);

    const auto mailbox = std::make_shared<ProgressMailbox>();
    const auto deliverProgress = [this, flag, mailbox] {
        ScanProgress progress;
        {
            std::lock_guard lock(mailbox->lock);
            progress = mailbox->latest;
            mailbox->queued = false;
        }
        if (flag == m_cancelFlag && !flag->isCancelled() && m_scanning) {
            m_scanning = progress;
            emit scanningChanged();
        }
    };
    m_pool.start([this, folder, flag, mailbox, deliverProgress] {
        const Scanner scanner(folder, flag);
        auto outcome = std::make_shared<std::variant<ScanResult, ScanError>>(
            scanner.scan([&](const ScanProgress& progress) {
                std::lock_guard lock(mailbox->lock);
                mailbox->latest = progress;
                if (!mailbox->queued) {
                    mailbox->queued = true;
                    QMetaObject::invokeMethod(this, deliverProgress, Qt::QueuedConnection);
                }
            }));
        QMetaObject::invokeMethod(
            this,
            [this, flag, outcome] {
                // A newer open, or a cancel, makes this scan's outcome stale.
                if (flag != m_cancelFlag || flag->isCancelled())
                    return;
                m_cancelFlag.reset();
                if (auto* result = std::get_if<ScanResult>(outcome.get())) {
                    apply(std::move(*result));
                    return;
                }
                m_scanning.reset();
                emit scanningChanged();
                setErrorMessage(std::get<ScanError>(*outcome).description());
            },
            Qt::QueuedConnection);
    });
}

void AppState::cancelScan()
{
    if (m_cancelFlag)
        m_cancelFlag->cancel();
    m_cancelFlag.reset();
    if (m_scanning) {
        m_scanning.reset();
        emit scanningChanged();
    }
}

void AppState::apply(ScanResult result)
{
    if (m_mode == VisualizationMode::history || m_mode == VisualizationMode::graph)
        assign(m_mode, VisualizationMode::city, &AppState::modeChanged);

    // Views let go of the old tree before it is freed, at the end of this function.
    const std::shared_ptr<FileNode> previous = std::move(m_root);
    assign(m_selection, static_cast<const FileNode*>(nullptr), &AppState::selectionChanged);
    m_root = std::move(result.root);
    m_isGit = result.isGit;
    m_branch = result.branch;
    m_truncated = result.truncated;
    m_languages = m_root ? m_root->languageBreakdown() : QList<LanguageShare> {};

    m_suspendFilter = true;
    setSearchText({});
    assign(m_isolated, {}, &AppState::isolatedChanged);
    m_suspendFilter = false;
    if (!m_isGit && needsGit(m_colorMode))
        setColorMode(ColorMode::language);

    m_scanning.reset();
    emit scanningChanged();
    emit rootChanged();
    m_viewRoot = nullptr;
    setViewRoot(m_root.get());
    emit filtersChanged();

    if (m_pendingSelection && m_root) {
        if (const FileNode* node = m_root->find(*m_pendingSelection))
            select(node, true, false);
    }
    m_pendingSelection.reset();
}

void AppState::setErrorMessage(const std::optional<QString>& message)
{
    assign(m_errorMessage, message, &AppState::errorMessageChanged);
}

// --- recent folders -------------------------------------------------------------------------

void AppState::remember(const QString& path)
{
    const QString folder = standardized(path);
    QStringList recents { folder };
    for (const QString& entry : std::as_const(m_recents)) {
        if (standardized(entry) != folder && recents.size() < maxRecents)
            recents.append(entry);
    }
    if (m_persistent)
        settings().setValue(recentsKey, recents);
    assign(m_recents, recents, &AppState::recentsChanged);
    setRecentIndex(0);
}

void AppState::setRecentIndex(int index)
{
    assign(m_recentIndex, std::clamp(index, 0, std::max(int(m_recents.size()) - 1, 0)),
        &AppState::recentIndexChanged);
}

// --- modes ----------------------------------------------------------------------------------

void AppState::setMode(VisualizationMode mode)
{
    if (mode == m_mode)
        return;
    if (mode == VisualizationMode::history && (!m_root || !m_isGit)) {
        setErrorMessage(QStringLiteral("History needs a git repository."));
        return;
    }
    const VisualizationMode previous = m_mode;
    m_mode = mode;
    if (mode == VisualizationMode::graph && previous == VisualizationMode::history)
        setViewRoot(m_root.get());
    emit modeChanged();
}

void AppState::setColorMode(ColorMode mode)
{
    assign(m_colorMode, mode, &AppState::colorModeChanged);
}
void AppState::setHeightMode(HeightMode mode)
{
    assign(m_heightMode, mode, &AppState::heightModeChanged);
}
void AppState::setHeightScale(float scale)
{
    assign(m_heightScale, scale, &AppState::heightScaleChanged);
}
void AppState::setDark(bool dark)
{
    assign(m_dark, dark, &AppState::darkChanged);
}

void AppState::cycleColor(int step)
{
    ColorMode mode = m_colorMode;
    do
        mode = cycled(colorModes, mode, step);
    while (!m_isGit && needsGit(mode));
    setColorMode(mode);
}

void AppState::cycleHeight(int step)
{
    HeightMode mode = m_heightMode;
    do
        mode = cycled(allHeightModes, mode, step);
    while (!m_isGit && mode == HeightMode::churn);
    setHeightMode(mode);
}

// --- panels and overlays --------------------------------------------------------------------

void AppState::setRailMode(RailMode mode)
{
    assign(m_railMode, mode, &AppState::railModeChanged);
}
void AppState::setShowDrawer(bool show)
{
    assign(m_showDrawer, show, &AppState::showDrawerChanged);
}
void AppState::setShowKeys(bool show)
{
    assign(m_showKeys, show, &AppState::showKeysChanged);
}
void AppState::setShowPreview(bool show)
{
    assign(m_showPreview, show, &AppState::showPreviewChanged);
}
void AppState::setShowMinimap(bool show)
{
    assign(m_showMinimap, show, &AppState::showMinimapChanged);
}
void AppState::setHexMode(bool on)
{
    assign(m_hexMode, on, &AppState::hexModeChanged);
}
void AppState::setRawSource(bool on)
{
    assign(m_rawSource, on, &AppState::rawSourceChanged);
}
void AppState::setStructureTab(StructureTab tab)
{
    assign(m_structureTab, tab, &AppState::structureTabChanged);
}
void AppState::setShowPicker(bool show)
{
    assign(m_showPicker, show, &AppState::showPickerChanged);
}
void AppState::setShowRemote(bool show)
{
    assign(m_showRemote, show, &AppState::showRemoteChanged);
}
void AppState::setCaptureImage(bool on)
{
    assign(m_captureImage, on, &AppState::captureImageChanged);
}
void AppState::setAutoFrame(bool on)
{
    assign(m_autoFrame, on, &AppState::autoFrameChanged);
}
void AppState::setFullScreen(bool on)
{
    assign(m_fullScreen, on, &AppState::fullScreenChanged);
}

void AppState::toggleWideDrawer()
{
    setShowDrawer(true);
    assign(m_drawerWidth, m_drawerWidth == wideDrawerWidth ? narrowDrawerWidth : wideDrawerWidth,
        &AppState::drawerWidthChanged);
}

// --- search and filters ---------------------------------------------------------------------

void AppState::setSearchFocused(bool focused)
{
    assign(m_searchFocused, focused, &AppState::searchFocusedChanged);
}

void AppState::setSearchText(const QString& text)
{
    if (text == m_searchText)
        return;
    m_searchText = text;
    emit searchTextChanged();
    filterChanged();
}

void AppState::setSearchInText(bool inText)
{
    assign(m_searchInText, inText, &AppState::searchInTextChanged);
}

void AppState::setMinChanges(int changes)
{
    if (changes == m_minChanges)
        return;
    m_minChanges = changes;
    emit minChangesChanged();
    filterChanged();
}

void AppState::toggleIsolation(const QString& relativePath)
{
    if (!m_isolated.remove(relativePath))
        m_isolated.insert(relativePath);
    emit isolatedChanged();
    filterChanged();
}

bool AppState::hasFilters() const
{
    return !m_searchText.isEmpty() || !m_isolated.isEmpty() || m_minChanges > 0;
}

void AppState::clearFilters()
{
    if (!hasFilters())
        return;
    m_suspendFilter = true;
    setSearchText({});
    assign(m_isolated, {}, &AppState::isolatedChanged);
    setMinChanges(0);
    m_suspendFilter = false;
    emit filtersChanged();
}

void AppState::filterChanged()
{
    if (!m_suspendFilter)
        emit filtersChanged();
}

qint64 AppState::changeCeiling() const
{
    return m_root ? m_root->changeCeiling() : 0;
}
