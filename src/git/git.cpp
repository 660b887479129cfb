#include "git/git.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <limits>
#include <mutex>

namespace {

// Configuration keys whose values are programs (or switch on programs) that git may start.
constexpr auto programKeys = "^(core\\.fsmonitor|core\\.pager|core\\.editor|core\\.sshcommand|core\\.askpass"
                             "|core\\.gitproxy|diff\\.external|log\\.showsignature|gpg\\..*|filter\\..*"
                             "|diff\\..*\\.(textconv|command)|merge\\..*\\.driver|credential\\..*"
                             "|remote\\..*\\.(uploadpack|receivepack)|uploadpack\\..*)$";

// Variables that would point git at another repository than the folder asked about.
constexpr const char* repositoryVariables[]
    = { "GIT_DIR", "GIT_WORK_TREE", "GIT_INDEX_FILE", "GIT_OBJECT_DIRECTORY",
          "GIT_ALTERNATE_OBJECT_DIRECTORIES", "GIT_COMMON_DIR", "GIT_NAMESPACE", "GIT_PREFIX" };

QString decode(QByteArrayView bytes)
{
    return QString::fromUtf8(bytes);
}

// What a git command was reading, in words, for the message of one that stopped answering.
QString subject(const QStringList& arguments)
{
    qsizetype at = 0;
    while (at + 1 < arguments.size() && arguments[at] == u"-c")
        at += 2;
    const QString command = arguments.value(at);
    if (command == u"ls-files")
        return QStringLiteral("the list of files");
    if (command == u"status")
        return QStringLiteral("the status of the files");
    if (command == u"log")
        return QStringLiteral("the history");
    if (command == u"config")
        return QStringLiteral("the configuration");
    if (command == u"cat-file")
        return QStringLiteral("a file");
    if (command == u"clone" || command == u"fetch" || command == u"pull")
        return QStringLiteral("from the server");
    return QStringLiteral("the repository");
}

} // namespace

// The settings that take back, for this folder, every program-naming value set by the
// repository's own configuration: the user's global or system values are put back in order, and
// a key only the repository sets becomes empty (which git reads as false or as "no program").
// They reach git through GIT_CONFIG_KEY_n and GIT_CONFIG_VALUE_n, which outrank the repository's
// files and, unlike "-c key=value", keep a name such as filter."a=b".clean whole.
struct Git::Guard {
    std::once_flag once;
    bool ok = false;
    Settings settings;
    // Why the last call that git left unanswered was given up, for the caller to pass on.
    std::mutex stallLock;
    QString stall;
    int stalls = 0;
};

Git::Git(QString folder, std::function<bool()> stopRequested)
    : m_folder(std::move(folder))
    , m_stopRequested(std::move(stopRequested))
    , m_guard(std::make_shared<Guard>())
{
}

QString Git::executable()
{
    return QStringLiteral("/usr/bin/git");
}

const Git::Guard& Git::guard() const
{
    std::call_once(m_guard->once, [this] {
        // All keys, filtered here: git config --get-regexp exits 1 when no key matches, which
        // start() cannot tell apart from a failure.
        QByteArray output;
        if (start({ QStringLiteral("config"), QStringLiteral("--show-scope"), QStringLiteral("-z"),
                      QStringLiteral("--list") },
                {}, [&](const QByteArray& chunk) { output += chunk; })
            != Ending::succeeded)
            return;
        static const QRegularExpression programKey(QString::fromLatin1(programKeys));
        QList<QString> keys;
        QHash<QString, QStringList> userValues;
        const QList<QByteArray> pieces = output.split('\0');
        for (qsizetype i = 0; i + 1 < pieces.size(); i += 2) {
            const QByteArray& scope = pieces[i];
            const QByteArray& entry = pieces[i + 1];
            const qsizetype newline = entry.indexOf('\n');
            const QString key = decode(entry.left(newline < 0 ? entry.size() : newline));
            if (!programKey.match(key).hasMatch())
                continue;
            if (scope == "local" || scope == "worktree") {
                if (!keys.contains(key))
                    keys.append(key);
            } else {
                userValues[key].append(newline < 0 ? QStringLiteral("true") : decode(entry.mid(newline + 1)));
            }
        }
        for (const QString& key : std::as_const(keys)) {
            m_guard->settings.append({ key, QString() });
            for (const QString& value : userValues.value(key))
                m_guard->settings.append({ key, value });
        }
        m_guard->ok = true;
    });
    return *m_guard;
}

