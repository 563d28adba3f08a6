#pragma once

#include "common/Surroundings.h"
#include "projects/ProjectIndex.h"

#include <string>

namespace vale {

/// Keeps the project index up to date while the browser runs: some time after the start, and from time to
/// time. A look that finds nothing changed only asks for dates of files. Main thread only.
class ProjectIndexUpkeep {
 public:
  static constexpr Seconds firstLook{20};
  static constexpr Seconds interval{900};

  /// `surroundings` must outlive the object.
  ProjectIndexUpkeep(ProjectPlaces places, Surroundings surroundings);
  ProjectIndexUpkeep(const ProjectIndexUpkeep&) = delete;
  ProjectIndexUpkeep& operator=(const ProjectIndexUpkeep&) = delete;

 private:
  void lookIn(Seconds delay);
  void refresh();

  Surroundings surroundings_;
  ProjectIndex index_;
  std::string reported_;  ///< the problem that is in the log already
  Timer timer_;
  std::shared_ptr<ProjectIndexUpkeep*> self_;
};

}  // namespace vale
