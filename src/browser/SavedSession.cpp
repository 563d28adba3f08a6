#include "browser/SavedSession.h"

namespace vale {

void decodeValue(const json::value& value, ManualTabGroup& group, const std::string& path) {
  const auto* object = value.if_object();
  if (!object) detail::failDecoding(path, "an object");
  const auto read = [&](const char* key, auto& field) {
    const auto* found = object->if_contains(key);
    if (found && !found->is_null()) detail::decodeValue(*found, field, path + "." + key);
  };
  group = {.id = Uuid::random(), .name = std::string(defaultGroupName)};
  read("id", group.id);
  read("name", group.name);
  read("collapsed", group.collapsed);
  read("tabIDs", group.tabIDs);
  if (const auto color = stringMember(*object, "color")) {
    group.color = fromRawValue<TabGroupColor>(*color).value_or(TabGroupColor::gray);
  }
}

std::vector<SavedWindow> Session::restoredWindows() const {
  if (windows) return *windows;
  return {{.id = Uuid::random(), .tabs = tabs, .selected = selected, .groups = groups}};
}

}  // namespace vale
