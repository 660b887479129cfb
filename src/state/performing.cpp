// What each action does, by group: walking the tree, the camera, the display, the panels, the
// filters, and the folder itself. The key sheet is written from the same table.

#include "state/keyrouter.h"

#include "scan/beneath.h"
#include "state/appstate.h"

#include <algorithm>

namespace {

// "Shift ←" and "Shift →" share a row as "Shift ← →"; keys of different kinds are listed with commas.
QString mergedKeys(const QStringList& keys)
{
    if (keys.size() == 1)
        return keys.front();
    const qsizetype space = keys.front().indexOf(u' ');
    const QString prefix = space < 0 ? QString() : keys.front().left(space + 1);
    QStringList parts;
    for (const QString& key : keys) {
        if (key.contains(u',') || key.indexOf(u' ') != space || !key.startsWith(prefix))
            return keys.join(QStringLiteral(", "));
        parts.append(key.mid(prefix.size()));
    }
    return prefix + parts.join(u' ');
}

// Why a node may not be handed to the desktop, if it may not: only what is there and is reached
// from the scanned folder without a link is opened or shown, so a link in a downloaded repository
// never opens something elsewhere on the disk. A link itself may be shown in its folder.
std::optional<QString> handOverRefusal(const FileNode& node, bool linkShown = false)
{
    const FileNode& top = node.top();
    if (&node == &top)
        return std::nullopt;
    const std::optional<struct stat> status = Beneath(top.url).status(node.relativePath.toUtf8());
    if (!status)
        return node.relativePath + QStringLiteral(" is not in the folder now, or is reached through a link.");
    if (S_ISLNK(status->st_mode) && !linkShown)
        return node.relativePath
            + QStringLiteral(" is a link; Korvane opens only what is inside the folder.");
    return std::nullopt;
}

} // namespace

bool KeyRouter::perform(const QString& name)
{
    const std::optional<Action> action = actionFromName(name);
    return action && perform(*action);
}

bool KeyRouter::knows(const QString& name)
{
    const std::optional<Action> action = actionFromName(name);
    return action.has_value();
}

bool KeyRouter::perform(Action action)
{
    for (const auto group : { &KeyRouter::performNavigation, &KeyRouter::performCamera,
             &KeyRouter::performDisplay, &KeyRouter::performHistory, &KeyRouter::performPanels,
             &KeyRouter::performFilters, &KeyRouter::performFolder }) {
        if (const std::optional<bool> done = (this->*group)(action))
            return *done;
    }
    return false;
}

std::optional<bool> KeyRouter::performNavigation(Action action)
{
    AppState& s = m_state;
    switch (action) {
    case Action::left: return s.move(MoveDirection::left);
    case Action::right: return s.move(MoveDirection::right);
    case Action::up: return s.move(MoveDirection::up);
    case Action::down: return s.move(MoveDirection::down);
    case Action::enter: return s.enter();
    case Action::escape: return s.escape();
    case Action::ascend: return s.ascend();
    case Action::dive: return s.structure().cityShown() ? s.enter() : s.dive(s.selection());
    case Action::nextSibling: return s.cycleSibling(1);
    case Action::prevSibling: return s.cycleSibling(-1);
    default: return std::nullopt;
    }
}

std::optional<bool> KeyRouter::performCamera(Action action)
{
    static constexpr std::pair<Action, CameraAction> moves[] {
        { Action::turnLeft, CameraAction::turnLeft },
        { Action::turnRight, CameraAction::turnRight },
        { Action::tiltUp, CameraAction::tiltUp },
        { Action::tiltDown, CameraAction::tiltDown },
        { Action::panLeft, CameraAction::panLeft },
        { Action::panRight, CameraAction::panRight },
        { Action::panUp, CameraAction::panUp },
        { Action::panDown, CameraAction::panDown },
        { Action::zoomIn, CameraAction::zoomIn },
        { Action::zoomOut, CameraAction::zoomOut },
        { Action::home, CameraAction::home },
        { Action::frame, CameraAction::frame },
        { Action::perspective, CameraAction::perspective },
    };
    const auto move
        = std::find_if(std::begin(moves), std::end(moves), [&](const auto& m) { return m.first == action; });
    if (move == std::end(moves))
        return std::nullopt;
    if (!m_state.scene() || !m_state.root())
        return false;
    m_state.scene()->camera(move->second);
    return true;
}

