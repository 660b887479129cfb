#pragma once

#include "state/appstate.h"
#include "state/keyrouter.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSize>

#include <optional>

class MainWindow;

// What to do once the window stands, for scripts, tests and snapshots: open a folder, set the
// display, play keys once the folder is drawn, then save the window as an image and write the
// state as JSON. The window reads it from KORVANE_OPEN, KORVANE_KEYS, KORVANE_SNAPSHOT,
// KORVANE_STATE and KORVANE_SIZE; `korvane snapshot` from its options.
// A commit of a history named on the command line: a number from 0, "start" (before the first),
// "middle", "end", or the start of a hash.
struct CommitChoice {
    QString text;

    // None for a text that can name nothing (empty, a negative number).
    static std::optional<CommitChoice> parse(const QString& text);
    // The playhead position it names in a history (-1 before the first commit, a number past the
    // end is the last); none for a hash the history does not hold.
    std::optional<qint64> resolve(const HistoryIndex& index) const;
};

struct StartupScript {
    std::optional<QString> open;
    QList<KeyPress> keys;
    std::optional<QString> snapshot; // a PNG file
    std::optional<QString> stateFile; // a JSON file, or "-" for standard output
    std::optional<QSize> size;
    std::optional<VisualizationMode> mode;
    std::optional<ColorMode> color;
    std::optional<HeightMode> height;
    std::optional<bool> dark;
    bool showImports = false; // the selected file's imports over the city and the tree
    std::optional<CommitChoice> at; // where the history view's playhead stands
    std::optional<QString> search; // the search text, before the keys
    bool searchInText = false; // searched for in the files' text rather than their names
    QStringList isolate; // relative paths drawn alone
    int minChanges = 0; // files changed less often are dimmed
    std::optional<QString> walkInto; // a file of the folder, relative to it, whose structure is shown
    std::optional<StructureTab> structureTab;
    std::optional<QString> focus; // the name of the part of that file to focus
    bool timings = false; // how long each stage took, on standard error

    bool quitsWhenDone() const { return snapshot || stateFile; }

    // From the environment; a malformed value is reported in *error.
    static StartupScript fromEnvironment(QString* error);
};

// "Right Shift+Tab ? Shift+C" as key presses (QKeySequence portable text; a letter types its
// lower-case character, with Shift its upper-case one). Empty with *error set on a bad token.
std::optional<QList<KeyPress>> parseKeys(const QString& text, QString* error);
// "1280x800".
std::optional<QSize> parseSize(const QString& text);

// The state that scripted keys leave behind, with what the view draws and the window's size, as JSON.
QByteArray stateJson(const AppState& state, MainWindow& window);

// Runs a script on a window; finished() carries the exit status once it is done.
class StartupRunner : public QObject {
    Q_OBJECT
public:
    StartupRunner(MainWindow& window, AppState& state, StartupScript script);
    void start();

signals:
    void finished(int status);

private:
    void run();
    void waitForImports();
    void waitForHistory();
    bool walkInto();
    void waitForOpening();
    void waitForCommits();
    void waitForSearch();
    int finish();
    void printTimings(qint64 frameMs) const;
    void reportFirstCity();

    MainWindow& m_window;
    AppState& m_state;
    StartupScript m_script;
    bool m_ran = false;
    qint64 m_scanMs = 0; // until the keys could start: the tree and its commits
    std::optional<qint64> m_treeMs; // until the tree was in the state
    bool m_cityBuilt = false;
    qint64 m_importsMs = 0; // waiting for the imports to be read, read and settled
    qint64 m_historyMs = 0; // waiting for the history to be read
    // Each key: whether it was typed into the search field, how long until its own effects were
    // done, and until the window was drawn after it.
    struct KeyTime {
        bool typed;
        qint64 work;
        qint64 drawn;
    };
    QList<KeyTime> m_keyTimes;
    QElapsedTimer m_sinceKey; // since the search text last changed
    qint64 m_readyMs = 0; // from then to the text search's results in the state
    std::optional<qint64> m_foundMs; // and to them drawn
    QElapsedTimer m_clock;
};

// The OpenGL format of every view; call it before the QApplication is made.
void useWindowFormat();
// Opens the window (on a folder, when given), runs the script of the environment, and returns the
// exit status; with timings it says on standard error when the folder's city was first drawn. A
// QApplication must exist.
int runWindow(const std::optional<QString>& folder, bool timings = false);
// Renders a folder into an image without showing the window; returns the exit status.
int runSnapshot(const StartupScript& script);
