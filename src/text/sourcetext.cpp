#include "text/sourcetext.h"

#include <QString>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <cstring>

namespace SourceText {

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

} // namespace SourceText
