#include "history/historyindex.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

bool HistoryIndex::usesLFS() const
{
    QFile attributes(QDir(root).filePath(QStringLiteral(".gitattributes")));
    return attributes.open(QIODevice::ReadOnly)
        && QString::fromUtf8(attributes.readAll()).contains(u"filter=lfs");
}

std::vector<qint32> HistoryIndex::totalTouches() const
{
    std::vector<qint32> touches(size_t(paths.size()), 0);
    for (const auto& commitChanges : changes) {
        for (const FileChange& change : commitChanges)
            ++touches[size_t(change.path)];
    }
    return touches;
}

std::vector<qint64> HistoryIndex::activity() const
{
    std::vector<qint64> out;
    out.reserve(commits.size());
    for (const Commit& commit : commits)
        out.push_back(qint64(commit.insertions) + commit.deletions);
    return out;
}

QString HistoryError::description() const
{
    switch (kind) {
    case Kind::notARepository:
        return QFileInfo(detail).fileName() + QStringLiteral(" is not a git repository.");
    case Kind::failed: return detail;
    case Kind::empty: return QStringLiteral("This repository has no commits yet.");
    case Kind::cancelled: return QStringLiteral("Indexing cancelled.");
    }
    return {};
}
