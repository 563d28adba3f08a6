#include "browser/BookmarkPath.h"

#include "common/Text.h"

namespace vale::BookmarkPath {

namespace {

constexpr std::string_view mark = "›";

}  // namespace

std::string name(std::string_view text) {
  // Far more than fits, so that a hostile text costs nothing.
  auto line = singleLine(validUtf8(std::string(text.substr(0, 64 * longestName))));
  // Any mark at all: at an end of a name it would make another separator with its neighbour.
  for (auto at = line.find(mark); at != std::string::npos; at = line.find(mark, at)) {
    line.replace(at, mark.size(), ">");
  }
  return std::string(trimmed(firstCharacters(trimmed(line), longestName)));
}

std::string join(std::string_view parent, std::string_view name) {
  std::string path(parent);
  if (!path.empty() && !name.empty()) path += separator;
  return path += name;
}

std::string_view parent(std::string_view path) {
  const auto at = path.rfind(separator);
  return at == std::string_view::npos ? std::string_view() : path.substr(0, at);
}

std::string_view lastName(std::string_view path) {
  const auto at = path.rfind(separator);
  return at == std::string_view::npos ? path : path.substr(at + separator.size());
}

std::vector<std::string_view> names(std::string_view path) {
  std::vector<std::string_view> found;
  while (!path.empty()) {
    const auto at = path.find(separator);
    if (at != 0) found.push_back(path.substr(0, at));
    path.remove_prefix(at == std::string_view::npos ? path.size() : at + separator.size());
  }
  return found;
}

std::size_t depth(std::string_view path) { return names(path).size(); }

bool isWithin(std::string_view path, std::string_view folder) {
  if (folder.empty()) return true;
  if (!path.starts_with(folder)) return false;
  path.remove_prefix(folder.size());
  return path.empty() || path.starts_with(separator);
}

std::string moved(std::string_view path, std::string_view from, std::string_view to) {
  if (from.empty() || !isWithin(path, from)) return std::string(path);
  path.remove_prefix(from.size());
  if (!path.empty()) path.remove_prefix(separator.size());
  return join(to, path);
}

std::string bounded(std::string_view path) {
  if (path.find(separator) == std::string_view::npos) return std::string(path);
  std::string result;
  std::size_t levels = 0;
  for (const auto name : names(path)) {
    if (++levels > deepest) break;
    result = join(result, name);
  }
  return result;
}

}  // namespace vale::BookmarkPath
