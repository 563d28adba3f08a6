#include "agents/AgentCommandLine.h"
#include "agents/CLIValue.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"
#include "common/Uuid.h"

#include <boost/json.hpp>

#include <initializer_list>

namespace vale::AgentCommandLine {
namespace {

using Arguments = std::vector<std::string>;

void add(Arguments& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

void addImages(Arguments& arguments, const AgentRequest& request) {
  if (request.profile != AgentProfile::task) return;
  for (const auto& image : request.images) add(arguments, {"--image", image.native()});
}

/// Codex reads the value of "-c" as TOML. A JSON string is a TOML basic string too, but for DEL, which TOML
/// wants escaped (https://toml.io/en/v1.0.0#string).
std::string jsonLiteral(const std::string& text) {
  if (!isValidUtf8(text)) {
    throw AgentRuntimeError(
        "The instructions for Codex hold bytes that are not text. Remove them and send again.");
  }
  std::string literal = boost::json::serialize(boost::json::string(text));
  for (auto at = literal.find('\x7F'); at != std::string::npos; at = literal.find('\x7F', at)) {
    literal.replace(at, 1, "\\u007f");
  }
  return literal;
}

std::filesystem::path writtenSchema(const std::string& schema,
                                    std::vector<std::filesystem::path>& temporaryFiles) {
  try {
    const auto folder = std::filesystem::absolute(std::filesystem::temp_directory_path());
    const auto file = folder / ("vale-schema-" + Uuid::random().text() + ".json");
    // Named before it is there: whatever happens next, the caller removes it.
    temporaryFiles.push_back(file);
    PrivateFiles::write(schema, file);
    return file;
  } catch (const Error& error) {
    throw AgentRuntimeError(error.message);
  } catch (const std::filesystem::filesystem_error& error) {
    throw AgentRuntimeError("The folder for temporary files cannot be used: " + error.code().message() + ".");
  }
}

}  // namespace

std::vector<std::string> codexArguments(const AgentRequest& request, const std::string& instructions,
                                        bool pageConversation, const std::filesystem::path& executable,
                                        const std::filesystem::path& home,
                                        std::vector<std::filesystem::path>& temporaryFiles) {
  const bool task = request.profile == AgentProfile::task;
  const bool classify = request.profile == AgentProfile::classify;
  const bool resumes = task && request.sessionID;

  Arguments arguments{"exec"};
  if (!resumes) addImages(arguments, request);
  add(arguments, {"--json", "--ignore-user-config", "--ignore-rules", "--skip-git-repo-check", "-c",
                  "approval_policy=\"never\""});
  if (request.profile == AgentProfile::explore) {
    const auto sandbox = CodexExploreSandbox::arguments(request.workingDirectory, executable, home);
    arguments.insert(arguments.end(), sandbox.begin(), sandbox.end());
  } else {
    const bool writes = task && request.access == AgentAccess::projectWrite;
    add(arguments, {"-c", writes ? "sandbox_mode=\"workspace-write\"" : "sandbox_mode=\"read-only\""});
  }
  if (const auto model = CLIValue::model(request.model)) add(arguments, {"-m", *model});
  if (const auto effort = CLIValue::effort(request.effort)) {
    add(arguments, {"-c", "model_reasoning_effort=\"" + *effort + "\""});
  }
  add(arguments, {"-c", "developer_instructions=" + jsonLiteral(instructions)});
  for (const char* feature : {"apps", "plugins", "hooks", "computer_use", "browser_use",
                              "browser_use_external", "in_app_browser", "multi_agent", "image_generation"}) {
    add(arguments, {"-c", std::string("features.") + feature + "=false"});
  }
  if (!task || request.ephemeral) add(arguments, {"--ephemeral"});
  if (classify || (task && (request.ephemeral || pageConversation))) {
    add(arguments, {"-c", "features.shell_tool=false"});
  }
  add(arguments, {"-c", "features.view_image=false", "-c", "web_search=\"disabled\"", "-c",
                  "features.skill_mcp_dependency_install=false"});
  if (request.outputSchema) {
    add(arguments, {"--output-schema", writtenSchema(*request.outputSchema, temporaryFiles).native()});
  }
  arguments.insert(arguments.end(), request.additionalArguments.begin(), request.additionalArguments.end());
  if (resumes) {
    add(arguments, {"resume"});
    addImages(arguments, request);
    add(arguments, {*request.sessionID});
  }
  // The prompt comes on standard input.
  add(arguments, {"-"});
  return arguments;
}

}  // namespace vale::AgentCommandLine
