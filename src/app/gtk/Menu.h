#pragma once

#include "app/gtk/GObjectPointer.h"

#include <gtk/gtk.h>

#include <string>
#include <string_view>

namespace vale::gtk {

/// A menu under construction. Labels are text: nothing in them is markup or a shortcut letter.
class Menu {
 public:
  Menu() : menu_(GObjectPointer<GMenu>::adopt(g_menu_new())) {}

  /// `target` is the action's parameter, floating; the item takes it over.
  Menu& item(const std::string& label, const char* action, GVariant* target = nullptr);
  Menu& submenu(const std::string& label, const Menu& items);
  Menu& section(const Menu& items);
  /// A place for a widget that the popover gets under this name.
  Menu& place(const char* name);

  bool empty() const { return g_menu_model_get_n_items(model()) == 0; }
  GMenuModel* model() const { return G_MENU_MODEL(menu_.get()); }

 private:
  GObjectPointer<GMenu> menu_;
};

/// A title or address from the web, short enough for a menu.
std::string menuLabel(std::string_view text);

/// Names the widget of a window that its popovers are children of. A list will not do: it may be moved to
/// another place of the window, which GTK does not survive with a popover on it.
void setPopoverHome(GtkWindow* window, GtkWidget* home);

/// A context menu at a place of a widget in a browser window, gone once it is closed.
void popUpMenu(GtkWidget* at, const Menu& menu, const GdkRectangle& place);

/// Shows a popover at a place of a widget in a browser window, and lets it go once it is closed.
void popUp(GtkPopover* popover, GtkWidget* at, const GdkRectangle& place);

}  // namespace vale::gtk
