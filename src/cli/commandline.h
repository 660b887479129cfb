#pragma once

#include "document/webdocument.h"
#include "imports/dependencygraph.h"
#include "scan/scanner.h"

#include <QHash>
#include <QSet>
#include <QStringList>

#include <functional>

namespace Cli {

// The words after the command name, sorted into positional arguments, flags and valued options.
struct Arguments {
    QStringList positional;
    QSet<QString> flags;
    QHash<QString, QString> options;
};

struct Command {
    QString name;
    QString synopsis; // "scan PATH [--json]"
    QString summary;
    int positionalCount;
    QStringList flags; // "--json"
    QStringList options; // take a value: "--mode"
    // Empty for the commands the window runs (snapshot), which the executable hands to run().
    std::function<int(const Arguments&)> run;
};

const QList<Command>& commands();
bool isCommand(const QString& word);

// The words that stand alone in place of a command ("korvane --version").
struct TopLevelOption {
    QString name;
    QString summary;
};
const QList<TopLevelOption>& topLevelOptions();

// The text of --help: the ways to run korvane, then every command with its synopsis and summary.
QString usage();

// Scans with a progress bar on a terminal; on failure says why on standard error.
std::optional<ScanResult> scanFolder(const QString& path, Scanner::Scope scope = Scanner::Scope::everything);
// The document of one file, as much of it as the readers use; on failure says why on standard error.
std::optional<WebDocument> readDocument(const QString& path);
// Reads the imports of a scanned tree, with a progress bar on a terminal.
DependencyGraph readImports(const FileNode& root);

// Runs a command of the window, given its name and arguments.
using WindowCommand = std::function<int(const QString& name, const Arguments& arguments)>;

// Runs the command line; returns the exit status (0 done, 1 failed, 2 wrong usage). The commands
// the window draws go to `window`.
int run(const QStringList& arguments, const WindowCommand& window = {});

int scan(const Arguments& arguments);
int sexpr(const Arguments& arguments);
int layout(const Arguments& arguments);
int history(const Arguments& arguments);
int outline(const Arguments& arguments);
int imports(const Arguments& arguments);
int search(const Arguments& arguments);
int flow(const Arguments& arguments);
int clone(const Arguments& arguments);

} // namespace Cli
