#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "history/historycache.h"
#include "history/historycursor.h"
#include "history/historyreader.h"
#include "model/terminal.h"
#include "text/nametable.h"

#include <QDateTime>

#include <cstdio>
#include <numeric>

namespace Cli {

namespace {

constexpr auto kindNames = nameTable<FileChange::Kind>("added", "modified", "deleted", "renamed");

QString kindName(FileChange::Kind kind)
{
    return kindNames.name(kind);
}

QString describe(const Commit& commit)
{
    return commit.shortHash() + u' '
        + QDateTime::fromSecsSinceEpoch(commit.date, Qt::UTC).toString(Qt::ISODate) + u' ' + commit.subject;
}

QString summary(const HistoryIndex& index, const QString& cache)
{
    QString text = Terminal::row(QStringLiteral("Branch"), index.branch)
        + Terminal::row(QStringLiteral("Commits"),
            Format::grouped(index.commitCount())
                + (index.truncated ? QStringLiteral(", the newest only: older ones were left out")
                                   : QString()))
        + Terminal::row(QStringLiteral("Paths"), Format::grouped(index.paths.size()))
        + Terminal::row(QStringLiteral("First"), describe(index.commits.front()))
        + Terminal::row(QStringLiteral("Last"), describe(index.commits.back()))
        + Terminal::row(QStringLiteral("Cache"), cache);
    const std::vector<qint32> touches = index.totalTouches();
    std::vector<qint32> order(touches.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
        [&](qint32 a, qint32 b) { return touches[size_t(a)] > touches[size_t(b)]; });
    text += QStringLiteral("\nMost touched\n");
    for (size_t i = 0; i < std::min<size_t>(10, order.size()); ++i)
        text += Format::grouped(touches[size_t(order[i])]).rightJustified(8) + QStringLiteral("  ")
            + index.paths[order[i]] + u'\n';
    return text;
}

QByteArray json(const HistoryIndex& index)
{
    JsonWriter json;
    json.beginObject();
    json.value("branch", index.branch);
    json.value("truncated", index.truncated);
    json.beginArray("paths");
    for (const QString& path : index.paths)
        json.value(nullptr, path);
    json.endArray();
    json.beginArray("maxLines");
    for (const qint32 lines : index.maxLines)
        json.value(nullptr, qint64(lines));
    json.endArray();
    json.beginArray("commits");
    for (size_t i = 0; i < index.commits.size(); ++i) {
        const Commit& commit = index.commits[i];
        json.beginObject();
        json.value("hash", commit.hash);
        json.value("date", commit.date);
        json.value("author", commit.author);
        json.value("subject", commit.subject);
        json.value("insertions", qint64(commit.insertions));
        json.value("deletions", qint64(commit.deletions));
        json.value("changedFiles", qint64(commit.changedFiles));
        json.beginArray("changes");
        for (const FileChange& change : index.changes[i]) {
            json.beginObject();
            json.value("path", index.paths[change.path]);
            if (change.from >= 0)
                json.value("from", index.paths[change.from]);
            else
                json.null("from");
            json.value("added", qint64(change.added));
            json.value("removed", qint64(change.removed));
            json.value("kind", kindName(change.kind));
            json.value("binary", change.binary);
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.bytes();
}

} // namespace

int history(const Arguments& arguments)
{
    const QString at = arguments.options.value(QStringLiteral("--at"));
    bool atOk = at.isEmpty() || at == u"end";
    const qint64 target
        = at == u"end" || at.isEmpty() ? std::numeric_limits<qint64>::max() : at.toLongLong(&atOk);
    if (!atOk) {
        Terminal::err(QStringLiteral("korvane: --at takes a commit number or \"end\"\n"));
        return 2;
    }
    Terminal::Progress progress;
    HistoryCache cache;
    const bool cached = !arguments.flags.contains(QStringLiteral("--no-cache"));
    if (cached && cache.unavailable())
        Terminal::err(*cache.unavailable() + u'\n');
    bool cacheHit = false;
    const auto outcome = HistoryReader(arguments.positional.first(), std::make_shared<CancelFlag>())
                             .read([&](const HistoryProgress& p) { progress.update(p.phase, p.commits, 0); },
                                 cached ? &cache : nullptr, &cacheHit);
    progress.finish();
    if (const auto* error = std::get_if<HistoryError>(&outcome)) {
        Terminal::err(error->description() + u'\n');
        return 1;
    }
    const auto& index = std::get<std::shared_ptr<const HistoryIndex>>(outcome);
    const bool asJson = arguments.flags.contains(QStringLiteral("--json"));
    if (at.isEmpty()) {
        if (asJson) {
            const QByteArray out = json(*index);
            Terminal::out(out);
        } else {
            Terminal::out(summary(*index,
                !cached || cache.unavailable() ? QStringLiteral("off")
                    : cacheHit                 ? QStringLiteral("hit")
                                               : QStringLiteral("miss")));
        }
        return 0;
    }
    HistoryCursor cursor(index);
    cursor.move(target);
    JsonWriter writer;
    QString text;
    if (asJson)
        writer.beginArray();
    for (qsizetype path = 0; path < index->paths.size(); ++path) {
        if (!cursor.present()[size_t(path)])
            continue;
        const qint32 lines = cursor.lines()[size_t(path)];
        if (asJson) {
            writer.beginObject();
            writer.value("path", index->paths[path]);
            writer.value("lines", qint64(lines));
            writer.endObject();
        } else {
            text += QString::number(lines).rightJustified(8) + QStringLiteral("  ") + index->paths[path]
                + u'\n';
        }
    }
    if (asJson) {
        writer.endArray();
        Terminal::out(writer.bytes());
    } else {
        Terminal::out(text);
    }
    return 0;
}

} // namespace Cli
