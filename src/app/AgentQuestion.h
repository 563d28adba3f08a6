#pragma once

#include "agents/AgentHubTypes.h"
#include "browser/BrowserModel.h"
#include "intelligence/ModelInputFilter.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What a request takes: of a text file its beginning, bytes; of an image, as PNG, no more bytes; so many
/// files and images.
inline constexpr std::size_t longestAttachedText = 256 * 1024;
inline constexpr std::size_t longestAttachedImage = 20 * 1024 * 1024;
inline constexpr std::size_t mostAttachedFiles = 20;

/// A text file that the user attached.
struct AttachedText {
  std::string name;
  std::string text;
  bool cut = false;  ///< the end is left out
};

/// A request as the composer of a window has it.
struct AgentQuestion {
  std::string words;
  RequestDestination destination = ToBeRouted{};
  AgentAccess access = AgentAccess::readOnly;
  /// As it is; what of it may be sent is decided on the way.
  std::optional<PageContext> page = {};
  std::vector<AttachedText> texts = {};
  std::vector<std::filesystem::path> images = {};  ///< PNG files, which the conversation takes
  /// For a new conversation; none: the usual ones.
  std::optional<AgentProvider> provider = {};
  std::optional<std::string> model = {};
  std::optional<std::string> effort = {};
};

/// Whether the shown page goes along.
enum class PageChoice {
  usual,     ///< with the first request of a conversation, unless the window is private
  attached,  ///< the user put it there
  left,      ///< the user took it away
};
constexpr bool sendsPage(PageChoice choice, BrowsingMode mode, bool beginsConversation) {
  if (choice != PageChoice::usual) return choice == PageChoice::attached;
  return mode != BrowsingMode::isPrivate && beginsConversation;
}

/// What is sent below the words, as data, and what it is, in a few words for the user; both empty when there
/// is nothing.
struct AgentContext {
  std::string label;
  std::string text;
};
AgentContext agentContext(const AgentQuestion& question, ModelInputFilter& filter);

/// Reads a text file for a request: its first 256 KiB, in whole characters. Throws Error with the sentence
/// for the user, also for what is no text. Blocks on the disk.
AttachedText readAttachedText(const std::filesystem::path& file);

}  // namespace vale
