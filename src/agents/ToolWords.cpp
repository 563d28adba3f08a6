#include "agents/ToolWords.h"

#include "agents/ShellCommand.h"
#include "common/SupportFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace vale {

namespace ToolWords {

Description plan(const json::array* steps, std::string_view key, bool (*done)(const json::object& step)) {
  Description description{.kind = ToolKind::plan, .summary = "Update the plan"};
  if (!steps || steps->empty()) return description;
  std::size_t finished = 0;
  std::string lines;
  for (const auto& value : *steps) {
    const auto* step = value.if_object();
    if (!step) continue;
    const bool isDone = done(*step);
    finished += isDone;
    // The preview shows no more than this anyway.
    if (lines.size() < 64 * 1024) lines += (isDone ? "[x] " : "[ ] ") + phrase(*step, key) + "\n";
  }
  description.summary += fmt::format(" ({} of {} done)", finished, steps->size());
  description.inputPreview = previewText(lines);
  return description;
}

Description serverTool(std::string_view server, std::string_view tool, std::string input) {
  return {.summary = fmt::format("Use {} from {}", inQuotes(previewLine(tool, 80)),
                                 inQuotes(previewLine(server, 80))),
          .target = previewLine(tool, 80),
          .inputPreview = std::move(input)};
}

}  // namespace ToolWords

namespace ToolDescriptions {
namespace {

namespace fs = std::filesystem;

/// Without ".", "..", doubled and last slashes.
std::string normalPath(std::string_view path) {
  const auto has = [&](std::string_view part) { return path.find(part) != std::string_view::npos; };
  if (!has("//") && !has("/.") && !path.starts_with('.') && !path.ends_with('/')) return std::string(path);
  auto normal = fs::path(path).lexically_normal().native();
  if (normal.size() > 1 && normal.back() == '/') normal.pop_back();
  return normal;
}

/// What of the path lies below the folder: "." for the folder itself, none elsewhere. Both are normal.
std::optional<std::string_view> below(std::string_view path, std::string_view folder) {
  if (folder.size() < 2 || !path.starts_with(folder)) return std::nullopt;
  path.remove_prefix(folder.size());
  if (path.empty()) return ".";
  if (path.front() != '/') return std::nullopt;
  return path.substr(1);
}

std::string joined(const std::vector<std::string>& names) {
  constexpr std::size_t shown = 3;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), shown); ++i) list += (i ? ", " : "") + names[i];
  if (names.size() > shown) list += fmt::format(" and {} more", names.size() - shown);
  return list;
}

}  // namespace

std::string displayPath(std::string_view path, const fs::path& project) {
  constexpr std::size_t shown = 200;
  constexpr std::size_t longest = 4096;  // PATH_MAX
  if (path.empty() || path.size() > longest) return previewLine(path, shown);
  const auto normal = normalPath(path);
  if (normal.front() != '/') return previewLine(normal, shown);
  if (const auto inside = below(normal, normalPath(project.native()))) return previewLine(*inside, shown);
  const auto home = processEnvironment("HOME");
  const auto inHome = home ? below(normal, normalPath(*home)) : std::nullopt;
  if (!inHome) return previewLine(normal, shown);
  return *inHome == "." ? "~" : "~/" + previewLine(*inHome, shown);
}

Description command(std::string_view command, const fs::path& project) {
  Description description{.kind = ToolKind::command,
                          .summary = "Run " + previewLine(command, 120),
                          .target = previewLine(command, 200),
                          .inputPreview = previewText(command)};
  const auto meaning = ShellCommand::meaning(command);
  if (!meaning) return description;

  std::vector<std::string> paths;
  for (const auto& path : meaning->paths) {
    if (auto shown = displayPath(path, project); shown != ".") paths.push_back(std::move(shown));
  }
  const auto in = paths.empty() ? "" : " in " + joined(paths);
  switch (meaning->action) {
  case ShellCommand::Action::read:
    description.kind = ToolKind::read;
    description.summary = "Read " + joined(paths);
    description.files = std::move(paths);
    break;
  case ShellCommand::Action::search:
    description.kind = ToolKind::search;
    description.summary = "Search for " + ToolWords::inQuotes(previewLine(meaning->pattern, 120)) + in;
    break;
  case ShellCommand::Action::list:
    description.kind = ToolKind::search;
    description.summary = "List the files" + in;
    break;
  }
  return description;
}

}  // namespace ToolDescriptions

}  // namespace vale
