// Which action a key stands for: the layers in front of the scene first, then the scene's keys.

#include "state/keyrouter.h"

#include "state/appstate.h"

namespace {

bool isReturn(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter;
}

// Plain, with Shift, with Option.
struct ArrowActions {
    int key;
    Action plain;
    Action shift;
    Action option;
};

constexpr ArrowActions arrows[] = {
    { Qt::Key_Left, Action::left, Action::turnLeft, Action::panLeft },
    { Qt::Key_Right, Action::right, Action::turnRight, Action::panRight },
    { Qt::Key_Up, Action::up, Action::tiltUp, Action::panUp },
    { Qt::Key_Down, Action::down, Action::tiltDown, Action::panDown },
};

struct CharacterAction {
    const char* characters;
    Action action;
    std::optional<Action> shifted; // with Shift held, when that differs
};

// Matched on the typed character first exactly, then lower-cased.
const CharacterAction exactCharacters[] = {
    { "=+", Action::zoomIn, {} },
    { "-_", Action::zoomOut, {} },
    { "0", Action::home, {} },
    { "1", Action::city, {} },
    { "2", Action::tree, {} },
    { "3", Action::history, {} },
    { "4", Action::graph, {} },
    { ",", Action::commitBack, Action::commitBack10 },
    { "<", Action::commitBack10, {} },
    { ".", Action::commitOn, Action::commitOn10 },
    { ">", Action::commitOn10, {} },
    { "/", Action::search, {} },
    { "?", Action::keys, {} },
    { "[", Action::rail, {} },
    { "]", Action::drawer, {} },
    { "}", Action::wideDrawer, {} },
};

const CharacterAction letters[] = {
    { "f", Action::frame, {} },
    { "c", Action::color, Action::colorBack },
    { "h", Action::height, Action::heightBack },
    { "p", Action::perspective, {} },
    { "m", Action::minimap, {} },
    { "x", Action::hex, {} },
    { "z", Action::autoFrame, {} },
    { "k", Action::clearFilters, {} },
    { "v", Action::raw, {} },
    { "s", Action::structure, {} },
    { "g", Action::structureTab, {} },
    { "t", Action::theme, {} },
    { "o", Action::open, {} },
    { "r", Action::reveal, {} },
};

std::optional<Action> matchCharacter(const QString& text, bool shift)
{
    if (text.size() != 1)
        return std::nullopt;
    const auto find = [&](const auto& table, QChar c) -> std::optional<Action> {
        for (const CharacterAction& entry : table) {
            if (QLatin1StringView(entry.characters).contains(c))
                return shift && entry.shifted ? *entry.shifted : entry.action;
        }
        return std::nullopt;
    };
    const std::optional<Action> exact = find(exactCharacters, text.front());
    return exact ? exact : find(letters, text.front().toLower());
}

} // namespace

KeyRouter::KeyRouter(AppState& state)
    : m_state(state)
{
}

std::optional<Action> KeyRouter::route(const KeyPress& press) const
{
    const int key = press.key;
    const Qt::KeyboardModifiers mods = press.modifiers;
    const bool command = mods & Qt::ControlModifier;

    if (m_state.panels().captureImage())
        return key == Qt::Key_Escape ? std::optional(Action::dismissCapture) : std::nullopt;
    // The key sheet stands in front of everything: "?" and Escape close it, and no other key reaches
    // what it covers.
    if (m_state.panels().showKeys()) {
        if (press.text == u"?")
            return Action::keys;
        return key == Qt::Key_Escape ? std::optional(Action::escape) : std::nullopt;
    }
    if (m_state.panels().showPicker())
        return pickerAction(press);
    if (m_state.panels().showRemote())
        return remoteAction(press);
    if (const std::optional<Action> window = windowAction(press))
        return window;
    if (m_state.filters().searchFocused() && !command)
        return searchAction(press);
    // While a scan runs the scene keys wait; Escape gives up the scan.
    if (m_state.scan().scanning())
        return key == Qt::Key_Escape ? std::optional(Action::cancelScan) : std::nullopt;
    if (!m_state.root())
        return welcomeAction(press);
    if (mods & Qt::MetaModifier)
        return std::nullopt;
    if (command) {
        if (isReturn(key))
            return Action::open;
        if (key == Qt::Key_Down)
            return Action::dive;
        if (key == Qt::Key_Up)
            return Action::ascend;
        return std::nullopt;
    }
    if (const std::optional<Action> outline = outlineAction(press))
        return outline;
    // Left unrouted, the key goes on to the preview's view, which scrolls, pans or zooms.
    if (m_state.panels().previewKeys() && previewOwns(press))
        return std::nullopt;
    return sceneAction(press);
}

// The keys of the window itself, which work over the scene, the welcome screen and a scan alike.
std::optional<Action> KeyRouter::windowAction(const KeyPress& press)
{
    if (press.key == Qt::Key_F11 && !(press.modifiers & ~Qt::KeypadModifier))
        return Action::fullScreen;
    if ((press.modifiers & ~Qt::KeypadModifier) != Qt::ControlModifier)
        return std::nullopt;
    switch (press.key) {
    case Qt::Key_O: return Action::picker;
    case Qt::Key_D: return Action::remote;
    case Qt::Key_W: return Action::closeFolder;
    default: return std::nullopt;
    }
}

