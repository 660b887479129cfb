#pragma once

#include "history/historyindex.h"

#include <memory>

// The state of every path after a given commit of a history, moving forwards and backwards: any
// position reached backwards shows what the same position reached forwards shows.
class HistoryCursor {
public:
    explicit HistoryCursor(std::shared_ptr<const HistoryIndex> index);

    const HistoryIndex& index() const { return *m_index; }
    qint64 position() const { return m_position; } // the last applied commit; -1 before the first
    const std::vector<qint32>& lines() const { return m_lines; }
    const std::vector<bool>& present() const { return m_present; }
    const std::vector<qint32>& touches() const { return m_touches; }

    bool isAtStart() const { return m_position < 0; }
    bool isAtEnd() const { return m_position >= m_index->commitCount() - 1; }
    const Commit* commit() const;
    std::vector<qint32> touched() const; // the paths the commit at the position names, in order
    qint64 fileCount() const;
    qint64 totalLines() const;

    // Moves to the commit (clamped to -1 .. last) and returns the paths touched on the way.
    std::vector<qint32> move(qint64 target);

private:
    void apply(const FileChange& change, std::vector<qint32>& touched);
    void undo(qint64 commit);

    std::shared_ptr<const HistoryIndex> m_index;
    qint64 m_position = -1;
    std::vector<qint32> m_lines;
    std::vector<bool> m_present;
    std::vector<qint32> m_touches;
    // What each applied change replaced, so that undoing restores it exactly: per applied commit, per
    // change, the lines and presence of its path and of the path it came from.
    struct Before {
        qint32 lines;
        bool present;
        qint32 fromLines;
        bool fromPresent;
    };
    std::vector<std::vector<Before>> m_undo;
};
