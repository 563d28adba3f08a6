#pragma once

#include "app/gtk/PageEquipment.h"
#include "app/gtk/WebKitPage.h"
#include "browser/CrashReloads.h"
#include "common/Clock.h"

namespace vale::gtk {

/// Opens a page again whose process has crashed, while somebody looks at it; not more often than the policy
/// has it, then the page stays with its button.
class CrashRecovery : public PagePart {
 public:
  CrashRecovery(WebKitPage& page, Clock& clock);

 private:
  void ended(WebKitWebProcessTerminationReason reason);

  WebKitPage& page_;
  Clock& clock_;
  CrashReloads reloads_;
  Timer pause_;
  Connection connection_;
};

}  // namespace vale::gtk
