// The import lines of each language and the words Swift files are linked by.
#include "imports/dependencyreader.h"

#include "text/bytetext.h"

#include <array>
#include <unordered_set>

namespace DependencyReader {

namespace {

constexpr std::string_view python[] = { "py", "pyi" };
constexpr std::string_view rust[] = { "rs" };
constexpr std::string_view go[] = { "go" };
constexpr std::string_view script[]
    = { "ts", "tsx", "js", "jsx", "mjs", "cjs", "vue", "svelte", "json", "css" };
constexpr std::string_view cFamily[] = { "h", "hpp", "hh", "c", "cpp", "cc", "m", "mm" };
constexpr std::string_view java[] = { "java" };
constexpr std::string_view kotlin[] = { "kt" };
constexpr std::string_view scala[] = { "scala" };
constexpr std::string_view ruby[] = { "rb" };
constexpr std::string_view php[] = { "php" };
constexpr std::string_view css[] = { "css", "scss", "sass", "less" };
constexpr std::string_view dart[] = { "dart" };

const ImportLanguage languages[] = {
    { "Swift", Syntax::swift, {} },
    { "Python", Syntax::python, python },
    { "Rust", Syntax::rust, rust },
    { "Go", Syntax::go, go },
    { "JavaScript", Syntax::script, script },
    { "TypeScript", Syntax::script, script },
    { "C", Syntax::cFamily, cFamily },
    { "C++", Syntax::cFamily, cFamily },
    { "Objective-C", Syntax::cFamily, cFamily },
    { "Java", Syntax::jvm, java },
    { "Kotlin", Syntax::jvm, kotlin },
    { "Ruby", Syntax::ruby, ruby },
    { "PHP", Syntax::php, php },
    { "CSS", Syntax::css, css },
    { "HTML", Syntax::html, {} },
    { "Shell", Syntax::shell, {} },
    { "Vue", Syntax::script, script },
    { "Svelte", Syntax::script, script },
    { "Dart", Syntax::dart, dart },
    { "Scala", Syntax::jvm, scala },
};

using ByteText::trimmed;

// The characters a name is trimmed of: quotes, brackets and separators left around it.
bool isNameEdge(char c)
{
    switch (c) {
    case ' ':
    case '\t':
    case '"':
    case '\'':
    case '`':
    case ';':
    case ',':
    case '(':
    case ')':
    case '<':
    case '>': return true;
    default: return false;
    }
}

std::optional<QByteArrayView> firstQuoted(QByteArrayView line)
{
    for (qsizetype i = 0; i < line.size(); ++i) {
        const char quote = line[i];
        if (quote != '"' && quote != '\'' && quote != '`')
            continue;
        const qsizetype end = line.indexOf(quote, i + 1);
        if (end < 0)
            return std::nullopt;
        if (end > i + 1)
            return line.sliced(i + 1, end - i - 1);
        i = end;
    }
    return std::nullopt;
}

// Collects the references of one file: trimmed, bounded, each (name, relative) pair once.
class Collector {
public:
    void add(QByteArrayView name, bool relative)
    {
        qsizetype start = 0, end = name.size();
        while (start < end && isNameEdge(name[start]))
            ++start;
        while (end > start && isNameEdge(name[end - 1]))
            --end;
        name = name.sliced(start, end - start);
        // Bounded in bytes as well: one character can take any number of them (a letter with a run
        // of marks, or stray bytes that are not UTF-8).
        if (name.isEmpty() || name.size() > 4 * maxNameLength
            || ByteText::characters(name, maxNameLength + 1) > maxNameLength)
            return;
        std::string key(name.data(), size_t(name.size()));
        key += relative ? '\1' : '\0';
        if (!m_seen.insert(std::move(key)).second)
            return;
        m_found.push_back({ name.toByteArray(), relative });
    }

