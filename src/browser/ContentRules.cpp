#include "browser/ContentRules.h"

#include "browser/FilterPattern.h"
#include "common/Json.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string_view>

namespace vale {

namespace {

using Rules = ContentRules::Rules;

constexpr std::uint32_t bit(FilterType type) { return static_cast<std::uint32_t>(type); }
bool has(std::uint32_t types, FilterType type) { return (types & bit(type)) != 0; }

struct EngineType {
  FilterType type;
  std::string_view name;
};
constexpr auto engineTypes = std::to_array<EngineType>({{FilterType::script, "script"},
                                                        {FilterType::image, "image"},
                                                        {FilterType::image, "svg-document"},
                                                        {FilterType::stylesheet, "style-sheet"},
                                                        {FilterType::font, "font"},
                                                        {FilterType::media, "media"},
                                                        {FilterType::fetch, "fetch"},
                                                        {FilterType::webSocket, "websocket"},
                                                        {FilterType::ping, "ping"},
                                                        {FilterType::other, "other"}});

json::array siteList(const std::vector<std::string>& sites) {
  json::array list;
  // The star takes in what lies below.
  for (const auto& site : sites) list.emplace_back("*" + site);
  return list;
}

void limitTo(json::object& trigger, const FilterSites& sites) {
  if (!sites.only.empty()) trigger["if-domain"] = siteList(sites.only);
  if (!sites.allBut.empty()) trigger["unless-domain"] = siteList(sites.allBut);
}

std::string rule(json::object trigger, json::object action) {
  return jsonText(json::object({{"trigger", std::move(trigger)}, {"action", std::move(action)}}));
}

json::object actionOf(RequestFilter::Effect effect) {
  return {{"type", effect == RequestFilter::Effect::allow ? "ignore-previous-rules" : "block"}};
}

json::object triggerOf(const RequestFilter& filter, const std::string& expression) {
  json::object trigger{{"url-filter", expression}};
  if (filter.isCaseSensitive) trigger["url-filter-is-case-sensitive"] = true;
  if (filter.party != FilterParty::any) {
    trigger["load-type"] = json::array({filter.party == FilterParty::third ? "third-party" : "first-party"});
  }
  limitTo(trigger, filter.sites);
  return trigger;
}

/// Rules for what a page loads.
void addResourceRules(Rules& rules, const RequestFilter& filter) {
  const auto types = filter.types & resourceTypes;
  for (const auto& expression : filter.expressions) {
    auto trigger = triggerOf(filter, expression);
    if (types == resourceTypes) {
      rules.push_back(rule(std::move(trigger), actionOf(filter.effect)));
      continue;
    }
    json::array names;
    for (const auto& one : engineTypes) {
      if (has(types, one.type)) names.emplace_back(one.name);
    }
    if (!names.empty()) {
      auto limited = trigger;
      limited["resource-type"] = std::move(names);
      rules.push_back(rule(std::move(limited), actionOf(filter.effect)));
    }
    if (has(types, FilterType::frame)) {
      trigger["resource-type"] = json::array({"document"});
      trigger["load-context"] = json::array({"child-frame"});
      rules.push_back(rule(std::move(trigger), actionOf(filter.effect)));
    }
  }
}

/// Rules for the page itself and for windows that it opens.
void addPageRules(Rules& rules, const RequestFilter& filter) {
  const bool blocks = filter.effect != RequestFilter::Effect::allow;
  for (const auto& expression : filter.expressions) {
    const auto trigger = triggerOf(filter, expression);
    if (blocks && has(filter.types, FilterType::page)) {
      auto page = trigger;
      page["resource-type"] = json::array({"document"});
      page["load-context"] = json::array({"top-frame"});
      rules.push_back(rule(std::move(page), actionOf(filter.effect)));
    }
    if (has(filter.types, FilterType::popup)) {
      auto popup = trigger;
      popup["resource-type"] = json::array({"popup"});
      rules.push_back(rule(std::move(popup), actionOf(filter.effect)));
    }
  }
}

/// Undoes what came before in pages whose own address matches.
void addPageExceptions(Rules& rules, const RequestFilter& filter) {
  for (const auto& expression : filter.expressions) {
    json::object trigger{{"url-filter", everyAddress}, {"if-top-url", json::array({expression})}};
    if (filter.isCaseSensitive) trigger["top-url-filter-is-case-sensitive"] = true;
    rules.push_back(rule(std::move(trigger), actionOf(RequestFilter::Effect::allow)));
  }
}

/// Filters block what a page loads; where the user goes is another matter.
void addFreeWay(Rules& rules) {
  rules.push_back(rule({{"url-filter", everyAddress},
                        {"resource-type", json::array({"document"})},
                        {"load-context", json::array({"top-frame"})}},
                       actionOf(RequestFilter::Effect::allow)));
  rules.push_back(rule({{"url-filter", everyAddress}, {"resource-type", json::array({"popup"})}},
                       actionOf(RequestFilter::Effect::allow)));
}

/// Whether an expression may begin anywhere and leaves things open: many of those together multiply the
/// engine's automaton.
bool isOpen(const std::string& expression) {
  return !expression.starts_with('^') && expression != everyAddress &&
         (expression.find(".*") != std::string::npos || expression.find("]*") != std::string::npos ||
          expression.find('+') != std::string::npos);
}

/// The rules in their kinds, in the order in which they stand in a blocker.
struct Sorted {
  Rules block, blockOpen, allow, blockAlways, blockPages, allowPopups, allowPages;
  Rules hideAnywhere, showGeneric, hide, show;

