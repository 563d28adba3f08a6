#pragma once

#include "browser/AddressInput.h"
#include "browser/BrowserModel.h"
#include "history/AddressIndex.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// A row of the list under the address entry. Its texts are ready for display in one line, as text.
struct AddressSuggestion {
  enum class Kind {
    openTab,   ///< switches to `tab`
    page,      ///< was visited
    bookmark,  ///< is kept, visited or not
    search,    ///< searches the web for what was typed
    address,   ///< is what was typed
    agent,     ///< asks an agent what was typed
  };

  Kind kind = Kind::page;
  std::string title;
  std::string shownAddress;  ///< shortened; empty where the title says it all
  std::vector<MatchRange> inTitle;
  std::vector<MatchRange> inAddress;
  std::string address;  ///< to open; of a question its words
  std::optional<Uuid> tab;
};

/// A tab to switch to.
struct OpenTab {
  Uuid id;
  std::string title;
  std::string address;
  std::optional<Date> lastUsed;
};

/// The tabs that a window's list may offer: its own but the selected one, and those of ordinary windows. A
/// private window's tabs show in no other window.
std::vector<OpenTab> openTabs(const std::vector<std::shared_ptr<BrowserModel>>& windows,
                              const BrowserModel& asking);

/// What typed text is completed from.
struct SuggestionSources {
  const AddressIndex& visited;
  const AddressIndex& bookmarks;
  const std::vector<OpenTab>& tabs;
  const AddressInput& input;
  bool agents = false;  ///< there is whom to ask
};

/// What typed text may mean: first what Enter makes of it, then open tabs, and pages and bookmarks, the
/// likeliest first, and a web search in any case, last the question to an agent. No page is there twice, an
/// open tab taking its place. Nothing for blank text and for what may not be opened.
std::vector<AddressSuggestion> addressSuggestions(std::string_view typed, const SuggestionSources& sources,
                                                  std::size_t limit = 8);

}  // namespace vale
