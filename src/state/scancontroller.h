#pragma once

#include "scan/scanner.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <optional>
#include <variant>

// The scan of the folder being opened, in the background: its progress while it runs, and its tree
// (through scanned) or its failure (through refused) when it ends. In a repository the tree comes
// before the history: its commit counts and times follow through historyRead. A newer scan or a
// cancel drops the late results of the one before.
class ScanController : public StateController {
    Q_OBJECT

public:
    ScanController(QThreadPool& pool, QObject* parent = nullptr);

    const std::optional<ScanProgress>& scanning() const { return m_scanning; }
    // Whether the tree scanned last still waits for its history.
    bool readingHistory() const { return m_history != nullptr; }
    // Neither scanning nor reading a history: all of the latest scan, if any, has arrived.
    bool idle() const { return !m_scanning && !m_history; }
    // The folder of the latest scan started, cleaned and absolute.
    const std::optional<QString>& scannedPath() const { return m_scannedPath; }

    // Starts scanning a folder; a scan still running is cancelled first.
    void start(const QString& folder);
    // Cancels the running scan and the reading of its history, if any; nothing else changes.
    void cancel();
    // A tree arrived: the scan is over, whoever started it.
    void folderChanged(const OpenFolder& folder) override;

signals:
    // A scan started or ended.
    void scanningChanged();
    // The running scan moved on (scanning() holds where it is).
    void progressChanged();
    void scanned(const ScanResult& result);
    void readingHistoryChanged();
    void historyRead(const ScanHistory& history);

private:
    using Outcome = std::variant<ScanResult, ScanError>;

    void finish(Outcome outcome);
    void setProgress(const ScanProgress& progress);
    void readHistory(std::shared_ptr<PendingHistory> history);

    std::optional<ScanProgress> m_scanning;
    std::optional<QString> m_scannedPath;
    BackgroundJob<Outcome, ScanProgress> m_job;
    std::shared_ptr<PendingHistory> m_history;
    BackgroundJob<ScanHistory> m_historyJob;
};
