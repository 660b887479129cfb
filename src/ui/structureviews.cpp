#include "ui/structureviews.h"

#include "layout/partcity.h"
#include "scene/theme.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QToolTip>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>

namespace {

// The stream a treemap shows: the focused part's, else the one with the most lines.
WebStream shownStream(const WebDocument& document, const WebDocument::Node* focus)
{
    if (focus)
        return focus->stream;
    const WebDocument::Stats& stats = document.stats;
    if (stats.scriptLines >= stats.styleLines && stats.scriptLines >= stats.markupLines)
        return WebStream::script;
    return stats.styleLines >= stats.markupLines ? WebStream::style : WebStream::markup;
}

// A canvas that draws with a function and passes clicks on, for the flow inside its scroll area.
class Canvas : public QWidget {
public:
    std::function<void(QPainter&)> paint;
    std::function<void(QPointF, bool twice)> click;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (paint)
            paint(painter);
    }
    void mousePressEvent(QMouseEvent* event) override
    {
        if (click)
            click(event->position(), false);
    }
    void mouseDoubleClickEvent(QMouseEvent* event) override
    {
        if (click)
            click(event->position(), true);
    }
};

} // namespace

QString lineRange(const WebDocument::Node& node)
{
    if (node.line < 0)
        return {};
    return node.endLine > node.line ? QStringLiteral("%1–%2").arg(node.line + 1).arg(node.endLine + 1)
                                    : QString::number(node.line + 1);
}

QString partLines(const WebDocument::Node& node)
{
    if (node.line < 0)
        return {};
    return (node.endLine > node.line ? QStringLiteral("lines ") : QStringLiteral("line ")) + lineRange(node);
}

QColor roleColor(WebRole role, bool dark)
{
    // The city's palette, toned toward the ground so that names written on it stay readable.
    const Language& kind = PartCity::roleLanguage(role);
    const QColor color = QColor::fromRgb(dark ? kind.darkColor : kind.lightColor);
    return dark ? color.darker(150) : color.lighter(165);
}

// --- treemap --------------------------------------------------------------------------------

StructureTreemap::StructureTreemap(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
{
    setMouseTracking(true);
    setMinimumHeight(160);
    connect(&state.structure(), &StructureController::structureChanged, this, &StructureTreemap::relayout);
    connect(&state.structure(), &StructureController::focusChanged, this, &StructureTreemap::relayout);
}

void StructureTreemap::relayout()
{
    m_tiles.clear();
    const std::shared_ptr<const WebDocument>& document = m_state.structure().document();
    if (document && !document->nodes.empty())
        m_tiles = CodeTreemap(*document, shownStream(*document, m_state.structure().focusedNode()))
                      .layout(QSizeF(size()));
    update();
}

void StructureTreemap::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    relayout();
}

void StructureTreemap::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const Theme theme = Theme::of(m_state.display().dark());
    const std::shared_ptr<const WebDocument>& document = m_state.structure().document();
    if (!document)
        return;
    if (m_tiles.empty()) {
        painter.setPen(theme.ink3);
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("No parts to tile."));
        return;
    }
    const std::optional<qsizetype> focus = m_state.structure().focus();
    const QFontMetrics metrics(font());
    for (const CodeTreemap::Tile& tile : m_tiles) {
        const WebDocument::Node& node = document->nodes[std::size_t(tile.index)];
        const QRectF box = tile.rect.adjusted(0.5, 0.5, -0.5, -0.5);
        QColor fill = roleColor(node.role, theme.dark);
        if (tile.header)
            fill = theme.dark ? fill.darker(150) : fill.lighter(115);
        painter.fillRect(box, fill);
        painter.setPen(QPen(theme.paper, 1));
        painter.drawRect(box);
        if (box.width() > 30 && box.height() >= 14) {
            painter.setPen(theme.dark ? theme.ink : QColor(20, 20, 24));
            const QRectF text = tile.header
                ? QRectF(box.left() + 4, box.top(), box.width() - 8, CodeTreemap::headerHeight)
                : box.adjusted(4, 2, -4, -2);
            painter.drawText(text, Qt::AlignLeft | Qt::AlignTop,
                metrics.elidedText(node.name, Qt::ElideMiddle, int(text.width())));
        }
    }
    // The focus on top, outlined in the accent colour.
    for (const CodeTreemap::Tile& tile : m_tiles) {
        if (focus == tile.index) {
            painter.setPen(QPen(theme.accent, 2));
            painter.drawRect(tile.rect.adjusted(1, 1, -1, -1));
        }
    }
}