Git::Ending Git::start(const QStringList& arguments, const Settings& settings, const Sink& sink,
    QByteArray* errors, const Watch* watch) const
{
    if (!QFileInfo(executable()).isExecutable())
        return Ending::notInstalled;
    if (stopped())
        return Ending::stopped;
    // What made git stall once (a named pipe where it reads a file) would make it stall again.
    if (stalls() > 0)
        return Ending::stalled;
    QProcess process;
    process.setProgram(executable());
    process.setArguments(arguments);
    process.setWorkingDirectory(m_folder);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : repositoryVariables)
        environment.remove(QString::fromLatin1(name));
    environment.insert(QStringLiteral("GIT_OPTIONAL_LOCKS"), QStringLiteral("0"));
    environment.insert(QStringLiteral("GIT_TERMINAL_PROMPT"), QStringLiteral("0"));
    // Settings the user's environment already passes come first; ours outrank them.
    const int given = environment.value(QStringLiteral("GIT_CONFIG_COUNT")).toInt();
    for (qsizetype i = 0; i < settings.size(); ++i) {
        environment.insert(QStringLiteral("GIT_CONFIG_KEY_%1").arg(given + i), settings[i].first);
        environment.insert(QStringLiteral("GIT_CONFIG_VALUE_%1").arg(given + i), settings[i].second);
    }
    if (!settings.isEmpty())
        environment.insert(QStringLiteral("GIT_CONFIG_COUNT"), QString::number(given + settings.size()));
    if (watch) {
        for (const auto& [name, value] : watch->variables)
            environment.insert(name, value);
    }
    // Into a pipe git flushes after every record (every commit of a log), waking us each time.
    environment.insert(QStringLiteral("GIT_FLUSH"), QStringLiteral("0"));
    // A log with line counts allocates and frees heavily; with the C library's default the heap is
    // handed back to the kernel and faulted in again all the time, which costs a third of a long
    // log's time. Growing and keeping it in 64 MiB steps gives the same output in two thirds of it.
    if (!environment.contains(QStringLiteral("MALLOC_TOP_PAD_")))
        environment.insert(QStringLiteral("MALLOC_TOP_PAD_"), QString::number(64 << 20));
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    if (!errors && !watch)
        process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(-1))
        return Ending::notStarted;
    // Output is handed on as it comes, and a stop is looked for at least every 100 ms. git that
    // says nothing for too long is waiting on something that may never come (a named pipe where
    // it reads a file, a disk that stalled) and is given up.
    QElapsedTimer silence;
    silence.start();
    const qint64 patience = patienceMilliseconds();
    while (process.state() != QProcess::NotRunning) {
        if (!process.waitForReadyRead(50))
            process.waitForFinished(50);
        if (const QByteArray chunk = process.readAllStandardOutput(); !chunk.isEmpty()) {
            sink(chunk);
            silence.restart();
        }
        if (watch) {
            if (const QByteArray said = process.readAllStandardError(); !said.isEmpty()) {
                watch->messages(said);
                silence.restart();
            }
        }
        const bool stalled = silence.elapsed() > patience;
        if (stopped() || stalled) {
            // A command that writes is asked to stop, so that it cleans up after itself; one that
            // does not go within seconds is killed as the readers are.
            if (watch) {
                process.terminate();
                process.waitForFinished(5000);
            }
            process.kill();
            process.waitForFinished(-1);
            if (stalled) {
                std::lock_guard lock(m_guard->stallLock);
                ++m_guard->stalls;
                m_guard->stall = QStringLiteral("git stopped answering while reading %1 in %2, and was "
                                                "stopped after %3 s without output.")
                                     .arg(subject(arguments), m_folder)
                                     .arg(double(patience) / 1000.0);
            }
            return stalled ? Ending::stalled : Ending::stopped;
        }
    }
    if (const QByteArray chunk = process.readAllStandardOutput(); !chunk.isEmpty())
        sink(chunk);
    if (errors)
        *errors = process.readAllStandardError();
    if (watch) {
        if (const QByteArray said = process.readAllStandardError(); !said.isEmpty())
            watch->messages(said);
    }
    // git may finish before the first look; a stop asked for meanwhile still yields nothing.
    if (stopped())
        return Ending::stopped;
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 ? Ending::succeeded
                                                                                   : Ending::failed;
}

qint64 Git::patienceMilliseconds()
{
    bool ok = false;
    const double seconds = qEnvironmentVariable("KORVANE_GIT_PATIENCE").toDouble(&ok);
    return ok && seconds > 0 ? qint64(seconds * 1000) : defaultPatience;
}

