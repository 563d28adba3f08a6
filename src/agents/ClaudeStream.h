#pragma once

#include "agents/AgentStreamUpdate.h"
#include "agents/OpenToolCalls.h"

#include <boost/json/fwd.hpp>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// Claude Code's "stream-json" output
/// (https://docs.anthropic.com/en/docs/claude-code/sdk/sdk-headless#streaming-json-output), line by line.
///
/// With partial messages a block comes twice: as deltas, then whole in an `assistant` line of its own, still
/// in the middle of the message. Both carry the same item id (message id and the block's place in the
/// message), so that the whole replaces the pieces.
class ClaudeStream {
 public:
  explicit ClaudeStream(std::filesystem::path project) : project_(std::move(project)) {}

  void read(const boost::json::object& line, std::string_view type, AgentStreamUpdate& update);
  void finish(AgentStreamUpdate& update);

 private:
  enum class Speaker { agent, subagent };

  void readSystem(const boost::json::object& line, AgentStreamUpdate& update);
  void readStreamEvent(const boost::json::object& event, AgentStreamUpdate& update);
  void readAssistant(const boost::json::object& line, Speaker speaker, AgentStreamUpdate& update);
  void readBlock(const boost::json::object& block, AgentStreamUpdate& update);
  void readToolBlock(const boost::json::object& block, const boost::json::object& line,
                     AgentStreamUpdate& update);
  void readToolResult(const boost::json::object& block, const boost::json::object& line,
                      AgentStreamUpdate& update);
  void readUser(const boost::json::object& line, AgentStreamUpdate& update);
  void readResult(const boost::json::object& line, AgentStreamUpdate& update);

  void beginMessage(std::string id);
  std::string itemID() const;
  void withdrawUnfinishedItem(AgentStreamUpdate& update);
  void fail(std::string sentence, AgentStreamUpdate& update);

  std::filesystem::path project_;
  OpenToolCalls calls_;

  std::string messageID_;
  std::size_t unnamedMessages_ = 0;
  /// The place in the message of the block that is streamed or comes next.
  std::int64_t block_ = 0;

  /// Deltas of this item were told, and not yet the whole block.
  struct UnfinishedItem {
    std::string id;
    bool isThinking;
  };
  std::optional<UnfinishedItem> unfinished_;

  /// The service's error sentence, which the `result` line repeats.
  std::optional<std::string> serviceError_;
  std::string lastRateLimit_;
  bool ended_ = false;
};

}  // namespace vale
