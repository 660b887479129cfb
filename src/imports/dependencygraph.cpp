#include "imports/dependencygraph.h"

#include <QtGlobal>

#include <algorithm>
#include <limits>

DependencyGraph DependencyGraph::ofTree(const FileNode& root)
{
    DependencyGraph graph;
    graph.root = &root;
    root.forEach([&](const FileNode& file) {
        if (graph.files.size() >= size_t(std::numeric_limits<qint32>::max()))
            qFatal("A tree of more than 2,147,483,647 files cannot be indexed.");
        graph.fileSlots.insert(&file, qint32(graph.files.size()));
        graph.files.push_back(&file);
    });
    graph.outgoing.resize(graph.files.size());
    graph.incoming.resize(graph.files.size());
    return graph;
}

bool DependencyGraph::link(qint32 from, qint32 to)
{
    const auto count = qint32(files.size());
    if (from == to || from < 0 || to < 0 || from >= count || to >= count)
        return false;
    std::vector<qint32>& out = outgoing[size_t(from)];
    if (std::find(out.begin(), out.end(), to) != out.end())
        return false;
    out.push_back(to);
    incoming[size_t(to)].push_back(from);
    edges.emplace_back(from, to);
    return true;
}

namespace {

QList<const FileNode*> nodes(
    const DependencyGraph& graph, const std::vector<std::vector<qint32>>& lists, const FileNode& file)
{
    const qint32 index = graph.fileSlots.value(&file, -1);
    if (index < 0 || size_t(index) >= lists.size())
        return {};
    QList<const FileNode*> result;
    result.reserve(qsizetype(lists[size_t(index)].size()));
    for (const qint32 other : lists[size_t(index)])
        result.append(graph.files[size_t(other)]);
    return result;
}

} // namespace

QList<const FileNode*> DependencyGraph::imports(const FileNode& file) const
{
    return nodes(*this, outgoing, file);
}

QList<const FileNode*> DependencyGraph::importedBy(const FileNode& file) const
{
    return nodes(*this, incoming, file);
}

std::vector<std::vector<qint32>> DependencyGraph::cycles() const
{
    // Tarjan's algorithm with an explicit stack: an import chain thousands of files long must not
    // exhaust the call stack.
    const size_t n = files.size();
    std::vector<qint32> order(n, -1), low(n, 0);
    std::vector<bool> onStack(n, false);
    std::vector<qint32> stack;
    std::vector<std::pair<qint32, size_t>> calls; // (file, next outgoing position)
    std::vector<std::vector<qint32>> found;
    qint32 counter = 0;
    for (size_t start = 0; start < n; ++start) {
        if (order[start] >= 0)
            continue;
        calls.emplace_back(qint32(start), 0);
        while (!calls.empty()) {
            auto& [v, next] = calls.back();
            const auto vi = size_t(v);
            if (next == 0 && order[vi] < 0) {
                order[vi] = low[vi] = counter++;
                stack.push_back(v);
                onStack[vi] = true;
            }
            if (next < outgoing[vi].size()) {
                const auto w = size_t(outgoing[vi][next++]);
                if (order[w] < 0)
                    calls.emplace_back(qint32(w), 0);
                else if (onStack[w])
                    low[vi] = std::min(low[vi], order[w]);
                continue;
            }
            if (low[vi] == order[vi]) {
                std::vector<qint32> component;
                qint32 w = -1;
                do {
                    w = stack.back();
                    stack.pop_back();
                    onStack[size_t(w)] = false;
                    component.push_back(w);
                } while (w != v);
                if (component.size() > 1) {
                    std::sort(component.begin(), component.end());
                    found.push_back(std::move(component));
                }
            }
            const qint32 finished = v;
            calls.pop_back();
            if (!calls.empty()) {
                const auto parent = size_t(calls.back().first);
                low[parent] = std::min(low[parent], low[size_t(finished)]);
            }
        }
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.front() < b.front(); });
    return found;
}
