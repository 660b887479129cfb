#include "model/language.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

struct NamedFile {
    const char* fileName;
    const char* language;
};

void PrintTo(const NamedFile& row, std::ostream* out)
{
    *out << row.fileName;
}

class LanguageForName : public testing::TestWithParam<NamedFile> { };

TEST_P(LanguageForName, IsDecidedByTheNameAlone)
{
    EXPECT_EQ(Languages::languageFor(QString::fromUtf8(GetParam().fileName)).name.toStdString(),
        GetParam().language);
}

INSTANTIATE_TEST_SUITE_P(Table, LanguageForName,
    testing::Values(NamedFile { "Makefile", "Make" }, NamedFile { "MAKEFILE", "Make" },
        NamedFile { "makefile", "Make" }, NamedFile { "GNUmakefile", "Other" },
        NamedFile { "CMakeLists.txt", "Make" }, NamedFile { "Dockerfile", "Docker" },
        NamedFile { "Dockerfile.prod", "Docker" }, NamedFile { "dockerfile.dev", "Docker" },
        NamedFile { "app.Dockerfile", "Other" }, NamedFile { "archive.tar.gz", "Archive" },
        NamedFile { "Main.CPP", "C++" }, NamedFile { "LICENSE", "Text" },
        NamedFile { "LICENSE.md", "Markdown" }, NamedFile { "x.h", "C" }, NamedFile { "x.hh", "C++" },
        NamedFile { "x.m", "Objective-C" }, NamedFile { "Gemfile", "Ruby" }, NamedFile { "Podfile", "Ruby" },
        NamedFile { "task.rake", "Ruby" }, NamedFile { ".gitignore", "Other" },
        NamedFile { "README", "Other" }, NamedFile { "notes.", "Other" }, NamedFile { ".bashrc", "Other" },
        NamedFile { "icon.svg", "XML" }, NamedFile { "power.lib", "Schematic" },
        NamedFile { "board.net", "PCB" }, NamedFile { "part.STEP", "CAD" },
        NamedFile { "shader.frag", "Shader" }, NamedFile { "styles.scss", "CSS" },
        NamedFile { "data.json5", "JSON" }, NamedFile { "Main.kt", "Kotlin" }, NamedFile { "x.c++", "C++" },
        NamedFile { "naïve.py", "Python" }, NamedFile { "photo.JPEG", "Image" },
        NamedFile { "lib.so", "Archive" }, NamedFile { "font.woff2", "Font" }, NamedFile { "Git.pm", "Perl" },
        NamedFile { "send-email.perl", "Perl" }, NamedFile { "gitk.tcl", "Tcl" },
        NamedFile { "Deps.cmake", "CMake" }, NamedFile { "rules.mk", "Make" },
        NamedFile { "de.po", "Gettext" }, NamedFile { "git.pot", "Gettext" },
        NamedFile { "top.sv", "Verilog" }, NamedFile { "alu.v", "Verilog" }, NamedFile { "alu.vhd", "VHDL" },
        NamedFile { "start.S", "Assembly" }, NamedFile { "boot.asm", "Assembly" },
        NamedFile { "api.proto", "Protocol Buffers" }, NamedFile { "flake.nix", "Nix" },
        NamedFile { "plot.R", "R" }, NamedFile { "fit.jl", "Julia" }, NamedFile { "fix.patch", "Diff" },
        NamedFile { "a.diff", "Diff" }, NamedFile { "build.ps1", "PowerShell" },
        NamedFile { "build.gradle", "Groovy" }, NamedFile { "app.erl", "Erlang" },
        NamedFile { "lexer.mli", "OCaml" }, NamedFile { "core.cljs", "Clojure" },
        NamedFile { "solve.f90", "Fortran" }, NamedFile { "main.tf", "Terraform" },
        NamedFile { "schema.graphql", "GraphQL" }, NamedFile { "make.bat", "Batch" }));

TEST(Language, OneObjectPerNameWhicheverTableNamesIt)
{
    EXPECT_EQ(&Languages::languageFor(u"Gemfile"), &Languages::languageFor(u"a.rb"));
    EXPECT_EQ(&Languages::languageFor(u"LICENSE"), &Languages::languageFor(u"notes.txt"));
    EXPECT_EQ(&Languages::languageFor(u"a.py"), &Languages::languageFor(u"b.pyi"));
    EXPECT_EQ(Languages::languageFor(u"Gemfile").darkColor, 0xEF83BDu);
    EXPECT_TRUE(Languages::languageFor(u"a.png").isBinary);
    EXPECT_FALSE(Languages::languageFor(u"a.svg").isBinary);
}

namespace {

// CIE L*a*b* of an sRGB colour, for how far apart two colours look.
std::array<double, 3> lab(std::uint32_t rgb)
{
    const auto linear = [](int channel) {
        const double c = channel / 255.0;
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    const double r = linear(int(rgb >> 16) & 255), g = linear(int(rgb >> 8) & 255),
                 b = linear(int(rgb) & 255);
    const auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0; };
    const double x = f((0.4124 * r + 0.3576 * g + 0.1805 * b) / 0.95047);
    const double y = f(0.2126 * r + 0.7152 * g + 0.0722 * b);
    const double z = f((0.0193 * r + 0.1192 * g + 0.9505 * b) / 1.08883);
    return { 116 * y - 16, 500 * (x - y), 200 * (y - z) };
}

double apart(std::uint32_t a, std::uint32_t b)
{
    const auto p = lab(a), q = lab(b);
    return std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
}

} // namespace

// The languages of build files, translations, hardware and scripts that real repositories hold in
// numbers: each has colours of its own in both themes, far enough from every other language's
// (and from Other's grey) to be told apart in a city and its legend.
TEST(Language, CommonLanguagesOfRealRepositoriesHaveColoursOfTheirOwn)
{
    for (const char* name : { "a.pl", "a.tcl", "a.cmake", "a.po", "a.v", "a.vhd", "a.s", "a.proto", "a.nix",
             "a.r", "a.jl", "a.patch", "a.ps1", "a.gradle", "a.erl", "a.ml", "a.clj", "a.f90", "a.tf",
             "a.graphql", "a.bat" }) {
        const Language& language = Languages::languageFor(QString::fromUtf8(name));
        for (const Language* other : Languages::all()) {
            if (*other == language)
                continue;
            EXPECT_GE(apart(language.darkColor, other->darkColor), 10.0)
                << language.name.toStdString() << " and " << other->name.toStdString() << ", dark";
            EXPECT_GE(apart(language.lightColor, other->lightColor), 10.0)
                << language.name.toStdString() << " and " << other->name.toStdString() << ", light";
        }
    }
}
