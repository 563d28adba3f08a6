#pragma once

#include "app/gtk/CertificatePanel.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "browser/BrowserModel.h"
#include "common/Clock.h"

#include <adwaita.h>

#include <vector>

namespace vale::gtk {

/// What stands where a page would be in a tab that has none yet. Floating.
GtkWidget* emptyTabState(BrowsingMode mode);

/// The part of a window below its header: the page, or in its place why there is none and what to do, or how
/// to begin. Over it a thin progress line for loads that take long enough to be noticed.
class PageArea {
 public:
  /// The page's widgets are given back when the area goes. The page must outlive the area.
  PageArea(WebKitPage& page, BrowsingMode mode, Clock& clock);
  ~PageArea();
  PageArea(const PageArea&) = delete;
  PageArea& operator=(const PageArea&) = delete;

  GtkWidget* widget() const { return GTK_WIDGET(overlay_.get()); }

 private:
  void showState();
  void showProgress(bool loading);

  WebKitPage& page_;
  Clock& clock_;
  GtkWidget* view_;
  GObjectPointer<GtkOverlay> overlay_;
  GtkWidget* column_;
  GtkStack* stack_;
  AdwStatusPage* failure_;
  GtkWidget* retryButton_;
  CertificatePanel certificate_;
  GtkProgressBar* progress_;
  Timer progressDelay_;
  Connection retry_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