void StructureTreemap::mousePressEvent(QMouseEvent* event)
{
    if (const CodeTreemap::Tile* tile = CodeTreemap::hit(m_tiles, event->position()))
        m_state.structure().setFocus(tile->index);
}

void StructureTreemap::mouseMoveEvent(QMouseEvent* event)
{
    const CodeTreemap::Tile* tile = CodeTreemap::hit(m_tiles, event->position());
    const std::shared_ptr<const WebDocument>& document = m_state.structure().document();
    if (!tile || !document) {
        QToolTip::hideText();
        return;
    }
    const WebDocument::Node& node = document->nodes[std::size_t(tile->index)];
    QToolTip::showText(event->globalPosition().toPoint(), node.name + u'\n' + partLines(node), this);
}

// --- flow -----------------------------------------------------------------------------------

StructureFlow::StructureFlow(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_fewer(new QPushButton(QStringLiteral("Follow fewer calls"), this))
    , m_more(new QPushButton(QStringLiteral("Follow more calls"), this))
    , m_empty(new QLabel(this))
    , m_scroll(new QScrollArea(this))
{
    auto* canvas = new Canvas;
    m_canvas = canvas;
    for (QPushButton* button : { m_fewer, m_more })
        button->setFocusPolicy(Qt::NoFocus);
    auto* help = new QLabel(
        QStringLiteral(
            "Left to right in the order things run. Click a function to centre on it; double-click "
            "to read it."),
        this);
    help->setProperty("class", QStringLiteral("faint"));
    help->setWordWrap(true);
    m_empty->setProperty("class", QStringLiteral("secondary"));
    m_empty->setWordWrap(true);
    m_empty->setAlignment(Qt::AlignCenter);
    m_scroll->setWidget(m_canvas);
    m_scroll->setWidgetResizable(false);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_fewer);
    buttons->addWidget(m_more);
    buttons->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(help);
    layout->addLayout(buttons);
    layout->addWidget(m_empty);
    layout->addWidget(m_scroll, 1);

    canvas->paint = [this](QPainter& painter) {
        const Theme theme = Theme::of(m_state.display().dark());
        painter.fillRect(QRectF(QPointF(0, 0), m_graph.size), theme.wash);
        for (const FlowGraph::Edge& edge : m_graph.edges) {
            const FlowGraph::Box* from = m_graph.box(edge.from);
            const FlowGraph::Box* to = m_graph.box(edge.to);
            if (!from || !to)
                continue;
            // A call back to an earlier column closes a loop: dashed, so it reads as going back.
            const bool back = to->layer <= from->layer;
            const QPointF start(from->rect.right(), from->rect.center().y());
            const QPointF end(to->rect.left(), to->rect.center().y());
            const double bend = std::max(30.0, std::abs(end.x() - start.x()) / 2);
            QPainterPath path(start);
            path.cubicTo(start + QPointF(bend, 0), end - QPointF(bend, 0), end);
            painter.setPen(
                QPen(edge.upstream ? theme.ink2 : theme.accent, 1.4, back ? Qt::DashLine : Qt::SolidLine));
            painter.setBrush(Qt::NoBrush);
            painter.drawPath(path);
        }
        const std::optional<qsizetype> focus = m_state.structure().focus();
        const QFontMetrics metrics(font());
        for (const FlowGraph::Box& box : m_graph.boxes) {
            const WebDocument::Node& node = m_state.structure().document()->nodes[std::size_t(box.index)];
            painter.setPen(
                QPen(box.focus || focus == box.index ? theme.accent : theme.ruleStrong, box.focus ? 2 : 1));
            painter.setBrush(roleColor(node.role, theme.dark));
            painter.drawRoundedRect(box.rect, 4, 4);
            painter.setPen(theme.dark ? theme.ink : QColor(20, 20, 24));
            painter.drawText(box.rect.adjusted(6, 0, -6, 0), Qt::AlignVCenter | Qt::AlignLeft,
                metrics.elidedText(m_flow->label(box.index), Qt::ElideMiddle, int(box.rect.width() - 12)));
        }
    };
    canvas->click = [this](QPointF at, bool) {
        if (const FlowGraph::Box* box = FlowGraph::hit(m_graph, at))
            m_state.structure().setFocus(box->index);
    };
    connect(m_fewer, &QPushButton::clicked, this, [this] { setReach(m_reach - 1); });
    connect(m_more, &QPushButton::clicked, this, [this] { setReach(m_reach + 1); });
    connect(&state.structure(), &StructureController::structureChanged, this, &StructureFlow::rebuild);
    connect(&state.structure(), &StructureController::focusChanged, this, &StructureFlow::rebuild);
}

