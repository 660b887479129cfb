#pragma once

#include <QByteArray>

#include <ostream>
#include <string>

// A row of a reader's table: a text, and what the reader makes of it written on one line.
struct ReaderRow {
    const char* name;
    QByteArray text;
    std::string expected;
};

inline void PrintTo(const ReaderRow& row, std::ostream* out)
{
    *out << row.name;
}
