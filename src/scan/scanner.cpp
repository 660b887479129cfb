#include "scan/scanner.h"

#include "git/git.h"
#include "scan/beneath.h"
#include "scan/parallel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QScopeGuard>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Joins an absolute folder path and a relative one without doubling the slash at "/".
QByteArray joinPath(const QByteArray& folder, const QByteArray& relative)
{
    if (folder.endsWith('/'))
        return folder + relative;
    return folder + '/' + relative;
}

struct Entry {
    QByteArray name;
    unsigned char type;
};

} // namespace

QString ScanError::description() const
{
    switch (kind) {
    case Kind::notADirectory: return path + QStringLiteral(" is not a folder.");
    case Kind::cancelled: return QStringLiteral("Scan cancelled.");
    }
    return {};
}

Scanner::Scanner(const QString& rootPath, CancelFlagPtr cancel, int maxFiles, Scope scope)
    : m_rootPath(QDir::cleanPath(QFileInfo(rootPath).absoluteFilePath()))
    , m_cancel(std::move(cancel))
    , m_maxFiles(maxFiles)
    , m_scope(scope)
{
}

const QList<QByteArray>& Scanner::skippedDirectories()
{
    static const QList<QByteArray> names { ".git", "node_modules", ".build", "DerivedData", "Pods", ".svn",
        ".hg", "__pycache__", ".venv", "venv", ".gradle", ".idea", ".next", ".nuxt", "dist", "target",
        ".cache", ".Trash", "Library", ".swiftpm" };
    return names;
}

const QList<QByteArray>& Scanner::hiddenAllowed()
{
    static const QList<QByteArray> names { ".github", ".gitignore", ".gitattributes", ".editorconfig",
        ".env.example" };
    return names;
}

