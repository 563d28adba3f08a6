#pragma once

#include "agents/AgentRequest.h"
#include "common/Error.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Why a run could not be prepared, started or finished, in a sentence for the user.
struct AgentRuntimeError : Error {
  using Error::Error;
};

/// From a request to the exact argument vector (without the executable) and standard input of a CLI. Pure, but for the
/// schema file that Codex wants. The flags are the CLIs' own documented ones: `claude --help`, `codex exec --help`.
namespace AgentCommandLine {

std::vector<std::string> claudeArguments(const AgentRequest& request, const std::string& instructions,
                                         bool pageConversation);

/// Writes the output schema, if any, to "vale-schema-<UUID>.json" in the system's temporary folder (mode 0600) and adds
/// the file to `temporaryFiles`; the caller deletes them. Throws AgentRuntimeError when the instructions are not valid
/// text or the file cannot be written.
std::vector<std::string> codexArguments(const AgentRequest& request, const std::string& instructions,
                                        bool pageConversation, const std::filesystem::path& executable,
                                        const std::filesystem::path& home,
                                        std::vector<std::filesystem::path>& temporaryFiles);

/// True when the Claude Code process is told to read stream-json messages.
bool readsStreamJson(const AgentRequest& request);

/// The bytes to write to the child's standard input, after which it is closed. Reads the request's images; throws
/// AgentRuntimeError naming an image that cannot be read or is too large.
std::string standardInput(const AgentRequest& request);

}  // namespace AgentCommandLine

/// The read-only permission profile for Codex's `explore` runs: the library folder, and what Codex itself needs.
namespace CodexExploreSandbox {

std::vector<std::string> arguments(const std::filesystem::path& workingDirectory,
                                   const std::filesystem::path& executable, const std::filesystem::path& home);

/// The folders and files that hold the Codex installation, symbolic links resolved: the native executable's own place
/// included, also where the npm launcher runs one from its sibling platform package.
std::vector<std::filesystem::path> installRoots(const std::filesystem::path& executable,
                                                const std::filesystem::path& home);

enum class HomeBin { refused, allowed };

/// Whether reading `root` opens no more than an installation: not the file system's root, not the home folder or a
/// folder above it, not a dot-folder of credentials; `bin` directly in the home folder only when asked for.
bool isGrantable(const std::filesystem::path& root, const std::filesystem::path& home, HomeBin homeBin);

/// A TOML basic string (https://toml.io/en/v1.0.0#string).
std::string tomlString(const std::string& text);

}  // namespace CodexExploreSandbox

}  // namespace vale
