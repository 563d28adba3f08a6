#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageStack.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WindowContext.h"

#include <gtk/gtk.h>

namespace vale::gtk {

/// What the navigation buttons do beyond a click: the middle button opens in a new tab what they lead to, the
/// right one, or a long press, lists the pages before or after this one.
class NavigationMenus {
 public:
  NavigationMenus(SharedContext context, const PageStack& pages);

  void serve(GtkButton* button, int direction);

 private:
  void openBeside(int direction);
  void list(GtkWidget* button, int direction, double x, double y);
  void go(int steps);

  SharedContext context_;
  const PageStack& pages_;
  GObjectPointer<GSimpleActionGroup> actions_;
  Connections connections_;
};

}  // namespace vale::gtk
