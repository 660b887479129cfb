#include "ui/filetreemodel.h"

#include "model/filenode.h"
#include "model/format.h"

#include <QColor>

void FileTreeModel::setRoot(const FileNode* root)
{
    beginResetModel();
    m_root = root;
    endResetModel();
}

void FileTreeModel::setColoring(Coloring coloring)
{
    m_coloring = std::move(coloring);
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, 0), { Qt::DecorationRole });
}

const FileNode* FileTreeModel::node(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<const FileNode*>(index.internalPointer()) : nullptr;
}

namespace {

int rowOf(const FileNode& node)
{
    const auto& siblings = node.parent->children;
    const auto at = std::find_if(
        siblings.begin(), siblings.end(), [&](const auto& child) { return child.get() == &node; });
    return int(at - siblings.begin());
}

} // namespace

QModelIndex FileTreeModel::indexOf(const FileNode* node) const
{
    if (!node || !m_root || node == m_root || !node->parent)
        return {};
    return createIndex(rowOf(*node), 0, node);
}

QModelIndex FileTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    const FileNode* folder = parent.isValid() ? node(parent) : m_root;
    if (!folder || row < 0 || std::size_t(row) >= folder->children.size() || column < 0 || column > 1)
        return {};
    return createIndex(row, column, folder->children[std::size_t(row)].get());
}

QModelIndex FileTreeModel::parent(const QModelIndex& child) const
{
    const FileNode* node = this->node(child);
    if (!node || !node->parent || node->parent == m_root)
        return {};
    return indexOf(node->parent);
}

int FileTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    const FileNode* folder = parent.isValid() ? node(parent) : m_root;
    return folder ? int(folder->children.size()) : 0;
}

int FileTreeModel::columnCount(const QModelIndex&) const
{
    return 2;
}

QVariant FileTreeModel::data(const QModelIndex& index, int role) const
{
    const FileNode* node = this->node(index);
    if (!node)
        return {};
    if (role == Qt::DisplayRole)
        return index.column() == 0 ? node->name : Format::grouped(node->lines);
    if (role == Qt::ToolTipRole)
        return node->relativePath;
    if (role == Qt::TextAlignmentRole && index.column() == 1)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::DecorationRole && index.column() == 0 && !node->isDirectory && m_coloring)
        return m_coloring(*node);
    return {};
}
