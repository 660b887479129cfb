#pragma once

#include <QCollatorSortKey>
#include <QStringView>

// The desktop's order for names: digit runs compare by value and case is ignored
// ("file2" before "file10"). Safe from any thread.
int naturalCompare(QStringView a, QStringView b);
// The same order as bytes to compare: for sorting many names, where making each key once costs
// less than asking the collator for every pair. Keys from different threads compare alike.
QCollatorSortKey naturalSortKey(const QString& name);
