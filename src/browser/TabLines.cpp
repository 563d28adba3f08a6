#include "browser/TabLines.h"

#include "common/Text.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

namespace vale {

namespace {

/// Beyond this many, one splice of everything is cheaper for whoever draws the list.
constexpr std::size_t mostSplices = 256;

bool matches(const BrowserTab& tab, const std::string& needle) {
  return needle.empty() || foldedCase(tab.title()).find(needle) != std::string::npos ||
         foldedCase(tab.url()).find(needle) != std::string::npos;
}

/// The positions in `values` of a longest rising run of them (not necessarily neighbours).
std::vector<std::size_t> longestRise(const std::vector<std::size_t>& values) {
  std::vector<std::size_t> ends;  // of the best run of each length, its last position
  std::vector<std::size_t> before(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto end =
        std::ranges::lower_bound(ends, values[i], {}, [&](std::size_t at) { return values[at]; });
    before[i] = end == ends.begin() ? i : *std::prev(end);
    if (end == ends.end()) {
      ends.push_back(i);
    } else {
      *end = i;
    }
  }
  std::vector<std::size_t> run(ends.size());
  for (std::size_t i = ends.size(), at = ends.empty() ? 0 : ends.back(); i-- > 0; at = before[at])
    run[i] = at;
  return run;
}

}  // namespace

std::vector<TabLine> tabLines(const BrowserModel& model, std::string_view filter) {
  using enum TabLine::Kind;
  const auto needle = foldedCase(trimmed(filter));
  std::vector<TabLine> lines;
  lines.reserve(model.tabs().size() + model.groups().size() + 1);
  // The tabs stand in the order of the groups, so one walk over both finds every member.
  auto group = model.groups().begin();
  std::size_t member = 0;
  const auto header = [&] { lines.push_back({.kind = groupHeader, .id = group->id, .groupID = group->id}); };
  bool headed = false;
  for (const auto& tab : model.tabs()) {
    if (group != model.groups().end() && member == group->tabIDs.size()) {
      ++group;
      member = 0;
      headed = false;
    }
    const bool grouped = !tab->pinned() && group != model.groups().end() && group->tabIDs[member] == tab->id;
    if (grouped) ++member;
    const bool shown = matches(*tab, needle);
    if (grouped) {
      if ((needle.empty() || shown) && !std::exchange(headed, true)) header();
      if (!shown || (needle.empty() && group->collapsed)) continue;
      lines.push_back({.kind = groupTab, .id = tab->id, .groupID = group->id, .tab = tab.get()});
    } else if (shown) {
      const auto kind = tab->pinned() ? pinnedTab : tab->agentOwner ? agentTab : looseTab;
      if (kind == agentTab && (lines.empty() || lines.back().kind != agentTab)) {
        lines.push_back({.kind = agentsHeader});
      }
      lines.push_back({.kind = kind, .id = tab->id, .tab = tab.get()});
    }
  }
  return lines;
}

std::vector<LineSplice> lineSplices(const std::vector<TabLine>& before, const std::vector<TabLine>& after) {
  const auto [oldHead, newHead] = std::ranges::mismatch(before, after);
  const auto [oldTail, newTail] = std::mismatch(before.rbegin(), std::make_reverse_iterator(oldHead),
                                                after.rbegin(), std::make_reverse_iterator(newHead));
  const auto head = static_cast<std::size_t>(oldHead - before.begin());
  const auto oldEnd = static_cast<std::size_t>(oldTail.base() - before.begin());
  const auto newEnd = static_cast<std::size_t>(newTail.base() - after.begin());
  if (head == oldEnd && head == newEnd) return {};
  const LineSplice whole{head, oldEnd - head, newEnd - head};
  if (whole.removed == 0 || whole.inserted == 0) return {whole};

  // What stays is the longest run of lines that keep their order.
  std::unordered_map<Uuid, std::size_t> places;
  for (std::size_t i = head; i < oldEnd; ++i) places.emplace(before[i].id, i);
  std::vector<std::size_t> olds, news;
  for (std::size_t i = head; i < newEnd; ++i) {
    const auto found = places.find(after[i].id);
    if (found == places.end() || before[found->second] != after[i]) continue;
    olds.push_back(found->second);
    news.push_back(i);
  }
  std::vector<LineSplice> splices;
  std::size_t oldAt = head, newAt = head;
  const auto upTo = [&](std::size_t oldNext, std::size_t newNext) {
    if (oldNext > oldAt || newNext > newAt) splices.push_back({newAt, oldNext - oldAt, newNext - newAt});
    oldAt = oldNext + 1;
    newAt = newNext + 1;
  };
  for (const auto kept : longestRise(olds)) upTo(olds[kept], news[kept]);
  upTo(oldEnd, newEnd);
  return splices.size() > mostSplices ? std::vector{whole} : splices;
}

}  // namespace vale
