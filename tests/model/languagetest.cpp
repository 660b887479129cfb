#include "model/language.h"

#include <gtest/gtest.h>

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
        NamedFile { "lib.so", "Archive" }, NamedFile { "font.woff2", "Font" }));

TEST(Language, OneObjectPerNameWhicheverTableNamesIt)
{
    EXPECT_EQ(&Languages::languageFor(u"Gemfile"), &Languages::languageFor(u"a.rb"));
    EXPECT_EQ(&Languages::languageFor(u"LICENSE"), &Languages::languageFor(u"notes.txt"));
    EXPECT_EQ(&Languages::languageFor(u"a.py"), &Languages::languageFor(u"b.pyi"));
    EXPECT_EQ(Languages::languageFor(u"Gemfile").darkColor, 0xEF83BDu);
    EXPECT_TRUE(Languages::languageFor(u"a.png").isBinary);
    EXPECT_FALSE(Languages::languageFor(u"a.svg").isBinary);
}
