#pragma once

#include "layout/layoutresult.h"

#include <QPointF>
#include <QSizeF>
#include <QString>

#include <optional>
#include <vector>

class FileNode;

enum class CameraAction {
    turnLeft,
    turnRight,
    tiltUp,
    tiltDown,
    panLeft,
    panRight,
    panUp,
    panDown,
    zoomIn,
    zoomOut,
    home,
    frame,
    perspective
};

// An entity drawn in the scene and not hidden, with its point on the screen (y grows downward).
struct VisibleEntity {
    const FileNode* file = nullptr;
    PlacementKind kind = PlacementKind::building;
    QPointF point;
};

// What the state needs from the window that shows it: where things are on the screen, the camera,
// and the desktop. The window implements it; tests supply their own points.
class SceneHost {
public:
    virtual ~SceneHost() = default;

    virtual QSizeF viewSize() const = 0;
    // The screen point of the node's visible entity, if it has one.
    virtual std::optional<QPointF> screenPoint(const FileNode& node) const = 0;
    virtual std::vector<VisibleEntity> visibleEntities() const = 0;

    // Keeps the camera on the node (follow) or zooms to it (frame).
    virtual void focus(const FileNode& node, bool follow, bool frame) = 0;
    virtual void camera(CameraAction action) = 0;

    virtual void beep() = 0;
    // Opens a file in the editor the user named, at the line when one is given (from 1; 0 for
    // none), or else with the desktop's program for its type, and a folder with the desktop's
    // program for folders; says why when nothing can.
    virtual std::optional<QString> openExternally(const QString& path, int line) = 0;
    // Shows a file or folder selected in the file manager, or else opens the folder that holds it;
    // says why when nothing can.
    virtual std::optional<QString> revealExternally(const QString& path) = 0;
};
