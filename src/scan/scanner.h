#pragma once

#include "git/git.h"
#include "model/filenode.h"
#include "scan/cancelflag.h"
#include "scan/parallel.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

struct ScanProgress {
    QString phase;
    qint64 done = 0;
    qint64 total = 0;
};

class PendingHistory;

struct ScanResult {
    std::shared_ptr<FileNode> root;
    bool isGit = false;
    std::optional<QString> branch;
    bool truncated = false;
    qint64 peakCommits = 0;
    // What went wrong along the way without spoiling the tree, such as git giving up.
    std::optional<QString> warning;
    // Set when the tree was handed over before the history was read: git's log, still reading, whose
    // commit counts and times are then written into the tree by ScanHistory::applyTo.
    std::shared_ptr<PendingHistory> history;
};

// What a repository's recent history says of a scanned tree's files, gathered apart from the tree so
// that the tree can be in use meanwhile.
struct ScanHistory {
    std::vector<std::pair<FileNode*, Git::History::Touches>> files;
    qint64 peakCommits = 0;
    // Why git was given up, if it was.
    std::optional<QString> warning;
    std::weak_ptr<FileNode> tree;

    // Writes the commit counts and times into the tree they were read for, and sums them up its
    // folders; any other tree is left alone and false returned.
    bool applyTo(const std::shared_ptr<FileNode>& root) const;
};

// The history of a scan that handed its tree over first.
class PendingHistory {
public:
    // Waits for git's log and matches it to the tree's files, writing nothing into the tree. Once.
    ScanHistory finish();
    // Stops git: finish returns soon after, with nothing read. Any thread.
    void cancel() { m_stop->cancel(); }

private:
    friend class Scanner;
    PendingHistory(const Git& git, const CancelFlagPtr& scanCancel, int maxCommits, qsizetype maxPaths);

    CancelFlagPtr m_stop = std::make_shared<CancelFlag>();
    Git m_git;
    SideJob<Git::History> m_log;
    // The tree's files, each with the path bytes git knows it by (views into m_paths).
    std::vector<std::pair<FileNode*, QByteArrayView>> m_files;
    QList<QByteArray> m_paths;
    std::weak_ptr<FileNode> m_tree;
};

// The files of a folder as a scan lists them, before any is measured.
struct ScanListing {
    QList<QByteArray> paths; // relative, in git's order (or the walk's), each a plain path inside
    // Whether every path named a regular file or a link when it was listed, as all of git's do; a
    // walk lists whatever stands in the folder, devices and pipes too.
    bool filesOnly = false;
    bool truncated = false;
};

struct ScanError {
    enum class Kind { notADirectory, cancelled };
    Kind kind;
    QString path;

    QString description() const;
};

struct LineCount {
    qint64 lines = 0;
    bool isBinary = false;
};

// Turns a folder on disk into a finished FileNode tree: lists the files (from git inside a work
// tree, else by walking the disk), measures them in parallel, merges git status and recent history
// gathered at the same time, and finalizes the tree. Runs off the main thread.
class Scanner {
public:
    using ProgressCallback = std::function<void(const ScanProgress&)>;

    static constexpr int defaultMaxFiles = 80000;
    static constexpr int historyCommits = 5000;
    static constexpr qint64 readCap = qint64(24) * 1024 * 1024;
    static constexpr qint64 binaryProbeBytes = 8000;

    // How much of the scan runs. `listing` only lists the files and builds the tree: no measures (sizes
    // and lines stay 0), no git status, branch or history; for work such as a text search that reads
    // the files itself.
    enum class Scope { everything, listing };

    Scanner(const QString& rootPath, CancelFlagPtr cancel, int maxFiles = defaultMaxFiles,
        Scope scope = Scope::everything);

    // Whether the scan ends once the history is read too, or hands the tree over before (see
    // ScanResult::history).
    enum class HistoryTiming { wait, later };

    // progress may be called from any thread.
    std::variant<ScanResult, ScanError> scan(
        const ProgressCallback& progress = {}, HistoryTiming timing = HistoryTiming::wait) const;

    // Only the list of the files, for work that reads them itself, such as a text search. In a work
    // tree, `tracked` (when given) is handed the files git tracks as soon as they are known, to be
    // at work on them while git still looks for untracked ones; what is returned is then only those.
    using ListingPart = std::function<void(const ScanListing&)>;
    std::variant<ScanListing, ScanError> list(const ListingPart& tracked = {}) const;

    // Folders never entered by the walk, and the only dot-names it keeps.
    static const QList<QByteArray>& skippedDirectories();
    static const QList<QByteArray>& hiddenAllowed();

    // Lines of an open file of the given size: counts newlines in at most readCap bytes
    // (extrapolating past it); a zero byte in the first 8000 bytes makes the file binary with no
    // lines. A descriptor of -1 has none.
    static LineCount countLines(int fd, qint64 size);

private:
    // Every file below the folder; `filesOnly` tells whether all were regular files or links.
    QList<QByteArray> walk(bool* filesOnly) const;
    // git's list (tracked files, then untracked ones) when asked for and it lists anything, else the
    // walk's, without what leaves the folder or is too deep, and at most m_maxFiles; see list() for
    // `tracked`.
    ScanListing listPaths(const Git& git, bool askGit, const ListingPart& tracked = {}) const;
    std::vector<FileNode*> buildTree(FileNode& root, const QList<QByteArray>& paths) const;
    void measure(const std::vector<FileNode*>& files, const QList<QByteArray>& paths, int workers,
        const std::function<void(qint64 done, qint64 total)>& report) const;
    // Measures a file by its name in a folder opened beneath the root (-1 when that failed).
    static void measureFile(FileNode& file, int folder, QByteArrayView name);
    bool cancelled() const { return m_cancel && m_cancel->isCancelled(); }

    QString m_rootPath;
    CancelFlagPtr m_cancel;
    int m_maxFiles;
    Scope m_scope;
};
