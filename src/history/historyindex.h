#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

struct Commit {
    QString hash; // all 40 digits
    qint64 date = 0; // committer time, seconds since 1970
    QString author;
    QString subject;
    qint32 insertions = 0;
    qint32 deletions = 0;
    qint32 changedFiles = 0;

    QString shortHash() const { return hash.left(7); }
    bool operator==(const Commit&) const = default;
};

struct FileChange {
    enum class Kind : quint8 { added = 0, modified = 1, deleted = 2, renamed = 3 };
    qint32 path = 0; // path number
    qint32 from = -1; // the old path of a rename, -1 for none
    qint32 added = 0;
    qint32 removed = 0;
    Kind kind = Kind::modified;
    bool binary = false;

    bool operator==(const FileChange&) const = default;
};

// A repository's first-parent history, oldest commit first: paths by number, each commit's changes
// naming paths by number, and the most lines each path ever had. Immutable once built.
struct HistoryIndex {
    QString root;
    QString branch;
    QStringList paths;
    std::vector<Commit> commits;
    std::vector<std::vector<FileChange>> changes;
    std::vector<qint32> maxLines;
    bool truncated = false; // older commits were left out

    qint64 commitCount() const { return qint64(commits.size()); }
    bool usesLFS() const;
    std::vector<qint32> totalTouches() const; // per path: changes naming it
    std::vector<qint64> activity() const; // per commit: insertions + deletions
};

struct HistoryProgress {
    QString phase;
    qint64 commits = 0;
};

struct HistoryError {
    enum class Kind { notARepository, failed, empty, cancelled };
    Kind kind;
    QString detail; // the folder, or the message of a failure

    QString description() const;
};
