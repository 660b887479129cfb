#pragma once

#include "model/filenode.h"
#include "scan/cancelflag.h"
#include "scan/scanner.h"
#include "text/textneedle.h"

#include <QCollatorSortKey>
#include <QHash>
#include <QList>

#include <optional>
#include <utility>
#include <vector>

// The folder-wide text search: how many lines of each file hold the needle.
struct TextSearchResult {
    QHash<const FileNode*, qint64> counts; // only files with at least one matching line
    // Those files, most matching lines first; equal counts in the natural order of their names.
    QList<const FileNode*> nodes;
    // Files not read: binary, of a binary language, or at the size limit (measured by the scan or
    // found so when read).
    qint64 skipped = 0;
};

// The same for a folder's listed paths, without a tree.
struct PathSearchResult {
    // Relative paths with their matching lines, in the order of TextSearchResult::nodes.
    std::vector<std::pair<QByteArray, qint64>> files;
    qint64 skipped = 0; // of a binary language, binary, too large or unreadable
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

// The same over the paths of a folder as the scan lists them (a folder's files together), part after
// part as they come (see Scanner::list), with the same results as the search of the scanned tree but
// without measuring or sorting what holds nothing: the command line's search.
class PathSearch {
public:
    PathSearch(const QString& folder, const TextNeedle& needle, CancelFlagPtr cancel);

    // Reads the files of one part of the listing, on every core.
    void read(const ScanListing& part);
    // What the parts read hold; none when the search was cancelled.
    std::optional<PathSearchResult> result() const;

private:
    struct Found {
        QByteArray path;
        qint64 count;
        QCollatorSortKey key; // of the file's name
    };

    QString m_folder;
    TextNeedle m_needle;
    CancelFlagPtr m_cancel;
    std::vector<Found> m_found; // in the order of the parts and their paths
    qint64 m_skipped = 0;
};