std::optional<bool> KeyRouter::performDisplay(Action action)
{
    DisplaySettings& display = m_state.display();
    switch (action) {
    case Action::city:
    case Action::tree:
    case Action::history:
    case Action::graph: {
        const auto mode = action == Action::city ? VisualizationMode::city
            : action == Action::tree             ? VisualizationMode::tree
            : action == Action::history          ? VisualizationMode::history
                                                 : VisualizationMode::graph;
        if (const std::optional<QString> why = display.refusal(mode)) {
            m_state.setErrorMessage(*why);
            return false;
        }
        if (!m_state.root())
            return false;
        // A view of the folder is asked for: out of the file walked into first.
        m_state.leaveFile();
        display.setMode(mode);
        return true;
    }
    case Action::color:
    case Action::colorBack:
        if (m_state.structure().cityShown()) {
            m_state.setErrorMessage(
                QStringLiteral("A file's parts are coloured by their role; press Backspace "
                               "to colour the folder's files."));
            return false;
        }
        return display.cycleColor(action == Action::color ? 1 : -1), true;
    case Action::height: return display.cycleHeight(1), true;
    case Action::heightBack: return display.cycleHeight(-1), true;
    case Action::autoFrame: return display.setAutoFrame(!display.autoFrame()), true;
    case Action::theme: return display.setDark(!display.dark()), true;
    default: return std::nullopt;
    }
}

// Playback, in the history view once its history is read.
std::optional<bool> KeyRouter::performHistory(Action action)
{
    TimelineController& timeline = m_state.timeline();
    const bool ready = m_state.display().mode() == VisualizationMode::history && timeline.isReady();
    const qint64 last = timeline.commitCount() - 1;
    const auto moveTo = [&](qint64 target) {
        timeline.stop();
        timeline.move(target);
        return true;
    };
    switch (action) {
    case Action::play: return ready && (timeline.togglePlay(), true);
    case Action::commitBack: return ready && moveTo(timeline.position() - 1);
    case Action::commitOn: return ready && moveTo(timeline.position() + 1);
    case Action::commitBack10: return ready && moveTo(timeline.position() - 10);
    case Action::commitOn10: return ready && moveTo(timeline.position() + 10);
    case Action::commitStart: return ready && moveTo(-1);
    case Action::commitMid: return ready && moveTo(last / 2);
    case Action::commitEnd: return ready && moveTo(last);
    default: return std::nullopt;
    }
}

std::optional<bool> KeyRouter::performPanels(Action action)
{
    Panels& panels = m_state.panels();
    const std::optional<OutlineKeys>& outline = panels.outlineKeys();
    switch (action) {
    case Action::keys: return panels.setShowKeys(!panels.showKeys()), true;
    case Action::rail: return panels.setRailMode(cycled(railModes, panels.railMode(), 1)), true;
    case Action::drawer: return panels.setShowDrawer(!panels.showDrawer()), true;
    case Action::wideDrawer: return panels.toggleWideDrawer(), true;
    case Action::dismissCapture: return panels.setCaptureImage(false), true;
    case Action::preview:
    case Action::minimap:
    case Action::hex:
    case Action::raw:
    case Action::previewKeys:
    case Action::previewPageDown:
    case Action::previewPageUp:
    case Action::previewNextHit:
    case Action::previewPreviousHit: return performPreview(action);
    case Action::fullScreen: return panels.setFullScreen(!panels.fullScreen()), true;
    case Action::structureTab:
        if (!m_state.structure().path()) {
            m_state.setErrorMessage(QStringLiteral("Show a file's structure first: select it and press s."));
            return false;
        }
        return panels.setStructureTab(cycled(structureTabs, panels.structureTab(), 1)), true;
    case Action::picker:
        if (panels.showPicker())
            return panels.setShowPicker(false), true;
        return m_state.showFolderPicker(), true;
    case Action::remote:
        if (panels.showRemote() && !m_state.downloads().cloning())
            return panels.setShowRemote(false), true;
        return m_state.showRemoteEntry(), true;
    case Action::pickerDown: return m_state.picker().step(1);
    case Action::pickerUp: return m_state.picker().step(-1);
    case Action::pickerInto: return m_state.picker().into();
    case Action::pickerBack: return m_state.picker().back();
    case Action::outlineDown: return outline && (outline->step(1), true);
    case Action::outlineUp: return outline && (outline->step(-1), true);
    case Action::outlineOpen: return outline && (outline->open(), true);
    case Action::outlineClose: return outline && (outline->close(), true);
    default: return std::nullopt;
    }
}

