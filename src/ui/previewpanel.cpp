#include "ui/previewpanel.h"

#include "model/filenode.h"
#include "model/format.h"
#include "model/language.h"
#include "ui/drawingview.h"
#include "ui/hexpreview.h"
#include "ui/previewviews.h"
#include "ui/textpreview.h"

#include <QAbstractScrollArea>
#include <QCoreApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QScrollBar>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int partsWidth = 190;

QString kindTitle(PreviewKind kind, const QString& name)
{
    switch (kind) {
    case PreviewKind::text: return Languages::languageFor(name).name;
    case PreviewKind::markdown:
        return QFileInfo(name).suffix().startsWith(u"htm") ? QStringLiteral("Page")
                                                           : QStringLiteral("Markdown");
    case PreviewKind::image: return QStringLiteral("Picture");
    case PreviewKind::bytes: return QStringLiteral("Bytes");
    case PreviewKind::drawing:
        return name.endsWith(u".kicad_sch") ? QStringLiteral("Schematic") : QStringLiteral("Board");
    }
    return {};
}

// The kinds of item a drawing is summed up by, with their names in the state.
struct CountedKind {
    DrawingItemKind kind;
    const char16_t* name;
    const char16_t* unit;
};
constexpr CountedKind boardCounts[] { { DrawingItemKind::track, u"tracks", u"track" },
    { DrawingItemKind::trackArc, u"trackArcs", u"arc" }, { DrawingItemKind::via, u"vias", u"via" },
    { DrawingItemKind::pad, u"pads", u"pad" }, { DrawingItemKind::text, u"texts", u"text" } };
constexpr CountedKind schematicCounts[] { { DrawingItemKind::wire, u"wires", u"wire" },
    { DrawingItemKind::junction, u"junctions", u"junction" }, { DrawingItemKind::label, u"labels", u"label" },
    { DrawingItemKind::globalLabel, u"globalLabels", u"global label" },
    { DrawingItemKind::pin, u"pins", u"pin" }, { DrawingItemKind::sheet, u"sheets", u"sheet" } };

template <typename Visit> void forEachCount(const Drawing& drawing, const Visit& visit)
{
    const bool board = drawing.kind == DrawingKind::board;
    for (const CountedKind& counted :
        board ? std::span<const CountedKind>(boardCounts) : std::span<const CountedKind>(schematicCounts))
        visit(counted, drawing.count(counted.kind));
}

} // namespace

