#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "document/webreader.h"
#include "layout/codetreemap.h"
#include "model/terminal.h"
#include "scan/beneath.h"
#include "text/fuzzy.h"

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

// The parts whose names match a loose query, in document order; none for a blank query (no filter).
std::optional<QSet<qsizetype>> matching(const WebDocument& document, const QString& query)
{
    const QStringList terms = Fuzzy::terms(query);
    if (terms.isEmpty())
        return std::nullopt;
    QSet<qsizetype> found;
    for (const Node& node : document.nodes) {
        if (Fuzzy::matches(terms, node.name))
            found.insert(node.id);
    }
    return found;
}

QString outline(const WebDocument& document, const QString& fileName,
    const std::optional<QSet<qsizetype>>& only, const QString& query)
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
    if (only)
        text += Format::grouped(only->size())
            + (only->size() == 1 ? u" part matches \""_qs : u" parts match \""_qs) + query
            + QStringLiteral("\"\n");
    text += u'\n';
    const auto shown = [&](qsizetype id) { return !only || only->contains(id); };
    for (const qsizetype id : document.drawn) {
        if (shown(id))
            text += row(document.nodes[size_t(id)], idWidth);
    }
    // Under a filter, the links that touch a matching part.
    const bool anyLink = std::any_of(document.links.begin(), document.links.end(),
        [&](const WebDocument::Link& link) { return shown(link.from) || shown(link.to); });
    if (anyLink) {
        text += QStringLiteral("\nLinks\n");
        for (const WebDocument::Link& link : document.links)
            if (shown(link.from) || shown(link.to))
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
        text += QStringLiteral("  ") + Terminal::row(QString::fromLatin1(label), Format::grouped(value), 14);
    return text;
}

// The document treemap for a view of the given size, one tile a line in drawing order.
QString tiles(const WebDocument& document, const QString& fileName, QSizeF size,
    const std::optional<QSet<qsizetype>>& only)
{
    // Under a filter the boxes of matching parts are reached through their ancestors.
    std::optional<QSet<qsizetype>> shown;
    if (only) {
        shown.emplace();
        for (const qsizetype id : *only) {
            for (std::optional<qsizetype> at = id; at && !shown->contains(*at);
                 at = document.nodes[size_t(*at)].parent)
                shown->insert(*at);
        }
    }
    const WebStream stream = document.roots.isEmpty() ? WebStream::script
                                                      : document.nodes[size_t(document.roots.first())].stream;
    const std::vector<CodeTreemap::Tile> list = CodeTreemap(document, stream, shown).layout(size);
    QString text = fileName + QStringLiteral(": treemap of the ") + streamName(stream)
        + QStringLiteral(" parts in ") + QString::number(size.width()) + u'×' + QString::number(size.height())
        + QStringLiteral(" points, ") + Format::grouped(qint64(list.size()))
        + (list.size() == 1 ? u" tile\n\n"_qs : u" tiles\n\n"_qs);
    const auto number = [](double value) { return QString::number(value, 'f', 1).rightJustified(7); };
    for (const CodeTreemap::Tile& tile : list) {
        const Node& node = document.nodes[size_t(tile.index)];
        text += number(tile.rect.x()) + number(tile.rect.y()) + number(tile.rect.width())
            + QStringLiteral(" ×") + number(tile.rect.height()) + QStringLiteral("  ") + indent(tile.depth)
            + (tile.header      ? u"header "_qs
                    : tile.leaf ? u"leaf   "_qs
                                : u"box    "_qs)
            + u'#' + QString::number(tile.index) + u' ' + roleName(node.role) + u' ' + node.name + u'\n';
    }
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

QByteArray json(const WebDocument& document, const std::optional<QSet<qsizetype>>& only)
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
    if (only) {
        QList<qsizetype> matches(only->begin(), only->end());
        std::sort(matches.begin(), matches.end());
        ids(json, "matches", matches);
    }
    json.endObject();
    return json.bytes();
}

} // namespace

std::optional<WebDocument> readDocument(const QString& path)
{
    const QFileInfo info(path);
    if (!info.isFile()) {
        Terminal::err(path + QStringLiteral(" is not a file.\n"));
        return std::nullopt;
    }
    const QString extension = info.suffix();
    if (!WebReader::readsExtension(extension)) {
        Terminal::err(extension.isEmpty()
                ? QStringLiteral("No structure reader for files without an extension.\n")
                : QStringLiteral("No structure reader for .") + extension + QStringLiteral(" files.\n"));
        return std::nullopt;
    }
    // No reader looks past its first megabytes: a file of gigabytes is never read whole.
    bool whole = false;
    const std::optional<QByteArray> bytes = Beneath::readFile(path, WebReader::byteLimit, &whole);
    if (!bytes) {
        Terminal::err(path + QStringLiteral(" can't be read.\n"));
        return std::nullopt;
    }
    std::optional<WebDocument> document = WebReader::read(*bytes, extension);
    if (document && !whole)
        document->truncated = true;
    return document;
}

int outline(const Arguments& arguments)
{
    const QString path = arguments.positional.first();
    const QFileInfo info(path);
    const std::optional<WebDocument> document = readDocument(path);
    if (!document)
        return 1;
    const QString query = arguments.options.value(QStringLiteral("--filter"));
    const std::optional<QSet<qsizetype>> only = matching(*document, query);
    if (arguments.options.contains(QStringLiteral("--tiles"))) {
        const QStringList parts = arguments.options.value(QStringLiteral("--tiles")).split(u'x');
        bool okWidth = false;
        bool okHeight = false;
        const double width = parts.size() == 2 ? parts[0].toDouble(&okWidth) : 0;
        const double height = parts.size() == 2 ? parts[1].toDouble(&okHeight) : 0;
        if (!okWidth || !okHeight || width <= 0 || height <= 0 || width > 100000 || height > 100000) {
            Terminal::err(QStringLiteral("korvane: --tiles takes a view size such as 800x600\n"));
            return 2;
        }
        Terminal::out(tiles(*document, info.fileName(), QSizeF(width, height), only));
        return 0;
    }
    if (arguments.flags.contains(QStringLiteral("--json")))
        Terminal::out(json(*document, only));
    else
        Terminal::out(outline(*document, info.fileName(), only, query.trimmed()));
    return 0;
}

} // namespace Cli
