#include "installation.h"

#include "cli/commandline.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString bashFile = u"share/bash-completion/completions/korvane"_s;
const QString zshFile = u"share/zsh/vendor-completions/_korvane"_s;
const QString fishFile = u"share/fish/vendor_completions.d/korvane.fish"_s;

// A folder to complete paths in: a file, a folder, and a folder with a space in its name.
const TempFolder& pathsFolder()
{
    static const TempFolder folder = [] {
        TempFolder made;
        made.write(u"file.txt"_s, "text\n");
        made.makeFolder(u"other"_s);
        made.makeFolder(u"sub dir"_s);
        return made;
    }();
    return folder;
}

QStringList sortedLines(const QByteArray& out)
{
    QStringList lines = QString::fromUtf8(out).split(u'\n', Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

// What bash offers for the last of the words, with the function that the installed file registers
// for korvane, in the paths folder.
QStringList bashCompletes(const QStringList& words)
{
    const QString script = uR"(source "$0" || exit 3
spec=$(complete -p korvane) || exit 4
spec=${spec#*-F }
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
COMP_LINE="$*"
COMP_POINT=${#COMP_LINE}
"${spec%% *}" korvane "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}"
printf '%s\n' "${COMPREPLY[@]}")"_s;
    const Outcome bash = run(u"bash"_s,
        QStringList { u"--norc"_s, u"--noprofile"_s, u"-c"_s, script, Installation::get().path(bashFile) }
            + words,
        pathsFolder().path());
    EXPECT_EQ(bash.exitCode, 0) << bash.err.toStdString();
    return sortedLines(bash.out);
}

// What fish offers at the end of the line, in the paths folder, without the descriptions.
QStringList fishCompletes(const QString& line)
{
    const Outcome fish = run(u"fish"_s,
        { u"--no-config"_s, u"-c"_s, u"source $argv[1]; and complete -C $argv[2]"_s,
            Installation::get().path(fishFile), line },
        pathsFolder().path());
    EXPECT_EQ(fish.exitCode, 0) << fish.err.toStdString();
    QStringList offered;
    for (const QString& entry : sortedLines(fish.out))
        offered << entry.section(u'\t', 0, 0);
    return offered;
}

QStringList optionsOf(const Cli::Command& command)
{
    QStringList options = command.flags + command.options + QStringList { u"--help"_s };
    options.sort();
    return options;
}

struct CompletionCase {
    const char* name;
    QStringList words; // the last is the one being completed
    QStringList offered; // sorted
};

void PrintTo(const CompletionCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class BashCompletion : public testing::TestWithParam<CompletionCase> { };

TEST_P(BashCompletion, OffersWhatFitsTheWord)
{
    ASSERT_EQ(Installation::get().error().toStdString(), "");
    EXPECT_EQ(bashCompletes(GetParam().words), GetParam().offered);
}

INSTANTIATE_TEST_SUITE_P(Table, BashCompletion,
    testing::Values(CompletionCase { "command", { u"korvane"_s, u"sn"_s }, { u"snapshot"_s } },
        CompletionCase { "commandsAndFolders", { u"korvane"_s, u"s"_s },
            { u"scan"_s, u"search"_s, u"sexpr"_s, u"snapshot"_s, u"sub dir"_s } },
        CompletionCase { "aloneOptions", { u"korvane"_s, u"--"_s },
            { u"--help"_s, u"--reset-settings"_s, u"--version"_s } },
        CompletionCase {
            "optionOfTheCommand", { u"korvane"_s, u"snapshot"_s, u"."_s, u"--th"_s }, { u"--theme"_s } },
        CompletionCase { "valueWords", { u"korvane"_s, u"snapshot"_s, u"."_s, u"--theme"_s, u""_s },
            { u"dark"_s, u"light"_s } },
        CompletionCase { "valueWordsBesidePlaceholders",
            { u"korvane"_s, u"snapshot"_s, u"."_s, u"--at"_s, u""_s },
            { u"end"_s, u"middle"_s, u"start"_s } },
        CompletionCase { "optionAfterAnOptionsValue",
            { u"korvane"_s, u"snapshot"_s, u"."_s, u"--mode"_s, u"city"_s, u"--t"_s },
            { u"--theme"_s, u"--timings"_s } },
        CompletionCase { "folderArgument", { u"korvane"_s, u"scan"_s, u""_s }, { u"other"_s, u"sub dir"_s } },
        CompletionCase { "folderArgumentAfterAFlag", { u"korvane"_s, u"scan"_s, u"--json"_s, u""_s },
            { u"other"_s, u"sub dir"_s } },
        CompletionCase { "fileArgument", { u"korvane"_s, u"sexpr"_s, u""_s },
            { u"file.txt"_s, u"other"_s, u"sub dir"_s } },
        CompletionCase {
            "fileValue", { u"korvane"_s, u"replay"_s, u"."_s, u"--out"_s, u"f"_s }, { u"file.txt"_s } },
        CompletionCase { "nothingForAText", { u"korvane"_s, u"search"_s, u"."_s, u""_s }, {} },
        CompletionCase { "nothingForASize", { u"korvane"_s, u"snapshot"_s, u"."_s, u"--size"_s, u""_s }, {} },
        CompletionCase { "nothingAfterTheWindowsFolder", { u"korvane"_s, u"other"_s, u""_s }, {} }),
    rowName);

// Every command of the table is offered, and after it every one of its flags and options.
TEST(BashCompletion, OffersEveryCommandAndItsOptions)
{
    ASSERT_EQ(Installation::get().error().toStdString(), "");
    for (const Cli::Command& command : Cli::commands()) {
        SCOPED_TRACE(command.name.toStdString());
        EXPECT_TRUE(bashCompletes({ u"korvane"_s, command.name.left(2) }).contains(command.name));
        EXPECT_EQ(bashCompletes({ u"korvane"_s, command.name, u"."_s, u"--"_s }), optionsOf(command));
    }
}

class FishCompletion : public testing::TestWithParam<CompletionCase> { };

TEST_P(FishCompletion, OffersWhatFitsTheWord)
{
    ASSERT_EQ(Installation::get().error().toStdString(), "");
    if (!installed(u"fish"_s))
        GTEST_SKIP() << "fish is not installed";
    EXPECT_EQ(fishCompletes(GetParam().words.join(u' ')), GetParam().offered);
}

INSTANTIATE_TEST_SUITE_P(Table, FishCompletion,
    testing::Values(CompletionCase { "command", { u"korvane"_s, u"sn"_s }, { u"snapshot"_s } },
        CompletionCase { "aloneOptions", { u"korvane"_s, u"--"_s },
            { u"--help"_s, u"--reset-settings"_s, u"--version"_s } },
        CompletionCase {
            "optionOfTheCommand", { u"korvane"_s, u"snapshot"_s, u"."_s, u"--th"_s }, { u"--theme"_s } },
        CompletionCase { "valueWords", { u"korvane"_s, u"snapshot"_s, u"."_s, u"--theme"_s, u""_s },
            { u"dark"_s, u"light"_s } },
        CompletionCase { "optionAfterAnOptionsValue",
            { u"korvane"_s, u"snapshot"_s, u"."_s, u"--mode"_s, u"city"_s, u"--t"_s },
            { u"--theme"_s, u"--timings"_s } },
        CompletionCase {
            "folderArgument", { u"korvane"_s, u"scan"_s, u""_s }, { u"other/"_s, u"sub dir/"_s } },
        CompletionCase { "fileArgument", { u"korvane"_s, u"sexpr"_s, u""_s },
            { u"file.txt"_s, u"other/"_s, u"sub dir/"_s } },
        CompletionCase {
            "fileValue", { u"korvane"_s, u"replay"_s, u"."_s, u"--out"_s, u"f"_s }, { u"file.txt"_s } },
        CompletionCase { "nothingForAText", { u"korvane"_s, u"search"_s, u"."_s, u""_s }, {} },
        CompletionCase {
            "nothingForASize", { u"korvane"_s, u"snapshot"_s, u"."_s, u"--size"_s, u""_s }, {} }),
    rowName);

TEST(FishCompletion, OffersEveryCommandAndItsOptions)
{
    ASSERT_EQ(Installation::get().error().toStdString(), "");
    if (!installed(u"fish"_s))
        GTEST_SKIP() << "fish is not installed";
    for (const Cli::Command& command : Cli::commands()) {
        SCOPED_TRACE(command.name.toStdString());
        EXPECT_TRUE(fishCompletes(u"korvane "_s + command.name.left(2)).contains(command.name));
        EXPECT_EQ(fishCompletes(u"korvane "_s + command.name + u" . --"_s), optionsOf(command));
    }
}

// zsh's completion system cannot be driven from a script, so its file is read: every command has
// its case, and every flag and option a line in that case.
TEST(ZshCompletion, NamesEveryCommandAndItsOptions)
{
    ASSERT_EQ(Installation::get().error().toStdString(), "");
    const QString script = QString::fromUtf8(readFile(Installation::get().path(zshFile)));
    EXPECT_TRUE(script.startsWith(u"#compdef korvane\n"));
    for (const Cli::Command& command : Cli::commands()) {
        SCOPED_TRACE(command.name.toStdString());
        EXPECT_TRUE(script.contains(u"    '"_s + command.name + u':')) << "described among the commands";
        const qsizetype start = script.indexOf(u"    ("_s + command.name + u")\n"_s);
        ASSERT_GE(start, 0) << "a case of its own";
        const QString caseText = script.mid(start, script.indexOf(u";;"_s, start) - start);
        for (const QString& flag : command.flags)
            EXPECT_TRUE(caseText.contains(u'\'' + flag + u'\'')) << flag.toStdString();
        for (const QString& option : command.options)
            EXPECT_TRUE(caseText.contains(u'\'' + option + u':')) << option.toStdString();
    }
}

struct ShellCase {
    const char* name;
    const char* shell;
    QString file;
};

void PrintTo(const ShellCase& row, std::ostream* out)
{
    *out << row.name;
}

class CompletionScript : public testing::TestWithParam<ShellCase> { };

TEST_P(CompletionScript, ParsesInItsShell)
{
    ASSERT_EQ(Installation::get().error().toStdString(), "");
    const QString shell = QString::fromLatin1(GetParam().shell);
    if (!installed(shell))
        GTEST_SKIP() << GetParam().shell << " is not installed";
    const Outcome check = run(shell, { u"-n"_s, Installation::get().path(GetParam().file) });
    EXPECT_EQ(check.exitCode, 0) << check.err.toStdString();
    EXPECT_EQ(check.err, QByteArray());
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionScript,
    testing::Values(ShellCase { "bash", "bash", bashFile }, ShellCase { "zsh", "zsh", zshFile },
        ShellCase { "fish", "fish", fishFile }),
    rowName);
