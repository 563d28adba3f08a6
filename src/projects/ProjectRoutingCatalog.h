#pragma once

#include "projects/ProjectIDs.h"
#include "projects/ProjectRecord.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vale {

enum class ProjectCatalogSource {
  none,
  projectIndex,
  given,  ///< a list of the caller's
};
template <>
inline constexpr auto rawValues<ProjectCatalogSource> =
    std::to_array<RawValue<ProjectCatalogSource>>({{ProjectCatalogSource::none, "none"},
                                                   {ProjectCatalogSource::projectIndex, "projectIndex"},
                                                   {ProjectCatalogSource::given, "given"}});

/// The short list of projects that the quick pass chooses from: the most recently active ones, a few lines
/// each. All texts are one line, and bounded: 60 projects come to some 70,000 characters at the very most,
/// and in practice to a fifth of that.
struct ProjectRoutingCatalog {
  static constexpr std::size_t mostProjects = 60;
  static constexpr std::size_t mostRecentWork = 3;  ///< commits, and as many sessions

  struct Entry {
    std::string id;
    std::string name;
    std::string description;  ///< may be empty, as may the next two
    std::string stack;
    std::string lastActivity;             ///< a day, "2026-11-22"
    std::vector<std::string> recentWork;  ///< commit subjects and session titles, the newest first

    bool operator==(const Entry&) const = default;
  };

  ProjectCatalogSource catalogSource = ProjectCatalogSource::none;
  std::vector<Entry> projects;               ///< the most recently active first
  std::size_t leftOut = 0;                   ///< projects that the list is too short for
  std::map<std::string, std::string> names;  ///< by id, of those left out too

  /// Records with an unfit or repeated id are passed over. Those without a date keep their order, after the
  /// others.
  static ProjectRoutingCatalog from(std::vector<ProjectRecord> records, ProjectCatalogSource source);

  /// From a JSON file: the index ({"projects": [...]}), or a list of objects with "id", "name" and
  /// "description". An entry without an id is passed over, other missing or unfit keys count as empty. Throws
  /// Error when the file cannot be read, is larger than 64 MiB, or is something else. Blocks on the disk.
  static ProjectRoutingCatalog read(const std::filesystem::path& file, ProjectCatalogSource source);

  ProjectIDs ids() const;

  /// The project's name; for one that nobody knows, its folder's.
  std::string name(const std::string& projectID) const;
};

}  // namespace vale
