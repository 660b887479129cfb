#pragma once

#include "support/testsupport.h"

// Runs korvane under xvfb-run (a display of its own), with settings kept in a folder of the tests'
// unless XDG_CONFIG_HOME is given; without a display, it runs as on a machine that has none.
Outcome korvaneOnDisplay(
    const QStringList& arguments, const QHash<QString, QString>& variables = {}, bool display = true);
