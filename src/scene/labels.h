#pragma once

#include <QRectF>
#include <QSize>
#include <QString>

#include <vector>

class FileNode;
class QPainter;
class SceneController;

// A name drawn over the scene, and the box it takes on screen.
struct SceneLabel {
    const FileNode* file = nullptr;
    QString text; // "src/", "t/ · 1,303 files" for a folder drawn whole, "main.c"
    QRectF box;
    int pixelSize = 11;
    bool folder = false;
};

// The names worth drawing over a scene of that size, none overlapping another or the selection's
// tag, and all inside the view: the selection's siblings when they are few, then the folders' lots
// (and the tree's folder discs), the largest on screen first, each in a size that follows how large
// it is on screen and only where the name is not much wider than it, then the tallest buildings.
std::vector<SceneLabel> placeLabels(const SceneController& scene, QSize view);

// Draws the names of placeLabels (unless the camera is moving, when they would only flicker), and
// the selected node's tag over a rendered scene of that size (in logical pixels): the name, a line
// of detail in the height mode's measure, and a leader down to the building. Shared by the window
// and offscreen images.
void paintLabels(QPainter& painter, const SceneController& scene, QSize view, bool moving = false);

// What the scene says in the middle of the view when it has nothing to show (a folder without a
// single file; in the graph view, files without a single import between them), or an empty string.
// paintLabels draws it.
QString emptySceneNote(const SceneController& scene);
