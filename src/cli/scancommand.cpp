#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "model/terminal.h"
#include "scan/scanner.h"

#include <cstdio>

namespace Cli {

namespace {

void writeNode(JsonWriter& json, const FileNode& node, const char* key = nullptr)
{
    json.beginObject(key);
    json.value("name", node.name);
    json.value("relativePath", node.relativePath);
    json.value("isDirectory", node.isDirectory);
    json.value("size", node.size);
    json.value("lines", node.lines);
    json.value("fileCount", node.fileCount);
    json.optional("modified", node.modified);
    json.value("language", node.language->name);
    json.value("isBinary", node.isBinary);
    json.value("commits", node.commits);
    json.optional("lastCommit", node.lastCommit);
    if (node.gitStatus)
        json.value("gitStatus", gitFileStatusName(*node.gitStatus));
    else
        json.null("gitStatus");
    json.value("changedCount", node.changedCount);
    json.value("depth", qint64(node.depth));
    if (node.isDirectory) {
        json.beginArray("children");
        for (const auto& child : node.children)
            writeNode(json, *child);
        json.endArray();
    }
    json.endObject();
}

qint64 folderCount(const FileNode& node)
{
    qint64 count = 0;
    for (const auto& child : node.children) {
        if (child->isDirectory)
            count += 1 + folderCount(*child);
    }
    return count;
}

QString summary(const ScanResult& result)
{
    const auto row
        = [](const QString& label, const QString& value) { return Terminal::row(label, value, 11); };
    const FileNode& root = *result.root;
    QString text = root.name + u'\n' + row(QStringLiteral("Path"), root.url);
    if (result.branch)
        text += row(QStringLiteral("Branch"), *result.branch);
    text += row(QStringLiteral("Files"), Format::grouped(root.fileCount))
        + row(QStringLiteral("Folders"), Format::grouped(folderCount(root)))
        + row(QStringLiteral("Lines"), Format::grouped(root.lines))
        + row(QStringLiteral("Bytes"),
            root.size < 1024
                ? Format::grouped(root.size)
                : Format::grouped(root.size) + QStringLiteral(" (") + Format::bytes(root.size) + u')')
        + row(QStringLiteral("Truncated"),
            result.truncated ? QStringLiteral("yes, the first ") + Format::grouped(Scanner::defaultMaxFiles)
                    + QStringLiteral(" files were read")
                             : QStringLiteral("no"));

    const QList<LanguageShare> shares = root.languageBreakdown();
    if (shares.isEmpty())
        return text;
    qsizetype nameWidth = 8;
    for (const LanguageShare& share : shares)
        nameWidth = std::max(nameWidth, share.language->name.size());
    text += u'\n' + QStringLiteral("Language").leftJustified(nameWidth)
        + QStringLiteral("      Files        Lines   Share\n");
    for (const LanguageShare& share : shares) {
        const double percent = root.lines > 0 ? 100.0 * double(share.lines) / double(root.lines) : 0.0;
        text += share.language->name.leftJustified(nameWidth)
            + Format::grouped(share.files).rightJustified(11)
            + Format::grouped(share.lines).rightJustified(13)
            + QString(QString::number(percent, 'f', 1) + u'%').rightJustified(8) + u'\n';
    }
    return text;
}

} // namespace

std::optional<ScanResult> scanFolder(const QString& path, Scanner::Scope scope)
{
    Terminal::Progress progress;
    auto outcome = Scanner(path, std::make_shared<CancelFlag>(), Scanner::defaultMaxFiles, scope)
                       .scan([&](const ScanProgress& p) { progress.update(p.phase, p.done, p.total); });
    progress.finish();
    if (const auto* error = std::get_if<ScanError>(&outcome)) {
        Terminal::err(error->description() + u'\n');
        return std::nullopt;
    }
    if (const std::optional<QString>& warning = std::get<ScanResult>(outcome).warning)
        Terminal::err(*warning + u'\n');
    return std::get<ScanResult>(std::move(outcome));
}

int scan(const Arguments& arguments)
{
    const std::optional<ScanResult> scanned = scanFolder(arguments.positional.first());
    if (!scanned)
        return 1;
    const ScanResult& result = *scanned;
    if (!arguments.flags.contains(QStringLiteral("--json"))) {
        Terminal::out(summary(result));
        return 0;
    }
    JsonWriter json;
    json.beginObject();
    writeNode(json, *result.root, "root");
    json.value("isGit", result.isGit);
    json.optional("branch", result.branch);
    json.value("truncated", result.truncated);
    json.value("peakCommits", result.peakCommits);
    json.endObject();
    Terminal::out(json.bytes());
    return 0;
}

} // namespace Cli
