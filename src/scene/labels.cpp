#include "scene/labels.h"

#include "scene/scenecontroller.h"

#include <QFontMetricsF>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace {

QString detail(const FileNode& node, HeightMode height)
{
    const QLocale locale;
    if (node.isDirectory) {
        return node.fileCount == 1 ? QStringLiteral("1 file")
                                   : QStringLiteral("%1 files").arg(locale.toString(node.fileCount));
    }
    switch (height) {
    case HeightMode::lines:
        return node.lines == 1 ? QStringLiteral("1 line")
                               : QStringLiteral("%1 lines").arg(locale.toString(node.lines));
    case HeightMode::size: return locale.formattedDataSize(node.size, 1, QLocale::DataSizeSIFormat);
    case HeightMode::churn:
        return node.commits == 1 ? QStringLiteral("1 commit")
                                 : QStringLiteral("%1 commits").arg(locale.toString(node.commits));
    case HeightMode::flat: return node.language ? node.language->name : QString();
    }
    return {};
}

void paintNote(QPainter& painter, const SceneController& scene, QSize view, const QString& note)
{
    painter.save();
    QFont font = painter.font();
    font.setPixelSize(14);
    painter.setFont(font);
    painter.setPen(scene.theme().ink3);
    // Below the bare ground, which the camera frames in the middle.
    const QRectF below(12, view.height() * 0.7, view.width() - 24, view.height() * 0.3);
    painter.drawText(below, Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, note);
    painter.restore();
}

} // namespace

QString emptySceneNote(const SceneController& scene)
{
    const auto& entities = scene.entities();
    const bool standing = std::any_of(entities.begin(), entities.end(),
        [](const EntityNode& entity) { return entity.kind() == PlacementKind::building; });
    if (scene.generation() == 0)
        return {};
    // The graph view waits for the imports, whose reading shows its own progress.
    const bool graph = scene.config().mode == VisualizationMode::graph;
    if (graph && !scene.imports())
        return {};
    if (!standing)
        return QStringLiteral("This folder holds no files to draw.");
    if (graph && scene.layout().edges.empty())
        return QStringLiteral("No imports between the files here.");
    return {};
}

void paintLabels(QPainter& painter, const SceneController& scene, QSize view)
{
    if (const QString note = emptySceneNote(scene); !note.isEmpty() && !view.isEmpty())
        paintNote(painter, scene, view, note);
    const FileNode* selected = scene.selection();
    if (!selected || view.isEmpty())
        return;
    const std::optional<QPointF> anchor = scene.screenPoint(selected, view);
    if (!anchor)
        return;
    const Theme& theme = scene.theme();

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QFont nameFont = painter.font();
    nameFont.setPixelSize(13);
    nameFont.setWeight(QFont::DemiBold);
    QFont detailFont = nameFont;
    detailFont.setPixelSize(11);
    detailFont.setWeight(QFont::Normal);
    const QFontMetricsF nameMetrics(nameFont), detailMetrics(detailFont);

    const QString name = selected->parent ? selected->name : selected->name + u'/';
    const QString more = detail(*selected, scene.config().height);
    const double padX = 9, padY = 6, gap = 2;
    const double width
        = std::max(nameMetrics.horizontalAdvance(name), detailMetrics.horizontalAdvance(more)) + 2 * padX;
    const double height = nameMetrics.height() + gap + detailMetrics.height() + 2 * padY;
    const double lift = 26;

    // Above the roof when there is room, else beside it, else below; always inside the view.
    const QRectF area = QRectF(QPointF(0, 0), QSizeF(view)).adjusted(4, 4, -4, -4);
    const QRectF choices[] = {
        QRectF(anchor->x() - width / 2, anchor->y() - lift - height, width, height),
        QRectF(anchor->x() + lift, anchor->y() - height / 2, width, height),
        QRectF(anchor->x() - lift - width, anchor->y() - height / 2, width, height),
        QRectF(anchor->x() - width / 2, anchor->y() + lift, width, height),
    };
    QRectF tag = choices[0];
    for (const QRectF& choice : choices) {
        if (area.contains(choice)) {
            tag = choice;
            break;
        }
    }
    tag.moveLeft(std::clamp(tag.left(), area.left(), std::max(area.left(), area.right() - width)));
    tag.moveTop(std::clamp(tag.top(), area.top(), std::max(area.top(), area.bottom() - height)));

    // The leader meets the tag's nearest edge.
    const QPointF end(
        std::clamp(anchor->x(), tag.left(), tag.right()), std::clamp(anchor->y(), tag.top(), tag.bottom()));
    painter.setPen(QPen(theme.accent, 1.5));
    painter.drawLine(*anchor, end);
    painter.setBrush(theme.accent);
    painter.setPen(QPen(theme.paper, 1.5));
    painter.drawEllipse(*anchor, 3.5, 3.5);

    QColor fill = theme.paper;
    fill.setAlphaF(0.94f);
    painter.setBrush(fill);
    painter.setPen(QPen(theme.ruleStrong, 1));
    painter.drawRoundedRect(tag, 4, 4);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.accent);
    painter.drawRect(QRectF(tag.left() + 0.5, tag.top() + 4, 2.5, tag.height() - 8));

    painter.setFont(nameFont);
    painter.setPen(theme.ink);
    painter.drawText(QPointF(tag.left() + padX, tag.top() + padY + nameMetrics.ascent()), name);
    painter.setFont(detailFont);
    painter.setPen(theme.ink3);
    painter.drawText(
        QPointF(tag.left() + padX, tag.top() + padY + nameMetrics.height() + gap + detailMetrics.ascent()),
        more);
    painter.restore();
}
