#pragma once

#include <string>

namespace vale::gtk {

/// The name under which frames tell of their login fields from their isolated world.
inline constexpr const char* loginMessages = "valeLogins";

/// The script that watches the login fields of a frame from the start of its document, in the isolated world.
/// It works only where the frame, and every frame around it, has the page's own origin. Messages are texts
/// that browser/LoginForm reads; the answer to "ask" is a list of places and texts, or nothing. A frame asks
/// only after a click or a key of the user's in the field itself.
const std::string& loginScript();

/// The body of a function that tells for the main frame, and for the frames that it can look into, whether a
/// password is asked for: true or false.
const char* isAskingBody();

}  // namespace vale::gtk
