#include "agents/CheckpointStore.h"

#include "agents/CheckpointChanges.h"
#include "agents/GitProject.h"
#include "agents/ProjectLook.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>
#include <utility>

namespace vale {
namespace {

/// How long another program may keep the store to itself.
constexpr std::chrono::seconds patience{90};
/// What another program has not sealed for so long is of a turn that was killed.
constexpr Seconds longestTurn{24.0 * 60 * 60};
/// Of a repository's contents so much is held in memory at once.
constexpr std::int64_t batchBytes = 32'000'000;
constexpr std::size_t batchFiles = 2'000;

/// Copies what a sealed checkpoint has in the user's repository to the store, so that it does not depend on
/// the repository from then on. A content that is gone from there is not kept.
void bringHome(std::vector<RecordedChange>& changes, const ProjectRepository& repository,
               const GitProject& git, const CheckpointObjects& objects) {
  std::map<std::string, std::int64_t> wanted;
  const auto forEachState = [&changes](const auto& work) {
    for (auto& change : changes) {
      if (change.before) work(*change.before);
      if (change.after) work(*change.after);
    }
  };
  forEachState([&](const FileState& state) {
    if (const auto name = ContentName::inGit(state.content)) wanted[*name] = state.size;
  });
  std::map<std::string, std::string> brought;
  std::vector<GitBlob> batch;
  std::int64_t bytes = 0;
  const auto bring = [&] {
    for (const auto& [name, content] : git.read(repository, batch)) brought[name] = objects.keep(content);
    batch.clear();
    bytes = 0;
  };
  for (const auto& [name, size] : wanted) {
    batch.push_back({name, size});
    bytes += size;
    if (bytes >= batchBytes || batch.size() >= batchFiles) bring();
  }
  bring();
  forEachState([&](FileState& state) {
    const auto name = ContentName::inGit(state.content);
    if (!name) return;
    const auto found = brought.find(*name);
    state.content = found == brought.end() ? std::nullopt : std::optional(ContentName::own(found->second));
  });
}

std::string shortCommit(const std::optional<std::string>& commit) {
  return commit ? commit->substr(0, 8) : "none";
}

}  // namespace

CheckpointStore::CheckpointStore(std::filesystem::path folder, EnvironmentVariables environment,
                                 CheckpointLimits limits)
    : folder_(std::move(folder)), environment_(std::move(environment)), limits_(limits), records_(folder_),
      objects_(folder_ / "Objects") {}

SupportFolderLock CheckpointStore::lock() const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (true) {
    if (auto held = SupportFolderLock::tryAcquire(folder_)) return std::move(*held);
    if (std::chrono::steady_clock::now() > deadline) {
      throw Error("Another program has kept the checkpoints to itself for too long. Try again later.");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

std::expected<void, Error> CheckpointStore::take(const Uuid& turn, const std::filesystem::path& project) try {
  const auto held = lock();
  records_.remove(turn);
  CheckpointRecord record{
      .id = turn, .project = project.native(), .takenAt = std::chrono::system_clock::now()};
  const GitProject git(folder_, environment_, limits_);
  auto files =
      ProjectLook(project, folder_, git, objects_, limits_).before(records_.lastSeen(record.project));
  if (!files) return std::unexpected(files.error());
  record.repository = files->repository;
  record.notes = files->notes;
  // What is said to be kept is on the disk before the record that says it.
  objects_.flush();
  records_.writeFiles(turn, std::move(*files));
  records_.write(std::move(record));
  return {};
} catch (const Error& error) {
  return std::unexpected(Error(error.message));
}

void CheckpointStore::seal(const Uuid& turn) {
  const auto held = lock();
  auto record = records_.read(turn);
  if (!record) throw Error("There is no checkpoint of this turn.");
  if (record->sealedAt) return;
  const auto before = records_.readFiles(turn);
  if (!before) throw Error("The checkpoint of this turn cannot be read.");
  const GitProject git(folder_, environment_, limits_);
  auto after = ProjectLook(record->project, folder_, git, objects_, limits_).after(*before);
  if (!after) throw after.error();
  record->changes = CheckpointChanges::between(*before, *after);
  record->folders = std::move(after->newFolders);
  if (before->repository) bringHome(record->changes, *before->repository, git, objects_);
  const auto headBefore = before->repository ? before->repository->head : std::nullopt;
  const auto headAfter = after->files.repository ? after->files.repository->head : std::nullopt;
  if (headBefore != headAfter) {
    record->notes.push_back(fmt::format(
        "The turn moved the branch (from {} to {}). Undo puts files back and leaves commits as they "
        "are.",
        shortCommit(headBefore), shortCommit(headAfter)));
  }
  record->sealedAt = std::chrono::system_clock::now();
  objects_.flush();
  const std::string project = record->project;
  records_.write(std::move(*record));
  records_.writeLastSeen(project, std::move(after->files));
  records_.removeFiles(turn);
}

CheckpointRecord CheckpointStore::sealedRecord(const Uuid& turn) const {
  auto record = records_.read(turn);
  if (!record) throw Error("There is no checkpoint of this turn: it cannot be undone.");
  if (!record->sealedAt) throw Error("This turn has not ended yet. Undo it when it has.");
  return std::move(*record);
}

bool CheckpointStore::canUndo(const Uuid& turn) const {
  const auto record = records_.read(turn);
  return record && record->sealedAt && !record->changes.empty();
}

void CheckpointStore::remove(const std::vector<Uuid>& turns) {
  const auto held = lock();
  std::multimap<Uuid, Uuid> undos;
  for (const auto& id : records_.list()) {
    if (const auto record = records_.read(id); record && record->undoOf) undos.emplace(*record->undoOf, id);
  }
  std::vector<Uuid> going = turns;
  while (!going.empty()) {
    const Uuid id = going.back();
    going.pop_back();
    records_.remove(id);
    const auto [first, last] = undos.equal_range(id);
    for (auto undo = first; undo != last; ++undo) going.push_back(undo->second);
    undos.erase(first, last);
  }
}

void CheckpointStore::prune(Date date, const std::set<Uuid>& running) {
  const auto held = lock();
  std::vector<CheckpointRecord> records;
  bool allRead = true;
  for (const auto& id : records_.list()) {
    if (auto record = records_.read(id)) {
      records.push_back(std::move(*record));
    } else if (records_.isWrittenBefore(id, date - limits_.storedTime)) {
      records_.remove(id);
    } else {
      allRead = false;
    }
  }
  const auto mayGo = [&](const CheckpointRecord& record) {
    return !running.contains(record.id) && (record.sealedAt || record.takenAt < date - longestTurn);
  };
  std::ranges::sort(records, {}, &CheckpointRecord::takenAt);
  std::erase_if(records, [&](const CheckpointRecord& record) {
    if (record.takenAt >= date - limits_.storedTime || !mayGo(record)) return false;
    records_.remove(record.id);
    return true;
  });
  records_.forgetProjects(date - limits_.storedTime);
  // What cannot be read may need any content.
  if (!allRead) return;

  const auto sizes = objects_.sizes();
  std::map<std::string, std::int64_t> uses;
  std::int64_t bytes = 0;
  for (const auto& record : records) {
    for (const auto& name : contentsOf(record)) {
      const auto size = sizes.find(name);
      if (size != sizes.end() && uses[name]++ == 0) bytes += size->second;
    }
  }
  for (const auto& record : records) {
    if (bytes <= limits_.storedBytes) break;
    if (!mayGo(record)) continue;
    for (const auto& name : contentsOf(record)) {
      const auto use = uses.find(name);
      if (use == uses.end() || --use->second > 0) continue;
      bytes -= sizes.at(name);
      uses.erase(use);
    }
    records_.remove(record.id);
  }
  std::set<std::string> needed;
  for (const auto& [name, count] : uses) needed.insert(name);
  objects_.sweep(needed);
}

std::set<std::string> CheckpointStore::contentsOf(const CheckpointRecord& record) const {
  std::set<std::string> names;
  const auto add = [&names](const FileState& state) {
    if (auto name = ContentName::inOwnStore(state.content)) names.insert(std::move(*name));
  };
  for (const auto& change : record.changes) {
    if (change.before) add(*change.before);
    if (change.after) add(*change.after);
  }
  if (record.sealedAt) return names;
  if (const auto files = records_.readFiles(record.id)) {
    for (const auto& [path, state] : files->files) add(state);
  }
  return names;
}

}  // namespace vale
