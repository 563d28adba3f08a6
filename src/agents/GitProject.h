#pragma once

#include "agents/CLIInstallations.h"
#include "agents/CheckpointLimits.h"
#include "agents/ProjectFileState.h"
#include "agents/ShortCommand.h"

#include <expected>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// A file of a commit.
struct GitBlob {
  std::string name;  ///< git's own of the content, hexadecimal
  std::int64_t size = 0;
};

/// A project folder's part of a repository.
struct GitListing {
  ProjectRepository repository;
  std::vector<std::string> paths;  ///< what git tracks or would offer to add, relative to the project
  std::vector<std::string> nestedRepositories;
  std::map<std::string, GitBlob> committed;  ///< the last commit's files
};

/// Reads the user's repositories with git, and changes nothing in them. The list of files is asked of git in
/// the repository itself, because only there all rules of what is ignored hold, by commands that run no hook,
/// filter or file system monitor and may not reach for a remote. Contents are read from the repository's
/// objects by way of an empty repository of Vale's own, where the user's configuration does not hold at all.
/// Blocks.
class GitProject {
 public:
  /// The empty repositories are made in `folder`.
  GitProject(std::filesystem::path folder, const EnvironmentVariables& environment, CheckpointLimits limits);

  /// None when the folder is in no repository's work tree, is itself ignored, or there is no git. An error
  /// for a bare repository, and when git fails.
  std::expected<std::optional<GitListing>, Error> list(const std::filesystem::path& project) const;

  /// The contents that are there, by their names, checked. Of `blobs` no more than memory should hold at
  /// once.
  std::map<std::string, std::string> read(const ProjectRepository& repository,
                                          const std::vector<GitBlob>& blobs) const;

  /// Git's name for a file with this content.
  static std::string blobName(std::string_view bytes, std::string_view objectFormat);

 private:
  ShortCommand::Outcome ask(const std::filesystem::path& project, std::vector<std::string> arguments) const;
  std::optional<std::string> answer(const std::filesystem::path& project,
                                    std::vector<std::string> arguments) const;
  ShortCommand::Outcome askObjects(const ProjectRepository& repository, std::vector<std::string> arguments,
                                   std::string_view input, std::size_t outputLimit) const;
  std::map<std::string, GitBlob> committed(const ProjectRepository& repository) const;

  std::filesystem::path folder_;
  CheckpointLimits limits_;
  std::optional<std::filesystem::path> git_;
  EnvironmentVariables environment_;
};

}  // namespace vale
