#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WindowContext.h"

#include <adwaita.h>

#include <functional>

namespace vale::gtk {

/// Gives the windows' actions their keys, which work wherever the keyboard is, in a page too.
void setAccelerators(GtkApplication* application);

/// The actions of one window that concern its model and the application, named "win.…". What concerns the
/// page or a widget is added by whoever owns it.
class WindowActions {
 public:
  WindowActions(SharedContext context, GActionMap* map);

  void add(const char* name, std::function<void()> work);
  /// An action with a parameter, such as "s" for a text.
  void add(const char* name, const char* parameter, std::function<void(GVariant*)> work);
  void enable(const char* name, bool enabled);

 private:
  void addTabActions();
  void addWindowActions();
  void addViewActions();
  void moveSelected(int steps);
  template <typename Value> void followState(const char* name, const Published<Value>& value, auto variant);

  SharedContext context_;
  GActionMap* map_;
  Connections connections_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
