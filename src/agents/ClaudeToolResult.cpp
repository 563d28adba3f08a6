#include "agents/ClaudeToolResult.h"

#include "agents/PreviewText.h"
#include "agents/ToolDescriptions.h"
#include "common/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t diffLimit = 64 * 1024;

/// Adds a line unless the diff would become too long; false then, with a mark in its place.
bool addLine(std::string& diff, std::string_view mark, std::string_view line) {
  if (diff.size() + mark.size() + line.size() + 1 > diffLimit) {
    diff += " …\n";
    return false;
  }
  diff.append(mark).append(line) += '\n';
  return true;
}

std::string_view nextLine(std::string_view& text) {
  const auto end = text.find('\n');
  const auto line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

std::string hunks(const json::array& patch) {
  std::string diff;
  for (const auto& value : patch) {
    const auto* hunk = value.if_object();
    if (!hunk) continue;
    const auto number = [&](std::string_view key) { return integerMember(*hunk, key).value_or(0); };
    if (!addLine(diff, "",
                 fmt::format("@@ -{},{} +{},{} @@", number("oldStart"), number("oldLines"),
                             number("newStart"), number("newLines")))) {
      return diff;
    }
    const auto* lines = arrayMember(*hunk, "lines");
    for (std::size_t i = 0; lines && i < lines->size(); ++i) {
      const auto* line = (*lines)[i].if_string();
      if (line && !addLine(diff, "", *line)) return diff;
    }
  }
  return diff;
}

std::string allNew(std::string_view content) {
  const auto count = std::ranges::count(content, '\n') + (content.ends_with('\n') || content.empty() ? 0 : 1);
  std::string diff = fmt::format("@@ -0,0 +1,{} @@\n", count);
  while (!content.empty() && addLine(diff, "+", nextLine(content))) {
  }
  return diff;
}

void addPatch(ToolCall& call, const json::object& record, const fs::path& project) {
  const auto path = stringMember(record, "filePath");
  const auto* patch = arrayMember(record, "structuredPatch");
  if (!path || !patch) return;
  const bool isNew = stringMember(record, "type") == "create";
  auto diff = isNew && patch->empty() ? allNew(stringMember(record, "content").value_or("")) : hunks(*patch);
  call.patches.push_back({.path = ToolDescriptions::displayPath(*path, project),
                          .kind = isNew ? "add" : "update",
                          .diff = diff.empty() ? std::nullopt : std::optional(std::move(diff))});
}

/// The text of a result: a string, or a list of blocks of which some are text.
std::string resultText(const json::object& block) {
  if (const auto text = stringMember(block, "content")) return previewText(*text);
  std::string joined;
  const auto* parts = arrayMember(block, "content");
  for (std::size_t i = 0; parts && i < parts->size(); ++i) {
    const auto* part = (*parts)[i].if_object();
    const auto text = part ? stringMember(*part, "text") : std::nullopt;
    if (!text) continue;
    if (!joined.empty()) joined += '\n';
    joined += previewText(*text);
  }
  return previewText(joined);
}

bool wasRefused(const json::object& line, std::string_view id) {
  const auto* list = arrayMember(line, "tool_result_meta");
  for (std::size_t i = 0; list && i < list->size(); ++i) {
    const auto* meta = (*list)[i].if_object();
    if (!meta || stringMember(*meta, "id") != id) continue;
    const auto* decision = objectMember(*meta, "permission_decision");
    return decision && stringMember(*decision, "decision") == "reject";
  }
  return false;
}

/// Bash puts "Exit code N" at the head of a failed command's result.
std::optional<std::int64_t> exitCode(std::string_view text) {
  constexpr std::string_view head = "Exit code ";
  std::int64_t code = 0;
  if (!text.starts_with(head)) return std::nullopt;
  const auto parsed = std::from_chars(text.data() + head.size(), text.data() + text.size(), code);
  return parsed.ec == std::errc() ? std::optional(code) : std::nullopt;
}

}  // namespace

void applyClaudeToolResult(ToolCall& call, const json::object& block, const json::object& line,
                           const fs::path& project) {
  auto text = resultText(block);
  const bool failed = boolMember(block, "is_error") == true;
  call.status = !failed                     ? ToolStatus::completed
                : wasRefused(line, call.id) ? ToolStatus::denied
                                            : ToolStatus::failed;
  if (failed && call.name == "Bash") call.exitCode = exitCode(text);
  if (!text.empty()) call.resultPreview = std::move(text);
  const auto* record = objectMember(line, "tool_use_result");
  if (record && !failed) addPatch(call, *record, project);
}

}  // namespace vale
