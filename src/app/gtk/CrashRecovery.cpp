#include "app/gtk/CrashRecovery.h"

namespace vale::gtk {

namespace {

/// Long enough to see what happened, and for the system to clean up.
constexpr Seconds pause{0.7};

}  // namespace

CrashRecovery::CrashRecovery(WebKitPage& page, Clock& clock) : page_(page), clock_(clock) {
  connection_ = connect(page_.view(), "web-process-terminated",
                        [this](WebKitWebProcessTerminationReason reason) { ended(reason); });
}

void CrashRecovery::ended(WebKitWebProcessTerminationReason reason) {
  if (reason != WEBKIT_WEB_PROCESS_CRASHED || webkit_web_view_is_controlled_by_automation(page_.view()))
    return;
  // What nobody looks at can wait until somebody does.
  if (!gtk_widget_get_mapped(GTK_WIDGET(page_.bars())) || !reloads_.allow(clock_.now())) return;
  pause_ = clock_.schedule(pause, [this] {
    // The user may have been quicker.
    if (page_.failure().value() && !page_.isLoading().value()) page_.reload();
  });
}

}  // namespace vale::gtk
