#include "app/gtk/GroupEditor.h"

#include "app/gtk/Controls.h"
#include "app/gtk/Menu.h"
#include "app/gtk/Signal.h"
#include "app/gtk/Style.h"
#include "common/Text.h"

#include <memory>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

/// Lives as long as its popover.
struct Editor {
  SharedContext context;
  Uuid group;
  GtkPopover* popover;
  GtkEditable* name;
  bool cancelled = false;
  Connections connections;

  void keepName() const {
    if (cancelled) return;
    const auto text = std::string(trimmed(singleLine(gtk_editable_get_text(name))));
    if (!text.empty()) context->model->renameGroup(group, text);
  }
};

}  // namespace

void editGroup(SharedContext context, const Uuid& id, GtkWidget* parent, const GdkRectangle& place) {
  const auto* group = context->model->group(id);
  if (!group) return;
  auto* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  auto* name = gtk_entry_new();
  gtk_entry_set_max_length(GTK_ENTRY(name), 100);
  gtk_editable_set_text(GTK_EDITABLE(name), group->name.c_str());
  gtk_accessible_update_property(GTK_ACCESSIBLE(name), GTK_ACCESSIBLE_PROPERTY_LABEL, "Name of the group",
                                 -1);
  gtk_box_append(GTK_BOX(content), name);
  auto* popover = GTK_POPOVER(gtk_popover_new());
  gtk_popover_set_child(popover, content);
  gtk_widget_add_css_class(GTK_WIDGET(popover), "group-editor");

  auto* editor = new Editor{std::move(context), id, popover, GTK_EDITABLE(name)};
  g_object_set_data_full(G_OBJECT(popover), "vale-editor", editor,
                         [](gpointer data) { delete static_cast<Editor*>(data); });
  const auto on = [editor](gpointer object, const char* signal, auto handler) {
    editor->connections.push_back(connect(object, signal, std::move(handler)));
  };

  auto* swatches = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_widget_set_halign(swatches, GTK_ALIGN_CENTER);
  GtkToggleButton* first = nullptr;
  for (const auto& [color, word] : rawValues<TabGroupColor>) {
    auto* swatch = gtk_toggle_button_new();
    gtk_widget_add_css_class(swatch, "swatch");
    gtk_widget_add_css_class(swatch, colorClass(color));
    const std::string meaning(word);
    nameControl(swatch, meaning.c_str());
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(swatch), color == group->color);
    gtk_toggle_button_set_group(GTK_TOGGLE_BUTTON(swatch), first);
    if (!first) first = GTK_TOGGLE_BUTTON(swatch);
    on(swatch, "toggled", [editor, swatch, color = color] {
      if (gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(swatch))) {
        editor->context->model->recolorGroup(editor->group, color);
      }
    });
    gtk_box_append(GTK_BOX(swatches), swatch);
  }
  gtk_box_append(GTK_BOX(content), swatches);

  on(name, "activate", [editor] { gtk_popover_popdown(editor->popover); });
  on(popover, "closed", [editor] { editor->keepName(); });
  auto* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  on(keys, "key-pressed", [editor](guint key, guint, GdkModifierType) -> gboolean {
    editor->cancelled = key == GDK_KEY_Escape;
    return FALSE;
  });
  gtk_widget_add_controller(GTK_WIDGET(popover), keys);
  popUp(popover, parent, place);
  gtk_widget_grab_focus(name);
  gtk_editable_select_region(GTK_EDITABLE(name), 0, -1);
}

}  // namespace vale::gtk