void StructureFlow::setReach(int reach)
{
    m_reach = std::clamp(reach, 1, FlowGraph::maxReach);
    rebuild();
}

void StructureFlow::rebuild()
{
    const StructureController& structure = m_state.structure();
    const std::shared_ptr<const WebDocument>& document = structure.document();
    m_graph = {};
    m_flow.reset();
    if (document)
        m_flow.emplace(*document);
    const WebDocument::Node* focus = structure.focusedNode();
    const bool centred = m_flow && focus && isCallableRole(focus->role);
    if (m_flow)
        m_graph = centred ? m_flow->centred(focus->id, m_reach) : m_flow->whole();
    // Alone in its graph, a function has no flow to show.
    const bool alone = centred && m_graph.boxes.size() <= 1;
    m_fewer->setEnabled(centred && m_reach > 1);
    m_more->setEnabled(centred && m_reach < FlowGraph::maxReach);
    m_empty->setVisible(m_flow && (m_graph.isEmpty() || alone));
    m_empty->setText(alone
            ? QStringLiteral("Nothing calls this and it calls nothing the file defines.")
            : QStringLiteral("No calls between the functions here, so there is no flow to draw."));
    m_scroll->setVisible(!m_empty->isVisible());
    m_canvas->resize(m_graph.size.toSize());
    m_canvas->update();
    if (const FlowGraph::Box* box = focus ? m_graph.box(focus->id) : nullptr)
        m_scroll->ensureVisible(int(box->rect.center().x()), int(box->rect.center().y()), 120, 60);
}

// --- links ----------------------------------------------------------------------------------

StructureLinks::StructureLinks(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_title(new QLabel(this))
    , m_list(new QTreeWidget(this))
{
    m_title->setProperty("class", QStringLiteral("secondary"));
    m_title->setWordWrap(true);
    m_list->setColumnCount(2);
    m_list->setHeaderHidden(true);
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_list->setTextElideMode(Qt::ElideMiddle);
    m_list->setFocusPolicy(Qt::NoFocus);
    m_list->setRootIsDecorated(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_title);
    layout->addWidget(m_list, 1);
    connect(m_list, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        if (const QVariant id = item->data(0, Qt::UserRole); id.isValid())
            m_state.structure().setFocus(id.toLongLong());
    });
    connect(m_list, &QTreeWidget::itemClicked, m_list, &QTreeWidget::itemActivated);
    connect(&state.structure(), &StructureController::structureChanged, this, &StructureLinks::rebuild);
    connect(&state.structure(), &StructureController::focusChanged, this, &StructureLinks::rebuild);
}

void StructureLinks::rebuild()
{
    m_list->clear();
    const StructureController& structure = m_state.structure();
    const std::shared_ptr<const WebDocument>& document = structure.document();
    if (!document)
        return;
    const WebDocument::Node* focus = structure.focusedNode();
    if (!focus) {
        // The whole file: how many links of each kind.
        m_title->setText(QStringLiteral("The file's %1 links by kind. Choose a part for its own.")
                             .arg(document->links.size()));
        for (const LinkKind kind : linkKinds) {
            const auto count = std::count_if(document->links.begin(), document->links.end(),
                [kind](const WebDocument::Link& link) { return link.kind == kind; });
            if (count > 0)
                new QTreeWidgetItem(m_list, { linkKindName(kind), QString::number(count) });
        }
        return;
    }
    m_title->setText(focus->name + QStringLiteral(" · ") + partLines(*focus));
    const auto group = [&](const QString& title, const QList<qsizetype>& positions, bool outgoing) {
        auto* top = new QTreeWidgetItem(m_list, { title, QString::number(positions.size()) });
        top->setFirstColumnSpanned(false);
        for (const LinkKind kind : linkKinds) {
            QTreeWidgetItem* kindItem = nullptr;
            for (const qsizetype position : positions) {
                const WebDocument::Link& link = document->links[std::size_t(position)];
                if (link.kind != kind)
                    continue;
                if (!kindItem)
                    kindItem = new QTreeWidgetItem(top, { linkKindName(kind) });
                const WebDocument::Node& other = document->nodes[std::size_t(outgoing ? link.to : link.from)];
                auto* entry = new QTreeWidgetItem(kindItem, { other.name, partLines(other) });
                entry->setData(0, Qt::UserRole, qlonglong(other.id));
            }
            if (kindItem)
                kindItem->setText(1, QString::number(kindItem->childCount()));
        }
    };
    group(QStringLiteral("Out of it"), document->outgoing[std::size_t(focus->id)], true);
    group(QStringLiteral("Into it"), document->incoming[std::size_t(focus->id)], false);
    m_list->expandAll();
}
