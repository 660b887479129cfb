#pragma once

#include "state/statecontroller.h"

#include <QSet>
#include <QString>

// What the scene is narrowed to: the search text (over names, or in the files' text), the isolated
// folders and files, and the least number of changes a file must have. filtersChanged comes once per
// change of any of them, and once for a whole clearFilters.
class Filters : public StateController {
    Q_OBJECT

public:
    using StateController::StateController;

    bool searchFocused() const { return m_searchFocused; }
    const QString& searchText() const { return m_searchText; }
    bool searchInText() const { return m_searchInText; }
    const QSet<QString>& isolated() const { return m_isolated; }
    int minChanges() const { return m_minChanges; }
    void setSearchFocused(bool focused);
    void setSearchText(const QString& text);
    void setSearchInText(bool inText);
    void setMinChanges(int changes);
    void toggleIsolation(const QString& relativePath);
    void clearIsolation();
    bool hasFilters() const;
    // Clears the search text, the isolated set and the change threshold, announcing one change.
    void clearFilters();
    // Gives the keys back to the scene.
    void focusScene() { setSearchFocused(false); }
    // The largest commit count of any file under the root; 0 with none.
    qint64 changeCeiling() const;

    // A new folder starts without search text or isolation; filtersChanged waits for
    // announceNewFolder, once the views know the new root.
    void folderChanged(const OpenFolder& folder) override;
    void announceNewFolder() { emit filtersChanged(); }

signals:
    void searchFocusedChanged();
    void searchTextChanged();
    void searchInTextChanged();
    void isolatedChanged();
    void minChangesChanged();
    void filtersChanged();

private:
    void filterChanged();

    bool m_searchFocused = false;
    QString m_searchText;
    bool m_searchInText = false;
    QSet<QString> m_isolated;
    int m_minChanges = 0;
    bool m_suspendFilter = false;
    const FileNode* m_root = nullptr;
};
