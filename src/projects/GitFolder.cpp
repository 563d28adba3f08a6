#include "projects/GitFolder.h"

#include "common/Text.h"
#include "projects/PlainFiles.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t largestPointer = 4'096;
constexpr std::size_t largestConfig = 256 * 1024;

/// The path that a small file of the repository holds behind `prefix`, relative to `base`.
std::optional<fs::path> pointer(const fs::path& file, std::string_view prefix, const fs::path& base) {
  const auto text = PlainFiles::beginning(file, largestPointer, PlainFiles::Owner::user);
  if (!text || !text->starts_with(prefix) || text->contains('\0')) return std::nullopt;
  const auto path = trimmed(std::string_view(*text).substr(prefix.size()));
  if (path.empty()) return std::nullopt;
  return (base / path).lexically_normal();
}

bool isRepository(const fs::path& folder) {
  std::error_code error;
  return PlainFiles::belongsToUser(folder) && fs::is_directory(folder, error) &&
         fs::exists(fs::symlink_status(folder / "HEAD", error));
}

char lower(char c) { return char(std::tolower(static_cast<unsigned char>(c))); }

bool equalsInAnyCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

/// The value of a line "key = value" of git's configuration, without quotes and comments.
std::string configValue(std::string_view text) {
  std::string value;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      quoted = !quoted;
    } else if (text[i] == '\\' && i + 1 < text.size()) {
      value += text[++i];
    } else if (!quoted && (text[i] == '#' || text[i] == ';')) {
      break;
    } else {
      value += text[i];
    }
  }
  return std::string(trimmed(value));
}

/// The name of the remote that a section's heading opens, as it stands between the quotes.
std::optional<std::string_view> remoteSection(std::string_view line) {
  constexpr std::string_view opening = "[remote \"";
  if (line.size() <= opening.size() || !equalsInAnyCase(line.substr(0, opening.size()), opening))
    return std::nullopt;
  const auto end = line.rfind("\"]");
  if (end == std::string_view::npos || end < opening.size()) return std::nullopt;
  return line.substr(opening.size(), end - opening.size());
}

bool isNumber(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c); });
}

bool isHost(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](unsigned char c) {
    return std::isalnum(c) || c == '.' || c == '-' || c == '_' || c == '[' || c == ']' || c == ':';
  });
}

}  // namespace

std::optional<GitFolder> GitFolder::of(const fs::path& root) {
  const auto entry = root / ".git";
  std::error_code error;
  const auto status = fs::symlink_status(entry, error);
  if (!PlainFiles::belongsToUser(root)) return std::nullopt;
  fs::path folder = entry;
  if (fs::is_regular_file(status)) {
    const auto target = pointer(entry, "gitdir:", root);
    if (!target) return std::nullopt;
    folder = *target;
  } else if (!fs::exists(status)) {
    if (!fs::is_directory(root / "objects", error) || !fs::is_directory(root / "refs", error))
      return std::nullopt;
    folder = root;
  }
  if (!isRepository(folder)) return std::nullopt;
  const auto common = pointer(folder / "commondir", "", folder).value_or(folder);
  if (!isRepository(common)) return std::nullopt;
  return GitFolder{.folder = folder, .common = common};
}

std::optional<fs::path> GitFolder::mainWorkTree() const {
  const auto shared = common.has_filename() ? common : common.parent_path();
  if (common == folder || shared.filename() != ".git") return std::nullopt;
  return shared.parent_path();
}

std::vector<fs::path> GitFolder::watched() const {
  std::vector<fs::path> files{folder / "HEAD", folder / "logs/HEAD", common / "config",
                              common / "packed-refs", common / "reftable/tables.list"};
  // Without a log of HEAD (a bare repository has none) only the branch itself tells of a commit.
  if (const auto branch = pointer(folder / "HEAD", "ref: refs/", "");
      branch && !branch->is_absolute() && *branch->begin() != "..")
    files.push_back(common / "refs" / *branch);
  return files;
}

std::optional<std::string> GitFolder::remote() const {
  const auto text = PlainFiles::beginning(common / "config", largestConfig, PlainFiles::Owner::user);
  if (!text) return std::nullopt;
  std::optional<std::string> first;
  std::optional<std::string_view> section;
  std::string_view rest = *text;
  while (!rest.empty()) {
    const auto end = std::min(rest.find('\n'), rest.size());
    const auto line = trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.starts_with('[')) section = remoteSection(line);
    const auto equals = line.find('=');
    if (!section || equals == std::string_view::npos ||
        !equalsInAnyCase(trimmed(line.substr(0, equals)), "url"))
      continue;
    auto url = configValue(line.substr(equals + 1));
    if (section == "origin") return withoutCredentials(url);
    if (!first) first = std::move(url);
  }
  return first ? withoutCredentials(*first) : std::nullopt;
}

std::optional<std::string> withoutCredentials(std::string_view remote) {
  constexpr std::size_t longest = 500;
  if (remote.empty() || remote.size() > longest || !isValidUtf8(remote)) return std::nullopt;
  if (singleLine(remote) != remote) return std::nullopt;
  if (remote.starts_with('/') || remote.starts_with("./") || remote.starts_with("../") ||
      remote.starts_with("~/"))
    return std::string(remote);
  const auto behindUser = [](std::string_view authority) {
    const auto at = authority.rfind('@');
    return at == std::string_view::npos ? authority : authority.substr(at + 1);
  };
  const auto scheme = remote.find("://");
  if (scheme == std::string_view::npos) {
    // The form of scp: [user@]host:path.
    const auto slash = std::min(remote.find('/'), remote.size());
    const auto place = behindUser(remote.substr(0, slash));
    const auto colon = place.rfind(':');
    if (colon == std::string_view::npos || place.substr(0, colon).contains(':') ||
        !isHost(place.substr(0, colon)) || remote.contains('?') || remote.substr(slash).contains('@'))
      return std::nullopt;
    return std::string(place) + std::string(remote.substr(slash));
  }
  const auto name = remote.substr(0, scheme);
  constexpr std::array<std::string_view, 6> known = {"http", "https", "ssh", "git", "git+ssh", "file"};
  if (std::ranges::none_of(known, [&](auto one) { return equalsInAnyCase(one, name); })) return std::nullopt;
  auto rest = remote.substr(scheme + 3);
  rest = rest.substr(0, std::min(rest.find_first_of("?#"), rest.size()));
  const auto slash = std::min(rest.find('/'), rest.size());
  const auto place = behindUser(rest.substr(0, slash));
  const auto path = rest.substr(slash);
  // A password with a slash in it would have its end in the path, before an "@".
  const auto port = place.rfind(':');
  const bool portIsOne =
      port == std::string_view::npos || place.ends_with(']') || isNumber(place.substr(port + 1));
  if (!portIsOne || path.contains('@') || (!place.empty() && !isHost(place))) return std::nullopt;
  return std::string(name) + "://" + std::string(place) + std::string(path);
}

}  // namespace vale
