#pragma once

#include "app/gtk/WindowPart.h"

namespace vale::gtk {

/// Where the link under the pointer leads, at the lower edge of the page; on the other side when the pointer
/// is there.
class LinkStatusLabel : public WindowPart {
 public:
  explicit LinkStatusLabel(const WindowPlace& place);

 private:
  void followPage();
  void show(const std::string& text);
  void keepClear(double x, double y);

  const WindowPlace place_;
  GtkWidget* label_;
  Connections connections_, pageConnections_;
  Subscription shown_, address_;
};

}  // namespace vale::gtk
