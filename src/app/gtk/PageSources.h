#pragma once

#include "browser/BrowserModel.h"

#include <webkit/webkit.h>

#include <memory>
#include <string>

namespace vale::gtk {

/// Shows the source of pages in tabs of their own, as text that the engine never runs: "view-source:"
/// addresses, which only this program can open. In memory only: of the last few pages, and of a private one
/// until it has been shown. Main thread only.
class PageSources {
 public:
  explicit PageSources(WebKitWebContext* context);
  ~PageSources();
  PageSources(const PageSources&) = delete;
  PageSources& operator=(const PageSources&) = delete;

  /// Opens a tab beside the opener with these bytes as its text.
  void show(BrowserModel& model, const std::string& address, std::string bytes);

 private:
  struct Kept;
  std::shared_ptr<Kept> kept_;
};

}  // namespace vale::gtk
