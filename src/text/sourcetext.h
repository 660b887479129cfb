#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <unordered_set>
#include <vector>

// Byte-level helpers the structure readers share. Every reader works on the UTF-8 bytes of a text:
// all the syntax they look for is ASCII, and no byte of a longer UTF-8 sequence is ASCII, so other
// characters pass through whole.
namespace SourceText {

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

// Line numbers of byte offsets: the offsets of every newline, searched by halving.
class LineIndex {
public:
    explicit LineIndex(QByteArrayView text);
    qint64 lineOf(qsizetype offset) const; // 0-based
    qint64 lineCount() const { return qint64(m_newlines.size()) + 1; }

private:
    std::vector<qsizetype> m_newlines;
};

// The words of a text joined by single spaces.
QByteArray collapsed(QByteArrayView text);
// Lower-case ASCII letters; other bytes as they are.
QByteArray lowered(QByteArrayView text);

// A text of `limit` characters or more cut to its first `keep` followed by "…". Characters are the
// ones people see (grapheme clusters), so an accent or an emoji is never cut in two.
QByteArray shortened(QByteArrayView utf8, qsizetype limit, qsizetype keep);
// Whether a UTF-8 text holds at least `count` characters as people see them.
bool hasAtLeastCharacters(QByteArrayView utf8, qsizetype count);

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

} // namespace SourceText
