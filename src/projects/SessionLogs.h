#pragma once

#include "projects/ProjectFolders.h"
#include "projects/SessionLog.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vale {

/// A log as the disk has it, not yet read.
struct SessionLogFile {
  std::filesystem::path path;
  AgentProvider provider = AgentProvider::codex;
  std::string stamp;  ///< see PlainFiles::stamp
};

/// Where the agent CLIs keep the logs of their conversations: Claude Code in "projects/FOLDER/ID.jsonl" of
/// its folder, Codex in "sessions/YYYY/MM/DD/rollout-*.jsonl". Only listed and read, never changed.
namespace SessionLogs {

/// More than so many are not looked at.
inline constexpr std::size_t limit = 50'000;

/// Every log of this user that is there, in no order. Symbolic links below the CLIs' folders are not
/// followed. Folders that cannot be read count as empty. Reads the disk: one call of the system a log.
std::vector<SessionLogFile> find(const ProjectPlaces& places);

}  // namespace SessionLogs

}  // namespace vale
