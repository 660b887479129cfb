#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "model/terminal.h"
#include "search/foldersearch.h"

#include <QDir>
#include <QFileInfo>

namespace Cli {

namespace {

QString summary(const PathSearchResult& result, const TextNeedle& needle)
{
    qint64 lines = 0;
    for (const auto& [path, count] : result.files)
        lines += count;
    const qsizetype files = qsizetype(result.files.size());
    if (files == 0)
        return QStringLiteral("No line holds \"") + needle.text() + QStringLiteral("\".\n");
    QString text = Format::grouped(lines) + (lines == 1 ? u" line"_qs : u" lines"_qs) + QStringLiteral(" in ")
        + Format::grouped(files) + (files == 1 ? u" file"_qs : u" files"_qs) + QStringLiteral(" hold \"")
        + needle.text()
        + (needle.caseSensitive() ? u"\", matching case\n\n"_qs : u"\", ignoring case\n\n"_qs);
    const qsizetype width = Format::grouped(result.files.front().second).size();
    for (const auto& [path, count] : result.files)
        text += Format::grouped(count).rightJustified(width) + QStringLiteral("  ") + QString::fromUtf8(path)
            + u'\n';
    return text;
}

QByteArray json(const PathSearchResult& result)
{
    JsonWriter json;
    json.beginArray();
    for (const auto& [path, count] : result.files) {
        json.beginObject();
        json.value("relativePath", QString::fromUtf8(path));
        json.value("count", count);
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
    // The search reads every file itself: the folder is only listed, and no tree is made of it.
    const QString folder = QDir::cleanPath(QFileInfo(arguments.positional.first()).absoluteFilePath());
    // In a repository, the tracked files are read while git still looks for untracked ones.
    PathSearch search(folder, *needle, std::make_shared<CancelFlag>());
    auto listed = Scanner(folder, std::make_shared<CancelFlag>()).list([&](const ScanListing& tracked) {
        search.read(tracked);
    });
    if (const auto* error = std::get_if<ScanError>(&listed)) {
        Terminal::err(error->description() + u'\n');
        return 1;
    }
    search.read(std::get<ScanListing>(listed));
    const std::optional<PathSearchResult> result = search.result();
    if (arguments.flags.contains(QStringLiteral("--json")))
        Terminal::out(json(*result));
    else
        Terminal::out(summary(*result, *needle));
    return 0;
}

} // namespace Cli