  void add(const RequestFilter& filter) {
    const bool allows = filter.effect == RequestFilter::Effect::allow;
    const bool always = filter.effect == RequestFilter::Effect::blockAlways;
    const bool open = std::ranges::any_of(filter.expressions, isOpen);
    addResourceRules(allows ? allow : always ? blockAlways : open ? blockOpen : block, filter);
    addPageRules(allows ? allowPopups : blockPages, filter);
    if (!allows) return;
    if (has(filter.types, FilterType::page)) addPageExceptions(allowPages, filter);
    if (has(filter.types, FilterType::hiding)) addPageExceptions(show, filter);
    if (has(filter.types, FilterType::genericHiding)) addPageExceptions(showGeneric, filter);
  }

  void add(const HidingFilter& filter) {
    json::object trigger{{"url-filter", everyAddress}};
    limitTo(trigger, filter.sites);
    (filter.sites.only.empty() ? hideAnywhere : hide)
        .push_back(rule(std::move(trigger), {{"type", "css-display-none"}, {"selector", filter.selector}}));
  }
};

/// Selectors that must not be hidden on some sites; anywhere where the list is empty.
using HidingExceptions = std::map<std::string_view, std::vector<FilterSites>>;

/// What is left of a filter; false when that is nothing.
bool applyExceptions(HidingFilter& filter, const HidingExceptions& exceptions) {
  const auto found = exceptions.find(filter.selector);
  if (found == exceptions.end()) return true;
  auto& sites = filter.sites;
  for (const auto& excepted : found->second) {
    if (excepted.only.empty()) return false;
    if (sites.only.empty()) {
      sites.allBut.insert(sites.allBut.end(), excepted.only.begin(), excepted.only.end());
    } else {
      std::erase_if(sites.only, [&](const auto& site) {
        return std::ranges::find(excepted.only, site) != excepted.only.end();
      });
      if (sites.only.empty()) return false;
    }
  }
  return true;
}

std::size_t cut(Rules& rules, std::size_t limit) {
  if (rules.size() <= limit) return 0;
  const auto left = rules.size() - limit;
  rules.resize(limit);
  return left;
}

void append(Rules& rules, const Rules& more) { rules.insert(rules.end(), more.begin(), more.end()); }

using SharedRules = std::shared_ptr<const Rules>;

SharedRules shared(Rules rules) { return std::make_shared<const Rules>(std::move(rules)); }

void addBlockers(ContentRules::Made& made, const Rules& own, const SharedRules& shared,
                 std::size_t most = ContentRules::mostRules) {
  const auto step = std::min(most, ContentRules::mostRules - shared->size());
  for (std::size_t begin = 0; begin < own.size(); begin += step) {
    const auto first = own.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto count = static_cast<std::ptrdiff_t>(std::min(step, own.size() - begin));
    made.blockers.push_back({Rules(first, first + count), shared});
  }
}

}  // namespace

std::string ContentRules::text() const {
  std::string text = "[";
  for (const auto* rules : {&own, exceptions.get()}) {
    for (const auto& one : *rules) {
      if (text.size() > 1) text += ",\n";
      text += one;
    }
  }
  return text + "]";
}

std::pair<ContentRules, ContentRules> ContentRules::halves() const {
  const auto middle = own.begin() + static_cast<std::ptrdiff_t>(own.size() / 2);
  return {{Rules(own.begin(), middle), exceptions}, {Rules(middle, own.end()), exceptions}};
}

ContentRules::Made ContentRules::make(const std::vector<FilterList>& lists) {
  HidingExceptions exceptions;
  for (const auto& list : lists) {
    for (const auto& filter : list.hidings) {
      if (filter.isException) exceptions[filter.selector].push_back(filter.sites);
    }
  }
  Sorted sorted;
  for (const auto& list : lists) {
    for (const auto& filter : list.requests) sorted.add(filter);
    for (auto filter : list.hidings) {
      if (!filter.isException && applyExceptions(filter, exceptions)) sorted.add(filter);
    }
  }

  Made made;
  for (auto* rules : {&sorted.block, &sorted.hideAnywhere, &sorted.hide}) {
    made.leftOut += cut(*rules, mostOwnRules);
  }
  made.leftOut += cut(sorted.allow, mostExceptions);
  for (auto* rules : {&sorted.blockAlways, &sorted.blockPages, &sorted.allowPopups, &sorted.allowPages,
                      &sorted.showGeneric, &sorted.show}) {
    made.leftOut += cut(*rules, mostSpecial);
  }
  made.leftOut += cut(sorted.blockOpen, mostOpen);
  Rules exceptionsOfRequests = std::move(sorted.allow);
  append(exceptionsOfRequests, sorted.blockAlways);
  addFreeWay(exceptionsOfRequests);
  append(exceptionsOfRequests, sorted.blockPages);
  append(exceptionsOfRequests, sorted.allowPopups);
  append(exceptionsOfRequests, sorted.allowPages);
  // Without anything else to block, what is always blocked still is.
  if (sorted.block.empty() && sorted.blockOpen.empty()) {
    if (!sorted.blockAlways.empty() || !sorted.blockPages.empty()) {
      made.blockers.push_back({std::move(exceptionsOfRequests), shared({})});
    }
  } else {
    const auto exceptions = shared(std::move(exceptionsOfRequests));
    addBlockers(made, sorted.block, exceptions);
    addBlockers(made, sorted.blockOpen, exceptions, mostOpenTogether);
  }
  Rules forPages = sorted.show;
  append(forPages, sorted.allowPages);
  Rules forGeneric = sorted.showGeneric;
  append(forGeneric, forPages);
  addBlockers(made, sorted.hideAnywhere, shared(std::move(forGeneric)));
  addBlockers(made, sorted.hide, shared(std::move(forPages)));
  return made;
}

}  // namespace vale
