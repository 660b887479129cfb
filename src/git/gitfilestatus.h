#pragma once

#include <QString>

#include <array>
#include <optional>

// Working-tree state of one file; the order is the order of the colour key.
enum class GitFileStatus { modified, added, deleted, renamed, untracked, conflicted };

inline constexpr std::array allGitFileStatuses { GitFileStatus::modified, GitFileStatus::added,
    GitFileStatus::deleted, GitFileStatus::renamed, GitFileStatus::untracked, GitFileStatus::conflicted };

QString gitFileStatusName(GitFileStatus status);
std::optional<GitFileStatus> gitFileStatusFromName(const QString& name);

// Classifies a two-letter porcelain code such as " M", "AM", "UU" or "??".
GitFileStatus gitFileStatusFromCode(QStringView xy);
