#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// A public repository on the hosting service, as typed by the user: an owner/name pair, the
// address of its page (with or without ".git", with or without "/tree/BRANCH"), or the SSH form.
// Whatever was typed, it is downloaded from the https address built here.
struct RemoteRepository {
    QString cloneURL;
    QString host;
    QString owner;
    QString name; // without ".git"
    std::optional<QString> branch;

    QString slug() const { return owner + u'/' + name; }
    bool operator==(const RemoteRepository&) const = default;

    // None for what is not an address: an empty text, a local path ("~…", "/…"), or an owner or
    // name the hosting service would not allow (empty, ".", "..", or other characters than
    // letters, digits, "-", "_" and ".").
    static std::optional<RemoteRepository> parse(QStringView text);
    static QString defaultHost();
};

// Where a download stands, read from git's own progress lines.
struct CloneProgress {
    QString phase; // "Cloning owner/name", "Receiving objects", …
    std::optional<double> fraction; // 0 to 1, none while unknown
    QString detail;

    bool operator==(const CloneProgress&) const = default;

    // One line of git's standard error; none for a line that is not progress.
    static std::optional<CloneProgress> parse(QStringView line);
};

struct CloneError {
    enum class Kind { badURL, failed, cancelled };
    Kind kind;
    QString text; // the typed text for badURL, the reason for failed

    static CloneError badURL(QString typed) { return { Kind::badURL, std::move(typed) }; }
    static CloneError failed(QString reason) { return { Kind::failed, std::move(reason) }; }
    static CloneError cancelled() { return { Kind::cancelled, {} }; }
    // What the user is told.
    QString description() const;
    bool operator==(const CloneError&) const = default;
};

// The outcome of a download: the local folder, or why there is none.
struct CloneOutcome {
    QString folder;
    std::optional<CloneError> error;
};

// Downloads public repositories into the program's own storage, and updates them later.
namespace RepositoryCloner {

// "Korvane/repositories" in the user's data folder (~/.local/share), made when missing.
QString storageRoot();
// storageRoot / host / owner / name.
QString localURL(const RemoteRepository& repository);
// Whether the folder holds a ".git" entry.
bool isClone(const QString& folder);
// The clones under the storage root, sorted.
QStringList downloaded();
// The short reason told for a download that failed, from git's standard error.
QString reason(const QByteArray& standardError);

// Clones the repository, or updates the clone made before; blocks until done. progress is called
// on the calling thread; stopRequested is polled while git runs, and a true answer stops git and
// gives the cancelled error.
CloneOutcome fetch(const RemoteRepository& repository,
    const std::function<void(const CloneProgress&)>& progress = {},
    const std::function<bool()>& stopRequested = {});

} // namespace RepositoryCloner
