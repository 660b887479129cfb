#include "model/terminal.h"

#include <cstdio>

#include <unistd.h>

namespace Terminal {

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
        line += Format::grouped(done); // no end known: a count
    } else if (total > 0) {
        const int filled = int(width * std::min(done, total) / total);
        line += u'[' + QString(filled, u'#') + QString(width - filled, u'-') + QStringLiteral("] ")
            + Format::grouped(done) + u'/' + Format::grouped(total);
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
