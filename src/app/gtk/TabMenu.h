#pragma once

#include "app/gtk/Menu.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WindowContext.h"

#include <functional>
#include <gio/gio.h>
#include <optional>

namespace vale::gtk {

/// The context menus of tabs and groups, and the actions in them, named "tab.…" with the tab's or group's
/// identifier as their parameter.
class TabMenu {
 public:
  explicit TabMenu(SharedContext context);

  /// To be inserted into the window under "tab".
  GActionGroup* actions() const { return G_ACTION_GROUP(actions_.get()); }

  Menu forTab(const BrowserTab& tab) const;
  Menu forGroup(const ManualTabGroup& group) const;

  /// Asked when a group's name and colour are to be edited where the group is shown.
  std::function<void(const Uuid& group)> onEditGroup = [](const Uuid&) {};

 private:
  void addTabActions();
  void addGroupActions();
  template <typename Work> void add(const char* name, Work work);

  SharedContext context_;
  GObjectPointer<GSimpleActionGroup> actions_;
  Connections connections_;
};

}  // namespace vale::gtk
