#pragma once

#include "history/historyindex.h"

#include <memory>
#include <optional>

// Built history indexes kept on disk, one file per repository folder and head commit, so that a
// repository read once opens at once until its head moves. Files are written whole or not at all;
// one that can't be read, is cut short, was written by another version, is larger than the limit
// or is anything but a regular file reached without a link is a miss. The oldest
// files go once the folder passes its size limit.
class HistoryCache {
public:
    static constexpr qint64 defaultLimit = qint64(256) * 1024 * 1024;

    // The folder defaults to Korvane's own cache folder, "history" inside it. Without a folder given
    // whole (HOME or XDG_CACHE_HOME unset or relative) there is no cache: nothing is loaded or
    // stored, and unavailable() says why.
    explicit HistoryCache(QString folder = {}, qint64 limit = defaultLimit);

    const std::optional<QString>& unavailable() const { return m_unavailable; }

    std::shared_ptr<const HistoryIndex> load(const QString& root, const QString& head) const;
    bool store(const HistoryIndex& index, const QString& head) const;

    QString fileFor(const QString& root, const QString& head) const;

private:
    void prune() const;

    QString m_folder;
    qint64 m_limit;
    std::optional<QString> m_unavailable;
};
