#include "agents/AgentCommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace vale::CodexExploreSandbox {
namespace {

namespace fs = std::filesystem;

fs::path resolved(const fs::path& path) {
  std::error_code error;
  auto real = fs::weakly_canonical(path, error);
  return error ? path.lexically_normal() : real;
}

/// Without ".", ".." and a last "/".
fs::path normal(const fs::path& path) {
  const auto plain = path.lexically_normal();
  return plain.has_filename() || !plain.has_relative_path() ? plain : plain.parent_path();
}

/// True when `path` is `folder` or lies in it. Both are normal.
bool isWithin(const fs::path& path, const fs::path& folder) {
  return std::ranges::mismatch(folder, path).in1 == folder.end();
}

/// The platform packages (@openai/codex-linux-x64 and the like) that the npm launcher's package may run its
/// native executable from: npm puts them beside it or, nested, below it; pnpm puts links there.
std::vector<fs::path> platformPackages(const fs::path& launcherPackage) {
  std::vector<fs::path> found;
  for (const auto& scope : {launcherPackage.parent_path(), launcherPackage / "node_modules" / "@openai"}) {
    std::error_code error;
    for (fs::directory_iterator entry(scope, error), end; !error && entry != end; entry.increment(error)) {
      std::error_code ignored;
      if (entry->path().filename().native().starts_with("codex-") &&
          fs::exists(entry->path() / "vendor", ignored)) {
        found.push_back(resolved(entry->path()));
      }
    }
  }
  std::ranges::sort(found);
  return found;
}

bool isNpmLauncher(const fs::path& executable) {
  const auto package = executable.parent_path().parent_path();
  return executable.filename() == "codex.js" && package.filename() == "codex" &&
         package.parent_path().filename() == "@openai";
}

}  // namespace

std::vector<std::string> arguments(const fs::path& workingDirectory, const fs::path& executable,
                                   const fs::path& home) {
  std::vector<std::string> roots{":minimal", resolved(workingDirectory).native()};
  for (const auto& root : installRoots(executable, home)) roots.push_back(root.native());

  std::string entries;
  for (auto root = roots.begin(); root != roots.end(); ++root) {
    if (std::find(roots.begin(), root, *root) != root) continue;
    if (!entries.empty()) entries += ',';
    entries += tomlString(*root) + "=\"read\"";
  }
  return {"-c", "default_permissions=\"vale_explore\"", "-c",
          "permissions.vale_explore.filesystem={" + entries + "}"};
}

std::vector<fs::path> installRoots(const fs::path& executable, const fs::path& home) {
  const auto real = resolved(executable);
  const auto realHome = home.empty() ? home : resolved(home);
  const auto folder = real.parent_path();
  std::vector<fs::path> candidates;
  if (isNpmLauncher(real)) {
    const auto package = folder.parent_path();
    candidates = platformPackages(package);
    candidates.insert(candidates.begin(), package);
  } else {
    // What the native executable brings along (its own rg, its helpers) lies in folders beside its "bin".
    const auto package = folder.parent_path();
    std::error_code ignored;
    if (folder.filename() == "bin" && fs::exists(package / "codex-path", ignored))
      candidates.push_back(package);
    candidates.push_back(folder);
  }
  std::vector<fs::path> roots;
  for (const auto& candidate : candidates) {
    const bool isBin = candidate == folder && candidate.filename() == "bin";
    if (isGrantable(candidate, realHome, isBin ? HomeBin::allowed : HomeBin::refused))
      roots.push_back(candidate);
  }
  // Where the folder holds more than Codex, the executable alone must do: without it no command starts.
  if (roots.empty()) roots.push_back(real);
  return roots;
}

bool isGrantable(const fs::path& root, const fs::path& homeFolder, HomeBin homeBin) {
  const auto path = normal(root);
  const auto home = normal(homeFolder);
  // One step below the file system's root lies a whole part of the system: /opt, /home, /srv.
  if (!path.is_absolute() || std::distance(path.begin(), path.end()) < 3) return false;
  if (home.empty()) return true;
  if (isWithin(home, path)) return false;
  if (!isWithin(path, home)) return true;

  const auto inside = path.lexically_relative(home);
  const auto depth = std::distance(inside.begin(), inside.end());
  if (depth == 1) return inside == "bin" && homeBin == HomeBin::allowed;
  const auto top = inside.begin()->native();
  static constexpr std::array credentials{".ssh", ".gnupg",          ".aws",    ".azure", ".kube", ".docker",
                                          ".pki", ".password-store", ".mozilla"};
  if (std::ranges::find(credentials, top) != credentials.end()) return false;
  // ~/.local/share and ~/.config/gh hold other programs' data; ~/.local/bin only programs.
  const bool isShared = top == ".local" || top == ".config" || top == ".cache" || top == "Library";
  return !isShared || depth > 2 || inside == ".local/bin";
}

std::string tomlString(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += {'\\', c};
    } else if (byte < 0x20 || byte == 0x7F) {
      quoted += fmt::format("\\u{:04X}", byte);
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

}  // namespace vale::CodexExploreSandbox
