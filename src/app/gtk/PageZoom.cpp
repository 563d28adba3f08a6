#include "app/gtk/PageZoom.h"

#include <cmath>
#include <utility>

namespace vale::gtk {

PageZoom::PageZoom(WebKitPage& page, std::shared_ptr<ZoomLevels> levels)
    : page_(page), levels_(std::move(levels)) {
  subscriptions_.push_back(page_.address().observe([this](const auto&) { apply(); }));
  subscriptions_.push_back(levels_->sites().subscribe([this](const auto&) { apply(); }));
  auto* scroll = gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_VERTICAL);
  // Before the page scrolls.
  gtk_event_controller_set_propagation_phase(scroll, GTK_PHASE_CAPTURE);
  connections_.push_back(connect(scroll, "scroll", [this, scroll](double, double dy) -> gboolean {
    const auto keys = gtk_event_controller_get_current_event_state(scroll);
    if (!(keys & GDK_CONTROL_MASK)) return FALSE;
    return scrolled(dy);
  }));
  gtk_widget_add_controller(GTK_WIDGET(page_.view()), scroll);
}

void PageZoom::apply() {
  const auto level = levels_->level(page_.address().value());
  if (std::abs(webkit_web_view_get_zoom_level(page_.view()) - level) > 0.001) {
    webkit_web_view_set_zoom_level(page_.view(), level);
  }
}

bool PageZoom::scrolled(double dy) {
  turned_ += dy;
  const auto& address = page_.address().value();
  if (std::abs(turned_) >= 1) {
    const auto level = levels_->level(address);
    levels_->set(address, turned_ < 0 ? ZoomLevels::larger(level) : ZoomLevels::smaller(level));
    turned_ = 0;
  }
  return true;
}

}  // namespace vale::gtk
