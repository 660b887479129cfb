#include "state/dependencycontroller.h"

#include "imports/dependencyreader.h"

#include <algorithm>

namespace {

// Reads, links and settles the imports of a tree; nothing once the flag is set.
std::shared_ptr<const ImportsMap> readImports(const std::shared_ptr<const FileNode>& tree,
    const CancelFlagPtr& cancel, const DependencyReader::ProgressCallback& report)
{
    std::optional<DependencyGraph> graph = DependencyReader::build(*tree, cancel, report);
    if (!graph)
        return nullptr;
    auto map = std::make_shared<ImportsMap>();
    map->tree = tree;
    map->graph = std::move(*graph);
    std::optional<std::vector<GraphLayout::Point>> positions = GraphLayout::settle(map->graph, cancel);
    if (!positions)
        return nullptr;
    map->positions = std::move(*positions);
    map->cycles = map->graph.cycles();
    std::stable_sort(map->cycles.begin(), map->cycles.end(),
        [](const auto& a, const auto& b) { return a.size() > b.size(); });
    return map;
}

} // namespace

QList<const FileNode*> ImportsMap::filesOf(const std::vector<qint32>& indices) const
{
    QList<const FileNode*> files;
    files.reserve(qsizetype(indices.size()));
    for (const qint32 index : indices)
        files.append(graph.files[size_t(index)]);
    return files;
}

std::vector<qsizetype> ImportsMap::cyclesOf(const FileNode& file) const
{
    std::vector<qsizetype> found;
    const auto slot = graph.fileSlots.constFind(&file);
    if (slot == graph.fileSlots.cend())
        return found;
    for (size_t i = 0; i < cycles.size(); ++i) {
        if (std::binary_search(cycles[i].begin(), cycles[i].end(), *slot))
            found.push_back(qsizetype(i));
    }
    return found;
}

DependencyController::DependencyController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
}

void DependencyController::build(bool force)
{
    if (!m_tree || (!force && (m_dependencies || m_job.isRunning())))
        return;
    const std::shared_ptr<const FileNode> tree = m_tree;
    setProgress(DependencyProgress { QStringLiteral("Reading imports"), 0, 0 });
    m_job.start(
        [tree](const CancelFlagPtr& cancel, const auto& report) { return readImports(tree, cancel, report); },
        [this](std::shared_ptr<const ImportsMap> map) {
            setProgress(std::nullopt);
            if (!map)
                return;
            m_chosenCycle.reset();
            m_dependencies = std::move(map);
            emit dependenciesChanged();
        },
        [this](const DependencyProgress& progress) { setProgress(progress); });
}

void DependencyController::cancel()
{
    m_job.cancel();
    setProgress(std::nullopt);
}

void DependencyController::setShowImports(bool show)
{
    assign(m_showImports, show, &DependencyController::showImportsChanged);
}

void DependencyController::chooseCycle(std::optional<qsizetype> cycle)
{
    if (cycle && (!m_dependencies || *cycle < 0 || size_t(*cycle) >= m_dependencies->cycles.size()))
        cycle.reset();
    assign(m_chosenCycle, cycle, &DependencyController::chosenCycleChanged);
}

void DependencyController::folderChanged(const OpenFolder& folder)
{
    cancel();
    m_tree = folder.root;
    m_chosenCycle.reset();
    if (m_dependencies) {
        m_dependencies.reset();
        emit dependenciesChanged();
    }
}

void DependencyController::setProgress(const std::optional<DependencyProgress>& progress)
{
    if (!progress && !m_progress)
        return;
    m_progress = progress;
    emit progressChanged();
}