std::optional<QString> Git::stall() const
{
    std::lock_guard lock(m_guard->stallLock);
    return m_guard->stall.isEmpty() ? std::nullopt : std::optional(m_guard->stall);
}

int Git::stalls() const
{
    std::lock_guard lock(m_guard->stallLock);
    return m_guard->stalls;
}

bool Git::stopped() const
{
    return m_stopRequested && m_stopRequested();
}

namespace {

QStringList leading()
{
    return { QStringLiteral("-c"), QStringLiteral("core.quotePath=false"), QStringLiteral("-c"),
        // The mail map is a file of the work tree, read for nothing here.
        QStringLiteral("log.mailmap=false") };
}

} // namespace

bool Git::stream(const QStringList& arguments, const Sink& sink, QByteArray* errors) const
{
    const Guard& g = guard();
    return g.ok && start(leading() + arguments, g.settings, sink, errors) == Ending::succeeded;
}

Git::Ending Git::watch(const QStringList& arguments, const Sink& messages, const Variables& variables) const
{
    if (!QFileInfo(executable()).isExecutable())
        return Ending::notInstalled;
    const Guard& g = guard();
    if (!g.ok)
        return stopped() ? Ending::stopped : Ending::notStarted;
    const Watch watching { messages, variables };
    return start(
        leading() + arguments, g.settings, [](const QByteArray&) {}, nullptr, &watching);
}

std::optional<QByteArray> Git::run(const QStringList& arguments) const
{
    QByteArray output;
    if (!stream(arguments, [&](const QByteArray& chunk) { output += chunk; }))
        return std::nullopt;
    return output;
}

std::optional<QString> Git::string(const QStringList& arguments) const
{
    const auto bytes = run(arguments);
    if (!bytes)
        return std::nullopt;
    return decode(*bytes).trimmed();
}

bool Git::isInsideWorkTree() const
{
    return string({ QStringLiteral("rev-parse"), QStringLiteral("--is-inside-work-tree") })
        == QStringLiteral("true");
}

std::optional<QString> Git::branch() const
{
    const auto name
        = string({ QStringLiteral("rev-parse"), QStringLiteral("--abbrev-ref"), QStringLiteral("HEAD") });
    if (!name || name->isEmpty())
        return std::nullopt;
    if (*name == u"HEAD")
        return string({ QStringLiteral("rev-parse"), QStringLiteral("--short"), QStringLiteral("HEAD") });
    return name;
}

std::optional<QList<QByteArray>> Git::listTracked() const
{
    const auto output = run({ QStringLiteral("ls-files"), QStringLiteral("-z"), QStringLiteral("--cached") });
    if (!output)
        return std::nullopt;
    return parseFileList(*output);
}

std::optional<QList<QByteArray>> Git::listUntracked() const
{
    const auto output = run({ QStringLiteral("ls-files"), QStringLiteral("-z"), QStringLiteral("--others"),
        QStringLiteral("--exclude-standard") });
    if (!output)
        return std::nullopt;
    return parseFileList(*output);
}

QList<QByteArray> Git::parseFileList(const QByteArray& output)
{
    QList<QByteArray> paths;
    QByteArrayView last;
    for (qsizetype start = 0; start < output.size();) {
        qsizetype end = output.indexOf('\0', start);
        if (end < 0)
            end = output.size();
        const QByteArrayView piece(output.constData() + start, end - start);
        // A conflicted file comes once per stage, always in a row.
        if (!piece.isEmpty() && piece != last)
            paths.append(piece.toByteArray());
        last = piece;
        start = end + 1;
    }
    return paths;
}

QHash<QString, GitFileStatus> Git::status() const
{
    const QString prefix
        = string({ QStringLiteral("rev-parse"), QStringLiteral("--show-prefix") }).value_or(QString());
    // Preloading the index starts a thread per 500 files: on a large repository they would crowd out
    // the history reading beside it, for a few milliseconds gained here.
    const auto output
        = run({ QStringLiteral("-c"), QStringLiteral("core.preloadIndex=false"), QStringLiteral("status"),
            QStringLiteral("--porcelain=v1"), QStringLiteral("-z"), QStringLiteral("--untracked-files=all"),
            // Looking inside a submodule's work tree runs git there, under the submodule's own
            // configuration, which the guard above does not cover.
            QStringLiteral("--ignore-submodules=dirty"), QStringLiteral("--"), QStringLiteral(".") });
    if (!output)
        return {};
    return parseStatus(*output, prefix);
}

