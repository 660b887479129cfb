#include "state/keyrouter.h"

#include "state/appstate.h"

using namespace Qt::StringLiterals;

namespace {

bool isReturn(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter;
}

// Plain, with Shift, with Option.
struct ArrowActions {
    int key;
    const char* plain;
    const char* shift;
    const char* option;
};

constexpr ArrowActions arrows[] = {
    { Qt::Key_Left, "left", "turnLeft", "panLeft" },
    { Qt::Key_Right, "right", "turnRight", "panRight" },
    { Qt::Key_Up, "up", "tiltUp", "panUp" },
    { Qt::Key_Down, "down", "tiltDown", "panDown" },
};

struct CharacterAction {
    const char* characters;
    const char* action;
    const char* shifted; // with Shift held, when that differs
};

// Matched on the typed character first exactly, then lower-cased.
constexpr CharacterAction exactCharacters[] = {
    { "=+", "zoomIn", nullptr },
    { "-_", "zoomOut", nullptr },
    { "0", "home", nullptr },
    { "1", "city", nullptr },
    { "2", "tree", nullptr },
    { "3", "history", nullptr },
    { "4", "graph", nullptr },
    { ",", "commitBack", "commitBack10" },
    { "<", "commitBack10", nullptr },
    { ".", "commitOn", "commitOn10" },
    { ">", "commitOn10", nullptr },
    { "/", "search", nullptr },
    { "?", "keys", nullptr },
    { "[", "rail", nullptr },
    { "]", "drawer", nullptr },
    { "}", "wideDrawer", nullptr },
};

constexpr CharacterAction letters[] = {
    { "f", "frame", nullptr },
    { "c", "color", "colorBack" },
    { "h", "height", "heightBack" },
    { "p", "perspective", nullptr },
    { "m", "minimap", nullptr },
    { "x", "hex", nullptr },
    { "z", "autoFrame", nullptr },
    { "k", "clearFilters", nullptr },
    { "v", "raw", nullptr },
    { "s", "structure", nullptr },
    { "g", "structureTab", nullptr },
    { "t", "theme", nullptr },
    { "o", "open", nullptr },
    { "r", "reveal", nullptr },
};

QString matchCharacter(const QString& text, bool shift)
{
    if (text.size() != 1)
        return {};
    const auto find = [&](const auto& table, QChar c) -> QString {
        for (const CharacterAction& entry : table) {
            if (QLatin1StringView(entry.characters).contains(c))
                return QLatin1StringView(shift && entry.shifted ? entry.shifted : entry.action);
        }
        return {};
    };
    const QString exact = find(exactCharacters, text.front());
    return exact.isEmpty() ? find(letters, text.front().toLower()) : exact;
}

} // namespace

