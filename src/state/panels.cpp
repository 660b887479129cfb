#include "state/panels.h"

#include <algorithm>

void Panels::setRailMode(RailMode mode)
{
    assign(m_railMode, mode, &Panels::railModeChanged);
}
void Panels::setShowDrawer(bool show)
{
    assign(m_showDrawer, show, &Panels::showDrawerChanged);
}
void Panels::setShowKeys(bool show)
{
    assign(m_showKeys, show, &Panels::showKeysChanged);
}
void Panels::setShowPreview(bool show)
{
    if (!show)
        setPreviewKeys(false);
    assign(m_showPreview, show, &Panels::showPreviewChanged);
}
void Panels::setPreviewKeys(bool on)
{
    assign(m_previewKeys, on && m_showPreview, &Panels::previewKeysChanged);
}
void Panels::setShowMinimap(bool show)
{
    assign(m_showMinimap, show, &Panels::showMinimapChanged);
}
void Panels::setHexMode(bool on)
{
    assign(m_hexMode, on, &Panels::hexModeChanged);
}
void Panels::setRawSource(bool on)
{
    assign(m_rawSource, on, &Panels::rawSourceChanged);
}
void Panels::setStructureTab(StructureTab tab)
{
    assign(m_structureTab, tab, &Panels::structureTabChanged);
}
void Panels::setShowPicker(bool show)
{
    assign(m_showPicker, show, &Panels::showPickerChanged);
}
void Panels::setShowRemote(bool show)
{
    assign(m_showRemote, show, &Panels::showRemoteChanged);
}
void Panels::setCaptureImage(bool on)
{
    assign(m_captureImage, on, &Panels::captureImageChanged);
}
void Panels::setFullScreen(bool on)
{
    assign(m_fullScreen, on, &Panels::fullScreenChanged);
}

void Panels::toggleWideDrawer()
{
    setShowDrawer(true);
    setDrawerWidth(m_drawerWidth == wideDrawerWidth ? narrowDrawerWidth : wideDrawerWidth);
}

void Panels::setDrawerWidth(double width)
{
    assign(m_drawerWidth, std::clamp(width, narrowDrawerWidth, wideDrawerWidth), &Panels::drawerWidthChanged);
}