PreviewPanel::PreviewPanel(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
{
    setObjectName(QStringLiteral("preview"));
    setAttribute(Qt::WA_StyledBackground);
    m_title = new QLabel(this);
    m_title->setObjectName(QStringLiteral("previewTitle"));
    m_title->setTextFormat(Qt::PlainText);
    m_facts = new QLabel(this);
    m_facts->setObjectName(QStringLiteral("previewFacts"));
    m_caption = new QLabel(this);
    m_caption->setObjectName(QStringLiteral("previewCaption"));
    m_caption->setTextFormat(Qt::PlainText);
    m_caption->setWordWrap(true);
    m_keysMark = new QWidget(this);
    m_keysMark->setObjectName(QStringLiteral("previewKeysMark"));
    m_keysMark->setFixedHeight(2);
    m_keysMark->setAutoFillBackground(true);
    m_keysMark->hide();
    m_pages = new QStackedWidget(this);
    m_message = new QLabel(m_pages);
    m_message->setObjectName(QStringLiteral("previewMessage"));
    m_message->setAlignment(Qt::AlignCenter);
    m_message->setWordWrap(true);
    m_message->setMargin(24);
    m_textPage = new QWidget(m_pages);
    m_parts = new QListWidget(m_textPage);
    m_parts->setObjectName(QStringLiteral("previewParts"));
    m_parts->setFixedWidth(partsWidth);
    m_parts->setFocusPolicy(Qt::NoFocus);
    m_parts->setTextElideMode(Qt::ElideMiddle);
    m_parts->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_text = new TextPreview(m_textPage);
    auto* textRow = new QHBoxLayout(m_textPage);
    textRow->setContentsMargins(0, 0, 0, 0);
    textRow->setSpacing(0);
    textRow->addWidget(m_parts);
    textRow->addWidget(m_text, 1);
    m_hex = new HexPreview(m_pages);
    m_markdown = new MarkdownPreview(m_pages);
    m_image = new ImagePreview(m_pages);
    m_drawing = new DrawingView(m_pages);
    for (QWidget* page : { static_cast<QWidget*>(m_message), m_textPage, static_cast<QWidget*>(m_hex),
             static_cast<QWidget*>(m_markdown), static_cast<QWidget*>(m_image),
             static_cast<QWidget*>(m_drawing) })
        m_pages->addWidget(page);

    auto* header = new QVBoxLayout;
    header->setContentsMargins(14, 10, 14, 8);
    header->setSpacing(2);
    header->addWidget(m_title);
    header->addWidget(m_facts);
    header->addWidget(m_caption);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(header);
    layout->addWidget(m_keysMark);
    layout->addWidget(m_pages, 1);
    // A click in a view hands it the keys.
    for (QWidget* view : { static_cast<QWidget*>(m_text), static_cast<QWidget*>(m_hex),
             static_cast<QWidget*>(m_markdown), static_cast<QWidget*>(m_drawing) }) {
        view->setFocusPolicy(Qt::ClickFocus);
        view->installEventFilter(this);
        if (auto* area = qobject_cast<QAbstractScrollArea*>(view))
            area->viewport()->installEventFilter(this);
    }

    PreviewController& preview = state.preview();
    const Panels& panels = state.panels();
    connect(&panels, &Panels::previewKeysChanged, this, [this] {
        const bool held = m_state.panels().previewKeys();
        m_keysMark->setVisible(held);
        if (held && m_pages->currentWidget() != m_message)
            (m_pages->currentWidget() == m_textPage ? m_text : m_pages->currentWidget())->setFocus();
    });
    connect(&preview, &PreviewController::contentChanged, this, &PreviewPanel::rebuild);
    connect(&preview, &PreviewController::linesChanged, this, [this] {
        m_text->linesChanged();
        refreshFacts();
    });
    connect(&preview, &PreviewController::lineAsked, this, [this] {
        if (const std::optional<qint64> line = m_state.preview().takeAskedLine())
            m_text->showLine(*line);
    });
    connect(&preview, &PreviewController::pageAsked, this, &PreviewPanel::page);
    connect(&preview, &PreviewController::hitAsked, this, &PreviewPanel::stepHit);
    for (const auto signal : { &Panels::hexModeChanged, &Panels::rawSourceChanged })
        connect(&panels, signal, this, &PreviewPanel::rebuild);
    connect(&panels, &Panels::showMinimapChanged, this,
        [this] { m_text->setMinimap(m_state.panels().showMinimap()); });
    connect(&state.display(), &DisplaySettings::darkChanged, this, &PreviewPanel::followTheme);
    connect(&state.filters(), &Filters::searchTextChanged, this, &PreviewPanel::followSearch);
    connect(&state.filters(), &Filters::searchInTextChanged, this, &PreviewPanel::followSearch);
    connect(m_text, &TextPreview::scrolled, this, [this](qint64 line) {
        m_state.preview().setTopLine(line);
        followParts(line);
    });
    connect(m_parts, &QListWidget::itemClicked, this,
        [this](QListWidgetItem* item) { m_text->showLine(item->data(Qt::UserRole).toLongLong()); });
    connect(m_markdown, &MarkdownPreview::fileLinked, this, [this](const QString& path) {
        if (const FileNode* node = m_state.root() ? m_state.root()->find(path) : nullptr)
            m_state.select(node);
    });
    m_text->setMinimap(panels.showMinimap());
    followTheme();
    rebuild();
}

bool PreviewPanel::eventFilter(QObject*, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonPress)
        m_state.panels().setPreviewKeys(true);
    return false;
}

void PreviewPanel::pressKey(const KeyPress& key)
{
    QWidget* view = m_pages->currentWidget() == m_textPage ? m_text : m_pages->currentWidget();
    QKeyEvent press(QEvent::KeyPress, key.key, key.modifiers, key.text);
    QCoreApplication::sendEvent(view, &press);
}

std::optional<PreviewKind> PreviewPanel::shownKind() const
{
    return m_shownKind;
}

void PreviewPanel::followTheme()
{
    const Theme& theme = Theme::of(m_state.display().dark());
    m_text->setTheme(theme);
    m_hex->setTheme(theme);
    m_markdown->setTheme(theme);
    m_image->setTheme(theme);
    m_drawing->setTheme(theme);
    QPalette mark = m_keysMark->palette();
    mark.setColor(QPalette::Window, theme.accent);
    m_keysMark->setPalette(mark);
    // The rendered page takes its link colours from the style sheet it was set with.
    if (m_shownKind == PreviewKind::markdown)
        rebuild();
}

void PreviewPanel::followSearch()
{
    const Filters& filters = m_state.filters();
    m_text->setNeedle(filters.searchInText() ? TextNeedle::make(filters.searchText()) : std::nullopt);
}

