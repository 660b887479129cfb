#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "layout/citylayout.h"
#include "layout/graphlayout.h"
#include "layout/treelayout.h"
#include "model/terminal.h"

#include <cstdio>

namespace Cli {

namespace {

void writeVec(JsonWriter& json, const char* key, Vec3 v)
{
    json.beginArray(key);
    json.value(nullptr, v.x);
    json.value(nullptr, v.y);
    json.value(nullptr, v.z);
    json.endArray();
}

void writePlacement(JsonWriter& json, const Placement& p, const char* key = nullptr)
{
    json.beginObject(key);
    json.value("relativePath", p.file->relativePath);
    json.value("kind", placementKindName(p.kind));
    writeVec(json, "base", p.base);
    writeVec(json, "size", p.size);
    json.value("setback", p.setback);
    json.value("depth", p.depth);
    json.value("aggregate", p.aggregate);
    json.endObject();
}

QByteArray json(const LayoutResult& result)
{
    JsonWriter json;
    json.beginObject();
    json.beginArray("placements");
    for (const Placement& p : result.placements)
        writePlacement(json, p);
    json.endArray();
    json.beginArray("edges");
    for (const auto& [from, to] : result.edges) {
        json.beginArray();
        writeVec(json, nullptr, from);
        writeVec(json, nullptr, to);
        json.endArray();
    }
    json.endArray();
    json.beginArray("edgeEnds");
    for (const auto& [from, to] : result.edgeEnds) {
        json.beginArray();
        json.value(nullptr, from->relativePath);
        json.value(nullptr, to->relativePath);
        json.endArray();
    }
    json.endArray();
    json.beginObject("ground"); // keys as the rectangle of a flat picture: y is the depth
    json.value("x", result.ground.x);
    json.value("y", result.ground.z);
    json.value("w", result.ground.width);
    json.value("h", result.ground.depth);
    json.endObject();
    writeVec(json, "minBound", result.minBound);
    writeVec(json, "maxBound", result.maxBound);
    json.value("maxDepth", result.maxDepth);
    if (result.tallest)
        writePlacement(json, *result.tallest, "tallest");
    else
        json.null("tallest");
    json.value("peak", result.peak);
    json.beginObject("metric");
    json.value("mode", heightModeName(result.metric.mode));
    json.value("maxValue", result.metric.maxValue);
    json.endObject();
    json.value("aggregated", result.aggregated);
    json.endObject();
    return json.bytes();
}

QString point(Vec3 v)
{
    return QStringLiteral("(%1, %2, %3)").arg(v.x, 0, 'f', 2).arg(v.y, 0, 'f', 2).arg(v.z, 0, 'f', 2);
}

QString summary(const FileNode& root, const QString& mode, const LayoutResult& result)
{
    qint64 counts[3] = {};
    for (const Placement& p : result.placements)
        ++counts[int(p.kind)];
    QString text = root.name + QStringLiteral(" as a ") + mode + QStringLiteral(", height by ")
        + heightModeName(result.metric.mode) + u'\n'
        + Terminal::row(QStringLiteral("Placements"),
            Format::grouped(qint64(result.placements.size())) + QStringLiteral(": ")
                + Format::grouped(counts[int(PlacementKind::building)]) + QStringLiteral(" buildings, ")
                + Format::grouped(counts[int(PlacementKind::paving)]) + QStringLiteral(" pavings, ")
                + Format::grouped(counts[int(PlacementKind::junction)]) + QStringLiteral(" junctions"))
        + Terminal::row(QStringLiteral("Edges"), Format::grouped(qint64(result.edges.size())))
        + Terminal::row(QStringLiteral("Aggregated"),
            Format::grouped(result.aggregated) + QStringLiteral(" folders drawn whole"))
        + Terminal::row(QStringLiteral("Bounds"),
            point(result.minBound) + QStringLiteral(" to ") + point(result.maxBound))
        + Terminal::row(QStringLiteral("Max depth"), QString::number(result.maxDepth))
        + Terminal::row(QStringLiteral("Peak"), QString::number(result.peak, 'f', 2));
    if (result.ground.width > 0) {
        text += Terminal::row(QStringLiteral("Ground"),
            QStringLiteral("%1 × %2 from (%3, %4)")
                .arg(result.ground.width, 0, 'f', 2)
                .arg(result.ground.depth, 0, 'f', 2)
                .arg(result.ground.x, 0, 'f', 2)
                .arg(result.ground.z, 0, 'f', 2));
    }
    if (result.tallest) {
        text += Terminal::row(QStringLiteral("Tallest"),
            (result.tallest->file->relativePath.isEmpty() ? QStringLiteral("(root)")
                                                          : result.tallest->file->relativePath)
                + QStringLiteral(", ") + QString::number(result.tallest->size.y, 'f', 2)
                + QStringLiteral(" high"));
    }
    return text;
}

} // namespace

int layout(const Arguments& arguments)
{
    const QString mode = arguments.options.value(QStringLiteral("--mode"), QStringLiteral("city"));
    const auto height
        = heightModeFromName(arguments.options.value(QStringLiteral("--height"), QStringLiteral("lines")));
    bool scaleOk = false;
    const float scale
        = arguments.options.value(QStringLiteral("--scale"), QStringLiteral("1")).toFloat(&scaleOk);
    if (mode != u"city" && mode != u"tree" && mode != u"graph") {
        Terminal::err(QStringLiteral("korvane: --mode is city, tree or graph\n"));
        return 2;
    }
    if (!height) {
        Terminal::err(QStringLiteral("korvane: --height is lines, size, churn or flat\n"));
        return 2;
    }
    if (!scaleOk || !(scale > 0) || !std::isfinite(scale)) {
        Terminal::err(QStringLiteral("korvane: --scale takes a number above 0\n"));
        return 2;
    }
    const std::optional<ScanResult> scanned = scanFolder(arguments.positional.first());
    if (!scanned)
        return 1;
    const FileNode& root = *scanned->root;
    LayoutResult result;
    if (mode == u"graph")
        result = GraphLayout::build(root, readImports(root), *height, scale);
    else if (mode == u"tree")
        result = TreeLayout::build(root, *height, scale);
    else
        result = CityLayout::build(root, *height, scale);
    if (arguments.flags.contains(QStringLiteral("--json"))) {
        const QByteArray out = json(result);
        Terminal::out(out);
    } else {
        Terminal::out(summary(root, mode, result));
    }
    return 0;
}

} // namespace Cli
