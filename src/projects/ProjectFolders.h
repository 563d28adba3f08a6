#pragma once

#include "common/SupportFolder.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Where on this machine everything lies that the project index reads, and what is no project. All absolute,
/// with links resolved. A value.
struct ProjectPlaces {
  std::filesystem::path home;
  std::filesystem::path support;
  std::filesystem::path library;
  std::filesystem::path claude;  ///< Claude Code's folder, "~/.claude" unless it was moved
  std::filesystem::path codex;
  /// Folders for what does not last.
  std::vector<std::filesystem::path> temporary;
  /// Where `git` is looked for.
  std::vector<std::filesystem::path> programs;

  /// Reads the disk.
  static ProjectPlaces ofThisUser(const std::filesystem::path& support,
                                  const EnvironmentLookup& environment = processEnvironment);
};

/// A folder that the user works in.
struct ProjectOfFolder {
  std::string id;  ///< its absolute path, links resolved, without a trailing slash
  bool exists = true;

  bool operator==(const ProjectOfFolder&) const = default;
};

namespace ProjectFolders {

/// The project that work in `folder` (a CLI's working folder) belongs to: the root of the git work tree
/// around it, of a linked work tree the main one, else the folder itself. The home folder is never taken for
/// a work tree that holds others. A folder that is gone counts for the work tree that it was in, if that is
/// still there. None for what is no project: no absolute path, the home folder and those above it, temporary
/// folders, the agents' and Vale's own, and names that could not stand in a heading. Reads the disk.
std::optional<ProjectOfFolder> projectOf(const std::filesystem::path& folder, const ProjectPlaces& places);

/// The id of an existing folder that the user chose. Throws Error with the sentence why it cannot be a
/// project.
std::string chosenFolder(const std::filesystem::path& folder, const ProjectPlaces& places);

/// True when `path` is `folder` or lies below it; both absolute and normal.
bool isWithin(const std::filesystem::path& path, const std::filesystem::path& folder);

/// True for an absolute path that can be an id, see ProjectIDs, and fits into a line of a list.
bool canBeListed(const std::string& path);

}  // namespace ProjectFolders

}  // namespace vale
