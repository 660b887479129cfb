#include "history/historycache.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr quint32 magic = 0x4B564849; // "KVHI"
constexpr quint32 version = 1;

} // namespace

HistoryCache::HistoryCache(QString folder, qint64 limit)
    : m_folder(folder.isEmpty()
            ? QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/history")
            : std::move(folder))
    , m_limit(limit)
{
}

QString HistoryCache::fileFor(const QString& root, const QString& head) const
{
    const QByteArray key = QCryptographicHash::hash(root.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return m_folder + u'/' + QString::fromLatin1(key) + u'-' + head + QStringLiteral(".index");
}

std::shared_ptr<const HistoryIndex> HistoryCache::load(const QString& root, const QString& head) const
{
    QFile file(fileFor(root, head));
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 fileMagic = 0, fileVersion = 0;
    in >> fileMagic >> fileVersion;
    if (fileMagic != magic || fileVersion != version)
        return nullptr;
    auto index = std::make_shared<HistoryIndex>();
    quint64 commitCount = 0;
    in >> index->root >> index->branch >> index->truncated >> index->paths >> commitCount;
    if (in.status() != QDataStream::Ok || index->root != root || commitCount > quint64(file.size()))
        return nullptr;
    const auto pathCount = qint32(index->paths.size());
    index->commits.resize(commitCount);
    index->changes.resize(commitCount);
    for (quint64 i = 0; i < commitCount && in.status() == QDataStream::Ok; ++i) {
        Commit& commit = index->commits[i];
        quint32 changeCount = 0;
        in >> commit.hash >> commit.date >> commit.author >> commit.subject >> commit.insertions
            >> commit.deletions >> commit.changedFiles >> changeCount;
        if (changeCount > quint64(file.size()))
            return nullptr;
        auto& changes = index->changes[i];
        changes.resize(changeCount);
        for (FileChange& change : changes) {
            quint8 kind = 0;
            in >> change.path >> change.from >> change.added >> change.removed >> kind >> change.binary;
            change.kind = FileChange::Kind(kind);
            if (change.path < 0 || change.path >= pathCount || change.from < -1 || change.from >= pathCount
                || kind > 3)
                return nullptr;
        }
    }
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
    if (!QDir().mkpath(m_folder))
        return false;
    QSaveFile file(fileFor(index.root, head));
    if (!file.open(QIODevice::WriteOnly))
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
    if (out.status() != QDataStream::Ok || !file.commit())
        return false;
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
