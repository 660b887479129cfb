#pragma once

#include "git/gitfilestatus.h"
#include "model/language.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct LanguageShare {
    const Language* language;
    qint64 lines = 0;
    qint64 files = 0;
};

// One file or folder of a scanned tree. Nodes have identity: views and layouts key their maps by
// the node's address. A parent owns its children; the child's parent link is a plain back pointer.
// Times are seconds since 1970.
class FileNode {
public:
    FileNode(QString url, QString name, QString relativePath, bool isDirectory, FileNode* parent);
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    QString url; // absolute path on disk
    QString name;
    QString lowerName;
    QString relativePath; // from the scanned root, "/"-joined; empty for the root
    bool isDirectory;
    FileNode* parent;
    std::vector<std::unique_ptr<FileNode>> children;
    qint64 size = 0;
    qint64 lines = 0;
    qint64 fileCount = 0;
    std::optional<qint64> modified;
    const Language* language;
    bool isBinary = false;
    qint64 commits = 0;
    std::optional<qint64> lastCommit;
    std::optional<GitFileStatus> gitStatus;
    qint64 changedCount = 0;
    int depth = 0;
    bool excluded = false;

    FileNode* addChild(std::unique_ptr<FileNode> child);

    // Drops excluded entries and folders without files, sums folder measures, picks each folder's
    // dominant language and sorts children (folders first, natural order). Called once, on the root.
    void finalize(int depth = 0);

    // Sums commits and takes the latest lastCommit again for every folder below, for commit counts
    // that arrive after finalize.
    void sumCommits();

    // Visits every file below this node, depth first in children order; folders are passed through.
    void forEach(const std::function<void(FileNode&)>& visit);
    void forEach(const std::function<void(const FileNode&)>& visit) const;
    QList<const FileNode*> allFiles() const;

    // One share per language among the files below, most files first, then most lines.
    QList<LanguageShare> languageBreakdown() const;

    const FileNode* find(QStringView relativePath) const;

    // The node of the scanned folder itself, at the top of the tree this node is in: its url is where
    // every relative path below starts.
    const FileNode& top() const;

    // The largest commit count of any file below; 0 when there is none.
    qint64 changeCeiling() const;
};
