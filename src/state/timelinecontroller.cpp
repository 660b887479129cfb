#include "state/timelinecontroller.h"

#include "git/git.h"
#include "history/historycache.h"
#include "model/filenode.h"
#include "model/format.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numeric>

namespace {

std::optional<GitFileStatus> statusOf(FileChange::Kind kind)
{
    switch (kind) {
    case FileChange::Kind::added: return GitFileStatus::added;
    case FileChange::Kind::modified: return GitFileStatus::modified;
    case FileChange::Kind::deleted: return GitFileStatus::deleted;
    case FileChange::Kind::renamed: return GitFileStatus::renamed;
    }
    return std::nullopt;
}

} // namespace

std::shared_ptr<HistoryCity> HistoryCity::make(std::shared_ptr<const HistoryIndex> index)
{
    auto city = std::make_shared<HistoryCity>();
    const QString& root = index->root;
    city->tree = std::make_shared<FileNode>(root, QFileInfo(root).fileName(), QString(), true, nullptr);
    // A path that was a file at one time and a folder at another stands twice, once as each.
    QHash<QString, FileNode*> folders { { QString(), city->tree.get() } };
    const auto folderOf = [&](const QString& path, auto& self) -> FileNode* {
        if (FileNode* known = folders.value(path))
            return known;
        const qsizetype slash = path.lastIndexOf(u'/');
        FileNode* parent = self(slash < 0 ? QString() : path.left(slash), self);
        FileNode* folder = parent->addChild(
            std::make_unique<FileNode>(root + u'/' + path, path.mid(slash + 1), path, true, parent));
        folders.insert(path, folder);
        return folder;
    };
    city->files.reserve(size_t(index->paths.size()));
    for (qsizetype number = 0; number < index->paths.size(); ++number) {
        const QString& path = index->paths[number];
        const qsizetype slash = path.lastIndexOf(u'/');
        FileNode* parent = folderOf(slash < 0 ? QString() : path.left(slash), folderOf);
        FileNode* file = parent->addChild(
            std::make_unique<FileNode>(root + u'/' + path, path.mid(slash + 1), path, false, parent));
        file->language = &Languages::languageFor(file->name);
        file->lines = index->maxLines[size_t(number)];
        city->files.push_back(file);
    }
    city->tree->finalize();
    city->touchedAt.resize(city->files.size());
    for (size_t commit = 0; commit < index->changes.size(); ++commit) {
        for (const FileChange& change : index->changes[commit])
            city->touchedAt[size_t(change.path)].push_back(qint32(commit));
    }
    city->index = std::move(index);
    return city;
}

TimelineController::TimelineController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &TimelineController::tick);
}

void TimelineController::setSpeed(double commitsPerSecond)
{
    const double speed = std::clamp(commitsPerSecond, minSpeed, maxSpeed);
    if (speed == m_speed)
        return;
    m_speed = speed;
    if (m_playing)
        m_timer.start(tickInterval(m_speed));
    emit speedChanged();
}

int TimelineController::tickInterval(double speed)
{
    return int(std::lround(1000 / std::clamp(speed, minSpeed, maxTickRate)));
}

qint64 TimelineController::tickStep(double speed)
{
    return std::max<qint64>(1, std::llround(speed / std::clamp(speed, minSpeed, maxTickRate)));
}

void TimelineController::load(const QString& root)
{
    stop();
    m_progress = { QStringLiteral("Reading history"), 0 };
    setPhase(Phase::indexing);
    m_job.start(
        [root](const CancelFlagPtr& cancel, const auto& report) -> Outcome {
            HistoryCache cache;
            if (static std::once_flag told; cache.unavailable())
                std::call_once(told, [&] { qWarning("%s", qPrintable(*cache.unavailable())); });
            auto read = HistoryReader(root, cancel).read(report, &cache);
            if (auto* error = std::get_if<HistoryError>(&read))
                return *error;
            if (cancel->isCancelled())
                return HistoryError { HistoryError::Kind::cancelled, root };
            return HistoryCity::make(std::get<std::shared_ptr<const HistoryIndex>>(std::move(read)));
        },
        [this](Outcome outcome) { finish(std::move(outcome)); },
        [this](const HistoryProgress& progress) {
            m_progress = progress;
            emit progressChanged();
        });
}

void TimelineController::cancel()
{
    if (!m_job.isRunning())
        return;
    m_job.cancel();
    setPhase(Phase::failed, HistoryError { HistoryError::Kind::cancelled, {} }.description());
}

