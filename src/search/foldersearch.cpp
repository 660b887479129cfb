#include "search/foldersearch.h"

#include "model/naturalorder.h"
#include "scan/beneath.h"
#include "scan/parallel.h"

#include <QFile>
#include <QScopeGuard>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The binary probe of the scan: a zero byte among the first bytes.
constexpr qint64 binaryProbeBytes = 8000;

// One buffer a thread, grown to the largest file it reads, so reading allocates only now and then.
QByteArray& readBuffer()
{
    thread_local QByteArray buffer;
    return buffer;
}

// The file's whole contents, or none when it cannot be read, is no regular file, or has reached
// the size limit. An entry known to be a regular file or a link is opened without a look first.
std::optional<QByteArrayView> readWhole(int folder, const QByteArray& name, bool known)
{
    struct stat info;
    const int fd
        = known ? Beneath::openKnownFileIn(folder, name, &info) : Beneath::openFileIn(folder, name, &info);
    if (fd < 0)
        return std::nullopt;
    if (info.st_size >= FolderSearch::sizeLimit) {
        ::close(fd);
        return std::nullopt;
    }
    QByteArray& buffer = readBuffer();
    // One byte more than the size tells a file that grew while it was read.
    const qint64 room = qint64(info.st_size) + 1;
    if (buffer.size() < room)
        buffer.resize(room);
    qint64 length = 0;
    while (length < room) {
        const ssize_t n = ::read(fd, buffer.data() + length, size_t(room - length));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        length += n;
        if (length == info.st_size)
            break; // a read of a regular file that stops short of what it was asked has met the end
    }
    ::close(fd);
    if (length >= FolderSearch::sizeLimit)
        return std::nullopt;
    return QByteArrayView(buffer.constData(), length);
}

// A file that holds the needle: its place in the list searched, its matching lines, and the natural
// order's key of its name.
struct Hit {
    qsizetype index;
    qint64 count;
    QCollatorSortKey key;
};

// Reads each file of `paths` (relative to the folder, a folder's files one after another) whole, on
// every core, and counts its matching lines: the files that hold the needle, in the order of
// `paths`. Files that cannot be read or are binary add to `unread`. None when cancelled. `filesOnly`
// tells paths listed as nothing but regular files and links.
std::optional<std::vector<Hit>> countLines(const Beneath& folder, const std::vector<QByteArrayView>& paths,
    bool filesOnly, const TextNeedle& needle, const CancelFlagPtr& cancel, qint64* unread)
{
    const auto cancelled = [&] { return cancel && cancel->isCancelled(); };
    // Files are handed out in chunks: small enough to keep both cores busy to the end, large enough
    // that taking the next one costs nothing next to reading it.
    const qsizetype count = qsizetype(paths.size());
    constexpr qsizetype chunkSize = 64;
    const int chunks = int((count + chunkSize - 1) / chunkSize);
    std::vector<std::vector<Hit>> found(static_cast<size_t>(chunks));
    std::atomic<qint64> notRead = 0;
    parallelFor(chunks, std::max(1, QThread::idealThreadCount()), [&](int chunk) {
        if (cancelled())
            return;
        std::vector<Hit>& hits = found[size_t(chunk)];
        const qsizetype end = std::min(count, (chunk + 1) * chunkSize);
        // Each folder is opened once, and its files by name.
        std::optional<QByteArrayView> openPath;
        int parentFd = -1;
        const auto closeParent = qScopeGuard([&] {
            if (parentFd >= 0)
                ::close(parentFd);
        });
        for (qsizetype i = chunk * chunkSize; i < end; ++i) {
            const QByteArrayView path = paths[size_t(i)];
            const qsizetype slash = path.lastIndexOf('/');
            const QByteArrayView parent = path.first(std::max<qsizetype>(slash, 0));
            if (openPath != parent) {
                if (parentFd >= 0)
                    ::close(parentFd);
                parentFd = folder.openFolder(parent);
                openPath = parent;
            }
            const QByteArray name = path.sliced(slash + 1).toByteArray();
            const std::optional<QByteArrayView> text = readWhole(parentFd, name, filesOnly);
            if (!text
                || std::memchr(text->data(), 0, size_t(std::min<qint64>(text->size(), binaryProbeBytes)))) {
                notRead.fetch_add(1, std::memory_order_relaxed);
                continue;
            }
            if (const qint64 lines = needle.lineCount(*text); lines > 0)
                hits.push_back({ i, lines, naturalSortKey(QString::fromUtf8(name)) });
        }
    });
    if (cancelled())
        return std::nullopt;
    *unread = notRead.load();
    std::vector<Hit> all;
    for (std::vector<Hit>& hits : found)
        std::move(hits.begin(), hits.end(), std::back_inserter(all));
    return all;
}

