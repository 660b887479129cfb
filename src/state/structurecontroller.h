#pragma once

#include "document/webdocument.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <QString>

#include <memory>
#include <optional>
#include <variant>

class FileNode;

// The file walked into: its document, read in the background from inside the open folder, and
// the part in focus. One file at a time; asking for another cancels the reading under way.
class StructureController : public StateController {
    Q_OBJECT

public:
    // Larger files are zoomed to, not read: a reader's outline of them would take long and say little.
    static constexpr qint64 sizeLimit = qint64(6) * 1024 * 1024;

    explicit StructureController(QThreadPool& pool, QObject* parent = nullptr);

    // The file's path relative to the folder, from the moment it is asked for; none when closed.
    const std::optional<QString>& path() const { return m_path; }
    bool isReading() const { return m_path && !m_document; }
    // The file's document, once read.
    const std::shared_ptr<const WebDocument>& document() const { return m_document; }
    const std::optional<qsizetype>& focus() const { return m_focus; }
    const WebDocument::Node* focusedNode() const;

    // Why a node cannot be walked into, if it cannot: a folder, a file no reader takes, one too large.
    static std::optional<QString> refusal(const FileNode& node);
    // Reads the file and shows its structure; false (with the reason told) when it cannot be.
    bool open(const FileNode& file);
    void close();
    // Focuses a part of the document; none clears the focus.
    void setFocus(std::optional<qsizetype> id);
    void folderChanged(const OpenFolder& folder) override;

signals:
    // The file walked into changed, or its document arrived.
    void structureChanged();
    void focusChanged();

private:
    using Outcome = std::variant<WebDocument, QString>;

    BackgroundJob<Outcome> m_job;
    QString m_folder;
    std::optional<QString> m_path;
    std::shared_ptr<const WebDocument> m_document;
    std::optional<qsizetype> m_focus;
};
