#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "browser/PageIcon.h"

#include <webkit/webkit.h>

#include <functional>

namespace vale::gtk {

/// Follows the icon of a view and turns it into a small PNG file, outside of the main thread. Main thread
/// only.
class PageIconSource {
 public:
  /// The longer side of an icon is made no longer than this, in pixels.
  static constexpr int largestSide = 64;

  /// `changed` gets each new icon; null when there is none.
  PageIconSource(WebKitWebView* view, std::function<void(PageIcon)> changed);
  ~PageIconSource();
  PageIconSource(const PageIconSource&) = delete;
  PageIconSource& operator=(const PageIconSource&) = delete;

 private:
  void update(GdkTexture* texture);

  std::function<void(PageIcon)> changed_;
  GObjectPointer<GCancellable> encoding_;
  Connection connection_;
};

}  // namespace vale::gtk
