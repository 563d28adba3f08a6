#include "agents/TurnRouting.h"

namespace vale {

std::string TurnRouting::note() const {
  if (!projectID && destination.empty()) return "Answered as a page conversation";
  std::string text = "Routed to " + destination;
  for (const auto& alternate : alternates) {
    text += &alternate == &alternates.front() ? " Also matched: " : ", ";
    text += alternate.name;
  }
  return text;
}

}  // namespace vale
