#pragma once

#include <QAbstractItemModel>
#include <QColor>

#include <functional>

class FileNode;

// The scanned tree for the folder rail: one row per file or folder, in the tree's own order, with
// the line count beside the name and, for a file, a square of the colour it has in the scene. Nodes
// are looked up by address, so the rail and the scene share one selection.
class FileTreeModel : public QAbstractItemModel {
    Q_OBJECT

public:
    using QAbstractItemModel::QAbstractItemModel;

    void setRoot(const FileNode* root);
    // How a file is coloured now; the squares take it up as they are drawn.
    using Coloring = std::function<QColor(const FileNode&)>;
    void setColoring(Coloring coloring);
    const FileNode* node(const QModelIndex& index) const;
    QModelIndex indexOf(const FileNode* node) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    const FileNode* m_root = nullptr;
    Coloring m_coloring;
};
