#pragma once

#include "state/modes.h"
#include "scan/scanner.h"
#include "state/scenehost.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <optional>

enum class MoveDirection { left, right, up, down };

// The handlers of a structure outline while it owns the arrow keys.
struct OutlineKeys {
    std::function<void(int step)> step;
    std::function<void()> open;
    std::function<void()> close;
};

// The one observable state of a window: the scanned tree, the view root and the selection, every
// display mode and filter, the recent folders and the panels shown. Lives on the main thread;
// every field has its own change signal, and every user command ends in one of its operations.
class AppState : public QObject {
    Q_OBJECT

public:
    static constexpr int maxRecents = 8;
    static constexpr double narrowDrawerWidth = 340;
    static constexpr double wideDrawerWidth = 620;

    // A state that does not persist keeps its recent folders to itself (scripted snapshots).
    explicit AppState(QObject* parent = nullptr, bool persistent = true);
    ~AppState() override;

    // --- the folder -------------------------------------------------------------------------
    const FileNode* root() const { return m_root.get(); }
    const FileNode* viewRoot() const { return m_viewRoot; }
    const FileNode* selection() const { return m_selection; }
    bool isGit() const { return m_isGit; }
    const std::optional<QString>& branch() const { return m_branch; }
    bool truncated() const { return m_truncated; }
    const QList<LanguageShare>& languages() const { return m_languages; }
    const std::optional<ScanProgress>& scanning() const { return m_scanning; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    const std::optional<QString>& scannedPath() const { return m_scannedPath; }

    // Starts scanning a folder in the background; a scan still running is cancelled and its late
    // results dropped.
    void open(const QString& path);
    // Cancels the running scan, if any; nothing else changes.
    void cancelScan();
    // Takes a finished scan into the state.
    void apply(ScanResult result);
    void setErrorMessage(const std::optional<QString>& message);
    // The relative path to select once the next scan is applied.
    void setPendingSelection(const std::optional<QString>& relativePath)
    {
        m_pendingSelection = relativePath;
    }

    // --- recent folders ---------------------------------------------------------------------
    const QStringList& recents() const { return m_recents; }
    int recentIndex() const { return m_recentIndex; }
    void remember(const QString& path);
    void setRecentIndex(int index);

    // --- modes ------------------------------------------------------------------------------
    VisualizationMode mode() const { return m_mode; }
    ColorMode colorMode() const { return m_colorMode; }
    HeightMode heightMode() const { return m_heightMode; }
    float heightScale() const { return m_heightScale; }
    bool dark() const { return m_dark; }
    // Changes the view. History needs a repository: without one the mode stays and an error says so.
    void setMode(VisualizationMode mode);
    void setColorMode(ColorMode mode);
    void setHeightMode(HeightMode mode);
    void setHeightScale(float scale);
    void setDark(bool dark);
    // The next (step 1) or previous (-1) mode, skipping those that read git outside a repository.
    void cycleColor(int step);
    void cycleHeight(int step);

    // --- panels and overlays ----------------------------------------------------------------
    RailMode railMode() const { return m_railMode; }
    bool showDrawer() const { return m_showDrawer; }
    double drawerWidth() const { return m_drawerWidth; }
    bool showKeys() const { return m_showKeys; }
    bool showPreview() const { return m_showPreview; }
    bool showMinimap() const { return m_showMinimap; }
    bool hexMode() const { return m_hexMode; }
    bool rawSource() const { return m_rawSource; }
    StructureTab structureTab() const { return m_structureTab; }
    bool showPicker() const { return m_showPicker; }
    bool showRemote() const { return m_showRemote; }
    // The full-window capture overlay: it takes every key, and only Escape dismisses it.
    bool captureImage() const { return m_captureImage; }
    bool autoFrame() const { return m_autoFrame; }
    bool fullScreen() const { return m_fullScreen; }
    void setRailMode(RailMode mode);
    void setShowDrawer(bool show);
    void toggleWideDrawer();
    void setShowKeys(bool show);
    void setShowPreview(bool show);
    void setShowMinimap(bool show);
    void setHexMode(bool on);
    void setRawSource(bool on);
    void setStructureTab(StructureTab tab);
    void setShowPicker(bool show);
    void setShowRemote(bool show);
    void setCaptureImage(bool on);
    void setAutoFrame(bool on);
    void setFullScreen(bool on);
    const std::optional<OutlineKeys>& outlineKeys() const { return m_outlineKeys; }
    void setOutlineKeys(std::optional<OutlineKeys> keys) { m_outlineKeys = std::move(keys); }

    // --- search and filters -----------------------------------------------------------------
    bool searchFocused() const { return m_searchFocused; }
    const QString& searchText() const { return m_searchText; }
    bool searchInText() const { return m_searchInText; }
    const QSet<QString>& isolated() const { return m_isolated; }
    int minChanges() const { return m_minChanges; }
    void setSearchFocused(bool focused);
    void setSearchText(const QString& text);
    void setSearchInText(bool inText);
    void setMinChanges(int changes);
    void toggleIsolation(const QString& relativePath);
    bool hasFilters() const;
    // Clears the search text, the isolated set and the change threshold, announcing one change.
    void clearFilters();
    // Gives the keys back to the scene.
    void focusScene() { setSearchFocused(false); }
    // The largest commit count of any file under the root; 0 with none.
    qint64 changeCeiling() const;

    // --- selection and navigation -----------------------------------------------------------
    void setScene(SceneHost* scene) { m_scene = scene; }
    SceneHost* scene() const { return m_scene; }
    void setViewRoot(const FileNode* node);
    // Selects a node (or nothing); follow keeps the camera on it, frame zooms to it.
    void select(const FileNode* node, bool follow = true, bool frame = false);
    // Moves the selection to the nearest node on screen in a direction; beeps when there is none.
    bool move(MoveDirection direction);
    // Into a folder's largest file; into a file's parts; else zoom to the file.
    bool enter();
    // Closes the topmost thing: the key sheet, the message, the walked-into file, the selection,
    // and last the view root.
    bool escape();
    // Up one level: the selection's folder, then the view root's.
    bool ascend();
    // Makes a folder (or a file's folder) the view root.
    bool dive(const FileNode* node);
    bool cycleSibling(int step);

    // The candidate with the lowest score along + 2.5 × across inside the direction's cone, if any
    // (the first wins a tie).
    static std::optional<std::size_t> nearest(
        QPointF from, MoveDirection direction, const std::vector<QPointF>& candidates);

signals:
    void rootChanged();
    void viewRootChanged();
    void selectionChanged();
    void scanningChanged();
    void errorMessageChanged();
    void recentsChanged();
    void recentIndexChanged();
    void modeChanged();
    void colorModeChanged();
    void heightModeChanged();
    void heightScaleChanged();
    void darkChanged();
    void railModeChanged();
    void showDrawerChanged();
    void drawerWidthChanged();
    void showKeysChanged();
    void showPreviewChanged();
    void showMinimapChanged();
    void hexModeChanged();
    void rawSourceChanged();
    void structureTabChanged();
    void showPickerChanged();
    void showRemoteChanged();
    void captureImageChanged();
    void autoFrameChanged();
    void fullScreenChanged();
    void searchFocusedChanged();
    void searchTextChanged();
    void searchInTextChanged();
    void isolatedChanged();
    void minChangesChanged();
    // Once per change of any filter, after a whole clearFilters rather than per field.
    void filtersChanged();

private:
    // Sets a field and announces it, when it changes.
    template <typename T> void assign(T& field, const T& value, void (AppState::*changed)())
    {
        if (field == value)
            return;
        field = value;
        emit(this->*changed)();
    }
    void filterChanged();
    void installRoot(ScanResult result);
    bool selectNearestCentre();

    std::shared_ptr<FileNode> m_root;
    const FileNode* m_viewRoot = nullptr;
    const FileNode* m_selection = nullptr;
    bool m_isGit = false;
    std::optional<QString> m_branch;
    bool m_truncated = false;
    QList<LanguageShare> m_languages;
    std::optional<ScanProgress> m_scanning;
    std::optional<QString> m_errorMessage;
    VisualizationMode m_mode = VisualizationMode::city;
    ColorMode m_colorMode = ColorMode::language;
    HeightMode m_heightMode = HeightMode::lines;
    float m_heightScale = 1;
    bool m_dark = true;
    RailMode m_railMode = RailMode::compact;
    bool m_showDrawer = true;
    double m_drawerWidth = narrowDrawerWidth;
    bool m_showKeys = false;
    bool m_showPreview = false;
    bool m_showMinimap = false;
    bool m_hexMode = false;
    bool m_rawSource = false;
    StructureTab m_structureTab = StructureTab::outline;
    bool m_showPicker = false;
    bool m_showRemote = false;
    bool m_searchFocused = false;
    QString m_searchText;
    bool m_searchInText = false;
    bool m_captureImage = false;
    QSet<QString> m_isolated;
    int m_minChanges = 0;
    bool m_autoFrame = true;
    QStringList m_recents;
    int m_recentIndex = 0;
    bool m_fullScreen = false;

    std::optional<OutlineKeys> m_outlineKeys;
    std::optional<QString> m_pendingSelection;
    CancelFlagPtr m_cancelFlag;
    bool m_suspendFilter = false;
    std::optional<QString> m_scannedPath;
    SceneHost* m_scene = nullptr;
    bool m_persistent = true;
    QThreadPool m_pool;
};
