#pragma once

#include "model/filenode.h"

#include <unordered_set>

using NodeSet = std::unordered_set<const FileNode*>;

namespace Aggregation {

// The folders to draw whole, as one block each, so that about `budget` buildings remain: deeper
// folders first, then those with more files; never the root, never a folder of 11 files or fewer,
// never a folder inside one already taken.
NodeSet collapse(const FileNode& root, qint64 budget);

constexpr qint64 budget = 2200;

} // namespace Aggregation
