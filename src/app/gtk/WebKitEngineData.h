#pragma once

#include "app/BrowsingDataCleaner.h"
#include "app/gtk/GObjectPointer.h"

#include <webkit/webkit.h>

namespace vale::gtk {

/// The data of ordinary windows' network session. Main thread only; what runs when this goes is dropped.
class WebKitEngineData : public EngineData {
 public:
  explicit WebKitEngineData(WebKitNetworkSession* session);
  ~WebKitEngineData() override;

  Task<Amount> amount(Part part) override;
  Task<bool> clear(Part part, std::optional<Seconds> span) override;
  void clearIcons() override;

 private:
  GObjectPointer<WebKitWebsiteDataManager> data_;
  GObjectPointer<GCancellable> gone_;
};

}  // namespace vale::gtk
