#pragma once

#include "model/filenode.h"
#include "state/modes.h"

#include <QColor>
#include <QHash>
#include <QList>
#include <QString>

#include <array>
#include <optional>
#include <utility>
#include <vector>

// `from` moved toward `to` by `fraction`, channel by channel in sRGB, alpha included.
QColor mix(const QColor& from, const QColor& to, double fraction);

struct ColorStyle {
    QString key; // the legend key: "lang:C", "status:clean", "churn:7", "age:0", "none", "older"
    QColor color;
};

// How files are coloured in one build of the scene. The age and churn modes rank the files into
// twelve buckets by their value, so the colours spread evenly however skewed the values are.
class ColorContext {
public:
    static constexpr int rankCount = 12;

    ColorContext() = default;
    // `files` are all the files of the tree; folders drawn whole are ranked among them by their
    // newest or most changed file.
    ColorContext(ColorMode mode, bool dark, const QList<const FileNode*>& files);

    ColorMode mode = ColorMode::language;
    bool dark = true;
    QHash<const FileNode*, int> bucket;

    ColorStyle style(const FileNode& node) const;
    // The legend's words for a key this context hands out: a language, a status, a date range, a
    // commit count.
    QString label(const QString& key) const;
    // The two ends of a rank's range in the legend's words ("2025-04-17" and "2025-08-05", "3 commits"
    // and "5 commits"); empty for a key that is no rank.
    std::pair<QString, QString> ends(const QString& key) const;

    // The value a mode ranks by: commits for churn; for age the last commit, else the modification
    // time, in seconds since 1970 (0 with neither). With `history` (a history was read), a file
    // without a commit counts 0 unless it is new (untracked or added). A folder takes the largest
    // among its files.
    static double value(ColorMode mode, const FileNode& node, bool history = false);
    // Ascending by value; ties share the bucket of the first of them.
    static QHash<const FileNode*, int> rank(
        ColorMode mode, const QList<const FileNode*>& files, bool history = false);
    static std::vector<QColor> stops(ColorMode mode, bool dark);
    static QColor gradient(const std::vector<QColor>& stops, double t);
    static QColor statusColor(std::optional<GitFileStatus> status, bool dark);
    // Files without a status, and files that were never committed in churn mode.
    static QColor neutral(bool dark);
    // In age mode, files the history read never met ("older").
    static QColor older(bool dark);

private:
    int rankOf(const FileNode& node) const;
    bool isOlderThanHistory(const FileNode& node) const;

    // Whether ages are the history's: some file has a last commit.
    bool m_history = false;
    // Every ranked value in ascending order with its bucket, to place values that were not ranked.
    std::vector<std::pair<double, int>> m_ranked;
    // The smallest and largest value above 0 in each bucket, for the legend; none when it holds no
    // dated or committed file.
    std::array<std::optional<std::pair<double, double>>, rankCount> m_ranges;
};
