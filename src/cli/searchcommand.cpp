#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "model/terminal.h"
#include "search/foldersearch.h"

namespace Cli {

namespace {

QString summary(const TextSearchResult& result, const TextNeedle& needle)
{
    qint64 lines = 0;
    for (const qint64 count : result.counts)
        lines += count;
    const qsizetype files = result.nodes.size();
    if (files == 0)
        return QStringLiteral("No line holds \"") + needle.text() + QStringLiteral("\".\n");
    QString text = Format::grouped(lines) + (lines == 1 ? u" line"_qs : u" lines"_qs) + QStringLiteral(" in ")
        + Format::grouped(files) + (files == 1 ? u" file"_qs : u" files"_qs) + QStringLiteral(" hold \"")
        + needle.text()
        + (needle.caseSensitive() ? u"\", matching case\n\n"_qs : u"\", ignoring case\n\n"_qs);
    const qsizetype width = Format::grouped(result.counts.value(result.nodes.first())).size();
    for (const FileNode* node : result.nodes)
        text += Format::grouped(result.counts.value(node)).rightJustified(width) + QStringLiteral("  ")
            + node->relativePath + u'\n';
    return text;
}

QByteArray json(const TextSearchResult& result)
{
    JsonWriter json;
    json.beginArray();
    for (const FileNode* node : result.nodes) {
        json.beginObject();
        json.value("relativePath", node->relativePath);
        json.value("count", result.counts.value(node));
        json.endObject();
    }
    json.endArray();
    return json.bytes();
}

} // namespace

int search(const Arguments& arguments)
{
    const std::optional<TextNeedle> needle = TextNeedle::make(arguments.positional[1]);
    if (!needle) {
        Terminal::err(QStringLiteral("The text to search for is blank.\n"));
        return 1;
    }
    // The search reads every file itself, so the scan only lists them: no measures, no history.
    const std::optional<ScanResult> scanned
        = scanFolder(arguments.positional.first(), Scanner::Scope::listing);
    if (!scanned)
        return 1;
    const std::optional<TextSearchResult> result
        = FolderSearch::search(*scanned->root, *needle, std::make_shared<CancelFlag>());
    if (arguments.flags.contains(QStringLiteral("--json")))
        Terminal::out(json(*result));
    else
        Terminal::out(summary(*result, *needle));
    return 0;
}

} // namespace Cli
