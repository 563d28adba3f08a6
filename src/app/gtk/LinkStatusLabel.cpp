#include "app/gtk/LinkStatusLabel.h"

#include "browser/LinkStatus.h"

#include <algorithm>

namespace vale::gtk {

LinkStatusLabel::LinkStatusLabel(const WindowPlace& place) : place_(place), label_(gtk_label_new(nullptr)) {
  gtk_widget_add_css_class(label_, "link-status");
  gtk_widget_set_valign(label_, GTK_ALIGN_END);
  gtk_widget_set_halign(label_, GTK_ALIGN_START);
  gtk_widget_set_can_target(label_, FALSE);
  gtk_widget_set_visible(label_, FALSE);
  gtk_label_set_ellipsize(GTK_LABEL(label_), PANGO_ELLIPSIZE_END);
  gtk_overlay_add_overlay(place_.over, label_);
  auto* motion = gtk_event_controller_motion_new();
  gtk_event_controller_set_propagation_phase(motion, GTK_PHASE_CAPTURE);
  connections_.push_back(connect(motion, "motion", [this](double x, double y) { keepClear(x, y); }));
  connections_.push_back(connect(motion, "leave", [this] { show({}); }));
  gtk_widget_add_controller(GTK_WIDGET(place_.over), motion);
  shown_ = place_.pages.onShown([this] { followPage(); });
  followPage();
}

void LinkStatusLabel::followPage() {
  pageConnections_.clear();
  address_ = {};
  show({});
  auto* page = place_.pages.page();
  if (!page) return;
  pageConnections_.push_back(
      connect(page->view(), "mouse-target-changed", [this](WebKitHitTestResult* target, guint) {
        const char* link = webkit_hit_test_result_get_link_uri(target);
        show(link ? linkStatus(link) : std::string());
      }));
  address_ = page->address().subscribe([this](const auto&) { show({}); });
}

void LinkStatusLabel::show(const std::string& text) {
  gtk_label_set_text(GTK_LABEL(label_), text.c_str());
  gtk_widget_set_visible(label_, !text.empty());
}

void LinkStatusLabel::keepClear(double x, double y) {
  if (!gtk_widget_get_visible(label_)) return;
  int width = 0, height = 0;
  gtk_widget_measure(label_, GTK_ORIENTATION_HORIZONTAL, -1, nullptr, &width, nullptr, nullptr);
  gtk_widget_measure(label_, GTK_ORIENTATION_VERTICAL, -1, nullptr, &height, nullptr, nullptr);
  auto* over = GTK_WIDGET(place_.over);
  constexpr double distance = 24;
  const double most = gtk_widget_get_width(over) / 2.0;
  const bool near =
      y > gtk_widget_get_height(over) - height - distance && x < std::min(width + distance, most);
  gtk_widget_set_halign(label_, near ? GTK_ALIGN_END : GTK_ALIGN_START);
}

}  // namespace vale::gtk
