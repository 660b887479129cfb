#include "scene/colorcontext.h"

#include <QDateTime>

#include <algorithm>
#include <array>
#include <cmath>

QColor mix(const QColor& from, const QColor& to, double fraction)
{
    const QColor a = from.toRgb(), b = to.toRgb();
    const auto lerp = [&](float x, float y) { return float(x + fraction * (y - x)); };
    return QColor::fromRgbF(lerp(a.redF(), b.redF()), lerp(a.greenF(), b.greenF()),
        lerp(a.blueF(), b.blueF()), lerp(a.alphaF(), b.alphaF()));
}

namespace {

std::optional<GitFileStatus> dominantStatus(const FileNode& node)
{
    if (!node.isDirectory)
        return node.gitStatus;
    std::array<qint64, allGitFileStatuses.size()> counts {};
    node.forEach([&](const FileNode& file) {
        if (file.gitStatus)
            ++counts[size_t(*file.gitStatus)];
    });
    const auto most = std::max_element(counts.begin(), counts.end());
    if (*most == 0)
        return std::nullopt;
    return allGitFileStatuses[size_t(most - counts.begin())];
}

QString dayText(double seconds)
{
    return QDateTime::fromSecsSinceEpoch(qint64(seconds), Qt::UTC).toString(QStringLiteral("yyyy-MM-dd"));
}

QString commitsText(qint64 commits)
{
    return commits == 1 ? QStringLiteral("1 commit") : QStringLiteral("%1 commits").arg(commits);
}

} // namespace

ColorContext::ColorContext(ColorMode mode, bool dark, const QList<const FileNode*>& files)
    : mode(mode)
    , dark(dark)
{
    if (mode != ColorMode::age && mode != ColorMode::churn)
        return;
    // Once a history has been read, a file's age is its last commit; the files it never met are
    // older than it reaches, and are left out of the ranks rather than crowding the oldest one.
    m_history = mode == ColorMode::age && std::any_of(files.begin(), files.end(), [](const FileNode* file) {
        return file->lastCommit.has_value();
    });
    QList<const FileNode*> ranked = files;
    if (m_history)
        ranked.removeIf([&](const FileNode* file) { return isOlderThanHistory(*file); });
    bucket = rank(mode, ranked, m_history);
    m_ranked.reserve(size_t(ranked.size()));
    for (const FileNode* file : ranked)
        m_ranked.emplace_back(value(mode, *file, m_history), bucket.value(file));
    std::sort(m_ranked.begin(), m_ranked.end());
    // A file without a date or a commit says nothing about a bucket's range.
    for (const auto& [value, rank] : m_ranked) {
        auto& range = m_ranges[size_t(rank)];
        if (value > 0)
            range = range ? std::pair(std::min(range->first, value), std::max(range->second, value))
                          : std::pair(value, value);
    }
}

double ColorContext::value(ColorMode mode, const FileNode& node, bool history)
{
    if (node.isDirectory) {
        double largest = 0;
        node.forEach([&](const FileNode& file) { largest = std::max(largest, value(mode, file, history)); });
        return largest;
    }
    if (mode == ColorMode::churn)
        return double(node.commits);
    if (node.lastCommit)
        return double(*node.lastCommit);
    // A file no commit has taken in yet is as new as its last change.
    const bool uncommitted
        = node.gitStatus == GitFileStatus::untracked || node.gitStatus == GitFileStatus::added;
    if (history && !uncommitted)
        return 0;
    return double(node.modified.value_or(0));
}

bool ColorContext::isOlderThanHistory(const FileNode& node) const
{
    return m_history && value(mode, node, true) <= 0;
}

