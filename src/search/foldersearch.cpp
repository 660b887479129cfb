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
// the size limit.
std::optional<QByteArrayView> readWhole(int folder, const QByteArray& name)
{
    struct stat info;
    const int fd = Beneath::openFileIn(folder, name, &info);
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
    }
    ::close(fd);
    if (length >= FolderSearch::sizeLimit)
        return std::nullopt;
    return QByteArrayView(buffer.constData(), length);
}

struct Hit {
    const FileNode* node;
    qint64 count;
    std::optional<QCollatorSortKey> key;
};

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
    qint64 passedOver = 0;
    root.forEach([&](const FileNode& node) {
        if (considers(node))
            files.push_back(&node);
        else
            ++passedOver;
    });
    const auto cancelled = [&] { return cancel && cancel->isCancelled(); };
    const Beneath folder(root.top().url);

    // Files are handed out in chunks: small enough to keep both cores busy to the end, large enough
    // that taking the next one costs nothing next to reading it.
    const int count = int(files.size());
    constexpr int chunkSize = 64;
    const int chunks = (count + chunkSize - 1) / chunkSize;
    std::vector<std::vector<Hit>> found(static_cast<size_t>(chunks));
    std::atomic<qint64> unread = 0;
    parallelFor(chunks, std::max(1, QThread::idealThreadCount()), [&](int chunk) {
        if (cancelled())
            return;
        std::vector<Hit>& hits = found[size_t(chunk)];
        const int end = std::min(count, (chunk + 1) * chunkSize);
        // Files come folder by folder: each folder is opened once, and its files by name.
        const FileNode* parent = nullptr;
        int parentFd = -1;
        const auto closeParent = qScopeGuard([&] {
            if (parentFd >= 0)
                ::close(parentFd);
        });
        for (int i = chunk * chunkSize; i < end; ++i) {
            const FileNode* node = files[size_t(i)];
            if (node->parent != parent) {
                if (parentFd >= 0)
                    ::close(parentFd);
                parent = node->parent;
                parentFd = folder.openFolder(parent ? parent->relativePath.toUtf8() : QByteArray());
            }
            const std::optional<QByteArrayView> text = readWhole(parentFd, node->name.toUtf8());
            if (!text
                || std::memchr(text->data(), 0, size_t(std::min<qint64>(text->size(), binaryProbeBytes)))) {
                unread.fetch_add(1, std::memory_order_relaxed);
                continue;
            }
            if (const qint64 lines = needle.lineCount(*text); lines > 0)
                hits.push_back({ node, lines, naturalSortKey(node->name) });
        }
    });
    if (cancelled())
        return std::nullopt;

    std::vector<Hit> all;
    for (std::vector<Hit>& hits : found)
        std::move(hits.begin(), hits.end(), std::back_inserter(all));
    // Chunks keep the tree's order, so names that the natural order calls equal stay in tree order.
    std::stable_sort(all.begin(), all.end(), [](const Hit& a, const Hit& b) {
        if (a.count != b.count)
            return a.count > b.count;
        return a.key->compare(*b.key) < 0;
    });
    TextSearchResult result;
    result.skipped = passedOver + unread.load();
    result.counts.reserve(qsizetype(all.size()));
    result.nodes.reserve(qsizetype(all.size()));
    for (const Hit& hit : all) {
        result.counts.insert(hit.node, hit.count);
        result.nodes.append(hit.node);
    }
    return result;
}

} // namespace FolderSearch
