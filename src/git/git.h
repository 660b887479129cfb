#pragma once

#include "git/gitfilestatus.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <limits>
#include <memory>
#include <optional>

// Asks the git program about one folder. Every call blocks until git exits; the readers never
// report an error: a failure yields no answer. git that prints nothing for `patienceMilliseconds()` is
// stopped, and `stall()` then says so. All git processes of the program start here, as /usr/bin/git
// with fixed leading arguments and environment, so that nothing a scanned repository's own
// configuration names is ever run.
class Git {
public:
    // What the newest commits did to each path. Paths are the UTF-8 bytes git printed, each copied
    // once when first met into `names`, which the keys view: the log itself is read as it streams
    // and never held, so memory follows the paths, not the length of the history.
    struct History {
        struct Touches {
            int commits = 0; // commits naming the path
            std::optional<qint64> last; // newest of their times, seconds since 1970
        };
        QHash<QByteArrayView, Touches> paths;
        QByteArrayList names;
    };

    // stopRequested, when given, is polled while git runs; a true answer kills git and yields none.
    explicit Git(QString folder, std::function<bool()> stopRequested = {});

    static QString executable();

    // How long git may stay silent: 15 s, or the seconds KORVANE_GIT_PATIENCE gives.
    static constexpr qint64 defaultPatience = 15000;
    static qint64 patienceMilliseconds();
    // Why git was last given up for its silence, in any copy of this Git; none when it never was.
    std::optional<QString> stall() const;
    // How many calls were given up so far, to tell whether one call was.
    int stalls() const;

    // The same folder, sharing the configuration already read, with another stop predicate.
    Git withStop(std::function<bool()> stopRequested) const
    {
        Git copy = *this;
        copy.m_stopRequested = std::move(stopRequested);
        return copy;
    }

    std::optional<QByteArray> run(const QStringList& arguments) const;
    std::optional<QString> string(const QStringList& arguments) const;

    bool isInsideWorkTree() const;
    std::optional<QString> branch() const;
    // Raw path bytes as git prints them, each once, in git's order: the files git tracks, read from
    // its index, and the untracked files it does not ignore, which it walks the folder to find.
    std::optional<QList<QByteArray>> listTracked() const;
    std::optional<QList<QByteArray>> listUntracked() const;
    QHash<QString, GitFileStatus> status() const;
    // At most maxPaths paths: once there are that many, git is stopped and the newer commits stand.
    History history(int maxCommits, qsizetype maxPaths = std::numeric_limits<qsizetype>::max()) const;

    // Runs git as every operation does and hands its output on as it comes; git's own messages are
    // kept in `errors` when given. True when git exited with status 0.
    using Sink = std::function<void(const QByteArray& chunk)>;
    bool stream(const QStringList& arguments, const Sink& sink, QByteArray* errors = nullptr) const;

    // How a command given to watch() ended.
    enum class Ending { succeeded, failed, notInstalled, notStarted, stopped, stalled };
    using Variables = QList<std::pair<QString, QString>>;
    // Runs git as stream() does, for a command that talks to a server and writes to the folder: its
    // messages (standard error) go to `messages` as they come and, like output, show it is still at
    // work; `variables` join its environment. Its output is dropped. A stop ends it with SIGTERM,
    // so that it takes away its lock files and half-made folders first.
    Ending watch(const QStringList& arguments, const Sink& messages, const Variables& variables = {}) const;

    // The parsers behind the lists, status and history, kept apart from the process.
    static QList<QByteArray> parseFileList(const QByteArray& output);
    static QHash<QString, GitFileStatus> parseStatus(const QByteArray& output, const QString& prefix);
    static History parseHistory(const QByteArrayList& chunks); // the log, in pieces as it came

private:
    struct Guard;
    using Settings = QList<std::pair<QString, QString>>;
    struct Watch {
        const Sink& messages;
        const Variables& variables;
    };
    // Starts git with the given settings; sink takes its output as it comes.
    Ending start(const QStringList& arguments, const Settings& settings, const Sink& sink,
        QByteArray* errors = nullptr, const Watch* watch = nullptr) const;
    bool stopped() const;
    const Guard& guard() const;

    QString m_folder;
    std::function<bool()> m_stopRequested;
    std::shared_ptr<Guard> m_guard;
};
