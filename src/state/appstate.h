#pragma once

#include "scan/scanner.h"
#include "state/commitscontroller.h"
#include "state/dependencycontroller.h"
#include "state/displaysettings.h"
#include "state/downloadcontroller.h"
#include "state/filters.h"
#include "state/folderpicker.h"
#include "state/panels.h"
#include "state/previewcontroller.h"
#include "state/recents.h"
#include "state/scancontroller.h"
#include "state/scenehost.h"
#include "state/searchcontroller.h"
#include "state/structurecontroller.h"
#include "state/timelinecontroller.h"

#include <QObject>
#include <QThreadPool>

#include <memory>
#include <optional>

enum class MoveDirection { left, right, up, down };

// The one observable state of a window: the scanned tree, the view root, the selection and the
// message, and the controllers that keep everything else (the display, the panels, the filters, the
// recent folders, the scan). Views reach every field through it and watch the signals of the part
// they show. Lives on the main thread; every user command ends in one of its operations.
//
// A new part of the window (history playback, the walked-into file, text search, the imports graph,
// a download) comes as one more StateController made in the constructor: its fields and signals are
// its own; a background job of its own is a BackgroundJob on the state's pool; it learns of a new or
// closed folder through folderChanged, and sends its refusals to the message through refused.
class AppState : public QObject {
    Q_OBJECT

public:
    // A state that does not persist keeps its recent folders to itself (scripted snapshots).
    explicit AppState(QObject* parent = nullptr, bool persistent = true);
    ~AppState() override;

    DisplaySettings& display() { return *m_display; }
    const DisplaySettings& display() const { return *m_display; }
    Panels& panels() { return *m_panels; }
    const Panels& panels() const { return *m_panels; }
    Filters& filters() { return *m_filters; }
    const Filters& filters() const { return *m_filters; }
    SearchController& search() { return *m_search; }
    const SearchController& search() const { return *m_search; }
    Recents& recents() { return *m_recents; }
    const Recents& recents() const { return *m_recents; }
    ScanController& scan() { return *m_scan; }
    const ScanController& scan() const { return *m_scan; }
    DependencyController& imports() { return *m_imports; }
    const DependencyController& imports() const { return *m_imports; }
    TimelineController& timeline() { return *m_timeline; }
    const TimelineController& timeline() const { return *m_timeline; }
    CommitsController& recentCommits() { return *m_commits; }
    const CommitsController& recentCommits() const { return *m_commits; }
    StructureController& structure() { return *m_structure; }
    const StructureController& structure() const { return *m_structure; }
    FolderPicker& picker() { return *m_picker; }
    const FolderPicker& picker() const { return *m_picker; }
    DownloadController& downloads() { return *m_downloads; }
    const DownloadController& downloads() const { return *m_downloads; }
    PreviewController& preview() { return *m_preview; }
    const PreviewController& preview() const { return *m_preview; }

    // --- the folder -------------------------------------------------------------------------
    const FileNode* root() const { return m_root.get(); }
    const FileNode* viewRoot() const { return m_viewRoot; }
    const FileNode* selection() const { return m_selection; }
    bool isGit() const { return m_isGit; }
    const std::optional<QString>& branch() const { return m_branch; }
    bool truncated() const { return m_truncated; }
    const QList<LanguageShare>& languages() const { return m_languages; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }

    // Starts scanning a folder in the background and remembers it among the recent folders; a scan
    // still running is cancelled and its late results dropped.
    void open(const QString& path);
    // Shows the structure of a file, or closes it when it is the file shown.
    bool toggleStructure(const FileNode* node);
    // Closes the folder for the welcome screen, where it heads the recent folders.
    bool close();
    // Shows the chooser of folders at the open folder's parent, or at the home folder.
    void showFolderPicker();
    // Opens the folder the picker highlights, or the folder it lists when none is.
    bool openFromPicker();
    // Shows the entry of a repository to download, in place of the picker.
    void showRemoteEntry();
    // Takes a finished scan into the state; in a repository its history may follow.
    void apply(ScanResult result);
    // Writes the commit counts and times read for the tree into it, if it is still the one shown.
    void applyHistory(const ScanHistory& history);
    void setErrorMessage(const std::optional<QString>& message);
    // The relative path to select once the next scan is applied.
    void setPendingSelection(const std::optional<QString>& relativePath)
    {
        m_pendingSelection = relativePath;
    }

