// Selection and the ways the keyboard walks the tree: by screen direction, into and out of folders,
// and along siblings.

#include "state/appstate.h"

#include <cmath>

namespace {

QPointF unit(MoveDirection direction)
{
    switch (direction) {
    case MoveDirection::left: return { -1, 0 };
    case MoveDirection::right: return { 1, 0 };
    case MoveDirection::up: return { 0, -1 };
    case MoveDirection::down: return { 0, 1 };
    }
    return {};
}

} // namespace

bool AppState::isUnder(const FileNode* node, const FileNode* folder)
{
    for (; node; node = node->parent) {
        if (node == folder)
            return true;
    }
    return false;
}

std::optional<std::size_t> AppState::nearest(
    QPointF from, MoveDirection direction, const std::vector<QPointF>& candidates)
{
    const QPointF d = unit(direction);
    std::optional<std::size_t> best;
    double bestScore = 0;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const QPointF p = candidates[i] - from;
        const double along = d.x() * p.x() + d.y() * p.y();
        const double across = std::abs(d.y() * p.x() - d.x() * p.y());
        if (along <= 1 || across >= 2 * along)
            continue;
        const double score = along + 2.5 * across;
        if (!best || score < bestScore) {
            best = i;
            bestScore = score;
        }
    }
    return best;
}

void AppState::setViewRoot(const FileNode* node)
{
    if (node == m_viewRoot)
        return;
    m_viewRoot = node;
    if (m_selection && !isUnder(m_selection, node)) {
        m_selection = nullptr;
        emit selectionChanged();
    }
    emit viewRootChanged();
}

void AppState::select(const FileNode* node, bool follow, bool frame)
{
    // Another file chosen (in the rail, say) is chosen in the folder's city.
    if (node != m_selection)
        m_structure->leaveCity();
    if (node)
        m_imports->chooseCycle(std::nullopt);
    if (node != m_selection) {
        m_selection = node;
        emit selectionChanged();
    }
    if (m_display->mode() == VisualizationMode::history)
        m_timeline->highlight(node);
    if (node && m_scene && (follow || frame))
        m_scene->focus(*node, follow, frame);
}

const FileNode* AppState::cursor() const
{
    return m_structure->cityShown() ? m_structure->selectedPartNode() : m_selection;
}

void AppState::moveCursor(const FileNode* node)
{
    if (!m_structure->cityShown()) {
        select(node, true, false);
        return;
    }
    m_structure->selectPart(node);
    if (node && m_scene)
        m_scene->focus(*node, true, false);
}

bool AppState::move(MoveDirection direction)
{
    if (!m_scene || !m_root)
        return false;
    const FileNode* from = cursor();
    const std::optional<QPointF> origin = from ? m_scene->screenPoint(*from) : std::nullopt;
    if (!origin)
        return selectNearestCentre();

    std::vector<const FileNode*> nodes;
    std::vector<QPointF> points;
    const auto pick = [&] {
        const std::optional<std::size_t> found = nearest(*origin, direction, points);
        if (found)
            moveCursor(nodes[*found]);
        return found.has_value();
    };
    if (const FileNode* parent = from->parent) {
        for (const auto& sibling : parent->children) {
            if (sibling.get() == from)
                continue;
            if (const std::optional<QPointF> point = m_scene->screenPoint(*sibling)) {
                nodes.push_back(sibling.get());
                points.push_back(*point);
            }
        }
        if (pick())
            return true;
    }
    nodes.clear();
    points.clear();
    for (const VisibleEntity& entity : m_scene->visibleEntities()) {
        if (entity.file && entity.file != from && entity.file->isDirectory == from->isDirectory) {
            nodes.push_back(entity.file);
            points.push_back(entity.point);
        }
    }
    if (pick())
        return true;
    m_scene->beep();
    return false;
}

void AppState::showFound(const FileNode* node, bool accept)
{
    if (m_structure->cityShown()) {
        moveCursor(node);
        if (accept && node)
            m_structure->setFocus(m_structure->selectedPart());
        return;
    }
    // A result outside the folder in view brings the whole tree back into view first.
    if (node && !isUnder(node, m_viewRoot))
        setViewRoot(m_root.get());
    select(node);
}

bool AppState::selectNearestCentre()
{
    if (!m_scene)
        return false;
    const QSizeF size = m_scene->viewSize();
    const QPointF centre(size.width() / 2, size.height() / 2);
    const FileNode* best = nullptr;
    double bestDistance = 0;
    for (const VisibleEntity& entity : m_scene->visibleEntities()) {
        if (entity.kind != PlacementKind::building || !entity.file)
            continue;
        const double distance = std::hypot(entity.point.x() - centre.x(), entity.point.y() - centre.y());
        if (!best || distance < bestDistance) {
            best = entity.file;
            bestDistance = distance;
        }
    }
    if (best)
        moveCursor(best);
    return best != nullptr;
}