KeyRouter::KeyRouter(AppState& state)
    : m_state(state)
{
    AppState& s = m_state;
    const auto camera = [&s](CameraAction action) {
        return [&s, action] {
            if (!s.scene() || !s.root())
                return false;
            s.scene()->camera(action);
            return true;
        };
    };
    const auto toggle = [](bool (AppState::*get)() const, void (AppState::*set)(bool), AppState& s) {
        return [&s, get, set] {
            (s.*set)(!(s.*get)());
            return true;
        };
    };
    const auto outline = [&s](const std::function<void(const OutlineKeys&)>& run) {
        return [&s, run] {
            if (!s.outlineKeys())
                return false;
            run(*s.outlineKeys());
            return true;
        };
    };
    // Actions whose part of the program is not there yet; routed, named and refused.
    const auto absent = [] { return false; };

    m_actions = {
        { u"left"_s, [&s] { return s.move(MoveDirection::left); } },
        { u"right"_s, [&s] { return s.move(MoveDirection::right); } },
        { u"up"_s, [&s] { return s.move(MoveDirection::up); } },
        { u"down"_s, [&s] { return s.move(MoveDirection::down); } },
        { u"turnLeft"_s, camera(CameraAction::turnLeft) },
        { u"turnRight"_s, camera(CameraAction::turnRight) },
        { u"tiltUp"_s, camera(CameraAction::tiltUp) },
        { u"tiltDown"_s, camera(CameraAction::tiltDown) },
        { u"panLeft"_s, camera(CameraAction::panLeft) },
        { u"panRight"_s, camera(CameraAction::panRight) },
        { u"panUp"_s, camera(CameraAction::panUp) },
        { u"panDown"_s, camera(CameraAction::panDown) },
        { u"zoomIn"_s, camera(CameraAction::zoomIn) },
        { u"zoomOut"_s, camera(CameraAction::zoomOut) },
        { u"home"_s, camera(CameraAction::home) },
        { u"frame"_s, camera(CameraAction::frame) },
        { u"perspective"_s, camera(CameraAction::perspective) },
        { u"enter"_s, [&s] { return s.enter(); } },
        { u"escape"_s, [&s] { return s.escape(); } },
        { u"ascend"_s, [&s] { return s.ascend(); } },
        { u"dive"_s, [&s] { return s.dive(s.selection()); } },
        { u"nextSibling"_s, [&s] { return s.cycleSibling(1); } },
        { u"prevSibling"_s, [&s] { return s.cycleSibling(-1); } },
        { u"city"_s, [&s] { return s.root() && (s.setMode(VisualizationMode::city), true); } },
        { u"tree"_s, [&s] { return s.root() && (s.setMode(VisualizationMode::tree), true); } },
        { u"history"_s, absent },
        { u"graph"_s, absent },
        { u"play"_s, absent },
        { u"commitBack"_s, absent },
        { u"commitOn"_s, absent },
        { u"commitBack10"_s, absent },
        { u"commitOn10"_s, absent },
        { u"commitStart"_s, absent },
        { u"commitMid"_s, absent },
        { u"commitEnd"_s, absent },
        { u"search"_s, absent },
        { u"picker"_s, absent },
        { u"remote"_s, absent },
        { u"pickerDown"_s, absent },
        { u"pickerInto"_s, absent },
        { u"pickerUp"_s, absent },
        { u"pickerBack"_s, absent },
        { u"preview"_s, absent },
        { u"minimap"_s, absent },
        { u"hex"_s, absent },
        { u"raw"_s, absent },
        { u"structure"_s, absent },
        { u"structureTab"_s, absent },
        { u"keys"_s, toggle(&AppState::showKeys, &AppState::setShowKeys, s) },
        { u"rail"_s, [&s] { return s.setRailMode(cycled(railModes, s.railMode(), 1)), true; } },
        { u"drawer"_s, toggle(&AppState::showDrawer, &AppState::setShowDrawer, s) },
        { u"wideDrawer"_s, [&s] { return s.toggleWideDrawer(), true; } },
        { u"color"_s, [&s] { return s.cycleColor(1), true; } },
        { u"colorBack"_s, [&s] { return s.cycleColor(-1), true; } },
        { u"height"_s, [&s] { return s.cycleHeight(1), true; } },
        { u"heightBack"_s, [&s] { return s.cycleHeight(-1), true; } },
        { u"outlineDown"_s, outline([](const OutlineKeys& keys) { keys.step(1); }) },
        { u"outlineUp"_s, outline([](const OutlineKeys& keys) { keys.step(-1); }) },
        { u"outlineOpen"_s, outline([](const OutlineKeys& keys) { keys.open(); }) },
        { u"outlineClose"_s, outline([](const OutlineKeys& keys) { keys.close(); }) },
        { u"autoFrame"_s, toggle(&AppState::autoFrame, &AppState::setAutoFrame, s) },
        { u"clearFilters"_s, [&s] { return s.hasFilters() && (s.clearFilters(), true); } },
        { u"theme"_s, toggle(&AppState::dark, &AppState::setDark, s) },
        { u"open"_s,
            [&s] {
                if (!s.scene() || !s.selection() || s.selection()->isDirectory)
                    return false;
                s.scene()->openExternally(s.selection()->url);
                return true;
            } },
        { u"reveal"_s,
            [&s] {
                const FileNode* node = s.selection() ? s.selection() : s.viewRoot();
                if (!s.scene() || !node)
                    return false;
                s.scene()->openExternally(node->isDirectory || !node->parent ? node->url : node->parent->url);
                return true;
            } },

        // The layers before the scene.
        { u"dismissCapture"_s, [&s] { return s.setCaptureImage(false), true; } },
        { u"cancelScan"_s, [&s] { return s.cancelScan(), true; } },
        { u"searchToggleText"_s, toggle(&AppState::searchInText, &AppState::setSearchInText, s) },
        { u"searchEscape"_s,
            [&s] {
                if (s.searchText().isEmpty())
                    s.focusScene();
                else
                    s.setSearchText({});
                return true;
            } },
        { u"searchPrevious"_s, absent },
        { u"searchNext"_s, absent },
        { u"searchAccept"_s, absent },
        { u"recentUp"_s, [&s] { return s.setRecentIndex(s.recentIndex() - 1), true; } },
        { u"recentDown"_s, [&s] { return s.setRecentIndex(s.recentIndex() + 1), true; } },
        { u"recentOpen"_s,
            [&s] {
                if (s.recentIndex() < 0 || s.recentIndex() >= s.recents().size())
                    return false;
                s.open(s.recents().at(s.recentIndex()));
                return true;
            } },
    };
}

