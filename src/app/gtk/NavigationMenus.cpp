#include "app/gtk/NavigationMenus.h"

#include "app/gtk/Menu.h"
#include "browser/AddressDisplay.h"

#include <memory>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

constexpr int mostListed = 15;
constexpr int here = 0;

std::string text(const char* value) { return value ? value : ""; }

}  // namespace

NavigationMenus::NavigationMenus(SharedContext context, const PageStack& pages)
    : context_(std::move(context)), pages_(pages),
      actions_(GObjectPointer<GSimpleActionGroup>::adopt(g_simple_action_group_new())) {
  const auto action = GObjectPointer<GSimpleAction>::adopt(g_simple_action_new("go", G_VARIANT_TYPE_INT32));
  connections_.push_back(
      connect(action.get(), "activate", [this](GVariant* steps) { go(g_variant_get_int32(steps)); }));
  g_action_map_add_action(G_ACTION_MAP(actions_.get()), G_ACTION(action.get()));
}

void NavigationMenus::serve(GtkButton* button, int direction) {
  auto* widget = GTK_WIDGET(button);
  const auto on = [this, widget](GtkGesture* gesture, const char* signal, auto handler) {
    gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(gesture), GTK_PHASE_CAPTURE);
    connections_.push_back(connect(gesture, signal, std::move(handler)));
    gtk_widget_add_controller(widget, GTK_EVENT_CONTROLLER(gesture));
  };
  auto* middle = gtk_gesture_click_new();
  gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(middle), GDK_BUTTON_MIDDLE);
  on(middle, "released", [this, direction](int, double, double) { openBeside(direction); });
  if (direction == here) return;
  auto* right = gtk_gesture_click_new();
  gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(right), GDK_BUTTON_SECONDARY);
  on(right, "pressed", [this, widget, direction, right](int, double x, double y) {
    // Or else the header would show the window's own menu as well.
    gtk_gesture_set_state(right, GTK_EVENT_SEQUENCE_CLAIMED);
    list(widget, direction, x, y);
  });
  auto* hold = gtk_gesture_long_press_new();
  on(hold, "pressed", [this, widget, direction, hold](double x, double y) {
    gtk_gesture_set_state(hold, GTK_EVENT_SEQUENCE_CLAIMED);
    list(widget, direction, x, y);
  });
}

void NavigationMenus::openBeside(int direction) {
  auto* page = pages_.page();
  if (!page) return;
  auto* history = webkit_web_view_get_back_forward_list(page->view());
  auto* item = webkit_back_forward_list_get_nth_item(history, direction);
  const auto address = direction == here ? page->address().value()
                       : item            ? text(webkit_back_forward_list_item_get_uri(item))
                                         : std::string();
  if (!address.empty())
    context_->model->open(address, {.opener = context_->model->selected(), .selects = false});
}

void NavigationMenus::list(GtkWidget* button, int direction, double x, double y) {
  auto* page = pages_.page();
  if (!page) return;
  auto* history = webkit_web_view_get_back_forward_list(page->view());
  Menu menu;
  for (int steps = 1; steps <= mostListed; ++steps) {
    auto* item = webkit_back_forward_list_get_nth_item(history, steps * direction);
    if (!item) break;
    const auto title = windowTitle(text(webkit_back_forward_list_item_get_title(item)),
                                   text(webkit_back_forward_list_item_get_uri(item)));
    menu.item(menuLabel(title), "navigation.go", g_variant_new_int32(steps * direction));
  }
  if (menu.empty()) return;
  auto* root = GTK_WIDGET(gtk_widget_get_root(button));
  gtk_widget_insert_action_group(root, "navigation", G_ACTION_GROUP(actions_.get()));
  popUpMenu(button, menu, {static_cast<int>(x), static_cast<int>(y), 1, 1});
}

void NavigationMenus::go(int steps) {
  auto* page = pages_.page();
  if (!page) return;
  auto* history = webkit_web_view_get_back_forward_list(page->view());
  if (auto* item = webkit_back_forward_list_get_nth_item(history, steps)) {
    webkit_web_view_go_to_back_forward_list_item(page->view(), item);
  }
}

}  // namespace vale::gtk
