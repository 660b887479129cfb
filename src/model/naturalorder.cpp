#include "model/naturalorder.h"

#include <QCollator>
#include <QLocale>

namespace {

QCollator makeCollator()
{
    // Qt compares plainly in the C locale, without numeric mode; fall back to a real one there.
    QLocale locale;
    if (locale.language() == QLocale::C)
        locale = QLocale(QLocale::English, QLocale::UnitedStates);
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

const QCollator& threadCollator()
{
    thread_local const QCollator collator = makeCollator();
    return collator;
}

} // namespace

int naturalCompare(QStringView a, QStringView b)
{
    return threadCollator().compare(a, b);
}

QCollatorSortKey naturalSortKey(const QString& name)
{
    return threadCollator().sortKey(name);
}
