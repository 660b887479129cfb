#pragma once

#include "model/filenode.h"

#include <QHash>
#include <QList>
#include <QString>

#include <utility>
#include <vector>

struct DependencyProgress {
    QString phase;
    qint64 done = 0;
    qint64 total = 0;
};

// Which file of a scanned folder imports which other file of it. A file's index is its place in
// `files`, in the tree's own order; indices are 32-bit to keep the lists compact. The nodes belong
// to the tree the graph was read from, which must outlive the graph.
struct DependencyGraph {
    const FileNode* root = nullptr; // the tree it was read from, to tell a stale graph from a current one
    std::vector<const FileNode*> files;
    std::vector<std::pair<qint32, qint32>> edges; // (importer, imported): never twice, never a file to itself
    std::vector<std::vector<qint32>> outgoing; // per file, what it imports, in the order found
    std::vector<std::vector<qint32>> incoming; // per file, what imports it
    qint64 external = 0; // references to no file of the folder: libraries, packages, system headers
    qint64 scanned = 0; // files whose text was read
    qint64 unresolved = 0; // relative references that named no file of the folder
    // By node identity, not by path. (Qt reserves the word `slots`.)
    QHash<const FileNode*, qint32> fileSlots;

    // Every file below the root takes the next index; no edges yet.
    static DependencyGraph ofTree(const FileNode& root);

    // Adds the edge unless it joins a file to itself or is there already; says whether it was added.
    bool link(qint32 from, qint32 to);

    QList<const FileNode*> imports(const FileNode& file) const;
    QList<const FileNode*> importedBy(const FileNode& file) const;

    // The import cycles: every strongly connected set of more than one file, each in index order,
    // the sets ordered by their first index.
    std::vector<std::vector<qint32>> cycles() const;
};
