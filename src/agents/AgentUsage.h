#pragma once

#include <boost/describe.hpp>
#include <boost/json/fwd.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A tool call that the CLI refused for want of permission.
struct PermissionDenial {
  std::string toolName;
  std::optional<std::string> toolUseID;
  /// What the call would have done, in the words of `ToolDescriptions`.
  std::string summary;
  /// The file, address or command it was about.
  std::optional<std::string> target;

  /// From one element of Claude Code's "permission_denials": `tool_name`, `tool_input`, `tool_use_id`.
  static PermissionDenial claude(const boost::json::object& element, const std::filesystem::path& project);

  bool operator==(const PermissionDenial&) const = default;
};
BOOST_DESCRIBE_STRUCT(PermissionDenial, (), (toolName, toolUseID, summary, target))

/// What one run used, in the same terms for both CLIs. Tokens are counted over the run alone, not over
/// earlier runs of the session that it resumed.
struct AgentUsage {
  /// All input of the run, what was read from a cache included.
  std::int64_t inputTokens = 0;
  std::int64_t cachedInputTokens = 0;
  std::int64_t outputTokens = 0;
  std::int64_t reasoningTokens = 0;
  /// US dollars, where the CLI tells.
  std::optional<double> costUSD = {};
  std::optional<std::int64_t> durationMs = {};
  std::optional<std::int64_t> turns = {};
  std::int64_t permissionDenials = 0;
  std::optional<std::vector<PermissionDenial>> denials = {};

  bool operator==(const AgentUsage&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentUsage, (),
                      (inputTokens, cachedInputTokens, outputTokens, reasoningTokens, costUSD, durationMs,
                       turns, permissionDenials, denials))

}  // namespace vale
