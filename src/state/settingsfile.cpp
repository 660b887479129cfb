#include "state/settingsfile.h"

#include <QFile>
#include <QFileInfo>

namespace SettingsFile {

QSettings open()
{
    return QSettings(QStringLiteral("Korvane"), QStringLiteral("Korvane"));
}

QString path()
{
    return open().fileName();
}

namespace {

std::optional<QString> check()
{
    const QSettings settings = open();
    settings.childGroups(); // the file is read on first use, and only then is its status known
    switch (settings.status()) {
    case QSettings::NoError: return std::nullopt;
    case QSettings::AccessError:
        return QStringLiteral("the settings in ") + settings.fileName()
            + QStringLiteral(" cannot be read; starting from the defaults and leaving the file as it is");
    case QSettings::FormatError:
        return QStringLiteral("the settings in ") + settings.fileName()
            + QStringLiteral(" are damaged; starting from the defaults and leaving the file as it is "
                             "(korvane --reset-settings removes it)");
    }
    return std::nullopt;
}

} // namespace

// Read once: Qt reads the file once a process too, and a second look reports no fault.
std::optional<QString> problem()
{
    static const std::optional<QString> found = check();
    return found;
}

bool forget(QString* error)
{
    const QString file = path();
    if (!QFileInfo::exists(file) && !QFileInfo(file).isSymLink())
        return true;
    QFile settings(file);
    if (settings.remove())
        return true;
    *error = settings.errorString();
    return false;
}

} // namespace SettingsFile
