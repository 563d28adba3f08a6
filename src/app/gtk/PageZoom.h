#pragma once

#include "app/gtk/PageEquipment.h"
#include "app/gtk/WebKitPage.h"
#include "browser/ZoomLevels.h"

#include <memory>
#include <vector>

namespace vale::gtk {

/// Shows a page as large as the user wants its site, and lets Ctrl and the wheel change that.
class PageZoom : public PagePart {
 public:
  PageZoom(WebKitPage& page, std::shared_ptr<ZoomLevels> levels);

 private:
  void apply();
  bool scrolled(double dy);

  WebKitPage& page_;
  std::shared_ptr<ZoomLevels> levels_;
  double turned_ = 0;  ///< of the wheel, less than a step
  Connections connections_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
