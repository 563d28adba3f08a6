#include "browser/DownloadDestination.h"

#include "common/FileDescriptor.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace vale {
namespace {

constexpr std::size_t longestName = 200;      // bytes; the system's limit is 255, and a number may be added
constexpr std::size_t longestExtension = 20;  // bytes
constexpr std::size_t largestSettings = 1 << 20;

/// The value of a line such as XDG_DOWNLOAD_DIR="$HOME/Downloads": either "$HOME" and what is below it, or an
/// absolute path, with backslashes before special characters.
std::optional<std::filesystem::path> folderOfLine(std::string_view line, const std::filesystem::path& home) {
  constexpr std::string_view key = "XDG_DOWNLOAD_DIR=\"";
  line = trimmed(line);
  if (!line.starts_with(key) || line.size() == key.size() || !line.ends_with('"')) return std::nullopt;
  line.remove_prefix(key.size());
  line.remove_suffix(1);
  constexpr std::string_view homeVariable = "$HOME";
  const bool belowHome = line.starts_with(homeVariable);
  if (belowHome) line.remove_prefix(homeVariable.size());
  if (!line.starts_with('/') && !(belowHome && line.empty())) return std::nullopt;
  std::string path = belowHome ? home.native() : "";
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size()) ++i;
    path += line[i];
  }
  return path;
}

/// Where the extension begins: at the last full stop, or the one before it in "archive.tar.gz".
std::size_t extensionStart(std::string_view name) {
  auto start = name.rfind('.');
  if (start == std::string_view::npos || start == 0 || name.size() - start > longestExtension)
    return name.size();
  constexpr std::string_view tar = ".tar";
  if (start > tar.size() && name.substr(0, start).ends_with(tar)) start -= tar.size();
  return start;
}

/// At most `size` bytes from the front, never half a character of UTF-8.
std::string_view cut(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (text[size] & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

}  // namespace

std::filesystem::path userDownloadsDirectory(const EnvironmentLookup& environment) {
  const auto home = homeFolder(environment);
  const auto asked = environment("XDG_CONFIG_HOME");
  const bool usable = asked && std::filesystem::path(*asked).is_absolute();
  const auto settings = (usable ? std::filesystem::path(*asked) : home / ".config") / "user-dirs.dirs";
  std::optional<std::filesystem::path> folder;
  const auto text = readFile(settings, largestSettings).value_or("");
  for (std::string_view rest = text; !rest.empty();) {
    const auto line = rest.substr(0, rest.find('\n'));
    if (auto found = folderOfLine(line, home)) folder = std::move(found);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return folder.value_or(home / "Downloads");
}

std::string safeFileName(std::string_view suggested) {
  // A folder of either kind of system.
  suggested.remove_prefix(suggested.find_last_of("/\\") + 1);
  const std::string name = singleLine(validUtf8(std::string(suggested)));
  std::string_view rest = trimmed(name);
  while (rest.starts_with('.')) rest = trimmed(rest.substr(1));
  while (rest.ends_with('.')) rest = trimmed(rest.substr(0, rest.size() - 1));
  if (rest.empty()) return "download";
  const auto extension = rest.substr(extensionStart(rest));
  const auto stem = rest.substr(0, rest.size() - extension.size());
  return std::string(cut(stem, longestName - extension.size())) + std::string(extension);
}

std::filesystem::path freeDestination(const std::filesystem::path& folder, const std::string& name,
                                      const std::function<bool(const std::filesystem::path&)>& isTaken) {
  auto path = folder / name;
  const auto start = extensionStart(name);
  for (int number = 1; isTaken(path); ++number) {
    path = folder / fmt::format("{} ({}){}", name.substr(0, start), number, name.substr(start));
  }
  return path;
}

}  // namespace vale
