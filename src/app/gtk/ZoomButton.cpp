#include "app/gtk/ZoomButton.h"

#include "app/gtk/Controls.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* resetName = "zoom-reset";
constexpr const char* usualSize = "Back to the usual size";

std::string percentage(int percent) { return fmt::format("{} %", percent); }

}  // namespace

ZoomButton::ZoomButton(const WindowPlace& place, std::shared_ptr<ZoomLevels> levels)
    : place_(place), levels_(std::move(levels)), button_(gtk_button_new_with_label("")),
      reset_(g_simple_action_new_stateful(resetName, nullptr, g_variant_new_int32(100))),
      notice_(place.above) {
  place_.actions.add("zoom-in", [this] { change(ZoomLevels::larger); });
  place_.actions.add("zoom-out", [this] { change(ZoomLevels::smaller); });
  connections_.push_back(
      connect(reset_, "activate", [this](GVariant*) { change([](double) { return 1.0; }); }));
  g_action_map_add_action(G_ACTION_MAP(place_.window), G_ACTION(reset_));
  g_object_unref(reset_);
  gtk_widget_add_css_class(button_, "flat");
  gtk_widget_add_css_class(button_, "numeric");
  gtk_widget_set_tooltip_text(button_, usualSize);
  gtk_widget_set_visible(button_, FALSE);
  connections_.push_back(connect(button_, "clicked", [this] { change([](double) { return 1.0; }); }));
  adw_header_bar_pack_end(place_.header, button_);
  subscriptions_.push_back(place_.pages.onShown([this] { followPage(); }));
  subscriptions_.push_back(levels_->sites().subscribe([this](const auto&) { show(); }));
  followPage();
}

void ZoomButton::followPage() {
  auto* page = place_.pages.page();
  address_ = page ? page->address().subscribe([this](const auto&) { show(); }) : Subscription();
  for (const char* name : {"zoom-in", "zoom-out", resetName}) place_.actions.enable(name, page != nullptr);
  show();
}

void ZoomButton::show() {
  const auto* page = place_.pages.page();
  const auto level = page ? levels_->level(page->address().value()) : 1;
  const int percent = static_cast<int>(std::lround(level * 100));
  gtk_button_set_label(GTK_BUTTON(button_), percentage(percent).c_str());
  gtk_widget_set_visible(button_, percent != 100);
  g_simple_action_set_state(reset_, g_variant_new_int32(percent));
}

void ZoomButton::change(double (*step)(double)) {
  const auto* page = place_.pages.page();
  if (!page) return;
  const auto address = page->address().value();
  levels_->set(address, step(levels_->level(address)));
  // The window's own place of such sentences is for what stops more than a size from being kept.
  if (const auto& problem = levels_->storageError().value()) notice_.tell(*problem);
}

GtkWidget* zoomMenuRow(GActionGroup* actions) {
  auto* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  auto* label = gtk_label_new("Zoom");
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_widget_set_hexpand(label, TRUE);
  gtk_widget_set_margin_start(row, 12);
  gtk_widget_set_margin_end(row, 6);
  gtk_box_append(GTK_BOX(row), label);
  const auto add = [row](GtkWidget* button, const char* action) {
    gtk_widget_add_css_class(button, "flat");
    gtk_actionable_set_action_name(GTK_ACTIONABLE(button), action);
    gtk_box_append(GTK_BOX(row), button);
  };
  add(flatButton("zoom-out-symbolic", "Zoom out"), "win.zoom-out");
  auto* reset = gtk_button_new_with_label("");
  gtk_widget_add_css_class(reset, "numeric");
  gtk_widget_set_size_request(reset, 64, -1);
  gtk_widget_set_tooltip_text(reset, usualSize);
  // Not by the action's name: the state would make it a toggle that is pressed for good.
  g_signal_connect(reset, "clicked", G_CALLBACK(+[](GtkWidget* button, gpointer) {
                     gtk_widget_activate_action(button, "win.zoom-reset", nullptr);
                   }),
                   nullptr);
  gtk_widget_add_css_class(reset, "flat");
  gtk_box_append(GTK_BOX(row), reset);
  add(flatButton("zoom-in-symbolic", "Zoom in"), "win.zoom-in");
  const auto show = +[](GActionGroup* group, const char*, GVariant*, gpointer button) {
    auto* state = g_action_group_get_action_state(group, resetName);
    gtk_button_set_label(GTK_BUTTON(button), percentage(g_variant_get_int32(state)).c_str());
    g_variant_unref(state);
  };
  g_signal_connect_object(actions, "action-state-changed::zoom-reset", G_CALLBACK(show), reset,
                          static_cast<GConnectFlags>(0));
  show(actions, nullptr, nullptr, reset);
  return row;
}

}  // namespace vale::gtk
