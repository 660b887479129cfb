#pragma once

#include "scene/theme.h"
#include "state/modes.h"

// The inputs of one build of the scene; a build with an equal config gives the same scene.
struct SceneConfig {
    VisualizationMode mode = VisualizationMode::city;
    ColorMode color = ColorMode::language;
    HeightMode height = HeightMode::lines;
    float heightScale = 1; // handed to the layout as its scale
    Theme theme = Theme::darkPalette();
    // The scene is one file's parts, not a folder's files: containers are named without a folder's
    // slash and counted in parts.
    bool parts = false;

    bool operator==(const SceneConfig& other) const = default;
};
