#include "text/fuzzy.h"

#include <algorithm>

QStringList Fuzzy::terms(QStringView query)
{
    QStringList list;
    qsizetype start = -1;
    for (qsizetype i = 0; i <= query.size(); ++i) {
        const bool gap = i == query.size() || query[i] == u' ' || query[i] == u'\t';
        if (!gap && start < 0)
            start = i;
        if (gap && start >= 0) {
            list.append(query.mid(start, i - start).toString().toLower());
            start = -1;
        }
    }
    return list;
}

QList<qsizetype> Fuzzy::wordStarts(QStringView name)
{
    QList<qsizetype> starts;
    QChar previous;
    for (qsizetype i = 0; i < name.size(); ++i) {
        const QChar c = name[i];
        if (!c.isLetterOrNumber()) {
            previous = c;
            continue;
        }
        const bool first = i == 0 || previous.isNull() || previous == u'-' || previous == u'_'
            || previous == u'.' || previous == u' ';
        const bool camel = c.isUpper() && previous.isLower();
        // The last capital of a run that goes on in lower case starts a word of its own: the P of
        // HTMLParser. A run of capitals is otherwise one word, since acronyms are typed as one letter.
        const bool afterAcronym
            = c.isUpper() && previous.isUpper() && i + 1 < name.size() && name[i + 1].isLower();
        if (starts.isEmpty() || first || camel || afterAcronym)
            starts.append(i);
        previous = c;
    }
    return starts;
}

QString Fuzzy::initials(QStringView name)
{
    QString result;
    for (const qsizetype at : wordStarts(name))
        result += name[at].toLower();
    return result;
}

bool Fuzzy::subsequence(QStringView term, QStringView name)
{
    qsizetype at = 0;
    for (const QChar c : term) {
        while (at < name.size() && name[at] != c)
            ++at;
        if (at == name.size())
            return false;
        ++at;
    }
    return true;
}

bool Fuzzy::termMatches(QStringView term, QStringView lowerName, QStringView initials)
{
    return lowerName.contains(term) || initials.contains(term) || subsequence(term, lowerName);
}

bool Fuzzy::matches(const QStringList& terms, QStringView name)
{
    if (terms.isEmpty())
        return false;
    const QString lower = name.toString().toLower();
    const QString first = initials(name);
    return std::all_of(
        terms.begin(), terms.end(), [&](const QString& term) { return termMatches(term, lower, first); });
}

QList<qsizetype> Fuzzy::positions(const QStringList& terms, QStringView name)
{
    const QString lower = name.toString().toLower();
    QList<qsizetype> starts;
    QString first;
    if (lower.size() == name.size()) { // lower-casing kept every character where it was
        starts = wordStarts(name);
        for (const qsizetype at : starts)
            first += lower[at];
    }
    QList<qsizetype> found;
    for (const QString& term : terms) {
        if (const qsizetype at = lower.indexOf(term); at >= 0) {
            for (qsizetype i = at; i < at + term.size(); ++i)
                found.append(i);
        } else if (const qsizetype word = first.indexOf(term); word >= 0) {
            for (qsizetype i = word; i < word + term.size(); ++i)
                found.append(starts[i]);
        } else {
            qsizetype at = 0;
            for (const QChar c : term) {
                while (at < lower.size() && lower[at] != c)
                    ++at;
                if (at == lower.size())
                    break;
                found.append(at++);
            }
        }
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    found.removeIf([&](qsizetype at) { return at >= name.size(); });
    return found;
}