// Most matching lines first, then names in natural order; equal names keep the order they come in.
void rank(std::vector<Hit>& hits)
{
    std::stable_sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
        if (a.count != b.count)
            return a.count > b.count;
        return a.key.compare(b.key) < 0;
    });
}

// Whether path a comes before path b in a scanned tree, whose folders list their folders first and
// then their files, each in natural order; names the natural order calls equal keep the listing's order.
bool beforeInTree(QByteArrayView a, QByteArrayView b)
{
    for (qsizetype at = 0;;) {
        const qsizetype endA = a.indexOf('/', at), endB = b.indexOf('/', at);
        const QByteArrayView partA = a.sliced(at, (endA < 0 ? a.size() : endA) - at);
        const QByteArrayView partB = b.sliced(at, (endB < 0 ? b.size() : endB) - at);
        if (partA != partB || endA < 0 || endB < 0) {
            if ((endA < 0) != (endB < 0))
                return endB < 0; // a folder before a file
            return naturalCompare(QString::fromUtf8(partA), QString::fromUtf8(partB)) < 0;
        }
        at = endA + 1;
    }
}

} // namespace

namespace FolderSearch {

bool considers(const FileNode& node)
{
    return !node.isDirectory && !node.isBinary && !(node.language && node.language->isBinary)
        && node.size < sizeLimit;
}

std::optional<TextSearchResult> search(
    const FileNode& root, const TextNeedle& needle, const CancelFlagPtr& cancel)
{
    std::vector<const FileNode*> files;
    std::vector<QByteArray> bytes;
    qint64 passedOver = 0;
    root.forEach([&](const FileNode& node) {
        if (!considers(node)) {
            ++passedOver;
            return;
        }
        files.push_back(&node);
        bytes.push_back(node.relativePath.toUtf8());
    });
    const std::vector<QByteArrayView> paths(bytes.begin(), bytes.end());
    qint64 unread = 0;
    std::optional<std::vector<Hit>> hits
        = countLines(Beneath(root.top().url), paths, false, needle, cancel, &unread);
    if (!hits)
        return std::nullopt;
    // The files came in the tree's order, which names the natural order calls equal keep.
    rank(*hits);
    TextSearchResult result;
    result.skipped = passedOver + unread;
    result.counts.reserve(qsizetype(hits->size()));
    result.nodes.reserve(qsizetype(hits->size()));
    for (const Hit& hit : *hits) {
        const FileNode* node = files[size_t(hit.index)];
        result.counts.insert(node, hit.count);
        result.nodes.append(node);
    }
    return result;
}

} // namespace FolderSearch

PathSearch::PathSearch(const QString& folder, const TextNeedle& needle, CancelFlagPtr cancel)
    : m_folder(folder)
    , m_needle(needle)
    , m_cancel(std::move(cancel))
{
}

void PathSearch::read(const ScanListing& part)
{
    std::vector<QByteArrayView> paths;
    paths.reserve(size_t(part.paths.size()));
    for (const QByteArray& path : part.paths) {
        if (Languages::languageFor(QString::fromUtf8(path.sliced(path.lastIndexOf('/') + 1))).isBinary)
            ++m_skipped;
        else
            paths.push_back(path);
    }
    qint64 unread = 0;
    std::optional<std::vector<Hit>> hits
        = countLines(Beneath(m_folder), paths, part.filesOnly, m_needle, m_cancel, &unread);
    if (!hits)
        return;
    m_skipped += unread;
    for (Hit& hit : *hits)
        m_found.push_back({ paths[size_t(hit.index)].toByteArray(), hit.count, std::move(hit.key) });
}

std::optional<PathSearchResult> PathSearch::result() const
{
    if (m_cancel && m_cancel->isCancelled())
        return std::nullopt;
    // Only the files found are put in the tree's order, which names the natural order calls equal
    // keep: the order they were listed in.
    std::vector<Hit> hits;
    hits.reserve(m_found.size());
    for (size_t i = 0; i < m_found.size(); ++i)
        hits.push_back({ qsizetype(i), m_found[i].count, m_found[i].key });
    std::stable_sort(hits.begin(), hits.end(), [&](const Hit& a, const Hit& b) {
        return beforeInTree(m_found[size_t(a.index)].path, m_found[size_t(b.index)].path);
    });
    rank(hits);
    PathSearchResult result;
    result.skipped = m_skipped;
    result.files.reserve(hits.size());
    for (const Hit& hit : hits)
        result.files.push_back({ m_found[size_t(hit.index)].path, hit.count });
    return result;
}
