#include "model/language.h"

#include <QHash>
#include <QList>

#include <deque>

namespace {

struct Spec {
    const char* name;
    std::uint32_t dark;
    std::uint32_t light;
    CommentStyle comment;
    bool binary;
    const char* exts; // space-separated, lower case, no dot
};

using enum CommentStyle;

constexpr Spec specs[] = {
    { "Swift", 0xEFA463, 0xD1600F, cLike, false, "swift" },
    { "TypeScript", 0x6AB0E0, 0x1F77B4, cLike, false, "ts tsx mts cts" },
    { "JavaScript", 0xE0C05A, 0xB8890B, cLike, false, "js jsx mjs cjs" },
    { "Python", 0x5FC2D4, 0x17879E, hash, false, "py pyi pyx" },
    { "Rust", 0xC6A377, 0x8C6D3F, cLike, false, "rs" },
    { "Go", 0x7FD0C9, 0x1F8F86, cLike, false, "go" },
    { "C", 0xA2B4C0, 0x6B7F8F, cLike, false, "c h" },
    { "C++", 0x9A8CE8, 0x5C4BB8, cLike, false, "cpp cc cxx hpp hh hxx inl ino c++ h++" },
    { "Objective-C", 0x8FB0E8, 0x3D6BB8, cLike, false, "m mm" },
    { "Java", 0xDD93AB, 0xA0506E, cLike, false, "java" },
    { "Kotlin", 0xC3A1E8, 0x9467BD, cLike, false, "kt kts" },
    { "C#", 0x7CC47C, 0x2F8A2F, cLike, false, "cs" },
    { "Ruby", 0xEF83BD, 0xCC3D8F, hash, false, "rb rake gemspec" },
    { "PHP", 0x9FA8E0, 0x5560A8, cLike, false, "php" },
    { "Dart", 0x6FD0E0, 0x138A9A, cLike, false, "dart" },
    { "Scala", 0xE89A9A, 0xB04A4A, cLike, false, "scala sc" },
    { "Elixir", 0xB79AD0, 0x6E4A7E, hash, false, "ex exs" },
    { "Haskell", 0xA79BD6, 0x5E5086, dashes, false, "hs" },
    { "Lua", 0x8C9EE8, 0x3A4FB0, dashes, false, "lua" },
    { "Zig", 0xF0B888, 0xB86B2A, cLike, false, "zig" },
    { "Metal", 0xB88AE8, 0x7A3FC0, cLike, false, "metal" },
    { "Shader", 0x8FB8CC, 0x4A7A92, cLike, false, "glsl vert frag hlsl wgsl" },
    { "Shell", 0xA8C85E, 0x5B8C1F, hash, false, "sh bash zsh fish" },
    { "Perl", 0xCD70C6, 0xB42DAB, hash, false, "pl pm perl pod" },
    { "Tcl", 0xBD7FBD, 0x8C368C, hash, false, "tcl tk" },
    { "CMake", 0xCD7070, 0xB42D2D, hash, false, "cmake" },
    { "Make", 0x9CBF7A, 0x4F7A2A, hash, false, "mk mak" },
    { "Gettext", 0xD3D382, 0x9B9B27, hash, false, "po pot" },
    { "Verilog", 0x7F94BD, 0x36538C, cLike, false, "v sv svh vh" },
    { "VHDL", 0x9C77C5, 0x5E2F93, dashes, false, "vhd vhdl" },
    { "Assembly", 0x9BD4B2, 0x36AB65, none, false, "s asm nasm" },
    { "Protocol Buffers", 0xCD7095, 0x9B2755, cLike, false, "proto" },
    { "Nix", 0xC5D49B, 0x8BAB36, hash, false, "nix" },
    { "R", 0x70CD70, 0x279B27, hash, false, "r" },
    { "Julia", 0x7777C5, 0x2F2F93, hash, false, "jl" },
    { "Diff", 0xBD8B7F, 0x8C4736, none, false, "diff patch" },
    { "PowerShell", 0xCEA1A7, 0x8C3642, hash, false, "ps1 psm1 psd1" },
    { "Groovy", 0xCDB470, 0x9B7C27, cLike, false, "groovy gradle" },
    { "Erlang", 0xCD8270, 0x9B3E27, none, false, "erl hrl" },
    { "OCaml", 0x7F83BD, 0x363C8C, none, false, "ml mli" },
    { "Clojure", 0xC57787, 0xAB364D, none, false, "clj cljs cljc edn" },
    { "Fortran", 0x95CD70, 0x63B42D, none, false, "f f90 f95 f03 for" },
    { "Terraform", 0x70CDB4, 0x279B7C, hash, false, "tf tfvars hcl" },
    { "GraphQL", 0xD382B3, 0x9B276D, hash, false, "graphql gql" },
    { "Batch", 0xB470CD, 0x7C279B, none, false, "bat cmd" },
    { "HTML", 0xE8A27C, 0xB8653A, markup, false, "html htm xhtml" },
    { "CSS", 0xB39DDB, 0x7B5EA7, cLike, false, "css scss sass less" },
    { "Vue", 0x6FCF97, 0x2E8B57, markup, false, "vue" },
    { "Svelte", 0xF0A080, 0xC0562F, markup, false, "svelte" },
    { "SQL", 0x5CC79A, 0x178A5A, dashes, false, "sql" },
    { "Markdown", 0xB4B2AE, 0x8A8782, markup, false, "md markdown mdx rst adoc" },
    { "JSON", 0xCFC49A, 0x968A55, none, false, "json jsonc json5 geojson" },
    { "YAML", 0xBFB58A, 0x877C4A, hash, false, "yml yaml" },
    { "TOML", 0xC9B08F, 0x8F7250, hash, false, "toml ini cfg conf" },
    { "XML", 0xB5A78F, 0x7D6F57, markup, false, "xml plist xib storyboard svg xcscheme" },
    { "Text", 0x8D8B87, 0x8A8782, none, false, "txt log csv tsv" },
    { "Schematic", 0x5CC79A, 0x178A5A, none, false, "kicad_sch kicad_sym sch lib" },
    { "PCB", 0x7FD0C9, 0x1F8F86, none, false, "kicad_pcb kicad_pro kicad_prl kicad_dru kicad_wks net" },
    { "CAD", 0xD3A6E0, 0x8A4AB0, none, false, "step stp iges igs stl 3mf obj scad f3d" },
    { "Image", 0xD9A0C0, 0xA35C85, none, true, "png jpg jpeg gif webp ico icns heic tiff bmp psd" },
    { "Media", 0xC08AA8, 0x8A4A6E, none, true, "mp3 wav aiff mp4 mov m4a ogg webm" },
    { "Font", 0xA89888, 0x6E5E50, none, true, "ttf otf woff woff2" },
    { "Archive", 0x7A7874, 0x8F8C87, none, true,
        "zip gz tgz tar xz bz2 7z dmg jar pdf a o so dylib wasm bin exe" },
};

struct WholeName {
    const char* fileName;
    Spec language;
};

constexpr WholeName wholeNames[] = {
    { "makefile", { "Make", 0x9CBF7A, 0x4F7A2A, hash, false, "" } },
    { "dockerfile", { "Docker", 0x7FB3E0, 0x2D6FA8, hash, false, "" } },
    { "gemfile", { "Ruby", 0xEF83BD, 0xCC3D8F, hash, false, "" } },
    { "rakefile", { "Ruby", 0xEF83BD, 0xCC3D8F, hash, false, "" } },
    { "podfile", { "Ruby", 0xEF83BD, 0xCC3D8F, hash, false, "" } },
    { "cmakelists.txt", { "Make", 0x9CBF7A, 0x4F7A2A, hash, false, "" } },
    { "license", { "Text", 0x8D8B87, 0x8A8782, none, false, "" } },
};

struct Tables {
    std::deque<Language> storage; // stable addresses
    QHash<QString, const Language*> byName;
    QHash<QString, const Language*> byExtension;
    QHash<QString, const Language*> byWholeName;
    QList<const Language*> all;
    const Language* other = nullptr;
    const Language* binary = nullptr;
    const Language* docker = nullptr;

