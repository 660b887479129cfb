#pragma once

#include "state/modes.h"
#include "state/statecontroller.h"

// How the folder is drawn: the view, the colouring, the heights and their scale, the theme, and
// whether the camera follows the selection.
class DisplaySettings : public StateController {
    Q_OBJECT

public:
    using StateController::StateController;

    VisualizationMode mode() const { return m_mode; }
    ColorMode colorMode() const { return m_colorMode; }
    HeightMode heightMode() const { return m_heightMode; }
    // The modes last chosen, which a folder without git replaces by language and lines while it is
    // open, when they read git.
    ColorMode chosenColorMode() const { return m_chosenColorMode; }
    HeightMode chosenHeightMode() const { return m_chosenHeightMode; }
    float heightScale() const { return m_heightScale; }
    bool dark() const { return m_dark; }
    bool autoFrame() const { return m_autoFrame; }

    // Why the mode cannot be shown on the open folder, if it cannot: history needs a repository.
    std::optional<QString> refusal(VisualizationMode mode) const;
    // Changes the view; a mode that cannot be shown is refused and the view stays.
    void setMode(VisualizationMode mode);
    void setColorMode(ColorMode mode);
    void setHeightMode(HeightMode mode);
    void setHeightScale(float scale);
    void setDark(bool dark);
    void setAutoFrame(bool on);
    // The next (step 1) or previous (-1) mode, skipping those that read git outside a repository.
    void cycleColor(int step);
    void cycleHeight(int step);

    // A new folder leaves history and the graph for the city; outside a repository, the colouring
    // and heights that read git give way to language and lines, and come back in the next one.
    void folderChanged(const OpenFolder& folder) override;

signals:
    void modeChanged(VisualizationMode previous);
    void colorModeChanged();
    void heightModeChanged();
    void heightScaleChanged();
    void darkChanged();
    void autoFrameChanged();

private:
    VisualizationMode m_mode = VisualizationMode::city;
    ColorMode m_colorMode = ColorMode::language;
    HeightMode m_heightMode = HeightMode::lines;
    ColorMode m_chosenColorMode = ColorMode::language;
    HeightMode m_chosenHeightMode = HeightMode::lines;
    float m_heightScale = 1;
    bool m_dark = true;
    bool m_autoFrame = true;
    bool m_hasFolder = false;
    bool m_isGit = false;
};
