#include "app/gtk/TabWall.h"

#include "app/gtk/Controls.h"

#include <utility>

namespace vale::gtk {

namespace {

constexpr int tallestPinned = 152;

GtkWidget* newTabButton() {
  auto* button = gtk_button_new();
  auto* content = adw_button_content_new();
  adw_button_content_set_icon_name(ADW_BUTTON_CONTENT(content), "list-add-symbolic");
  adw_button_content_set_label(ADW_BUTTON_CONTENT(content), "New Tab");
  gtk_widget_set_halign(content, GTK_ALIGN_START);
  gtk_button_set_child(GTK_BUTTON(button), content);
  gtk_widget_add_css_class(button, "flat");
  nameControl(button, "New Tab (Ctrl+T)");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(button), "win.new-tab");
  return button;
}

}  // namespace

TabWall::TabWall(SharedContext context, TabRows& rows, const TabMenu& menu)
    : context_(std::move(context)), rows_(rows),
      pinned_(context_, rows, menu, TabArea::Kind::pinned, rows.pinned()),
      list_(context_, rows, menu, TabArea::Kind::wall, rows.others()),
      box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0))),
      header_(ADW_HEADER_BAR(adw_header_bar_new())), filter_(gtk_search_entry_new()),
      pinnedScroller_(gtk_scrolled_window_new()) {
  gtk_widget_add_css_class(widget(), "wall");
  addFilter();
  adw_header_bar_set_show_end_title_buttons(header_, FALSE);
  adw_header_bar_set_title_widget(header_, filter_);
  gtk_box_append(GTK_BOX(widget()), GTK_WIDGET(header_));

  auto* pinned = GTK_SCROLLED_WINDOW(pinnedScroller_);
  gtk_scrolled_window_set_policy(pinned, GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(pinned, TRUE);
  gtk_scrolled_window_set_max_content_height(pinned, tallestPinned);
  gtk_scrolled_window_set_child(pinned, pinned_.list());
  gtk_box_append(GTK_BOX(widget()), pinnedScroller_);

  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), list_.list());
  gtk_widget_set_vexpand(scroller, TRUE);
  gtk_box_append(GTK_BOX(widget()), scroller);

  auto* foot = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  gtk_widget_add_css_class(foot, "foot");
  auto* button = newTabButton();
  gtk_widget_set_hexpand(button, TRUE);
  gtk_box_append(GTK_BOX(foot), button);
  gtk_box_append(GTK_BOX(widget()), foot);

  const auto showPinned = [this] {
    gtk_widget_set_visible(pinnedScroller_, g_list_model_get_n_items(rows_.pinned()) > 0);
  };
  updates_ = rows.onUpdate(showPinned);
  showPinned();
}

TabWall::~TabWall() { rows_.setFilter({}); }

void TabWall::addFilter() {
  gtk_widget_set_hexpand(filter_, TRUE);
  g_object_set(filter_, "placeholder-text", "Filter tabs", nullptr);
  gtk_search_entry_set_search_delay(GTK_SEARCH_ENTRY(filter_), 0);
  gtk_search_entry_set_key_capture_widget(GTK_SEARCH_ENTRY(filter_), list_.list());
  gtk_accessible_update_property(GTK_ACCESSIBLE(filter_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Filter tabs", -1);
  const auto on = [this](const char* signal, auto handler) {
    connections_.push_back(connect(filter_, signal, std::move(handler)));
  };
  on("search-changed", [this] { rows_.setFilter(gtk_editable_get_text(GTK_EDITABLE(filter_))); });
  on("activate", [this] {
    const auto first = rows_.firstTab();
    if (!first) return;
    gtk_editable_set_text(GTK_EDITABLE(filter_), "");
    context_->model->select(*first);
    gtk_widget_activate_action(filter_, "win.focus-page", nullptr);
  });
  on("stop-search", [this] {
    const bool empty = *gtk_editable_get_text(GTK_EDITABLE(filter_)) == '\0';
    gtk_editable_set_text(GTK_EDITABLE(filter_), "");
    if (empty) gtk_widget_activate_action(filter_, "win.focus-page", nullptr);
  });
}

void TabWall::revealSelected() {
  const auto selected = context_->model->selected();
  if (!selected) return;
  if (const auto index = rows_.indexInOthers(selected->id)) list_.reveal(*index);
  if (const auto index = rows_.indexInPinned(selected->id)) pinned_.reveal(*index);
}

void TabWall::focus() { gtk_widget_grab_focus(filter_); }

}  // namespace vale::gtk
