#pragma once

#include "app/gtk/PageEquipment.h"
#include "app/gtk/WebKitPage.h"
#include "browser/NetworkReturn.h"
#include "common/Clock.h"

namespace vale::gtk {

/// Opens a page again that could not be reached, once the network is back and the page is looked at.
class NetworkRecovery : public PagePart {
 public:
  NetworkRecovery(WebKitPage& page, Clock& clock);

 private:
  void consider();

  WebKitPage& page_;
  Clock& clock_;
  NetworkReturn return_;
  Timer pause_;
  Connections connections_;
  Subscription failures_;
};

}  // namespace vale::gtk
