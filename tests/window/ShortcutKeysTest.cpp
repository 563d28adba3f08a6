#include "app/Shortcuts.h"

#include <gtest/gtest.h>
#include <gtk/gtk.h>

namespace vale {

/// A key that the toolkit cannot read would only be missing.
TEST(Shortcuts, theToolkitKnowsEveryKey) {
  for (const auto& row : shortcuts()) {
    if (row.action.empty()) continue;
    for (const auto& key : row.keys) {
      guint value = 0;
      GdkModifierType modifiers{};
      EXPECT_TRUE(gtk_accelerator_parse(key.c_str(), &value, &modifiers) && value != 0) << key;
    }
    GError* error = nullptr;
    char* name = nullptr;
    GVariant* target = nullptr;
    EXPECT_TRUE(g_action_parse_detailed_name(row.action.c_str(), &name, &target, &error)) << row.action;
    g_clear_error(&error);
    g_free(name);
    if (target) g_variant_unref(target);
  }
}

}  // namespace vale
