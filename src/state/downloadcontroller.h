#pragma once

#include "git/repositorycloner.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <optional>

// Downloading a public repository from the text the user typed: what the text reads as, the
// download under way and its progress, why the last one failed, and the repositories downloaded
// before. One download at a time; it goes on in the background until it ends or is cancelled.
class DownloadController : public StateController {
    Q_OBJECT

public:
    explicit DownloadController(QThreadPool& pool, QObject* parent = nullptr);

    const QString& text() const { return m_text; }
    void setText(const QString& text);
    // The repository the text names, if it names one.
    std::optional<RemoteRepository> parsed() const { return RemoteRepository::parse(m_text); }
    // What the entry says under the text: what will be downloaded, or why the text is no address;
    // while downloading, where to.
    QString hint() const;

    // The download's progress while one runs.
    const std::optional<CloneProgress>& cloning() const { return m_cloning; }
    const QString& cloningSlug() const { return m_slug; }
    // Why the last download ended without a folder, until the text changes or another starts.
    const std::optional<QString>& failure() const { return m_failure; }
    // The repositories downloaded so far, as local folders.
    const QStringList& downloaded() const { return m_downloaded; }
    void refreshDownloaded();

    // Starts downloading what the text names; a text that names nothing is told as the failure.
    bool start();
    // Stops the download under way; the failure says it was cancelled.
    bool cancel();
    // Stops without a word, when the window goes.
    void stop() { m_job.cancel(); }

signals:
    void textChanged();
    void cloningChanged();
    void downloadedChanged();
    // A download ended with this folder, ready to open.
    void fetched(const QString& folder);

private:
    void setFailure(const std::optional<QString>& failure);

    BackgroundJob<CloneOutcome, CloneProgress> m_job;
    QString m_text;
    std::optional<CloneProgress> m_cloning;
    QString m_slug;
    std::optional<QString> m_failure;
    QStringList m_downloaded;
    // Downloads whose git has not ended yet: a cancelled one still clears away what it left.
    std::shared_ptr<std::atomic_int> m_working = std::make_shared<std::atomic_int>(0);
};
