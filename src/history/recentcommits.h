#pragma once

#include "history/historyindex.h"

#include <QByteArrayView>
#include <QList>
#include <QString>

class Git;

// The newest commits that changed one path (a file, a folder, or the whole repository when the path
// is empty), newest first, as the drawer lists them. Any commit on any branch merged into HEAD
// counts, as `git log PATH` lists them. Empty when git has none or cannot say.
QList<Commit> recentCommits(const Git& git, const QString& relativePath, int count);

// The log behind it: commits separated by NUL, each its hash, time, author and subject separated by
// the unit separator. Pieces that are not whole commits are skipped.
QList<Commit> parseRecentCommits(QByteArrayView log);
