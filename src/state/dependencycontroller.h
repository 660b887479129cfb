#pragma once

#include "imports/dependencygraph.h"
#include "layout/graphlayout.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <memory>
#include <optional>
#include <vector>

// The imports of the open folder as the window shows them: the graph, where each file settles in
// the graph view, and the import cycles, largest first. It holds the tree its graph points into.
struct ImportsMap {
    std::shared_ptr<const FileNode> tree;
    DependencyGraph graph;
    std::vector<GraphLayout::Point> positions; // by file index
    std::vector<std::vector<qint32>> cycles; // each in index order; the largest first, then by first index

    QList<const FileNode*> filesOf(const std::vector<qint32>& indices) const;
    // The cycles a file belongs to, as indices into `cycles`.
    std::vector<qsizetype> cyclesOf(const FileNode& file) const;
};

// The folder's imports, read in the background the first time the graph view or the imports over
// the city need them, and kept for the folder so that the next visit is instant. A new folder
// drops them; a reading that is cancelled, or overtaken by a new folder, delivers nothing.
class DependencyController : public StateController {
    Q_OBJECT

public:
    explicit DependencyController(QThreadPool& pool, QObject* parent = nullptr);

    // Null until the folder's imports have been read.
    const std::shared_ptr<const ImportsMap>& dependencies() const { return m_dependencies; }
    // The reading's phase and count while it runs.
    const std::optional<DependencyProgress>& progress() const { return m_progress; }
    bool isReading() const { return m_job.isRunning(); }

    // Starts reading the imports of the open folder, unless they are read or being read already;
    // force reads them again.
    void build(bool force = false);
    // Stops a reading that runs; what was read before stays.
    void cancel();

    // The selected file's imports and importers drawn over the city and the tree.
    bool showImports() const { return m_showImports; }
    void setShowImports(bool show);

    // The import cycle lit in the view, an index into the cycles, or none.
    std::optional<qsizetype> chosenCycle() const { return m_chosenCycle; }
    void chooseCycle(std::optional<qsizetype> cycle);

    void folderChanged(const OpenFolder& folder) override;

signals:
    void dependenciesChanged();
    void progressChanged();
    void showImportsChanged();
    void chosenCycleChanged();

private:
    void setProgress(const std::optional<DependencyProgress>& progress);

    std::shared_ptr<const FileNode> m_tree;
    std::shared_ptr<const ImportsMap> m_dependencies;
    std::optional<DependencyProgress> m_progress;
    bool m_showImports = false;
    std::optional<qsizetype> m_chosenCycle;
    BackgroundJob<std::shared_ptr<const ImportsMap>, DependencyProgress> m_job;
};
