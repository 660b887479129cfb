#include "state/scancontroller.h"

#include "state/recents.h"

ScanController::ScanController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
    , m_historyJob(pool)
{
}

void ScanController::start(const QString& path)
{
    cancel();
    const QString folder = standardizedFolder(path);
    m_scannedPath = folder;
    m_scanning = ScanProgress { QStringLiteral("Listing files"), 0, 0 };
    emit scanningChanged();
    m_job.start(
        [folder](const CancelFlagPtr& cancel, const auto& report) -> Outcome {
            return Scanner(folder, cancel).scan(report, Scanner::HistoryTiming::later);
        },
        [this](Outcome outcome) { finish(std::move(outcome)); },
        [this](const ScanProgress& progress) { setProgress(progress); });
}

void ScanController::cancel()
{
    m_job.cancel();
    m_historyJob.cancel();
    if (m_history) {
        m_history->cancel();
        m_history.reset();
        emit readingHistoryChanged();
    }
    if (m_scanning) {
        m_scanning.reset();
        emit scanningChanged();
    }
}

void ScanController::setProgress(const ScanProgress& progress)
{
    if (!m_scanning)
        return;
    m_scanning = progress;
    emit progressChanged();
}

void ScanController::finish(Outcome outcome)
{
    if (auto* result = std::get_if<ScanResult>(&outcome)) {
        // Whoever shows the tree learns in the same breath that its history is on the way.
        std::shared_ptr<PendingHistory> history = std::move(result->history);
        m_history = history;
        emit scanned(*result);
        if (history && history == m_history)
            readHistory(std::move(history));
        return;
    }
    m_scanning.reset();
    emit scanningChanged();
    emit refused(std::get<ScanError>(outcome).description());
}

void ScanController::readHistory(std::shared_ptr<PendingHistory> history)
{
    emit readingHistoryChanged();
    m_historyJob.start([history](const CancelFlagPtr&, const auto&) { return history->finish(); },
        [this](ScanHistory read) {
            m_history.reset();
            emit historyRead(read);
            emit readingHistoryChanged();
        });
}

void ScanController::folderChanged(const OpenFolder&)
{
    m_scanning.reset();
    emit scanningChanged();
}
