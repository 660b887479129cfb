#pragma once

#include <QHashFunctions>
#include <QList>
#include <QString>

#include <cstdint>

enum class CommentStyle { cLike, hash, dashes, markup, none };

// A file's language, decided by its name alone. There is one Language object per name for the
// program's lifetime, so it is handed around by reference or pointer; equality is by name.
struct Language {
    QString name;
    std::uint32_t darkColor; // 0xRRGGBB, sRGB
    std::uint32_t lightColor;
    CommentStyle comment;
    bool isBinary;

    bool operator==(const Language& other) const { return name == other.name; }
};

inline size_t qHash(const Language& language, size_t seed = 0)
{
    return qHash(language.name, seed);
}

namespace Languages {

// Safe from any thread: the tables are built once, on first use, and never change.
const Language& languageFor(QStringView fileName);
const Language& other();
const Language& binary();
// Every language the program knows, in table order, the two fixed ones last.
const QList<const Language*>& all();

} // namespace Languages