    // --- selection and navigation -----------------------------------------------------------
    void setScene(SceneHost* scene) { m_scene = scene; }
    SceneHost* scene() const { return m_scene; }
    void setViewRoot(const FileNode* node);
    // Selects a node (or nothing); follow keeps the camera on it, frame zooms to it.
    void select(const FileNode* node, bool follow = true, bool frame = false);
    // Moves the selection to the nearest node on screen in a direction; beeps when there is none.
    bool move(MoveDirection direction);
    // Into a folder's largest file; into a file's parts; else zoom to the file. In a file's city,
    // focuses the part selected.
    bool enter();
    // Out of a file's city, back to the folder's with the file selected.
    bool leaveFile();
    // Closes the topmost thing: the key sheet, the message, a reading of the imports or of the
    // history, the lit import cycle, the walked-into file, the selection, and last the view root.
    bool escape();
    // Stops reading the imports, if they are being read, and leaves the graph for the view before it.
    bool stopReadingImports();
    // Stops reading the history, if the history view waits for it, and leaves for the view before.
    bool stopReadingHistory();
    // Up one level: the selection's folder, then the view root's.
    bool ascend();
    // Makes a folder (or a file's folder) the view root.
    bool dive(const FileNode* node);
    bool cycleSibling(int step);
    // Shows what a search found: selects it, and when accepted in a file's city focuses the part.
    void showFound(const FileNode* node, bool accept = false);

    // Whether the node is the folder or lies inside it.
    static bool isUnder(const FileNode* node, const FileNode* folder);
    // The candidate with the lowest score along + 2.5 × across inside the direction's cone, if any
    // (the first wins a tie).
    static std::optional<std::size_t> nearest(
        QPointF from, MoveDirection direction, const std::vector<QPointF>& candidates);

signals:
    void rootChanged();
    // The tree's commit counts and last-commit times arrived after the tree.
    void commitsChanged();
    void viewRootChanged();
    void selectionChanged();
    void errorMessageChanged();

private:
    template <typename Controller, typename... Arguments> Controller* adopt(Arguments&&... arguments);
    void installRoot(ScanResult result);
    void modeChanged(VisualizationMode previous);
    // Reads the imports when the view needs them (the graph, or the imports over the city) and
    // stops a reading that nothing needs any more.
    void followImportsNeed();
    // Shows the history's city once it is read, while the history view is on.
    void followHistory();
    // The search inside a walked-into file, and the word that its reading stopped early.
    void followStructure();
    // Reads the newest commits of what the drawer shows, while it shows them.
    void followCommitsNeed();
    // Previews the file selected while the preview is shown; in the history view, as it was at the
    // playhead.
    void followPreview();
    bool selectNearestCentre();
    // What the arrows and Tab move: the selection, or in a file's city the part selected.
    const FileNode* cursor() const;
    void moveCursor(const FileNode* node);

    // Background jobs run here; the state waits for them before it goes.
    QThreadPool m_pool;
    QList<StateController*> m_controllers; // in the order they hear of a new folder
    DisplaySettings* m_display = nullptr;
    Filters* m_filters = nullptr;
    SearchController* m_search = nullptr;
    ScanController* m_scan = nullptr;
    DependencyController* m_imports = nullptr;
    TimelineController* m_timeline = nullptr;
    CommitsController* m_commits = nullptr;
    StructureController* m_structure = nullptr;
    FolderPicker* m_picker = nullptr;
    DownloadController* m_downloads = nullptr;
    PreviewController* m_preview = nullptr;
    Panels* m_panels = nullptr;
    Recents* m_recents = nullptr;

    std::shared_ptr<FileNode> m_root;
    const FileNode* m_viewRoot = nullptr;
    const FileNode* m_selection = nullptr;
    bool m_isGit = false;
    std::optional<QString> m_branch;
    bool m_truncated = false;
    QList<LanguageShare> m_languages;
    std::optional<QString> m_errorMessage;
    std::optional<QString> m_pendingSelection;
    VisualizationMode m_modeBeforeGraph = VisualizationMode::city;
    VisualizationMode m_modeBeforeHistory = VisualizationMode::city;
    SceneHost* m_scene = nullptr;
    std::weak_ptr<const WebDocument> m_toldTruncated; // the last document whose early stop was told
};
