#pragma once

#include "scan/scanner.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <optional>
#include <variant>

// The scan of the folder being opened, in the background: its progress while it runs, and its tree
// (through scanned) or its failure (through refused) when it ends. A newer scan or a cancel drops
// the late results of the one before.
class ScanController : public StateController {
    Q_OBJECT

public:
    ScanController(QThreadPool& pool, QObject* parent = nullptr);

    const std::optional<ScanProgress>& scanning() const { return m_scanning; }
    // The folder of the latest scan started, cleaned and absolute.
    const std::optional<QString>& scannedPath() const { return m_scannedPath; }

    // Starts scanning a folder; a scan still running is cancelled first.
    void start(const QString& folder);
    // Cancels the running scan, if any; nothing else changes.
    void cancel();
    // A tree arrived: the scan is over, whoever started it.
    void folderChanged(const OpenFolder& folder) override;

signals:
    void scanningChanged();
    void scanned(const ScanResult& result);

private:
    using Outcome = std::variant<ScanResult, ScanError>;

    void finish(Outcome outcome);
    void setProgress(const ScanProgress& progress);

    std::optional<ScanProgress> m_scanning;
    std::optional<QString> m_scannedPath;
    BackgroundJob<Outcome, ScanProgress> m_job;
};
