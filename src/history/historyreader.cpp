#include "history/historyreader.h"

#include "git/git.h"
#include "history/historycache.h"
#include "scan/beneath.h"
#include "scan/parallel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <atomic>
#include <cctype>
#include <charconv>
#include <limits>

namespace {

// A count of lines as numstat gives it: digits only, at most the largest qint32; else 0.
qint32 number(QByteArrayView text)
{
    quint64 value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range)
        return std::numeric_limits<qint32>::max();
    return error == std::errc() && end == text.data() + text.size()
        ? qint32(std::min<quint64>(value, std::numeric_limits<qint32>::max()))
        : 0;
}

// A sum that stays within qint32, for counts a crafted log can make as large as it likes.
qint32 saturated(qint64 value)
{
    return qint32(
        std::clamp<qint64>(value, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()));
}

struct CheckedOut {
    QString branch;
    QString head;
};

// The branch and the commit checked out in the work tree at root, or why it has no history.
std::variant<CheckedOut, HistoryError> headOf(const QString& root, const Git& git)
{
    using Kind = HistoryError::Kind;
    if (!QFileInfo(root).isDir())
        return HistoryError { Kind::notARepository, root };
    const bool inside = git.isInsideWorkTree();
    if (const std::optional<QString> stall = git.stall())
        return HistoryError { Kind::failed, *stall };
    if (!inside)
        return HistoryError { Kind::notARepository, root };
    const QString branch
        = git.string({ QStringLiteral("rev-parse"), QStringLiteral("--abbrev-ref"), QStringLiteral("HEAD") })
              .value_or(QStringLiteral("HEAD"));
    const QString head
        = git.string({ QStringLiteral("rev-parse"), QStringLiteral("HEAD") }).value_or(QString());
    if (const std::optional<QString> stall = git.stall())
        return HistoryError { Kind::failed, *stall };
    if (head.isEmpty())
        return HistoryError { Kind::empty, root };
    return CheckedOut { branch, head };
}

qint64 commitCount(const Git& git)
{
    return git
        .string({ QStringLiteral("rev-list"), QStringLiteral("--count"), QStringLiteral("--first-parent"),
            QStringLiteral("HEAD") })
        .value_or(QString())
        .toLongLong();
}

} // namespace

QStringList HistoryReader::logArguments(const QString& last, qint64 count, bool oldestFirst)
{
    QStringList arguments { QStringLiteral("log"), QStringLiteral("--first-parent"), QStringLiteral("-M"),
        QStringLiteral("--raw"), QStringLiteral("--numstat"), QStringLiteral("-z"),
        QStringLiteral("--no-color"), QStringLiteral("--no-abbrev"), QStringLiteral("--no-textconv"),
        QStringLiteral("--no-ext-diff"), QStringLiteral("--format=%x01%H%x1f%ct%x1f%an%x1f%s"),
        QStringLiteral("-n"), QString::number(count), last, QStringLiteral("--") };
    if (oldestFirst)
        arguments.insert(2, QStringLiteral("--reverse"));
    return arguments;
}