void TimelineController::finish(Outcome outcome)
{
    if (auto* error = std::get_if<HistoryError>(&outcome)) {
        setPhase(Phase::failed, error->description());
        return;
    }
    m_city = std::get<std::shared_ptr<HistoryCity>>(std::move(outcome));
    m_cursor = std::make_unique<HistoryCursor>(m_city->index);
    m_numbers.clear();
    m_numbers.reserve(qsizetype(m_city->files.size()));
    for (size_t number = 0; number < m_city->files.size(); ++number)
        m_numbers.insert(m_city->files[number], qint32(number));
    m_activity = m_city->index->activity();
    m_highlighted = nullptr;
    // The replay opens on today's city; playing it from the end starts from the empty one.
    m_cursor->move(m_city->index->commitCount() - 1);
    showPeaks(false);
    m_lastTouched.clear();
    setPhase(Phase::ready);
    emit moved();
}

void TimelineController::setPhase(Phase phase, const QString& error)
{
    if (phase == m_phase && error == m_error)
        return;
    m_phase = phase;
    m_error = error;
    emit phaseChanged();
}

void TimelineController::play()
{
    if (!m_cursor || m_city->index->commitCount() < 1)
        return;
    if (m_cursor->isAtEnd())
        move(-1);
    m_timer.start(tickInterval(m_speed));
    if (!m_playing) {
        m_playing = true;
        emit playingChanged();
    }
}

void TimelineController::stop()
{
    m_timer.stop();
    if (m_playing) {
        m_playing = false;
        emit playingChanged();
    }
}

void TimelineController::togglePlay()
{
    if (m_playing)
        stop();
    else
        play();
}

void TimelineController::tick()
{
    if (!m_playing || !m_cursor)
        return;
    if (m_cursor->isAtEnd()) {
        stop();
        return;
    }
    move(position() + tickStep(m_speed));
}

void TimelineController::move(qint64 target)
{
    if (!m_cursor)
        return;
    const qint64 before = position();
    const std::vector<qint32> touched = m_cursor->move(target);
    if (position() == before)
        return;
    updateFiles(touched);
    sumFolders();
    // A step or a tick marks every file it passed; a jump, only those of the commit it lands on.
    m_lastTouched.clear();
    if (std::abs(position() - before) > maxMarkedStep) {
        m_lastTouched = changedFiles();
    } else {
        QSet<const FileNode*> seen;
        for (const qint32 path : touched) {
            const FileNode* file = m_city->files[size_t(path)];
            if (!seen.contains(file)) {
                seen.insert(file);
                m_lastTouched.append(file);
            }
        }
    }
    emit moved();
}

std::optional<qint32> TimelineController::numberOf(const FileNode& node) const
{
    const auto found = m_numbers.constFind(&node);
    return found == m_numbers.cend() ? std::nullopt : std::optional(*found);
}

void TimelineController::updateFiles(const std::vector<qint32>& touched)
{
    const HistoryIndex& index = *m_city->index;
    const qint64 at = position();
    for (const qint32 path : touched) {
        FileNode& file = *m_city->files[size_t(path)];
        const bool present = m_cursor->present()[size_t(path)];
        file.lines = present ? m_cursor->lines()[size_t(path)] : 0;
        file.fileCount = present ? 1 : 0;
        file.commits = m_cursor->touches()[size_t(path)];
        const std::vector<qint32>& commits = m_city->touchedAt[size_t(path)];
        const auto last = std::upper_bound(commits.begin(), commits.end(), at);
        file.lastCommit.reset();
        file.gitStatus.reset();
        if (last != commits.begin()) {
            const qint32 commit = *std::prev(last);
            file.lastCommit = index.commits[size_t(commit)].date;
            for (const FileChange& change : index.changes[size_t(commit)]) {
                if (change.path == path)
                    file.gitStatus = statusOf(change.kind);
            }
        }
        file.modified = file.lastCommit;
    }
}

void TimelineController::sumFolders()
{
    const auto sum = [](FileNode& folder, auto& self) -> void {
        folder.lines = folder.fileCount = folder.commits = 0;
        folder.lastCommit.reset();
        for (const auto& child : folder.children) {
            if (child->isDirectory)
                self(*child, self);
            folder.lines += child->lines;
            folder.fileCount += child->fileCount;
            folder.commits += child->commits;
            if (child->lastCommit && (!folder.lastCommit || *child->lastCommit > *folder.lastCommit))
                folder.lastCommit = child->lastCommit;
        }
        folder.modified = folder.lastCommit;
    };
    sum(*m_city->tree, sum);
}

