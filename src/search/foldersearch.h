#pragma once

#include "model/filenode.h"
#include "scan/cancelflag.h"
#include "text/textneedle.h"

#include <QHash>
#include <QList>

#include <optional>

// The folder-wide text search: how many lines of each file hold the needle.
struct TextSearchResult {
    QHash<const FileNode*, qint64> counts; // only files with at least one matching line
    // Those files, most matching lines first; equal counts in the natural order of their names.
    QList<const FileNode*> nodes;
    // Files not read: binary, of a binary language, or at the size limit (measured by the scan or
    // found so when read).
    qint64 skipped = 0;
};

namespace FolderSearch {

// Files at or above this size are never read whole.
inline constexpr qint64 sizeLimit = 3000000;

// Whether a file of the tree is searched at all: a file, not binary, of a text language and under
// the size limit, as far as the scan measured it.
bool considers(const FileNode& node);

// Reads every considered file below `root` whole, on all cores, and counts its matching lines.
// A file found binary or too large when it is read (the scan may not have measured it, or it changed
// since) is skipped as well. None when the search was cancelled.
std::optional<TextSearchResult> search(
    const FileNode& root, const TextNeedle& needle, const CancelFlagPtr& cancel);

} // namespace FolderSearch
