#include "history/historycursor.h"

#include <algorithm>

HistoryCursor::HistoryCursor(std::shared_ptr<const HistoryIndex> index)
    : m_index(std::move(index))
    , m_lines(size_t(m_index->paths.size()), 0)
    , m_present(size_t(m_index->paths.size()), false)
    , m_touches(size_t(m_index->paths.size()), 0)
{
}

const Commit* HistoryCursor::commit() const
{
    return m_position < 0 ? nullptr : &m_index->commits[size_t(m_position)];
}

std::vector<qint32> HistoryCursor::touched() const
{
    std::vector<qint32> paths;
    if (m_position >= 0) {
        for (const FileChange& change : m_index->changes[size_t(m_position)])
            paths.push_back(change.path);
    }
    return paths;
}

qint64 HistoryCursor::fileCount() const
{
    return std::count(m_present.begin(), m_present.end(), true);
}

qint64 HistoryCursor::totalLines() const
{
    qint64 total = 0;
    for (size_t i = 0; i < m_lines.size(); ++i)
        total += m_present[i] ? m_lines[i] : 0;
    return total;
}

void HistoryCursor::apply(const FileChange& change, std::vector<qint32>& touched)
{
    const auto path = size_t(change.path);
    const bool hasFrom = change.kind == FileChange::Kind::renamed && change.from >= 0;
    const auto from = size_t(hasFrom ? change.from : change.path);
    m_undo.back().push_back({ m_lines[path], m_present[path], m_lines[from], m_present[from] });
    ++m_touches[path];
    touched.push_back(change.path);
    const qint32 delta = change.added - change.removed;
    if (change.kind == FileChange::Kind::deleted) {
        m_lines[path] = 0;
        m_present[path] = false;
    } else if (hasFrom) {
        const qint32 inherited = m_lines[from];
        m_lines[from] = 0;
        m_present[from] = false;
        touched.push_back(change.from);
        m_lines[path] = std::max(0, inherited + delta);
        m_present[path] = true;
    } else {
        m_lines[path] = std::max(0, m_lines[path] + delta);
        m_present[path] = true;
    }
}

void HistoryCursor::undo(qint64 commit)
{
    const auto& changes = m_index->changes[size_t(commit)];
    const std::vector<Before> before = std::move(m_undo.back());
    m_undo.pop_back();
    for (size_t i = changes.size(); i-- > 0;) {
        const FileChange& change = changes[i];
        const auto path = size_t(change.path);
        --m_touches[path];
        if (change.kind == FileChange::Kind::renamed && change.from >= 0) {
            m_lines[size_t(change.from)] = before[i].fromLines;
            m_present[size_t(change.from)] = before[i].fromPresent;
        }
        m_lines[path] = before[i].lines;
        m_present[path] = before[i].present;
    }
}

std::vector<qint32> HistoryCursor::move(qint64 target)
{
    target = std::max<qint64>(-1, std::min(target, m_index->commitCount() - 1));
    std::vector<qint32> touched;
    while (m_position > target) {
        for (const FileChange& change : m_index->changes[size_t(m_position)]) {
            touched.push_back(change.path);
            if (change.kind == FileChange::Kind::renamed && change.from >= 0)
                touched.push_back(change.from);
        }
        undo(m_position--);
    }
    while (m_position < target) {
        ++m_position;
        m_undo.emplace_back();
        for (const FileChange& change : m_index->changes[size_t(m_position)])
            apply(change, touched);
    }
    return touched;
}
