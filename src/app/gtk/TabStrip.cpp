#include "app/gtk/TabStrip.h"

#include "app/gtk/Controls.h"

#include <utility>

namespace vale::gtk {

namespace {

GObjectPointer<GListModel> joined(const TabRows& rows) {
  auto* parts = g_list_store_new(G_TYPE_LIST_MODEL);
  g_list_store_append(parts, rows.pinned());
  g_list_store_append(parts, rows.others());
  return GObjectPointer<GListModel>::adopt(G_LIST_MODEL(gtk_flatten_list_model_new(G_LIST_MODEL(parts))));
}

}  // namespace

TabStrip::TabStrip(SharedContext context, TabRows& rows, const TabMenu& menu)
    : context_(std::move(context)), rows_(rows), all_(joined(rows)),
      list_(context_, rows, menu, TabArea::Kind::strip, all_.get()),
      box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4))) {
  gtk_widget_add_css_class(widget(), "strip");
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_EXTERNAL, GTK_POLICY_NEVER);
  gtk_scrolled_window_set_propagate_natural_width(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), list_.list());
  gtk_box_append(GTK_BOX(widget()), scroller);

  auto* wheel = gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_VERTICAL);
  gtk_event_controller_set_propagation_phase(wheel, GTK_PHASE_CAPTURE);
  connections_.push_back(connect(wheel, "scroll", [scroller](double, double steps) -> gboolean {
    auto* adjustment = gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(scroller));
    gtk_adjustment_set_value(adjustment, gtk_adjustment_get_value(adjustment) + steps * 96);
    return TRUE;
  }));
  gtk_widget_add_controller(scroller, wheel);

  auto* add = gtk_button_new_from_icon_name("list-add-symbolic");
  gtk_widget_add_css_class(add, "flat");
  gtk_widget_set_valign(add, GTK_ALIGN_CENTER);
  nameControl(add, "New Tab (Ctrl+T)");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(add), "win.new-tab");
  gtk_box_append(GTK_BOX(widget()), add);

  auto* rest = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  gtk_widget_set_hexpand(rest, TRUE);
  auto* click = gtk_gesture_click_new();
  connections_.push_back(connect(click, "pressed", [rest](int presses, double, double) {
    if (presses == 2) gtk_widget_activate_action(rest, "win.new-tab", nullptr);
  }));
  gtk_widget_add_controller(rest, GTK_EVENT_CONTROLLER(click));
  gtk_box_append(GTK_BOX(widget()), rest);
}

void TabStrip::revealSelected() {
  const auto selected = context_->model->selected();
  if (!selected) return;
  if (const auto index = rows_.indexInPinned(selected->id)) return list_.reveal(*index);
  if (const auto index = rows_.indexInOthers(selected->id)) {
    list_.reveal(g_list_model_get_n_items(rows_.pinned()) + *index);
  }
}

}  // namespace vale::gtk
