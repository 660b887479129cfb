#include "cli/synopsis.h"
#include "cli/commandline.h"

#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QSet>

using namespace Qt::StringLiterals;

namespace {

QString kindName(Cli::ValueKind kind)
{
    switch (kind) {
    case Cli::ValueKind::folder: return u"folder"_s;
    case Cli::ValueKind::file: return u"file"_s;
    case Cli::ValueKind::text: break;
    }
    return u"text"_s;
}

QString describe(const Cli::Value& value)
{
    return kindName(value.kind)
        + (value.choices.isEmpty() ? QString() : u'(' + value.choices.join(u' ') + u')');
}

// "folder text | --json | --out=file | --theme=text(dark light)"
QString describe(const Cli::Synopsis& synopsis)
{
    QStringList arguments;
    for (const Cli::Value& value : synopsis.arguments)
        arguments << describe(value);
    QStringList parts { arguments.join(u' ') };
    for (const Cli::OptionWord& option : synopsis.options)
        parts << option.name + (option.value ? u'=' + describe(*option.value) : QString());
    return parts.join(QStringLiteral(" | "));
}

struct SynopsisCase {
    const char* name;
    const char* synopsis;
    const char* read;
};

void PrintTo(const SynopsisCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class SynopsisReading : public testing::TestWithParam<SynopsisCase> { };

TEST_P(SynopsisReading, TellsFlagsFromOptionsAndWhatEachPlaceTakes)
{
    EXPECT_EQ(
        describe(Cli::readSynopsis(QString::fromUtf8(GetParam().synopsis))).toStdString(), GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(Table, SynopsisReading,
    testing::Values(
        SynopsisCase { "alternativeFlags", "sexpr FILE [--json | --summary]", "file | --json | --summary" },
        SynopsisCase { "flagInsideAnOptionsBrackets", "snapshot PATH [--search TEXT [--in-text]] [--timings]",
            "folder | --search=text | --in-text | --timings" },
        SynopsisCase { "repeatedValue", "snapshot PATH [--isolate PATH[,PATH…]] [--json]",
            "folder | --isolate=file | --json" },
        SynopsisCase { "requiredOptionAndMixedValue",
            "replay PATH --out FOLDER|FILE.mp4|FILE.webm [--from N|start|middle|end|HASH]",
            "folder | --out=file | --from=text(start middle end)" },
        SynopsisCase { "twoArgumentsAndChoices", "search PATH TEXT [--theme dark|light]",
            "folder text | --theme=text(dark light)" },
        SynopsisCase { "folderValue", "x [--into DIR] [--scale F]", " | --into=folder | --scale=text" }),
    rowName);

// The table's lists of flags and options are what the command line accepts; the man page and the
// completions read the synopsis for what each takes. The two must name the same words.
TEST(CommandTable, EverySynopsisNamesTheCommandsFlagsOptionsAndArguments)
{
    for (const Cli::Command& command : Cli::commands()) {
        SCOPED_TRACE(command.name.toStdString());
        EXPECT_TRUE(command.synopsis.startsWith(command.name + u' '));
        const Cli::Synopsis synopsis = Cli::readSynopsis(command.synopsis);
        QSet<QString> flags;
        QSet<QString> options;
        for (const Cli::OptionWord& option : synopsis.options)
            (option.value ? options : flags).insert(option.name);
        EXPECT_EQ(flags, QSet<QString>(command.flags.begin(), command.flags.end()));
        EXPECT_EQ(options, QSet<QString>(command.options.begin(), command.options.end()));
        EXPECT_EQ(synopsis.arguments.size(), command.positionalCount);
    }
}
