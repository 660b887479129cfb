#pragma once

#include "ui/snapshotcommand.h"

#include <QtGlobal>

// Which commit each frame of a replay shows: frame k stands at from + ⌊k·speed/fps⌋, and the last
// frame at `to`. Positions run from -1 (before the first commit) to the last commit.
struct ReplayPlan {
    qint64 from = -1;
    qint64 to = -1;
    double speed = 6; // commits a second
    int fps = 30;

    qint64 frameCount() const;
    qint64 positionAt(qint64 frame) const;
};

// `korvane replay`: plays a repository's history offscreen, frame by frame, into numbered PNG files
// in a folder or, through ffmpeg, into an .mp4 or .webm video. Returns the exit status (2 for a bad
// option). Needs a QApplication and a display.
int replayCommand(const SnapshotArguments& arguments);
