#include "agents/CheckpointChanges.h"

#include "common/Text.h"

#include <fmt/format.h>

namespace vale::CheckpointChanges {
namespace {

bool differ(const FileState& before, const FileState& after) {
  if (before.content && after.content) return !before.isSame(after);
  return !before.isUntouched(after);
}

}  // namespace

std::vector<RecordedChange> between(const CheckpointFiles& before, const ProjectLook::After& after) {
  std::vector<RecordedChange> changes;
  auto earlier = before.files.begin();
  auto later = after.files.files.begin();
  while (earlier != before.files.end() || later != after.files.files.end()) {
    const bool hasEarlier = earlier != before.files.end();
    const bool hasLater = later != after.files.files.end();
    if (hasEarlier && (!hasLater || earlier->first < later->first)) {
      changes.push_back({.path = earlier->first, .before = earlier->second});
      ++earlier;
    } else if (!hasEarlier || later->first < earlier->first) {
      RecordedChange change{.path = later->first, .after = later->second};
      // There was a file, of which nothing is known.
      if (after.unknownBefore.contains(later->first)) change.before = FileState{.kind = later->second.kind};
      changes.push_back(std::move(change));
      ++later;
    } else {
      if (differ(earlier->second, later->second)) {
        changes.push_back({earlier->first, earlier->second, later->second});
      }
      ++earlier;
      ++later;
    }
  }
  return changes;
}

FileChangeKind kind(const RecordedChange& change) {
  if (!change.before) return FileChangeKind::added;
  if (!change.after) return FileChangeKind::deleted;
  if (change.before->kind != change.after->kind) return FileChangeKind::typeChanged;
  const bool sameContent = change.before->content && change.before->content == change.after->content;
  return sameContent ? FileChangeKind::modeChanged : FileChangeKind::modified;
}

std::optional<std::string> obstacle(const RecordedChange& change) {
  const auto path = singleLine(validUtf8(change.path));
  if (change.before && !change.before->content) {
    return fmt::format("“{}” was not kept before the turn, so undo cannot put it back.", path);
  }
  if (change.after && !change.after->content) {
    return fmt::format("“{}” cannot be kept for the way back, so undo leaves it as it is.", path);
  }
  return std::nullopt;
}

}  // namespace vale::CheckpointChanges
