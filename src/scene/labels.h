#pragma once

#include <QSize>
#include <QString>

class QPainter;
class SceneController;

// Draws the selected node's name tag over a rendered scene of that size (in logical pixels): the
// name, a line of detail in the height mode's measure, and a leader down to the building. Shared by
// the window and offscreen images.
void paintLabels(QPainter& painter, const SceneController& scene, QSize view);

// What the scene says in the middle of the view when it has nothing to show (a folder without a
// single file; in the graph view, files without a single import between them), or an empty string.
// paintLabels draws it.
QString emptySceneNote(const SceneController& scene);
