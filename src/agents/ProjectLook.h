#pragma once

#include "agents/CheckpointObjects.h"
#include "agents/GitProject.h"
#include "agents/ProjectFolder.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vale {

/// Where a content is kept, as FileState::content has it.
namespace ContentName {

std::string own(std::string_view name);
std::string git(std::string_view name);
/// The name behind the prefix, or none when it is kept elsewhere.
std::optional<std::string> inOwnStore(const std::optional<std::string>& content);
std::optional<std::string> inGit(const std::optional<std::string>& content);

}  // namespace ContentName

/// One look at all files of a project. For one use, on one thread.
class ProjectLook {
 public:
  /// `git` and `objects` must outlive it. The store's own folder is passed over where it lies in the project.
  ProjectLook(const std::filesystem::path& project, const std::filesystem::path& storeFolder,
              const GitProject& git, const CheckpointObjects& objects, const CheckpointLimits& limits);

  /// Keeps what a later undo may need. Files that were not touched since an earlier look are not read again.
  /// The error says why it cannot be done. Throws Error.
  std::expected<CheckpointFiles, Error> before(const std::optional<CheckpointFiles>& earlier);

  /// What has become of the files of an earlier look, and the new ones. A file that is listed only now,
  /// because git ignored it before, is no new one: it is left out, or comes without its content when it was
  /// moved or written meanwhile; then it is in `unknownBefore` too.
  struct After {
    CheckpointFiles files;
    std::set<std::string> unknownBefore;
    std::vector<std::string> newFolders;  ///< that were made since, or moved to where they are
  };
  std::expected<After, Error> after(const CheckpointFiles& before);

 private:
  enum class Purpose { before, after };
  struct Omitted {
    std::string first;
    std::int64_t count = 0;
  };

  std::expected<void, Error> list();
  void noteFolders(CheckpointFiles& files);
  std::set<std::pair<std::int64_t, std::int64_t>> movedFiles(const CheckpointFiles& before);
  std::vector<std::string> newFolders(const CheckpointFiles& before, const CheckpointFiles& after);
  std::optional<FileState> inspect(const std::string& path, const FoundFile& found, const FileState* known,
                                   std::int64_t knownAt, Purpose purpose);
  std::optional<std::string> reusable(const std::string& path, const FoundFile& found, const FileState* known,
                                      std::int64_t knownAt, Purpose purpose) const;
  std::string contentName(const std::string& path, const std::string& bytes, const FileState* known,
                          Purpose purpose);
  void count(std::int64_t bytes);
  bool isOverCopyLimit() const;
  void omit(const std::string& path, std::string reason);
  bool isOwnFolder(const std::string& path) const;
  std::vector<std::string> notes() const;
  Error tooMuch(const std::string& what) const;

  std::filesystem::path project_;
  std::string ownFolder_;  ///< relative to the project, with "/" at its end; empty when it is elsewhere
  const GitProject& git_;
  const CheckpointObjects& objects_;
  CheckpointLimits limits_;
  ProjectFolder folder_;
  std::chrono::steady_clock::time_point deadline_;
  std::int64_t startedAt_;
  std::optional<GitListing> listing_;
  std::vector<std::string> paths_;
  std::map<std::string, Omitted> omitted_;  ///< by reason
  std::int64_t copiedFiles_ = 0;
  std::int64_t copiedBytes_ = 0;
};

/// The clock of file systems runs behind by up to one tick of the kernel.
inline constexpr std::int64_t fileClockSlack = 20'000'000;  // nanoseconds

}  // namespace vale
