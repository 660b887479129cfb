#include "text/fuzzy.h"

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

QString Fuzzy::initials(QStringView name)
{
    QString result;
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
        if (result.isEmpty() || first || camel || afterAcronym)
            result += c.toLower();
        previous = c;
    }
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
