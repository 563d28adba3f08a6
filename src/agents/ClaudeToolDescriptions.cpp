#include "agents/ToolWords.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace vale::ToolDescriptions {
namespace {

namespace fs = std::filesystem;
using namespace ToolWords;

/// " in src", or nothing for the project itself.
std::string place(const json::object& input, std::string_view key, const fs::path& project) {
  const auto path = displayPath(stringMember(input, key).value_or(""), project);
  return path.empty() || path == "." ? "" : " in " + path;
}

Description aboutFile(ToolKind kind, std::string_view verb, const json::object& input, std::string_view key,
                      const fs::path& project, std::string preview) {
  const auto path = displayPath(stringMember(input, key).value_or(""), project);
  if (path.empty()) return {kind, std::string(verb) + " a file", {}, std::move(preview), {}};
  return {kind, std::string(verb) + " " + path, path, std::move(preview), {path}};
}

/// The lines that go, marked "-", and those that come, marked "+".
std::string replacement(const json::object& edit) {
  std::string lines;
  const auto add = [&](char mark, std::string_view key) {
    const auto part = text(edit, key);
    for (std::size_t begin = 0; begin < part.size();) {
      const auto end = std::min(part.find('\n', begin), part.size());
      lines += mark + part.substr(begin, end - begin) + "\n";
      begin = end + 1;
    }
  };
  add('-', "old_string");
  add('+', "new_string");
  return lines;
}

Description multiEdit(const json::object& input, const fs::path& project) {
  std::string preview;
  const auto* edits = arrayMember(input, "edits");
  for (std::size_t i = 0; edits && i < edits->size() && preview.size() < 64 * 1024; ++i) {
    if (const auto* edit = (*edits)[i].if_object()) preview += replacement(*edit);
  }
  auto description = aboutFile(ToolKind::edit, "Edit", input, "file_path", project, previewText(preview));
  if (edits && edits->size() > 1) description.summary += fmt::format(" in {} places", edits->size());
  return description;
}

Description search(const json::object& input, const fs::path& project) {
  const auto pattern = phrase(input, "pattern");
  auto summary = "Search for " + inQuotes(pattern) + place(input, "path", project);
  if (const auto glob = phrase(input, "glob"); !glob.empty()) summary += " (" + glob + ")";
  return {ToolKind::search, std::move(summary), pattern, text(input, "pattern"), {}};
}

Description find(const json::object& input, const fs::path& project) {
  const auto pattern = phrase(input, "pattern");
  return {ToolKind::search,
          "Find files named " + inQuotes(pattern) + place(input, "path", project),
          pattern,
          text(input, "pattern"),
          {}};
}

Description planSteps(const json::object& input, const fs::path&) {
  return plan(arrayMember(input, "todos"), "content",
              [](const json::object& step) { return stringMember(step, "status") == "completed"; });
}

Description agent(const json::object& input, const fs::path&) {
  const auto task = phrase(input, "description");
  return {ToolKind::agent, withWords("Ask an agent", task), task, text(input, "prompt"), {}};
}

Description skill(const json::object& input, const fs::path&) {
  auto name = phrase(input, "skill");
  if (name.empty()) name = phrase(input, "command");
  return {ToolKind::other,
          name.empty() ? "Use a skill" : "Use the skill " + inQuotes(name),
          name,
          previewJson(input),
          {}};
}

Description watch(const json::object& input, const fs::path&) {
  return {.kind = ToolKind::command,
          .summary = "Look at what runs in the background",
          .inputPreview = previewJson(input)};
}

Description stop(const json::object& input, const fs::path&) {
  return {.kind = ToolKind::command,
          .summary = "Stop what runs in the background",
          .inputPreview = previewJson(input)};
}

using Describe = Description (*)(const json::object& input, const fs::path& project);

// The tools that Claude Code documents
// (https://docs.anthropic.com/en/docs/claude-code/settings#tools-available-to-claude) and those that its
// `init` line lists.
constexpr std::array<std::pair<std::string_view, Describe>, 26> tools{{
    {"Read",
     [](const json::object& in, const fs::path& p) {
       return aboutFile(ToolKind::read, "Read", in, "file_path", p, text(in, "file_path"));
     }},
    {"Write",
     [](const json::object& in, const fs::path& p) {
       return aboutFile(ToolKind::edit, "Write", in, "file_path", p, text(in, "content"));
     }},
    {"Edit",
     [](const json::object& in, const fs::path& p) {
       return aboutFile(ToolKind::edit, "Edit", in, "file_path", p, previewText(replacement(in)));
     }},
    {"MultiEdit", multiEdit},
    {"NotebookEdit",
     [](const json::object& in, const fs::path& p) {
       return aboutFile(ToolKind::edit, "Edit", in, "notebook_path", p, text(in, "new_source"));
     }},
    {"NotebookRead",
     [](const json::object& in, const fs::path& p) {
       return aboutFile(ToolKind::read, "Read", in, "notebook_path", p, text(in, "notebook_path"));
     }},
    {"Glob", find},
    {"Grep", search},
    {"LS",
     [](const json::object& in, const fs::path& p) {
       return Description{ToolKind::search,
                          "List the files" + place(in, "path", p),
                          displayPath(stringMember(in, "path").value_or(""), p),
                          text(in, "path"),
                          {}};
     }},
    {"Bash", [](const json::object& in,
                const fs::path& p) { return command(stringMember(in, "command").value_or(""), p); }},
    {"BashOutput", watch},
    {"TaskOutput", watch},
    {"KillShell", stop},
    {"KillBash", stop},
    {"TaskStop", stop},
    {"WebFetch",
     [](const json::object& in, const fs::path&) {
       const auto address = phrase(in, "url");
       return Description{ToolKind::web, "Read the page " + address, address, text(in, "prompt"), {}};
     }},
    {"WebSearch",
     [](const json::object& in, const fs::path&) {
       const auto query = phrase(in, "query");
       return Description{
           ToolKind::web, "Search the web for " + inQuotes(query), query, text(in, "query"), {}};
     }},
    {"Task", agent},
    {"Agent", agent},
    {"TodoWrite", planSteps},
    {"EnterPlanMode",
     [](const json::object&, const fs::path&) {
       return Description{ToolKind::plan, "Begin to plan", {}, {}, {}};
     }},
    {"ExitPlanMode",
     [](const json::object& in, const fs::path&) {
       return Description{ToolKind::plan, "Present the plan", {}, text(in, "plan"), {}};
     }},
    {"StructuredOutput",
     [](const json::object& in, const fs::path&) {
       return Description{ToolKind::answer, "Give the answer", {}, previewJson(in), {}};
     }},
    {"Skill", skill},
    {"AskUserQuestion",
     [](const json::object& in, const fs::path&) {
       return Description{ToolKind::other, "Ask the user a question", {}, previewJson(in), {}};
     }},
    {"ToolSearch",
     [](const json::object& in, const fs::path&) {
       return Description{ToolKind::search,
                          withWords("Look for a tool", phrase(in, "query")),
                          phrase(in, "query"),
                          previewJson(in),
                          {}};
     }},
}};

}  // namespace

Description claude(std::string_view tool, const json::object& input, const fs::path& project) {
  const auto known = std::ranges::find(tools, tool, &std::pair<std::string_view, Describe>::first);
  if (known != tools.end()) return known->second(input, project);
  if (tool.starts_with("mcp__")) {
    const auto name = tool.substr(5);
    const auto split = name.find("__");
    if (split != std::string_view::npos) {
      return serverTool(name.substr(0, split), name.substr(split + 2), previewJson(input));
    }
  }
  return {.summary = tool.empty() ? "Use a tool" : "Use " + previewLine(tool, 80),
          .inputPreview = previewJson(input)};
}

}  // namespace vale::ToolDescriptions
