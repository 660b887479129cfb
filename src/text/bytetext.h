#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>

#include <algorithm>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

// Byte-level helpers for reading UTF-8 text, shared by the structure readers and the import reader.
// All the syntax they look for is ASCII, and no byte of a longer UTF-8 sequence is ASCII, so other
// characters pass through whole; code points are decoded only where a byte is not ASCII.
namespace ByteText {

inline bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}
inline bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
// A byte of a non-ASCII character counts as a letter, so identifiers in any script stay whole.
inline bool isWordStart(char c)
{
    return isLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
inline bool isWordByte(char c)
{
    return isWordStart(c) || isDigit(c);
}
inline bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

inline std::string_view view(QByteArrayView bytes)
{
    return { bytes.data(), size_t(bytes.size()) };
}

// Whether a word is one of a few.
inline bool among(QByteArrayView word, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), view(word)) != words.end();
}

// Lines.

// The offset of the first newline at or after `at`, or the end of the text.
inline qsizetype lineEnd(QByteArrayView text, qsizetype at)
{
    const void* newline = std::memchr(text.data() + at, '\n', size_t(text.size() - at));
    return newline ? static_cast<const char*>(newline) - text.data() : text.size();
}

// The number of lines of a text whose line ends are "\n"; an empty text is one empty line.
inline qint64 lineCount(QByteArrayView text)
{
    return text.count('\n') + 1;
}

// Line numbers of byte offsets: the offsets of every newline, searched by halving.
class LineIndex {
public:
    explicit LineIndex(QByteArrayView text);
    qint64 lineOf(qsizetype offset) const; // 0-based
    qint64 lineCount() const { return qint64(m_newlines.size()) + 1; }

private:
    std::vector<qsizetype> m_newlines;
};

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

// Pieces and spaces.

// Without leading and trailing spaces and tabs.
QByteArrayView trimmed(QByteArrayView text);
// The words of a text joined by single spaces.
QByteArray collapsed(QByteArrayView text);

std::vector<QByteArrayView> split(
    QByteArrayView text, char separator, Qt::SplitBehavior behavior = Qt::KeepEmptyParts);

// Case.

// Lower-case ASCII letters; other bytes as they are.
QByteArray lowered(QByteArrayView text);
// Lower case in any script, as the lookups of names and paths key them; ASCII without a detour
// through QString.
std::string lower(QByteArrayView text);

// Characters.

// The number of code points, counted no further than `limit` + 1, so that a long text costs no more
// than the limit it is tested against.
qsizetype characters(QByteArrayView text, qsizetype limit);
// Whether a UTF-8 text holds at least `count` characters as people see them.
bool hasAtLeastCharacters(QByteArrayView utf8, qsizetype count);
// A text of `limit` characters or more cut to its first `keep` followed by "…". Characters are the
// ones people see (grapheme clusters), so an accent or an emoji is never cut in two.
QByteArray shortened(QByteArrayView utf8, qsizetype limit, qsizetype keep);

// The code point at p (advancing p past it); a byte that does not start a valid sequence reads as
// U+FFFD, one byte long.
char32_t decode(const char*& p, const char* end);

// Words in any script.

// A letter, digit or underscore, in any script.
bool isWordCharacter(char32_t c);
// The run of word characters the text begins with.
QByteArrayView leadingWord(QByteArrayView text);
// Calls visit(word, characters, capitalised) for each maximal run of word characters; capitalised
// when its first character is an upper-case letter.
void forEachWord(QByteArrayView text, const std::function<void(QByteArrayView, qsizetype, bool)>& visit);

// Quoted strings.

// Past the quote that closes the string whose opening quote is at `at`. A backslash escapes the next
// byte; a newline ends the string unclosed, and so does the end of the text.
inline qsizetype quotedEnd(QByteArrayView text, qsizetype at)
{
    const char quote = text[at];
    qsizetype i = at + 1;
    while (i < text.size()) {
        const char c = text[i];
        if (c == '\\')
            i += 2;
        else if (c == quote)
            return i + 1;
        else if (c == '\n')
            return i;
        else
            ++i;
    }
    return text.size();
}

// The text inside a quoted token: quotes removed, escapes kept as written.
QByteArrayView unquoted(QByteArrayView token);

// Appends names to a list, each once, in first-seen order. Lookups are views into the names the
// list already holds, whose bytes stay put while the list grows.
class UniqueNames {
public:
    explicit UniqueNames(QByteArrayList& list);
    void add(QByteArrayView name);

private:
    QByteArrayList& m_list;
    std::unordered_set<std::string_view> m_seen;
};

// Pairs the brackets of a token list: for an opener the index of its closer (the token count when it
// never closes), for a closer the index of its opener (-1 when stray), -1 for anything else.
// `bracketAt(i)` gives the bracket character of token i, or 0. A closer that meets brackets of
// other kinds left open closes them too, so one missing ")" does not swallow the rest of the text.
template <typename BracketAt> std::vector<qint32> matchBrackets(qsizetype count, BracketAt bracketAt)
{
    const auto kindOf = [](char c) { return c == '(' || c == ')' ? 0 : c == '[' || c == ']' ? 1 : 2; };
    std::vector<qint32> match(size_t(count), -1);
    std::vector<qint32> open;
    qsizetype openOfKind[3] = {};
    for (qint32 i = 0; i < qint32(count); ++i) {
        const char c = bracketAt(i);
        if (c == '(' || c == '[' || c == '{') {
            open.push_back(i);
            ++openOfKind[kindOf(c)];
        } else if ((c == ')' || c == ']' || c == '}') && openOfKind[kindOf(c)] > 0) {
            for (;;) {
                const qint32 opener = open.back();
                open.pop_back();
                const int kind = kindOf(bracketAt(opener));
                --openOfKind[kind];
                match[size_t(opener)] = i;
                if (kind == kindOf(c)) {
                    match[size_t(i)] = opener;
                    break;
                }
            }
        }
    }
    for (const qint32 opener : open)
        match[size_t(opener)] = qint32(count);
    return match;
}

} // namespace ByteText
