#pragma once

#include "layout/codetreemap.h"
#include "layout/flowgraph.h"
#include "state/appstate.h"

#include <QWidget>

#include <optional>
#include <vector>

class QLabel;
class QPushButton;
class QScrollArea;
class QTreeWidget;

// A part's lines as the structure's views show them: "12–40" (1-based), and "lines 12–40" or
// "line 12"; empty for a part without lines of its own.
QString lineRange(const WebDocument::Node& node);
QString partLines(const WebDocument::Node& node);

// The colour of a part's role in the structure's views, in the window's theme.
QColor roleColor(WebRole role, bool dark);

// The parts of the file walked into as a flat treemap: each part a box sized by its code, its
// parts nested inside under a title strip. A click focuses a part; hovering names it.
class StructureTreemap : public QWidget {
    Q_OBJECT
public:
    explicit StructureTreemap(AppState& state, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void relayout();

    AppState& m_state;
    std::vector<CodeTreemap::Tile> m_tiles;
};

// The functions of the file and the calls between them, left to right in the order things run:
// the whole file, or the neighbourhood of the function in focus as far as the reach allows.
class StructureFlow : public QWidget {
    Q_OBJECT
public:
    explicit StructureFlow(AppState& state, QWidget* parent = nullptr);
    // How many calls away from the focus the graph reaches, and the boxes it holds now.
    int reach() const { return m_reach; }
    const FlowGraph::Arranged& graph() const { return m_graph; }

private:
    void rebuild();
    void setReach(int reach);

    AppState& m_state;
    QPushButton* m_fewer;
    QPushButton* m_more;
    QLabel* m_empty;
    QScrollArea* m_scroll;
    QWidget* m_canvas;
    FlowGraph::Arranged m_graph;
    std::optional<FlowGraph> m_flow;
    int m_reach = FlowGraph::defaultReach;
};

// The links of the part in focus, out of it and into it, by kind, each a way to the part at its
// other end; with nothing in focus, how many links of each kind the file holds.
class StructureLinks : public QWidget {
    Q_OBJECT
public:
    explicit StructureLinks(AppState& state, QWidget* parent = nullptr);

private:
    void rebuild();

    AppState& m_state;
    QLabel* m_title;
    QTreeWidget* m_list;
};