    // One object per name: a name met twice (Ruby, Text) resolves to the first one.
    const Language* intern(const Spec& spec)
    {
        const QString name = QString::fromUtf8(spec.name);
        if (const Language* known = byName.value(name))
            return known;
        const Language* language
            = &storage.emplace_back(Language { name, spec.dark, spec.light, spec.comment, spec.binary });
        byName.insert(name, language);
        all.append(language);
        return language;
    }

    Tables()
    {
        for (const Spec& spec : specs) {
            const Language* language = intern(spec);
            for (const QString& ext : QString::fromLatin1(spec.exts).split(u' ', Qt::SkipEmptyParts))
                byExtension.insert(ext, language);
        }
        for (const WholeName& entry : wholeNames)
            byWholeName.insert(QString::fromLatin1(entry.fileName), intern(entry.language));
        docker = byName.value(QStringLiteral("Docker"));
        other = intern({ "Other", 0x77756F, 0x9A968F, hash, false, "" });
        binary = intern({ "Binary", 0x5E5C58, 0xA7A39C, none, true, "" });
    }
};

const Tables& tables()
{
    static const Tables instance;
    return instance;
}

} // namespace

namespace Languages {

const Language& languageFor(QStringView fileName)
{
    const Tables& t = tables();
    const QString lower = fileName.toString().toLower();
    if (const Language* language = t.byWholeName.value(lower))
        return *language;
    if (lower.startsWith(u"dockerfile"))
        return *t.docker;
    const qsizetype dot = lower.lastIndexOf(u'.');
    if (dot > 0) {
        if (const Language* language = t.byExtension.value(lower.mid(dot + 1)))
            return *language;
    }
    return *t.other;
}

const Language& other()
{
    return *tables().other;
}
const Language& binary()
{
    return *tables().binary;
}
const QList<const Language*>& all()
{
    return tables().all;
}

} // namespace Languages