void PreviewPanel::rebuild()
{
    const std::shared_ptr<const PreviewContent>& content = m_state.preview().content();
    const Panels& panels = m_state.panels();
    m_shown = content;
    m_shownKind.reset();
    m_imageSize.clear();
    m_caption->setVisible(content && !content->caption.isEmpty());
    m_caption->setText(content ? content->caption : QString());
    if (!content) {
        m_title->setText(QStringLiteral("Preview"));
        m_message->setText(QStringLiteral("Select a file to preview it."));
        m_pages->setCurrentWidget(m_message);
        m_text->setText(nullptr, {});
        m_hex->setBytes(nullptr);
        refreshFacts();
        return;
    }
    m_title->setText(content->node ? content->node->relativePath : content->name);
    if (content->message || !content->text) {
        m_message->setText(content->message.value_or(QString()));
        m_pages->setCurrentWidget(m_message);
        refreshFacts();
        return;
    }
    const PreviewKind kind
        = Preview::shownKind(content->kind, content->name, panels.hexMode(), panels.rawSource());
    m_shownKind = kind;
    const std::shared_ptr<MappedText>& text = content->text;
    const auto whole = [&text] { return text->bytes(0, text->size()); };
    switch (kind) {
    case PreviewKind::text:
        m_text->setText(text, content->name);
        followSearch();
        listParts();
        m_pages->setCurrentWidget(m_textPage);
        break;
    case PreviewKind::bytes:
        m_hex->setBytes(text);
        m_pages->setCurrentWidget(m_hex);
        break;
    case PreviewKind::markdown: {
        const QString folder = m_state.root() ? m_state.root()->url : QFileInfo(content->url).absolutePath();
        m_markdown->show(QByteArray(whole()),
            !content->name.endsWith(u".md", Qt::CaseInsensitive)
                && !content->name.endsWith(u".markdown", Qt::CaseInsensitive),
            content->url, folder);
        m_pages->setCurrentWidget(m_markdown);
        break;
    }
    case PreviewKind::image: {
        QString error;
        if (m_image->show(QByteArray(whole()), &error)) {
            m_imageSize = QStringLiteral("%1 × %2 px")
                              .arg(m_image->imageSize().width())
                              .arg(m_image->imageSize().height());
            m_pages->setCurrentWidget(m_image);
        } else {
            m_message->setText(content->name + QStringLiteral(" cannot be drawn: ") + error
                + QStringLiteral(". Press x to see its bytes."));
            m_pages->setCurrentWidget(m_message);
        }
        break;
    }
    case PreviewKind::drawing:
        if (content->drawing) {
            m_drawing->setDrawing(content->drawing);
            m_pages->setCurrentWidget(m_drawing);
        } else {
            m_message->setText(m_state.preview().reading() ? QStringLiteral("Reading the drawing…")
                                                           : content->name
                        + QStringLiteral(" holds no drawing Korvane reads. Press v for its text."));
            m_pages->setCurrentWidget(m_message);
        }
        break;
    }
    refreshFacts();
}

void PreviewPanel::listParts()
{
    m_parts->clear();
    const std::shared_ptr<const WebDocument>& document = m_shown ? m_shown->document : nullptr;
    m_parts->setVisible(document != nullptr);
    if (!document)
        return;
    for (const WebDocument::Node& node : document->nodes) {
        // Parts with a name and lines of their own; the file's includes and a function's own variables
        // would crowd out what one jumps to.
        if (node.name.isEmpty() || node.line < 0 || node.role == WebDocument::Role::variable
            || node.role == WebDocument::Role::external)
            continue;
        auto* item = new QListWidgetItem(
            QString(int(std::min<qint64>(node.depth, 6)) * 2, u' ') + node.name, m_parts);
        item->setData(Qt::UserRole, node.line);
        item->setData(Qt::UserRole + 1, node.endLine);
        item->setToolTip(
            node.name + QStringLiteral(" · lines %1–%2").arg(node.line + 1).arg(node.endLine + 1));
    }
    followParts(m_text->topLine());
    fitParts();
}

// The parts stand beside the text only while the text keeps room enough to read.
void PreviewPanel::fitParts()
{
    m_parts->setVisible(m_parts->count() > 0 && width() >= partsWidth + 480);
}

void PreviewPanel::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    fitParts();
}

// The innermost part at the top of the screen is the one marked in the list.
void PreviewPanel::followParts(qint64 topLine)
{
    QListWidgetItem* inside = nullptr;
    for (int row = 0; row < m_parts->count(); ++row) {
        QListWidgetItem* item = m_parts->item(row);
        const qint64 line = item->data(Qt::UserRole).toLongLong();
        if (line <= topLine && item->data(Qt::UserRole + 1).toLongLong() >= topLine
            && (!inside || line >= inside->data(Qt::UserRole).toLongLong()))
            inside = item;
    }
    const QSignalBlocker quiet(m_parts);
    m_parts->setCurrentItem(inside);
    if (inside)
        m_parts->scrollToItem(inside);
}

