#pragma once

#include "imports/dependencygraph.h"
#include "scan/beneath.h"
#include "scan/cancelflag.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QStringView>

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// One import found in one file: the name as written (UTF-8), and whether it is looked up beside
// the importing file first.
struct Reference {
    QByteArray name;
    bool relative = false;

    bool operator==(const Reference&) const = default;
};

// Reads the imports of every source file of a scanned folder and links each to the file of the
// folder it names. It does not parse: each language's import lines are recognised by their leading
// words and quoted strings, and names are resolved by trying paths, extensions and file names in a
// fixed order. Everything works on UTF-8 bytes; nothing here throws, and every read is bounded.
namespace DependencyReader {

// How a language writes its imports; several languages share one.
enum class Syntax { python, script, rust, go, cFamily, jvm, ruby, php, css, html, shell, swift, dart };

// A language whose imports are read: its syntax and the extensions tried when resolving, in order.
struct ImportLanguage {
    const char* name;
    Syntax syntax;
    std::span<const std::string_view> extensions;
};

// The twenty languages read, or nothing for any other.
const ImportLanguage* importLanguage(QStringView languageName);
const ImportLanguage* importLanguage(const Language& language);

constexpr qsizetype maxLines = 600;
constexpr qsizetype maxLineLength = 399; // characters; a longer line is skipped whole
constexpr qsizetype maxNameLength = 199;
constexpr qint64 maxFileBytes = 512 * 1024; // a file of this size or more is not read

// The imports of one file's text, in order of first appearance, each once.
std::vector<Reference> references(QByteArrayView text, QStringView language);
std::vector<Reference> references(QByteArrayView text, const ImportLanguage& language);

// The strings of one line between matching double, single or back quotes; no escapes, empty
// strings and an unterminated one left out.
std::vector<QByteArrayView> quotedStrings(QByteArrayView line);

// "a/./b/../c" -> "a/c": "." and empty components dropped, ".." takes the one before it away.
std::string normalise(std::string_view path);

// Swift names no files in its imports: its files are linked through the types they declare and use.
std::vector<QByteArray> swiftDeclarations(QByteArrayView text);
// Capitalised words of three or more characters, in order of first appearance, each once.
std::vector<QByteArray> identifiers(QByteArrayView text);

struct StringHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view> {}(text); }
};
template <typename T> using StringMap = std::unordered_map<std::string, T, StringHash, std::equal_to<>>;

// Every file of the tree, keyed by lower-cased text.
struct Lookup {
    StringMap<qint32> byPath; // relative path
    StringMap<std::vector<qint32>> byName; // file name
    StringMap<std::vector<qint32>> byStem; // file name without its last extension
    StringMap<std::vector<qint32>> byFolder; // the files directly in every folder of that name

    static Lookup of(const DependencyGraph& graph);
};

// The index of the file that a reference from a file in folder `from` names, or nothing. `from`
// is the folder's relative path, in any case.
std::optional<qint32> resolve(
    const Reference& reference, std::string_view from, const ImportLanguage& language, const Lookup& lookup);

// The text of a file of the folder, as valid UTF-8; nothing for a binary, oversized or unreadable
// file, anything but a regular file, or a path that leaves the folder or runs through a link.
std::optional<QByteArray> read(const Beneath& folder, const FileNode& file);

using ProgressCallback = std::function<void(const DependencyProgress&)>;

// Reads and links the whole tree, on every core; the same tree and texts always give the same
// graph. Nothing when the flag is set before the end. progress may be called from any thread.
std::optional<DependencyGraph> build(
    const FileNode& root, const CancelFlagPtr& cancel = {}, const ProgressCallback& progress = {});

} // namespace DependencyReader
