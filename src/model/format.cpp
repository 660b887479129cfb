#include "model/format.h"

#include <QDateTime>
#include <QDir>

namespace Format {

QString grouped(qint64 number)
{
    QString digits = QString::number(number < 0 ? -number : number);
    for (qsizetype at = digits.size() - 3; at > 0; at -= 3)
        digits.insert(at, u',');
    return number < 0 ? u'-' + digits : digits;
}

QString bytes(qint64 size)
{
    static const char* units[] = { "KiB", "MiB", "GiB", "TiB" };
    if (size < 1024)
        return QString::number(size) + QStringLiteral(" B");
    double value = double(size);
    int unit = -1;
    while (value >= 1024 && unit < 3) {
        value /= 1024;
        ++unit;
    }
    return QString::number(value, 'f', 1) + u' ' + QString::fromLatin1(units[unit]);
}

QString count(qint64 number, QStringView unit)
{
    return grouped(number) + u' ' + unit + (number == 1 ? QString() : QStringLiteral("s"));
}

QString date(qint64 secondsSince1970)
{
    return QDateTime::fromSecsSinceEpoch(secondsSince1970).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString path(const QString& path)
{
    const QString home = QDir::homePath();
    if (path == home)
        return QStringLiteral("~");
    return path.startsWith(home + u'/') ? u'~' + path.mid(home.size()) : path;
}

} // namespace Format
