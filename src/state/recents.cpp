#include "state/recents.h"

#include "state/settingsfile.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QString recentsKey = QStringLiteral("recents");

} // namespace

QString standardizedFolder(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

Recents::Recents(bool persistent, QObject* parent)
    : StateController(parent)
    , m_persistent(persistent && !SettingsFile::problem())
{
    if (!m_persistent && persistent)
        return;
    for (const QString& path : SettingsFile::open().value(recentsKey).toStringList()) {
        if (!path.isEmpty() && m_recents.size() < maxRecents)
            m_recents.append(path);
    }
}

void Recents::remember(const QString& path)
{
    const QString folder = standardizedFolder(path);
    QStringList recents { folder };
    for (const QString& entry : std::as_const(m_recents)) {
        if (standardizedFolder(entry) != folder && recents.size() < maxRecents)
            recents.append(entry);
    }
    if (m_persistent)
        SettingsFile::open().setValue(recentsKey, recents);
    assign(m_recents, recents, &Recents::recentsChanged);
    setRecentIndex(0);
}

void Recents::setRecentIndex(int index)
{
    assign(m_recentIndex, std::clamp(index, 0, std::max(int(m_recents.size()) - 1, 0)),
        &Recents::recentIndexChanged);
}
