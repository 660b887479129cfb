#include "terminal.h"

#include <cstdio>

#include <unistd.h>

namespace Terminal {

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

QString row(const QString& label, const QString& value, qsizetype width)
{
    return label.leftJustified(width) + value + u'\n';
}

void out(const QString& text)
{
    out(text.toUtf8());
}

void out(const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

void err(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, size_t(utf8.size()), stderr);
}

Progress::Progress()
    : m_enabled(isatty(STDERR_FILENO) == 1)
{
}

Progress::~Progress()
{
    finish();
}

void Progress::update(const QString& phase, qint64 done, qint64 total)
{
    if (!m_enabled)
        return;
    std::lock_guard lock(m_lock);
    constexpr int width = 30;
    QString line = u'\r' + phase.leftJustified(22);
    if (total <= 0 && done > 0) {
        line += grouped(done); // no end known: a count
    } else if (total > 0) {
        const int filled = int(width * std::min(done, total) / total);
        line += u'[' + QString(filled, u'#') + QString(width - filled, u'-') + QStringLiteral("] ")
            + grouped(done) + u'/' + grouped(total);
    }
    err(line + QStringLiteral("\x1b[K"));
    std::fflush(stderr);
    m_drawn = true;
}

void Progress::finish()
{
    std::lock_guard lock(m_lock);
    if (m_drawn) {
        err(QStringLiteral("\r\x1b[K"));
        std::fflush(stderr);
        m_drawn = false;
    }
}

} // namespace Terminal
