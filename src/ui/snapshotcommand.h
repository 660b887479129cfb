#pragma once

#include <QHash>
#include <QSet>
#include <QString>

// `korvane snapshot`, read by the command line and drawn by the window: the folder, the flags given
// and the options with their values, as the command table spelled them.
struct SnapshotArguments {
    QString path;
    QSet<QString> flags;
    QHash<QString, QString> options;
};

// Draws the folder into an image as the options say; returns the exit status (2 for a bad option).
// Needs a QApplication and a display.
int snapshotCommand(const SnapshotArguments& arguments);
