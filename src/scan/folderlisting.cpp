#include "scan/folderlisting.h"

#include "model/naturalorder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

// A small file's first line, or nothing: HEAD and a ".git" file are a line each.
std::optional<QString> firstLine(const QString& path)
{
    QFile file(path);
    const QFileInfo info(path);
    if (!info.isFile() || info.isSymLink() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.read(512);
    const qsizetype end = bytes.indexOf('\n');
    return QString::fromUtf8(end < 0 ? bytes : bytes.left(end)).trimmed();
}

} // namespace

std::optional<QString> headBranch(const QString& folder)
{
    QString gitDir = folder + QStringLiteral("/.git");
    if (QFileInfo(gitDir).isFile()) {
        // A work tree or a submodule: "gitdir: PATH", relative to the folder when not absolute.
        const std::optional<QString> line = firstLine(gitDir);
        if (!line || !line->startsWith(u"gitdir:"))
            return std::nullopt;
        gitDir = QDir(folder).absoluteFilePath(line->mid(7).trimmed());
    }
    const std::optional<QString> head = firstLine(gitDir + QStringLiteral("/HEAD"));
    if (!head || head->isEmpty())
        return std::nullopt;
    static const QString branchRef = QStringLiteral("ref: refs/heads/");
    if (head->startsWith(branchRef))
        return head->mid(branchRef.size());
    if (head->startsWith(u"ref:"))
        return head->mid(4).trimmed();
    return head->left(7); // a detached head names its commit
}

QList<FolderEntry> listFolders(const QString& folder, bool hidden)
{
    QDir::Filters filters = QDir::Dirs | QDir::NoDotAndDotDot;
    if (hidden)
        filters |= QDir::Hidden;
    const QFileInfoList infos = QDir(folder).entryInfoList(filters, QDir::NoSort);
    QList<FolderEntry> entries;
    entries.reserve(infos.size());
    for (const QFileInfo& info : infos) {
        FolderEntry entry { info.fileName(), info.absoluteFilePath(), false, std::nullopt };
        entry.isGit = QFileInfo::exists(entry.path + QStringLiteral("/.git"));
        if (entry.isGit)
            entry.branch = headBranch(entry.path);
        entries.append(std::move(entry));
    }
    std::sort(entries.begin(), entries.end(),
        [](const FolderEntry& a, const FolderEntry& b) { return naturalCompare(a.name, b.name) < 0; });
    return entries;
}
