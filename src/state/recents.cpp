#include "state/recents.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace {

const QString recentsKey = QStringLiteral("recents");

QSettings settings()
{
    return QSettings(QStringLiteral("Korvane"), QStringLiteral("Korvane"));
}

} // namespace

QString standardizedFolder(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

Recents::Recents(bool persistent, QObject* parent)
    : StateController(parent)
    , m_persistent(persistent)
{
    for (const QString& path : settings().value(recentsKey).toStringList()) {
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
        settings().setValue(recentsKey, recents);
    assign(m_recents, recents, &Recents::recentsChanged);
    setRecentIndex(0);
}

void Recents::setRecentIndex(int index)
{
    assign(m_recentIndex, std::clamp(index, 0, std::max(int(m_recents.size()) - 1, 0)),
        &Recents::recentIndexChanged);
}