QString KeyRouter::route(const KeyPress& press) const
{
    const int key = press.key;
    const Qt::KeyboardModifiers mods = press.modifiers;
    const bool command = mods & Qt::ControlModifier;

    if (m_state.captureImage())
        return key == Qt::Key_Escape ? u"dismissCapture"_s : QString();
    if (m_state.showPicker()) {
        switch (key) {
        case Qt::Key_Down: return u"pickerDown"_s;
        case Qt::Key_Up: return u"pickerUp"_s;
        case Qt::Key_Right:
        case Qt::Key_Return:
        case Qt::Key_Enter: return u"pickerInto"_s;
        case Qt::Key_Left:
        case Qt::Key_Backspace: return u"pickerBack"_s;
        case Qt::Key_Escape: return u"escape"_s;
        default: return {};
        }
    }
    if (m_state.searchFocused() && !command) {
        switch (key) {
        case Qt::Key_Tab:
        case Qt::Key_Backtab: return u"searchToggleText"_s;
        case Qt::Key_Escape: return u"searchEscape"_s;
        case Qt::Key_Up: return u"searchPrevious"_s;
        case Qt::Key_Down: return u"searchNext"_s;
        case Qt::Key_Return:
        case Qt::Key_Enter: return u"searchAccept"_s;
        default: return {};
        }
    }
    // While a scan runs the scene keys wait; Escape gives up the scan.
    if (m_state.scanning())
        return key == Qt::Key_Escape ? u"cancelScan"_s : QString();
    if (!m_state.root()) {
        if (key == Qt::Key_Up)
            return u"recentUp"_s;
        if (key == Qt::Key_Down)
            return u"recentDown"_s;
        if (isReturn(key) && m_state.recentIndex() < m_state.recents().size())
            return u"recentOpen"_s;
        return {};
    }
    if (mods & Qt::MetaModifier)
        return {};
    if (command) {
        if (isReturn(key))
            return u"open"_s;
        if (key == Qt::Key_Down)
            return u"dive"_s;
        if (key == Qt::Key_Up)
            return u"ascend"_s;
        return {};
    }
    if (m_state.outlineKeys() && !(mods & (Qt::ShiftModifier | Qt::AltModifier))) {
        switch (key) {
        case Qt::Key_Left: return u"outlineClose"_s;
        case Qt::Key_Right: return u"outlineOpen"_s;
        case Qt::Key_Up: return u"outlineUp"_s;
        case Qt::Key_Down: return u"outlineDown"_s;
        default: break;
        }
    }
    return sceneAction(press);
}

QString KeyRouter::sceneAction(const KeyPress& press) const
{
    const bool shift = press.modifiers & Qt::ShiftModifier;
    const bool option = press.modifiers & Qt::AltModifier;
    switch (press.key) {
    case Qt::Key_Return:
    case Qt::Key_Enter: return u"enter"_s;
    case Qt::Key_Tab: return shift ? u"prevSibling"_s : u"nextSibling"_s;
    case Qt::Key_Backtab: return u"prevSibling"_s;
    case Qt::Key_Space: return m_state.mode() == VisualizationMode::history ? u"play"_s : u"preview"_s;
    case Qt::Key_Backspace:
    case Qt::Key_Delete: return u"ascend"_s;
    case Qt::Key_Escape: return u"escape"_s;
    default: break;
    }
    for (const ArrowActions& arrow : arrows) {
        if (arrow.key == press.key)
            return QLatin1StringView(shift ? arrow.shift : option ? arrow.option : arrow.plain);
    }
    return matchCharacter(press.text, shift);
}

bool KeyRouter::handle(const KeyPress& key)
{
    const QString action = route(key);
    if (action.isEmpty())
        return false;
    perform(action);
    return true;
}

bool KeyRouter::perform(const QString& action)
{
    const auto found = m_actions.constFind(action);
    return found != m_actions.constEnd() && (*found)();
}

QList<QPair<QString, QString>> KeyRouter::sceneKeys()
{
    const auto row = [](const char* keys, const char* what) {
        return qMakePair(QString::fromUtf8(keys), QString::fromUtf8(what));
    };
    return {
        row("← → ↑ ↓", "Select the nearest file in that direction"),
        row("Shift ← → ↑ ↓", "Turn and tilt the camera"),
        row("Alt ← → ↑ ↓", "Pan the camera"),
        row("Return", "Enter: a folder's largest file, or zoom to a file"),
        row("Backspace, Ctrl ↑", "Up one level"),
        row("Ctrl ↓", "Dive into the selected folder"),
        row("Tab, Shift Tab", "Next and previous sibling"),
        row("Escape", "Close, deselect, or go back up"),
        row("= −", "Zoom in and out"),
        row("0", "Show everything"),
        row("f", "Frame the selection"),
        row("z", "Follow the selection on or off"),
        row("p", "Perspective or flat projection"),
        row("1 2", "City, tree"),
        row("c C", "Next and previous colouring"),
        row("h H", "Next and previous height"),
        row("[", "Folder rail: compact, expanded, hidden"),
        row("] }", "Details drawer, wide drawer"),
        row("k", "Clear filters"),
        row("t", "Dark or light theme"),
        row("o, Ctrl Return", "Open the file with its program"),
        row("r", "Show in the file manager"),
        row("?", "This sheet"),
    };
}
