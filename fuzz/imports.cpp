// Feeds arbitrary bytes to the import reader as the text of a file in each language it reads (the
// first byte picks the language), checks what every reference promises, and resolves each one
// against a small folder.
#include "imports/dependencyreader.h"

#include <cstdlib>
#include <set>

namespace {

const char* const languages[]
    = { "Swift", "Python", "Rust", "Go", "JavaScript", "TypeScript", "C", "C++", "Objective-C", "Java",
          "Kotlin", "Ruby", "PHP", "CSS", "HTML", "Shell", "Vue", "Svelte", "Dart", "Scala", "Markdown" };

const DependencyReader::Lookup& folder()
{
    static const DependencyReader::Lookup lookup = [] {
        DependencyReader::Lookup made;
        const char* const paths[] = { "src/a.ts", "src/index.ts", "src/lib/mod.rs", "pkg/__init__.py", "x.h",
            "y/x.h", "core/model.swift" };
        qint32 index = 0;
        for (const char* path : paths) {
            const std::string text = path;
            const std::string name = text.substr(text.rfind('/') + 1);
            made.byPath.emplace(text, index);
            made.byName[name].push_back(index);
            made.byStem[name.substr(0, name.rfind('.'))].push_back(index);
            ++index;
        }
        made.byFolder["core"] = { 6 };
        return made;
    }();
    return lookup;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const char* const language = languages[data[0] % std::size(languages)];
    const QByteArrayView text(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    const std::vector<Reference> found = DependencyReader::references(text, QString::fromLatin1(language));
    std::set<std::pair<QByteArray, bool>> seen;
    const DependencyReader::ImportLanguage* reader
        = DependencyReader::importLanguage(QString::fromLatin1(language));
    for (const Reference& reference : found) {
        if (reference.name.isEmpty() || reference.name.size() >= 200 * 4
            || !seen.insert({ reference.name, reference.relative }).second)
            std::abort();
        if (const auto target = DependencyReader::resolve(reference, "src/lib", *reader, folder()))
            if (*target < 0 || *target > 6)
                std::abort();
    }
    DependencyReader::swiftDeclarations(text);
    DependencyReader::identifiers(text);
    DependencyReader::quotedStrings(text);
    DependencyReader::normalise(std::string_view(text.data(), size_t(text.size())));
    return 0;
}
