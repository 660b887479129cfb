#include "text/utf8text.h"

#include <QChar>
#include <QString>

#include <algorithm>

namespace Utf8Text {

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
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
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
    std::string out(text.data(), size_t(text.size()));
    const bool ascii = std::all_of(out.begin(), out.end(), [](char c) { return (c & 0x80) == 0; });
    if (!ascii) {
        const QByteArray folded = QString::fromUtf8(text).toLower().toUtf8();
        return std::string(folded.constData(), size_t(folded.size()));
    }
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    }
    return out;
}

} // namespace Utf8Text
