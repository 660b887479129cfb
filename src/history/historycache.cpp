#include "history/historycache.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr quint32 magic = 0x4B564849; // "KVHI"
constexpr quint32 version = 1;
// The fewest bytes a stored commit, change and path take: a count read from a file is believed
// only when that many could fit in what is left of it.
constexpr qint64 commitBytes = 36;
constexpr qint64 changeBytes = 18;
constexpr qint64 pathBytes = 4;

// Why the user's cache folder can't be used, if it can't: it must be given whole, never relative
// to wherever Korvane happens to run (which may be the repository shown).
std::optional<QString> cacheLocationProblem()
{
    const QString xdg = qEnvironmentVariable("XDG_CACHE_HOME");
    if (!xdg.isEmpty())
        return QDir::isAbsolutePath(xdg)
            ? std::nullopt
            : std::optional(QStringLiteral("XDG_CACHE_HOME is not an absolute path"));
    const QString home = qEnvironmentVariable("HOME");
    if (home.isEmpty())
        return QStringLiteral("neither HOME nor XDG_CACHE_HOME is set");
    if (!QDir::isAbsolutePath(home) || QDir::cleanPath(home) == u"/")
        return QStringLiteral("HOME is not a folder of its own");
    return std::nullopt;
}

// The whole file, if it is a regular file of at most `limit` bytes, reached without a link.
std::optional<QByteArray> readRegular(const QString& path, qint64 limit)
{
    const int fd
        = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    QFile file;
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > limit
        || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return std::nullopt;
    }
    QByteArray bytes = file.read(info.st_size + 1);
    if (bytes.size() != info.st_size)
        return std::nullopt;
    return bytes;
}

} // namespace

HistoryCache::HistoryCache(QString folder, qint64 limit)
    : m_limit(limit)
{
    if (!folder.isEmpty()) {
        m_folder = std::move(folder);
    } else if (const std::optional<QString> problem = cacheLocationProblem()) {
        m_unavailable = QStringLiteral("The history cache is off: ") + *problem + u'.';
    } else {
        m_folder
            = QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/history");
    }
}

QString HistoryCache::fileFor(const QString& root, const QString& head) const
{
    const QByteArray key = QCryptographicHash::hash(root.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return m_folder + u'/' + QString::fromLatin1(key) + u'-' + head + QStringLiteral(".index");
}

std::shared_ptr<const HistoryIndex> HistoryCache::load(const QString& root, const QString& head) const
{
    if (m_folder.isEmpty())
        return nullptr;
    const std::optional<QByteArray> bytes = readRegular(fileFor(root, head), m_limit);
    if (!bytes)
        return nullptr;
    QDataStream in(*bytes);
    in.setVersion(QDataStream::Qt_6_4);
    const auto fits = [&](quint64 count, qint64 each) {
        return count <= quint64((bytes->size() - in.device()->pos()) / each);
    };
    quint32 fileMagic = 0, fileVersion = 0;
    in >> fileMagic >> fileVersion;
    if (fileMagic != magic || fileVersion != version)
        return nullptr;
    auto index = std::make_shared<HistoryIndex>();
    quint32 pathCount = 0;
    in >> index->root >> index->branch >> index->truncated >> pathCount;
    if (in.status() != QDataStream::Ok || index->root != root || !fits(pathCount, pathBytes))
        return nullptr;
    index->paths.reserve(pathCount);
    for (quint32 i = 0; i < pathCount && in.status() == QDataStream::Ok; ++i)
        in >> index->paths.emplace_back();
    quint64 commitCount = 0;
    in >> commitCount;
    if (in.status() != QDataStream::Ok || !fits(commitCount, commitBytes))
        return nullptr;
    index->commits.resize(commitCount);
    index->changes.resize(commitCount);
    for (quint64 i = 0; i < commitCount && in.status() == QDataStream::Ok; ++i) {
        Commit& commit = index->commits[i];
        quint32 changeCount = 0;
        in >> commit.hash >> commit.date >> commit.author >> commit.subject >> commit.insertions
            >> commit.deletions >> commit.changedFiles >> changeCount;
        if (!fits(changeCount, changeBytes))
            return nullptr;
        auto& changes = index->changes[i];
        changes.resize(changeCount);
        for (FileChange& change : changes) {
            quint8 kind = 0;
            in >> change.path >> change.from >> change.added >> change.removed >> kind >> change.binary;
            change.kind = FileChange::Kind(kind);
            if (change.path < 0 || quint32(change.path) >= pathCount || change.from < -1
                || change.from >= qint32(pathCount) || kind > 3)
                return nullptr;
        }
    }
    if (!fits(pathCount, sizeof(qint32)))
        return nullptr;
    std::vector<qint32> maxLines(static_cast<size_t>(pathCount));
    for (qint32& lines : maxLines)
        in >> lines;
    index->maxLines = std::move(maxLines);
    if (in.status() != QDataStream::Ok || !in.atEnd())
        return nullptr;
    return index;
}

bool HistoryCache::store(const HistoryIndex& index, const QString& head) const
{
    if (m_folder.isEmpty() || !QDir().mkpath(m_folder))
        return false;
    // Written under a new name of its own, then renamed over the old one: whatever stood at the
    // final name, a link included, is replaced and never written through.
    QTemporaryFile file(m_folder + QStringLiteral("/XXXXXX.part"));
    if (!file.open())
        return false;
    QDataStream out(&file);
    out.setVersion(QDataStream::Qt_6_4);
    out << magic << version << index.root << index.branch << index.truncated << index.paths
        << quint64(index.commits.size());
    for (size_t i = 0; i < index.commits.size(); ++i) {
        const Commit& commit = index.commits[i];
        out << commit.hash << commit.date << commit.author << commit.subject << commit.insertions
            << commit.deletions << commit.changedFiles << quint32(index.changes[i].size());
        for (const FileChange& change : index.changes[i])
            out << change.path << change.from << change.added << change.removed << quint8(change.kind)
                << change.binary;
    }
    for (const qint32 lines : index.maxLines)
        out << lines;
    if (out.status() != QDataStream::Ok || !file.flush()
        || ::rename(QFile::encodeName(file.fileName()).constData(),
               QFile::encodeName(fileFor(index.root, head)).constData())
            != 0)
        return false;
    file.setAutoRemove(false);
    prune();
    return true;
}

void HistoryCache::prune() const
{
    QFileInfoList entries
        = QDir(m_folder).entryInfoList({ QStringLiteral("*.index") }, QDir::Files, QDir::Time);
    qint64 total = 0;
    for (const QFileInfo& entry : entries)
        total += entry.size();
    // Newest first: the oldest go until the rest fits.
    while (total > m_limit && entries.size() > 1) {
        total -= entries.last().size();
        QFile::remove(entries.last().filePath());
        entries.removeLast();
    }
}
