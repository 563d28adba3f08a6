#include "projects/ProjectRoutingCatalog.h"

#include "common/FileDescriptor.h"
#include "projects/DataLine.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <ranges>
#include <utility>

namespace vale {
namespace {

constexpr std::size_t largestFile = std::size_t{64} << 20;
constexpr std::size_t longestName = 80;
constexpr std::size_t longestDescription = 240;
constexpr std::size_t longestStack = 80;
constexpr std::size_t longestWork = 100;

ProjectRoutingCatalog::Entry entry(const ProjectRecord& record) {
  ProjectRoutingCatalog::Entry entry{
      .id = record.id,
      .name = dataLine(record.name, longestName),
      .description = dataLine(record.description, longestDescription),
      .stack = dataLine(fmt::format("{}", fmt::join(record.stack, ", ")), longestStack)};
  if (entry.name.empty()) entry.name = std::filesystem::path(record.id).filename();
  const auto active = parseISO8601(record.lastActivity.value_or(""));
  if (active) entry.lastActivity = iso8601(*active).substr(0, std::string_view("2026-11-22").size());
  const auto add = [&](const auto& list, auto text) {
    for (const auto& item : list | std::views::take(ProjectRoutingCatalog::mostRecentWork)) {
      if (auto line = dataLine(item.*text, longestWork); !line.empty())
        entry.recentWork.push_back(std::move(line));
    }
  };
  add(record.commits, &ProjectCommit::subject);
  add(record.sessions, &ProjectSession::title);
  return entry;
}

std::string text(const json::object& object, std::string_view key) {
  return std::string(stringMember(object, key).value_or(""));
}

template <typename Item>
void readTexts(const json::object& object, std::string_view list, std::string_view key,
               std::vector<Item>& items, std::string Item::*member) {
  const auto* array = arrayMember(object, list);
  if (!array) return;
  for (const auto& value : *array) {
    if (const auto* item = value.if_object()) items.emplace_back().*member = text(*item, key);
  }
}

ProjectRecord readRecord(const json::object& object) {
  ProjectRecord record;
  record.id = text(object, "id");
  record.name = text(object, "name");
  record.description = text(object, "description");
  record.lastActivity = text(object, "lastActivity");
  if (const auto* stack = arrayMember(object, "stack")) {
    for (const auto& value : *stack) {
      if (const auto* word = value.if_string()) record.stack.emplace_back(*word);
    }
  }
  readTexts(object, "commits", "subject", record.commits, &ProjectCommit::subject);
  readTexts(object, "sessions", "title", record.sessions, &ProjectSession::title);
  return record;
}

}  // namespace

ProjectRoutingCatalog ProjectRoutingCatalog::from(std::vector<ProjectRecord> records,
                                                  ProjectCatalogSource source) {
  ProjectRoutingCatalog catalog{.catalogSource = source};
  std::erase_if(records, [&](auto& record) {
    auto id = vale::projectID(record.id);
    if (!id || !catalog.names.try_emplace(*id, dataLine(record.name, longestName)).second) return true;
    record.id = *std::move(id);
    return false;
  });
  const auto activity = [](const ProjectRecord& record) {
    return parseISO8601(record.lastActivity.value_or("")).value_or(Date::min());
  };
  std::ranges::stable_sort(records, std::ranges::greater{}, activity);
  for (const auto& record : records | std::views::take(mostProjects))
    catalog.projects.push_back(entry(record));
  catalog.leftOut = records.size() - catalog.projects.size();
  return catalog;
}

ProjectRoutingCatalog ProjectRoutingCatalog::read(const std::filesystem::path& file,
                                                  ProjectCatalogSource source) {
  const auto bytes = readFile(file, largestFile);
  if (!bytes) throw bytes.error();
  const auto value = tryParseJson(*bytes);
  const json::array* list = value ? value->if_array() : nullptr;
  if (const auto* index = value ? value->if_object() : nullptr) list = arrayMember(*index, "projects");
  if (!list) throw Error(fmt::format("“{}” is not a list of projects.", file.native()));
  std::vector<ProjectRecord> records;
  for (const auto& item : *list) {
    if (const auto* object = item.if_object()) records.push_back(readRecord(*object));
  }
  return from(std::move(records), source);
}

ProjectIDs ProjectRoutingCatalog::ids() const {
  ProjectIDs ids;
  for (const auto& project : projects) ids.insert(project.id);
  return ids;
}

std::string ProjectRoutingCatalog::name(const std::string& projectID) const {
  const auto found = names.find(projectID);
  if (found != names.end() && !found->second.empty()) return found->second;
  return std::filesystem::path(projectID).filename();
}

}  // namespace vale
