#include "state/preferences.h"

#include "state/appstate.h"
#include "state/settingsfile.h"

#include <cmath>

namespace {

const QString themeKey = QStringLiteral("window/theme");
const QString colorKey = QStringLiteral("window/color");
const QString heightKey = QStringLiteral("window/height");
const QString railKey = QStringLiteral("window/rail");
const QString drawerKey = QStringLiteral("window/drawer");
const QString drawerWidthKey = QStringLiteral("window/drawerWidth");
const QString previewKey = QStringLiteral("window/preview");
const QString minimapKey = QStringLiteral("window/minimap");
const QString geometryKey = QStringLiteral("window/geometry");

// A value the file holds in a form Korvane writes; anything else is left at its default.
std::optional<bool> boolean(const QVariant& value)
{
    const QString text = value.toString();
    if (text == u"true" || text == u"false")
        return text == u"true";
    return std::nullopt;
}

template <typename Mode> std::optional<Mode> mode(const QVariant& value)
{
    return value.isValid() ? modeFromName<Mode>(value.toString()) : std::nullopt;
}

} // namespace

Preferences::Preferences(AppState& state, QObject* parent)
    : QObject(parent)
    , m_problem(SettingsFile::problem())
{
    if (m_problem)
        return;
    restore(state);
    follow(state);
}

void Preferences::restore(AppState& state)
{
    const QSettings settings = SettingsFile::open();
    DisplaySettings& display = state.display();
    Panels& panels = state.panels();
    if (const QString theme = settings.value(themeKey).toString(); theme == u"dark" || theme == u"light")
        display.setDark(theme == u"dark");
    if (const auto color = mode<ColorMode>(settings.value(colorKey)))
        display.setColorMode(*color);
    if (const auto height = mode<HeightMode>(settings.value(heightKey)))
        display.setHeightMode(*height);
    if (const auto rail = mode<RailMode>(settings.value(railKey)))
        panels.setRailMode(*rail);
    if (const auto drawer = boolean(settings.value(drawerKey)))
        panels.setShowDrawer(*drawer);
    bool number = false;
    if (const double width = settings.value(drawerWidthKey).toDouble(&number); number && std::isfinite(width))
        panels.setDrawerWidth(width);
    if (const auto preview = boolean(settings.value(previewKey)))
        panels.setShowPreview(*preview);
    if (const auto minimap = boolean(settings.value(minimapKey)))
        panels.setShowMinimap(*minimap);
}

void Preferences::follow(AppState& state)
{
    const DisplaySettings& display = state.display();
    const Panels& panels = state.panels();
    connect(&display, &DisplaySettings::darkChanged, this, [this, &display] {
        write(themeKey, display.dark() ? QStringLiteral("dark") : QStringLiteral("light"));
    });
    connect(&display, &DisplaySettings::colorModeChanged, this,
        [this, &display] { write(colorKey, modeName(display.chosenColorMode())); });
    connect(&display, &DisplaySettings::heightModeChanged, this,
        [this, &display] { write(heightKey, modeName(display.chosenHeightMode())); });
    connect(&panels, &Panels::railModeChanged, this,
        [this, &panels] { write(railKey, modeName(panels.railMode())); });
    connect(&panels, &Panels::showDrawerChanged, this,
        [this, &panels] { write(drawerKey, panels.showDrawer()); });
    connect(&panels, &Panels::drawerWidthChanged, this,
        [this, &panels] { write(drawerWidthKey, panels.drawerWidth()); });
    connect(&panels, &Panels::showPreviewChanged, this,
        [this, &panels] { write(previewKey, panels.showPreview()); });
    connect(&panels, &Panels::showMinimapChanged, this,
        [this, &panels] { write(minimapKey, panels.showMinimap()); });
}

void Preferences::write(const QString& key, const QVariant& value)
{
    if (!m_problem)
        SettingsFile::open().setValue(key, value);
}

QByteArray Preferences::windowGeometry() const
{
    return m_problem ? QByteArray() : SettingsFile::open().value(geometryKey).toByteArray();
}

void Preferences::rememberWindowGeometry(const QByteArray& geometry)
{
    write(geometryKey, geometry);
}
