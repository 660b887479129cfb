#pragma once

#include "document/webdocument.h"
#include "engineering/drawing.h"
#include "preview/previewkind.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"
#include "text/mappedtext.h"

#include <QThreadPool>

#include <memory>
#include <optional>
#include <utility>

class FileNode;

// What the preview shows of one file: its text (the mapped file, or the bytes of a past revision),
// read further as needed: the drawing of a board or schematic, the parts of a source file.
struct PreviewContent {
    const FileNode* node = nullptr;
    QString name;
    QString url; // on disk; empty for a file at a past commit
    qint64 size = 0;
    PreviewKind kind = PreviewKind::text;
    std::shared_ptr<MappedText> text;
    std::shared_ptr<const Drawing> drawing;
    std::shared_ptr<const WebDocument> document;
    // Why nothing of the file can be shown, in one sentence.
    std::optional<QString> message;
    // The commit a past revision comes from, for the line above it.
    QString caption;
};

// The file the preview shows, and the work that makes it showable: its lines counted and, for a
// board or schematic or a source file, its drawing or its parts read, on the state's pool. The file
// itself is mapped, never loaded, so a file of any size opens at once.
class PreviewController : public StateController {
    Q_OBJECT

public:
    explicit PreviewController(QThreadPool& pool, QObject* parent = nullptr);

    // Null while nothing is previewed.
    const std::shared_ptr<const PreviewContent>& content() const { return m_content; }
    // Counting the lines or reading the drawing or parts is under way.
    bool reading() const { return m_job.isRunning(); }

    // The file as it is on disk, read from the folder down.
    void show(const FileNode& file);
    // A file named on its own, outside the folder shown.
    void showFile(const QString& path);
    // The file as it was at a commit: its bytes, or why there are none.
    void showRevision(
        const FileNode& file, std::variant<QByteArray, QString> revision, const QString& caption);
    void clear();

    // The line the text is scrolled to, as the view reports it.
    qint64 topLine() const { return m_topLine; }
    void setTopLine(qint64 line) { m_topLine = line; }
    // Asks the view to show a line near the top: the first hit of a search, a line asked for.
    void showLine(qint64 line);
    std::optional<qint64> takeAskedLine() { return std::exchange(m_askedLine, std::nullopt); }
    // Asks the view to move by screens, or to the next or previous hit of the search.
    void page(int step) { emit pageAsked(step); }
    void stepHit(int step) { emit hitAsked(step); }

    void folderChanged(const OpenFolder& folder) override;

signals:
    // Another file, or more known of it (its drawing, its parts).
    void contentChanged();
    // More of its lines are counted.
    void linesChanged();
    void lineAsked();
    void pageAsked(int step);
    void hitAsked(int step);

private:
    void present(std::shared_ptr<PreviewContent> content);

    struct Found {
        std::shared_ptr<const Drawing> drawing;
        std::shared_ptr<const WebDocument> document;
    };
    QString m_folder;
    qint64 m_topLine = 0;
    std::optional<qint64> m_askedLine;
    std::shared_ptr<const PreviewContent> m_content;
    BackgroundJob<Found, qint64> m_job;
};
