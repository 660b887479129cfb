#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

// Loose matching of part names, so that "drwpnl" finds drawPanel: a term matches a name that
// contains it, whose initials contain it, or that holds its letters in order. Every term of a query
// must match; there is no score, so matching parts keep their document order.
struct Fuzzy {
    // The query lower-cased and split at spaces and tabs, without empty pieces.
    static QStringList terms(QStringView query);
    // The lower-cased first character of each word: drawPanel → "dp", draw_panel_view → "dpv",
    // HTMLParser → "hp".
    static QString initials(QStringView name);
    // Where the words of the name start: the characters its initials are made of.
    static QList<qsizetype> wordStarts(QStringView name);
    // Whether the characters of `term` occur in `name` in the same order.
    static bool subsequence(QStringView term, QStringView name);
    static bool termMatches(QStringView term, QStringView lowerName, QStringView initials);
    // Whether every term matches; no terms match nothing (callers take an empty query as no filter).
    static bool matches(const QStringList& terms, QStringView name);
    // The characters of the name that the terms matched, in order, to show the match: a term's
    // contained run, else the word starts of its initials, else the letters of its subsequence.
    static QList<qsizetype> positions(const QStringList& terms, QStringView name);
};
