#pragma once

#include "app/gtk/PictureSaver.h"
#include "browser/BrowserModel.h"

#include <functional>
#include <optional>
#include <string>

namespace vale::gtk {

/// Watches one window for the moments worth a picture: whenever the selected page has loaded, and when
/// another tab is selected.
class WindowPictures {
 public:
  /// `changed` is told why there is no page to show, or none.
  WindowPictures(BrowserModel& model, std::function<void(const std::optional<std::string>& failure)> changed);

 private:
  void followSelected();
  void followPage();

  BrowserModel& model_;
  std::function<void(const std::optional<std::string>&)> changed_;
  Subscription selection_;
  Subscription page_;
  Subscription loads_;
};

}  // namespace vale::gtk
