#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QString>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <variant>

class TextNeedle;

// A file's text read a screen at a time, however large the file. A large file is never loaded: what
// is shown is read from it when it is asked for, and the starts of its lines are found on a worker
// (indexLines), so the first lines show at once and the rest become reachable as the index grows. It
// is read rather than mapped because a mapped file cut short on the disk while it is shown (a log
// rotated in place) would fault; read, it only gives fewer bytes. Files of up to a few megabytes are
// read whole. Text handed in as bytes (a file at a past commit) behaves the same, indexed at once.
//
// The index is read on the main thread while a worker extends it; both take the lock, which guards
// only a short append or lookup.
class MappedText {
public:
    // Files up to this size are read whole; larger ones as they are shown.
    static constexpr qint64 readWholeBytes = 16 << 20;
    // Files up to this size are indexed on the spot; larger ones by indexLines().
    static constexpr qint64 indexAtOnceBytes = 1 << 20;
    // The most of one line that is handed out for showing.
    static constexpr qint64 shownLineBytes = 16 << 10;

    using Opened = std::variant<std::shared_ptr<MappedText>, QString>;
    // The regular file opened, or one sentence saying why it cannot be.
    static Opened open(const QString& path);
    // The same for a file already open for reading, whose descriptor it then owns.
    static Opened adopt(int descriptor, const QString& name);
    static std::shared_ptr<MappedText> fromBytes(QByteArray bytes);

    MappedText(const MappedText&) = delete;
    MappedText& operator=(const MappedText&) = delete;
    ~MappedText();

    // The size when it was opened; a file cut short since gives fewer bytes, and none past its end.
    qint64 size() const { return m_size; }
    // Up to `length` bytes from `offset`, fewer at the end. Text held whole is not copied: the bytes
    // stay valid while this text lives.
    QByteArray bytes(qint64 offset, qint64 length) const;

    // The lines found so far; all of them once indexed().
    qint64 lineCount() const;
    bool indexed() const { return m_indexed.load(std::memory_order_acquire); }
    qint64 lineStart(qint64 line) const;
    // The line at a byte offset, among the lines found so far.
    qint64 lineAt(qint64 offset) const;
    // A line's bytes without its break ("\n" or "\r\n"), at most `limit` of them.
    QByteArray line(qint64 line, qint64 limit = shownLineBytes) const;

    // Where a bytewise needle first matches at or after `from`, or last starts before `before`;
    // -1 for none. A large file is searched a block at a time.
    qint64 indexOf(const TextNeedle& needle, qint64 from) const;
    qint64 lastIndexOf(const TextNeedle& needle, qint64 before) const;

    // Finds the remaining line starts, reading the file in blocks. For a worker; stops early when
    // cancelled() says so, and reports the lines found after each block.
    void indexLines(const std::function<bool()>& cancelled, const std::function<void(qint64)>& report = {});

    // A line as it is shown: invalid UTF-8 as U+FFFD, control characters as their visible symbols (the
    // C1 ones, which have none, as U+FFFD too), tabs kept.
    static QString shown(QByteArrayView line);

private:
    MappedText() = default;
    static Opened start(std::shared_ptr<MappedText> text, const QString& name);
    QByteArray readAt(qint64 offset, qint64 length) const; // of a large file, as it is on the disk
    void indexBlock(QByteArrayView block, qint64 offset, std::deque<qint64>& starts) const;
    void finishIndex();

    QFile m_file; // the worker's, for the index
    int m_handle = -1; // the file's, read at given offsets without moving the worker's place
    QByteArray m_bytes; // text read whole or handed in; nothing for a large file
    qint64 m_size = 0;
    qint64 m_indexedTo = 0; // the worker's own: bytes searched for line breaks
    mutable std::mutex m_lock; // guards the index and the cache
    mutable QByteArray m_cache; // the last block read of a large file
    mutable qint64 m_cacheAt = 0;
    std::deque<qint64> m_starts { 0 };
    std::atomic_bool m_indexed = false;
};
