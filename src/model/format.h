#pragma once

#include <QString>
#include <QStringView>

// Numbers, sizes and times written for people, the same in the window and on the terminal.
namespace Format {

QString grouped(qint64 number); // 1234567 -> "1,234,567"
QString bytes(qint64 size); // 1536 -> "1.5 KiB"
QString count(qint64 number, QStringView unit); // (1, u"line") -> "1 line", (2, …) -> "2 lines"
QString date(qint64 secondsSince1970); // "2026-11-23 14:05", in local time
QString path(const QString& path); // the home folder as "~": "~/src/korvane"

} // namespace Format
