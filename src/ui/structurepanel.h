#pragma once

#include "state/appstate.h"

#include <QWidget>

class QLabel;
class TextPreview;
class QPushButton;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;

// The file walked into, beside the scene: its outline of parts, its treemap, its flow of calls or
// its links, and under them the lines of the part in focus with their numbers. The outline owns the
// arrow keys while it is shown beside the folder's city; beside the file's own city, whose parts
// the arrows walk, only once it is clicked, until the scene is. A search inside the file narrows it
// to the parts found, with their counts of matching lines.
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
    // Hands the arrow keys to the outline, or takes them back.
    void claimArrows(bool claim);
    // Hides the parts a search inside the file left out, and shows the counts it found.
    void applySearch();
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
    TextPreview* m_source;
    QHash<qsizetype, QTreeWidgetItem*> m_items;
    std::shared_ptr<const WebDocument> m_listed; // the document the outline lists
    bool m_syncing = false;
};
