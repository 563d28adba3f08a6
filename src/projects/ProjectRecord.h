#pragma once

#include "agents/AgentProvider.h"
#include "common/Json.h"

#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A conversation that the user had with an agent CLI in a project, from the CLI's own log.
struct ProjectSession {
  std::string id;  ///< the CLI's own
  AgentProvider provider = AgentProvider::codex;
  std::string title;
  std::string date;  ///< of its last line, ISO 8601 UTC

  bool operator==(const ProjectSession&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectSession, (), (id, provider, title, date))

struct ProjectCommit {
  std::string date;  ///< ISO 8601 UTC
  std::string subject;

  bool operator==(const ProjectCommit&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectCommit, (), (date, subject))

/// One project as "projects/projects.json" of the library lists it: {"projects": [ProjectRecord, ...],
/// "missing": [path, ...]}. All texts come from files that others wrote: data in one line each, the README's
/// excerpt apart.
struct ProjectRecord {
  std::string id;  ///< the folder's absolute path, without a trailing slash
  std::string name;
  std::string description;
  std::vector<std::string> stack;
  std::optional<std::string> remote;         ///< without credentials
  std::optional<std::string> firstActivity;  ///< ISO 8601 UTC, as the next
  std::optional<std::string> lastActivity;
  std::string readme;
  std::vector<ProjectCommit> commits;    ///< newest first
  std::vector<ProjectSession> sessions;  ///< newest first, at most five

  bool operator==(const ProjectRecord&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectRecord, (),
                      (id, name, description, stack, remote, firstActivity, lastActivity, readme, commits,
                       sessions))

struct ProjectIndexRecord {
  std::vector<ProjectRecord> projects;  ///< the most recently active first
  std::vector<std::string> missing;     ///< folders that no longer exist

  bool operator==(const ProjectIndexRecord&) const = default;
};
BOOST_DESCRIBE_STRUCT(ProjectIndexRecord, (), (projects, missing))

}  // namespace vale
