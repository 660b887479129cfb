#pragma once

#include "state/statecontroller.h"

#include <QStringList>

// The folders opened lately, newest first, one entry per folder, and the one the welcome list
// highlights. A persistent list is kept in the settings.
class Recents : public StateController {
    Q_OBJECT

public:
    static constexpr int maxRecents = 8;

    // A list that does not persist keeps its folders to itself (scripted snapshots).
    explicit Recents(bool persistent, QObject* parent = nullptr);

    const QStringList& folders() const { return m_recents; }
    int recentIndex() const { return m_recentIndex; }
    void remember(const QString& path);
    void setRecentIndex(int index);

signals:
    void recentsChanged();
    void recentIndexChanged();

private:
    QStringList m_recents;
    int m_recentIndex = 0;
    bool m_persistent = true;
};

// The absolute, clean spelling of a folder, by which recents and scans compare folders.
QString standardizedFolder(const QString& path);
