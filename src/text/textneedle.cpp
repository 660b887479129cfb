#include "text/textneedle.h"

#include <algorithm>
#include <cstring>

namespace {

inline unsigned char foldAscii(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? c | 0x20 : c;
}

} // namespace

TextNeedle::TextNeedle(QString text, bool caseSensitive)
    : m_text(std::move(text))
    , m_caseSensitive(caseSensitive)
    , m_bytes(m_text.toUtf8())
{
    const bool ascii = std::all_of(m_bytes.begin(), m_bytes.end(), [](char c) { return uchar(c) < 0x80; });
    // A U+FFFD in the needle may match bytes that only decoding turns into one; that needle, and an
    // ignored case beyond ASCII, take the decoding way.
    m_bytewise = (m_caseSensitive && !m_text.contains(QChar::ReplacementCharacter)) || ascii;
    if (m_caseSensitive || !m_bytewise)
        return;
    // Horspool's shifts over folded bytes: a byte that does not occur in the needle (before its last
    // place) moves the window past it, whichever case it has.
    const qsizetype n = m_bytes.size();
    const auto longest = uchar(std::min<qsizetype>(n, 255));
    std::fill(std::begin(m_skip), std::end(m_skip), longest);
    for (qsizetype i = 0; i + 1 < n; ++i) {
        const auto shift = uchar(std::min<qsizetype>(n - 1 - i, 255));
        const uchar c = uchar(m_bytes[i]);
        m_skip[c] = shift;
        if (c >= 'a' && c <= 'z')
            m_skip[c - 0x20] = shift;
    }
}

std::optional<TextNeedle> TextNeedle::make(QStringView query)
{
    const QString text = query.trimmed().toString();
    if (text.isEmpty())
        return std::nullopt;
    return TextNeedle(text, text != text.toLower());
}

QList<TextNeedle::Range> TextNeedle::ranges(QStringView text, qsizetype limit) const
{
    QList<Range> found;
    const Qt::CaseSensitivity cs = m_caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    qsizetype from = 0;
    while (found.size() < limit && from <= text.size()) {
        const qsizetype at = text.indexOf(m_text, from, cs);
        if (at < 0)
            break;
        found.append({ at, m_text.size() });
        from = at + m_text.size();
    }
    return found;
}

bool TextNeedle::inLine(QStringView line) const
{
    return line.contains(m_text, m_caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive);
}

qsizetype TextNeedle::lineCount(QStringView text) const
{
    const Qt::CaseSensitivity cs = m_caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    qsizetype count = 0;
    qsizetype from = 0;
    while (from <= text.size()) {
        const qsizetype at = text.indexOf(m_text, from, cs);
        if (at < 0)
            break;
        ++count;
        // The rest of the hit's line holds nothing more to count.
        const qsizetype end = text.indexOf(u'\n', at + m_text.size());
        if (end < 0)
            break;
        from = end + 1;
    }
    return count;
}

qsizetype TextNeedle::find(QByteArrayView haystack, qsizetype from) const
{
    const qsizetype n = m_bytes.size();
    const qsizetype size = haystack.size();
    if (size - from < n)
        return -1;
    const auto* text = reinterpret_cast<const uchar*>(haystack.data());
    const auto* needle = reinterpret_cast<const uchar*>(m_bytes.constData());
    if (m_caseSensitive) {
        const void* at = memmem(text + from, size_t(size - from), needle, size_t(n));
        return at ? static_cast<const uchar*>(at) - text : -1;
    }
    const uchar last = needle[n - 1];
    for (qsizetype at = from; at + n <= size;) {
        const uchar end = text[at + n - 1];
        if (foldAscii(end) == last) {
            qsizetype i = 0;
            while (i + 1 < n && foldAscii(text[at + i]) == needle[i])
                ++i;
            if (i + 1 >= n)
                return at;
        }
        at += m_skip[end];
    }
    return -1;
}

qsizetype TextNeedle::lineCount(QByteArrayView utf8) const
{
    if (!m_bytewise)
        return lineCount(QString::fromUtf8(utf8));
    qsizetype count = 0;
    qsizetype from = 0;
    const char* data = utf8.data();
    while (from < utf8.size()) {
        const qsizetype at = find(utf8, from);
        if (at < 0)
            break;
        ++count;
        const qsizetype after = at + m_bytes.size();
        const void* end = std::memchr(data + after, '\n', size_t(utf8.size() - after));
        if (!end)
            break;
        from = static_cast<const char*>(end) - data + 1;
    }
    return count;
}
