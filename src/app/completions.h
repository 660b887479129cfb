#pragma once

#include <QByteArray>

// Shell completions for korvane, written from the command table: the commands, each one's flags
// and options, the words an option's value can be (read from its synopsis), and folders or files
// where the synopsis asks for a PATH or a FILE.
QByteArray bashCompletion();
QByteArray zshCompletion();
QByteArray fishCompletion();
