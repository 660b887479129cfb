#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The words of a command as its synopsis writes them ("layout PATH [--mode city|tree|graph]
// [--json]"), read back so that the man page and the shell completions come from the one command
// table and know what each word takes.
namespace Cli {

// What a place on the command line is filled with. A folder or a file completes from the disk;
// text (a number, a size, a query) does not.
enum class ValueKind { text, folder, file };

struct Value {
    QString placeholder; // as written: "N|start|middle|end|HASH"
    ValueKind kind = ValueKind::text;
    QStringList choices; // its lower-case alternatives, the words to offer: start, middle, end
};

struct OptionWord {
    QString name; // "--mode"
    std::optional<Value> value; // none for a flag
};

struct Synopsis {
    QList<Value> arguments; // the positional arguments, in order
    QList<OptionWord> options; // in the order the synopsis gives them
};

// Reads a synopsis that starts with the command's name. An option followed by a word that is not
// an option, within the same brackets, takes that word as its value; "|" between options makes
// them alternatives. A command's PATH is a folder and its FILE a file; after an option, any
// placeholder naming a FILE or PATH is a file or folder, FOLDER or DIR a folder.
Synopsis readSynopsis(const QString& synopsis);

} // namespace Cli
