#pragma once

#include "app/gtk/NoticeBar.h"
#include "app/gtk/WindowPart.h"
#include "browser/ZoomLevels.h"

#include <memory>
#include <vector>

namespace vale::gtk {

/// The size of the shown page in a window: its keys, and a button in the header that shows a size other than
/// the usual and goes back to that. The action "win.zoom-reset" has the percentage as its state.
class ZoomButton : public WindowPart {
 public:
  ZoomButton(const WindowPlace& place, std::shared_ptr<ZoomLevels> levels);

 private:
  void followPage();
  void show();
  void change(double (*step)(double));

  const WindowPlace place_;
  std::shared_ptr<ZoomLevels> levels_;
  GtkWidget* button_;
  GSimpleAction* reset_;
  NoticeBar notice_;
  Connections connections_;
  std::vector<Subscription> subscriptions_;
  Subscription address_;
};

/// The row of the main menu that changes the size, its state from the window's actions. Floating.
GtkWidget* zoomMenuRow(GActionGroup* actions);

}  // namespace vale::gtk
