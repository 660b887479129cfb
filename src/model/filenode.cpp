#include "model/filenode.h"

#include "model/naturalorder.h"

#include <QHash>

#include <algorithm>

FileNode::FileNode(QString url, QString name, QString relativePath, bool isDirectory, FileNode* parent)
    : url(std::move(url))
    , name(std::move(name))
    , lowerName(this->name.toLower())
    , relativePath(std::move(relativePath))
    , isDirectory(isDirectory)
    , parent(parent)
    , language(&Languages::other())
{
}

FileNode* FileNode::addChild(std::unique_ptr<FileNode> child)
{
    children.push_back(std::move(child));
    return children.back().get();
}

namespace {

template <typename T> void takeLater(std::optional<T>& mine, const std::optional<T>& theirs)
{
    if (theirs && (!mine || *theirs > *mine))
        mine = theirs;
}

} // namespace

void FileNode::finalize(int newDepth)
{
    depth = newDepth;
    if (!isDirectory) {
        fileCount = 1;
        return;
    }
    std::erase_if(children, [](const auto& child) { return child->excluded; });
    size = lines = fileCount = commits = changedCount = 0;
    modified.reset();
    lastCommit.reset();
    for (const auto& child : children) {
        child->finalize(depth + 1);
        size += child->size;
        lines += child->lines;
        fileCount += child->fileCount;
        commits += child->commits;
        changedCount += child->isDirectory ? child->changedCount : (child->gitStatus ? 1 : 0);
        takeLater(modified, child->modified);
        takeLater(lastCommit, child->lastCommit);
    }
    std::erase_if(children, [](const auto& child) { return child->isDirectory && child->fileCount == 0; });

    // Dominant language: weight by files (at least 1 a child); ties go to the language met first.
    QList<std::pair<const Language*, qint64>> weights;
    for (const auto& child : children) {
        auto it = std::find_if(weights.begin(), weights.end(),
            [&](const auto& entry) { return *entry.first == *child->language; });
        const qint64 weight = std::max<qint64>(child->fileCount, 1);
        if (it == weights.end())
            weights.append({ child->language, weight });
        else
            it->second += weight;
    }
    const std::pair<const Language*, qint64>* best = nullptr;
    for (const auto& entry : std::as_const(weights)) {
        if (!best || entry.second > best->second)
            best = &entry;
    }
    if (best)
        language = best->first;

    std::stable_sort(children.begin(), children.end(), [](const auto& a, const auto& b) {
        if (a->isDirectory != b->isDirectory)
            return a->isDirectory;
        return naturalCompare(a->name, b->name) < 0;
    });
}

const FileNode& FileNode::top() const
{
    const FileNode* node = this;
    while (node->parent)
        node = node->parent;
    return *node;
}

void FileNode::sumCommits()
{
    if (!isDirectory)
        return;
    commits = 0;
    lastCommit.reset();
    for (const auto& child : children) {
        child->sumCommits();
        commits += child->commits;
        takeLater(lastCommit, child->lastCommit);
    }
}

void FileNode::forEach(const std::function<void(FileNode&)>& visit)
{
    for (const auto& child : children) {
        if (child->isDirectory)
            child->forEach(visit);
        else
            visit(*child);
    }
}

void FileNode::forEach(const std::function<void(const FileNode&)>& visit) const
{
    for (const auto& child : children) {
        if (child->isDirectory)
            std::as_const(*child).forEach(visit);
        else
            visit(*child);
    }
}

QList<const FileNode*> FileNode::allFiles() const
{
    QList<const FileNode*> files;
    forEach([&](const FileNode& file) { files.append(&file); });
    return files;
}

QList<LanguageShare> FileNode::languageBreakdown() const
{
    QList<LanguageShare> shares;
    QHash<QString, qsizetype> index;
    forEach([&](const FileNode& file) {
        if (file.fileCount == 0)
            return; // a file of a replayed history that is not there at the moment shown
        auto it = index.find(file.language->name);
        if (it == index.end()) {
            it = index.insert(file.language->name, shares.size());
            shares.append({ file.language, 0, 0 });
        }
        shares[*it].lines += file.lines;
        shares[*it].files += 1;
    });
    std::stable_sort(shares.begin(), shares.end(), [](const LanguageShare& a, const LanguageShare& b) {
        return a.files != b.files ? a.files > b.files : a.lines > b.lines;
    });
    return shares;
}

const FileNode* FileNode::find(QStringView target) const
{
    if (relativePath == target)
        return this;
    for (const auto& child : children) {
        const QString& path = child->relativePath;
        if (path == target
            || (target.size() > path.size() && target.startsWith(path) && target[path.size()] == u'/')) {
            if (const FileNode* hit = child->find(target))
                return hit;
        }
    }
    return nullptr;
}

qint64 FileNode::changeCeiling() const
{
    qint64 ceiling = 0;
    forEach([&](const FileNode& file) { ceiling = std::max(ceiling, file.commits); });
    return ceiling;
}