QHash<QString, GitFileStatus> Git::parseStatus(const QByteArray& output, const QString& prefix)
{
    QHash<QString, GitFileStatus> statuses;
    const QList<QByteArray> pieces = output.split('\0');
    for (qsizetype i = 0; i < pieces.size();) {
        const QString piece = decode(pieces[i]);
        if (piece.size() < 4) {
            ++i;
            continue;
        }
        const QStringView code = QStringView(piece).left(2);
        QString path = piece.mid(3);
        // A rename or copy names its old path in the next piece; the old path gets no status.
        i += code.contains(u'R') || code.contains(u'C') ? 2 : 1;
        if (!prefix.isEmpty()) {
            if (!path.startsWith(prefix))
                continue;
            path.remove(0, prefix.size());
        }
        statuses.insert(path, gitFileStatusFromCode(code));
    }
    return statuses;
}

namespace {

// Reads the log's output as it arrives, in NUL-ended pieces: one of 0x01 and digits starts a commit
// and holds its time, every other piece is a path the commit touched, as git's raw bytes (never
// quoted). Only a piece cut by the end of a chunk is kept until the next one.
class LogParser {
public:
    explicit LogParser(qsizetype maxPaths = std::numeric_limits<qsizetype>::max())
        : m_maxPaths(maxPaths)
    {
    }

    // Whether as many paths as allowed were met: the log can stop.
    bool full() const { return m_history.paths.size() >= m_maxPaths; }

    void feed(QByteArrayView chunk)
    {
        qsizetype start = 0;
        if (!m_pending.isEmpty()) {
            const qsizetype end = chunk.indexOf('\0');
            m_pending += chunk.first(end < 0 ? chunk.size() : end);
            if (end < 0)
                return;
            piece(m_pending);
            m_pending.clear();
            start = end + 1;
        }
        for (qsizetype end; (end = chunk.indexOf('\0', start)) >= 0; start = end + 1)
            piece(chunk.sliced(start, end - start));
        m_pending = chunk.sliced(start).toByteArray();
    }

    Git::History finish()
    {
        if (!m_pending.isEmpty())
            piece(std::exchange(m_pending, {}));
        return std::move(m_history);
    }

private:
    void piece(QByteArrayView text)
    {
        // The paths of a commit start on a line of their own after its header.
        if (std::exchange(m_afterHeader, false) && text.startsWith('\n'))
            text = text.sliced(1);
        if (text.isEmpty())
            return;
        if (text.front() == '\x01'
            && std::all_of(text.begin() + 1, text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            bool ok = false;
            const qint64 seconds = text.sliced(1).toLongLong(&ok);
            m_date = ok ? std::optional(seconds) : std::nullopt;
            m_afterHeader = true;
            return;
        }
        // Once full, nothing more counts: how much more git wrote before it stopped depends on the
        // machine's load, and the counts must not.
        if (full())
            return;
        auto found = m_history.paths.find(text);
        if (found == m_history.paths.end()) {
            // A QByteArray's bytes stay where they are while the list grows, so the key can view them.
            m_history.names.append(text.toByteArray());
            found = m_history.paths.insert(QByteArrayView(m_history.names.constLast()), {});
        }
        ++found->commits;
        if (m_date && (!found->last || *found->last < *m_date))
            found->last = m_date;
    }

    qsizetype m_maxPaths;
    Git::History m_history;
    QByteArray m_pending;
    std::optional<qint64> m_date;
    bool m_afterHeader = false;
};

} // namespace

Git::History Git::history(int maxCommits, qsizetype maxPaths) const
{
    // A commit can name millions of paths from a few shared trees: once the paths kept reach the
    // limit git is stopped, and what it gave so far stands.
    LogParser parser(maxPaths);
    const Git log = withStop([&] { return parser.full() || stopped(); });
    // git keeps up to 96 MB of unpacked objects to rebuild others from; for a log of names, 8 MB
    // serves as fast and halves git's memory on a large repository.
    const bool ok = log.stream(
        { QStringLiteral("-c"), QStringLiteral("core.deltaBaseCacheLimit=8m"), QStringLiteral("log"),
            QStringLiteral("--relative"), QStringLiteral("--no-renames"), QStringLiteral("--format=%x01%ct"),
            QStringLiteral("--name-only"), QStringLiteral("-z"), QStringLiteral("-n"),
            QString::number(maxCommits), QStringLiteral("--"), QStringLiteral(".") },
        [&](const QByteArray& chunk) { parser.feed(chunk); });
    return ok || (parser.full() && !stopped()) ? parser.finish() : History {};
}

Git::History Git::parseHistory(const QByteArrayList& chunks)
{
    LogParser parser;
    for (const QByteArray& chunk : chunks)
        parser.feed(chunk);
    return parser.finish();
}
