#pragma once

#include "document/webdocument.h"
#include "layout/partcity.h"
#include "state/backgroundjob.h"
#include "state/statecontroller.h"

#include <QString>

#include <memory>
#include <optional>
#include <variant>

class FileNode;

// The file walked into: its document, read in the background from inside the open folder, the
// city of its parts, the part selected in that city and the part in focus. The structure can be
// shown beside the folder's city, or the file walked into so that its parts' city takes the
// scene. One file at a time; asking for another cancels the reading under way.
class StructureController : public StateController {
    Q_OBJECT

public:
    // Larger files are zoomed to, not read: a reader's outline of them would take long and say little.
    static constexpr qint64 sizeLimit = qint64(6) * 1024 * 1024;
    // What a document that stopped reading early says of itself.
    static QString truncatedMessage()
    {
        return QStringLiteral("The page is larger than the outline holds; what is shown stops partway.");
    }

    explicit StructureController(QThreadPool& pool, QObject* parent = nullptr);

    // The file's path relative to the folder, from the moment it is asked for; none when closed.
    const std::optional<QString>& path() const { return m_path; }
    bool isReading() const { return m_path && !m_document; }
    // The file's document, once read.
    const std::shared_ptr<const WebDocument>& document() const { return m_document; }
    // The city of the document's parts, ready with it.
    const std::shared_ptr<const PartCity>& city() const { return m_city; }
    const std::optional<qsizetype>& focus() const { return m_focus; }
    const WebDocument::Node* focusedNode() const;
    // Whether the scene shows the city of the file's parts instead of the folder's.
    bool cityShown() const { return m_cityShown; }
    // The part the keys act on in that city: the one selected, else none.
    const std::optional<qsizetype>& selectedPart() const { return m_selected; }
    const FileNode* selectedPartNode() const;
    // Whether the structure panel is shown for the file; in its city the panel can be put away.
    bool panelShown() const { return m_path && m_panelShown; }
    void setPanelShown(bool shown);

    // Why a node cannot be walked into, if it cannot: a folder, a file no reader takes, one too large.
    static std::optional<QString> refusal(const FileNode& node);
    // Reads the file and shows its structure; false (with the reason told) when it cannot be.
    bool open(const FileNode& file);
    void close();
    // Walks into the file: its structure, and its parts' city in the scene.
    bool walkIn(const FileNode& file);
    // Back out to the folder's city; the structure stays beside it only if it was shown before.
    bool leaveCity();
    // Focuses a part of the document, and selects it; none clears the focus.
    void setFocus(std::optional<qsizetype> id);
    void selectPart(std::optional<qsizetype> id);
    void selectPart(const FileNode* node);
    void folderChanged(const OpenFolder& folder) override;

signals:
    // The file walked into changed, or its document arrived.
    void structureChanged();
    void focusChanged();
    void partSelected();

private:
    struct Reading {
        std::shared_ptr<const WebDocument> document;
        std::shared_ptr<const PartCity> city;
    };
    using Outcome = std::variant<Reading, QString>;

    BackgroundJob<Outcome> m_job;
    QString m_folder;
    std::optional<QString> m_path;
    std::shared_ptr<const WebDocument> m_document;
    std::shared_ptr<const PartCity> m_city;
    std::optional<qsizetype> m_focus;
    std::optional<qsizetype> m_selected;
    bool m_cityShown = false;
    bool m_panelShown = true;
    // Whether the structure was shown beside the folder's city before the file was walked into.
    bool m_structureBeforeCity = false;
};
