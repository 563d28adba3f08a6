#include "projects/ProjectFolders.h"

#include "common/Error.h"
#include "common/Text.h"
#include "history/ValeLibrary.h"
#include "projects/GitFolder.h"
#include "projects/ProjectIDs.h"

#include <fmt/format.h>

#include <algorithm>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestPath = 1'024;

fs::path withoutTrailingSlash(const fs::path& path) {
  const auto normal = path.lexically_normal();
  return normal.has_filename() || normal == normal.root_path() ? normal : normal.parent_path();
}

/// With links resolved as far as the folders exist.
fs::path resolved(const fs::path& path) {
  std::error_code error;
  auto real = fs::weakly_canonical(path, error);
  return withoutTrailingSlash(error ? path : real);
}

bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

/// Why this existing or former folder is no project whoever asks for it, or none.
std::optional<std::string> objection(const fs::path& folder, const ProjectPlaces& places) {
  const auto& home = places.home;
  if (folder == home) return "Your home folder cannot be a project. Choose a folder in it.";
  if (ProjectFolders::isWithin(home, folder))
    return fmt::format("“{}” holds your home folder and cannot be a project.", folder.native());
  for (const auto& own : {places.support, places.library}) {
    if (!own.empty() && ProjectFolders::isWithin(folder, own))
      return fmt::format("“{}” belongs to Vale itself and cannot be a project.", folder.native());
  }
  if (!ProjectFolders::canBeListed(folder.native()))
    return "The path of the folder has characters that cannot be listed. Rename the folder.";
  return std::nullopt;
}

bool isPassing(const fs::path& folder, const ProjectPlaces& places) {
  for (const auto& temporary : places.temporary) {
    if (!ProjectFolders::isWithin(folder, temporary)) continue;
    // A home folder may itself be a temporary one, as in a container.
    if (!ProjectFolders::isWithin(places.home, temporary) || !ProjectFolders::isWithin(folder, places.home))
      return true;
  }
  return false;
}

/// The root of the git work tree around an existing folder.
std::optional<fs::path> workTree(const fs::path& folder, const fs::path& home) {
  for (auto at = folder; at != home && at.has_relative_path(); at = at.parent_path()) {
    std::error_code error;
    const auto status = fs::symlink_status(at / ".git", error);
    if (!fs::exists(status)) continue;
    // Only a file can lead to another work tree.
    if (fs::is_directory(status)) return at;
    const auto git = GitFolder::of(at);
    if (!git) return at;
    const auto main = git->mainWorkTree();
    return main && isFolder(*main) && *main != home ? resolved(*main) : at;
  }
  return std::nullopt;
}

fs::path placeFrom(const EnvironmentLookup& environment, const char* name, const fs::path& otherwise) {
  const auto value = environment(name);
  return resolved(value && fs::path(*value).is_absolute() ? fs::path(*value) : otherwise);
}

}  // namespace

ProjectPlaces ProjectPlaces::ofThisUser(const fs::path& support, const EnvironmentLookup& environment) {
  const auto home = resolved(homeFolder(environment));
  ProjectPlaces places{.home = home,
                       .support = resolved(support),
                       .library = resolved(ValeLibraryPaths::library(support)),
                       .claude = placeFrom(environment, "CLAUDE_CONFIG_DIR", home / ".claude"),
                       .codex = placeFrom(environment, "CODEX_HOME", home / ".codex"),
                       .temporary = {"/dev", "/run", "/proc", "/sys"}};
  for (const auto* temporary : {"/tmp", "/var/tmp"}) places.temporary.push_back(resolved(temporary));
  places.temporary.push_back(placeFrom(environment, "TMPDIR", "/tmp"));
  const std::string path = environment("PATH").value_or("/usr/local/bin:/usr/bin:/bin");
  for (std::size_t begin = 0; begin <= path.size();) {
    const auto end = std::min(path.find(':', begin), path.size());
    if (const fs::path folder = path.substr(begin, end - begin); folder.is_absolute())
      places.programs.push_back(folder);
    begin = end + 1;
  }
  return places;
}

namespace ProjectFolders {

bool isWithin(const fs::path& path, const fs::path& folder) {
  const auto& whole = path.native();
  const auto& part = folder.native();
  if (part == "/") return whole.starts_with('/');
  return !part.empty() && whole.starts_with(part) &&
         (whole.size() == part.size() || whole[part.size()] == '/');
}

bool canBeListed(const std::string& path) {
  return path.starts_with('/') && path.size() <= longestPath && trimmed(path) == path &&
         projectID(path) == path;
}

std::optional<ProjectOfFolder> projectOf(const fs::path& folder, const ProjectPlaces& places) {
  if (!folder.is_absolute() || folder.native().size() > longestPath || folder.native().contains('\0'))
    return std::nullopt;
  const auto real = resolved(folder);
  auto existing = real;
  while (!isFolder(existing) && existing.has_relative_path()) existing = existing.parent_path();
  ProjectOfFolder project{.id = real.native(), .exists = existing == real};
  if (const auto root = workTree(existing, places.home)) project = {.id = root->native()};
  if (objection(project.id, places) || isPassing(project.id, places)) return std::nullopt;
  for (const auto& agents : {places.claude, places.codex}) {
    if (!agents.empty() && isWithin(project.id, agents)) return std::nullopt;
  }
  return project;
}

std::string chosenFolder(const fs::path& folder, const ProjectPlaces& places) {
  std::error_code error;
  const auto absolute = fs::absolute(folder, error);
  if (error || !isFolder(absolute))
    throw Error(fmt::format("There is no folder “{}”. Name one that exists.", validUtf8(folder.native())));
  const auto real = resolved(absolute);
  if (auto reason = objection(real, places)) throw Error(std::move(*reason));
  return real.native();
}

}  // namespace ProjectFolders
}  // namespace vale
