#include "app/gtk/Controls.h"

#include <adwaita.h>

namespace vale::gtk {

void nameControl(GtkWidget* control, const char* name) {
  gtk_widget_set_tooltip_text(control, name);
  gtk_accessible_update_property(GTK_ACCESSIBLE(control), GTK_ACCESSIBLE_PROPERTY_LABEL, name, -1);
}

void nameChoice(GtkDropDown* choice, const char* name) {
  for (auto* part : {GTK_WIDGET(choice), gtk_widget_get_first_child(GTK_WIDGET(choice))}) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(part), GTK_ACCESSIBLE_PROPERTY_LABEL, name, -1);
  }
}

void labelledBy(GtkWidget* control, GtkWidget* row) {
  const char* title = adw_preferences_row_get_title(ADW_PREFERENCES_ROW(row));
  gtk_accessible_update_property(GTK_ACCESSIBLE(control), GTK_ACCESSIBLE_PROPERTY_LABEL, title, -1);
}

GtkWidget* flatButton(const char* icon, const char* name) {
  auto* button = gtk_button_new_from_icon_name(icon);
  gtk_widget_add_css_class(button, "flat");
  nameControl(button, name);
  return button;
}

void closeWithEscape(GtkWindow* window) {
  auto* keys = gtk_shortcut_controller_new();
  gtk_shortcut_controller_add_shortcut(
      GTK_SHORTCUT_CONTROLLER(keys),
      gtk_shortcut_new(gtk_keyval_trigger_new(GDK_KEY_Escape, GdkModifierType(0)),
                       gtk_named_action_new("window.close")));
  gtk_widget_add_controller(GTK_WIDGET(window), keys);
}

}  // namespace vale::gtk