namespace {

// Feeds every whole piece of text to the builder and drops it, leaving what follows the last NUL.
void feedPieces(QByteArray& text, HistoryBuilder& builder)
{
    const qsizetype last = text.lastIndexOf('\0');
    if (last < 0)
        return;
    for (qsizetype start = 0; start <= last;) {
        const qsizetype end = text.indexOf('\0', start);
        builder.feed(QByteArrayView(text).sliced(start, end - start));
        start = end + 1;
    }
    text.remove(0, last + 1);
}

// Streams a log into the builder piece by piece, telling how many commits it holds so far at most
// every 100 ms. What follows the last NUL is left in carry.
void streamLog(const Git& log, const QStringList& arguments, HistoryBuilder& builder, QByteArray& carry,
    QByteArray& errors, const HistoryReader::ProgressCallback& progress)
{
    QElapsedTimer sinceReport;
    sinceReport.start();
    log.stream(
        arguments,
        [&](const QByteArray& chunk) {
            carry += chunk;
            feedPieces(carry, builder);
            if (progress && sinceReport.elapsed() > 100) {
                sinceReport.restart();
                progress({ QStringLiteral("Reading history"), builder.commitCount() });
            }
        },
        &errors);
}

// Reads `count` first-parent commits up to `head` with two git processes at once: one from the
// oldest commit up, streaming into the builder, the other from the newest down, held aside. They
// stop where they meet, wherever the heavier commits lie, and the newer commits are fed after the
// older ones in their order, so that the index is the one a single log gives. False when they did
// not meet.
bool readFromBothEnds(const Git& git, const std::function<bool()>& stopped, const QString& head, qint64 count,
    HistoryBuilder& builder, QByteArray& errors, const HistoryReader::ProgressCallback& progress)
{
    std::atomic<qint64> olderDone = 0; // whole commits each side has given
    std::atomic<qint64> newerDone = 0;
    const auto met = [&] { return olderDone.load() + newerDone.load() >= count; };
    const Git log = git.withStop([&] { return stopped() || met(); });
    struct Held {
        bool ended = false;
        QByteArray text;
        QByteArray errors;
    };
    SideJob<Held> newer([&] {
        Held held;
        qint64 headers = 0;
        qsizetype headerScan = 0; // headers before here are counted
        held.ended = log.stream(
            HistoryReader::logArguments(head, count, false),
            [&](const QByteArray& chunk) {
                const qsizetype from = held.text.size();
                held.text += chunk;
                // A header may have come in two chunks: look again where the last one ended.
                for (qsizetype at = held.text.indexOf('\x01', std::max<qsizetype>(0, from - 64)); at >= 0;
                     at = held.text.indexOf('\x01', at + 1)) {
                    // Counted once whole, so that a piece that merely starts like one is not.
                    if (at >= headerScan && at + 42 <= held.text.size()
                        && HistoryBuilder::isHeaderAt(held.text, at)) {
                        ++headers;
                        headerScan = at + 1;
                    }
                }
                newerDone = std::max<qint64>(headers - 1, 0);
            },
            &held.errors);
        return held;
    });
    QByteArray carry;
    QElapsedTimer sinceReport;
    sinceReport.start();
    const bool olderEnded = log.stream(
        HistoryReader::logArguments(head, count, true),
        [&](const QByteArray& chunk) {
            carry += chunk;
            feedPieces(carry, builder);
            olderDone = builder.commitCount();
            if (progress && sinceReport.elapsed() > 100) {
                sinceReport.restart();
                progress({ QStringLiteral("Reading history"), olderDone.load() + newerDone.load() });
            }
        },
        &errors);
    Held held = newer.take();
    errors += held.errors;
    if (olderEnded) {
        builder.feed(carry);
        builder.flush();
    } else {
        builder.dropOpen(); // cut short where the two met
    }
    return builder.feedNewestFirst(held.text, held.ended, count - builder.commitCount());
}

} // namespace

HistoryBuilder::HistoryBuilder(qint32 maxPaths)
    : m_maxPaths(maxPaths)
{
}

bool HistoryBuilder::isHeaderAt(QByteArrayView log, qsizetype at)
{
    // A header cut short by the end of the log counts when what there is of it fits.
    constexpr qsizetype hashLength = 40;
    if (at < 0 || at >= log.size() || log[at] != '\x01' || (at > 0 && log[at - 1] != '\0'))
        return false;
    const qsizetype end = std::min(log.size(), at + hashLength + 2);
    for (qsizetype i = at + 1; i < end; ++i) {
        const bool fits = i <= at + hashLength ? std::isxdigit(static_cast<unsigned char>(log[i])) != 0
                                               : log[i] == '\x1f';
        if (!fits)
            return false;
    }
    return true;
}