    std::vector<Reference> take() { return std::move(m_found); }

private:
    std::unordered_set<std::string> m_seen;
    std::vector<Reference> m_found;
};

// The first quoted string of the line, when there is one.
void addFirstQuoted(QByteArrayView line, bool relative, Collector& out)
{
    if (const auto quoted = firstQuoted(line))
        out.add(*quoted, relative);
}

// "import a, b as c" names modules from the top; "from .a import b" names one beside the file.
void readPython(QByteArrayView line, Collector& out)
{
    if (line.startsWith("import ")) {
        for (QByteArrayView piece : ByteText::split(line.sliced(7), ',')) {
            piece = trimmed(piece);
            const qsizetype space = piece.indexOf(' ');
            out.add(space < 0 ? piece : piece.first(space), false);
        }
    } else if (line.startsWith("from ")) {
        const qsizetype at = line.indexOf(" import ");
        if (at >= 5)
            out.add(line.sliced(5, at - 5), true);
    }
}

// Every quoted string of an import, require or from line; "./" and "../" ones are relative.
void readScript(QByteArrayView line, Collector& out)
{
    if (line.contains("import") || line.contains("require") || line.contains("from")) {
        for (const QByteArrayView quoted : quotedStrings(line))
            out.add(quoted, quoted.startsWith('.'));
    }
}

// "mod a;" names a file beside this one; "use a::b::{c, d};" the path before its brace, space or ";".
void readRust(QByteArrayView line, Collector& out)
{
    if (line.startsWith("mod ") && line.endsWith(';')) {
        out.add(line.sliced(4, line.size() - 5), true);
    } else if (line.startsWith("pub mod ") && line.endsWith(';')) {
        out.add(line.sliced(8, line.size() - 9), true);
    } else if (line.startsWith("use ")) {
        QByteArrayView path = line.sliced(4);
        for (qsizetype i = 0; i < path.size(); ++i) {
            if (path[i] == ';' || path[i] == '{' || path[i] == ' ') {
                path.truncate(i);
                break;
            }
        }
        out.add(path.toByteArray().replace("::", "/"), false);
    }
}

// Quoted packages on an import line or on the lines of an import block.
void readGo(QByteArrayView line, Collector& out)
{
    if (line.startsWith("import") || line.startsWith('"')) {
        for (const QByteArrayView quoted : quotedStrings(line))
            out.add(quoted, false);
    }
}

// "import a.b.C;" and "import a.b.*;" as the paths a/b/C and a/b/.
void readJvm(QByteArrayView line, Collector& out)
{
    if (!line.startsWith("import "))
        return;
    const QByteArray path = line.sliced(7).toByteArray().replace('.', '/');
    qsizetype start = 0, end = path.size();
    const auto edge = [](char c) { return c == ' ' || c == ';' || c == '*'; };
    while (start < end && edge(path[start]))
        ++start;
    while (end > start && edge(path[end - 1]))
        --end;
    out.add(QByteArrayView(path).sliced(start, end - start), false);
}

// Quoted strings that look like file names, not addresses.
void readHtml(QByteArrayView line, Collector& out)
{
    for (const QByteArrayView quoted : quotedStrings(line)) {
        if (quoted.contains('.') && !quoted.startsWith("http"))
            out.add(quoted, true);
    }
}

// The word after "source" or ".".
void readShell(QByteArrayView line, Collector& out)
{
    if (line.startsWith("source ") || line.startsWith(". ")) {
        const std::vector<QByteArrayView> words = ByteText::split(line, ' ', Qt::SkipEmptyParts);
        if (words.size() > 1)
            out.add(words[1], true);
    }
}

void readCFamily(QByteArrayView line, Collector& out)
{
    if (line.startsWith("#include") || line.startsWith("#import"))
        addFirstQuoted(line, true, out);
}

void readRuby(QByteArrayView line, Collector& out)
{
    if (line.startsWith("require_relative"))
        addFirstQuoted(line, true, out);
    else if (line.startsWith("require "))
        addFirstQuoted(line, false, out);
}

void readPhp(QByteArrayView line, Collector& out)
{
    if (line.contains("require") || line.contains("include"))
        addFirstQuoted(line, true, out);
}

void readCss(QByteArrayView line, Collector& out)
{
    if (line.startsWith("@import"))
        addFirstQuoted(line, true, out);
}

void readSwift(QByteArrayView line, Collector& out)
{
    if (line.startsWith("import "))
        out.add(line.sliced(7), false);
}

// The first quoted string of an import or part line; one starting with a dot is relative.
void readDart(QByteArrayView line, Collector& out)
{
    if (line.startsWith("import ") || line.startsWith("part ")) {
        if (const auto quoted = firstQuoted(line))
            out.add(*quoted, quoted->startsWith('.'));
    }
}

void readLine(QByteArrayView line, Syntax syntax, Collector& out)
{
    switch (syntax) {
    case Syntax::python: return readPython(line, out);
    case Syntax::script: return readScript(line, out);
    case Syntax::rust: return readRust(line, out);
    case Syntax::go: return readGo(line, out);
    case Syntax::cFamily: return readCFamily(line, out);
    case Syntax::jvm: return readJvm(line, out);
    case Syntax::ruby: return readRuby(line, out);
    case Syntax::php: return readPhp(line, out);
    case Syntax::css: return readCss(line, out);
    case Syntax::html: return readHtml(line, out);
    case Syntax::shell: return readShell(line, out);
    case Syntax::swift: return readSwift(line, out);
    case Syntax::dart: return readDart(line, out);
    }
}

constexpr std::array<QByteArrayView, 11> swiftModifiers { "public", "private", "internal", "fileprivate",
    "open", "final", "indirect", "@objc", "@MainActor", "static", "package" };
constexpr std::array<QByteArrayView, 6> swiftKeywords { "class", "struct", "enum", "protocol", "actor",
    "typealias" };

} // namespace

const ImportLanguage* importLanguage(QStringView languageName)
{
    for (const ImportLanguage& language : languages) {
        if (languageName == QLatin1StringView(language.name))
            return &language;
    }
    return nullptr;
}

const ImportLanguage* importLanguage(const Language& language)
{
    return importLanguage(QStringView(language.name));
}

std::vector<QByteArrayView> quotedStrings(QByteArrayView line)
{
    std::vector<QByteArrayView> found;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const char quote = line[i];
        if (quote != '"' && quote != '\'' && quote != '`')
            continue;
        const qsizetype end = line.indexOf(quote, i + 1);
        if (end < 0)
            break;
        if (end > i + 1)
            found.push_back(line.sliced(i + 1, end - i - 1));
        i = end;
    }
    return found;
}

