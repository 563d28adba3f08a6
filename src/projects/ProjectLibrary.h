#pragma once

#include "common/Date.h"
#include "common/Json.h"
#include "projects/ProjectFolders.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vale {

struct AddedProject {
  std::string folder;
  std::string addedAt;  ///< ISO 8601 UTC

  bool operator==(const AddedProject&) const = default;
};
BOOST_DESCRIBE_STRUCT(AddedProject, (), (folder, addedAt))

/// What the user said about projects: folders that are ones whether or not an agent worked there, and folders
/// that are none although one did.
struct ProjectChoices {
  std::int64_t version = 1;
  std::vector<AddedProject> added;  ///< in the order in which they were added
  std::vector<std::string> hidden;

  bool operator==(const ProjectChoices&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectChoices, (), (version, added, hidden))

/// The user's own choice of projects, in a file of its own ("projects.json" of the support folder). Every
/// call reads the file and writes it whole, under a lock, so that programs can take turns; for a worker
/// queue. A file that cannot be read, or that a newer Vale wrote, is an error at every call, and never
/// written.
class ProjectLibrary {
 public:
  explicit ProjectLibrary(ProjectPlaces places);

  /// Nothing chosen when there is no file. Throws Error.
  ProjectChoices read() const;

  /// Adds an existing folder and gives its id; a hidden one is shown again. Harmless when it is there. Throws
  /// Error with the sentence why it cannot be.
  std::string add(const std::filesystem::path& folder, Date now) const;

  /// Takes a folder off, and hides it when it is among `found`, the ids of all known projects, so that no log
  /// brings it back. The folder itself, which need not exist, is not touched. Gives its id. Throws Error when
  /// it was no project.
  std::string remove(const std::filesystem::path& folder, const std::vector<std::string>& found) const;

 private:
  void change(const std::function<void(ProjectChoices&)>& change) const;

  ProjectPlaces places_;
  std::filesystem::path file_;
};

}  // namespace vale
