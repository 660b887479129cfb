#include "state/structurecontroller.h"

#include "document/webreader.h"
#include "model/filenode.h"
#include "model/format.h"
#include "scan/beneath.h"

#include <QFileInfo>

StructureController::StructureController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
}

const WebDocument::Node* StructureController::focusedNode() const
{
    if (!m_document || !m_focus || *m_focus < 0 || std::size_t(*m_focus) >= m_document->nodes.size())
        return nullptr;
    return &m_document->nodes[std::size_t(*m_focus)];
}

std::optional<QString> StructureController::refusal(const FileNode& node)
{
    if (node.isDirectory)
        return QStringLiteral("Only a file can be walked into; select one of the folder's files.");
    const QString extension = QFileInfo(node.name).suffix();
    if (!WebReader::readsExtension(extension))
        return node.name
            + QStringLiteral(" has no structure Korvane reads: it walks into scripts, stylesheets, pages, "
                             "C and C++, and Rust.");
    if (node.size > sizeLimit)
        return node.name + QStringLiteral(" is ") + Format::bytes(node.size)
            + QStringLiteral("; files over 6 MiB are not walked into.");
    return std::nullopt;
}

bool StructureController::open(const FileNode& file)
{
    if (const std::optional<QString> why = refusal(file)) {
        emit refused(*why);
        return false;
    }
    if (m_path == file.relativePath)
        return true;
    m_path = file.relativePath;
    m_panelShown = true;
    m_document.reset();
    m_city.reset();
    m_focus.reset();
    m_selected.reset();
    emit structureChanged();
    emit focusChanged();
    emit partSelected();
    const QString folder = m_folder, path = file.relativePath, url = file.url, name = file.name;
    m_job.start(
        [folder, path, url, name](const CancelFlagPtr&, const auto&) -> Outcome {
            // Read from the folder down, as every file is, so a link never leads elsewhere.
            bool whole = false;
            const std::optional<QByteArray> bytes
                = Beneath(folder).read(path.toUtf8(), WebReader::byteLimit, &whole);
            if (!bytes)
                return path + QStringLiteral(" can't be read now.");
            std::optional<WebDocument> document = WebReader::read(*bytes, QFileInfo(path).suffix());
            if (!document)
                return path + QStringLiteral(" has no structure Korvane reads.");
            document->truncated = document->truncated || !whole;
            auto read = std::make_shared<const WebDocument>(std::move(*document));
            auto city = std::make_shared<const PartCity>(*read, url, name);
            return Reading { std::move(read), std::move(city) };
        },
        [this](Outcome outcome) {
            if (auto* why = std::get_if<QString>(&outcome)) {
                close();
                emit refused(*why);
                return;
            }
            Reading& read = std::get<Reading>(outcome);
            m_document = std::move(read.document);
            m_city = std::move(read.city);
            emit structureChanged();
        });
    return true;
}

void StructureController::close()
{
    m_job.cancel();
    if (!m_path)
        return;
    m_path.reset();
    m_document.reset();
    m_city.reset();
    m_focus.reset();
    m_selected.reset();
    m_cityShown = false;
    emit structureChanged();
    emit focusChanged();
    emit partSelected();
}

bool StructureController::walkIn(const FileNode& file)
{
    if (m_cityShown && m_path == file.relativePath)
        return true;
    const bool shown = m_path == file.relativePath;
    if (!open(file))
        return false;
    m_structureBeforeCity = shown;
    m_cityShown = true;
    emit structureChanged();
    return true;
}

bool StructureController::leaveCity()
{
    if (!m_cityShown)
        return false;
    if (!m_structureBeforeCity) {
        close();
        return true;
    }
    m_cityShown = false;
    m_panelShown = true;
    m_selected.reset();
    emit structureChanged();
    emit partSelected();
    return true;
}

void StructureController::setFocus(std::optional<qsizetype> id)
{
    if (id && (!m_document || *id < 0 || std::size_t(*id) >= m_document->nodes.size()))
        return;
    if (id)
        selectPart(id);
    if (id == m_focus)
        return;
    m_focus = id;
    emit focusChanged();
}

void StructureController::selectPart(std::optional<qsizetype> id)
{
    if (id && (!m_document || *id < 0 || std::size_t(*id) >= m_document->nodes.size()))
        return;
    if (id == m_selected)
        return;
    m_selected = id;
    emit partSelected();
}

void StructureController::selectPart(const FileNode* node)
{
    selectPart(m_city && node ? m_city->part(node) : std::nullopt);
}

void StructureController::setPanelShown(bool shown)
{
    if (shown == m_panelShown)
        return;
    m_panelShown = shown;
    emit structureChanged();
}

const FileNode* StructureController::selectedPartNode() const
{
    return m_city && m_selected ? m_city->node(*m_selected) : nullptr;
}

void StructureController::folderChanged(const OpenFolder& folder)
{
    close();
    m_folder = folder.root ? folder.root->url : QString();
}
