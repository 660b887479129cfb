#include "state/downloadcontroller.h"

DownloadController::DownloadController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
    refreshDownloaded();
}

void DownloadController::setText(const QString& text)
{
    if (text == m_text)
        return;
    m_text = text;
    if (!m_cloning)
        m_failure.reset();
    emit textChanged();
}

QString DownloadController::hint() const
{
    if (m_text.trimmed().isEmpty())
        return QStringLiteral("owner/name, or the address of a repository's page");
    const std::optional<RemoteRepository> repository = parsed();
    if (!repository)
        return CloneError::badURL(m_text.trimmed()).description();
    if (m_cloning)
        return QStringLiteral("Into ") + RepositoryCloner::localURL(*repository);
    QString hint = QStringLiteral("Will download ") + repository->slug();
    if (repository->host != RemoteRepository::defaultHost())
        hint += QStringLiteral(" from ") + repository->host;
    if (repository->branch)
        hint += QStringLiteral(", branch ") + *repository->branch;
    return hint;
}

void DownloadController::refreshDownloaded()
{
    const QStringList downloaded = RepositoryCloner::downloaded();
    if (downloaded == m_downloaded)
        return;
    m_downloaded = downloaded;
    emit downloadedChanged();
}

void DownloadController::setFailure(const std::optional<QString>& failure)
{
    m_failure = failure;
    emit textChanged();
}

bool DownloadController::start()
{
    if (m_cloning)
        return false;
    const std::optional<RemoteRepository> repository = parsed();
    if (!repository) {
        setFailure(CloneError::badURL(m_text.trimmed()).description());
        return false;
    }
    if (*m_working > 0) {
        setFailure(QStringLiteral("The cancelled download is still stopping; try again in a moment."));
        return false;
    }
    m_slug = repository->slug();
    m_cloning = CloneProgress { QStringLiteral("Starting ") + m_slug, std::nullopt, {} };
    setFailure(std::nullopt);
    emit cloningChanged();
    ++*m_working;
    m_job.start(
        [repository = *repository, working = m_working](const CancelFlagPtr& cancel, const auto& report) {
            CloneOutcome outcome
                = RepositoryCloner::fetch(repository, report, [cancel] { return cancel->isCancelled(); });
            --*working;
            return outcome;
        },
        [this](CloneOutcome outcome) {
            m_cloning.reset();
            emit cloningChanged();
            refreshDownloaded();
            if (outcome.error) {
                setFailure(outcome.error->description());
                return;
            }
            emit fetched(outcome.folder);
        },
        [this](const CloneProgress& progress) {
            m_cloning = progress;
            emit cloningChanged();
        });
    return true;
}

bool DownloadController::cancel()
{
    if (!m_cloning)
        return false;
    m_job.cancel();
    m_cloning.reset();
    emit cloningChanged();
    setFailure(CloneError::cancelled().description());
    return true;
}
