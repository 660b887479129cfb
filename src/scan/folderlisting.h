#pragma once

#include <QList>
#include <QString>

#include <optional>

// One folder inside another, as a chooser of folders shows it.
struct FolderEntry {
    QString name;
    QString path;
    bool isGit = false;
    // The branch checked out, or the commit's short hash when none is; none when git's own files do
    // not say.
    std::optional<QString> branch;

    bool operator==(const FolderEntry&) const = default;
};

// The folders inside a folder (links to folders among them), in the desktop's order, without
// starting git: a repository is known by its ".git" entry and its branch read from the HEAD file.
// Hidden folders are left out unless `hidden`. An unreadable folder has none.
QList<FolderEntry> listFolders(const QString& folder, bool hidden = false);

// The branch of the repository whose work tree is `folder`, read from ".git/HEAD" (or, for a
// ".git" file, from the HEAD of the folder it names).
std::optional<QString> headBranch(const QString& folder);
