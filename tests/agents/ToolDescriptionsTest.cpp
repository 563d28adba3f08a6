#include "agents/ToolDescriptions.h"

#include "agents/ShellCommand.h"
#include "common/Json.h"
#include "support/ScopedVariable.h"

#include <gtest/gtest.h>

namespace vale::test {
namespace {

const std::filesystem::path project = "/home/u/project";

std::string told(const ToolDescriptions::Description& description) {
  return std::string(rawValue(description.kind)) + ": " + description.summary;
}

TEST(ToolDescriptions, sayWhatEachToolOfClaudeDoes) {
  const struct {
    std::string tool, input, expected;
  } cases[] = {
      {"Read", R"({"file_path":"/home/u/project/src/../a.md"})", "read: Read a.md"},
      {"Write", R"({"file_path":"/etc/x","content":"y"})", "edit: Write /etc/x"},
      {"Edit", R"({"file_path":"b.cpp"})", "edit: Edit b.cpp"},
      {"Edit", "{}", "edit: Edit a file"},
      {"MultiEdit", R"({"file_path":"b","edits":[{},{}]})", "edit: Edit b in 2 places"},
      {"NotebookEdit", R"({"notebook_path":"/home/u/project/n.ipynb"})", "edit: Edit n.ipynb"},
      {"Glob", R"({"pattern":"**/*.h","path":"/home/u/project"})", "search: Find files named “**/*.h”"},
      {"Grep", R"({"pattern":"a b","path":"src","glob":"*.h"})", "search: Search for “a b” in src (*.h)"},
      {"LS", R"({"path":"/home/u/other"})", "search: List the files in ~/other"},
      {"Bash", R"({"command":"make -j2","description":"Builds"})", "command: Run make -j2"},
      {"Bash", R"({"command":"cat notes.md"})", "read: Read notes.md"},
      {"BashOutput", R"({"bash_id":"1"})", "command: Look at what runs in the background"},
      {"KillShell", "{}", "command: Stop what runs in the background"},
      {"WebFetch", R"({"url":"https://example.org","prompt":"x"})", "web: Read the page https://example.org"},
      {"WebSearch", R"({"query":"vale"})", "web: Search the web for “vale”"},
      {"Task", R"({"description":"find it","prompt":"long"})", "agent: Ask an agent: find it"},
      {"Agent", "{}", "agent: Ask an agent"},
      {"TodoWrite", R"({"todos":[{"content":"a","status":"completed"},{"content":"b","status":"pending"}]})",
       "plan: Update the plan (1 of 2 done)"},
      {"ExitPlanMode", R"({"plan":"p"})", "plan: Present the plan"},
      {"StructuredOutput", R"({"x":1})", "answer: Give the answer"},
      {"Skill", R"({"skill":"pdf"})", "other: Use the skill “pdf”"},
      {"mcp__files__read_all", "{}", "other: Use “read_all” from “files”"},
      {"Future\nTool", "{}", "other: Use Future Tool"},
      {"", "{}", "other: Use a tool"},
      {"Read", R"({"file_path":7})", "read: Read a file"},
  };
  const ScopedVariable home("HOME", "/home/u");
  for (const auto& [tool, input, expected] : cases) {
    EXPECT_EQ(told(ToolDescriptions::claude(tool, parseJson(input).as_object(), project)), expected) << input;
  }
  const auto edit = parseJson(R"({"file_path":"/home/u/project/f","old_string":"a\nb","new_string":"c\n"})");
  const auto description = ToolDescriptions::claude("Edit", edit.as_object(), project);
  EXPECT_EQ(description.inputPreview, "-a\n-b\n+c\n");
  EXPECT_EQ(description.files, std::vector<std::string>{"f"});
  EXPECT_EQ(description.target, "f");
}

TEST(ToolDescriptions, sayWhatEachItemOfCodexDoes) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"type":"command_execution","command":"/bin/bash -lc 'rg -n needle src'"})",
       "search: Search for “needle” in src"},
      {R"({"type":"file_change","changes":[{"path":"/home/u/project/a","kind":"add"}]})", "edit: Add a"},
      {R"({"type":"file_change","changes":[{"path":"a","kind":"delete"},{"path":"b","kind":"delete"}]})",
       "edit: Delete a and b"},
      {R"({"type":"file_change","changes":[{"path":"a","kind":"add"},{"path":"b","kind":"update"},{"path":"c"}]})",
       "edit: Edit a and 2 more files"},
      {R"({"type":"file_change"})", "edit: Edit files"},
      {R"({"type":"mcp_tool_call","server":"s","tool":"t","arguments":{"q":1}})", "other: Use “t” from “s”"},
      {R"({"type":"web_search","query":""})", "web: Search the web"},
      {R"({"type":"web_search","query":"q"})", "web: Search the web for “q”"},
      {R"({"type":"todo_list","items":[]})", "plan: Update the plan"},
      {R"({"type":"collab_tool_call","tool":"spawn_agent","prompt":"Look"})", "agent: Start an agent: Look"},
      {R"({"type":"collab_tool_call","tool":"new"})", "agent: Work with agents"},
      {R"({"type":"moon_shot"})", "other: Use moon shot"},
  };
  for (const auto& [item, expected] : cases) {
    EXPECT_EQ(told(ToolDescriptions::codex(parseJson(item).as_object(), project)), expected) << item;
  }
}

