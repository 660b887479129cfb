#pragma once

#include <QString>

class QWidget;

// What Korvane is and what it runs on, for a user who reports a problem: the version and the
// commit it was built from, the Qt it runs on, and what draws the city ("llvmpipe" means the
// processor draws it, which is slow).
QString aboutDetails(const QString& driver);
// The About box, over the window; it does not block the window's event loop.
void showAboutBox(QWidget* window, const QString& driver);
