#include "git/repositorycloner.h"

#include "git/git.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>

#include <algorithm>

namespace {

bool isAsciiLetterOrDigit(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
}

// An owner's or a repository's name as the hosting service allows it: also one plain folder name,
// so that nothing made from it lands outside the storage folder.
bool isName(QStringView part)
{
    return !part.isEmpty() && part != u"." && part != u".."
        && std::all_of(part.begin(), part.end(),
            [](QChar c) { return isAsciiLetterOrDigit(c) || c == u'-' || c == u'_' || c == u'.'; });
}

// A plain host name: labels of letters, digits and hyphens between dots. No user, no port.
bool isHost(QStringView host)
{
    if (host.isEmpty())
        return false;
    for (const QStringView label : host.split(u'.')) {
        if (label.isEmpty() || label.startsWith(u'-') || label.endsWith(u'-')
            || !std::all_of(
                label.begin(), label.end(), [](QChar c) { return isAsciiLetterOrDigit(c) || c == u'-'; }))
            return false;
    }
    return true;
}

// A name git takes as a branch (the rules of git check-ref-format --branch), and one that cannot
// be read as an option.
bool isBranch(QStringView branch)
{
    if (branch.isEmpty() || branch == u"@" || branch.startsWith(u'-') || branch.startsWith(u'/')
        || branch.endsWith(u'/') || branch.endsWith(u'.') || branch.contains(u"..") || branch.contains(u"@{")
        || branch.contains(u"//"))
        return false;
    for (const QChar c : branch) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f || c == u' ' || c == u'~' || c == u'^' || c == u':'
            || c == u'?' || c == u'*' || c == u'[' || c == u'\\')
            return false;
    }
    for (const QStringView component : branch.split(u'/')) {
        if (component.startsWith(u'.') || component.endsWith(u".lock"))
            return false;
    }
    return true;
}

QString cloneURLOf(const QString& host, const QString& owner, const QString& name)
{
    return QStringLiteral("https://") + host + u'/' + owner + u'/' + name + QStringLiteral(".git");
}

// Whether a repository, however it was made, names only what parse() would accept.
bool isSafe(const RemoteRepository& repository)
{
    return isHost(repository.host) && isName(repository.owner) && isName(repository.name)
        && (!repository.branch || isBranch(*repository.branch))
        && repository.cloneURL == cloneURLOf(repository.host, repository.owner, repository.name);
}

bool startsWithIgnoringCase(QStringView text, QStringView prefix)
{
    return text.startsWith(prefix, Qt::CaseInsensitive);
}

// The text between two marks in a line, or none when either is missing.
std::optional<QString> between(QStringView line, QStringView before, QStringView after)
{
    const qsizetype start = line.indexOf(before);
    if (start < 0)
        return std::nullopt;
    const qsizetype from = start + before.size();
    const qsizetype end = line.indexOf(after, from);
    if (end <= from)
        return std::nullopt;
    return line.sliced(from, end - from).toString();
}

// The settings every download command gets: no transport that runs a program, and no submodule,
// whose own configuration the guard never sees.
QStringList downloadSettings()
{
    return { QStringLiteral("-c"), QStringLiteral("protocol.ext.allow=never"), QStringLiteral("-c"),
        QStringLiteral("submodule.recurse=false") };
}

// Runs one download command: git's messages are cut into lines as they come and each line that
// is progress is reported. None when git succeeded.
std::optional<CloneError> runGit(
    const Git& git, const QStringList& arguments, const std::function<void(const CloneProgress&)>& progress)
{
    QByteArray said;
    qsizetype lineStart = 0;
    const auto reportLines = [&](bool all) {
        for (;;) {
            qsizetype end = lineStart;
            while (end < said.size() && said[end] != '\r' && said[end] != '\n')
                ++end;
            if (end == said.size() && !all)
                return;
            if (progress) {
                if (const auto read
                    = CloneProgress::parse(QString::fromUtf8(said.sliced(lineStart, end - lineStart))))
                    progress(*read);
            }
            lineStart = end + 1;
            if (lineStart >= said.size())
                return;
        }
    };
    // A request for a user name or password gets an empty answer at once: a private repository
    // fails straight away instead of waiting on a prompt nobody sees.
    const Git::Ending ending = git.watch(downloadSettings() + arguments,
        [&](const QByteArray& chunk) {
            said += chunk;
            reportLines(false);
        },
        { { QStringLiteral("GIT_ASKPASS"), QStringLiteral("/usr/bin/true") } });
    if (lineStart < said.size())
        reportLines(true);
    switch (ending) {
    case Git::Ending::succeeded: return std::nullopt;
    case Git::Ending::failed: return CloneError::failed(RepositoryCloner::reason(said));
    case Git::Ending::notInstalled: return CloneError::failed(QStringLiteral("git is not installed."));
    case Git::Ending::notStarted: return CloneError::failed(QStringLiteral("Couldn\u2019t run git."));
    case Git::Ending::stopped: return CloneError::cancelled();
    case Git::Ending::stalled:
        return CloneError::failed(git.stall().value_or(QStringLiteral("git stopped answering.")));
    }
    return CloneError::failed(RepositoryCloner::reason(said));
}

