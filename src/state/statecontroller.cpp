#include "state/statecontroller.h"

// Most controllers keep nothing about the folder.
void StateController::folderChanged(const OpenFolder&) { }
