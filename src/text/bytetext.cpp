#include "text/bytetext.h"

#include <QChar>
#include <QString>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <cstring>

namespace ByteText {

LineIndex::LineIndex(QByteArrayView text)
{
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    for (const char* at = begin; at < end;) {
        const auto* newline = static_cast<const char*>(std::memchr(at, '\n', size_t(end - at)));
        if (!newline)
            break;
        m_newlines.push_back(newline - begin);
        at = newline + 1;
    }
}

qint64 LineIndex::lineOf(qsizetype offset) const
{
    return std::lower_bound(m_newlines.begin(), m_newlines.end(), offset) - m_newlines.begin();
}

QByteArray collapsed(QByteArrayView text)
{
    QByteArray out;
    out.reserve(text.size());
    bool pendingSpace = false;
    for (const char c : text) {
        if (isSpace(c)) {
            pendingSpace = !out.isEmpty();
            continue;
        }
        if (pendingSpace)
            out += ' ';
        pendingSpace = false;
        out += c;
    }
    return out;
}

QByteArray lowered(QByteArrayView text)
{
    QByteArray out(text.data(), text.size());
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    }
    return out;
}

namespace {

// A grapheme cluster of real text takes a few bytes, a few dozen at the very most: a text this many
// times longer than a count of characters surely holds that many.
constexpr qsizetype bytesPerCharacterAtMost = 64;

// The byte length of the first `count` characters of a UTF-8 text that holds more.
qsizetype prefixOfCharacters(QByteArrayView utf8, qsizetype count)
{
    const QString text
        = QString::fromUtf8(utf8.first(std::min(utf8.size(), count * bytesPerCharacterAtMost)));
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype position = 0;
    for (qsizetype seen = 0; seen < count; ++seen) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0)
            break;
        position = next;
    }
    return QStringView(text).first(position).toUtf8().size();
}

} // namespace

bool hasAtLeastCharacters(QByteArrayView utf8, qsizetype count)
{
    if (utf8.size() < count)
        return false; // no character takes less than a byte
    qsizetype codePoints = 0;
    for (const char c : utf8)
        codePoints += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    if (codePoints < count)
        return false;
    if (codePoints == utf8.size())
        return true; // ASCII: one byte, one character
    // Combining marks join code points into one character: count clusters, the slow way.
    const QString text = QString::fromUtf8(utf8);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype seen = 0;
    while (finder.toNextBoundary() >= 0) {
        if (++seen >= count)
            return true;
    }
    return false;
}

QByteArray shortened(QByteArrayView utf8, qsizetype limit, qsizetype keep)
{
    if (!utf8.isValidUtf8()) // repaired first, so that characters map to bytes one way only
        return shortened(QString::fromUtf8(utf8).toUtf8(), limit, keep);
    if (utf8.size() <= limit * bytesPerCharacterAtMost && !hasAtLeastCharacters(utf8, limit))
        return utf8.toByteArray();
    return utf8.first(std::min(utf8.size(), prefixOfCharacters(utf8, keep))).toByteArray() + "…";
}

QByteArrayView unquoted(QByteArrayView token)
{
    if (token.isEmpty())
        return token;
    const char quote = token.front();
    if (quote != '"' && quote != '\'' && quote != '`')
        return token;
    token = token.sliced(1);
    if (!token.isEmpty() && token.back() == quote)
        token.chop(1);
    return token;
}

UniqueNames::UniqueNames(QByteArrayList& list)
    : m_list(list)
{
    for (const QByteArray& name : std::as_const(list))
        m_seen.insert(view(name));
}

void UniqueNames::add(QByteArrayView name)
{
    if (name.isEmpty() || m_seen.count(view(name)))
        return;
    m_list.append(name.toByteArray());
    m_seen.insert(view(m_list.constLast()));
}

QByteArrayView trimmed(QByteArrayView text)
{
    qsizetype start = 0, end = text.size();
    while (start < end && (text[start] == ' ' || text[start] == '\t'))
        ++start;
    while (end > start && (text[end - 1] == ' ' || text[end - 1] == '\t'))
        --end;
    return text.sliced(start, end - start);
}

qsizetype characters(QByteArrayView text, qsizetype limit)
{
    if (text.size() <= limit)
        return text.size(); // never more code points than bytes: no need to look closer
    qsizetype count = 0;
    for (const char byte : text) {
        if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80 && ++count > limit)
            break;
    }
    return count;
}

std::vector<QByteArrayView> split(QByteArrayView text, char separator, Qt::SplitBehavior behavior)
{
    std::vector<QByteArrayView> pieces;
    qsizetype start = 0;
    while (true) {
        const qsizetype at = text.indexOf(separator, start);
        const QByteArrayView piece = text.sliced(start, (at < 0 ? text.size() : at) - start);
        if (!piece.isEmpty() || behavior == Qt::KeepEmptyParts)
            pieces.push_back(piece);
        if (at < 0)
            return pieces;
        start = at + 1;
    }
}

char32_t decode(const char*& p, const char* end)
{
    const auto lead = static_cast<unsigned char>(*p);
    if (lead < 0x80) {
        ++p;
        return lead;
    }
    int length = 0;
    char32_t c = 0;
    char32_t least = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, c = lead & 0x1F, least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, c = lead & 0x0F, least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, c = lead & 0x07, least = 0x10000;
    } else {
        ++p;
        return 0xFFFD;
    }
    if (end - p < length) {
        ++p;
        return 0xFFFD;
    }
    for (int i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(p[i]);
        if ((next & 0xC0) != 0x80) {
            ++p;
            return 0xFFFD;
        }
        c = (c << 6) | (next & 0x3F);
    }
    if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        ++p;
        return 0xFFFD;
    }
    p += length;
    return c;
}

bool isWordCharacter(char32_t c)
{
    if (c < 0x80)
        return isLetter(char(c)) || isDigit(char(c)) || c == '_';
    return c != 0xFFFD && QChar::isLetterOrNumber(c);
}

QByteArrayView leadingWord(QByteArrayView text)
{
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p < end) {
        const char* at = p;
        if (!isWordCharacter(decode(p, end))) {
            p = at;
            break;
        }
    }
    return text.first(p - text.data());
}

void forEachWord(QByteArrayView text, const std::function<void(QByteArrayView, qsizetype, bool)>& visit)
{
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p < end) {
        const char* start = p;
        const char32_t first = decode(p, end);
        if (!isWordCharacter(first))
            continue;
        const bool capitalised = first < 0x80 ? (first >= 'A' && first <= 'Z') : QChar::isUpper(first);
        qsizetype count = 1;
        while (p < end) {
            const char* at = p;
            if (!isWordCharacter(decode(p, end))) {
                p = at;
                break;
            }
            ++count;
        }
        visit(QByteArrayView(start, p - start), count, capitalised);
    }
}

std::string lower(QByteArrayView text)
{
    const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
    const QByteArray folded = ascii ? lowered(text) : QString::fromUtf8(text).toLower().toUtf8();
    return std::string(folded.constData(), size_t(folded.size()));
}

} // namespace ByteText
