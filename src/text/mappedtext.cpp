#include "text/mappedtext.h"

#include "text/textneedle.h"

#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// Read at once however large the file, so that its first screen needs no worker.
constexpr qint64 firstBlockBytes = 256 << 10;
constexpr qint64 blockBytes = 4 << 20;
// A line of a large file is read this much at a time until its break turns up.
constexpr qint64 lineReadBytes = 1 << 10;
// Small reads of a large file are served from the last block read, this large: the lines of a
// screen, or of the minimap, lie together.
constexpr qint64 cacheBytes = 64 << 10;

} // namespace

MappedText::Opened MappedText::open(const QString& path)
{
    const QFileInfo info(path);
    // A pipe or a device would block the reader or never end.
    if (!info.isFile())
        return info.fileName() + QStringLiteral(" is not a regular file.");
    std::shared_ptr<MappedText> text(new MappedText);
    text->m_file.setFileName(path);
    if (!text->m_file.open(QIODevice::ReadOnly))
        return info.fileName() + QStringLiteral(" cannot be read: ") + text->m_file.errorString() + u'.';
    return start(std::move(text), info.fileName());
}

MappedText::Opened MappedText::adopt(int descriptor, const QString& name)
{
    std::shared_ptr<MappedText> text(new MappedText);
    if (!text->m_file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return name + QStringLiteral(" cannot be read: ") + text->m_file.errorString() + u'.';
    return start(std::move(text), name);
}

MappedText::Opened MappedText::start(std::shared_ptr<MappedText> text, const QString& name)
{
    text->m_size = text->m_file.size();
    if (text->m_size <= readWholeBytes) {
        text->m_bytes = text->m_file.readAll();
        text->m_size = text->m_bytes.size();
    } else {
        text->m_handle = text->m_file.handle();
    }
    const QByteArray first
        = text->bytes(0, text->m_size <= indexAtOnceBytes ? text->m_size : firstBlockBytes);
    if (text->m_handle >= 0 && first.isEmpty())
        return name + QStringLiteral(" cannot be read: ") + QString::fromLocal8Bit(std::strerror(errno))
            + u'.';
    text->indexBlock(first, 0, text->m_starts);
    text->m_indexedTo = first.size();
    if (text->m_indexedTo == text->m_size)
        text->finishIndex();
    return text;
}

std::shared_ptr<MappedText> MappedText::fromBytes(QByteArray bytes)
{
    std::shared_ptr<MappedText> text(new MappedText);
    text->m_bytes = std::move(bytes);
    text->m_size = text->m_bytes.size();
    text->indexBlock(text->m_bytes, 0, text->m_starts);
    text->m_indexedTo = text->m_size;
    text->finishIndex();
    return text;
}

MappedText::~MappedText() = default;

QByteArray MappedText::bytes(qint64 offset, qint64 length) const
{
    offset = std::clamp<qint64>(offset, 0, m_size);
    length = std::clamp<qint64>(length, 0, m_size - offset);
    if (m_handle < 0)
        return QByteArray::fromRawData(m_bytes.constData() + offset, length);
    if (length > cacheBytes)
        return readAt(offset, length);
    std::lock_guard lock(m_lock);
    // What the file has lost since the block was read is not served from it.
    struct stat now { };
    if (::fstat(m_handle, &now) == 0 && now.st_size < m_cacheAt + m_cache.size())
        m_cache.truncate(std::max<qint64>(0, now.st_size - m_cacheAt));
    if (offset < m_cacheAt || offset + length > m_cacheAt + m_cache.size()) {
        m_cache = readAt(offset, cacheBytes);
        m_cacheAt = offset;
    }
    return QByteArray(m_cache.constData() + (offset - m_cacheAt),
        std::min<qint64>(length, m_cacheAt + m_cache.size() - offset));
}

QByteArray MappedText::readAt(qint64 offset, qint64 length) const
{
    QByteArray read(length, Qt::Uninitialized);
    qint64 done = 0;
    while (done < length) {
        const ssize_t got
            = ::pread(m_handle, read.data() + done, size_t(length - done), off_t(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) // the end, come early if the file was cut short, or an error: what was read
            break;
        done += got;
    }
    read.truncate(done);
    return read;
}

qint64 MappedText::lineCount() const
{
    std::lock_guard lock(m_lock);
    const auto count = qint64(m_starts.size());
    // A final line break ends the last line; it starts no empty one after it.
    return indexed() && count > 1 && m_starts.back() == m_size ? count - 1 : count;
}

qint64 MappedText::lineStart(qint64 line) const
{
    std::lock_guard lock(m_lock);
    return m_starts[size_t(std::clamp<qint64>(line, 0, qint64(m_starts.size()) - 1))];
}

qint64 MappedText::lineAt(qint64 offset) const
{
    std::lock_guard lock(m_lock);
    const auto after = std::upper_bound(m_starts.begin(), m_starts.end(), offset);
    return std::max<qint64>(0, qint64(after - m_starts.begin()) - 1);
}

QByteArray MappedText::line(qint64 line, qint64 limit) const
{
    const qint64 start = lineStart(line);
    // The line and the byte after it, which tells whether a '\r' at the limit begins its break.
    const qint64 span = std::min(limit, m_size - start);
    QByteArray bytes;
    qsizetype length = -1;
    for (qint64 want = m_handle < 0 ? span + 1 : std::min(span + 1, lineReadBytes); length < 0;) {
        bytes = this->bytes(start, want);
        length = bytes.indexOf('\n');
        if (length >= 0 || want > span || bytes.size() < want)
            break;
        want = std::min(want * 4, span + 1);
    }
    if (length < 0 || length > span)
        length = std::min<qsizetype>(bytes.size(), span);
    // The '\r' of a "\r\n" is part of the break, even when the limit falls between the two.
    if (length > 0 && length < bytes.size() && bytes.at(length) == '\n' && bytes.at(length - 1) == '\r')
        --length;
    if (m_handle < 0) // still the text's own bytes, not a copy
        return QByteArray::fromRawData(bytes.constData(), length);
    bytes.truncate(length);
    return bytes;
}

qint64 MappedText::indexOf(const TextNeedle& needle, qint64 from) const
{
    if (m_handle < 0)
        return from > m_size ? -1 : needle.indexIn(m_bytes, from);
    // Blocks overlap by a needle less a byte, so that a match across two is found in the second.
    const qint64 overlap = needle.byteLength() - 1, block = std::max(blockBytes, 2 * needle.byteLength());
    for (qint64 at = std::max<qint64>(from, 0); at < m_size; at += block - overlap) {
        const QByteArray read = bytes(at, block);
        if (const qsizetype found = needle.indexIn(read, 0); found >= 0)
            return at + found;
        if (read.size() < block)
            break;
    }
    return -1;
}

qint64 MappedText::lastIndexOf(const TextNeedle& needle, qint64 before) const
{
    const qint64 block = std::max(blockBytes, 2 * needle.byteLength());
    for (qint64 end = std::min(before, m_size); end > 0;) {
        const qint64 begin = std::max<qint64>(0, end - block);
        // Matches that start before the end, however far they run past it.
        const QByteArray read = bytes(begin, end - begin + needle.byteLength() - 1);
        qsizetype last = -1;
        for (qsizetype at = needle.indexIn(read, 0); at >= 0 && begin + at < end;
             at = needle.indexIn(read, at + 1))
            last = at;
        if (last >= 0)
            return begin + last;
        end = begin;
    }
    return -1;
}

void MappedText::indexBlock(QByteArrayView block, qint64 offset, std::deque<qint64>& starts) const
{
    if (block.isEmpty()) // an empty file's block, whose pointer is null
        return;
    const char* p = block.data();
    const char* const end = p + block.size();
    while (const void* newline = std::memchr(p, '\n', size_t(end - p))) {
        p = static_cast<const char*>(newline) + 1;
        starts.push_back(offset + (p - block.data()));
    }
}

void MappedText::indexLines(const std::function<bool()>& cancelled, const std::function<void(qint64)>& report)
{
    if (indexed())
        return;
    // Only this worker reads through the file; the main thread reads at given offsets.
    QFile& file = m_file;
    if (!file.seek(m_indexedTo))
        return finishIndex();
    QByteArray block(blockBytes, Qt::Uninitialized);
    std::deque<qint64> found;
    while (m_indexedTo < m_size && !cancelled()) {
        const qint64 read = file.read(block.data(), std::min(blockBytes, m_size - m_indexedTo));
        if (read <= 0)
            break;
        indexBlock(QByteArrayView(block.constData(), read), m_indexedTo, found);
        m_indexedTo += read;
        {
            std::lock_guard lock(m_lock);
            m_starts.insert(m_starts.end(), found.begin(), found.end());
        }
        found.clear();
        if (m_indexedTo < m_size && report)
            report(lineCount());
    }
    if (m_indexedTo >= m_size || !cancelled())
        finishIndex();
    if (indexed() && report)
        report(lineCount());
}

void MappedText::finishIndex()
{
    m_indexed.store(true, std::memory_order_release);
}

QString MappedText::shown(QByteArrayView line)
{
    QString text = QString::fromUtf8(line);
    for (QChar& c : text) {
        const char16_t u = c.unicode();
        if ((u < 0x20 && u != u'\t') || u == 0x7F)
            c = QChar(u == 0x7F ? char16_t(0x2421) : char16_t(0x2400 + u));
        else if (u >= 0x80 && u < 0xA0) // the C1 controls, which have no symbols of their own
            c = QChar(QChar::ReplacementCharacter);
    }
    return text;
}
