#pragma once

#include "state/appstate.h"
#include "state/keyrouter.h"

#include <QWidget>

#include <array>

class Drawer;
class FileTreeModel;
class KeySheet;
class Legend;
class MessageBanner;
class PreviewPanel;
class ProgressPanel;
class QLabel;
class QMenu;
class QMenuBar;
class QPushButton;
class QStackedWidget;
class FiltersChip;
class FolderPickerPanel;
class DownloadPanel;
class QLineEdit;
class SearchBar;
class StructurePanel;
class SearchResultsView;
class QTreeView;
class SceneView;
class TimelineBar;
class WelcomeView;

// The window: a masthead with the folder and the modes, the folder rail on the left, the scene in
// the middle with its overlays (progress, message, legend, key sheet), the details drawer on the
// right, and the welcome screen when no folder is open. Every key goes through the key router
// before any widget sees it.
class MainWindow : public QWidget {
    Q_OBJECT

public:
    explicit MainWindow(AppState& state, QWidget* parent = nullptr);
    ~MainWindow() override;

    KeyRouter& router() { return m_router; }
    SceneView& sceneView() { return *m_scene; }
    const Drawer& drawer() const { return *m_drawer; }
    const PreviewPanel& preview() const { return *m_preview; }
    // The menus, each item's action name in its data; for the state a script reads back.
    const QMenuBar& menus() const { return *m_menus; }
    // Whether a menu item's action can be asked for now: its part of the program is there, a folder
    // is open, and for playback the history is shown.
    bool offered(Action action) const;
    // A key as if typed on the keyboard: into the search field while it has the keys, else to the
    // router. Scripts type through it.
    void pressKey(const KeyPress& key);

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    // Connects the refreshes to the state's signals.
    void watchState();
    QWidget* makeMasthead();
    QMenuBar* makeMenus();
    void offerItems(QMenu& menu) const;
    // Open Recent, kept to the recent folders.
    void addRecentsMenu(QMenu& menu);
    // The modes of a submenu as choices, the current one checked, those without their data disabled.
    template <typename Mode, std::size_t count>
    void addModeChoices(QMenu& menu, const std::array<Mode, count>& modes,
        Mode (DisplaySettings::*current)() const, void (DisplaySettings::*choose)(Mode));
    void refreshMasthead();
    void refreshPanels();
    void refreshLegend();
    void placeOverlays();
    void syncRail();
    bool routeKey(QKeyEvent* event);
    // The field that takes typed keys the router leaves: the search's, the picker's or the
    // download's, whichever is shown with the keys; none over the scene.
    QLineEdit* typingField() const;
    // The picker and the download entry take the keyboard while shown, and give it back after.
    void followOpenPanels();
    // The state's search focus moves the keyboard focus, and a click in the field takes it.
    void followSearchFocus();
    void railMenu(const QPoint& at);

    AppState& m_state;
    KeyRouter m_router;
    QLabel* m_folderName = nullptr;
    QLabel* m_facts = nullptr;
    QPushButton* m_cityButton = nullptr;
    QPushButton* m_treeButton = nullptr;
    QPushButton* m_historyButton = nullptr;
    QPushButton* m_graphButton = nullptr;
    QPushButton* m_colorButton = nullptr;
    QPushButton* m_heightButton = nullptr;
    QWidget* m_modes = nullptr;
    QStackedWidget* m_pages = nullptr;
    QWidget* m_stage = nullptr;
    WelcomeView* m_welcome = nullptr;
    QWidget* m_viewer = nullptr;
    QStackedWidget* m_railStack = nullptr; // the tree, or the search results while a search is active
    QTreeView* m_rail = nullptr;
    SearchResultsView* m_results = nullptr;
    SearchBar* m_searchBar = nullptr;
    FiltersChip* m_filtersChip = nullptr;
    FileTreeModel* m_railModel = nullptr;
    SceneView* m_scene = nullptr;
    TimelineBar* m_timeline = nullptr;
    Drawer* m_drawer = nullptr;
    StructurePanel* m_structure = nullptr;
    PreviewPanel* m_preview = nullptr;
    MessageBanner* m_banner = nullptr;
    ProgressPanel* m_progress = nullptr;
    KeySheet* m_keySheet = nullptr;
    FolderPickerPanel* m_picker = nullptr;
    DownloadPanel* m_download = nullptr;
    QMenuBar* m_menus = nullptr;
    Legend* m_legend = nullptr;
    bool m_syncing = false;
};
