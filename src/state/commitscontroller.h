#pragma once

#include "history/historyindex.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <QList>
#include <QString>

#include <optional>

// The newest commits of what the drawer shows, read from git in the background: one read at a
// time, the newest request cancelling the one before, nothing read outside a repository.
class CommitsController : public StateController {
    Q_OBJECT

public:
    static constexpr int listed = 10;

    explicit CommitsController(QThreadPool& pool, QObject* parent = nullptr);

    // The path, relative to the folder, whose commits are held; none before the first read ends.
    const std::optional<QString>& path() const { return m_path; }
    const QList<Commit>& commits() const { return m_commits; }
    // Whether the commits of `relativePath` are known.
    bool holds(const QString& relativePath) const { return m_path == relativePath; }
    bool isReading() const { return m_reading.has_value(); }

    // Reads the commits of `relativePath` unless they are held or being read; with none, stops
    // reading.
    void follow(const std::optional<QString>& relativePath);
    void cancel();
    void folderChanged(const OpenFolder& folder) override;

signals:
    void commitsChanged();

private:
    BackgroundJob<QList<Commit>> m_job;
    QString m_folder; // empty outside a repository
    std::optional<QString> m_reading; // the path being read
    std::optional<QString> m_path;
    QList<Commit> m_commits;
};