TEST(ToolDescriptions, aCommandIsReadOnlyWhereItsMeaningIsPlain) {
  const std::pair<std::string, std::string> cases[] = {
      {"cat -n a.txt", "Read a.txt"},
      {"cat a b c d", "Read a, b, c and 1 more"},
      {"sed -n 1,20p /home/u/project/x.cpp", "Read x.cpp"},
      {"sed -n '1,20p' 'a b'", "Read a b"},
      {"head -n 5 x", "Read x"},
      {"tail -5 x", "Read x"},
      {"tail -f x", "Run tail -f x"},
      {"sed -i s/a/b/ x", "Run sed -i s/a/b/ x"},
      {"sed -n 's/x/y/w out' x", "Run sed -n 's/x/y/w out' x"},
      {"grep -rn \"a \\\"b\\\"\" .", "Search for “a \"b\"”"},
      {"rg -g *.h -e x", "Run rg -g *.h -e x"},
      {"rg -g '*.h' -e -x src lib", "Search for “-x” in src, lib"},
      {"rg --pre ./evil x", "Run rg --pre ./evil x"},
      {"rg x -r y", "Run rg x -r y"},
      {"ls -la src/", "List the files in src"},
      {"cat x > y", "Run cat x > y"},
      {"cat x; rm y", "Run cat x; rm y"},
      {"cat x\nrm y", "Run cat x rm y"},
      {"cat $(evil)", "Run cat $(evil)"},
      {"cat \"`evil`\"", "Run cat \"`evil`\""},
      {"cat 'open", "Run cat 'open"},
      {"cat", "Run cat"},
  };
  for (const auto& [command, expected] : cases) {
    EXPECT_EQ(ToolDescriptions::command(command, project).summary, expected);
  }
  const std::pair<std::string, std::string> wrapped[] = {
      {"/bin/bash -lc ls", "ls"},
      {R"(/bin/bash -lc "printf 'a\\nb'; echo \"$x\"")", R"(/bin/bash -lc "printf 'a\\nb'; echo \"$x\"")"},
      {R"(/bin/bash -lc "printf 'a\\nb'; echo \"x\"")", R"(printf 'a\nb'; echo "x")"},
      {R"(/usr/bin/zsh -c 'it'\''s')", "it's"},
      {"bash -lc ls && rm x", "bash -lc ls && rm x"},
      {"bash -lc ls x", "bash -lc ls x"},
      {"bashful -lc ls", "bashful -lc ls"},
      {"bash -lc", "bash -lc"},
  };
  for (const auto& [command, expected] : wrapped) EXPECT_EQ(ShellCommand::unwrapped(command), expected);
}

}  // namespace
}  // namespace vale::test