// Removes a download's folder: only ever one of the storage root's host/owner/name folders, and
// never through a link.
void removeDownload(const QString& root, const QString& folder)
{
    const QString realRoot = QFileInfo(root).canonicalFilePath();
    const QFileInfo info(folder);
    if (realRoot.isEmpty() || info.isSymLink() || !info.isDir())
        return;
    const QString real = info.canonicalFilePath();
    if (real.startsWith(realRoot + u'/') && QDir(realRoot).relativeFilePath(real).count(u'/') == 2)
        QDir(real).removeRecursively();
}

// Takes away the owner and host folders above a download when nothing else is in them.
void removeEmptyParents(const QString& root, const QString& folder)
{
    QDir top(root);
    const QString owner = top.relativeFilePath(QFileInfo(folder).absolutePath());
    if (owner.count(u'/') == 1 && !owner.startsWith(u'.') && top.rmdir(owner))
        top.rmdir(owner.section(u'/', 0, 0));
}

bool isEmptyFolder(const QString& path)
{
    const QFileInfo info(path);
    return info.isDir() && !info.isSymLink()
        && QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

std::optional<RemoteRepository> RemoteRepository::parse(QStringView typed)
{
    QStringView text = typed.trimmed();
    if (text.isEmpty() || text.startsWith(u'~') || text.startsWith(u'/'))
        return std::nullopt;
    if (text.startsWith(u"git+"))
        text = text.sliced(4);

    QString host = defaultHost();
    QStringView path;
    if (const qsizetype scheme = text.indexOf(u"://"); scheme >= 0) {
        // https://[user@]host/owner/name…, and ssh:// or git:// the same way.
        const QStringView name = text.first(scheme);
        if (name.compare(u"https", Qt::CaseInsensitive) != 0
            && name.compare(u"http", Qt::CaseInsensitive) != 0
            && name.compare(u"ssh", Qt::CaseInsensitive) != 0
            && name.compare(u"git", Qt::CaseInsensitive) != 0)
            return std::nullopt;
        QStringView rest = text.sliced(scheme + 3);
        // A page's query or fragment ("?tab=readme", "#readme") is no part of the repository.
        rest = rest.first(std::find_if(rest.begin(), rest.end(), [](QChar c) {
            return c == u'?' || c == u'#';
        }) - rest.begin());
        const qsizetype slash = rest.indexOf(u'/');
        if (slash < 0)
            return std::nullopt;
        QStringView authority = rest.first(slash);
        if (const qsizetype at = authority.lastIndexOf(u'@'); at >= 0)
            authority = authority.sliced(at + 1);
        host = authority.toString().toLower();
        path = rest.sliced(slash + 1);
    } else if (const qsizetype at = text.indexOf(u'@'), colon = text.indexOf(u':');
               at > 0 && colon > at && !text.first(colon).contains(u'/')) {
        // The SSH form: user@host:owner/name.git.
        host = text.sliced(at + 1, colon - at - 1).toString().toLower();
        path = text.sliced(colon + 1);
    } else {
        path = text;
        // An address typed without its scheme: github.com/owner/name. An owner on the default
        // host never holds a dot, so a first part with one is a host.
        const QList<QStringView> parts = path.split(u'/');
        if (parts.size() >= 3 && parts.first().contains(u'.') && isHost(parts.first())) {
            host = parts.first().toString().toLower();
            path = path.sliced(parts.first().size() + 1);
        }
    }
    while (path.endsWith(u'/'))
        path.chop(1);

    const QList<QStringView> parts = path.split(u'/');
    if (parts.size() < 2 || !isHost(host))
        return std::nullopt;
    RemoteRepository repository;
    repository.host = host;
    repository.owner = parts[0].toString();
    QStringView name = parts[1];
    if (name.endsWith(u".git"))
        name.chop(4);
    repository.name = name.toString();
    if (!isName(repository.owner) || !isName(repository.name))
        return std::nullopt;
    for (qsizetype i = 2; i < parts.size(); ++i) {
        if (parts[i] == u"." || parts[i] == u"..")
            return std::nullopt;
    }
    // "/tree/BRANCH": the rest of the path is the branch, slashes and all ("feature/x"). Any other
    // rest is another page of the same repository ("/issues", "/blob/main/README.md").
    if (parts.size() >= 4 && parts[2] == u"tree") {
        QString branch = parts[3].toString();
        for (qsizetype i = 4; i < parts.size(); ++i)
            branch += u'/' + parts[i];
        if (!isBranch(branch))
            return std::nullopt;
        repository.branch = branch;
    }
    repository.cloneURL = cloneURLOf(repository.host, repository.owner, repository.name);
    return repository;
}

QString RemoteRepository::defaultHost()
{
    return QStringLiteral("github.com");
}

std::optional<CloneProgress> CloneProgress::parse(QStringView line)
{
    QStringView text = line.trimmed();
    if (text.startsWith(u"remote:"))
        text = text.sliced(7).trimmed();
    // "Phase: rest": the colon ends the line or a space follows it, which keeps out an address
    // such as "From file:///…".
    qsizetype colon = -1;
    for (qsizetype i = text.indexOf(u':'); i >= 0; i = text.indexOf(u':', i + 1)) {
        if (i + 1 == text.size() || text[i + 1].isSpace()) {
            colon = i;
            break;
        }
    }
    if (colon < 0)
        return std::nullopt;
    CloneProgress progress;
    progress.phase = text.first(colon).trimmed().toString();
    // git names its phases with a capital ("Receiving objects"), its messages without ("fatal",
    // "warning", "fetch-pack"): those say why a download failed, and are told once it has.
    if (progress.phase.isEmpty() || !progress.phase.front().isUpper())
        return std::nullopt;
    QStringView rest = text.sliced(colon + 1).trimmed();
    if (const qsizetype percent = rest.indexOf(u'%'); percent > 0) {
        bool ok = false;
        const double number = rest.first(percent).trimmed().toDouble(&ok);
        if (ok) {
            progress.fraction = std::clamp(number / 100.0, 0.0, 1.0);
            rest = rest.sliced(percent + 1).trimmed();
        }
    }
    progress.detail = rest.toString();
    return progress;
}

QString CloneError::description() const
{
    switch (kind) {
    case Kind::badURL: return u'\u201C' + text + QStringLiteral("\u201D isn\u2019t a repository URL.");
    case Kind::failed: return text;
    case Kind::cancelled: return QStringLiteral("Download cancelled.");
    }
    return text;
}

namespace RepositoryCloner {

QString storageRoot()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (data.isEmpty())
        return {};
    const QString root = data + QStringLiteral("/Korvane/repositories");
    QDir().mkpath(root);
    return root;
}

QString localURL(const RemoteRepository& repository)
{
    return storageRoot() + u'/' + repository.host + u'/' + repository.owner + u'/' + repository.name;
}

bool isClone(const QString& folder)
{
    return QFileInfo::exists(folder + QStringLiteral("/.git"));
}

QStringList downloaded()
{
    const QString root = storageRoot();
    if (root.isEmpty())
        return {};
    QStringList clones;
    const QDir::Filters folders = QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot;
    const QDir top(root);
    for (const QString& host : top.entryList(folders)) {
        const QDir hostFolder(top.filePath(host));
        for (const QString& owner : hostFolder.entryList(folders)) {
            const QDir ownerFolder(hostFolder.filePath(owner));
            for (const QString& name : ownerFolder.entryList(folders)) {
                if (isClone(ownerFolder.filePath(name)))
                    clones.append(ownerFolder.filePath(name));
            }
        }
    }
    clones.sort();
    return clones;
}

QString reason(const QByteArray& standardError)
{
    QStringList lines;
    const QString text = QString::fromUtf8(standardError);
    for (const QStringView line : QStringView(text).tokenize(u'\n')) {
        for (const QStringView piece : line.tokenize(u'\r')) {
            if (!piece.trimmed().isEmpty())
                lines.append(piece.trimmed().toString());
        }
    }
    if (lines.isEmpty())
        return QStringLiteral("The download failed.");
    const auto isMessage = [](const QString& line) {
        return startsWithIgnoringCase(line, u"fatal:") || startsWithIgnoringCase(line, u"error:");
    };
    const auto clean = [](QString line) {
        for (const QStringView prefix : { QStringView(u"fatal: "), QStringView(u"error: ") }) {
            if (startsWithIgnoringCase(line, prefix))
                line = line.sliced(prefix.size()).trimmed();
        }
        return line;
    };
    auto chosen = std::find_if(lines.crbegin(), lines.crend(), isMessage);
    QString line = chosen == lines.crend() ? lines.last() : clean(*chosen);
    // git follows a transport's own complaint with this general one: the first says more.
    if (line == u"Could not read from remote repository." && chosen != lines.crend()) {
        if (const auto earlier = std::find_if(std::next(chosen), lines.crend(), isMessage);
            earlier != lines.crend())
            line = clean(*earlier);
    }
    if (line.contains(u"Authentication failed") || line.contains(u"could not read Username"))
        return QStringLiteral("That repository is private, or it doesn\u2019t exist.");
    // A missing branch, as the clone and the checkout of an update say it.
    if (const auto branch = between(line, u"Remote branch ", u" not found"))
        return QStringLiteral("That repository has no branch ") + *branch + u'.';
    if (line.startsWith(u"invalid reference: "))
        return QStringLiteral("That repository has no branch ") + line.sliced(19) + u'.';
    if (line.contains(u"not found") || line.contains(u"does not exist")
        || line.contains(u"does not appear to be a git repository"))
        return QStringLiteral("No such repository.");
    return line;
}

CloneOutcome fetch(const RemoteRepository& repository,
    const std::function<void(const CloneProgress&)>& progress, const std::function<bool()>& stopRequested)
{
    const auto report = [&](const QString& phase) {
        if (progress)
            progress({ phase, std::nullopt, {} });
    };
    const auto failed = [](const CloneError& error) { return CloneOutcome { {}, error }; };
    if (!isSafe(repository))
        return failed(
            CloneError::badURL(repository.cloneURL.isEmpty() ? repository.slug() : repository.cloneURL));
    const QString root = storageRoot();
    if (root.isEmpty() || !QFileInfo(root).isDir())
        return failed(CloneError::failed(QStringLiteral("There is no folder to download into.")));
    const QString destination = localURL(repository);
    const QString parent = QFileInfo(destination).absolutePath();
    if (!QDir().mkpath(parent))
        return failed(CloneError::failed(QStringLiteral("Couldn\u2019t make the folder ") + parent + u'.'));

    // Another Korvane downloading the same repository would see this one's half-made folder, and
    // take it away on failing.
    QLockFile lock(destination + QStringLiteral(".lock"));
    lock.setStaleLockTime(0); // a long download is no sign of a dead one
    if (!lock.tryLock(0))
        return failed(CloneError::failed(
            QStringLiteral("Another download of ") + repository.slug() + QStringLiteral(" is under way.")));

    if (isClone(destination)) {
        report(QStringLiteral("Updating ") + repository.slug());
        const Git git(destination, stopRequested);
        if (auto error = runGit(git,
                { QStringLiteral("fetch"), QStringLiteral("--all"), QStringLiteral("--prune"),
                    QStringLiteral("--no-recurse-submodules"), QStringLiteral("--progress") },
                progress))
            return failed(*error);
        // The branch asked for is checked out before the pull, so that it is the one brought up to date.
        if (repository.branch) {
            if (auto error = runGit(git,
                    { QStringLiteral("-c"), QStringLiteral("advice.detachedHead=false"),
                        QStringLiteral("checkout"), QStringLiteral("--progress"), *repository.branch,
                        QStringLiteral("--") },
                    progress))
                return failed(*error);
        }
        // A tag leaves no branch checked out, and nothing to pull.
        const bool onBranch
            = git.run({ QStringLiteral("symbolic-ref"), QStringLiteral("-q"), QStringLiteral("HEAD") })
                  .has_value();
        if (stopRequested && stopRequested())
            return failed(CloneError::cancelled());
        if (onBranch) {
            if (auto error = runGit(git,
                    { QStringLiteral("pull"), QStringLiteral("--ff-only"),
                        QStringLiteral("--no-recurse-submodules"), QStringLiteral("--progress") },
                    progress))
                return failed(*error);
        }
        return { destination, std::nullopt };
    }

    report(QStringLiteral("Cloning ") + repository.slug());
    // git clones into an empty folder as into a missing one; anything else there is not ours to
    // take away.
    const QFileInfo existing(destination);
    if ((existing.exists() || existing.isSymLink()) && !isEmptyFolder(destination))
        return failed(CloneError::failed(destination
            + QStringLiteral(" is in the way: it holds no repository. Remove it and download again.")));
    QStringList arguments { QStringLiteral("clone"), QStringLiteral("--progress"),
        QStringLiteral("--no-recurse-submodules") };
    if (repository.branch)
        arguments << QStringLiteral("--branch") << *repository.branch;
    arguments << QStringLiteral("--") << repository.cloneURL << destination;
    std::optional<CloneError> error = runGit(Git(parent, stopRequested), arguments, progress);
    if (!error && !isClone(destination))
        error = CloneError::failed(QStringLiteral("The download finished but no repository appeared."));
    if (error) {
        // Whatever the clone left is taken away, so that the next download starts afresh.
        removeDownload(root, destination);
        lock.unlock();
        removeEmptyParents(root, destination);
        return failed(*error);
    }
    return { destination, std::nullopt };
}

} // namespace RepositoryCloner
