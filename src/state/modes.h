#pragma once

#include "layout/layoutresult.h"

#include <QString>

#include <array>
#include <optional>

// The user's display choices. Each is written and read by its case name ("city", "language" …).

enum class VisualizationMode { city, tree, history, graph };
enum class ColorMode { language, age, churn, status };
enum class RailMode { compact, expanded, hidden };
enum class StructureTab { outline, treemap, flow, links };

inline constexpr std::array visualizationModes { VisualizationMode::city, VisualizationMode::tree,
    VisualizationMode::history, VisualizationMode::graph };
inline constexpr std::array colorModes { ColorMode::language, ColorMode::age, ColorMode::churn,
    ColorMode::status };
inline constexpr std::array railModes { RailMode::compact, RailMode::expanded, RailMode::hidden };
inline constexpr std::array structureTabs { StructureTab::outline, StructureTab::treemap, StructureTab::flow,
    StructureTab::links };
inline constexpr std::array allHeightModes { HeightMode::lines, HeightMode::size, HeightMode::churn,
    HeightMode::flat };

QString modeName(VisualizationMode mode);
QString modeName(ColorMode mode);
QString modeName(RailMode mode);
QString modeName(StructureTab tab);
inline QString modeName(HeightMode mode)
{
    return heightModeName(mode);
}

// The mode with the given case name, if there is one.
template <typename Mode> std::optional<Mode> modeFromName(const QString& name);
template <> std::optional<VisualizationMode> modeFromName(const QString& name);
template <> std::optional<ColorMode> modeFromName(const QString& name);
template <> std::optional<RailMode> modeFromName(const QString& name);
template <> std::optional<StructureTab> modeFromName(const QString& name);
template <> std::optional<HeightMode> modeFromName(const QString& name);

// The city and the history are drawn with the city layout, on a ground of lots.
inline bool isTreemap(VisualizationMode mode)
{
    return mode == VisualizationMode::city || mode == VisualizationMode::history;
}

// Colourings that read what only git knows.
inline bool needsGit(ColorMode mode)
{
    return mode == ColorMode::churn || mode == ColorMode::status;
}
inline bool needsGit(HeightMode mode)
{
    return mode == HeightMode::churn;
}

// Colourings and heights drawn from the files' commits, which in a repository arrive after the tree.
inline bool readsCommits(ColorMode mode)
{
    return mode == ColorMode::churn || mode == ColorMode::age;
}
inline bool readsCommits(HeightMode mode)
{
    return mode == HeightMode::churn;
}

// The case after (step 1) or before (step -1) the given one, wrapping around.
template <typename Mode, std::size_t N> Mode cycled(const std::array<Mode, N>& all, Mode mode, int step)
{
    const int index = int(mode) + step % int(N);
    return all[std::size_t((index + int(N)) % int(N))];
}
