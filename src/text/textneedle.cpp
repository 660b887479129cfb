#include "text/textneedle.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

inline unsigned char foldAscii(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? c | 0x20 : c;
}

#if defined(__SSE2__)
// The first place from `at` where the needle stands, looked for 16 places at a time while a whole
// block fits, `at` left where the blocks ended: the places whose first and last bytes match the
// needle's are compared whole by `matchesAt`. A letter of a folded (lower-case) needle is compared
// with the bit that makes a letter lower-case set, which lets other bytes through too, for
// `matchesAt` to turn away. -1 when no block holds it.
template <typename MatchesAt>
qsizetype findInBlocks(const uchar* text, qsizetype size, const uchar* needle, qsizetype n, bool folded,
    qsizetype* at, const MatchesAt& matchesAt)
{
    const auto foldBit = [&](uchar c) { return char(folded && c >= 'a' && c <= 'z' ? 0x20 : 0); };
    const __m128i first = _mm_set1_epi8(char(needle[0]));
    const __m128i last = _mm_set1_epi8(char(needle[n - 1]));
    const __m128i foldFirst = _mm_set1_epi8(foldBit(needle[0]));
    const __m128i foldLast = _mm_set1_epi8(foldBit(needle[n - 1]));
    for (; *at + n - 1 + 16 <= size; *at += 16) {
        const __m128i starts
            = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text + *at)), foldFirst);
        const __m128i ends
            = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text + *at + n - 1)), foldLast);
        auto candidates = unsigned(
            _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(starts, first), _mm_cmpeq_epi8(ends, last))));
        for (; candidates; candidates &= candidates - 1) {
            const qsizetype place = *at + std::countr_zero(candidates);
            if (matchesAt(place))
                return place;
        }
    }
    return -1;
}
#endif

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
    qsizetype rest = from;
#if defined(__SSE2__)
    const auto matchesAt = [&](qsizetype at) {
        if (m_caseSensitive)
            return std::memcmp(text + at, needle, size_t(n)) == 0;
        for (qsizetype i = 0; i < n; ++i) {
            if (foldAscii(text[at + i]) != needle[i])
                return false;
        }
        return true;
    };
    if (const qsizetype at = findInBlocks(text, size, needle, n, !m_caseSensitive, &rest, matchesAt); at >= 0)
        return at;
#endif
    // The places left, fewer than a block, or all of them without vector instructions.
    if (m_caseSensitive) {
        const void* at = memmem(text + rest, size_t(size - rest), needle, size_t(n));
        return at ? static_cast<const uchar*>(at) - text : -1;
    }
    const uchar last = needle[n - 1];
    for (qsizetype at = rest; at + n <= size;) {
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
