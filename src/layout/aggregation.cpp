#include "layout/aggregation.h"

#include <algorithm>
#include <vector>

namespace Aggregation {

namespace {

void collectCandidates(const FileNode& folder, std::vector<const FileNode*>& out)
{
    for (const auto& child : folder.children) {
        if (!child->isDirectory)
            continue;
        if (child->fileCount > 11)
            out.push_back(child.get());
        collectCandidates(*child, out);
    }
}

} // namespace

NodeSet collapse(const FileNode& root, qint64 budget)
{
    NodeSet taken;
    if (budget >= root.fileCount)
        return taken;
    std::vector<const FileNode*> candidates;
    collectCandidates(root, candidates);
    std::stable_sort(candidates.begin(), candidates.end(), [](const FileNode* a, const FileNode* b) {
        return a->depth != b->depth ? a->depth > b->depth : a->fileCount > b->fileCount;
    });
    qint64 remaining = root.fileCount;
    for (const FileNode* candidate : candidates) {
        if (budget >= remaining)
            break;
        bool inside = false;
        for (const FileNode* up = candidate->parent; up && !inside; up = up->parent)
            inside = taken.contains(up);
        if (inside)
            continue;
        taken.insert(candidate);
        remaining -= candidate->fileCount - 1;
    }
    return taken;
}

} // namespace Aggregation
