#pragma once

#include <QByteArrayView>

#include <functional>
#include <string>
#include <vector>

// Small tools for reading UTF-8 text as bytes: the import reader never decodes a whole file, and
// looks at code points only where a byte is not ASCII.
namespace Utf8Text {

// Without leading and trailing spaces and tabs.
QByteArrayView trimmed(QByteArrayView text);

// The number of code points, counted no further than `limit` + 1, so that a long text costs no more
// than the limit it is tested against.
qsizetype characters(QByteArrayView text, qsizetype limit);

std::vector<QByteArrayView> split(
    QByteArrayView text, char separator, Qt::SplitBehavior behavior = Qt::KeepEmptyParts);

// Calls line(piece) for each non-empty piece between line breaks ("\n", "\r" or both) until it
// returns false.
template <typename Visit> void forEachLine(QByteArrayView text, const Visit& line)
{
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p < end) {
        const char* stop = p;
        while (stop < end && *stop != '\n' && *stop != '\r')
            ++stop;
        if (stop > p && !line(QByteArrayView(p, stop - p)))
            return;
        p = stop + 1;
    }
}

// The code point at p (advancing p past it); a byte that does not start a valid sequence reads as
// U+FFFD, one byte long.
char32_t decode(const char*& p, const char* end);

// A letter, digit or underscore, in any script.
bool isWordCharacter(char32_t c);

// The run of word characters the text begins with.
QByteArrayView leadingWord(QByteArrayView text);

// Calls visit(word, characters, capitalised) for each maximal run of word characters; capitalised
// when its first character is an upper-case letter.
void forEachWord(QByteArrayView text, const std::function<void(QByteArrayView, qsizetype, bool)>& visit);

// Lower case, as the lookups of names and paths key them; ASCII without a detour through QString.
std::string lower(QByteArrayView text);

} // namespace Utf8Text