QList<QByteArray> Scanner::walk(bool* filesOnly) const
{
    *filesOnly = true;
    const QByteArray root = QFile::encodeName(m_rootPath);
    const bool rootIsHome = m_rootPath == QDir::cleanPath(QDir::homePath());
    QList<QByteArray> files;
    std::deque<std::pair<QByteArray, QByteArray>> queue { { root, QByteArray() } };
    std::vector<Entry> entries;
    while (!queue.empty() && files.size() <= m_maxFiles && !cancelled()) {
        const auto [folder, relative] = std::move(queue.front());
        queue.pop_front();
        DIR* dir = opendir(folder.constData());
        if (!dir)
            continue;
        entries.clear();
        while (const dirent* entry = readdir(dir)) {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                entries.push_back({ QByteArray(entry->d_name), entry->d_type });
        }
        closedir(dir);
        std::sort(
            entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
        for (const Entry& entry : entries) {
            if (entry.name == ".DS_Store"
                || (entry.name.startsWith('.') && !hiddenAllowed().contains(entry.name)))
                continue;
            const QByteArray path = relative.isEmpty() ? entry.name : relative + '/' + entry.name;
            unsigned char type = entry.type;
            if (type == DT_UNKNOWN) {
                struct stat info;
                if (lstat(joinPath(root, path).constData(), &info) == 0)
                    type = S_ISDIR(info.st_mode) ? DT_DIR
                        : S_ISREG(info.st_mode)  ? DT_REG
                        : S_ISLNK(info.st_mode)  ? DT_LNK
                                                 : DT_UNKNOWN;
            }
            if (type != DT_DIR) {
                files.append(path); // a link to a folder is never entered: it is a file here
                *filesOnly = *filesOnly && (type == DT_REG || type == DT_LNK);
                continue;
            }
            if (skippedDirectories().contains(entry.name) && !(entry.name == "Library" && !rootIsHome))
                continue;
            queue.emplace_back(joinPath(root, path), path);
        }
    }
    return files;
}

LineCount Scanner::countLines(int fd, qint64 size)
{
    if (size <= 0 || fd < 0)
        return {};
    constexpr qint64 chunk = qint64(64) * 1024;
    thread_local std::unique_ptr<char[]> buffer(new char[chunk]);
    qint64 read = 0;
    qint64 lines = 0;
    char last = '\n';
    while (read < readCap) {
        const ssize_t n = ::read(fd, buffer.get(), std::min(chunk, readCap - read));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        if (read == 0 && std::memchr(buffer.get(), 0, std::min<qint64>(n, binaryProbeBytes)))
            return { 0, true };
        lines += std::count(buffer.get(), buffer.get() + n, '\n');
        last = buffer[n - 1];
        read += n;
        if (read >= size)
            break; // the end, without asking for it
    }
    if (last != '\n')
        ++lines;
    if (read > 0 && read < size)
        lines = qint64(double(size) * double(lines) / double(read));
    return { lines, false };
}

std::vector<FileNode*> Scanner::buildTree(FileNode& root, const QList<QByteArray>& paths) const
{
    // Folders are made as the paths name them, keyed by their relative path: from the nearest one
    // already made down to the one asked for, without recursing once a level.
    const QString urlPrefix = m_rootPath.endsWith(u'/') ? m_rootPath : m_rootPath + u'/';
    QHash<QByteArray, FileNode*> folders { { QByteArray(), &root } };
    std::vector<qsizetype> missing;
    const auto folderFor = [&](const QByteArray& path) -> FileNode* {
        FileNode* parent = nullptr;
        missing.clear();
        for (qsizetype end = path.size(); !(parent = folders.value(path.left(end)));) {
            missing.push_back(end);
            end = std::max<qsizetype>(0, path.lastIndexOf('/', end - 1));
        }
        for (auto end = missing.rbegin(); end != missing.rend(); ++end) {
            const QByteArray folder = path.left(*end);
            const QString relative = QString::fromUtf8(folder);
            auto node = std::make_unique<FileNode>(urlPrefix + relative,
                QString::fromUtf8(folder.mid(folder.lastIndexOf('/') + 1)), relative, true, parent);
            parent = folders[folder] = parent->addChild(std::move(node));
        }
        return parent;
    };
    std::vector<FileNode*> files;
    files.reserve(paths.size());
    for (const QByteArray& path : paths) {
        const qsizetype slash = path.lastIndexOf('/');
        FileNode* folder = folderFor(slash < 0 ? QByteArray() : path.left(slash));
        const QString relative = QString::fromUtf8(path);
        const QString name = QString::fromUtf8(path.mid(slash + 1));
        auto node = std::make_unique<FileNode>(urlPrefix + relative, name, relative, false, folder);
        node->language = &Languages::languageFor(name);
        files.push_back(folder->addChild(std::move(node)));
    }
    return files;
}

void Scanner::measure(const std::vector<FileNode*>& files, const QList<QByteArray>& paths, int workers,
    const std::function<void(qint64, qint64)>& report) const
{
    const Beneath root(m_rootPath);
    const qint64 count = qint64(files.size());
    const int chunkCount = std::max(1, 6 * QThread::idealThreadCount());
    const qint64 chunkSize = std::max<qint64>(1, (count + chunkCount - 1) / chunkCount);
    std::mutex progressLock;
    qint64 done = 0;
    QElapsedTimer sinceReport;
    sinceReport.start();
    parallelFor(chunkCount, workers, [&](int chunk) {
        // The paths come sorted, a folder's files together: each folder is opened once (never
        // through a link), and its files by name alone.
        std::optional<QByteArrayView> openPath;
        int folder = -1;
        const auto closeFolder = qScopeGuard([&] {
            if (folder >= 0)
                close(folder);
        });
        const qint64 end = std::min((chunk + 1) * chunkSize, count);
        for (qint64 index = chunk * chunkSize; index < end; ++index) {
            if (cancelled())
                return;
            const QByteArrayView path = paths[index];
            const qsizetype slash = path.lastIndexOf('/');
            const QByteArrayView parent = path.first(std::max<qsizetype>(slash, 0));
            if (openPath != parent) {
                if (folder >= 0)
                    close(folder);
                folder = root.openFolder(parent);
                openPath = parent;
            }
            measureFile(*files[size_t(index)], folder, path.sliced(slash + 1));
            if (index % 64 != 0)
                continue;
            qint64 reached = -1;
            {
                std::lock_guard lock(progressLock);
                done += 64;
                if (sinceReport.elapsed() > 80) {
                    sinceReport.restart();
                    reached = std::min(done, count);
                }
            }
            if (reached >= 0)
                report(reached, count);
        }
    });
}

void Scanner::measureFile(FileNode& file, int folder, QByteArrayView name)
{
    // Whatever cannot be reached from inside the folder, such as a path through a link, is left out.
    const std::optional<struct stat> info = Beneath::statusIn(folder, name);
    if (!info || S_ISDIR(info->st_mode)) {
        file.excluded = true;
        return;
    }
    file.size = info->st_size;
    file.modified = qint64(info->st_mtim.tv_sec);
    if (!S_ISREG(info->st_mode) || file.language->isBinary)
        return; // a link, a device or a picture is never read
    const int fd = Beneath::openKnownFileIn(folder, name);
    const LineCount measured = countLines(fd, file.size);
    if (fd >= 0)
        close(fd);
    file.lines = measured.lines;
    file.isBinary = measured.isBinary;
    if (file.isBinary && *file.language == Languages::other())
        file.language = &Languages::binary();
}

namespace {

// The paths a listing takes: plain ones, no deeper than a real project, and at most `room`.
ScanListing listable(QList<QByteArray> paths, bool filesOnly, qsizetype room)
{
    ScanListing listing { std::move(paths), filesOnly, false };
    const qsizetype listed = listing.paths.size();
    listing.paths.removeIf([](const QByteArray& path) {
        return !Beneath::isPlain(path) || Beneath::depth(path) > Beneath::maxDepth;
    });
    if (listing.paths.size() > room)
        listing.paths.resize(std::max<qsizetype>(room, 0));
    listing.truncated = listing.paths.size() < listed;
    return listing;
}

} // namespace

ScanListing Scanner::listPaths(const Git& git, bool askGit, const ListingPart& tracked) const
{
    if (askGit) {
        // git reads the tracked files from its index at once, but walks the whole folder for the
        // untracked ones: both lists are made side by side, and the tracked files can be at work
        // while git still walks.
        SideJob<std::optional<QList<QByteArray>>> untracked([git] { return git.listUntracked(); });
        QList<QByteArray> paths = git.listTracked().value_or(QList<QByteArray>());
        if (tracked && !paths.isEmpty()) {
            const ScanListing first = listable(std::move(paths), true, m_maxFiles);
            tracked(first);
            ScanListing rest = listable(
                untracked.take().value_or(QList<QByteArray>()), true, m_maxFiles - first.paths.size());
            rest.truncated = rest.truncated || first.truncated;
            return rest;
        }
        paths += untracked.take().value_or(QList<QByteArray>());
        if (!paths.isEmpty())
            return listable(std::move(paths), true, m_maxFiles);
    }
    bool filesOnly = false;
    QList<QByteArray> walked = walk(&filesOnly);
    return listable(std::move(walked), filesOnly, m_maxFiles);
}

std::variant<ScanListing, ScanError> Scanner::list(const ListingPart& tracked) const
{
    if (!QFileInfo(m_rootPath).isDir())
        return ScanError { ScanError::Kind::notADirectory, m_rootPath };
    const Git git(m_rootPath, [cancel = m_cancel] { return cancel && cancel->isCancelled(); });
    // Outside a work tree git lists nothing, so it is simply asked.
    ScanListing listing = listPaths(git, true, tracked);
    if (cancelled())
        return ScanError { ScanError::Kind::cancelled, m_rootPath };
    return listing;
}

PendingHistory::PendingHistory(
    const Git& git, const CancelFlagPtr& scanCancel, int maxCommits, qsizetype maxPaths)
    : m_git(git.withStop([scanCancel, stop = m_stop] {
        return stop->isCancelled() || (scanCancel && scanCancel->isCancelled());
    }))
    , m_log([git = m_git, maxCommits, maxPaths] { return git.history(maxCommits, maxPaths); })
{
}

ScanHistory PendingHistory::finish()
{
    const Git::History log = m_log.take();
    ScanHistory history;
    history.tree = m_tree;
    history.files.reserve(m_files.size());
    for (const auto& [file, path] : m_files)
        history.files.emplace_back(file, log.paths.value(path));
    for (const Git::History::Touches& touches : log.paths)
        history.peakCommits = std::max<qint64>(history.peakCommits, touches.commits);
    history.warning = m_git.stall();
    return history;
}

bool ScanHistory::applyTo(const std::shared_ptr<FileNode>& root) const
{
    if (!root || root != tree.lock())
        return false;
    for (const auto& [file, touches] : files) {
        file->commits = touches.commits;
        file->lastCommit = touches.last;
    }
    root->sumCommits();
    return true;
}

std::variant<ScanResult, ScanError> Scanner::scan(
    const ProgressCallback& progress, HistoryTiming timing) const
{
    const auto report = [&](const QString& phase, qint64 done, qint64 total) {
        if (progress)
            progress({ phase, done, total });
    };
    if (!QFileInfo(m_rootPath).isDir())
        return ScanError { ScanError::Kind::notADirectory, m_rootPath };
    report(QStringLiteral("Listing files"), 0, 0);
    const Git git(m_rootPath, [cancel = m_cancel] { return cancel && cancel->isCancelled(); });
    ScanResult result;
    result.isGit = git.isInsideWorkTree();

    // The history is git's slowest answer: it starts first, on a thread of its own, and the rest of
    // the scan (listing, measuring, the status, finishing the tree) keeps to the other cores.
    std::shared_ptr<PendingHistory> history;
    const bool everything = m_scope == Scope::everything;
    if (result.isGit && everything)
        history.reset(new PendingHistory(git, m_cancel, historyCommits, 2 * qsizetype(m_maxFiles)));

    ScanListing listing = listPaths(git, result.isGit);
    QList<QByteArray> paths = std::move(listing.paths);
    result.truncated = listing.truncated;
    if (cancelled())
        return ScanError { ScanError::Kind::cancelled, m_rootPath };

    // git's status stats every file as the measuring does: the two run side by side.
    std::optional<SideJob<QHash<QString, GitFileStatus>>> status;
    if (result.isGit && everything)
        status.emplace([git] { return git.status(); });

    const QString rootName = QFileInfo(m_rootPath).fileName();
    result.root = std::make_shared<FileNode>(
        m_rootPath, rootName.isEmpty() ? m_rootPath : rootName, QString(), true, nullptr);
    const std::vector<FileNode*> files = buildTree(*result.root, paths);

    // While git reads the history it keeps one core busy: a scan that waits for it leaves it that
    // core, while one that hands the tree over first measures on every core, the tree being wanted
    // first.
    const bool treeFirst = timing == HistoryTiming::later;
    const int workers = std::max(1, QThread::idealThreadCount() - (history && !treeFirst ? 1 : 0));
    if (everything)
        measure(files, paths, workers,
            [&](qint64 done, qint64 total) { report(QStringLiteral("Counting lines"), done, total); });

    if (result.isGit && everything) {
        result.branch = git.branch();
        const QHash<QString, GitFileStatus> statuses = status->take();
        for (FileNode* file : files) {
            const auto status = statuses.constFind(file->relativePath);
            if (status != statuses.cend())
                file->gitStatus = *status;
        }
    }
    if (cancelled())
        return ScanError { ScanError::Kind::cancelled, m_rootPath };
    // The history knows paths by git's raw bytes, which a name that is not UTF-8 does not survive
    // the trip through a QString with: they are kept beside each file left in the tree.
    if (history) {
        history->m_files.reserve(files.size());
        for (size_t i = 0; i < files.size(); ++i) {
            if (!files[i]->excluded)
                history->m_files.emplace_back(files[i], paths[qsizetype(i)]);
        }
        history->m_paths = std::move(paths);
        history->m_tree = result.root;
    }
    result.root->finalize(0);
    result.warning = git.stall();
    if (!history || timing == HistoryTiming::later) {
        result.history = std::move(history);
        return result;
    }

    report(QStringLiteral("Reading git history"), qint64(files.size()), qint64(files.size()));
    const ScanHistory read = history->finish();
    if (cancelled())
        return ScanError { ScanError::Kind::cancelled, m_rootPath };
    read.applyTo(result.root);
    result.peakCommits = read.peakCommits;
    result.warning = read.warning;
    return result;
}
