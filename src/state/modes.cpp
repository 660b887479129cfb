#include "state/modes.h"

#include "text/nametable.h"

namespace {

constexpr auto visualizationModeNames = nameTable<VisualizationMode>("city", "tree", "history", "graph");
constexpr auto colorModeNames = nameTable<ColorMode>("language", "age", "churn", "status");
constexpr auto railModeNames = nameTable<RailMode>("compact", "expanded", "hidden");
constexpr auto structureTabNames = nameTable<StructureTab>("outline", "treemap", "flow", "links");

static_assert(visualizationModeNames.size() == visualizationModes.size());
static_assert(colorModeNames.size() == colorModes.size());
static_assert(railModeNames.size() == railModes.size());
static_assert(structureTabNames.size() == structureTabs.size());

} // namespace

QString modeName(VisualizationMode mode)
{
    return visualizationModeNames.name(mode);
}
QString modeName(ColorMode mode)
{
    return colorModeNames.name(mode);
}
QString modeName(RailMode mode)
{
    return railModeNames.name(mode);
}
QString modeName(StructureTab tab)
{
    return structureTabNames.name(tab);
}

template <> std::optional<VisualizationMode> modeFromName(const QString& name)
{
    return visualizationModeNames.find(name);
}
template <> std::optional<ColorMode> modeFromName(const QString& name)
{
    return colorModeNames.find(name);
}
template <> std::optional<RailMode> modeFromName(const QString& name)
{
    return railModeNames.find(name);
}
template <> std::optional<StructureTab> modeFromName(const QString& name)
{
    return structureTabNames.find(name);
}
template <> std::optional<HeightMode> modeFromName(const QString& name)
{
    return heightModeFromName(name);
}
