#include "ui/previewviews.h"

#include "ui/style.h"

#include <QAbstractTextDocumentLayout>
#include <QBuffer>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>
#include <QTextTable>

namespace {

// Pictures of a page larger than this are left out rather than read.
constexpr qint64 pictureLimitBytes = 32 << 20;

} // namespace

MarkdownPreview::MarkdownPreview(QWidget* parent)
    : QTextBrowser(parent)
{
    setObjectName(QStringLiteral("previewMarkdown"));
    setFrameShape(QFrame::NoFrame);
    setOpenLinks(false);
    setFocusPolicy(Qt::NoFocus);
    document()->setDocumentMargin(18);
    connect(this, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
        if (url.scheme() == u"http" || url.scheme() == u"https" || url.scheme() == u"mailto") {
            QDesktopServices::openUrl(url);
            return;
        }
        const QString path = QDir::cleanPath(source().resolved(url).toLocalFile());
        if (!m_folder.isEmpty() && path.startsWith(m_folder + u'/'))
            emit fileLinked(path.mid(m_folder.size() + 1));
    });
}

void MarkdownPreview::show(const QByteArray& text, bool html, const QString& fileUrl, const QString& folder)
{
    m_folder = QDir::cleanPath(folder);
    // The base for relative links and pictures, without loading the file through the browser.
    document()->setBaseUrl(QUrl::fromLocalFile(fileUrl));
    if (html)
        setHtml(QString::fromUtf8(text));
    else
        setMarkdown(QString::fromUtf8(text));
    document()->setBaseUrl(QUrl::fromLocalFile(fileUrl));
    if (!html)
        spaceOut();
}

// Markdown comes in with its paragraphs packed tight and its code and tables bare; they are given
// room, a ground and single rules, as a reader of rendered Markdown expects.
void MarkdownPreview::spaceOut()
{
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    const auto isCode = [](const QTextBlock& block) {
        return block.isValid()
            && (block.blockFormat().hasProperty(QTextFormat::BlockCodeFence)
                || block.blockFormat().nonBreakableLines());
    };
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        QTextBlockFormat format = block.blockFormat();
        if (isCode(block)) {
            format.setBackground(m_theme.wash);
            format.setLeftMargin(8);
            format.setRightMargin(8);
            format.setBottomMargin(isCode(block.next()) ? 0 : 10);
        } else if (!block.textList() && !cursor.currentTable()) {
            format.setTopMargin(format.headingLevel() > 0 ? 14 : 0);
            format.setBottomMargin(8);
        }
        cursor.setPosition(block.position());
        cursor.setBlockFormat(format);
        // Links take the accent, as everywhere else in the window.
        for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment) {
            if (!fragment.fragment().charFormat().isAnchor())
                continue;
            QTextCharFormat link;
            link.setForeground(m_theme.accent);
            cursor.setPosition(fragment.fragment().position());
            cursor.setPosition(
                fragment.fragment().position() + fragment.fragment().length(), QTextCursor::KeepAnchor);
            cursor.mergeCharFormat(link);
        }
    }
    for (QTextFrame* frame : document()->rootFrame()->childFrames()) {
        if (auto* table = qobject_cast<QTextTable*>(frame)) {
            QTextTableFormat format = table->format();
            format.setBorderCollapse(true);
            format.setBorder(1);
            format.setBorderBrush(m_theme.ruleStrong);
            format.setCellPadding(4);
            format.setCellSpacing(0);
            format.setBottomMargin(8);
            table->setFormat(format);
        }
    }
    cursor.endEditBlock();
}

void MarkdownPreview::setTheme(const Theme& theme)
{
    m_theme = theme;
    document()->setDefaultStyleSheet(QStringLiteral("a { color: %1; } code, pre { background: %2; }")
                                         .arg(cssColor(theme.accent), cssColor(theme.wash)));
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, theme.paper);
    palette.setColor(QPalette::Text, theme.ink);
    palette.setColor(QPalette::Link, theme.accent);
    setPalette(palette);
}

double MarkdownPreview::headingScale() const
{
    // Measured on the laid-out lines, as they are drawn.
    double body = 0;
    double largest = 0;
    QAbstractTextDocumentLayout* layout = document()->documentLayout();
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        layout->blockBoundingRect(block);
        if (!block.layout() || block.layout()->lineCount() == 0 || block.text().isEmpty())
            continue;
        const double height = block.layout()->lineAt(0).height();
        if (block.blockFormat().headingLevel() > 0)
            largest = std::max(largest, height);
        else if (body == 0)
            body = height;
    }
    return body > 0 ? largest / body : 0;
}

QVariant MarkdownPreview::loadResource(int type, const QUrl& name)
{
    if (type != QTextDocument::ImageResource || !name.isLocalFile())
        return {};
    // Only pictures of the folder shown, reached without leaving it.
    const QFileInfo file(name.toLocalFile());
    const QString path = file.canonicalFilePath();
    if (m_folder.isEmpty() || !path.startsWith(QFileInfo(m_folder).canonicalFilePath() + u'/')
        || !file.isFile() || file.size() > pictureLimitBytes)
        return {};
    QImageReader reader(path);
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    // A picture wider than the page is drawn to the page's width.
    const int width = std::max(200, viewport()->width() - 48);
    return image.width() > width ? image.scaledToWidth(width, Qt::SmoothTransformation) : image;
}

ImagePreview::ImagePreview(QWidget* parent)
    : QWidget(parent)
{
}

bool ImagePreview::show(const QByteArray& bytes, QString* error)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    m_image = reader.read();
    if (m_image.isNull() && error)
        *error = reader.errorString();
    update();
    return !m_image.isNull();
}

void ImagePreview::setTheme(const Theme& theme)
{
    m_theme = theme;
    update();
}

void ImagePreview::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), m_theme.paper);
    if (m_image.isNull())
        return;
    const QRect area = rect().adjusted(16, 16, -16, -16);
    QSize size = m_image.size();
    if (size.width() > area.width() || size.height() > area.height())
        size.scale(area.size(), Qt::KeepAspectRatio);
    const QRect target(area.center() - QPoint(size.width() / 2, size.height() / 2), size);
    // A checkered ground shows where the picture is transparent.
    const int cell = 8;
    const QColor light = m_theme.dark ? QColor(58, 58, 58) : QColor(236, 236, 236);
    const QColor dark = m_theme.dark ? QColor(44, 44, 44) : QColor(214, 214, 214);
    painter.save();
    painter.setClipRect(target);
    for (int y = target.top(); y < target.bottom(); y += cell) {
        for (int x = target.left(); x < target.right(); x += cell)
            painter.fillRect(QRect(x, y, cell, cell),
                ((x - target.left()) / cell + (y - target.top()) / cell) % 2 ? dark : light);
    }
    painter.restore();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, m_image);
    painter.setPen(m_theme.rule);
    painter.drawRect(target.adjusted(0, 0, -1, -1));
}