void TimelineController::showPeaks(bool peaks)
{
    if (!m_city)
        return;
    if (!peaks) {
        std::vector<qint32> all(m_city->files.size());
        std::iota(all.begin(), all.end(), 0);
        updateFiles(all);
    } else {
        const HistoryIndex& index = *m_city->index;
        for (size_t path = 0; path < m_city->files.size(); ++path) {
            FileNode& file = *m_city->files[path];
            const std::vector<qint32>& commits = m_city->touchedAt[path];
            file.lines = index.maxLines[path];
            file.fileCount = 1;
            file.commits = qint64(commits.size());
            file.lastCommit
                = commits.empty() ? std::nullopt : std::optional(index.commits[size_t(commits.back())].date);
        }
    }
    sumFolders();
}

std::optional<qint64> TimelineController::lines(const FileNode& node) const
{
    const auto number = numberOf(node);
    if (!number || !m_cursor->present()[size_t(*number)])
        return std::nullopt;
    return m_cursor->lines()[size_t(*number)];
}

std::optional<TimelineController::Commits> TimelineController::commits(const FileNode& node) const
{
    const auto number = numberOf(node);
    if (!number)
        return std::nullopt;
    return Commits { m_cursor->touches()[size_t(*number)],
        qint64(m_city->touchedAt[size_t(*number)].size()) };
}

const Commit* TimelineController::lastChange(const FileNode& node) const
{
    const auto number = numberOf(node);
    if (!number)
        return nullptr;
    const std::vector<qint32>& commits = m_city->touchedAt[size_t(*number)];
    const auto last = std::upper_bound(commits.begin(), commits.end(), position());
    return last == commits.begin() ? nullptr : &m_city->index->commits[size_t(*std::prev(last))];
}

bool TimelineController::isPresent(const FileNode& node) const
{
    return node.fileCount > 0;
}

QList<const FileNode*> TimelineController::changedFiles() const
{
    QList<const FileNode*> files;
    if (!m_cursor)
        return files;
    for (const qint32 path : m_cursor->touched())
        files.append(m_city->files[size_t(path)]);
    return files;
}

std::variant<QByteArray, QString> TimelineController::revision(const FileNode& node, qint64 maxBytes) const
{
    const Commit* commit = this->commit();
    if (!commit)
        return QStringLiteral("Before the first commit, there is nothing to show.");
    if (!lines(node))
        return node.relativePath + QStringLiteral(" is not there at commit ") + commit->shortHash() + u'.';
    const Git git(m_city->index->root);
    const QString object = commit->hash + u':' + node.relativePath;
    const qint64 size = git.string({ QStringLiteral("cat-file"), QStringLiteral("-s"), object })
                            .value_or(QString())
                            .toLongLong();
    if (size > maxBytes)
        return node.relativePath + QStringLiteral(" is too large to show at this commit (")
            + Format::bytes(size) + QStringLiteral(").");
    const std::optional<QByteArray> text
        = git.run({ QStringLiteral("cat-file"), QStringLiteral("blob"), object });
    if (!text)
        return QStringLiteral("git could not give ") + node.relativePath + QStringLiteral(" at commit ")
            + commit->shortHash() + u'.';
    // A Git LFS pointer stands for a file whose content lives in the LFS store, if it was fetched.
    if (text->startsWith("version https://git-lfs.github.com/spec/v1")) {
        const qsizetype at = text->indexOf("oid sha256:");
        const QByteArray oid = at < 0 ? QByteArray() : text->mid(at + 11, 64);
        const QString gitDir
            = git.string({ QStringLiteral("rev-parse"), QStringLiteral("--absolute-git-dir") })
                  .value_or(QString());
        QFile stored(gitDir + QStringLiteral("/lfs/objects/") + QString::fromLatin1(oid.left(2)) + u'/'
            + QString::fromLatin1(oid.mid(2, 2)) + u'/' + QString::fromLatin1(oid));
        if (oid.size() == 64 && !gitDir.isEmpty() && stored.size() <= maxBytes
            && stored.open(QIODevice::ReadOnly))
            return stored.readAll();
        return node.relativePath + QStringLiteral(" is stored with Git LFS, and its content is not here.");
    }
    return *text;
}

QString TimelineController::highlightedName() const
{
    return m_highlighted ? m_highlighted->name : QString();
}

void TimelineController::highlight(const FileNode* node)
{
    if (node && !numberOf(*node) && node != root())
        node = nullptr;
    assign(m_highlighted, node, &TimelineController::highlightChanged);
}

void TimelineController::folderChanged(const OpenFolder& folder)
{
    stop();
    m_job.cancel();
    m_cursor.reset();
    m_numbers.clear();
    m_activity.clear();
    m_lastTouched.clear();
    m_highlighted = nullptr;
    // Views let go of the old history's nodes when they hear of the new folder.
    m_city.reset();
    if (folder.root && folder.isGit)
        load(folder.root->url);
    else
        setPhase(Phase::idle);
}
