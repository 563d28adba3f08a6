#pragma once

#include "app/gtk/WindowPart.h"

namespace vale::gtk {

/// Lets a window fill the screen, for the user or for a page that asks, and says for a moment how to leave.
class FullscreenControl : public WindowPart {
 public:
  explicit FullscreenControl(const WindowPlace& place);

 private:
  void followPage();
  void windowChanged();
  void showNote(const std::string& sentence);

  const WindowPlace place_;
  GtkWidget* note_;
  bool pageAsked_ = false;  ///< the page itself is what fills the screen
  Timer noteTime_;
  Connections connections_, pageConnections_;
  Subscription shown_;
};

}  // namespace vale::gtk
