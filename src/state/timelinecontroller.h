#pragma once

#include "history/historycursor.h"
#include "history/historyreader.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <QHash>
#include <QTimer>

#include <memory>
#include <optional>
#include <variant>
#include <vector>

class FileNode;

// A history laid out as a city: one file node for every path the history ever held, so that each
// keeps its place through the replay, and for each path the commits that named it.
struct HistoryCity {
    std::shared_ptr<const HistoryIndex> index;
    std::shared_ptr<FileNode> tree;
    std::vector<FileNode*> files; // by path number
    std::vector<std::vector<qint32>> touchedAt; // by path number: the commits naming it, in order

    static std::shared_ptr<HistoryCity> make(std::shared_ptr<const HistoryIndex> index);
};

// The replay of the open repository's first-parent history: reads it in the background as soon
// as a repository opens, then owns the playhead, the play and pause timer, and the state of every
// file at the playhead. The file nodes of `root()` carry their values at the playhead (lines,
// commits so far, the time and kind of their last change; a folder the sums over its present
// files), so that heights, colours and the drawer read them as they read a scanned tree.
class TimelineController : public StateController {
    Q_OBJECT

public:
    enum class Phase { idle, indexing, ready, failed };

    static constexpr double defaultSpeed = 6;
    static constexpr double minSpeed = 0.5;
    static constexpr double maxSpeed = 120;
    // Faster than this many ticks a second, a tick moves several commits instead.
    static constexpr double maxTickRate = 30;
    static constexpr qint64 maxMarkedStep = 10;

    explicit TimelineController(QThreadPool& pool, QObject* parent = nullptr);

    Phase phase() const { return m_phase; }
    const HistoryProgress& progress() const { return m_progress; }
    const QString& error() const { return m_error; }
    bool isReady() const { return m_phase == Phase::ready; }

    // Null until the history is read.
    std::shared_ptr<const HistoryCity> city() const { return m_city; }
    const HistoryIndex* index() const { return m_city ? m_city->index.get() : nullptr; }
    const FileNode* root() const { return m_city ? m_city->tree.get() : nullptr; }
    qint64 commitCount() const { return m_city ? m_city->index->commitCount() : 0; }
    // The last commit applied; -1 before the first.
    qint64 position() const { return m_cursor ? m_cursor->position() : -1; }
    const Commit* commit() const { return m_cursor ? m_cursor->commit() : nullptr; }
    qint64 fileCount() const { return m_cursor ? m_cursor->fileCount() : 0; }
    qint64 totalLines() const { return m_cursor ? m_cursor->totalLines() : 0; }
    // Per commit: lines added and removed, for the track under the scrubber.
    const std::vector<qint64>& activity() const { return m_activity; }

    bool isPlaying() const { return m_playing; }
    double speed() const { return m_speed; }
    void setSpeed(double commitsPerSecond);
    // The timer's interval in milliseconds and the commits a tick moves, at a speed.
    static int tickInterval(double speed);
    static qint64 tickStep(double speed);

    // Starts reading the history of a work tree; a reading under way is dropped.
    void load(const QString& root);
    // Stops a reading under way, which ends as cancelled.
    void cancel();

    // Plays from the playhead, or from the empty city when it stands at the end.
    void play();
    void stop();
    void togglePlay();
    // Moves the playhead to a commit (clamped to -1 .. the last) and updates the files.
    void move(qint64 target);
    void step(qint64 commits) { move(position() + commits); }

    // What a file of root() is at the playhead: its lines when present; how many commits named it
    // so far and in all; the commit that named it last, up to the playhead.
    std::optional<qint64> lines(const FileNode& node) const;
    struct Commits {
        qint64 soFar = 0;
        qint64 total = 0;
    };
    std::optional<Commits> commits(const FileNode& node) const;
    const Commit* lastChange(const FileNode& node) const;
    bool isPresent(const FileNode& node) const;
    // The files the commit at the playhead names, and the files the last move marks: all it passed
    // over when it moved at most maxMarkedStep commits, else those of the commit it landed on.
    QList<const FileNode*> changedFiles() const;
    const QList<const FileNode*>& lastTouched() const { return m_lastTouched; }

    // The file under focus in the replay.
    const FileNode* highlighted() const { return m_highlighted; }
    QString highlightedName() const;
    void highlight(const FileNode* node);

    // The text of a file of root() at the playhead's commit, or one sentence saying why there is
    // none (before the first commit, absent, stored with Git LFS and not fetched).
    std::variant<QByteArray, QString> revision(const FileNode& node, qint64 maxBytes = 8 << 20) const;

    // Sets the files to their largest values over the whole history, for laying the city out so
    // that heights keep one scale; false puts the playhead's values back.
    void showPeaks(bool peaks);

    void folderChanged(const OpenFolder& folder) override;

signals:
    void phaseChanged();
    void progressChanged();
    // The playhead moved, or a new history arrived; lastTouched() names the files moved.
    void moved();
    void playingChanged();
    void speedChanged();
    void highlightChanged();

private:
    using Outcome = std::variant<std::shared_ptr<HistoryCity>, HistoryError>;
    void finish(Outcome outcome);
    void setPhase(Phase phase, const QString& error = {});
    void tick();
    std::optional<qint32> numberOf(const FileNode& node) const;
    void updateFiles(const std::vector<qint32>& touched);
    void sumFolders();

    Phase m_phase = Phase::idle;
    HistoryProgress m_progress;
    QString m_error;
    std::shared_ptr<HistoryCity> m_city;
    std::unique_ptr<HistoryCursor> m_cursor;
    QHash<const FileNode*, qint32> m_numbers;
    std::vector<qint64> m_activity;
    QList<const FileNode*> m_lastTouched;
    const FileNode* m_highlighted = nullptr;
    bool m_playing = false;
    double m_speed = defaultSpeed;
    QTimer m_timer;
    BackgroundJob<Outcome, HistoryProgress> m_job;
};
