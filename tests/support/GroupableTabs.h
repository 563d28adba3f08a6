#pragma once

#include "intelligence/TabGroupSections.h"

#include <fmt/format.h>

#include <span>
#include <string>
#include <vector>

namespace vale::test {

/// Small numbers stand for the identities of tabs and groups.
inline Uuid numbered(int number) {
  return *Uuid::parse(fmt::format("00000000-0000-4000-8000-{:012}", number));
}
inline std::vector<Uuid> tabIDs(const std::vector<int>& numbers) {
  std::vector<Uuid> ids;
  for (const int number : numbers) ids.push_back(numbered(number));
  return ids;
}
inline std::string numbers(std::span<const Uuid> ids) {
  std::string text;
  for (const auto& id : ids) text += " " + std::to_string(std::stoi(id.text().substr(24)));
  return text;
}

inline GroupableTab webTab(int number, const std::string& path = "") {
  return {.id = numbered(number),
          .url = fmt::format("https://s{}.org/{}", number, path),
          .title = fmt::format("Page {}", number)};
}
inline std::vector<GroupableTab> webTabs(int count) {
  std::vector<GroupableTab> tabs;
  for (int i = 1; i <= count; ++i) tabs.push_back(webTab(i));
  return tabs;
}

/// "Title: 1 2" for each section.
inline std::vector<std::string> lines(const std::vector<TabGroupSection>& sections) {
  std::vector<std::string> result;
  for (const auto& section : sections) result.push_back(section.title + ":" + numbers(section.tabIDs));
  return result;
}

}  // namespace vale::test
