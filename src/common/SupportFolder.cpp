#include "common/SupportFolder.h"

#include "common/Error.h"

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace vale {
namespace {

namespace fs = std::filesystem;

std::optional<fs::path> absoluteFolder(const EnvironmentLookup& environment, const std::string& name) {
  const auto value = environment(name);
  if (!value || !fs::path(*value).is_absolute()) return std::nullopt;
  return *value;
}

std::optional<fs::path> passwordEntryHome() {
  std::vector<char> buffer(1024);
  passwd entry = {};
  passwd* found = nullptr;
  while (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (!found || !entry.pw_dir || *entry.pw_dir != '/') return std::nullopt;
  return entry.pw_dir;
}

}  // namespace

std::optional<std::string> processEnvironment(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value ? std::optional<std::string>(value) : std::nullopt;
}

fs::path homeFolder(const EnvironmentLookup& environment) {
  if (auto home = absoluteFolder(environment, "HOME")) return *home;
  if (auto home = passwordEntryHome()) return *home;
  throw Error("The home folder is unknown: HOME is not set, and the user has no password entry.");
}

fs::path supportFolder(const EnvironmentLookup& environment) {
  if (const auto asked = environment("VALE_SUPPORT"); asked && !asked->empty()) return fs::absolute(*asked);
  std::error_code error;
  const auto executable = fs::read_symlink("/proc/self/exe", error);
  const auto* name = !error && isInBuildTree(executable, VALE_BUILD_DIR) ? "Vale-unbundled" : "Vale";
  if (const auto data = absoluteFolder(environment, "XDG_DATA_HOME")) return *data / name;
  return homeFolder(environment) / ".local/share" / name;
}

bool isInBuildTree(const fs::path& executable, const fs::path& buildFolder) {
  std::error_code error;
  // A moved or copied build tree has its cache file beside the programs.
  if (fs::exists(executable.parent_path() / "CMakeCache.txt", error)) return true;
  const auto relative = fs::weakly_canonical(executable, error).lexically_relative(buildFolder);
  return !relative.empty() && *relative.begin() != "..";
}

std::string_view version() { return VALE_VERSION; }

}  // namespace vale
