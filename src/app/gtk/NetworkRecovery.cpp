#include "app/gtk/NetworkRecovery.h"

namespace vale::gtk {

namespace {

/// A network that has just come back may not know yet where names are looked up.
constexpr Seconds pause{1};

}  // namespace

NetworkRecovery::NetworkRecovery(WebKitPage& page, Clock& clock)
    : page_(page), clock_(clock),
      return_(g_network_monitor_get_network_available(g_network_monitor_get_default())) {
  failures_ = page_.failure().subscribe(
      [this](const auto& failure) { return_.setFailure(failure, page_.transition()); });
  connections_.push_back(
      connect(g_network_monitor_get_default(), "network-changed", [this](gboolean available) {
        return_.setAvailable(available);
        consider();
      }));
  connections_.push_back(connect(page_.bars(), "map", [this] { consider(); }));
}

void NetworkRecovery::consider() {
  if (!return_.take(gtk_widget_get_mapped(GTK_WIDGET(page_.bars())))) return;
  pause_ = clock_.schedule(pause, [this] {
    // The user may have been quicker.
    if (page_.failure().value() && !page_.isLoading().value()) page_.reload();
  });
}

}  // namespace vale::gtk
