#include "state/previewcontroller.h"

#include "document/webreader.h"
#include "model/filenode.h"
#include "scan/beneath.h"

#include <QFileInfo>

#include <sys/stat.h>

namespace {

// Parts are read from files a reader knows, up to the size a walk-in reads.
constexpr qint64 partsLimitBytes = 6 << 20;

bool isLfsPointer(const MappedText& text)
{
    return text.size() < 1024 && text.bytes(0, 64).startsWith("version https://git-lfs.github.com/spec/v1");
}

// The text of a file opened, or why it could not be.
void take(PreviewContent& content, MappedText::Opened opened)
{
    if (auto* why = std::get_if<QString>(&opened))
        content.message = *why;
    else
        content.text = std::get<std::shared_ptr<MappedText>>(std::move(opened));
}

} // namespace

PreviewController::PreviewController(QThreadPool& pool, QObject* parent)
    : StateController(parent)
    , m_job(pool)
{
}

void PreviewController::folderChanged(const OpenFolder& folder)
{
    m_folder = folder.root ? folder.root->url : QString();
    clear();
}

void PreviewController::clear()
{
    m_job.cancel();
    if (!m_content)
        return;
    m_content.reset();
    emit contentChanged();
}

void PreviewController::showLine(qint64 line)
{
    m_askedLine = line;
    emit lineAsked();
}

void PreviewController::show(const FileNode& file)
{
    if (m_content && m_content->node == &file && m_content->url == file.url && m_content->caption.isEmpty())
        return;
    auto content = std::make_shared<PreviewContent>();
    content->node = &file;
    content->name = file.name;
    content->url = file.url;
    struct stat info { };
    // Read from the folder down, as every file is, so a link never leads elsewhere.
    const int descriptor = Beneath(m_folder).openFile(file.relativePath.toUtf8(), &info);
    if (descriptor < 0) {
        content->message = file.relativePath + QStringLiteral(" can't be read now.");
    } else {
        take(*content, MappedText::adopt(descriptor, file.name));
    }
    if (content->text && isLfsPointer(*content->text))
        content->message
            = file.relativePath + QStringLiteral(" is a Git LFS pointer; its content is not here.");
    present(std::move(content));
}

void PreviewController::showFile(const QString& path)
{
    const QFileInfo info(path);
    auto content = std::make_shared<PreviewContent>();
    content->name = info.fileName();
    content->url = info.absoluteFilePath();
    take(*content, MappedText::open(path));
    present(std::move(content));
}

void PreviewController::showRevision(
    const FileNode& file, std::variant<QByteArray, QString> revision, const QString& caption)
{
    auto content = std::make_shared<PreviewContent>();
    content->node = &file;
    content->name = file.name;
    content->caption = caption;
    if (auto* why = std::get_if<QString>(&revision))
        content->message = *why;
    else
        content->text = MappedText::fromBytes(std::get<QByteArray>(std::move(revision)));
    present(std::move(content));
}

void PreviewController::present(std::shared_ptr<PreviewContent> content)
{
    m_job.cancel();
    if (content->text) {
        content->size = content->text->size();
        content->kind = Preview::kindFor(content->name, content->size, content->text->bytes(0, 8000));
    }
    m_content = content;
    m_topLine = 0;
    emit contentChanged();
    const std::shared_ptr<MappedText> text = content->text;
    if (!text || content->message)
        return;
    const QString name = content->name;
    const bool drawing = content->kind == PreviewKind::drawing;
    const bool parts = content->kind == PreviewKind::text && text->size() <= partsLimitBytes
        && WebReader::readsExtension(QFileInfo(name).suffix());
    if (text->indexed() && !drawing && !parts)
        return;
    m_job.start(
        [text, name, drawing, parts](const CancelFlagPtr& cancel, const auto& report) {
            Found found;
            text->indexLines([&cancel] { return cancel->isCancelled(); }, report);
            if ((!drawing && !parts) || cancel->isCancelled())
                return found;
            const QByteArray bytes = text->bytes(0, text->size());
            if (drawing) {
                if (std::optional<Drawing> read = readDrawing(name.toUtf8(), bytes))
                    found.drawing = std::make_shared<const Drawing>(std::move(*read));
            } else {
                if (std::optional<WebDocument> read = WebReader::read(bytes, QFileInfo(name).suffix()))
                    found.document = std::make_shared<const WebDocument>(std::move(*read));
            }
            return found;
        },
        [this, content](Found found) {
            if (m_content != content)
                return;
            if (found.drawing || found.document) {
                auto more = std::make_shared<PreviewContent>(*content);
                more->drawing = std::move(found.drawing);
                more->document = std::move(found.document);
                m_content = std::move(more);
                emit contentChanged();
            }
            emit linesChanged();
        },
        [this](qint64) { emit linesChanged(); });
}
