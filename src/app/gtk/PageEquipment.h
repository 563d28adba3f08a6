#pragma once

#include "browser/BrowserModel.h"

#include <functional>
#include <memory>
#include <vector>

namespace vale::gtk {

class WebKitPage;

/// Something that serves one page: made with it, before its first load, and gone before it. Main thread only.
class PagePart {
 public:
  virtual ~PagePart() = default;
  PagePart() = default;
  PagePart(const PagePart&) = delete;
  PagePart& operator=(const PagePart&) = delete;
};

using PageParts = std::vector<std::unique_ptr<PagePart>>;

/// What the pages of an engine are equipped with, those that they open themselves included.
struct PageEquipment {
  BrowsingMode mode = BrowsingMode::ordinary;
  /// Somebody takes what the engine cannot show, or is told to save.
  bool savesFiles = false;
  std::function<PageParts(WebKitPage& page, BrowsingMode mode)> make = [](WebKitPage&, BrowsingMode) {
    return PageParts();
  };
};

using SharedPageEquipment = std::shared_ptr<const PageEquipment>;

}  // namespace vale::gtk
