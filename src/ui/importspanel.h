#pragma once

#include "state/appstate.h"

#include <QWidget>

class QCheckBox;
class QLabel;

// The imports in the drawer: the selected file's imports and importers and the cycles it is part
// of, or, with no file selected in the graph view, every import cycle of the folder, largest first.
// Every entry can be chosen: a file is selected, a cycle lit. In the city and the tree a switch
// draws the selection's imports over the buildings.
class ImportsPanel : public QWidget {
    Q_OBJECT
public:
    explicit ImportsPanel(AppState& state, QWidget* parent = nullptr);
    void refresh();

private:
    QString fileLists(const ImportsMap& map, const FileNode& file) const;
    QString cycleList(const ImportsMap& map, const std::vector<qsizetype>& cycles) const;
    void choose(const QString& link);

    AppState& m_state;
    QCheckBox* m_show;
    QLabel* m_lists;
};
