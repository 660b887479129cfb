#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Handing files to the rest of the desktop: the user's editor, the program for a file's type, and
// the file manager.
namespace Desktop {

// The command that opens a file at a line in the editor `editor` names (KORVANE_EDITOR's text,
// split as a shell would). "{file}" and "{line}" in it are replaced; without them, editors known to
// take "+LINE FILE" or "FILE:LINE" get that form, and any other the file alone. Line 0 means none.
// Empty when the text names no program.
QStringList editorCommand(const QString& editor, const QString& file, int line);

// The desktop entries ("org.gnome.TextEditor.desktop") that open files of a MIME type, or of a type
// it derives from, as the associations in the configuration and data folders list them, keeping
// only those installed.
QStringList handlers(const QString& mimeType);

// Opens a file in KORVANE_EDITOR when it is set, else with the program for its type, and a folder
// with the desktop's program for folders. Says why when nothing can open it.
std::optional<QString> open(const QString& path, int line);

// Asks the file manager to show the file or folder selected; when no file manager answers, opens
// the folder holding it instead. Says at once why nothing can show it. The file manager answers
// later: when it turns the request down, the folder is opened, and if that fails too, `failed`
// hears why, unless `context` is gone by then.
std::optional<QString> reveal(
    const QString& path, QObject* context, std::function<void(const QString&)> failed);

} // namespace Desktop