// The preview's views. Asking for one of them shows the preview too.
bool KeyRouter::performPreview(Action action)
{
    Panels& panels = m_state.panels();
    PreviewController& preview = m_state.preview();
    if (!m_state.root())
        return false;
    const std::shared_ptr<const PreviewContent>& content = preview.content();
    switch (action) {
    case Action::preview: return panels.setShowPreview(!panels.showPreview()), true;
    case Action::minimap:
        if (panels.showPreview())
            return panels.setShowMinimap(!panels.showMinimap()), true;
        return panels.setShowMinimap(true), panels.setShowPreview(true), true;
    case Action::hex:
        if (panels.showPreview())
            return panels.setHexMode(!panels.hexMode()), true;
        return panels.setHexMode(true), panels.setShowPreview(true), true;
    case Action::raw:
        if (panels.rawSource())
            return panels.setRawSource(false), true;
        if (content && !content->message && !Preview::hasRawSource(content->kind, content->name)) {
            m_state.setErrorMessage(QStringLiteral("v shows the source of Markdown, HTML, SVG, boards and "
                                                   "schematics; ")
                + content->name + QStringLiteral(" is shown as it is."));
            return false;
        }
        return panels.setRawSource(true), panels.setShowPreview(true), true;
    case Action::previewKeys:
        if (!content || content->message) {
            m_state.setErrorMessage(QStringLiteral("Preview a file first: select it and press Space."));
            return false;
        }
        return panels.setShowPreview(true), panels.setPreviewKeys(true), true;
    case Action::previewPageDown:
    case Action::previewPageUp:
        return content && (preview.page(action == Action::previewPageDown ? 1 : -1), true);
    case Action::previewNextHit:
    case Action::previewPreviousHit:
        if (!m_state.filters().searchInText() || m_state.filters().searchText().trimmed().isEmpty()) {
            m_state.setErrorMessage(
                QStringLiteral("Search the files' text first (/ then Tab) to step through its hits."));
            return false;
        }
        return content && (preview.stepHit(action == Action::previewNextHit ? 1 : -1), true);
    default: return false;
    }
}

std::optional<bool> KeyRouter::performFilters(Action action)
{
    Filters& filters = m_state.filters();
    SearchController& search = m_state.search();
    // The selection follows the current result, and the camera with it.
    const auto stepSearch = [&](int step) {
        if (!search.step(step))
            return false;
        m_state.showFound(search.current());
        return true;
    };
    switch (action) {
    case Action::search: return m_state.root() && (filters.setSearchFocused(true), true);
    case Action::searchPrevious: return stepSearch(-1);
    case Action::searchNext: return stepSearch(1);
    case Action::searchAccept:
        if (!search.current() && !search.results().isEmpty())
            search.step(1);
        if (search.current())
            m_state.showFound(search.current(), true);
        filters.focusScene();
        return true;
    case Action::clearFilters: return filters.hasFilters() && (filters.clearFilters(), true);
    case Action::searchToggleText: return filters.setSearchInText(!filters.searchInText()), true;
    case Action::searchEscape:
        if (filters.searchText().isEmpty())
            filters.focusScene();
        else
            filters.setSearchText({});
        return true;
    default: return std::nullopt;
    }
}

std::optional<bool> KeyRouter::performFolder(Action action)
{
    AppState& s = m_state;
    Recents& recents = s.recents();
    const FileNode* selection = s.selection();
    switch (action) {
    case Action::open: {
        if (!s.scene() || !selection)
            return false;
        std::optional<QString> why = handOverRefusal(*selection);
        // In a file's city, at the line of the part selected there.
        const StructureController& structure = s.structure();
        const std::optional<qsizetype> part = structure.cityShown() ? structure.selectedPart() : std::nullopt;
        const int line = part
            ? int(std::max<qint64>(structure.document()->nodes[std::size_t(*part)].line, 0) + 1)
            : s.search().firstHitLine(*selection);
        if (!why)
            why = s.scene()->openExternally(selection->url, line);
        if (why)
            s.setErrorMessage(*why);
        return !why;
    }
    case Action::reveal: {
        const FileNode* node = selection ? selection : s.viewRoot();
        if (!s.scene() || !node)
            return false;
        std::optional<QString> why = node->parent ? handOverRefusal(*node->parent) : std::nullopt;
        if (!why)
            why = handOverRefusal(*node, true);
        if (!why)
            why = s.scene()->revealExternally(node->url);
        if (why)
            s.setErrorMessage(*why);
        return !why;
    }
    case Action::cancelScan: return s.scan().cancel(), true;
    case Action::closeFolder: return s.close();
    case Action::structure: return s.root() && s.toggleStructure(selection);
    case Action::pickerOpen: return s.openFromPicker();
    case Action::remoteFetch: return s.panels().showRemote() && s.downloads().start();
    case Action::recentUp: return recents.setRecentIndex(recents.recentIndex() - 1), true;
    case Action::recentDown: return recents.setRecentIndex(recents.recentIndex() + 1), true;
    case Action::recentOpen:
        if (recents.recentIndex() < 0 || recents.recentIndex() >= recents.folders().size())
            return false;
        s.open(recents.folders().at(recents.recentIndex()));
        return true;
    default: return std::nullopt;
    }
}

QList<QPair<QString, QString>> KeyRouter::sceneKeys()
{
    QList<QPair<QString, QString>> rows;
    QStringList keys;
    std::string_view description;
    const auto finishRow = [&] {
        if (!keys.isEmpty())
            rows.append(
                { mergedKeys(keys), QString::fromUtf8(description.data(), qsizetype(description.size())) });
        keys.clear();
    };
    for (const ActionInfo& info : actionTable) {
        if (info.action > Action::keys)
            break;
        if (info.key.empty())
            continue;
        if (info.description != description)
            finishRow();
        description = info.description;
        keys.append(actionKey(info.action));
    }
    finishRow();
    return rows;
}
