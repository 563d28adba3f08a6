#include "app/gtk/Menu.h"

#include "common/Text.h"

namespace vale::gtk {

namespace {

constexpr std::size_t longestLabel = 48;
constexpr const char* homeKey = "vale-popover-home";

/// GTK takes a lone underscore for the mark of a shortcut letter.
std::string withoutMnemonic(const std::string& label) {
  std::string text;
  for (const char c : label) text.append(c == '_' ? 2 : 1, c);
  return text;
}

}  // namespace

Menu& Menu::item(const std::string& label, const char* action, GVariant* target) {
  const auto item =
      GObjectPointer<GMenuItem>::adopt(g_menu_item_new(withoutMnemonic(label).c_str(), nullptr));
  g_menu_item_set_action_and_target_value(item.get(), action, target);
  g_menu_append_item(menu_.get(), item.get());
  return *this;
}

Menu& Menu::submenu(const std::string& label, const Menu& items) {
  g_menu_append_submenu(menu_.get(), withoutMnemonic(label).c_str(), items.model());
  return *this;
}

Menu& Menu::section(const Menu& items) {
  g_menu_append_section(menu_.get(), nullptr, items.model());
  return *this;
}

Menu& Menu::place(const char* name) {
  const auto item = GObjectPointer<GMenuItem>::adopt(g_menu_item_new(nullptr, nullptr));
  g_menu_item_set_attribute(item.get(), "custom", "s", name);
  g_menu_append_item(menu_.get(), item.get());
  return *this;
}

std::string menuLabel(std::string_view text) {
  const auto line = singleLine(validUtf8(std::string(text.substr(0, 40 * longestLabel))));
  const auto cut = firstCharacters(line, longestLabel);
  return cut.size() < line.size() ? std::string(cut) + "…" : line;
}

void setPopoverHome(GtkWindow* window, GtkWidget* home) {
  g_object_set_data(G_OBJECT(window), homeKey, home);
}

void popUp(GtkPopover* popover, GtkWidget* at, const GdkRectangle& place) {
  auto* content = GTK_WIDGET(g_object_get_data(G_OBJECT(gtk_widget_get_root(at)), homeKey));
  const graphene_point_t inside{static_cast<float>(place.x), static_cast<float>(place.y)};
  graphene_point_t point{};
  if (!gtk_widget_compute_point(at, content, &inside, &point)) point = inside;
  const GdkRectangle pointed{static_cast<int>(point.x), static_cast<int>(point.y), place.width, place.height};
  gtk_widget_set_parent(GTK_WIDGET(popover), content);
  gtk_popover_set_pointing_to(popover, &pointed);
  // Not at once: an item's action runs after the menu has closed.
  g_signal_connect(popover, "closed", G_CALLBACK(+[](GtkPopover* closed, gpointer) {
                     g_idle_add_once(
                         [](gpointer held) {
                           if (gtk_widget_get_parent(GTK_WIDGET(held))) gtk_widget_unparent(GTK_WIDGET(held));
                           g_object_unref(held);
                         },
                         g_object_ref(closed));
                   }),
                   nullptr);
  gtk_popover_popup(popover);
}

void popUpMenu(GtkWidget* at, const Menu& menu, const GdkRectangle& place) {
  auto* popover = GTK_POPOVER(gtk_popover_menu_new_from_model_full(menu.model(), GTK_POPOVER_MENU_NESTED));
  gtk_popover_set_has_arrow(popover, FALSE);
  gtk_widget_set_halign(GTK_WIDGET(popover), GTK_ALIGN_START);
  popUp(popover, at, place);
}

}  // namespace vale::gtk
