#include "commandline.h"
#include "jsonwriter.h"
#include "terminal.h"
#include "webreader.h"

#include <QFile>
#include <QFileInfo>

namespace Cli {

namespace {

using Node = WebDocument::Node;

// Deep documents stop indenting further at 40 levels, so output grows with the text, not its square.
QString indent(qint64 depth)
{
    return QString(2 * std::min<qint64>(depth, 40), u' ');
}

// Lines as people count them, from 1.
QString range(const Node& node)
{
    if (node.line < 0)
        return {};
    if (node.endLine <= node.line)
        return QStringLiteral("line ") + QString::number(node.line + 1);
    return QStringLiteral("lines ") + QString::number(node.line + 1) + u'–'
        + QString::number(node.endLine + 1);
}

// One line of the outline: "#3  function init · (a, b) · lines 4–12", its id right-aligned.
QString row(const Node& node, qsizetype idWidth)
{
    QString text = QString(u'#' + QString::number(node.id)).rightJustified(idWidth + 1) + QStringLiteral("  ")
        + indent(node.depth) + roleName(node.role) + u' ' + node.name;
    if (!node.detail.isEmpty())
        text += QStringLiteral(" · ") + node.detail;
    const QString lines = range(node);
    if (!lines.isEmpty())
        text += QStringLiteral(" · ") + lines;
    return text + u'\n';
}

QString reference(const WebDocument& document, qsizetype id)
{
    return u'#' + QString::number(id) + u' ' + document.nodes[size_t(id)].name;
}

QString outline(const WebDocument& document, const QString& fileName)
{
    QString text = fileName + QStringLiteral(": ") + document.program + QStringLiteral(", ")
        + Format::grouped(document.stats.lines) + (document.stats.lines == 1 ? u" line"_qs : u" lines"_qs)
        + QStringLiteral(", ") + Format::grouped(qint64(document.nodes.size()))
        + (document.nodes.size() == 1 ? u" part"_qs : u" parts"_qs) + QStringLiteral(", ")
        + Format::grouped(qint64(document.links.size()))
        + (document.links.size() == 1 ? u" link"_qs : u" links"_qs) + u'\n';
    if (document.truncated)
        text += QStringLiteral("The page is larger than the outline holds; what is shown stops partway.\n");
    const qsizetype idWidth = QString::number(qint64(document.nodes.size()) - 1).size();
    text += u'\n';
    for (const qsizetype id : document.drawn)
        text += row(document.nodes[size_t(id)], idWidth);
    if (!document.links.empty()) {
        text += QStringLiteral("\nLinks\n");
        for (const WebDocument::Link& link : document.links)
            text += QStringLiteral("  ") + reference(document, link.from) + QStringLiteral("  ")
                + linkKindName(link.kind) + QStringLiteral("  ") + reference(document, link.to) + u'\n';
    }
    const WebDocument::Stats& stats = document.stats;
    const std::pair<const char*, qint64> counts[] { { "Lines", stats.lines },
        { "Markup lines", stats.markupLines }, { "Style lines", stats.styleLines },
        { "Script lines", stats.scriptLines }, { "Elements", stats.elements }, { "Rules", stats.rules },
        { "Functions", stats.functions }, { "Classes", stats.classes }, { "Scripts", stats.scripts },
        { "Styles", stats.styles } };
    text += QStringLiteral("\nStats\n");
    for (const auto& [label, value] : counts)
        text
            += QStringLiteral("  ") + Terminal::row(QString::fromLatin1(label), Format::grouped(value), 14);
    return text;
}

void strings(JsonWriter& json, const char* key, const QStringList& list)
{
    json.beginArray(key);
    for (const QString& item : list)
        json.value(nullptr, item);
    json.endArray();
}

void ids(JsonWriter& json, const char* key, const QList<qsizetype>& list)
{
    json.beginArray(key);
    for (const qsizetype id : list)
        json.value(nullptr, qint64(id));
    json.endArray();
}

QByteArray json(const WebDocument& document)
{
    JsonWriter json;
    json.beginObject();
    json.value("program", document.program);
    json.value("programTitle", document.programTitle);
    json.value("programFile", document.programFile);
    json.beginArray("nodes");
    for (const Node& node : document.nodes) {
        json.beginObject();
        json.value("id", qint64(node.id));
        json.value("role", roleName(node.role));
        json.value("stream", streamName(node.stream));
        json.value("name", node.name);
        json.value("detail", node.detail);
        json.value("tag", node.tag);
        json.value("line", node.line);
        json.value("endLine", node.endLine);
        ids(json, "children", node.children);
        if (node.parent)
            json.value("parent", qint64(*node.parent));
        else
            json.null("parent");
        json.value("depth", node.depth);
        strings(json, "calls", node.calls);
        strings(json, "methodCalls", node.methodCalls);
        strings(json, "constructs", node.constructs);
        strings(json, "selectors", node.selectors);
        strings(json, "defines", node.defines);
        strings(json, "uses", node.uses);
        strings(json, "animations", node.animations);
        strings(json, "targets", node.targets);
        strings(json, "handlers", node.handlers);
        json.value("measured", node.measured);
        json.value("event", node.event);
        json.value("base", node.base);
        json.endObject();
    }
    json.endArray();
    ids(json, "roots", document.roots);
    json.beginArray("links");
    for (const WebDocument::Link& link : document.links) {
        json.beginObject();
        json.value("from", qint64(link.from));
        json.value("to", qint64(link.to));
        json.value("kind", linkKindName(link.kind));
        json.endObject();
    }
    json.endArray();
    const WebDocument::Stats& stats = document.stats;
    json.beginObject("stats");
    json.value("lines", stats.lines);
    json.value("markupLines", stats.markupLines);
    json.value("styleLines", stats.styleLines);
    json.value("scriptLines", stats.scriptLines);
    json.value("elements", stats.elements);
    json.value("rules", stats.rules);
    json.value("functions", stats.functions);
    json.value("classes", stats.classes);
    json.value("scripts", stats.scripts);
    json.value("styles", stats.styles);
    json.endObject();
    json.value("truncated", document.truncated);
    json.endObject();
    return json.bytes();
}

} // namespace

int outline(const Arguments& arguments)
{
    const QString path = arguments.positional.first();
    const QFileInfo info(path);
    if (!info.isFile()) {
        Terminal::err(path + QStringLiteral(" is not a file.\n"));
        return 1;
    }
    const QString extension = info.suffix();
    if (!WebReader::readsExtension(extension)) {
        Terminal::err(extension.isEmpty()
                ? QStringLiteral("No structure reader for files without an extension.\n")
                : QStringLiteral("No structure reader for .") + extension + QStringLiteral(" files.\n"));
        return 1;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        Terminal::err(path + QStringLiteral(" can't be read.\n"));
        return 1;
    }
    const std::optional<WebDocument> document = WebReader::read(file.readAll(), extension);
    if (arguments.flags.contains(QStringLiteral("--json")))
        Terminal::out(json(*document));
    else
        Terminal::out(outline(*document, info.fileName()));
    return 0;
}

} // namespace Cli
