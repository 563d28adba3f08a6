#include "intelligence/TabGroupingFile.h"

#include "common/FileDescriptor.h"
#include "common/Log.h"
#include "intelligence/TabGroupingHints.h"

#include <fmt/format.h>

#include <cerrno>
#include <unordered_set>
#include <utility>

namespace vale {
namespace {

constexpr std::string_view queueLabel = "Vale.tab-groups.persistence";

/// The record that a file of the older layout stands for: it knew no places, hints and hand-made groups, and
/// its groups had no more than names and tabs.
json::object converted(json::object old) {
  old["version"] = TabGroupingState::currentVersion;
  for (const auto key : {"unassigned", "hints"}) old.emplace(key, json::array());
  for (const auto key : {"placedURLs", "formerGroups"}) old.emplace(key, json::object());
  auto* found = old.if_contains("groups");
  auto* groups = found ? found->if_array() : nullptr;
  if (!groups) return old;
  for (auto& value : *groups) {
    auto* group = value.if_object();
    if (!group) continue;
    group->emplace("id", Uuid::random().text());
    for (const auto key : {"name", "intent", "rationale"}) group->emplace(key, "");
    group->emplace("tabIDs", json::array());
    group->emplace("source", rawValue(TabGroupSource::ai));
    for (const auto key : {"userNamed", "collapsed"}) group->emplace(key, false);
  }
  return old;
}

template <typename T> std::map<std::string, T> canonicalKeys(const std::map<std::string, T>& entries) {
  std::map<std::string, T> result;
  for (const auto& [key, value] : entries) {
    if (const auto id = Uuid::parse(key)) result.emplace(id->text(), value);
  }
  return result;
}

/// A file may have been edited: the first place of a tab counts, the first group of an identity keeps it.
void mend(TabGroupingState& state) {
  std::unordered_set<Uuid> tabs;
  std::unordered_set<Uuid> groups;
  const auto repeated = [&](const Uuid& id) { return !tabs.insert(id).second; };
  for (auto& group : state.groups) {
    if (!groups.insert(group.id).second) group.id = Uuid::random();
    std::erase_if(group.tabIDs, repeated);
  }
  std::erase_if(state.groups, [](const TabGroup& group) { return group.tabIDs.empty(); });
  std::erase_if(state.unassigned, repeated);
  state.placedURLs = canonicalKeys(state.placedURLs);
  state.formerGroups = canonicalKeys(state.formerGroups);
  TabGroupingHints::mend(state.hints);
}

}  // namespace

TabGroupingFile::TabGroupingFile(std::filesystem::path file, Surroundings surroundings,
                                 std::function<TabGroupingState()> present) {
  bool wasOlder = false;
  try {
    const auto text = readFile(file, largestFile);
    if (!text && text.error().code != ENOENT) throw text.error();
    if (text) {
      auto decoded = decode(*text);
      contents_ = std::move(decoded.state);
      wasOlder = decoded.wasOlder;
    }
  } catch (const Error& error) {
    log::warning("Vale tab groups: {}", error.message);
    error_.set("Could not read the tab groups. The original file is preserved. " + error.message);
    return;
  }
  file_ = std::make_unique<DeferredFile>(
      std::move(file), SerialQueue(surroundings.workers, std::string(queueLabel)), surroundings,
      [present = std::move(present)] { return [state = present()] { return encode(state); }; },
      [this](std::optional<std::string> error) {
        if (error) log::warning("Vale tab groups: {}", *error);
        error_.set(std::move(error));
      });
  if (wasOlder) schedule();
}

void TabGroupingFile::schedule() {
  if (file_) file_->schedule();
}

void TabGroupingFile::save() {
  if (file_) file_->save();
}

TabGroupingFile::Decoded TabGroupingFile::decode(std::string_view bytes) {
  auto value = parseJson(bytes);
  auto* object = value.if_object();
  if (!object) throw DecodeError("The text is not a JSON object.");
  const auto version = object->contains("version") ? integerMember(*object, "version") : 1;
  if (!version) throw DecodeError("The key “version” is not a whole number.");
  if (*version > TabGroupingState::currentVersion) {
    throw DecodeError(fmt::format("A newer Vale wrote it in layout {}; this one reads up to layout {}.",
                                  *version, TabGroupingState::currentVersion));
  }
  Decoded decoded{.wasOlder = *version < TabGroupingState::currentVersion};
  if (decoded.wasOlder) *object = converted(std::move(*object));
  decoded.state = vale::decode<TabGroupingState>(value);
  mend(decoded.state);
  return decoded;
}

std::string TabGroupingFile::encode(const TabGroupingState& state) {
  return jsonText(vale::encode(state)) + "\n";
}

}  // namespace vale
