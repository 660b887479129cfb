#include "scene/labels.h"

#include "model/format.h"
#include "scene/scenecontroller.h"

#include <QFontMetricsF>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QSet>

#include <algorithm>

namespace {

// At most this many names at once, so that the city stays in front of them.
constexpr std::size_t mostLabels = 40;
// The selection's siblings are named when there are at most this many.
constexpr std::size_t fewSiblings = 8;
constexpr std::size_t tallestNamed = 5;

QFont labelFont(int pixelSize, bool folder)
{
    QFont font;
    font.setPixelSize(pixelSize);
    font.setWeight(folder ? QFont::DemiBold : QFont::Normal);
    return font;
}

// The pill a name stands on, from its text's size, centred on a point.
QRectF pillAround(QPointF centre, const QSizeF& text)
{
    const QSizeF size(text.width() + 10, text.height() + 2);
    return QRectF(centre - QPointF(size.width() / 2, size.height() / 2), size);
}

// How a folder, or a part that holds others, is named over the scene.
QString folderName(const FileNode& node, const SceneConfig& config)
{
    return config.parts ? node.name : node.name + u'/';
}

QString detail(const FileNode& node, const SceneConfig& config)
{
    const QLocale locale;
    if (node.isDirectory)
        return Format::count(node.fileCount, config.parts ? u"part" : u"file");
    if (config.parts)
        return node.language->name + QStringLiteral(" · ") + Format::count(node.lines, u"line");
    switch (config.height) {
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
        return scene.config().parts ? QStringLiteral("No parts found in this file.")
                                    : QStringLiteral("This folder holds no files to draw.");
    if (graph && scene.layout().edges.empty())
        return QStringLiteral("No imports between the files here.");
    return {};
}

namespace {

// The selection's tag: where it stands, with its two lines, and the point its leader starts from.
struct Tag {
    QRectF box;
    QPointF anchor;
    QString name, detail;
    QFont nameFont, detailFont;
};

constexpr double tagPadX = 9, tagPadY = 6, tagGap = 2;

std::optional<Tag> selectionTag(const SceneController& scene, QSize view)
{
    const FileNode* selected = scene.selection();
    if (!selected || view.isEmpty())
        return std::nullopt;
    const std::optional<QPointF> anchor = scene.screenPoint(selected, view);
    if (!anchor)
        return std::nullopt;
    Tag tag;
    tag.anchor = *anchor;
    tag.nameFont = labelFont(13, true);
    tag.detailFont = labelFont(11, false);
    const QFontMetricsF nameMetrics(tag.nameFont), detailMetrics(tag.detailFont);
    tag.name = selected->parent ? selected->name : folderName(*selected, scene.config());
    tag.detail = detail(*selected, scene.config());
    const double width
        = std::max(nameMetrics.horizontalAdvance(tag.name), detailMetrics.horizontalAdvance(tag.detail))
        + 2 * tagPadX;
    const double height = nameMetrics.height() + tagGap + detailMetrics.height() + 2 * tagPadY;
    const double lift = 26;

    // Above the roof when there is room, else beside it, else below; always inside the view.
    const QRectF area = QRectF(QPointF(0, 0), QSizeF(view)).adjusted(4, 4, -4, -4);
    const QRectF choices[] = {
        QRectF(anchor->x() - width / 2, anchor->y() - lift - height, width, height),
        QRectF(anchor->x() + lift, anchor->y() - height / 2, width, height),
        QRectF(anchor->x() - lift - width, anchor->y() - height / 2, width, height),
        QRectF(anchor->x() - width / 2, anchor->y() + lift, width, height),
    };
    tag.box = choices[0];
    for (const QRectF& choice : choices) {
        if (area.contains(choice)) {
            tag.box = choice;
            break;
        }
    }
    tag.box.moveLeft(std::clamp(tag.box.left(), area.left(), std::max(area.left(), area.right() - width)));
    tag.box.moveTop(std::clamp(tag.box.top(), area.top(), std::max(area.top(), area.bottom() - height)));
    return tag;
}

void paintTag(QPainter& painter, const Theme& theme, const Tag& tag)
{
    const QFontMetricsF nameMetrics(tag.nameFont), detailMetrics(tag.detailFont);
    // The leader meets the tag's nearest edge.
    const QPointF end(std::clamp(tag.anchor.x(), tag.box.left(), tag.box.right()),
        std::clamp(tag.anchor.y(), tag.box.top(), tag.box.bottom()));
    painter.setPen(QPen(theme.accent, 1.5));
    painter.drawLine(tag.anchor, end);
    painter.setBrush(theme.accent);
    painter.setPen(QPen(theme.paper, 1.5));
    painter.drawEllipse(tag.anchor, 3.5, 3.5);

    QColor fill = theme.paper;
    fill.setAlphaF(0.94f);
    painter.setBrush(fill);
    painter.setPen(QPen(theme.ruleStrong, 1));
    painter.drawRoundedRect(tag.box, 4, 4);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.accent);
    painter.drawRect(QRectF(tag.box.left() + 0.5, tag.box.top() + 4, 2.5, tag.box.height() - 8));

    painter.setFont(tag.nameFont);
    painter.setPen(theme.ink);
    painter.drawText(
        QPointF(tag.box.left() + tagPadX, tag.box.top() + tagPadY + nameMetrics.ascent()), tag.name);
    painter.setFont(tag.detailFont);
    painter.setPen(theme.ink3);
    painter.drawText(QPointF(tag.box.left() + tagPadX,
                         tag.box.top() + tagPadY + nameMetrics.height() + tagGap + detailMetrics.ascent()),
        tag.detail);
}

} // namespace

namespace {

// The names, kept off the selection's tag when there is one.
std::vector<SceneLabel> placeAround(const SceneController& scene, QSize view, const std::optional<Tag>& tag)
{
    std::vector<SceneLabel> placed;
    if (view.isEmpty() || scene.entities().empty())
        return placed;
    const QRectF area = QRectF(QPointF(0, 0), QSizeF(view)).adjusted(4, 4, -4, -4);
    std::vector<QRectF> taken;
    if (tag)
        taken.push_back(tag->box.adjusted(-3, -3, 3, 3));
    const QMatrix4x4 matrix = scene.viewProjection(view);
    // Nor does a name cover the selection itself, when it is a building.
    if (const EntityNode* chosen = scene.selection() ? scene.entityFor(scene.selection()) : nullptr;
        chosen && chosen->kind() == PlacementKind::building) {
        if (const std::optional<QRectF> bounds = SceneController::screenBounds(matrix, chosen->box(), view))
            taken.push_back(*bounds);
    }
    const auto place = [&](const FileNode* file, const QString& text, QPointF centre, int pixelSize,
                           bool folder) {
        if (placed.size() >= mostLabels)
            return;
        const QFontMetricsF metrics(labelFont(pixelSize, folder));
        const QRectF box = pillAround(centre, QSizeF(metrics.horizontalAdvance(text), metrics.height()));
        if (!area.contains(box))
            return;
        const QRectF spaced = box.adjusted(-2, -1, 2, 1);
        for (const QRectF& other : taken) {
            if (other.intersects(spaced))
                return;
        }
        taken.push_back(spaced);
        placed.push_back({ file, text, box, pixelSize, folder });
    };
    const FileNode* selected = scene.selection();

    // The selection's siblings, when few, over their own roofs or lots.
    if (selected && selected->parent && selected->parent->children.size() <= fewSiblings) {
        for (const auto& sibling : selected->parent->children) {
            if (sibling.get() == selected)
                continue;
            if (const std::optional<QPointF> at = scene.screenPoint(sibling.get(), view))
                place(sibling.get(),
                    sibling->isDirectory ? folderName(*sibling, scene.config()) : sibling->name,
                    *at - QPointF(0, 10), 11, sibling->isDirectory);
        }
    }

    // Folders, by how much of the screen their lot takes; a folder drawn whole as one block
    // carries its count of files.
    struct Candidate {
        const EntityNode* entity;
        QRectF bounds; // of a folder, on screen
        float top = 0; // of a building, in the scene
    };
    std::vector<Candidate> folders, buildings;
    for (const EntityNode& entity : scene.entities()) {
        if (entity.hidden || !entity.file || !entity.placement)
            continue;
        const bool lot = entity.kind() != PlacementKind::building && entity.file->isDirectory;
        const bool block = entity.kind() == PlacementKind::building && entity.file->isDirectory;
        if ((lot || block) && entity.file->parent && entity.file != scene.root()) {
            if (const std::optional<QRectF> bounds
                = SceneController::screenBounds(matrix, entity.box(), view))
                folders.push_back({ &entity, *bounds });
        } else if (entity.kind() == PlacementKind::building) {
            buildings.push_back({ &entity, {}, entity.box().max.y() });
        }
    }
    // A folder drawn whole stands on a lot of its own: the block's name, with its count, says it all.
    QSet<const FileNode*> blocks;
    for (const Candidate& folder : folders) {
        if (folder.entity->kind() == PlacementKind::building)
            blocks.insert(folder.entity->file);
    }
    folders.erase(std::remove_if(folders.begin(), folders.end(),
                      [&](const Candidate& folder) {
                          return folder.entity->kind() != PlacementKind::building
                              && blocks.contains(folder.entity->file);
                      }),
        folders.end());
    // A lot weighs what it covers on screen; a tree's folder disc, small whatever lies below it, what
    // it holds.
    const auto weight = [](const Candidate& folder) {
        return folder.entity->kind() == PlacementKind::junction
            ? double(folder.entity->file->fileCount)
            : folder.bounds.width() * folder.bounds.height();
    };
    std::sort(folders.begin(), folders.end(),
        [&](const Candidate& a, const Candidate& b) { return weight(a) > weight(b); });
    for (const Candidate& folder : folders) {
        const FileNode& file = *folder.entity->file;
        const PlacementKind kind = folder.entity->kind();
        QString text = folderName(file, scene.config());
        if (kind == PlacementKind::building)
            text += u" · "_qs + Format::count(file.fileCount, u"file");
        const int pixelSize
            = kind == PlacementKind::junction ? 11 : std::clamp(int(folder.bounds.width() / 14), 10, 15);
        // A name much wider than its lot would seem to belong to its neighbours.
        if (kind == PlacementKind::paving
            && QFontMetricsF(labelFont(pixelSize, true)).horizontalAdvance(text)
                > folder.bounds.width() * 1.3)
            continue;
        const QPointF centre = folder.bounds.center();
        place(&file, text,
            kind == PlacementKind::paving ? centre : QPointF(centre.x(), folder.bounds.top() - 10), pixelSize,
            true);
    }

    // The tallest buildings, over their roofs.
    std::partial_sort(buildings.begin(),
        buildings.begin() + std::ptrdiff_t(std::min(tallestNamed, buildings.size())), buildings.end(),
        [](const Candidate& a, const Candidate& b) { return a.top > b.top; });
    for (std::size_t i = 0; i < std::min(tallestNamed, buildings.size()); ++i) {
        const FileNode* file = buildings[i].entity->file;
        if (file == selected)
            continue;
        if (const std::optional<QPointF> at = scene.screenPoint(file, view))
            place(file, file->name, *at - QPointF(0, 10), 11, false);
    }
    return placed;
}

} // namespace

std::vector<SceneLabel> placeLabels(const SceneController& scene, QSize view)
{
    return placeAround(scene, view, selectionTag(scene, view));
}

void paintLabels(QPainter& painter, const SceneController& scene, QSize view, bool moving)
{
    if (const QString note = emptySceneNote(scene); !note.isEmpty() && !view.isEmpty())
        paintNote(painter, scene, view, note);
    const Theme& theme = scene.theme();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const std::optional<Tag> tag = selectionTag(scene, view);
    if (!moving) {
        QColor pill = theme.paper;
        pill.setAlphaF(0.78f);
        for (const SceneLabel& label : placeAround(scene, view, tag)) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(pill);
            painter.drawRoundedRect(label.box, label.box.height() / 2, label.box.height() / 2);
            painter.setFont(labelFont(label.pixelSize, label.folder));
            painter.setPen(label.folder ? theme.ink : theme.ink2);
            painter.drawText(label.box, Qt::AlignCenter, label.text);
        }
    }
    if (tag)
        paintTag(painter, theme, *tag);
    painter.restore();
}
