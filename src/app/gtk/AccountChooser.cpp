#include "app/gtk/AccountChooser.h"

#include "app/gtk/Menu.h"

namespace vale::gtk {

namespace {

constexpr Seconds firstMoments{0.4};

}  // namespace

AccountChooser::AccountChooser(GtkWidget* at, const GdkRectangle& place, const std::vector<Row>& rows,
                               const std::string& warning, Clock& clock)
    : popover_(GObjectPointer<GtkWidget>::share(gtk_popover_new())), list_(GTK_LIST_BOX(gtk_list_box_new())) {
  auto* popover = GTK_POPOVER(popover_.get());
  gtk_popover_set_autohide(popover, FALSE);
  gtk_popover_set_has_arrow(popover, FALSE);
  gtk_popover_set_position(popover, GTK_POS_BOTTOM);
  gtk_widget_set_halign(popover_.get(), GTK_ALIGN_START);
  gtk_widget_add_css_class(popover_.get(), "suggestions");
  if (!gdk_display_is_composited(gtk_widget_get_display(at))) {
    gtk_widget_add_css_class(popover_.get(), "solid");
  }
  auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
  gtk_list_box_set_selection_mode(list_, GTK_SELECTION_NONE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(list_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Saved accounts", -1);
  for (const auto& [title, icon] : rows) {
    auto* line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    gtk_box_append(GTK_BOX(line), gtk_image_new_from_icon_name(icon));
    auto* label = gtk_label_new(title.c_str());
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_MIDDLE);
    gtk_label_set_max_width_chars(GTK_LABEL(label), 40);
    gtk_box_append(GTK_BOX(line), label);
    auto* row = gtk_list_box_row_new();
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), line);
    gtk_widget_set_focus_on_click(row, FALSE);
    gtk_accessible_update_property(GTK_ACCESSIBLE(row), GTK_ACCESSIBLE_PROPERTY_LABEL, title.c_str(), -1);
    gtk_list_box_append(list_, row);
  }
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(list_));
  if (!warning.empty()) {
    auto* label = gtk_label_new(warning.c_str());
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    gtk_label_set_max_width_chars(GTK_LABEL(label), 40);
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    gtk_widget_add_css_class(label, "account-warning");
    gtk_box_append(GTK_BOX(box), label);
  }
  gtk_popover_set_child(popover, box);

  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  on(list_, "row-activated", [this](GtkListBoxRow* row) {
    const auto chosen = onChosen;
    chosen(static_cast<std::size_t>(gtk_list_box_row_get_index(row)));
  });
  auto* keys = gtk_event_controller_key_new();
  on(keys, "key-pressed", [this](guint key, guint, GdkModifierType) -> gboolean {
    if (key != GDK_KEY_Escape) return FALSE;
    const auto dismissed = onDismissed;
    dismissed();
    return TRUE;
  });
  gtk_widget_add_controller(popover_.get(), keys);

  gtk_widget_set_can_target(GTK_WIDGET(list_), FALSE);
  unready_ = clock.schedule(firstMoments, [this] { gtk_widget_set_can_target(GTK_WIDGET(list_), TRUE); });
  popUp(popover, at, place);
}

AccountChooser::~AccountChooser() {
  connections_.clear();
  gtk_popover_popdown(GTK_POPOVER(popover_.get()));
}

void AccountChooser::focus() {
  if (auto* first = gtk_list_box_get_row_at_index(list_, 0)) gtk_widget_grab_focus(GTK_WIDGET(first));
}

}  // namespace vale::gtk
