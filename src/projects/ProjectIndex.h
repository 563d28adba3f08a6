#pragma once

#include "common/OneShot.h"
#include "common/Published.h"
#include "common/Surroundings.h"
#include "projects/ProjectFolders.h"
#include "projects/ProjectIndexCache.h"
#include "projects/ProjectRecord.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vale {

/// What a refresh of the project index found.
struct ProjectIndexRefresh {
  ProjectIndexRecord index;
  std::size_t changed = 0;  ///< projects that are new or not as they were
  bool written = false;     ///< whether any file of the index was
  double seconds = 0;
};

/// The index of the user's coding projects, in the folder "projects" of the library: "INDEX.md",
/// "projects.json" and "AGENTS.md". Projects are the folders that the user added and those that the agents'
/// own session logs name. A refresh looks at the dates of what it read before and reads only what has
/// changed, several projects at once on the worker pool. Each file is replaced whole; killed at any moment,
/// the next refresh mends what is left. Main thread.
class ProjectIndex {
 public:
  /// Of a project this many sessions are listed.
  static constexpr std::size_t sessionCount = 5;

  ProjectIndex(ProjectPlaces places, Surroundings surroundings);
  ~ProjectIndex();
  ProjectIndex(const ProjectIndex&) = delete;
  ProjectIndex& operator=(const ProjectIndex&) = delete;

  const ProjectPlaces& places() const { return places_; }

  /// Brings the files up to date. One at a time: whoever asks while a refresh is under way gets the result of
  /// the next one, and all who do share it. Throws Error when the user's list of projects cannot be read (the
  /// index then stays as it is) or the index cannot be written.
  Task<ProjectIndexRefresh> refresh();

  /// True from the first call of `refresh` until none is under way.
  const Published<bool>& refreshing() const { return refreshing_; }

 private:
  using Outcome = std::variant<ProjectIndexRefresh, std::exception_ptr>;

  void start();
  void finish(Outcome outcome);

  ProjectPlaces places_;
  Surroundings surroundings_;
  /// Touched by the refresh under way alone; empty until the first.
  std::shared_ptr<std::optional<ProjectIndexCache>> cache_;
  Published<bool> refreshing_{false};
  std::vector<OneShot<Outcome>> served_;   ///< by the refresh under way
  std::vector<OneShot<Outcome>> waiting_;  ///< for the next one
  std::shared_ptr<ProjectIndex*> self_;
};

}  // namespace vale
