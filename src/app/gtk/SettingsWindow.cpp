#include "app/gtk/SettingsWindow.h"

#include "app/gtk/Controls.h"
#include "app/gtk/SettingsPage.h"

#include <adwaita.h>

#include <vector>

namespace vale::gtk {

namespace {

/// The library's own search in the header says to assistive software only what kind of control it is.
void nameSearch(GtkWidget* within) {
  if (GTK_IS_SEARCH_ENTRY(within)) nameControl(within, "Search the settings");
  if (GTK_IS_TOGGLE_BUTTON(within) && gtk_widget_get_tooltip_text(within)) {
    nameControl(within, "Search the settings");
  }
  for (auto* child = gtk_widget_get_first_child(within); child; child = gtk_widget_get_next_sibling(child)) {
    if (!ADW_IS_PREFERENCES_PAGE(child)) nameSearch(child);
  }
}

}  // namespace

void showSettings(GtkWindow* parent, const std::shared_ptr<BrowserModel>& model, BrowserServices& services) {
  auto* window = GTK_WINDOW(adw_preferences_window_new());
  gtk_window_set_transient_for(window, parent);
  gtk_window_set_destroy_with_parent(window, TRUE);
  gtk_window_set_title(window, "Settings");
  gtk_window_set_default_size(window, 760, 780);
  adw_preferences_window_set_search_enabled(ADW_PREFERENCES_WINDOW(window), TRUE);
  nameSearch(GTK_WIDGET(window));
  using Pages = std::vector<std::unique_ptr<SettingsPage>>;
  auto pages = std::make_unique<Pages>();
  const SettingsPlace place{window, model, services};
  for (auto* make : {makeGeneralSettings, makeTabSettings, makeSearchSettings, makePrivacySettings,
                     makeBlockingSettings, makeAgentSettings, makeIntelligenceSettings}) {
    pages->push_back(make(place));
    adw_preferences_window_add(ADW_PREFERENCES_WINDOW(window), pages->back()->page());
  }
  g_object_set_data_full(G_OBJECT(window), "vale-settings", pages.release(),
                         [](gpointer data) { delete static_cast<Pages*>(data); });
  gtk_window_present(window);
}

}  // namespace vale::gtk
