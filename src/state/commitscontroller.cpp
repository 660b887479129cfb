#include "state/commitscontroller.h"

#include "git/git.h"
#include "history/recentcommits.h"
#include "model/filenode.h"

CommitsController::CommitsController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
}

void CommitsController::folderChanged(const OpenFolder& folder)
{
    const bool told = isReading() || m_path;
    cancel();
    m_folder = folder.root && folder.isGit ? folder.root->url : QString();
    m_path.reset();
    m_commits.clear();
    if (told)
        emit commitsChanged();
}

void CommitsController::cancel()
{
    m_job.cancel();
    m_reading.reset();
}

void CommitsController::follow(const std::optional<QString>& relativePath)
{
    if (!relativePath || m_folder.isEmpty()) {
        // Whoever waits for the read hears that it ended.
        const bool reading = isReading();
        cancel();
        if (reading)
            emit commitsChanged();
        return;
    }
    if (m_path == relativePath || m_reading == relativePath)
        return;
    // The drawer, refreshed by whatever asked for these commits, says they are being read.
    m_reading = relativePath;
    const QString folder = m_folder, path = *relativePath;
    m_job.start(
        [folder, path](const CancelFlagPtr& cancel, const auto&) {
            const Git git(folder, [cancel] { return cancel->isCancelled(); });
            return recentCommits(git, path, listed);
        },
        [this, path](QList<Commit> commits) {
            m_reading.reset();
            m_path = path;
            m_commits = std::move(commits);
            emit commitsChanged();
        });
}
