#include "state/scancontroller.h"

#include "state/recents.h"

ScanController::ScanController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
}

void ScanController::start(const QString& path)
{
    cancel();
    const QString folder = standardizedFolder(path);
    m_scannedPath = folder;
    m_scanning = ScanProgress { QStringLiteral("Listing files"), 0, 0 };
    emit scanningChanged();
    m_job.start([folder](const CancelFlagPtr& cancel,
                    const auto& report) -> Outcome { return Scanner(folder, cancel).scan(report); },
        [this](Outcome outcome) { finish(std::move(outcome)); },
        [this](const ScanProgress& progress) { setProgress(progress); });
}

void ScanController::cancel()
{
    m_job.cancel();
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
    emit scanningChanged();
}

void ScanController::finish(Outcome outcome)
{
    if (auto* result = std::get_if<ScanResult>(&outcome)) {
        emit scanned(*result);
        return;
    }
    m_scanning.reset();
    emit scanningChanged();
    emit refused(std::get<ScanError>(outcome).description());
}

void ScanController::folderChanged(const OpenFolder&)
{
    m_scanning.reset();
    emit scanningChanged();
}
