#pragma once

#include "scene/theme.h"

class QWidget;

// Colours the window's widgets from the palette, so that both themes reach every panel.
void applyTheme(QWidget& window, const Theme& theme);

// "#rrggbb" for style sheets and rich text.
QString cssColor(const QColor& color);
