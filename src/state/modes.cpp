#include "state/modes.h"

namespace {

template <typename Mode, std::size_t N>
std::optional<Mode> findByName(const std::array<Mode, N>& all, const QString& name)
{
    for (const Mode mode : all) {
        if (modeName(mode) == name)
            return mode;
    }
    return std::nullopt;
}

} // namespace

QString modeName(VisualizationMode mode)
{
    switch (mode) {
    case VisualizationMode::city: return QStringLiteral("city");
    case VisualizationMode::tree: return QStringLiteral("tree");
    case VisualizationMode::history: return QStringLiteral("history");
    case VisualizationMode::graph: return QStringLiteral("graph");
    }
    return {};
}

QString modeName(ColorMode mode)
{
    switch (mode) {
    case ColorMode::language: return QStringLiteral("language");
    case ColorMode::age: return QStringLiteral("age");
    case ColorMode::churn: return QStringLiteral("churn");
    case ColorMode::status: return QStringLiteral("status");
    }
    return {};
}

QString modeName(RailMode mode)
{
    switch (mode) {
    case RailMode::compact: return QStringLiteral("compact");
    case RailMode::expanded: return QStringLiteral("expanded");
    case RailMode::hidden: return QStringLiteral("hidden");
    }
    return {};
}

QString modeName(StructureTab tab)
{
    switch (tab) {
    case StructureTab::outline: return QStringLiteral("outline");
    case StructureTab::treemap: return QStringLiteral("treemap");
    case StructureTab::flow: return QStringLiteral("flow");
    case StructureTab::links: return QStringLiteral("links");
    }
    return {};
}

template <> std::optional<VisualizationMode> modeFromName(const QString& name)
{
    return findByName(visualizationModes, name);
}
template <> std::optional<ColorMode> modeFromName(const QString& name)
{
    return findByName(colorModes, name);
}
template <> std::optional<RailMode> modeFromName(const QString& name)
{
    return findByName(railModes, name);
}
template <> std::optional<StructureTab> modeFromName(const QString& name)
{
    return findByName(structureTabs, name);
}
template <> std::optional<HeightMode> modeFromName(const QString& name)
{
    return heightModeFromName(name);
}
