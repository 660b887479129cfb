#pragma once

#include "ui/snapshotcommand.h"

// `korvane preview FILE --out IMAGE`: the preview panel alone, drawn into an image as the options
// say, without a window on the screen. Returns the exit status (2 for a bad option). Needs a
// QApplication.
int previewCommand(const SnapshotArguments& arguments);
