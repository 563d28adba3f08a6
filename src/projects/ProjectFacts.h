#pragma once

#include "common/Queues.h"
#include "projects/ProjectFolders.h"
#include "projects/ProjectRecord.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Which files of a project's folder tell something about it. A value.
struct ProjectFiles {
  std::filesystem::path folder;
  std::vector<std::string> manifests;
  std::string readme;            ///< the file's name; empty when there is none
  std::vector<std::string> git;  ///< paths; empty without a repository of this user's own

  /// No more names than this are looked at.
  static constexpr std::size_t namesLimit = 5'000;

  /// Lists the folder, and no other one. Reads the disk.
  static ProjectFiles in(const std::filesystem::path& folder);

  /// The paths by whose stamps it shows that something has changed: the folder and each of these.
  std::vector<std::string> watched() const;
};

namespace ProjectFacts {

inline constexpr std::size_t descriptionLength = 300;
inline constexpr std::size_t readmeLength = 1'500;
inline constexpr std::size_t commitCount = 10;
inline constexpr std::size_t subjectLength = 200;
inline constexpr Seconds gitTimeout{5.0};

/// What the folder's own files tell: name, description, stack, remote, the README's excerpt and the latest
/// commits. Everything is bounded, in valid UTF-8 without control characters, and but for the README in one
/// line. Runs `git log` at most, with nothing that the repository configures. Starts on any executor; reads
/// the disk on it.
Task<ProjectRecord> read(ProjectFiles files, ProjectPlaces places, WorkerPool& workers);

/// The first paragraph of a README that is prose: no headings, badges, quotes, lists or code.
std::string firstParagraph(std::string_view readme);

}  // namespace ProjectFacts

}  // namespace vale
