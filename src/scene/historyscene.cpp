#include "scene/historyscene.h"

#include "scene/scenecontroller.h"
#include "state/timelinecontroller.h"

namespace {

bool absent(const FileNode& node)
{
    return node.fileCount == 0;
}

} // namespace

void buildHistoryScene(
    SceneController& scene, TimelineController& timeline, const SceneConfig& config, bool resetCamera)
{
    timeline.showPeaks(true);
    scene.build(*timeline.root(), config, resetCamera);
    timeline.showPeaks(false);
    scene.remeasure(absent);
}

void remeasureHistory(SceneController& scene)
{
    scene.remeasure(absent);
}

void FadingMarks::mark(const QList<const FileNode*>& files, const SceneController& scene, qint64 now)
{
    for (const FileNode* file : files) {
        const FileNode* drawn = file;
        while (drawn && !scene.entityFor(drawn))
            drawn = drawn->parent;
        if (drawn)
            m_markedAt.insert(drawn, now);
    }
}

bool FadingMarks::apply(SceneController& scene, qint64 now)
{
    QHash<const FileNode*, float> strengths;
    for (auto it = m_markedAt.begin(); it != m_markedAt.end();) {
        const float strength = 1 - float(now - it.value()) / float(m_fadeMs);
        if (strength <= 0) {
            it = m_markedAt.erase(it);
            continue;
        }
        strengths.insert(it.key(), strength);
        ++it;
    }
    scene.setTouched(strengths);
    return !m_markedAt.isEmpty();
}
