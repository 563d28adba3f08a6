#include "projects/ProjectIDs.h"

#include "common/Text.h"

#include <filesystem>

namespace vale {
namespace {

constexpr std::size_t longestPath = 4096;
constexpr std::string_view sectionMark = "## ";
constexpr std::string_view missingFolders = "# Folders that no longer exist";

}  // namespace

std::optional<std::string> projectID(std::string_view text) {
  while (text.ends_with('/')) text.remove_suffix(1);
  if (text.size() > longestPath || onlyWhiteSpace(text) || text.contains('`')) return std::nullopt;
  if (!isValidUtf8(text) || singleLine(text) != text) return std::nullopt;
  return std::string(text);
}

std::optional<std::string> knownProjectID(std::string_view text, const ProjectIDs& known) {
  const auto id = projectID(text);
  return id && known.contains(*id) ? id : std::nullopt;
}

ProjectIDs indexHeadings(std::string_view markdown) {
  ProjectIDs ids;
  for (std::size_t end; (end = markdown.find('\n')) != std::string_view::npos;
       markdown.remove_prefix(end + 1)) {
    auto line = markdown.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line == missingFolders) break;
    if (!line.starts_with(sectionMark) || !line.substr(sectionMark.size()).starts_with('/')) continue;
    auto id = projectID(line.substr(sectionMark.size()));
    if (id && std::filesystem::path(*id).lexically_normal() == *id) ids.insert(*std::move(id));
  }
  return ids;
}

}  // namespace vale
