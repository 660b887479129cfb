#pragma once

#include "state/modes.h"
#include "state/statecontroller.h"

#include <functional>
#include <optional>

// The handlers of a structure outline while it owns the arrow keys.
struct OutlineKeys {
    std::function<void(int step)> step;
    std::function<void()> open;
    std::function<void()> close;
};

// What the window shows around the scene: the folder rail, the details drawer and its width, the
// key sheet, the file's preview and its views, the picker and remote entry, the capture overlay,
// and full screen.
class Panels : public StateController {
    Q_OBJECT

public:
    static constexpr double narrowDrawerWidth = 340;
    static constexpr double wideDrawerWidth = 620;

    using StateController::StateController;

    RailMode railMode() const { return m_railMode; }
    bool showDrawer() const { return m_showDrawer; }
    double drawerWidth() const { return m_drawerWidth; }
    bool showKeys() const { return m_showKeys; }
    bool showPreview() const { return m_showPreview; }
    bool showMinimap() const { return m_showMinimap; }
    bool hexMode() const { return m_hexMode; }
    bool rawSource() const { return m_rawSource; }
    // The preview holds the arrows, Home, End and the zoom keys, once it is clicked, until Escape or a
    // click in the scene.
    bool previewKeys() const { return m_previewKeys; }
    StructureTab structureTab() const { return m_structureTab; }
    bool showPicker() const { return m_showPicker; }
    bool showRemote() const { return m_showRemote; }
    // The full-window capture overlay: it takes every key, and only Escape dismisses it.
    bool captureImage() const { return m_captureImage; }
    bool fullScreen() const { return m_fullScreen; }
    const std::optional<OutlineKeys>& outlineKeys() const { return m_outlineKeys; }

    void setRailMode(RailMode mode);
    void setShowDrawer(bool show);
    // Shows the drawer and switches it between its narrow and wide widths.
    void toggleWideDrawer();
    // A width between the narrow and the wide one.
    void setDrawerWidth(double width);
    void setShowKeys(bool show);
    void setShowPreview(bool show);
    void setShowMinimap(bool show);
    void setHexMode(bool on);
    void setRawSource(bool on);
    void setPreviewKeys(bool on);
    void setStructureTab(StructureTab tab);
    void setShowPicker(bool show);
    void setShowRemote(bool show);
    void setCaptureImage(bool on);
    void setFullScreen(bool on);
    void setOutlineKeys(std::optional<OutlineKeys> keys) { m_outlineKeys = std::move(keys); }

signals:
    void railModeChanged();
    void showDrawerChanged();
    void drawerWidthChanged();
    void showKeysChanged();
    void showPreviewChanged();
    void showMinimapChanged();
    void hexModeChanged();
    void rawSourceChanged();
    void previewKeysChanged();
    void structureTabChanged();
    void showPickerChanged();
    void showRemoteChanged();
    void captureImageChanged();
    void fullScreenChanged();

private:
    RailMode m_railMode = RailMode::compact;
    bool m_showDrawer = true;
    double m_drawerWidth = narrowDrawerWidth;
    bool m_showKeys = false;
    bool m_showPreview = false;
    bool m_showMinimap = false;
    bool m_hexMode = false;
    bool m_rawSource = false;
    bool m_previewKeys = false;
    StructureTab m_structureTab = StructureTab::outline;
    bool m_showPicker = false;
    bool m_showRemote = false;
    bool m_captureImage = false;
    bool m_fullScreen = false;
    std::optional<OutlineKeys> m_outlineKeys;
};
