#pragma once

#include "projects/ProjectRecord.h"
#include "projects/SessionLog.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What the index remembers of one project so as not to read it again.
struct CachedProject {
  std::vector<std::string> watched;  ///< paths, see ProjectFiles
  std::string stamp;                 ///< of them all, before they were read
  ProjectRecord record;

  bool operator==(const CachedProject&) const = default;
};
BOOST_DESCRIBE_STRUCT(CachedProject, (), (watched, stamp, record))

struct CachedLog {
  std::string stamp;
  std::optional<SessionLog> log;  ///< none for a file that is no log of a conversation

  bool operator==(const CachedLog&) const = default;
};
BOOST_DESCRIBE_STRUCT(CachedLog, (), (stamp, log))

/// The project index's memory from one refresh to the next, and from one run to the next in a file. The file
/// may be deleted at any time: then everything is read anew.
struct ProjectIndexCache {
  /// Rises whenever what is read from projects or logs changes, so that what an older Vale read is read anew.
  static constexpr std::int64_t currentVersion = 1;

  std::int64_t version = currentVersion;
  std::map<std::string, CachedProject> projects;  ///< by id
  std::map<std::string, CachedLog> logs;          ///< by path
  std::vector<std::string> missing;
  std::map<std::string, std::string> written;  ///< stamps of the index's own files, by path

  /// Empty when there is no file, or none that is good. Reads the disk.
  static ProjectIndexCache load(const std::filesystem::path& file);

  /// Throws FileError.
  void save(const std::filesystem::path& file) const;

  bool operator==(const ProjectIndexCache&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectIndexCache, (), (version, projects, logs, missing, written))

}  // namespace vale
