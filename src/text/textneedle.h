#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

// A text typed into a search field, found inside file contents. The case is smart: a query with any
// upper-case letter matches exactly, an all-lower-case one ignores case.
class TextNeedle {
public:
    struct Range {
        qsizetype start = 0; // in UTF-16 code units
        qsizetype length = 0;
        bool operator==(const Range&) const = default;
    };

    // None for a query that is blank once trimmed.
    static std::optional<TextNeedle> make(QStringView query);

    const QString& text() const { return m_text; }
    bool caseSensitive() const { return m_caseSensitive; }

    // The matches from the start of the text, each search resuming at the end of the last hit.
    QList<Range> ranges(QStringView text, qsizetype limit) const;
    // Lines ("\n"-separated) that hold at least one match, each counted once.
    qsizetype lineCount(QStringView text) const;
    // The same count over UTF-8 bytes, without decoding them when the needle allows it: exact
    // matching compares bytes, and an ASCII needle folds the case of ASCII bytes only.
    qsizetype lineCount(QByteArrayView utf8) const;
    // Whether one line holds a match.
    bool inLine(QStringView line) const;
    // Whether indexIn may be used: the needle matches UTF-8 bytes without their being decoded.
    bool bytewise() const { return m_bytewise; }
    // The first match at or after `from` in UTF-8 bytes, or -1; only for a bytewise needle.
    qsizetype indexIn(QByteArrayView utf8, qsizetype from) const { return find(utf8, from); }
    // The needle's length in UTF-8 bytes, as a bytewise match spans it.
    qsizetype byteLength() const { return m_bytes.size(); }

private:
    TextNeedle(QString text, bool caseSensitive);
    qsizetype find(QByteArrayView haystack, qsizetype from) const;

    QString m_text;
    bool m_caseSensitive = false;
    QByteArray m_bytes; // the UTF-8 needle; lower-cased when the case is ignored
    bool m_bytewise = false; // lineCount(QByteArrayView) may work on bytes
    unsigned char m_skip[256] {}; // the shift of a byte that ends a window, for the folded search
};
