#pragma once

#include <QString>

#include <array>
#include <optional>
#include <string_view>

// Everything a key, a button or a menu can ask of the window. The scene's actions come first, in
// the order the key sheet lists them; then those of the layers before the scene.
enum class Action {
    left,
    right,
    up,
    down,
    turnLeft,
    turnRight,
    tiltUp,
    tiltDown,
    panLeft,
    panRight,
    panUp,
    panDown,
    enter,
    ascend,
    dive,
    nextSibling,
    prevSibling,
    escape,
    zoomIn,
    zoomOut,
    home,
    frame,
    autoFrame,
    perspective,
    city,
    tree,
    history,
    graph,
    play,
    commitBack,
    commitOn,
    commitBack10,
    commitOn10,
    commitStart,
    commitMid,
    commitEnd,
    color,
    colorBack,
    height,
    heightBack,
    rail,
    drawer,
    wideDrawer,
    search,
    clearFilters,
    preview,
    minimap,
    hex,
    raw,
    previewKeys,
    previewPageDown,
    previewPageUp,
    previewNextHit,
    previewPreviousHit,
    structure,
    structureTab,
    theme,
    open,
    reveal,
    picker,
    remote,
    closeFolder,
    fullScreen,
    keys,
    // The layers before the scene.
    outlineDown,
    outlineUp,
    outlineOpen,
    outlineClose,
    dismissCapture,
    pickerDown,
    pickerInto,
    pickerUp,
    pickerBack,
    pickerOpen,
    remoteFetch,
    searchToggleText,
    searchEscape,
    searchPrevious,
    searchNext,
    searchAccept,
    cancelScan,
    recentUp,
    recentDown,
    recentOpen,
};

// One row of the action table: the name scripts and menus use, the key as the key sheet and a menu
// show it (empty when no key performs the action), and what the action does.
struct ActionInfo {
    Action action;
    std::string_view name;
    std::string_view key; // UTF-8
    std::string_view description;
};

// Every action, in the order of its declaration.
extern const std::array<ActionInfo, std::size_t(Action::recentOpen) + 1> actionTable;

const ActionInfo& actionInfo(Action action);
QString actionName(Action action);
std::optional<Action> actionFromName(QStringView name);
QString actionKey(Action action);
QString actionDescription(Action action);
