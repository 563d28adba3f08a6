#include "agents/ProjectLook.h"

#include "common/Sha256.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <ranges>
#include <utility>

namespace vale {
namespace {

constexpr std::string_view ownPrefix = "sha256:";
constexpr std::string_view gitPrefix = "git:";

std::optional<std::string> behind(std::string_view prefix, const std::optional<std::string>& content) {
  if (!content || !content->starts_with(prefix)) return std::nullopt;
  return content->substr(prefix.size());
}

/// There is no such file, as opposed to one that cannot be looked at.
bool isAbsent(int code) { return code == ENOENT || code == ENOTDIR || code == ELOOP || code == ENAMETOOLONG; }

std::int64_t nanosecondsNow() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

/// The store's folder as a path in the project.
std::string insideProject(const std::filesystem::path& project, const std::filesystem::path& store) {
  std::error_code error;
  const auto relative = std::filesystem::weakly_canonical(store, error)
                            .lexically_relative(std::filesystem::weakly_canonical(project, error));
  const bool inside = !error && ProjectFolder::isInside(relative.native());
  return inside ? relative.native() + "/" : std::string();
}

}  // namespace

namespace ContentName {

std::string own(std::string_view name) { return std::string(ownPrefix).append(name); }
std::string git(std::string_view name) { return std::string(gitPrefix).append(name); }
std::optional<std::string> inOwnStore(const std::optional<std::string>& content) {
  return behind(ownPrefix, content);
}
std::optional<std::string> inGit(const std::optional<std::string>& content) {
  return behind(gitPrefix, content);
}

}  // namespace ContentName

ProjectLook::ProjectLook(const std::filesystem::path& project, const std::filesystem::path& storeFolder,
                         const GitProject& git, const CheckpointObjects& objects,
                         const CheckpointLimits& limits)
    : project_(project), ownFolder_(insideProject(project, storeFolder)), git_(git), objects_(objects),
      limits_(limits), folder_(project),
      deadline_(std::chrono::steady_clock::now() +
                std::chrono::duration_cast<std::chrono::steady_clock::duration>(limits.takingTime)),
      startedAt_(nanosecondsNow()) {}

std::expected<void, Error> ProjectLook::list() {
  auto listed = git_.list(project_);
  if (!listed) return std::unexpected(listed.error());
  listing_ = std::move(*listed);
  if (listing_) {
    paths_ = std::move(listing_->paths);
    for (const auto& path : listing_->nestedRepositories) omit(path, "repository");
  } else {
    folder_.walk(
        [&](std::string path) {
          if (!isOwnFolder(path)) paths_.push_back(std::move(path));
          return std::int64_t(paths_.size()) <= limits_.listedFiles &&
                 std::chrono::steady_clock::now() < deadline_;
        },
        [&](const std::string& path, ProjectFolder::Skipped why) {
          if (isOwnFolder(path)) return;
          omit(path, why == ProjectFolder::Skipped::repository ? "repository" : "unreadable");
        });
    std::ranges::sort(paths_);
  }
  std::erase_if(paths_,
                [&](const auto& path) { return isOwnFolder(path) || !ProjectFolder::isInside(path); });
  if (std::int64_t(paths_.size()) <= limits_.listedFiles) return {};
  return std::unexpected(tooMuch(fmt::format("more than {} files", limits_.listedFiles)));
}

std::expected<CheckpointFiles, Error> ProjectLook::before(const std::optional<CheckpointFiles>& earlier) {
  if (auto listed = list(); !listed) return std::unexpected(listed.error());
  CheckpointFiles files{.seenAt = startedAt_};
  if (listing_) files.repository = listing_->repository;
  for (const auto& path : paths_) {
    if (std::chrono::steady_clock::now() > deadline_) {
      return std::unexpected(tooMuch("more than could be read in time"));
    }
    const FileState* known = nullptr;
    if (earlier) {
      const auto entry = earlier->files.find(path);
      if (entry != earlier->files.end()) known = &entry->second;
    }
    const auto found = folder_.find(path);
    if (!found && isAbsent(found.error())) continue;
    if (!found) {
      omit(path, "unreadable");
      files.files.emplace(path, FileState());
      continue;
    }
    auto state = inspect(path, *found, known, earlier ? earlier->seenAt : 0, Purpose::before);
    if (state) files.files.emplace(path, std::move(*state));
    if (isOverCopyLimit()) {
      return std::unexpected(tooMuch(fmt::format("more than {} files or {} MB to copy", limits_.copiedFiles,
                                                 limits_.copiedBytes / 1'000'000)));
    }
  }
  noteFolders(files);
  files.notes = notes();
  return files;
}

std::expected<ProjectLook::After, Error> ProjectLook::after(const CheckpointFiles& before) {
  if (auto listed = list(); !listed) return std::unexpected(listed.error());
  // Git may ignore now what was kept before.
  for (const auto& [path, state] : before.files) paths_.push_back(path);
  std::ranges::sort(paths_);
  const auto repeated = std::ranges::unique(paths_);
  paths_.erase(repeated.begin(), repeated.end());

  const auto movedAway = movedFiles(before);
  const std::int64_t began = before.seenAt - fileClockSlack;
  After result{.files = {.seenAt = startedAt_}};
  if (listing_) result.files.repository = listing_->repository;
  for (const auto& path : paths_) {
    if (std::chrono::steady_clock::now() > deadline_) {
      return std::unexpected(tooMuch("more than could be read in time"));
    }
    const auto entry = before.files.find(path);
    const FileState* known = entry == before.files.end() ? nullptr : &entry->second;
    const auto found = folder_.find(path);
    if (!found && (isAbsent(found.error()) || !known)) continue;
    if (!found) {
      result.files.files.emplace(path, FileState());
      continue;
    }
    const bool moved = movedAway.contains({found->state.device, found->state.inode});
    // It was there before; the files of a folder that is moved do not change either.
    if (!known && !moved && found->state.changed < began) continue;
    if (!known && !found->isFolder && !moved && found->born && *found->born < began) {
      result.unknownBefore.insert(path);
    }
    auto state = inspect(path, *found, known, before.seenAt, Purpose::after);
    if (state) result.files.files.emplace(path, std::move(*state));
  }
  noteFolders(result.files);
  result.newFolders = newFolders(before, result.files);
  return result;
}

void ProjectLook::noteFolders(CheckpointFiles& files) {
  for (const auto& [path, state] : files.files) {
    for (auto above = ProjectFolder::folderOf(path); !above.empty(); above = ProjectFolder::folderOf(above)) {
      const auto [entry, isNew] = files.folders.emplace(above, 0);
      if (!isNew) break;
      if (const auto found = folder_.find(above)) entry->second = found->state.inode;
    }
  }
}

std::set<std::pair<std::int64_t, std::int64_t>> ProjectLook::movedFiles(const CheckpointFiles& before) {
  std::set<std::pair<std::int64_t, std::int64_t>> moved;
  for (const auto& [path, state] : before.files) {
    const auto found = folder_.find(path);
    if (!found || found->state.inode != state.inode) moved.emplace(state.device, state.inode);
  }
  return moved;
}

std::vector<std::string> ProjectLook::newFolders(const CheckpointFiles& before,
                                                 const CheckpointFiles& after) {
  std::set<std::int64_t> inodes;
  for (const auto& [path, inode] : before.folders) inodes.insert(inode);
  std::vector<std::string> made;
  for (const auto& [path, inode] : after.folders) {
    if (before.folders.contains(path)) continue;
    const auto found = folder_.find(path);
    const bool isYoung = found && found->born && *found->born >= before.seenAt - fileClockSlack;
    if (isYoung || inodes.contains(inode)) made.push_back(path);
  }
  return made;
}

std::optional<std::string> ProjectLook::reusable(const std::string& path, const FoundFile& found,
                                                 const FileState* known, std::int64_t knownAt,
                                                 Purpose purpose) const {
  // A file written within the same tick as it was read looks untouched.
  if (!known || !known->content || !known->isUntouched(found.state) ||
      known->changed >= knownAt - fileClockSlack) {
    return std::nullopt;
  }
  if (purpose == Purpose::after) return known->content;
  if (const auto name = ContentName::inOwnStore(known->content)) {
    return objects_.holds(*name, known->size) ? known->content : std::nullopt;
  }
  if (!listing_) return std::nullopt;
  const auto committed = listing_->committed.find(path);
  const bool still =
      committed != listing_->committed.end() && ContentName::inGit(known->content) == committed->second.name;
  return still ? known->content : std::nullopt;
}

std::optional<FileState> ProjectLook::inspect(const std::string& path, const FoundFile& found,
                                              const FileState* known, std::int64_t knownAt, Purpose purpose) {
  if (found.isFolder) {
    // Git lists a submodule under its folder's name.
    if (listing_) omit(path, "repository");
    return std::nullopt;
  }
  FileState state = found.state;
  if (state.kind == FileKind::other) {
    omit(path, "special");
    return state;
  }
  if (state.kind == FileKind::file && state.size > limits_.largestFile) {
    omit(path, "large");
    return state;
  }
  if (auto content = reusable(path, found, known, knownAt, purpose)) {
    if (ContentName::inOwnStore(content)) count(state.size);
    state.content = std::move(content);
    return state;
  }
  auto read = folder_.read(path, std::size_t(limits_.largestFile));
  if (read) {
    state = read->file.state;
    state.content = contentName(path, read->bytes, known, purpose);
    return state;
  }
  if (isAbsent(read.error())) return std::nullopt;
  omit(path, read.error() == EFBIG ? "large" : read.error() == EBUSY ? "changing" : "unreadable");
  return state;
}

std::string ProjectLook::contentName(const std::string& path, const std::string& bytes,
                                     const FileState* known, Purpose purpose) {
  if (purpose == Purpose::before && listing_) {
    const auto committed = listing_->committed.find(path);
    if (committed != listing_->committed.end() && committed->second.size == std::int64_t(bytes.size()) &&
        committed->second.name == GitProject::blobName(bytes, listing_->repository.objectFormat)) {
      return ContentName::git(committed->second.name);
    }
  }
  if (purpose == Purpose::after && known && known->size == std::int64_t(bytes.size())) {
    const auto name = ContentName::inGit(known->content);
    const bool sha256 = name && name->size() == 64;
    if (name && *name == GitProject::blobName(bytes, sha256 ? "sha256" : "sha1")) return *known->content;
  }
  count(std::int64_t(bytes.size()));
  // Beyond the limit the end of a turn is only recognised: undo itself keeps what it replaces.
  return ContentName::own(isOverCopyLimit() ? sha256Hex(bytes) : objects_.keep(bytes));
}

void ProjectLook::count(std::int64_t bytes) {
  ++copiedFiles_;
  copiedBytes_ += bytes;
}

bool ProjectLook::isOverCopyLimit() const {
  return copiedFiles_ > limits_.copiedFiles || copiedBytes_ > limits_.copiedBytes;
}

void ProjectLook::omit(const std::string& path, std::string reason) {
  auto& omitted = omitted_[std::move(reason)];
  if (omitted.count++ == 0) omitted.first = path;
}

bool ProjectLook::isOwnFolder(const std::string& path) const {
  return !ownFolder_.empty() && (path + "/").starts_with(ownFolder_);
}

std::vector<std::string> ProjectLook::notes() const {
  const std::map<std::string, std::string> reasons{
      {"repository", "a repository of its own"},
      {"large", fmt::format("larger than {} MB", limits_.largestFile / 1'000'000)},
      {"unreadable", "not readable"},
      {"special", "no regular file"},
      {"changing", "changing all the time"},
  };
  std::vector<std::string> result;
  if (listing_) result.push_back("Files that git ignores are not kept for undo.");
  for (const auto& [reason, omitted] : omitted_) {
    const auto name = singleLine(validUtf8(omitted.first));
    result.push_back(omitted.count == 1
                         ? fmt::format("“{}” is not kept for undo: it is {}.", name, reasons.at(reason))
                         : fmt::format("{} entries such as “{}” are not kept for undo: each is {}.",
                                       omitted.count, name, reasons.at(reason)));
  }
  return result;
}

Error ProjectLook::tooMuch(const std::string& what) const {
  return Error(fmt::format("“{}” holds {}, so this turn cannot be undone.",
                           singleLine(validUtf8(project_.filename().native())), what));
}

}  // namespace vale