// The picker's list answers the arrows, Return and Escape; other keys type the name that narrows
// it, and Backspace goes back once that name is empty.
std::optional<Action> KeyRouter::pickerAction(const KeyPress& press) const
{
    const bool command = press.modifiers & Qt::ControlModifier;
    switch (press.key) {
    case Qt::Key_Down: return Action::pickerDown;
    case Qt::Key_Up: return Action::pickerUp;
    case Qt::Key_Return:
    case Qt::Key_Enter: return command ? Action::pickerOpen : Action::pickerInto;
    case Qt::Key_Right: return Action::pickerInto;
    case Qt::Key_Left: return Action::pickerBack;
    case Qt::Key_Backspace:
        return m_state.picker().filter().isEmpty() ? std::optional(Action::pickerBack) : std::nullopt;
    case Qt::Key_Escape: return Action::escape;
    default: return windowAction(press);
    }
}

// The entry of a repository to download: Return starts, Escape cancels or closes; the rest is typed.
std::optional<Action> KeyRouter::remoteAction(const KeyPress& press) const
{
    switch (press.key) {
    case Qt::Key_Return:
    case Qt::Key_Enter: return Action::remoteFetch;
    case Qt::Key_Escape: return Action::escape;
    default: return windowAction(press);
    }
}

bool KeyRouter::previewOwns(const KeyPress& press)
{
    switch (press.key) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Home:
    case Qt::Key_End: return !(press.modifiers & Qt::AltModifier);
    default: return press.text == u"+" || press.text == u"=" || press.text == u"-" || press.text == u"0";
    }
}

// Paging and the search's hits in the preview, from the scene and from the search field alike.
std::optional<Action> KeyRouter::previewAction(const KeyPress& press) const
{
    if (!m_state.panels().showPreview())
        return std::nullopt;
    const bool shift = press.modifiers & Qt::ShiftModifier;
    switch (press.key) {
    case Qt::Key_PageDown: return Action::previewPageDown;
    case Qt::Key_PageUp: return Action::previewPageUp;
    case Qt::Key_F3: return shift ? Action::previewPreviousHit : Action::previewNextHit;
    default: return std::nullopt;
    }
}

std::optional<Action> KeyRouter::searchAction(const KeyPress& press) const
{
    if (const std::optional<Action> preview = previewAction(press))
        return preview;
    switch (press.key) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab: return Action::searchToggleText;
    case Qt::Key_Escape: return Action::searchEscape;
    case Qt::Key_Up: return Action::searchPrevious;
    case Qt::Key_Down: return Action::searchNext;
    case Qt::Key_Return:
    case Qt::Key_Enter: return Action::searchAccept;
    default: return std::nullopt;
    }
}

std::optional<Action> KeyRouter::welcomeAction(const KeyPress& press) const
{
    const int key = press.key;
    if (press.text == u"?")
        return Action::keys;
    if (key == Qt::Key_Up)
        return Action::recentUp;
    if (key == Qt::Key_Down)
        return Action::recentDown;
    if (isReturn(key) && m_state.recents().recentIndex() < m_state.recents().folders().size())
        return Action::recentOpen;
    return std::nullopt;
}

std::optional<Action> KeyRouter::outlineAction(const KeyPress& press) const
{
    if (!m_state.panels().outlineKeys() || (press.modifiers & (Qt::ShiftModifier | Qt::AltModifier)))
        return std::nullopt;
    switch (press.key) {
    case Qt::Key_Left: return Action::outlineClose;
    case Qt::Key_Right: return Action::outlineOpen;
    case Qt::Key_Up: return Action::outlineUp;
    case Qt::Key_Down: return Action::outlineDown;
    default: return std::nullopt;
    }
}

std::optional<Action> KeyRouter::sceneAction(const KeyPress& press) const
{
    const bool shift = press.modifiers & Qt::ShiftModifier;
    const bool option = press.modifiers & Qt::AltModifier;
    switch (press.key) {
    case Qt::Key_Return:
    case Qt::Key_Enter: return Action::enter;
    case Qt::Key_Tab: return shift ? Action::prevSibling : Action::nextSibling;
    case Qt::Key_Backtab: return Action::prevSibling;
    case Qt::Key_Space:
        if (shift)
            return Action::previewKeys;
        return m_state.display().mode() == VisualizationMode::history ? Action::play : Action::preview;
    case Qt::Key_Backspace:
    case Qt::Key_Delete: return Action::ascend;
    case Qt::Key_Escape: return Action::escape;
    default: break;
    }
    if (const std::optional<Action> preview = previewAction(press))
        return preview;
    for (const ArrowActions& arrow : arrows) {
        if (arrow.key == press.key)
            return shift ? arrow.shift : option ? arrow.option : arrow.plain;
    }
    return matchCharacter(press.text, shift);
}

bool KeyRouter::handle(const KeyPress& key)
{
    const std::optional<Action> action = route(key);
    if (action)
        perform(*action);
    // Keys the sheet of keys holds back are taken all the same.
    return action || m_state.panels().showKeys();
}