void PreviewPanel::refreshFacts()
{
    QStringList facts;
    const std::shared_ptr<const PreviewContent>& content = m_shown;
    if (content && content->text && !content->message && m_shownKind) {
        facts << kindTitle(*m_shownKind, content->name);
        if (*m_shownKind == PreviewKind::text) {
            const MappedText& text = *content->text;
            facts << (text.indexed() ? Format::count(text.lineCount(), u"line")
                                     : QStringLiteral("counting lines… %1 so far")
                                           .arg(Format::count(text.lineCount(), u"line")));
        }
        if (*m_shownKind == PreviewKind::image && !m_imageSize.isEmpty())
            facts << m_imageSize;
        if (*m_shownKind == PreviewKind::drawing && content->drawing)
            forEachCount(*content->drawing, [&](const CountedKind& counted, qsizetype count) {
                if (count > 0 && facts.size() < 4)
                    facts << Format::count(count, counted.unit);
            });
        facts << Format::bytes(content->size);
    }
    m_facts->setText(facts.join(QStringLiteral("  ·  ")));
    m_facts->setVisible(!facts.isEmpty());
}

void PreviewPanel::page(int step)
{
    if (m_pages->currentWidget() == m_textPage)
        m_text->page(step);
    else if (m_pages->currentWidget() == m_hex)
        m_hex->page(step);
    else if (m_pages->currentWidget() == m_markdown)
        m_markdown->verticalScrollBar()->setValue(
            m_markdown->verticalScrollBar()->value() + step * m_markdown->verticalScrollBar()->pageStep());
    else if (m_pages->currentWidget() == m_drawing)
        m_drawing->zoomBy(step > 0 ? 1.25 : 0.8);
}

void PreviewPanel::stepHit(int step)
{
    if (m_pages->currentWidget() == m_markdown) {
        const QString text = m_state.filters().searchText().trimmed();
        if (!m_markdown->find(text, step < 0 ? QTextDocument::FindBackward : QTextDocument::FindFlags()))
            m_state.setErrorMessage(
                QStringLiteral("No more hits of “") + text + QStringLiteral("” this way."));
        return;
    }
    if (m_pages->currentWidget() != m_textPage) {
        m_state.setErrorMessage(QStringLiteral("Hits are marked in the text; press x or v to see it."));
        return;
    }
    if (!m_text->stepHit(step))
        m_state.setErrorMessage(QStringLiteral("No more hits of “") + m_state.filters().searchText().trimmed()
            + QStringLiteral("” this way."));
}

QJsonObject PreviewPanel::facts() const
{
    QJsonObject object;
    const std::shared_ptr<const PreviewContent>& content = m_shown;
    object.insert(
        u"file"_s, content && content->node ? QJsonValue(content->node->relativePath) : QJsonValue());
    object.insert(u"message"_s, content && content->message ? QJsonValue(*content->message) : QJsonValue());
    object.insert(u"caption"_s, content ? content->caption : QString());
    object.insert(u"facts"_s, m_facts->text());
    if (!content || !content->text || content->message)
        return object;
    const MappedText& text = *content->text;
    object.insert(u"size"_s, text.size());
    object.insert(u"lines"_s, text.lineCount());
    object.insert(u"linesCounted"_s, text.indexed());
    object.insert(u"topLine"_s, m_text->topLine());
    object.insert(u"markedLine"_s, m_text->markedLine() ? QJsonValue(*m_text->markedLine()) : QJsonValue());
    const QRect band = m_text->minimapBand();
    object.insert(u"minimapBand"_s,
        band.isEmpty() ? QJsonValue() : QJsonValue(QJsonArray { band.top(), band.height() }));
    object.insert(
        u"hexFirstRow"_s, m_shownKind == PreviewKind::bytes ? m_hex->rowText(m_hex->topRow()) : QString());
    object.insert(u"parts"_s, m_parts->count());
    if (m_shownKind == PreviewKind::markdown)
        object.insert(u"headingScale"_s, m_markdown->headingScale());
    if (m_shownKind == PreviewKind::image)
        object.insert(
            u"imageSize"_s, QJsonArray { m_image->imageSize().width(), m_image->imageSize().height() });
    if (m_shownKind == PreviewKind::drawing && content->drawing) {
        QJsonObject counts;
        forEachCount(*content->drawing, [&](const CountedKind& counted, qsizetype count) {
            counts.insert(QString::fromUtf16(counted.name), count);
        });
        object.insert(u"drawing"_s, counts);
    }
    return object;
}
