#pragma once

#include "agents/AgentHubTypes.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// A line of the list of conversations. Texts, not markup.
struct ListedThread {
  Uuid id;
  std::string title;
  std::string facts;  ///< where it belongs, and how it stands: "Kitchen · failed"

  bool operator==(const ListedThread&) const = default;
};

/// The conversations, the latest first, of which `words` are found: each in the title, the project's name or
/// the page's address, in any case. At most so many.
std::vector<ListedThread>
listedThreads(const std::map<Uuid, ThreadSummary>& threads, std::string_view words,
              const std::function<std::string(const std::filesystem::path& folder)>& projectName,
              std::size_t most);

}  // namespace vale