QHash<const FileNode*, int> ColorContext::rank(
    ColorMode mode, const QList<const FileNode*>& files, bool history)
{
    std::vector<std::pair<double, const FileNode*>> sorted;
    sorted.reserve(size_t(files.size()));
    for (const FileNode* file : files)
        sorted.emplace_back(value(mode, *file, history), file);
    std::stable_sort(
        sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    QHash<const FileNode*, int> buckets;
    buckets.reserve(qsizetype(sorted.size()));
    const double n = double(std::max<size_t>(sorted.size(), 1));
    int previous = 0;
    for (size_t i = 0; i < sorted.size(); ++i) {
        const int own = std::min(int(std::floor(double(i) / n * rankCount)), rankCount - 1);
        previous = i > 0 && sorted[i].first == sorted[i - 1].first ? previous : own;
        buckets.insert(sorted[i].second, previous);
    }
    return buckets;
}

int ColorContext::rankOf(const FileNode& node) const
{
    if (const auto known = bucket.constFind(&node); known != bucket.cend())
        return *known;
    // Not among the ranked files (a folder drawn whole): the bucket of the first value at least
    // as large as its own.
    const double own = value(mode, node, m_history);
    const auto at = std::lower_bound(m_ranked.begin(), m_ranked.end(), std::pair(own, 0),
        [](const auto& a, const auto& b) { return a.first < b.first; });
    return at == m_ranked.end() ? rankCount - 1 : at->second;
}

ColorStyle ColorContext::style(const FileNode& node) const
{
    switch (mode) {
    case ColorMode::language: {
        const Language& language = node.language ? *node.language : Languages::other();
        return { u"lang:" + language.name, QColor(QRgb(dark ? language.darkColor : language.lightColor)) };
    }
    case ColorMode::status: {
        const std::optional<GitFileStatus> status = dominantStatus(node);
        return { u"status:" + (status ? gitFileStatusName(*status) : QStringLiteral("clean")),
            statusColor(status, dark) };
    }
    case ColorMode::churn:
        if (value(mode, node) <= 0)
            return { QStringLiteral("none"), neutral(dark) };
        [[fallthrough]];
    case ColorMode::age: {
        if (isOlderThanHistory(node))
            return { QStringLiteral("older"), older(dark) };
        const int rank = rankOf(node);
        return { modeName(mode) + u':' + QString::number(rank),
            gradient(stops(mode, dark), double(rank) / (rankCount - 1)) };
    }
    }
    return {};
}

QString ColorContext::label(const QString& key) const
{
    const qsizetype colon = key.indexOf(u':');
    const QString head = key.left(colon), tail = colon < 0 ? QString() : key.mid(colon + 1);
    if (head == u"lang" || head == u"status")
        return tail;
    if (key == u"none")
        return QStringLiteral("none");
    if (key == u"older")
        return QStringLiteral("older than the history read");
    bool ok = false;
    const int rank = tail.toInt(&ok);
    if (!ok)
        return key;
    if (rank < 0 || rank >= rankCount || !m_ranges[size_t(rank)])
        return mode == ColorMode::churn ? QStringLiteral("none") : QStringLiteral("undated");
    const auto [low, high] = *m_ranges[size_t(rank)];
    if (mode == ColorMode::churn) {
        return low == high ? commitsText(qint64(low))
                           : QStringLiteral("%1–%2 commits").arg(qint64(low)).arg(qint64(high));
    }
    const QString first = dayText(low), last = dayText(high);
    return first == last ? first : first + u" – " + last;
}

std::pair<QString, QString> ColorContext::ends(const QString& key) const
{
    const qsizetype colon = key.indexOf(u':');
    bool ok = false;
    const int rank = key.mid(colon + 1).toInt(&ok);
    if ((mode != ColorMode::age && mode != ColorMode::churn) || colon < 0 || !ok)
        return {};
    if (rank < 0 || rank >= rankCount || !m_ranges[size_t(rank)])
        return { label(key), label(key) };
    const auto [low, high] = *m_ranges[size_t(rank)];
    if (mode == ColorMode::churn)
        return { commitsText(qint64(low)), commitsText(qint64(high)) };
    return { dayText(low), dayText(high) };
}

std::vector<QColor> ColorContext::stops(ColorMode mode, bool dark)
{
    static constexpr std::array<QRgb, 5> churnDark { 0x3a3f47, 0x5e5a86, 0x9a8ce8, 0xef83bd, 0xefa463 };
    static constexpr std::array<QRgb, 5> churnLight { 0xc9cdd2, 0x8c84c4, 0x5c4bb8, 0xcc3d8f, 0xd1600f };
    static constexpr std::array<QRgb, 5> ageDark { 0x2f3a4a, 0x3f6f8f, 0x5fc2d4, 0xc9c27a, 0xefa463 };
    static constexpr std::array<QRgb, 5> ageLight { 0xc2cad2, 0x6f9bb8, 0x17879e, 0xb8890b, 0xd1600f };
    const auto& table
        = mode == ColorMode::churn ? (dark ? churnDark : churnLight) : (dark ? ageDark : ageLight);
    std::vector<QColor> colors;
    for (const QRgb rgb : table)
        colors.emplace_back(rgb);
    return colors;
}

QColor ColorContext::gradient(const std::vector<QColor>& stops, double t)
{
    if (stops.empty())
        return {};
    if (stops.size() == 1)
        return stops.front();
    t = std::clamp(t, 0.0, 1.0);
    const double p = t * double(stops.size() - 1);
    const size_t i = std::min(stops.size() - 2, size_t(std::floor(p)));
    return mix(stops[i], stops[i + 1], p - double(i));
}

QColor ColorContext::statusColor(std::optional<GitFileStatus> status, bool dark)
{
    if (!status)
        return neutral(dark);
    switch (*status) {
    case GitFileStatus::modified: return dark ? QColor(239, 164, 99) : QColor(209, 96, 15);
    case GitFileStatus::added: return dark ? QColor(92, 199, 154) : QColor(23, 138, 90);
    case GitFileStatus::deleted: return dark ? QColor(133, 131, 127) : QColor(119, 119, 119);
    case GitFileStatus::renamed: return dark ? QColor(195, 161, 232) : QColor(148, 103, 189);
    case GitFileStatus::untracked: return dark ? QColor(106, 176, 224) : QColor(31, 119, 180);
    case GitFileStatus::conflicted: return dark ? QColor(239, 131, 189) : QColor(204, 61, 143);
    }
    return neutral(dark);
}

QColor ColorContext::neutral(bool dark)
{
    return dark ? QColor(74, 82, 92) : QColor(200, 204, 208);
}

QColor ColorContext::older(bool dark)
{
    // A warm grey, apart from the cold end of the age colours and from the neutral of what has no
    // status or commit.
    return dark ? QColor(96, 90, 82) : QColor(176, 168, 156);
}
