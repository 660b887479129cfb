#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

// Real folders and real repositories for the tests: a temporary folder that files are written
// into, and git run on it as a user would run it.
class TempFolder {
public:
    TempFolder();
    QString path() const { return m_dir.path(); }
    QString path(const QString& relative) const { return m_dir.filePath(relative); }

    // Writes a file, making its folders; returns its absolute path.
    QString write(const QString& relative, const QByteArray& content = {}) const;
    void makeFolder(const QString& relative) const;
    // Sets the modification time of every file and folder below to the given second.
    void touchAll(qint64 seconds) const;

private:
    QTemporaryDir m_dir;
};

class GitRepo : public TempFolder {
public:
    GitRepo(); // git init on branch "main"
    // Runs git in the folder (or a subfolder); fails the test when git fails unless allowFailure.
    // Commits it makes carry the given time, in seconds since 1970, as author and committer time.
    QByteArray git(const QStringList& arguments, bool allowFailure = false, qint64 time = 1700000000) const;
    // Runs git with the input on its standard input; fails the test when git fails. Its output.
    QByteArray gitWithInput(const QStringList& arguments, const QByteArray& input) const;
    // Adds `count` commits on top of HEAD, each changing two of 40 files under src/ (made when
    // missing), and checks them out: a log that keeps git busy a while after the files are listed.
    void commitMany(int count) const;
    // Stages everything and commits at the given time.
    void commitAll(const QString& message, qint64 time = 1700000000) const;
    // Writes the index byte by byte, as a hand-made one would be: every path names one blob holding
    // `content`, and no path is checked, so it may run through a link, climb out with "..", or be
    // tens of thousands of levels deep.
    void writeIndex(QList<QByteArray> paths, const QByteArray& content = "text\n") const;
    // Commits, on top of HEAD, a tree of fanout^levels files made of a handful of shared trees (a
    // few objects that name millions of paths), plus the files of HEAD; then a commit that takes
    // the shared trees away again. Neither is checked out. Returns the hash of the first.
    QByteArray commitTreeBomb(int levels, int fanout = 10) const;
};

QByteArray readFile(const QString& path);

// For a test's main(): the program's settings go to a folder of the test's own, never the user's,
// under the program's own names. Call once, after the application object is made.
void useOwnSettings();

// Processes events until the condition holds or the time is up; whether it holds.
bool waitFor(const std::function<bool()>& done, int milliseconds = 15000);

// What a program gave when it ran to its end: the exit code (-1 when it crashed), and its output.
struct Outcome {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs a program to its end without a display, as on CI, with the given variables set.
Outcome runHeadless(
    const QString& program, const QStringList& arguments, const QHash<QString, QString>& variables = {});

// The korvane program built with the tests, run without a display.
Outcome korvane(const QStringList& arguments);
// A file or folder under tests/data: "scan-basic", "structure/menu.js".
QString dataPath(const QString& name);

// The name of a table row's test: the row's own name.
inline constexpr auto rowName = [](const auto& info) { return std::string(info.param.name); };

// Compares output with the expected file; on a mismatch writes <path>.actual beside it and shows the
// difference. KORVANE_UPDATE_GOLDEN=1 rewrites the expected file instead.
void expectGolden(const QByteArray& actual, const QString& path);

// A row of a golden table: a command's input under tests/data, its flags and the file under
// tests/data that holds its expected output.
struct GoldenCase {
    const char* name;
    const char* input;
    const char* flags;
    const char* expected;
};

void PrintTo(const GoldenCase& row, std::ostream* out);

// Runs `korvane command input flags…` and compares what it prints with the expected file; it must
// succeed and print nothing on standard error.
void expectCommandGolden(const QString& command, const GoldenCase& row);

// A command line that creates the marker file and passes its input through, as a filter must: the
// program a hostile repository's configuration names.
QString touching(const QString& marker);

// Python packages, a TypeScript project with index files and C includes, with two import cycles
// (three TypeScript files, two Python ones); every file imports another or is imported.
void writeImportingProject(const TempFolder& folder);

class FileNode;

// Hand-built trees, as the scan builds them: adds a file (or folder) at a path under the root,
// making the folders above it; a file gets the language of its name.
FileNode& addPath(FileNode& root, const QString& path, bool isDirectory = false);
// A finished tree from lines of "path lines", one file a line.
std::unique_ptr<FileNode> makeTree(const QString& text);
// Lines for makeTree: `count` files of 10 lines in one folder, enough for it to be drawn whole.
QString manyFiles(const QString& folder, int count);
