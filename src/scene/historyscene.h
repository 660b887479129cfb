#pragma once

#include "scene/sceneconfig.h"

#include <QHash>
#include <QList>

class FileNode;
class SceneController;
class TimelineController;

// Lays the history's city out at its peak, so that heights keep one scale through the replay, then
// shows it at the playhead: files not there, and folders with none of them, are left out.
void buildHistoryScene(
    SceneController& scene, TimelineController& timeline, const SceneConfig& config, bool resetCamera);
// Heights, colours and presence at the playhead, after it moved.
void remeasureHistory(SceneController& scene);

// The marks of the files a commit touched, each fading out over a while after it was last marked,
// on a clock of the caller's (wall time in the window, frame time in a replay).
class FadingMarks {
public:
    explicit FadingMarks(qint64 fadeMs = 1000)
        : m_fadeMs(fadeMs)
    {
    }
    // Marks the files at a moment; a file inside a folder drawn whole marks the folder's block.
    void mark(const QList<const FileNode*>& files, const SceneController& scene, qint64 now);
    // Hands the scene each mark's strength at a moment, forgetting those faded out; false when none
    // is left.
    bool apply(SceneController& scene, qint64 now);
    bool isEmpty() const { return m_markedAt.isEmpty(); }
    void clear() { m_markedAt.clear(); }

private:
    qint64 m_fadeMs;
    QHash<const FileNode*, qint64> m_markedAt;
};
