// Feeds arbitrary bytes to the history builder as a log of NUL-ended pieces, oldest first, and again
// as a newest-first end of a log that stops anywhere: neither may crash, and the index it gives
// must hold together (every change names a path it knows).
#include "history/historyreader.h"

#include <cstdlib>

namespace {

void check(const HistoryIndex& index)
{
    if (index.commits.size() != index.changes.size() || index.maxLines.size() != size_t(index.paths.size()))
        std::abort();
    for (const std::vector<FileChange>& changes : index.changes) {
        for (const FileChange& change : changes) {
            if (change.path < 0 || change.path >= index.paths.size() || change.from < -1
                || change.from >= index.paths.size())
                std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const qint32 maxPaths = size > 0 ? 1 + data[0] % 16 : 1;
    HistoryBuilder builder(maxPaths);
    for (const QByteArray& piece : bytes.split('\0'))
        builder.feed(piece);
    check(builder.take());

    HistoryBuilder newest(maxPaths);
    newest.feedNewestFirst(bytes, size % 2 == 0, size > 1 ? data[1] % 8 : 0);
    check(newest.take());
    return 0;
}
