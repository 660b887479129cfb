#include "git/gitfilestatus.h"

QString gitFileStatusName(GitFileStatus status)
{
    switch (status) {
    case GitFileStatus::modified: return QStringLiteral("modified");
    case GitFileStatus::added: return QStringLiteral("added");
    case GitFileStatus::deleted: return QStringLiteral("deleted");
    case GitFileStatus::renamed: return QStringLiteral("renamed");
    case GitFileStatus::untracked: return QStringLiteral("untracked");
    case GitFileStatus::conflicted: return QStringLiteral("conflicted");
    }
    return {};
}

std::optional<GitFileStatus> gitFileStatusFromName(const QString& name)
{
    for (GitFileStatus status : allGitFileStatuses) {
        if (gitFileStatusName(status) == name)
            return status;
    }
    return std::nullopt;
}

GitFileStatus gitFileStatusFromCode(QStringView xy)
{
    if (xy == u"??")
        return GitFileStatus::untracked;
    if (xy.contains(u'U') || xy == u"AA" || xy == u"DD")
        return GitFileStatus::conflicted;
    if (xy.contains(u'A'))
        return GitFileStatus::added;
    if (xy.contains(u'D'))
        return GitFileStatus::deleted;
    if (xy.contains(u'R'))
        return GitFileStatus::renamed;
    return GitFileStatus::modified;
}
