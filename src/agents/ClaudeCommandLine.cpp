#include "agents/AgentCommandLine.h"
#include "agents/CLIValue.h"

#include <initializer_list>

namespace vale::AgentCommandLine {
namespace {

using Arguments = std::vector<std::string>;

void add(Arguments& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

/// Neither the user's nor the project's settings, hooks, MCP servers or browser extension take part in a run.
void addIsolation(Arguments& arguments) {
  add(arguments, {"--strict-mcp-config", "--setting-sources", "", "--settings", R"({"disableAllHooks":true})",
                  "--no-chrome"});
}

void addEffort(Arguments& arguments, const AgentRequest& request) {
  if (const auto effort = CLIValue::effort(request.effort)) add(arguments, {"--effort", *effort});
}

void addTools(Arguments& arguments, const AgentRequest& request, bool pageConversation) {
  const bool writes = request.access == AgentAccess::projectWrite;
  const bool toolLess = request.ephemeral || pageConversation;
  if (request.anywhere && writes && !toolLess) {
    // AppleScript's own ways to a shell would make the one allowed command any command.
    add(arguments,
        {"--tools", "Read,Glob,Grep,Edit,Write,NotebookEdit,Bash", "--allowedTools", "Bash(osascript -e *)",
         "--disallowedTools", "Bash(*do shell script*),Bash(*run script*),Bash(*do script*)"});
  } else if (toolLess) {
    add(arguments, {"--tools", ""});
  } else if (writes) {
    add(arguments, {"--tools", "Read,Glob,Grep,Edit,Write,NotebookEdit"});
  } else {
    add(arguments, {"--tools", "Read,Glob,Grep"});
  }
}

Arguments task(const AgentRequest& request, const std::string& instructions, bool pageConversation) {
  Arguments arguments{"-p", "--output-format", "stream-json", "--verbose", "--include-partial-messages"};
  if (readsStreamJson(request)) add(arguments, {"--input-format", "stream-json"});
  const bool writes = request.access == AgentAccess::projectWrite;
  add(arguments, {"--permission-prompts", "none", "--restricted", "--permission-mode",
                  writes ? "acceptEdits" : "manual", "--append-system-prompt", instructions});
  addIsolation(arguments);
  if (const auto model = CLIValue::model(request.model)) add(arguments, {"--model", *model});
  addEffort(arguments, request);
  addTools(arguments, request, pageConversation);
  if (request.ephemeral) add(arguments, {"--no-session-persistence", "--disable-slash-commands"});
  return arguments;
}

/// How the one-shot profiles begin: a fixed model unless the user chose one, and Vale's instructions only.
Arguments answering(const AgentRequest& request, const std::string& instructions) {
  Arguments arguments{"-p", "--model", CLIValue::model(request.model).value_or("sonnet")};
  if (readsStreamJson(request)) add(arguments, {"--input-format", "stream-json"});
  add(arguments, {"--output-format", "stream-json", "--verbose", "--system-prompt", instructions});
  addIsolation(arguments);
  return arguments;
}

Arguments classify(const AgentRequest& request, const std::string& instructions) {
  auto arguments = answering(request, instructions);
  add(arguments, {"--safe-mode", "--no-session-persistence", "--disable-slash-commands", "--tools", ""});
  addEffort(arguments, request);
  return arguments;
}

Arguments explore(const AgentRequest& request, const std::string& instructions) {
  auto arguments = answering(request, instructions);
  add(arguments, {"--permission-prompts", "none", "--restricted", "--permission-mode", "manual",
                  "--no-session-persistence", "--disable-slash-commands", "--tools", "Read,Grep,Glob"});
  addEffort(arguments, request);
  return arguments;
}

}  // namespace

bool readsStreamJson(const AgentRequest& request) {
  // A classifier always does, so that a process started ahead of need can be handed its prompt later.
  return request.provider == AgentProvider::claude &&
         (request.profile == AgentProfile::classify ||
          (request.profile == AgentProfile::task && !request.images.empty()));
}

std::vector<std::string> claudeArguments(const AgentRequest& request, const std::string& instructions,
                                         bool pageConversation) {
  Arguments arguments = request.profile == AgentProfile::task ? task(request, instructions, pageConversation)
                        : request.profile == AgentProfile::classify ? classify(request, instructions)
                                                                    : explore(request, instructions);
  if (request.outputSchema) add(arguments, {"--json-schema", *request.outputSchema});
  if (request.sessionID && request.profile == AgentProfile::task)
    add(arguments, {"--resume", *request.sessionID});
  arguments.insert(arguments.end(), request.additionalArguments.begin(), request.additionalArguments.end());
  return arguments;
}

}  // namespace vale::AgentCommandLine
