#include "git/gitfilestatus.h"

namespace {

// In the order of the cases.
constexpr std::array<const char*, allGitFileStatuses.size()> statusNames { "modified", "added", "deleted",
    "renamed", "untracked", "conflicted" };

} // namespace

QString gitFileStatusName(GitFileStatus status)
{
    return QString::fromLatin1(statusNames.at(size_t(status)));
}

std::optional<GitFileStatus> gitFileStatusFromName(const QString& name)
{
    for (GitFileStatus status : allGitFileStatuses) {
        if (name == QLatin1StringView(statusNames[size_t(status)]))
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
