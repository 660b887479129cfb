#include "model/buildinfo.h"

// BuildInfo::commit() is defined in buildcommit.cpp, which the build writes anew whenever the
// checkout's HEAD moves, so that a new commit recompiles that one file and nothing else.
namespace BuildInfo {

QString version()
{
    return QStringLiteral(KORVANE_VERSION);
}

QString versionText()
{
    const QString hash = commit();
    return hash.isEmpty() ? version() : version() + QStringLiteral(" (") + hash + u')';
}

QString applicationId()
{
    return QStringLiteral(KORVANE_APP_ID);
}

} // namespace BuildInfo
