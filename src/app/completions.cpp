#include "app/completions.h"

#include "cli/commandline.h"
#include "cli/synopsis.h"

#include <QStringList>

namespace {

using Cli::ValueKind;

// A command's words for completing: its flags, and its options with what their values take.
struct Words {
    QStringList flags;
    QList<Cli::OptionWord> options;
    QList<Cli::Value> arguments;
};

// The table's lists of flags and options are what the command accepts; the synopsis says what
// each option's value and each argument is.
Words wordsOf(const Cli::Command& command)
{
    const Cli::Synopsis synopsis = Cli::readSynopsis(command.synopsis);
    Words words { command.flags + QStringList { QStringLiteral("--help") }, {}, synopsis.arguments };
    for (const QString& name : command.options) {
        Cli::OptionWord option { name, Cli::Value {} };
        for (const Cli::OptionWord& written : synopsis.options) {
            if (written.name == name && written.value)
                option.value = written.value;
        }
        words.options.append(option);
    }
    return words;
}

QStringList topLevelNames()
{
    QStringList names;
    for (const Cli::TopLevelOption& option : Cli::topLevelOptions())
        names << option.name;
    return names;
}

QStringList commandNames()
{
    QStringList names;
    for (const Cli::Command& command : Cli::commands())
        names << command.name;
    return names;
}

QStringList optionNames(const Words& words)
{
    QStringList names;
    for (const Cli::OptionWord& option : words.options)
        names << option.name;
    return names;
}

// In single quotes for sh and zsh.
QString quoted(const QString& text)
{
    return u'\'' + QString(text).replace(u'\'', QStringLiteral("'\\''")) + u'\'';
}

// In single quotes for fish, where a backslash escapes too.
QString fishQuoted(const QString& text)
{
    return u'\'' + QString(text).replace(u'\\', QStringLiteral("\\\\")).replace(u'\'', QStringLiteral("\\'"))
        + u'\'';
}

// A summary cut to its first clause, short enough for a menu of completions.
QString brief(const QString& summary)
{
    const qsizetype end = summary.indexOf(QStringLiteral("; "));
    return end < 0 ? summary : summary.left(end);
}

const char* kindName(ValueKind kind)
{
    switch (kind) {
    case ValueKind::folder: return "folder";
    case ValueKind::file: return "file";
    case ValueKind::text: break;
    }
    return "text";
}

} // namespace

QByteArray bashCompletion()
{
    QString script
        = QStringLiteral(R"(# bash completion for korvane, written by its build from its command table.

# Adds the folders (or files and folders) that start with the word being completed.
_korvane_paths()
{
    if declare -F _filedir >/dev/null; then
        if [[ $1 == folder ]]; then _filedir -d; else _filedir; fi
        return
    fi
    compopt -o filenames 2>/dev/null
    local IFS=$'\n'
    if [[ $1 == folder ]]; then
        COMPREPLY+=($(compgen -d -- "$cur"))
    else
        COMPREPLY+=($(compgen -f -- "$cur"))
    fi
}

_korvane()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W '%1' -- "$cur"))
        else
            COMPREPLY=($(compgen -W '%2' -- "$cur"))
            _korvane_paths folder
        fi
        return 0
    fi

    # What the command takes: flags, options with a value, and the kind of each argument.
    local flags options arguments
    case ${COMP_WORDS[1]} in
)")
              .arg(topLevelNames().join(u' '), commandNames().join(u' '));
    QString values;
    for (const Cli::Command& command : Cli::commands()) {
        const Words words = wordsOf(command);
        QStringList kinds;
        for (const Cli::Value& argument : words.arguments)
            kinds << QLatin1StringView(kindName(argument.kind));
        script += QStringLiteral("    %1) flags='%2' options='%3' arguments='%4' ;;\n")
                      .arg(command.name, words.flags.join(u' '), optionNames(words).join(u' '),
                          kinds.join(u' '));
        for (const Cli::OptionWord& option : words.options) {
            values += QStringLiteral("    '%1 %2')").arg(command.name, option.name);
            if (!option.value->choices.isEmpty())
                values += QStringLiteral(" COMPREPLY=($(compgen -W '%1' -- \"$cur\"));")
                              .arg(option.value->choices.join(u' '));
            if (option.value->kind != ValueKind::text)
                values += QStringLiteral(" _korvane_paths %1;")
                              .arg(QLatin1StringView(kindName(option.value->kind)));
            values += QStringLiteral(" return 0 ;;\n");
        }
    }
    script += QStringLiteral(R"(    *) return 0 ;; # after a folder for the window, nothing more
    esac

    # An option's value: its words, paths, or nothing to offer.
    case "${COMP_WORDS[1]} $prev" in
)");
    script += values;
    script += QStringLiteral(R"(    esac

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$flags $options" -- "$cur"))
        return 0
    fi
    # The argument being completed: the words since the command that are no option nor its value.
    local i count=0
    for ((i = 2; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} == -* ]]; then
            [[ " $options " == *" ${COMP_WORDS[i]} "* ]] && ((i++))
        else
            ((count++))
        fi
    done
    local kinds=($arguments)
    case ${kinds[count]-} in
    folder | file) _korvane_paths "${kinds[count]}" ;;
    esac
    return 0
}

complete -F _korvane korvane
)");
    return script.toUtf8();
}

