#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "document/webreader.h"
#include "layout/flowgraph.h"
#include "model/terminal.h"

#include <QFile>
#include <QFileInfo>

namespace Cli {

namespace {

// The function a name stands for: its first callable definition.
std::optional<qsizetype> functionNamed(const WebDocument& document, const QString& name)
{
    for (const qsizetype id : document.definitions.value(name.toLower())) {
        if (isCallableRole(document.nodes[size_t(id)].role))
            return id;
    }
    for (const WebDocument::Node& node : document.nodes) {
        if (isCallableRole(node.role) && node.name.compare(name, Qt::CaseInsensitive) == 0)
            return node.id;
    }
    return std::nullopt;
}

QString lineText(const WebDocument::Node& node)
{
    if (node.line < 0)
        return {};
    if (node.endLine > node.line)
        return QStringLiteral(" · lines ") + QString::number(node.line + 1) + u'–'
            + QString::number(node.endLine + 1);
    return QStringLiteral(" · line ") + QString::number(node.line + 1);
}

QString summary(const WebDocument& document, const FlowGraph& flow, const FlowGraph::Arranged& graph,
    const QString& fileName)
{
    int layers = 0;
    for (const FlowGraph::Box& box : graph.boxes)
        layers = std::max(layers, box.layer + 1);
    const qsizetype calls = qsizetype(graph.edges.size());
    QString text = fileName + QStringLiteral(": ") + Format::grouped(qint64(graph.boxes.size()))
        + (graph.boxes.size() == 1 ? u" function, "_qs : u" functions, "_qs) + Format::grouped(calls)
        + (calls == 1 ? u" call, "_qs : u" calls, "_qs) + Format::grouped(layers)
        + (layers == 1 ? u" layer"_qs : u" layers"_qs) + QStringLiteral(", ")
        + QString::number(graph.size.width()) + u'×' + QString::number(graph.size.height())
        + QStringLiteral(" points\n");
    int layer = -1;
    for (const FlowGraph::Box& box : graph.boxes) {
        if (box.layer != layer) {
            layer = box.layer;
            text += QStringLiteral("\nLayer ") + QString::number(layer) + u'\n';
        }
        const WebDocument::Node& node = document.nodes[size_t(box.index)];
        text += (box.focus ? QStringLiteral("* ") : QStringLiteral("  ")) + u'#' + QString::number(box.index)
            + u' ' + flow.label(box.index) + lineText(node) + u'\n';
    }
    text += QStringLiteral("\nCalls\n");
    for (const FlowGraph::Edge& edge : graph.edges) {
        const FlowGraph::Box* from = graph.box(edge.from);
        const FlowGraph::Box* to = graph.box(edge.to);
        // A call that goes back to the left closes a cycle.
        const bool backwards = from && to && to->layer <= from->layer;
        text += QStringLiteral("  ") + flow.label(edge.from) + QStringLiteral(" → ") + flow.label(edge.to)
            + (edge.upstream ? QStringLiteral("  (caller)") : QString())
            + (backwards ? QStringLiteral("  (back)") : QString()) + u'\n';
    }
    return text;
}

void rect(JsonWriter& json, const QRectF& r)
{
    json.beginObject("rect");
    json.value("x", r.x());
    json.value("y", r.y());
    json.value("width", r.width());
    json.value("height", r.height());
    json.endObject();
}

QByteArray json(const FlowGraph& flow, const FlowGraph::Arranged& graph)
{
    JsonWriter json;
    json.beginObject();
    json.beginArray("boxes");
    for (const FlowGraph::Box& box : graph.boxes) {
        json.beginObject();
        json.value("index", qint64(box.index));
        json.value("name", flow.label(box.index));
        json.value("layer", qint64(box.layer));
        rect(json, box.rect);
        json.value("focus", box.focus);
        json.endObject();
    }
    json.endArray();
    json.beginArray("edges");
    for (const FlowGraph::Edge& edge : graph.edges) {
        json.beginObject();
        json.value("from", qint64(edge.from));
        json.value("to", qint64(edge.to));
        json.value("upstream", edge.upstream);
        json.endObject();
    }
    json.endArray();
    json.beginObject("size");
    json.value("width", graph.size.width());
    json.value("height", graph.size.height());
    json.endObject();
    json.endObject();
    return json.bytes();
}

} // namespace

int flow(const Arguments& arguments)
{
    int reach = FlowGraph::defaultReach;
    if (arguments.options.contains(QStringLiteral("--reach"))) {
        bool ok = false;
        reach = arguments.options.value(QStringLiteral("--reach")).toInt(&ok);
        if (!ok || reach < 1 || reach > FlowGraph::maxReach) {
            Terminal::err(QStringLiteral("korvane: --reach takes a number of calls from 1 to ")
                + QString::number(FlowGraph::maxReach) + u'\n');
            return 2;
        }
    }
    const QString path = arguments.positional.first();
    const std::optional<WebDocument> document = readDocument(path);
    if (!document)
        return 1;
    const FlowGraph flow(*document);
    FlowGraph::Arranged graph;
    if (arguments.options.contains(QStringLiteral("--focus"))) {
        const QString name = arguments.options.value(QStringLiteral("--focus"));
        const std::optional<qsizetype> focus = functionNamed(*document, name);
        if (!focus) {
            Terminal::err(QStringLiteral("No function named ") + name + QStringLiteral(" in ")
                + QFileInfo(path).fileName() + QStringLiteral(".\n"));
            return 1;
        }
        graph = flow.centred(*focus, reach);
        if (graph.isEmpty()) {
            Terminal::err(QStringLiteral("Nothing calls this and it calls nothing the file defines.\n"));
            return 1;
        }
    } else {
        graph = flow.whole();
        if (graph.isEmpty()) {
            Terminal::err(
                QStringLiteral("No calls between the functions here, so there is no flow to draw.\n"));
            return 1;
        }
    }
    if (arguments.flags.contains(QStringLiteral("--json")))
        Terminal::out(json(flow, graph));
    else
        Terminal::out(summary(*document, flow, graph, QFileInfo(path).fileName()));
    return 0;
}

} // namespace Cli