void HistoryBuilder::feed(QByteArrayView piece)
{
    if (m_pathsDue > 0) {
        // A path, whatever bytes it starts with. A raw entry keeps its paths; a numstat entry's
        // paths say nothing its raw entry did not.
        --m_pathsDue;
        if (!m_numstatPaths && !m_status.empty()) {
            Raw& raw = m_status.back();
            if (raw.path.isNull())
                raw.path = piece.toByteArray();
            else
                raw.target = piece.toByteArray();
        }
        return;
    }
    // The changes of a commit start on a line of their own after its header.
    if (piece.startsWith('\n'))
        piece = piece.sliced(1);
    if (piece.isEmpty())
        return;
    if (piece.front() == '\x01') {
        flush();
        const QList<QByteArrayView> fields = [&] {
            QList<QByteArrayView> out;
            QByteArrayView rest = piece.sliced(1);
            for (int i = 0; i < 3; ++i) {
                const qsizetype cut = rest.indexOf('\x1f');
                if (cut < 0)
                    break;
                out << rest.first(cut);
                rest = rest.sliced(cut + 1);
            }
            out << rest; // the subject keeps any further separators
            return out;
        }();
        Commit commit;
        commit.hash = QString::fromUtf8(fields.value(0));
        bool ok = false;
        commit.date = fields.value(1).toLongLong(&ok); // an unreadable time gives 0
        commit.author = QString::fromUtf8(fields.value(2));
        commit.subject = QString::fromUtf8(fields.value(3));
        m_commit = commit;
        return;
    }
    if (!m_commit)
        return;
    const bool raw = piece.front() == ':';
    // No commit can bring in more paths than the index holds: a commit that names millions (a few
    // shared trees can) keeps its first ones, and memory stays flat however many it names.
    const bool room = qint64(raw ? m_status.size() : m_counts.size()) < m_maxPaths;
    if (raw) {
        // ":100644 100644 <old> <new> R087", then the path, and for a rename or copy the new one.
        const QByteArrayView status = piece.sliced(piece.lastIndexOf(' ') + 1);
        const char letter = status.isEmpty() ? ' ' : status.front();
        m_pathsDue = letter == 'R' || letter == 'C' ? 2 : 1;
        m_numstatPaths = !room;
        if (room)
            m_status.push_back({ letter, QByteArray(), std::nullopt });
        return;
    }
    // "added<TAB>removed<TAB>path"; a rename's path is empty here, and its two follow.
    const qsizetype firstTab = piece.indexOf('\t');
    const qsizetype secondTab = firstTab < 0 ? -1 : piece.indexOf('\t', firstTab + 1);
    if (secondTab < 0)
        return;
    if (secondTab + 1 == piece.size()) {
        m_pathsDue = 2;
        m_numstatPaths = true;
    }
    if (!room)
        return;
    const QByteArrayView added = piece.first(firstTab);
    const QByteArrayView removed = piece.sliced(firstTab + 1, secondTab - firstTab - 1);
    m_counts.push_back(
        added == "-" ? Counts { 0, 0, true } : Counts { number(added), number(removed), false });
}

std::optional<qint32> HistoryBuilder::intern(const QByteArray& path)
{
    if (const auto known = m_pathIndex.constFind(path); known != m_pathIndex.cend())
        return *known;
    // A path no scan would take (one climbing out with "..", or thousands of folders deep, which a
    // hand-made tree can hold) is left out of the history as well.
    if (m_index.paths.size() >= m_maxPaths || !Beneath::isPlain(path)
        || Beneath::depth(path) > Beneath::maxDepth)
        return std::nullopt;
    const auto number = qint32(m_index.paths.size());
    m_index.paths.append(QString::fromUtf8(path));
    m_pathIndex.insert(path, number);
    m_lines.push_back(0);
    m_index.maxLines.push_back(0);
    return number;
}

void HistoryBuilder::bump(qint32 path, qint64 delta)
{
    qint32& lines = m_lines[size_t(path)];
    lines = std::max(0, saturated(lines + delta));
    m_index.maxLines[size_t(path)] = std::max(m_index.maxLines[size_t(path)], lines);
}

bool HistoryBuilder::feedNewestFirst(const QByteArray& log, bool ended, qint64 commits)
{
    // Each commit runs from its header to the next; the last is cut short unless the log ended.
    std::vector<QByteArrayView> whole;
    qsizetype start = isHeaderAt(log, 0) ? 0 : -1;
    for (qsizetype at = log.indexOf('\x01', 1); at >= 0 && qint64(whole.size()) < commits;
         at = log.indexOf('\x01', at + 1)) {
        if (!isHeaderAt(log, at))
            continue;
        if (start >= 0)
            whole.push_back(QByteArrayView(log).sliced(start, at - start));
        start = at;
    }
    if (ended && start >= 0 && qint64(whole.size()) < commits)
        whole.push_back(QByteArrayView(log).sliced(start));
    if (qint64(whole.size()) < commits)
        return false;
    flush();
    for (auto commit = whole.rbegin(); commit != whole.rend(); ++commit) {
        for (qsizetype from = 0; from < commit->size();) {
            qsizetype end = commit->indexOf('\0', from);
            if (end < 0)
                end = commit->size();
            feed(commit->sliced(from, end - from));
            from = end + 1;
        }
        flush();
    }
    return true;
}

void HistoryBuilder::dropOpen()
{
    m_commit.reset();
    m_pathsDue = 0;
    m_counts.clear();
    m_status.clear();
}

