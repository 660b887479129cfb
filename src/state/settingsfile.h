#pragma once

#include <QSettings>
#include <QString>

#include <optional>

// The per-user file where the window keeps what it remembers between runs: the recent folders and
// how the window was left ($XDG_CONFIG_HOME/Korvane/Korvane.conf).
namespace SettingsFile {

QString path();
QSettings open();
// Why the file cannot be used, if it cannot, in one sentence. The window then starts from the
// defaults and leaves the file as it is, so that nothing in it is lost.
std::optional<QString> problem();
// Removes the file, and so everything the window remembers. False, with the reason, when it stays.
bool forget(QString* error);

} // namespace SettingsFile