bool AppState::enter()
{
    if (!m_root)
        return false;
    // In a file's city, Return focuses the part selected.
    if (m_structure->cityShown()) {
        if (!m_structure->selectedPart())
            return selectNearestCentre();
        m_structure->setFocus(m_structure->selectedPart());
        return true;
    }
    if (!m_selection)
        return selectNearestCentre();
    if (m_selection->isDirectory) {
        // Files before folders, so that repeated presses end on a file; the first wins a tie.
        const FileNode* largest = nullptr;
        for (const bool wantFiles : { true, false }) {
            for (const auto& child : m_selection->children) {
                const bool drawn = !m_scene || m_scene->screenPoint(*child);
                if (child->isDirectory != wantFiles && drawn && (!largest || child->lines > largest->lines))
                    largest = child.get();
            }
            if (largest)
                break;
        }
        // A folder drawn whole, as one block, shows its own files once it is the view.
        if (!largest)
            return m_scene && m_scene->screenPoint(*m_selection) && dive(m_selection);
        select(largest, true, false);
        return true;
    }
    // A file the structure reader takes is walked into; any other is zoomed to.
    if (m_display->mode() != VisualizationMode::history && !StructureController::refusal(*m_selection))
        return m_structure->walkIn(*m_selection);
    select(m_selection, false, true);
    return true;
}

bool AppState::leaveFile()
{
    if (!m_structure->leaveCity())
        return false;
    if (m_selection && m_scene)
        m_scene->focus(*m_selection, true, false);
    return true;
}

bool AppState::escape()
{
    if (m_panels->showKeys()) {
        m_panels->setShowKeys(false);
        return true;
    }
    // A download under way is cancelled before its entry closes.
    if (m_panels->showRemote() && m_downloads->cancel())
        return true;
    if (m_errorMessage) {
        setErrorMessage(std::nullopt);
        return true;
    }
    if (m_panels->previewKeys()) {
        m_panels->setPreviewKeys(false);
        return true;
    }
    if (m_panels->showPicker() || m_panels->showRemote()) {
        m_panels->setShowPicker(false);
        m_panels->setShowRemote(false);
        return true;
    }
    if (stopReadingImports() || stopReadingHistory())
        return true;
    if (m_imports->chosenCycle()) {
        m_imports->chooseCycle(std::nullopt);
        return true;
    }
    // The walked-into file: its focused part first, then the file.
    if (m_structure->focus()) {
        m_structure->setFocus(std::nullopt);
        return true;
    }
    if (leaveFile())
        return true;
    if (m_structure->path()) {
        m_structure->close();
        return true;
    }
    if (m_selection && m_selection != m_viewRoot) {
        select(nullptr);
        return true;
    }
    return ascend();
}

bool AppState::ascend()
{
    if (leaveFile())
        return true;
    if (!m_root || !m_viewRoot)
        return false;
    const FileNode* from = m_selection ? m_selection : m_viewRoot;
    if (from != m_viewRoot && from->parent) {
        select(from->parent, true, false);
        return true;
    }
    if (const FileNode* above = m_viewRoot->parent) {
        const FileNode* previous = m_viewRoot;
        setViewRoot(above);
        select(previous, true, false);
        return true;
    }
    return false;
}

bool AppState::dive(const FileNode* node)
{
    if (!node)
        node = m_selection;
    if (!node)
        return false;
    const FileNode* folder = node->isDirectory ? node : node->parent;
    if (!folder || folder == m_viewRoot)
        return false;
    setViewRoot(folder);
    select(node, true, false);
    return true;
}

bool AppState::cycleSibling(int step)
{
    const FileNode* at = cursor();
    const FileNode* parent = at ? at->parent : m_viewRoot;
    if (m_structure->cityShown() && !at)
        parent = m_structure->city() ? &m_structure->city()->root() : nullptr;
    if (!parent || !m_root)
        return false;
    std::vector<const FileNode*> drawn;
    for (const auto& child : parent->children) {
        if (!m_scene || m_scene->screenPoint(*child))
            drawn.push_back(child.get());
    }
    if (drawn.empty())
        return false;
    const auto found = std::find(drawn.begin(), drawn.end(), at);
    if (found == drawn.end()) {
        moveCursor(step < 0 ? drawn.back() : drawn.front());
        return true;
    }
    if (drawn.size() == 1)
        return false;
    const int count = int(drawn.size());
    const int index = int(found - drawn.begin());
    moveCursor(drawn[std::size_t(((index + step) % count + count) % count)]);
    return true;
}
