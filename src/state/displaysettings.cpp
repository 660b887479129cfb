#include "state/displaysettings.h"

std::optional<QString> DisplaySettings::refusal(VisualizationMode mode) const
{
    if (mode == VisualizationMode::history && (!m_hasFolder || !m_isGit))
        return QStringLiteral("History needs a git repository.");
    return std::nullopt;
}

void DisplaySettings::setMode(VisualizationMode mode)
{
    if (mode == m_mode)
        return;
    if (const std::optional<QString> why = refusal(mode)) {
        emit refused(*why);
        return;
    }
    const VisualizationMode previous = m_mode;
    m_mode = mode;
    emit modeChanged(previous);
}

void DisplaySettings::setColorMode(ColorMode mode)
{
    m_chosenColorMode = mode;
    assign(m_colorMode, mode, &DisplaySettings::colorModeChanged);
}
void DisplaySettings::setHeightMode(HeightMode mode)
{
    m_chosenHeightMode = mode;
    assign(m_heightMode, mode, &DisplaySettings::heightModeChanged);
}
void DisplaySettings::setHeightScale(float scale)
{
    assign(m_heightScale, scale, &DisplaySettings::heightScaleChanged);
}
void DisplaySettings::setDark(bool dark)
{
    assign(m_dark, dark, &DisplaySettings::darkChanged);
}
void DisplaySettings::setAutoFrame(bool on)
{
    assign(m_autoFrame, on, &DisplaySettings::autoFrameChanged);
}

void DisplaySettings::cycleColor(int step)
{
    ColorMode mode = m_colorMode;
    do
        mode = cycled(colorModes, mode, step);
    while (!m_isGit && needsGit(mode));
    setColorMode(mode);
}

void DisplaySettings::cycleHeight(int step)
{
    HeightMode mode = m_heightMode;
    do
        mode = cycled(allHeightModes, mode, step);
    while (!m_isGit && mode == HeightMode::churn);
    setHeightMode(mode);
}

void DisplaySettings::folderChanged(const OpenFolder& folder)
{
    m_hasFolder = folder.root != nullptr;
    m_isGit = folder.isGit;
    if (m_mode == VisualizationMode::history || m_mode == VisualizationMode::graph)
        setMode(VisualizationMode::city);
    const bool plain = !m_isGit && m_hasFolder;
    assign(m_colorMode, plain && needsGit(m_chosenColorMode) ? ColorMode::language : m_chosenColorMode,
        &DisplaySettings::colorModeChanged);
    assign(m_heightMode,
        plain && m_chosenHeightMode == HeightMode::churn ? HeightMode::lines : m_chosenHeightMode,
        &DisplaySettings::heightModeChanged);
}
