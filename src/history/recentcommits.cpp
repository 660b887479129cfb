#include "history/recentcommits.h"

#include "git/git.h"

QList<Commit> recentCommits(const Git& git, const QString& relativePath, int count)
{
    QStringList arguments { QStringLiteral("log"), QStringLiteral("-z"), QStringLiteral("--no-color"),
        QStringLiteral("--no-textconv"), QStringLiteral("--no-ext-diff"),
        QStringLiteral("--no-show-signature"), QStringLiteral("--format=%H%x1f%ct%x1f%an%x1f%s"),
        QStringLiteral("-n"), QString::number(count), QStringLiteral("HEAD"), QStringLiteral("--") };
    // Literal, so that a name such as ":(glob)*" or "*.c" is that path and no pattern.
    if (!relativePath.isEmpty())
        arguments << QStringLiteral(":(literal)") + relativePath;
    const std::optional<QByteArray> log = git.run(arguments);
    return log ? parseRecentCommits(*log) : QList<Commit> {};
}

QList<Commit> parseRecentCommits(QByteArrayView log)
{
    QList<Commit> commits;
    for (qsizetype start = 0; start < log.size();) {
        qsizetype end = log.indexOf('\0', start);
        if (end < 0)
            end = log.size();
        const QByteArrayView piece = log.sliced(start, end - start);
        start = end + 1;
        const qsizetype afterHash = piece.indexOf('\x1f');
        const qsizetype afterDate = afterHash < 0 ? -1 : piece.indexOf('\x1f', afterHash + 1);
        const qsizetype afterAuthor = afterDate < 0 ? -1 : piece.indexOf('\x1f', afterDate + 1);
        if (afterAuthor < 0 || (afterHash != 40 && afterHash != 64))
            continue;
        bool dated = false;
        Commit commit;
        commit.date = piece.sliced(afterHash + 1, afterDate - afterHash - 1).toLongLong(&dated);
        if (!dated)
            continue;
        commit.hash = QString::fromLatin1(piece.first(afterHash));
        commit.author = QString::fromUtf8(piece.sliced(afterDate + 1, afterAuthor - afterDate - 1));
        commit.subject = QString::fromUtf8(piece.sliced(afterAuthor + 1));
        commits.append(commit);
    }
    return commits;
}
