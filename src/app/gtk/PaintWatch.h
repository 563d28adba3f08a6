#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "common/Clock.h"

#include <gtk/gtk.h>

#include <functional>
#include <utility>

namespace vale::gtk {

/// Finds the moment when a window shows what its selected page holds, for pictures of it. The engine draws in
/// another process and does not say which of its frames has arrived, so the watch waits for one that shows
/// something and for a short rest after it; a page that never rests is taken as it is after a few seconds.
/// Main thread only.
class PaintWatch {
 public:
  /// `page` gives the page that the window shows; null while it shows none.
  PaintWatch(GtkWindow* window, std::function<WebKitPage*()> page, Clock& clock)
      : window_(GTK_WIDGET(window)), page_(std::move(page)), clock_(clock) {}

  /// The window must be shown; one without a page is taken as it is. A further call replaces a waiting one.
  void whenPainted(std::function<void()> done);

 private:
  void afterNextPaint(std::function<void()> next);
  void rest();
  void look();
  bool showsSomething() const;

  GtkWidget* window_;
  std::function<WebKitPage*()> page_;
  Clock& clock_;
  std::function<void()> done_;
  Date giveUp_;
  GObjectPointer<GtkWidget> view_;
  GObjectPointer<GdkPaintable> content_;
  Connection paints_;
  Connection changes_;
  Timer rest_;
};

}  // namespace vale::gtk
