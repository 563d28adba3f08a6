#include "app/AddressSuggestions.h"

#include "browser/AddressDisplay.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace vale {

namespace {

using Kind = AddressSuggestion::Kind;

/// Longer texts are not looked for.
constexpr std::size_t longestCompleted = 256;
constexpr std::size_t longestTitle = 300;
constexpr std::size_t mostTabs = 3;
constexpr std::size_t mostUnvisitedBookmarks = 2;

std::string line(std::string_view text, std::size_t limit) {
  return singleLine(validUtf8(clampedText(text, limit)));
}

/// The ranges as they are in `shown`, a part of `text` or the beginning of it; none when it is neither.
std::vector<MatchRange> rangesIn(std::string_view shown, std::string_view text,
                                 const std::vector<MatchRange>& ranges) {
  std::size_t from = text.find(shown);
  std::size_t end = from + shown.size();
  if (from == text.npos) {
    from = 0;
    end = static_cast<std::size_t>(std::ranges::mismatch(shown, text).in1 - shown.begin());
  }
  std::vector<MatchRange> found;
  for (const auto& [begin, length] : ranges) {
    if (begin >= from && begin + length <= end) found.push_back({begin - from, length});
  }
  return found;
}

AddressSuggestion suggestion(Kind kind, const AddressCompletion& completion) {
  const auto& row = completion.row;
  AddressSuggestion one{.kind = kind, .title = line(row.title, longestTitle), .address = row.url};
  one.shownAddress = singleLine(displayedAddress(row.url).text);
  one.inAddress = rangesIn(one.shownAddress, row.url, completion.inURL);
  one.inTitle = rangesIn(one.title, row.title, completion.inTitle);
  if (one.title.empty()) {
    one.title = std::exchange(one.shownAddress, {});
    one.inTitle = std::exchange(one.inAddress, {});
  }
  return one;
}

AddressSuggestion asTyped(const AddressRequest& request) {
  if (request.kind == AddressRequest::Kind::search) {
    return {.kind = Kind::search,
            .title = line(request.words, longestTitle),
            .shownAddress =
                request.engine.empty() ? "Search the web" : "Search with " + singleLine(request.engine),
            .address = request.address};
  }
  return {.kind = Kind::address,
          .title = singleLine(displayedAddress(request.address).text),
          .address = request.address};
}

/// The open tabs that match, the lately used first.
std::vector<AddressSuggestion> matchingTabs(std::string_view typed, const std::vector<OpenTab>& tabs) {
  std::unordered_map<std::string, Uuid> ids;
  std::vector<AddressIndexRow> rows;
  for (const auto& tab : tabs) {
    if (tab.address.empty() || !ids.emplace(tab.address, tab.id).second) continue;
    rows.push_back(
        {.url = tab.address,
         .title = tab.title,
         .lastVisitedAt = std::chrono::floor<std::chrono::seconds>(tab.lastUsed.value_or(Date()))});
  }
  std::vector<AddressSuggestion> found;
  for (const auto& completion : AddressIndex(std::move(rows)).complete(typed, mostTabs)) {
    found.push_back(suggestion(Kind::openTab, completion));
    found.back().tab = ids.at(completion.row.url);
  }
  return found;
}

}  // namespace

std::vector<OpenTab> openTabs(const std::vector<std::shared_ptr<BrowserModel>>& windows,
                              const BrowserModel& asking) {
  std::vector<OpenTab> tabs;
  for (const auto& window : windows) {
    const bool own = window.get() == &asking;
    if (window->isPrivate() && !own) continue;
    for (const auto& tab : window->tabs()) {
      if (own && tab == window->selected()) continue;
      tabs.push_back({tab->id, tab->title(), tab->url(), tab->lastActivatedAt});
    }
  }
  return tabs;
}

std::vector<AddressSuggestion> addressSuggestions(std::string_view typed, const SuggestionSources& sources,
                                                  std::size_t limit) {
  using Request = AddressRequest::Kind;
  const auto request = sources.input.interpret(typed);
  if (request.kind == Request::nothing || request.kind == Request::refused) return {};
  std::vector<AddressSuggestion> list{asTyped(request)};
  const auto withAgent = [&](std::vector<AddressSuggestion> rows) {
    if (sources.agents) {
      rows.push_back({.kind = Kind::agent, .title = "Ask an agent: " + line(trimmed(typed), longestTitle)});
      rows.back().address = typed;
    }
    return rows;
  };
  if (typed.size() > longestCompleted) return withAgent(std::move(list));

  // Pages that are there already; a tab with the typed address is another wish than to open it here.
  std::unordered_set<std::string> seen;
  for (auto& tab : matchingTabs(typed, sources.tabs)) {
    seen.insert(normalizeURL(tab.address));
    list.push_back(std::move(tab));
  }
  seen.insert(normalizeURL(request.address));

  auto kept = sources.bookmarks.complete(typed, limit);
  std::unordered_set<std::string> bookmarked;
  for (const auto& completion : kept) bookmarked.insert(normalizeURL(completion.row.url));
  const bool searches = request.kind == Request::search;
  const std::size_t places = limit - (searches ? 0 : 1);

  std::vector<AddressSuggestion> pages;
  std::unordered_set<std::string> visited;
  for (const auto& completion : sources.visited.complete(typed, limit + mostTabs + 1)) {
    const auto address = normalizeURL(completion.row.url);
    visited.insert(address);
    if (!seen.insert(address).second) continue;
    pages.push_back(suggestion(bookmarked.contains(address) ? Kind::bookmark : Kind::page, completion));
  }
  std::vector<AddressSuggestion> unvisited;
  for (const auto& completion : kept) {
    if (!seen.insert(normalizeURL(completion.row.url)).second) continue;
    unvisited.push_back(suggestion(Kind::bookmark, completion));
  }
  const auto room = places - std::min(places, list.size());
  const auto reserved = std::min(unvisited.size(), mostUnvisitedBookmarks);
  if (pages.size() + reserved > room) pages.resize(room - std::min(room, reserved));
  std::ranges::move(pages, std::back_inserter(list));
  std::ranges::move(unvisited, std::back_inserter(list));
  if (list.size() > places) list.resize(places);

  if (!searches) {
    const auto search = sources.input.search(trimmed(typed));
    if (search.kind == Request::search) list.push_back(asTyped(search));
  }
  return withAgent(std::move(list));
}

}  // namespace vale
