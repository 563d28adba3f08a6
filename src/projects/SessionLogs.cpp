#include "projects/SessionLogs.h"

#include "projects/PlainFiles.h"

#include <functional>

namespace vale::SessionLogs {
namespace {

namespace fs = std::filesystem;

enum class Kind { files, folders };

/// Calls `take` with each file or folder (no links) right in `folder`, until there are enough.
void forEachIn(const fs::path& folder, Kind kind, const std::vector<SessionLogFile>& found,
               const std::function<void(const fs::path&)>& take) {
  std::error_code error;
  fs::directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
  for (const fs::directory_iterator end; !error && entry != end && found.size() < limit;
       entry.increment(error)) {
    std::error_code unknown;
    const auto status = entry->symlink_status(unknown);
    if (kind == Kind::files ? fs::is_regular_file(status) : fs::is_directory(status)) take(entry->path());
  }
}

}  // namespace

std::vector<SessionLogFile> find(const ProjectPlaces& places) {
  std::vector<SessionLogFile> found;
  const auto addLogs = [&found](const fs::path& folder, AgentProvider provider, std::string_view opening) {
    forEachIn(folder, Kind::files, found, [&](const fs::path& file) {
      const auto name = file.filename().native();
      if (!name.ends_with(".jsonl") || !name.starts_with(opening)) return;
      // Claude Code's agents keep logs of their own beside the conversation's.
      if (provider == AgentProvider::claude && name.starts_with("agent-")) return;
      found.push_back({.path = file, .provider = provider, .stamp = PlainFiles::stamp(file)});
    });
  };
  forEachIn(places.codex / "sessions", Kind::folders, found, [&](const fs::path& year) {
    forEachIn(year, Kind::folders, found, [&](const fs::path& month) {
      forEachIn(month, Kind::folders, found,
                [&](const fs::path& day) { addLogs(day, AgentProvider::codex, "rollout-"); });
    });
  });
  forEachIn(places.claude / "projects", Kind::folders, found,
            [&](const fs::path& folder) { addLogs(folder, AgentProvider::claude, ""); });
  return found;
}

}  // namespace vale::SessionLogs
