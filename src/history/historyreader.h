#pragma once

#include "history/historyindex.h"
#include "scan/cancelflag.h"

#include <QByteArray>
#include <QHash>
#include <QStringList>

#include <functional>
#include <memory>
#include <variant>

class HistoryCache;

// Turns "git log -z --raw --numstat" into an index, one NUL-ended piece at a time: a commit header,
// its raw entries (status, then one or two paths as pieces of their own), then as many numstat
// entries (counts; a rename's paths again follow as pieces), matched by position. Paths are taken
// as git's raw bytes: never quoted, whatever characters they hold.
class HistoryBuilder {
public:
    explicit HistoryBuilder(qint32 maxPaths = 80000);

    // Whether a commit's header starts at `at` of a log: after a NUL, 0x01, a full hash and a field
    // separator, as much of them as the log holds.
    static bool isHeaderAt(QByteArrayView log, qsizetype at);

    void feed(QByteArrayView piece);
    void flush(); // closes the commit in hand
    void dropOpen(); // forgets the commit in hand, cut short
    // Feeds the oldest `commits` of a log given newest first, oldest first, after what came before;
    // false, feeding nothing, when it holds fewer whole ones (the last is whole only if it `ended`).
    bool feedNewestFirst(const QByteArray& log, bool ended, qint64 commits);
    qint64 commitCount() const { return qint64(m_index.commits.size()); }
    HistoryIndex take();

private:
    struct Counts {
        qint32 added = 0;
        qint32 removed = 0;
        bool binary = false;
    };
    struct Raw {
        char status;
        QByteArray path;
        std::optional<QByteArray> target;
    };

    std::optional<qint32> intern(const QByteArray& path);
    void bump(qint32 path, qint64 delta);

    qint32 m_maxPaths;
    HistoryIndex m_index;
    QHash<QByteArray, qint32> m_pathIndex;
    std::vector<qint32> m_lines;
    std::optional<Commit> m_commit;
    std::vector<Counts> m_counts;
    std::vector<Raw> m_status;
    int m_pathsDue = 0; // pieces still to come that are paths, not entries
    bool m_numstatPaths = false; // and whether they belong to a numstat entry, which keeps none
};

// Reads the first-parent history of a work tree's branch, oldest first, with lines added and removed
// per file, streaming git's log. Limits: the newest maxCommits commits, the first maxPaths paths.
// A history of splitFrom commits or more is read by two git processes at once, from either end.
class HistoryReader {
public:
    using ProgressCallback = std::function<void(const HistoryProgress&)>;

    HistoryReader(const QString& root, CancelFlagPtr cancel, qint64 maxCommits = 20000,
        qint32 maxPaths = 80000, qint64 splitFrom = 1000);

    // git's log of `count` first-parent commits up to and with `last`, oldest first or newest first,
    // with each commit's changed files: their status and paths, then their lines added and removed,
    // every piece ended by a NUL.
    static QStringList logArguments(const QString& last, qint64 count, bool oldestFirst = true);

    // cache, when given, answers for a head it has seen and keeps what is read.
    std::variant<std::shared_ptr<const HistoryIndex>, HistoryError> read(
        const ProgressCallback& progress = {}, HistoryCache* cache = nullptr, bool* cacheHit = nullptr) const;

private:
    QString m_root;
    CancelFlagPtr m_cancel;
    qint64 m_maxCommits;
    qint32 m_maxPaths;
    qint64 m_splitFrom;
};
