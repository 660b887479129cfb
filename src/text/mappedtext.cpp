#include "text/mappedtext.h"

#include <QFileInfo>

#include <algorithm>
#include <cstring>

namespace {

// Read at once however large the file, so that its first screen needs no worker.
constexpr qint64 firstBlockBytes = 256 << 10;
constexpr qint64 blockBytes = 4 << 20;

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
    return map(std::move(text), info.fileName());
}

MappedText::Opened MappedText::adopt(int descriptor, const QString& name)
{
    std::shared_ptr<MappedText> text(new MappedText);
    if (!text->m_file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return name + QStringLiteral(" cannot be read: ") + text->m_file.errorString() + u'.';
    return map(std::move(text), name);
}

MappedText::Opened MappedText::map(std::shared_ptr<MappedText> text, const QString& name)
{
    text->m_size = text->m_file.size();
    if (text->m_size <= readWholeBytes) {
        // Read rather than mapped: a file cut short while it is shown would fault the map.
        text->m_bytes = text->m_file.readAll();
        text->m_data = text->m_bytes.constData();
        text->m_size = text->m_bytes.size();
    } else {
        text->m_data = reinterpret_cast<const char*>(text->m_file.map(0, text->m_size));
        if (!text->m_data)
            return name + QStringLiteral(" cannot be mapped: ") + text->m_file.errorString() + u'.';
    }
    const qint64 first = text->m_size <= indexAtOnceBytes ? text->m_size : firstBlockBytes;
    text->indexBlock(QByteArrayView(text->m_data, first), 0, text->m_starts);
    text->m_indexedTo = first;
    if (first == text->m_size)
        text->finishIndex();
    return text;
}

std::shared_ptr<MappedText> MappedText::fromBytes(QByteArray bytes)
{
    std::shared_ptr<MappedText> text(new MappedText);
    text->m_bytes = std::move(bytes);
    text->m_data = text->m_bytes.constData();
    text->m_size = text->m_bytes.size();
    text->indexBlock(text->m_bytes, 0, text->m_starts);
    text->m_indexedTo = text->m_size;
    text->finishIndex();
    return text;
}

MappedText::~MappedText() = default;

QByteArrayView MappedText::bytes(qint64 offset, qint64 length) const
{
    offset = std::clamp<qint64>(offset, 0, m_size);
    return QByteArrayView(m_data + offset, std::clamp<qint64>(length, 0, m_size - offset));
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

QByteArrayView MappedText::line(qint64 line, qint64 limit) const
{
    const qint64 start = lineStart(line);
    const qint64 span = std::min(limit, m_size - start);
    // An empty file is not mapped, and memchr must not be given its null pointer even for no bytes.
    const void* newline = span > 0 ? std::memchr(m_data + start, '\n', size_t(span)) : nullptr;
    qint64 length = newline ? static_cast<const char*>(newline) - (m_data + start) : span;
    // The '\r' of a "\r\n" is part of the break, even when the limit falls between the two.
    if (length > 0 && start + length < m_size && m_data[start + length] == '\n'
        && m_data[start + length - 1] == '\r')
        --length;
    return QByteArrayView(m_data + start, length);
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
    // Only this worker reads through the file; the main thread reads the map.
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
