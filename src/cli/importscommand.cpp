#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "imports/dependencyreader.h"
#include "model/terminal.h"

#include <numeric>

namespace Cli {

namespace {

void writeIndices(JsonWriter& json, const std::vector<qint32>& indices)
{
    json.beginArray();
    for (const qint32 index : indices)
        json.value(nullptr, qint64(index));
    json.endArray();
}

QByteArray json(const DependencyGraph& graph, const std::vector<std::vector<qint32>>& cycles)
{
    JsonWriter json;
    json.beginObject();
    json.beginArray("files");
    for (const FileNode* file : graph.files)
        json.value(nullptr, file->relativePath);
    json.endArray();
    json.beginArray("edges");
    for (const auto& [from, to] : graph.edges)
        writeIndices(json, { from, to });
    json.endArray();
    json.beginArray("outgoing");
    for (const std::vector<qint32>& targets : graph.outgoing)
        writeIndices(json, targets);
    json.endArray();
    json.beginArray("incoming");
    for (const std::vector<qint32>& sources : graph.incoming)
        writeIndices(json, sources);
    json.endArray();
    json.value("external", graph.external);
    json.value("scanned", graph.scanned);
    json.value("unresolved", graph.unresolved);
    json.beginArray("cycles");
    for (const std::vector<qint32>& cycle : cycles)
        writeIndices(json, cycle);
    json.endArray();
    json.endObject();
    return json.bytes();
}

QString summary(
    const FileNode& root, const DependencyGraph& graph, const std::vector<std::vector<qint32>>& cycles)
{
    const auto path = [&](qint32 index) { return graph.files[size_t(index)]->relativePath; };
    QString text = root.name + QStringLiteral(": imports\n")
        + Terminal::row(QStringLiteral("Files"), Format::grouped(qint64(graph.files.size())))
        + Terminal::row(
            QStringLiteral("Scanned"), Format::count(graph.scanned, u"file") + QStringLiteral(" read"))
        + Terminal::row(QStringLiteral("Edges"), Format::grouped(qint64(graph.edges.size())))
        + Terminal::row(QStringLiteral("External"),
            Format::count(graph.external, u"reference") + QStringLiteral(" to packages and libraries"))
        + Terminal::row(QStringLiteral("Unresolved"),
            Format::count(graph.unresolved, u"relative reference")
                + QStringLiteral(" to no file of the folder"))
        + Terminal::row(QStringLiteral("Cycles"), Format::grouped(qint64(cycles.size())));

    std::vector<qint32> order(graph.files.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](qint32 a, qint32 b) {
        return graph.incoming[size_t(a)].size() > graph.incoming[size_t(b)].size();
    });
    if (!graph.edges.empty()) {
        text += QStringLiteral("\nMost imported\n");
        for (size_t i = 0; i < std::min<size_t>(10, order.size()); ++i) {
            const size_t importers = graph.incoming[size_t(order[i])].size();
            if (importers == 0)
                break;
            text += Format::grouped(qint64(importers)).rightJustified(8) + QStringLiteral("  ")
                + path(order[i]) + u'\n';
        }
    }
    if (!cycles.empty()) {
        text += QStringLiteral("\nImport cycles\n");
        for (const std::vector<qint32>& cycle : cycles) {
            QStringList members;
            for (const qint32 index : cycle)
                members.append(path(index));
            text += QStringLiteral("  ") + Format::count(qint64(cycle.size()), u"file") + QStringLiteral(": ")
                + members.join(QStringLiteral(", ")) + u'\n';
        }
    }
    return text;
}

} // namespace

DependencyGraph readImports(const FileNode& root)
{
    Terminal::Progress progress;
    std::optional<DependencyGraph> graph = DependencyReader::build(root, std::make_shared<CancelFlag>(),
        [&](const DependencyProgress& p) { progress.update(p.phase, p.done, p.total); });
    progress.finish();
    return std::move(*graph); // only a cancelled build gives nothing, and nothing cancels this one
}

int imports(const Arguments& arguments)
{
    const std::optional<ScanResult> scanned = scanFolder(arguments.positional.first());
    if (!scanned)
        return 1;
    const DependencyGraph graph = readImports(*scanned->root);
    const std::vector<std::vector<qint32>> cycles = graph.cycles();
    if (arguments.flags.contains(QStringLiteral("--json")))
        Terminal::out(json(graph, cycles));
    else
        Terminal::out(summary(*scanned->root, graph, cycles));
    return 0;
}

} // namespace Cli
