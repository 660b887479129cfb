#pragma once

#include "scan/folderlisting.h"
#include "state/statecontroller.h"

#include <QList>
#include <QString>

// The chooser of folders inside the window: the folders of one folder, narrowed by a loosely
// matched name as the user types, one of them highlighted. Hidden folders are listed once the
// typed name starts with a dot.
class FolderPicker : public StateController {
    Q_OBJECT

public:
    using StateController::StateController;

    // The folder whose folders are listed.
    const QString& path() const { return m_path; }
    const QString& filter() const { return m_filter; }
    // The folders that match the typed name, in the desktop's order.
    const QList<FolderEntry>& entries() const { return m_shown; }
    // The highlighted entry's place in entries(), -1 when there is none.
    int index() const { return m_index; }
    const FolderEntry* highlighted() const;

    // Lists a folder afresh, highlighting the entry for `highlight` if it is among them.
    void showFolder(const QString& folder, const QString& highlight = {});
    void setFilter(const QString& text);
    // Moves the highlight, stopping at the first and the last entry.
    bool step(int delta);
    // Into the highlighted folder.
    bool into();
    // Up to the enclosing folder, the one left highlighted.
    bool back();

signals:
    void changed();

private:
    void narrow(const QString& highlight);

    QString m_path;
    QString m_filter;
    QList<FolderEntry> m_all;
    QList<FolderEntry> m_shown;
    int m_index = -1;
};
