#include "agents/CheckpointChanges.h"
#include "agents/CheckpointStore.h"
#include "agents/FileRestoration.h"
#include "agents/ProjectLook.h"
#include "agents/UnifiedDiff.h"
#include "common/Log.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <ranges>
#include <utility>

namespace vale {
namespace {

/// A file that undo is about to put back.
struct Planned {
  RecordedChange change;
  std::optional<FoundFile> present;
};

/// The file as it is now, its content kept.
struct Present {
  std::optional<FoundFile> file;
  std::optional<FileState> state;
};

std::expected<Present, int> presentOf(ProjectFolder& folder, const std::string& path,
                                      const CheckpointObjects& objects, std::int64_t limit) {
  auto content = folder.read(path, std::size_t(limit));
  if (content) {
    FileState state = content->file.state;
    state.content = ContentName::own(objects.keep(content->bytes));
    return Present{std::move(content->file), std::move(state)};
  }
  const int code = content.error();
  if (code == ENOENT || code == ENOTDIR || code == ELOOP) return Present();
  // A folder in the place of a file: putting it back shows whether the folder is empty by then.
  if (const auto found = folder.find(path); found && found->isFolder) return Present();
  return std::unexpected(code);
}

bool isSame(const std::optional<FileState>& one, const std::optional<FileState>& other) {
  return one && other ? one->isSame(*other) : !one && !other;
}

bool isInStore(const std::optional<FileState>& state, const CheckpointObjects& objects) {
  if (!state) return true;
  const auto name = ContentName::inOwnStore(state->content);
  return name && objects.holds(*name, state->size);
}

std::string notChanged(const std::string& path) {
  return fmt::format("“{}” was not changed by this turn.", singleLine(validUtf8(path)));
}

std::string notKept(const std::string& path) {
  return fmt::format("What “{}” held before the turn is no longer kept, so undo cannot put it back.",
                     singleLine(validUtf8(path)));
}

/// The folders that putting files back will make.
void noteMissingFolders(ProjectFolder& folder, CheckpointRecord& back) {
  std::set<std::string> made(back.folders.begin(), back.folders.end());
  for (const auto& change : back.changes) {
    for (auto above = ProjectFolder::folderOf(change.path); change.after && !above.empty();
         above = ProjectFolder::folderOf(above)) {
      if (const auto found = folder.find(above); !found || !found->isFolder) made.emplace(above);
    }
  }
  back.folders.assign(made.begin(), made.end());
}

}  // namespace

CheckpointRecord CheckpointStore::wayBack(const CheckpointRecord& record) const {
  // Undone file by file, a turn has one way back all the same.
  if (auto earlier = record.undoneBy ? records_.read(*record.undoneBy) : std::nullopt) {
    return std::move(*earlier);
  }
  const Date now = std::chrono::system_clock::now();
  return {
      .id = Uuid::random(), .project = record.project, .takenAt = now, .sealedAt = now, .undoOf = record.id};
}

UndoResult CheckpointStore::undo(const Uuid& turn,
                                 const std::optional<std::vector<std::filesystem::path>>& paths) {
  const auto held = lock();
  auto record = sealedRecord(turn);
  ProjectFolder folder(record.project);
  UndoResult result;
  std::set<std::string> wanted;
  for (const auto& path : paths.value_or(std::vector<std::filesystem::path>())) wanted.insert(path.native());

  // First everything is looked at and kept, then the way back is written down, then files are touched.
  std::vector<Planned> plan;
  for (const auto& change : record.changes) {
    if (paths && wanted.erase(change.path) == 0) continue;
    const auto refuse = [&](std::string reason) {
      result.refused.push_back({change.path, std::move(reason)});
    };
    if (auto reason = CheckpointChanges::obstacle(change)) {
      refuse(std::move(*reason));
      continue;
    }
    const auto present = presentOf(folder, change.path, objects_, limits_.largestFile);
    if (present && isSame(present->state, change.before)) {
      result.restored.emplace_back(change.path);
    } else if (!present || !isSame(present->state, change.after)) {
      refuse(FileRestoration::changedSince(change.path));
    } else if (!isInStore(change.before, objects_)) {
      refuse(notKept(change.path));
    } else {
      plan.push_back({change, present->file});
    }
  }
  for (const auto& path : wanted) result.refused.push_back({path, notChanged(path)});
  if (plan.empty()) return result;

  auto back = wayBack(record);
  for (const auto& [change, present] : plan) {
    std::erase_if(back.changes, [&](const auto& earlier) { return earlier.path == change.path; });
    back.changes.push_back({change.path, change.after, change.before});
  }
  std::ranges::sort(back.changes, {}, &RecordedChange::path);
  noteMissingFolders(folder, back);
  objects_.flush();
  records_.write(back);

  std::set<std::string> failed;
  const auto conclude = [&](const Planned& planned, std::optional<std::string> reason) {
    if (reason) {
      failed.insert(planned.change.path);
      result.refused.push_back({planned.change.path, std::move(*reason)});
    } else {
      result.restored.emplace_back(planned.change.path);
    }
  };
  FileRestoration restoration(folder);
  // What is in a folder goes before what stood in the folder's place; hence from the end.
  for (const auto& planned : plan | std::views::reverse) {
    if (planned.change.before) continue;
    auto reason = restoration.remove(planned.change.path, *planned.present);
    conclude(planned, std::move(reason));
  }
  for (const auto& made : record.folders | std::views::reverse) folder.removeEmpty(made);
  for (const auto& planned : plan) {
    const auto& before = planned.change.before;
    if (!before) continue;
    const auto content = objects_.read(*ContentName::inOwnStore(before->content));
    conclude(planned, content ? restoration.put(planned.change.path, *before, *content, planned.present)
                              : std::optional(content.error().message));
  }
  std::erase_if(back.changes, [&](const auto& change) { return failed.contains(change.path); });
  if (!back.changes.empty()) result.redo = back.id;
  std::ranges::sort(result.restored);
  std::ranges::sort(result.refused, {}, &UndoRefusal::path);
  recordUndo(std::move(record), back, {result.restored.begin(), result.restored.end()});
  return result;
}

void CheckpointStore::recordUndo(CheckpointRecord record, const CheckpointRecord& back,
                                 const std::set<std::string>& restored) try {
  if (back.changes.empty()) {
    records_.remove(back.id);
    record.undoneBy.reset();
  } else {
    records_.write(back);
    record.undoneBy = back.id;
  }
  // An undo that is itself undone as a whole no longer stands.
  const bool whole =
      std::ranges::all_of(record.changes, [&](const auto& change) { return restored.contains(change.path); });
  if (auto undone = record.undoOf && whole ? records_.read(*record.undoOf) : std::nullopt;
      undone && undone->undoneBy == record.id) {
    undone->undoneBy.reset();
    records_.write(std::move(*undone));
  }
  records_.write(std::move(record));
} catch (const Error& error) {
  // The files are back, and the record that was written before knows of all of them.
  log::warning("{}", error.message);
}

ProjectChanges CheckpointStore::changes(const Uuid& turn) {
  const auto held = lock();
  const auto record = sealedRecord(turn);
  ProjectChanges result{.notes = record.notes, .undoneBy = record.undoneBy};
  if (result.undoneBy && !canUndo(*result.undoneBy)) result.undoneBy.reset();
  std::int64_t compared = 0;
  std::int64_t shown = 0;
  for (const auto& recorded : record.changes) {
    FileChange change{.path = recorded.path,
                      .kind = CheckpointChanges::kind(recorded),
                      .obstacle = CheckpointChanges::obstacle(recorded)};
    if (compared++ < limits_.comparedFiles) compare(recorded, change, limits_.allDiffsBytes - shown);
    if (change.diff) shown += std::int64_t(change.diff->size());
    result.files.push_back(std::move(change));
  }
  return result;
}

void CheckpointStore::compare(const RecordedChange& recorded, FileChange& change, std::int64_t room) const {
  if (change.kind == FileChangeKind::modeChanged || change.kind == FileChangeKind::typeChanged) return;
  std::string before;
  std::string after;
  std::filesystem::path afterFile = "/dev/null";
  for (const auto& [state, bytes] :
       {std::pair(&recorded.before, &before), std::pair(&recorded.after, &after)}) {
    if (!*state) continue;
    const auto name = ContentName::inOwnStore((*state)->content);
    if (!name) return;
    if (state == &recorded.after) afterFile = objects_.pathOf(*name);
    auto content = objects_.read(*name);
    if (!content) return;
    *bytes = std::move(*content);
  }
  change.binary = UnifiedDiff::isBinary(before) || UnifiedDiff::isBinary(after);
  if (change.binary || std::int64_t(std::max(before.size(), after.size())) > limits_.comparedBytes) return;
  const auto limit = std::clamp<std::int64_t>(room, 0, limits_.diffBytes);
  const auto diff = UnifiedDiff::of({.path = recorded.path,
                                     .before = before,
                                     .after = afterFile,
                                     .isNew = !recorded.before,
                                     .isGone = !recorded.after},
                                    environment_, std::size_t(limit), limits_.commandTime);
  if (!diff) return;
  change.additions = diff->additions;
  change.deletions = diff->deletions;
  change.diffCut = diff->cut;
  if (!diff->text.empty()) change.diff = diff->text;
}

}  // namespace vale
