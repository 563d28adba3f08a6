#include "agents/ShellCommand.h"
#include "agents/ToolWords.h"

#include <fmt/format.h>

#include <algorithm>

namespace vale::ToolDescriptions {
namespace {

namespace fs = std::filesystem;
using namespace ToolWords;

std::string_view verb(std::string_view changeKind) {
  return changeKind == "add" ? "Add" : changeKind == "delete" ? "Delete" : "Edit";
}

Description fileChange(const json::object& item, const fs::path& project) {
  Description description{.kind = ToolKind::edit};
  std::string_view common;
  const auto* changes = arrayMember(item, "changes");
  for (std::size_t i = 0; changes && i < changes->size(); ++i) {
    const auto* change = (*changes)[i].if_object();
    if (!change) continue;
    const auto path = displayPath(stringMember(*change, "path").value_or(""), project);
    const auto what = verb(stringMember(*change, "kind").value_or(""));
    common = common.empty() || common == what ? what : "Edit";
    description.files.push_back(path);
    if (description.inputPreview.size() < 64 * 1024) {
      description.inputPreview += fmt::format("{} {}\n", what, path);
    }
  }
  const auto& files = description.files;
  description.inputPreview = previewText(description.inputPreview);
  if (files.empty()) {
    description.summary = "Edit files";
    return description;
  }
  description.target = files.front();
  description.summary = fmt::format("{} {}", common, files.front());
  if (files.size() == 2) description.summary += " and " + files.back();
  if (files.size() > 2) description.summary += fmt::format(" and {} more files", files.size() - 1);
  return description;
}

Description collaboration(const json::object& item) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> words{
      {{"spawn_agent", "Start an agent"},
       {"send_input", "Tell an agent"},
       {"resume_agent", "Continue an agent"},
       {"wait", "Wait for agents"},
       {"close_agent", "Close an agent"}}};
  const auto tool = stringMember(item, "tool").value_or("");
  const auto known = std::ranges::find(words, tool, &std::pair<std::string_view, std::string_view>::first);
  const auto what = known == words.end() ? std::string_view("Work with agents") : known->second;
  return {.kind = ToolKind::agent,
          .summary = withWords(what, phrase(item, "prompt")),
          .target = previewLine(tool, 80),
          .inputPreview = text(item, "prompt")};
}

}  // namespace

Description codex(const json::object& item, const fs::path& project) {
  const auto type = stringMember(item, "type").value_or("");
  if (type == "command_execution") {
    return command(ShellCommand::unwrapped(stringMember(item, "command").value_or("")), project);
  }
  if (type == "file_change") return fileChange(item, project);
  if (type == "mcp_tool_call") {
    const auto* arguments = item.if_contains("arguments");
    return serverTool(stringMember(item, "server").value_or(""), stringMember(item, "tool").value_or(""),
                      arguments && !arguments->is_null() ? previewJson(*arguments) : "");
  }
  if (type == "web_search") {
    const auto query = phrase(item, "query");
    return {ToolKind::web,
            query.empty() ? "Search the web" : "Search the web for " + inQuotes(query),
            query,
            text(item, "query"),
            {}};
  }
  if (type == "todo_list") {
    return plan(arrayMember(item, "items"), "text",
                [](const json::object& step) { return boolMember(step, "completed") == true; });
  }
  if (type == "collab_tool_call") return collaboration(item);
  auto name = previewLine(type, 80);
  std::ranges::replace(name, '_', ' ');
  return {.summary = "Use " + name, .inputPreview = previewJson(item)};
}

}  // namespace vale::ToolDescriptions
