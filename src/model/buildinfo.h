#pragma once

#include <QString>

// What this build of Korvane is: its version, the commit of the source it was built from, and the
// id it has on the desktop (the name of its desktop entry, icon and AppStream metadata).
namespace BuildInfo {

QString version(); // "0.1.0"
// The abbreviated hash of the commit the build was made from, or empty when the source was not a
// git checkout (a tarball, say).
QString commit();
// The version with the commit, as --version and the About box show it: "0.1.0 (abc1234)".
QString versionText();
QString applicationId(); // "io.github.korvane.Korvane"

} // namespace BuildInfo
