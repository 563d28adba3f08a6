#include "app/gtk/HelpWindows.h"

#include "app/Shortcuts.h"
#include "app/gtk/GObjectPointer.h"
#include "common/SupportFolder.h"

#include <adwaita.h>
#include <fmt/format.h>
#include <webkit/webkit.h>

#include <memory>
#include <string>

namespace vale::gtk {

namespace {

std::string escaped(const std::string& text) {
  const std::unique_ptr<char, decltype(&g_free)> markup(g_markup_escape_text(text.c_str(), -1), g_free);
  return markup.get();
}

std::string property(const char* name, const std::string& value) {
  return fmt::format("<property name=\"{}\">{}</property>", name, escaped(value));
}

/// The toolkit takes the content of such a window in no other form.
std::string shortcutsDescription() {
  std::string text = "<interface><object class=\"GtkShortcutsWindow\" id=\"window\"><child>"
                     "<object class=\"GtkShortcutsSection\">" +
                     property("section-name", "all") + property("max-height", "12");
  using enum ShortcutSection;
  for (const auto section : {page, find, tabs, windows, general}) {
    text += "<child><object class=\"GtkShortcutsGroup\">" + property("title", titleOf(section));
    for (const auto& row : shortcuts()) {
      if (row.title.empty() || row.section != section) continue;
      text += "<child><object class=\"GtkShortcutsShortcut\">" + property("title", row.title) +
              property("accelerator", row.keys.front()) + "</object></child>";
    }
    text += "</object></child>";
  }
  return text + "</object></child></object></interface>";
}

}  // namespace

void showShortcuts(GtkWindow* parent) {
  const auto builder =
      GObjectPointer<GtkBuilder>::adopt(gtk_builder_new_from_string(shortcutsDescription().c_str(), -1));
  auto* window = GTK_WINDOW(gtk_builder_get_object(builder.get(), "window"));
  gtk_window_set_transient_for(window, parent);
  gtk_window_set_modal(window, TRUE);
  gtk_window_set_destroy_with_parent(window, TRUE);
  gtk_window_present(window);
}

void showAbout(GtkWindow* parent) {
  auto* window = ADW_ABOUT_WINDOW(adw_about_window_new());
  adw_about_window_set_application_name(window, "Vale");
  // A browser that was not installed has no icon of its own.
  auto* icons = gtk_icon_theme_get_for_display(gtk_widget_get_display(GTK_WIDGET(parent)));
  for (const char* icon : {"org.vale.Browser", "web-browser", "applications-internet"}) {
    if (!gtk_icon_theme_has_icon(icons, icon)) continue;
    adw_about_window_set_application_icon(window, icon);
    break;
  }
  const std::string number(version());
  adw_about_window_set_version(window, number.c_str());
  adw_about_window_set_comments(window,
                                "A web browser, and a place to work with the agents on this computer.");
  const auto parts =
      fmt::format("WebKitGTK {}.{}.{}\nGTK {}.{}.{}\nlibadwaita {}.{}.{}\n", webkit_get_major_version(),
                  webkit_get_minor_version(), webkit_get_micro_version(), gtk_get_major_version(),
                  gtk_get_minor_version(), gtk_get_micro_version(), adw_get_major_version(),
                  adw_get_minor_version(), adw_get_micro_version());
  adw_about_window_set_debug_info(window, ("Vale " + number + "\n" + parts).c_str());
  adw_about_window_set_debug_info_filename(window, "vale.txt");
  gtk_window_set_transient_for(GTK_WINDOW(window), parent);
  gtk_window_set_modal(GTK_WINDOW(window), TRUE);
  gtk_window_present(GTK_WINDOW(window));
}

}  // namespace vale::gtk
