#pragma once

#include <QStringView>

// The desktop's order for names: digit runs compare by value and case is ignored
// ("file2" before "file10"). Safe from any thread.
int naturalCompare(QStringView a, QStringView b);
