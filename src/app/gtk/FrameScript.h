#pragma once

#include <string>

namespace vale::gtk {

/// What can be asked of every frame of a page.
enum class FrameQuestion {
  typedText,
  playingMedia,
  sensitiveFields,  ///< are there fields for a password or for payment
};

/// The name under which frames reach the browser from their isolated world.
inline constexpr const char* frameMessages = "vale";

/// The script that runs in the isolated world of each frame from the start of its document. It notes which
/// elements the user types into, and has frames below the main one report themselves once there is something
/// to ask them about: text, media, sensitive fields. A message is "ID here", "ID gone" or "ID answer ROUND
/// true|false"; the answer to one that is not "gone" is the next question, "NAME ROUND", and may take until
/// there is one.
const std::string& frameScript();

/// The body of a function that answers a question for the main frame, true or false.
std::string questionBody(FrameQuestion question);

/// A question's name in messages.
const char* questionName(FrameQuestion question);

}  // namespace vale::gtk