void HistoryBuilder::flush()
{
    if (!m_commit)
        return;
    Commit commit = *std::exchange(m_commit, std::nullopt);
    std::vector<FileChange> changes;
    for (size_t i = 0; i < m_status.size(); ++i) {
        const Raw& raw = m_status[i];
        const Counts counts = i < m_counts.size() ? m_counts[i] : Counts {};
        FileChange change { 0, -1, counts.added, counts.removed, FileChange::Kind::modified, counts.binary };
        const qint64 delta = qint64(counts.added) - counts.removed;
        if ((raw.status == 'R' || raw.status == 'C') && raw.target) {
            const auto from = intern(raw.path);
            const auto to = intern(*raw.target);
            if (!from || !to)
                continue; // a rename is kept whole or not at all
            change.kind = FileChange::Kind::renamed;
            change.path = *to;
            if (raw.status == 'R') {
                change.from = *from;
                m_lines[size_t(*to)] = 0;
                bump(*to, m_lines[size_t(*from)] + delta);
                m_lines[size_t(*from)] = 0;
            } else {
                bump(*to, delta);
            }
        } else {
            const auto path = intern(raw.path);
            if (!path)
                continue;
            change.path = *path;
            change.kind = raw.status == 'A' ? FileChange::Kind::added
                : raw.status == 'D'         ? FileChange::Kind::deleted
                                            : FileChange::Kind::modified;
            bump(*path, delta);
        }
        commit.insertions = saturated(qint64(commit.insertions) + change.added);
        commit.deletions = saturated(qint64(commit.deletions) + change.removed);
        changes.push_back(change);
    }
    commit.changedFiles = qint32(changes.size());
    m_index.commits.push_back(std::move(commit));
    m_index.changes.push_back(std::move(changes));
    m_counts.clear();
    m_status.clear();
}

HistoryIndex HistoryBuilder::take()
{
    flush();
    return std::move(m_index);
}

HistoryReader::HistoryReader(
    const QString& root, CancelFlagPtr cancel, qint64 maxCommits, qint32 maxPaths, qint64 splitFrom)
    : m_root(QDir::cleanPath(QFileInfo(root).absoluteFilePath()))
    , m_cancel(std::move(cancel))
    , m_maxCommits(maxCommits)
    , m_maxPaths(maxPaths)
    , m_splitFrom(splitFrom)
{
}

std::variant<std::shared_ptr<const HistoryIndex>, HistoryError> HistoryReader::read(
    const ProgressCallback& progress, HistoryCache* cache, bool* cacheHit) const
{
    using Kind = HistoryError::Kind;
    if (cacheHit)
        *cacheHit = false;
    if (!QFileInfo(Git::executable()).isExecutable())
        return HistoryError { Kind::failed, QStringLiteral("git is not installed.") };
    const auto stopped = [cancel = m_cancel] { return cancel && cancel->isCancelled(); };
    const Git git(m_root, stopped);
    const auto checkedOut = headOf(m_root, git);
    if (stopped())
        return HistoryError { Kind::cancelled, m_root };
    if (const auto* error = std::get_if<HistoryError>(&checkedOut))
        return *error;
    const auto& [branch, head] = std::get<CheckedOut>(checkedOut);
    if (cache) {
        if (auto cached = cache->load(m_root, head)) {
            if (cacheHit)
                *cacheHit = true;
            return cached;
        }
    }
    if (progress)
        progress({ QStringLiteral("Reading history"), 0 });

    // A count that fails leaves the log to find its own end.
    const qint64 total = commitCount(git);
    const qint64 count = total > 0 ? std::min(total, m_maxCommits) : m_maxCommits;
    HistoryBuilder builder(m_maxPaths);
    QByteArray errors;
    const int stallsBefore = git.stalls();
    if (total > 0 && count >= m_splitFrom) {
        if (!readFromBothEnds(git, stopped, head, count, builder, errors, progress))
            builder = HistoryBuilder(m_maxPaths); // part of a history is none
    } else {
        QByteArray carry;
        streamLog(git, HistoryReader::logArguments(head, count), builder, carry, errors, progress);
        builder.feed(carry);
    }
    const bool truncated = total > m_maxCommits;
    if (stopped())
        return HistoryError { Kind::cancelled, m_root };
    if (git.stalls() > stallsBefore)
        return HistoryError { Kind::failed, git.stall().value_or(QString()) }; // part of a history is none
    auto index = std::make_shared<HistoryIndex>(builder.take());
    if (index->commits.empty()) {
        const QString message = QString::fromUtf8(errors).trimmed();
        return HistoryError { Kind::failed,
            message.isEmpty() ? QStringLiteral("git gave no history.") : message };
    }
    index->root = m_root;
    index->branch = branch;
    index->truncated = truncated;
    if (cache)
        cache->store(*index, head);
    return std::shared_ptr<const HistoryIndex>(std::move(index));
}
