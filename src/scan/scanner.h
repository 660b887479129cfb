#pragma once

#include "model/filenode.h"
#include "scan/cancelflag.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

class Beneath;

struct ScanProgress {
    QString phase;
    qint64 done = 0;
    qint64 total = 0;
};

struct ScanResult {
    std::shared_ptr<FileNode> root;
    bool isGit = false;
    std::optional<QString> branch;
    bool truncated = false;
    qint64 peakCommits = 0;
    // What went wrong along the way without spoiling the tree, such as git giving up.
    std::optional<QString> warning;
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

    // progress may be called from any thread.
    std::variant<ScanResult, ScanError> scan(const ProgressCallback& progress = {}) const;

    // Folders never entered by the walk, and the only dot-names it keeps.
    static const QList<QByteArray>& skippedDirectories();
    static const QList<QByteArray>& hiddenAllowed();

    // Lines of an open file of the given size: counts newlines in at most readCap bytes
    // (extrapolating past it); a zero byte in the first 8000 bytes makes the file binary with no
    // lines. A descriptor of -1 has none.
    static LineCount countLines(int fd, qint64 size);

private:
    QList<QByteArray> walk() const;
    std::vector<FileNode*> buildTree(FileNode& root, const QList<QByteArray>& paths) const;
    void measure(const std::vector<FileNode*>& files, const QList<QByteArray>& paths, int workers,
        const std::function<void(qint64 done, qint64 total)>& report) const;
    static void measureFile(FileNode& file, const Beneath& folder, const QByteArray& path);
    bool cancelled() const { return m_cancel && m_cancel->isCancelled(); }

    QString m_rootPath;
    CancelFlagPtr m_cancel;
    int m_maxFiles;
    Scope m_scope;
};
