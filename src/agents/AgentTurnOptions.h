#pragma once

#include "agents/AgentThread.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What goes with a request beside its words.
struct AgentTurnOptions {
  AgentAccess access = AgentAccess::readOnly;
  std::string context;                             ///< data sent below the prompt, such as a page's text
  std::optional<std::string> contextLabel = {};    ///< what that is, for the user and the agent
  std::optional<std::string> note = {};            ///< shown with the turn
  std::optional<TurnRouting> routing = {};         ///< how the request found its project
  std::optional<std::string> instructions = {};    ///< told to the agent beside the prompt
  std::optional<PageReference> page = {};          ///< the page that it is about
  bool allowWebsiteInteraction = false;            ///< the agent may act in pages that the user lends it
  std::vector<std::string> arguments = {};         ///< put on the CLI's command line as they are
  std::vector<std::filesystem::path> images = {};  ///< PNG files
  std::optional<json::value> reading = {};         ///< a passage of a page; handed on to the turn as it is

  bool operator==(const AgentTurnOptions&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentTurnOptions, (),
                      (access, context, contextLabel, note, routing, instructions, page,
                       allowWebsiteInteraction, arguments, images, reading))

}  // namespace vale
