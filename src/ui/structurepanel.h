#pragma once

#include "state/appstate.h"

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;

// The file walked into, beside the scene: its outline of parts (which owns the arrow keys while
// shown), its treemap, its flow of calls or its links, and under them the lines of the part in
// focus with their numbers.
class StructurePanel : public QWidget {
    Q_OBJECT
public:
    explicit StructurePanel(AppState& state, QWidget* parent = nullptr);
    // Takes its handlers of the arrow keys back from the state.
    ~StructurePanel() override;

private:
    void rebuild();
    void followFocus();
    void followTab();
    void step(int delta);
    void open();
    void close();
    // The outline's row of a part, if it is listed.
    QTreeWidgetItem* itemOf(qsizetype id) const;

    AppState& m_state;
    QLabel* m_title;
    QLabel* m_program;
    QLabel* m_note;
    QList<QPushButton*> m_tabs; // one a view, in the order g goes through them
    QStackedWidget* m_views;
    QTreeWidget* m_outline;
    QLabel* m_sourceTitle;
    QPlainTextEdit* m_source;
    QHash<qsizetype, QTreeWidgetItem*> m_items;
    bool m_syncing = false;
};
