#pragma once

#include "gitfilestatus.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

// Asks the git program about one folder. Every call blocks until git exits and never reports an
// error: a failure yields no answer. All git processes of the program start here, as /usr/bin/git
// with fixed leading arguments and environment, so that nothing a scanned repository's own
// configuration names is ever run.
class Git {
public:
    struct History {
        QHash<QString, int> commits; // path -> number of commits naming it
        QHash<QString, qint64> last; // path -> newest commit time, seconds since 1970
    };

    // stopRequested, when given, is polled while git runs; a true answer kills git and yields none.
    explicit Git(QString folder, std::function<bool()> stopRequested = {});

    static QString executable();

    const QString& folder() const { return m_folder; }

    std::optional<QByteArray> run(const QStringList& arguments) const;
    std::optional<QString> string(const QStringList& arguments) const;

    bool isInsideWorkTree() const;
    std::optional<QString> branch() const;
    // Raw path bytes as git prints them, each once, in git's order.
    std::optional<QList<QByteArray>> listFiles() const;
    QHash<QString, GitFileStatus> status() const;
    History history(int maxCommits) const;

    // The parsers behind listFiles, status and history, kept apart from the process.
    static QList<QByteArray> parseFileList(const QByteArray& output);
    static QHash<QString, GitFileStatus> parseStatus(const QByteArray& output, const QString& prefix);
    static History parseHistory(const QByteArray& output);

private:
    struct Guard;
    using Settings = QList<std::pair<QString, QString>>;
    std::optional<QByteArray> start(const QStringList& arguments, const Settings& settings = {}) const;
    const Guard& guard() const;

    QString m_folder;
    std::function<bool()> m_stopRequested;
    std::shared_ptr<Guard> m_guard;
};
