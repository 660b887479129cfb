#include "state/actions.h"

#include "text/nametable.h"

constexpr std::array<ActionInfo, std::size_t(Action::recentOpen) + 1> actionTable { {
    { Action::left, "left", "←", "Select the nearest file in that direction" },
    { Action::right, "right", "→", "Select the nearest file in that direction" },
    { Action::up, "up", "↑", "Select the nearest file in that direction" },
    { Action::down, "down", "↓", "Select the nearest file in that direction" },
    { Action::turnLeft, "turnLeft", "Shift ←", "Turn and tilt the camera" },
    { Action::turnRight, "turnRight", "Shift →", "Turn and tilt the camera" },
    { Action::tiltUp, "tiltUp", "Shift ↑", "Turn and tilt the camera" },
    { Action::tiltDown, "tiltDown", "Shift ↓", "Turn and tilt the camera" },
    { Action::panLeft, "panLeft", "Alt ←", "Pan the camera" },
    { Action::panRight, "panRight", "Alt →", "Pan the camera" },
    { Action::panUp, "panUp", "Alt ↑", "Pan the camera" },
    { Action::panDown, "panDown", "Alt ↓", "Pan the camera" },
    { Action::enter, "enter", "Return",
        "Enter: a folder's largest file, into a file's parts, or zoom to a file" },
    { Action::ascend, "ascend", "Backspace, Ctrl ↑", "Up one level" },
    { Action::dive, "dive", "Ctrl ↓", "Dive into the selected folder" },
    { Action::nextSibling, "nextSibling", "Tab", "Next sibling, file or folder" },
    { Action::prevSibling, "prevSibling", "Shift Tab", "Previous sibling, file or folder" },
    { Action::escape, "escape", "Escape", "Close, deselect, or go back up" },
    { Action::zoomIn, "zoomIn", "=", "Zoom in" },
    { Action::zoomOut, "zoomOut", "−", "Zoom out" },
    { Action::home, "home", "0", "Show everything" },
    { Action::frame, "frame", "f", "Frame the selection" },
    { Action::autoFrame, "autoFrame", "z", "Follow the selection on or off" },
    { Action::perspective, "perspective", "p", "Perspective or flat projection" },
    { Action::city, "city", "1", "City view" },
    { Action::tree, "tree", "2", "Tree view" },
    { Action::history, "history", "3", "History view" },
    { Action::graph, "graph", "4", "Imports graph" },
    { Action::play, "play", "Space", "Play or pause the history" },
    { Action::commitBack, "commitBack", ",", "One commit back" },
    { Action::commitOn, "commitOn", ".", "One commit on" },
    { Action::commitBack10, "commitBack10", "<", "Ten commits back" },
    { Action::commitOn10, "commitOn10", ">", "Ten commits on" },
    { Action::commitStart, "commitStart", "", "The start, before the first commit" },
    { Action::commitMid, "commitMid", "", "The middle commit" },
    { Action::commitEnd, "commitEnd", "", "The last commit" },
    { Action::color, "color", "c", "Next colouring" },
    { Action::colorBack, "colorBack", "C", "Previous colouring" },
    { Action::height, "height", "h", "Next height" },
    { Action::heightBack, "heightBack", "H", "Previous height" },
    { Action::rail, "rail", "[", "Folder rail: compact, expanded, hidden" },
    { Action::drawer, "drawer", "]", "Details drawer" },
    { Action::wideDrawer, "wideDrawer", "}", "Wide details drawer" },
    { Action::search, "search", "/", "Search" },
    { Action::clearFilters, "clearFilters", "k", "Clear filters" },
    { Action::preview, "preview", "Space", "Preview the file" },
    { Action::minimap, "minimap", "m", "Minimap of the preview" },
    { Action::hex, "hex", "x", "Bytes of the preview in hex" },
    { Action::raw, "raw", "v", "Raw source in the preview" },
    { Action::previewKeys, "previewKeys", "Shift Space",
        "The arrows, Home, End, + and − to the preview, until Escape" },
    { Action::previewPageDown, "previewPageDown", "Page Down", "Scroll the preview, or zoom its drawing" },
    { Action::previewPageUp, "previewPageUp", "Page Up", "Scroll the preview, or zoom its drawing" },
    { Action::previewNextHit, "previewNextHit", "F3", "Next or previous hit of the search in the preview" },
    { Action::previewPreviousHit, "previewPreviousHit", "Shift F3",
        "Next or previous hit of the search in the preview" },
    { Action::structure, "structure", "s", "The file's outline and the lines of its parts" },
    { Action::structureTab, "structureTab", "g", "Outline, treemap, flow or links of the file" },
    { Action::theme, "theme", "t", "Dark or light theme" },
    { Action::open, "open", "o, Ctrl Return", "Open the file or folder with its program" },
    { Action::reveal, "reveal", "r", "Show in the file manager" },
    { Action::picker, "picker", "Ctrl O", "Choose a folder to open" },
    { Action::remote, "remote", "Ctrl D", "Download a repository" },
    { Action::closeFolder, "closeFolder", "Ctrl W", "Close the folder" },
    { Action::fullScreen, "fullScreen", "F11", "Full screen" },
    { Action::keys, "keys", "?", "Show the keys" },
    { Action::outlineDown, "outlineDown", "↓", "Next part of the outline" },
    { Action::outlineUp, "outlineUp", "↑", "Previous part of the outline" },
    { Action::outlineOpen, "outlineOpen", "→", "Open the part" },
    { Action::outlineClose, "outlineClose", "←", "Close the part" },
    { Action::dismissCapture, "dismissCapture", "Escape", "Close the capture" },
    { Action::pickerDown, "pickerDown", "↓", "Next folder" },
    { Action::pickerInto, "pickerInto", "→, Return", "Into the folder" },
    { Action::pickerUp, "pickerUp", "↑", "Previous folder" },
    { Action::pickerBack, "pickerBack", "←, Backspace", "Back to the enclosing folder" },
    { Action::pickerOpen, "pickerOpen", "Ctrl Return", "Open the folder" },
    { Action::remoteFetch, "remoteFetch", "Return", "Download the repository" },
    { Action::searchToggleText, "searchToggleText", "Tab", "Search names or the files' text" },
    { Action::searchEscape, "searchEscape", "Escape", "Clear the search, then leave it" },
    { Action::searchPrevious, "searchPrevious", "↑", "Previous match" },
    { Action::searchNext, "searchNext", "↓", "Next match" },
    { Action::searchAccept, "searchAccept", "Return", "Go to the match" },
    { Action::cancelScan, "cancelScan", "Escape", "Cancel the scan" },
    { Action::recentUp, "recentUp", "↑", "Previous recent folder" },
    { Action::recentDown, "recentDown", "↓", "Next recent folder" },
    { Action::recentOpen, "recentOpen", "Return", "Open the recent folder" },
} };

namespace {

constexpr const auto& table = actionTable;

constexpr bool inDeclarationOrder()
{
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (table[i].action != Action(i))
            return false;
    }
    return true;
}
static_assert(inDeclarationOrder(), "the action table lists every action in the order of its declaration");

// The names alone, for lookup both ways.
constexpr auto names = [] {
    NameTable<Action, table.size()> names {};
    for (std::size_t i = 0; i < table.size(); ++i)
        names.names[i] = table[i].name;
    return names;
}();

QString utf8(std::string_view text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

} // namespace

const ActionInfo& actionInfo(Action action)
{
    return table[std::size_t(action)];
}

QString actionName(Action action)
{
    return names.name(action);
}

std::optional<Action> actionFromName(QStringView name)
{
    return names.find(name);
}

QString actionKey(Action action)
{
    return utf8(actionInfo(action).key);
}

QString actionDescription(Action action)
{
    return utf8(actionInfo(action).description);
}
