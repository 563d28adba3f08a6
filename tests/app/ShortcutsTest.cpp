#include "app/Shortcuts.h"

#include <gtest/gtest.h>

#include <map>

namespace vale {

TEST(Shortcuts, aKeyMeansOneThing) {
  std::map<std::string, std::string> owners;
  for (const auto& row : shortcuts()) {
    EXPECT_FALSE(row.keys.empty()) << row.action;
    EXPECT_FALSE(row.action.empty() && row.title.empty());
    for (const auto& key : row.keys) {
      // Escape stops a load, or else leaves fullscreen: only one of the two is ever enabled first.
      if (key == "Escape") continue;
      EXPECT_TRUE(owners.emplace(key, row.action).second) << key << " is also that of " << owners[key];
    }
  }
}

}  // namespace vale
