#pragma once

#include "agents/AgentProvider.h"
#include "common/Json.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// What one log of an agent CLI tells of the conversation in it.
struct SessionLog {
  AgentProvider provider = AgentProvider::codex;
  std::string id;      ///< the CLI's own
  std::string folder;  ///< the working folder, as the CLI wrote it
  std::string title;   ///< one line, at most `titleLength` characters; may be empty
  std::string first;   ///< ISO 8601 UTC, as the next
  std::string last;

  static constexpr std::size_t titleLength = 120;

  bool operator==(const SessionLog&) const = default;
};
BOOST_DESCRIBE_STRUCT(SessionLog, (), (provider, id, folder, title, first, last))

/// Reads the logs that Claude Code and Codex keep of their conversations: JSON Lines, of which any line may
/// be broken, of another kind, or as long as it likes. Only the beginning of a file is read, until the
/// working folder and the user's first request have come, and its end, for the latest title and date.
namespace SessionLogReader {

/// Of the beginning this much is read at most, in pieces; of the end this much.
inline constexpr std::size_t headLimit = 1024 * 1024;
inline constexpr std::size_t headStep = 32 * 1024;
inline constexpr std::size_t tailSize = 32 * 1024;

/// None for what is no log of a conversation with the user: other people's files, links and pipes, logs
/// without a working folder, and those of an agent's own helpers. Blocks on the disk.
std::optional<SessionLog> read(const std::filesystem::path& file, AgentProvider provider);

/// The title that a user's request makes: its first words in one line, or empty when the text is not the
/// user's but was put there by the CLI.
std::string titleOfRequest(std::string_view request);

}  // namespace SessionLogReader

}  // namespace vale
