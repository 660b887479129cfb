#include "model/terminal.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace Terminal {

QString row(const QString& label, const QString& value, qsizetype width)
{
    return label.leftJustified(width) + value + u'\n';
}

QString printable(const QString& text)
{
    const auto isControl
        = [](char16_t c) { return (c < 0x20 && c != u'\n' && c != u'\t') || (c >= 0x7f && c <= 0x9f); };
    if (std::none_of(text.begin(), text.end(), [&](QChar c) { return isControl(c.unicode()); }))
        return text;
    QString shown;
    shown.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (isControl(c.unicode()))
            shown += QStringLiteral("\\x%1").arg(int(c.unicode()), 2, 16, QChar(u'0'));
        else
            shown += c;
    }
    return shown;
}

void out(const QString& text)
{
    out(printable(text).toUtf8());
}

void out(const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

namespace {

void errRaw(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, size_t(utf8.size()), stderr);
}

} // namespace

void err(const QString& text)
{
    errRaw(printable(text));
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
    QString line = phase.leftJustified(22);
    if (total <= 0 && done > 0) {
        line += Format::grouped(done); // no end known: a count
    } else if (total > 0) {
        const int filled = int(width * std::min(done, total) / total);
        line += u'[' + QString(filled, u'#') + QString(width - filled, u'-') + QStringLiteral("] ")
            + Format::grouped(done) + u'/' + Format::grouped(total);
    }
    errRaw(u'\r' + printable(line) + QStringLiteral("\x1b[K"));
    std::fflush(stderr);
    m_drawn = true;
}

void Progress::finish()
{
    std::lock_guard lock(m_lock);
    if (m_drawn) {
        errRaw(QStringLiteral("\r\x1b[K"));
        std::fflush(stderr);
        m_drawn = false;
    }
}

} // namespace Terminal