QByteArray zshCompletion()
{
    QString script
        = QStringLiteral("#compdef korvane\n"
                         "# zsh completion for korvane, written by its build from its command table.\n\n"
                         "_korvane() {\n"
                         "  local -a commands alone\n"
                         "  commands=(\n");
    const auto describe = [](const QString& name, const QString& summary) -> QString {
        return QStringLiteral("    ") + quoted(name + u':' + brief(summary)) + u'\n';
    };
    for (const Cli::Command& command : Cli::commands())
        script += describe(command.name, command.summary);
    script += QStringLiteral("  )\n  alone=(\n");
    for (const Cli::TopLevelOption& option : Cli::topLevelOptions())
        script += describe(option.name, option.summary);
    script += QStringLiteral(R"(  )
  if (( CURRENT == 2 )); then
    local ret=1
    if [[ $PREFIX == -* ]]; then
      _describe -t options option alone && ret=0
    else
      _describe -t commands command commands && ret=0
      _files -/ && ret=0
    fi
    return ret
  fi

  # The command becomes the first word, as _arguments wants it.
  local command=$words[2]
  shift words
  (( CURRENT-- ))
  case $command in
)");
    const auto action = [](const Cli::Value& value) -> QString {
        if (value.kind == ValueKind::folder)
            return QStringLiteral("_files -/");
        if (value.kind == ValueKind::file)
            return QStringLiteral("_files");
        if (!value.choices.isEmpty())
            return u'(' + value.choices.join(u' ') + u')';
        return QStringLiteral(" ");
    };
    const auto message = [](const Cli::Value& value) -> QString {
        return value.placeholder.isEmpty() ? QStringLiteral("value")
                                           : QString(value.placeholder).replace(u':', QStringLiteral("\\:"));
    };
    for (const Cli::Command& command : Cli::commands()) {
        const Words words = wordsOf(command);
        script += QStringLiteral("    (%1)\n      _arguments -S :").arg(command.name);
        for (qsizetype i = 0; i < words.arguments.size(); ++i) {
            const Cli::Value& argument = words.arguments[i];
            script += QStringLiteral(" \\\n        ")
                + quoted(QString::number(i + 1) + u':' + message(argument) + u':' + action(argument));
        }
        for (const QString& flag : words.flags)
            script += QStringLiteral(" \\\n        ") + quoted(flag);
        for (const Cli::OptionWord& option : words.options) {
            script += QStringLiteral(" \\\n        ")
                + quoted(option.name + u':' + message(*option.value) + u':' + action(*option.value));
        }
        script += QStringLiteral("\n      ;;\n");
    }
    script += QStringLiteral("  esac\n}\n\n_korvane \"$@\"\n");
    return script.toUtf8();
}

QByteArray fishCompletion()
{
    QString script
        = QStringLiteral(R"(# fish completion for korvane, written by its build from its command table.

# Whether the word being completed is the given argument (counted from 1) of the given command:
# the words after the command that are no option nor the value of one of the options named.
function __korvane_argument --argument-names command position
    set -l words (commandline -opc)
    test (count $words) -ge 2; and test "$words[2]" = "$command"; or return 1
    set -l options $argv[3..-1]
    set -l count 0
    set -l skip 0
    for word in $words[3..-1]
        if test $skip = 1
            set skip 0
        else if contains -- $word $options
            set skip 1
        else if not string match -q -- '-*' $word
            set count (math $count + 1)
        end
    end
    test $count -eq (math $position - 1)
end

complete -c korvane -f
)");
    for (const Cli::Command& command : Cli::commands()) {
        script += QStringLiteral("complete -c korvane -n __fish_use_subcommand -a %1 -d %2\n")
                      .arg(command.name, fishQuoted(brief(command.summary)));
    }
    for (const Cli::TopLevelOption& option : Cli::topLevelOptions()) {
        script += QStringLiteral("complete -c korvane -n __fish_use_subcommand -l %1 -d %2\n")
                      .arg(option.name.mid(2), fishQuoted(brief(option.summary)));
    }
    script += QStringLiteral(
        "complete -c korvane -n __fish_use_subcommand -a '(__fish_complete_directories)'\n");

    const auto paths = [](ValueKind kind) -> QString {
        return kind == ValueKind::folder ? QStringLiteral(" -a '(__fish_complete_directories)'")
                                         : QStringLiteral(" -F");
    };
    for (const Cli::Command& command : Cli::commands()) {
        const Words words = wordsOf(command);
        const QString seen
            = QStringLiteral("complete -c korvane -n '__fish_seen_subcommand_from %1'").arg(command.name);
        script += u'\n';
        for (const QString& flag : words.flags)
            script += seen + QStringLiteral(" -l ") + flag.mid(2) + u'\n';
        // An option's value is a file (-r -F), or else no file (-x): its words, folders or nothing.
        for (const Cli::OptionWord& option : words.options) {
            const Cli::Value& value = *option.value;
            script += seen + QStringLiteral(" -l ") + option.name.mid(2)
                + (value.kind == ValueKind::file ? QStringLiteral(" -r -F") : QStringLiteral(" -x"));
            QStringList offered = value.choices;
            if (value.kind == ValueKind::folder)
                offered << QStringLiteral("(__fish_complete_directories)");
            if (!offered.isEmpty())
                script += QStringLiteral(" -a ") + fishQuoted(offered.join(u' '));
            script += u'\n';
        }
        for (qsizetype i = 0; i < words.arguments.size(); ++i) {
            const ValueKind kind = words.arguments[i].kind;
            if (kind == ValueKind::text)
                continue;
            script += QStringLiteral("complete -c korvane -n '__korvane_argument %1 %2 %3'")
                          .arg(command.name)
                          .arg(i + 1)
                          .arg(optionNames(words).join(u' '))
                + paths(kind) + u'\n';
        }
    }
    return script.toUtf8();
}
