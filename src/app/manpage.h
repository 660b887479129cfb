#pragma once

#include <QByteArray>
#include <QString>

// korvane(1), in roff: the commands and their synopses from the command table, then what the
// table does not hold (the environment, the files, the exit status). `date` is the release's day.
QByteArray manPage(const QString& version, const QString& date);