std::vector<Reference> references(QByteArrayView text, QStringView language)
{
    const ImportLanguage* known = importLanguage(language);
    return known ? references(text, *known) : std::vector<Reference> {};
}

std::vector<Reference> references(QByteArrayView text, const ImportLanguage& language)
{
    Collector out;
    qsizetype examined = 0;
    ByteText::forEachLine(text, [&](QByteArrayView line) {
        if (examined++ == maxLines)
            return false;
        line = trimmed(line);
        if (!line.isEmpty() && ByteText::characters(line, maxLineLength + 1) <= maxLineLength)
            readLine(line, language.syntax, out);
        return true;
    });
    return out.take();
}

std::vector<QByteArray> swiftDeclarations(QByteArrayView text)
{
    std::vector<QByteArray> names;
    std::unordered_set<std::string_view> seen;
    ByteText::forEachLine(text, [&](QByteArrayView line) {
        line = trimmed(line);
        // Leading modifiers, each followed by at least one space, are passed over.
        for (bool passed = true; passed;) {
            passed = false;
            for (const QByteArrayView modifier : swiftModifiers) {
                if (line.size() > modifier.size() && line.startsWith(modifier)
                    && line[modifier.size()] == ' ') {
                    line = trimmed(line.sliced(modifier.size()));
                    passed = true;
                    break;
                }
            }
        }
        for (const QByteArrayView keyword : swiftKeywords) {
            if (line.size() <= keyword.size() || !line.startsWith(keyword) || line[keyword.size()] != ' ')
                continue;
            const QByteArrayView name = ByteText::leadingWord(trimmed(line.sliced(keyword.size())));
            if (!name.isEmpty() && seen.insert(std::string_view(name.data(), size_t(name.size()))).second)
                names.push_back(name.toByteArray());
            break;
        }
        return true;
    });
    return names;
}

std::vector<QByteArray> identifiers(QByteArrayView text)
{
    std::vector<QByteArray> words;
    std::unordered_set<std::string_view> seen;
    ByteText::forEachWord(text, [&](QByteArrayView word, qsizetype characters, bool capitalised) {
        if (characters >= 3 && capitalised
            && seen.insert(std::string_view(word.data(), size_t(word.size()))).second)
            words.push_back(word.toByteArray());
    });
    return words;
}

} // namespace DependencyReader
