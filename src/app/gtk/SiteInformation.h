#pragma once

#include "app/gtk/WebKitPage.h"
#include "app/gtk/WindowPart.h"

#include <memory>
#include <string>

namespace vale::gtk {

/// What the browser knows of the shown page's site, in a popover at the address entry: how the connection is
/// protected, what the site may do, what it keeps here; and what can be taken back. Main thread only.
class SiteInformation : public WindowPart {
 public:
  explicit SiteInformation(const WindowPlace& place);
  ~SiteInformation() override;

 private:
  void open();
  void fill();
  void addConnection(GtkBox* box);
  void addPermissions(GtkBox* box);
  void addData(GtkBox* box);
  void fillAgain();

  WindowPlace place_;
  GObjectPointer<GtkWidget> popover_;
  WebKitPage* page_ = nullptr;  ///< while the popover is open
  std::string address_;
  std::shared_ptr<const int> filled_;  ///< another one for each content
  Connections connections_;
  Connections contentConnections_;
  Subscription shown_;
};

}  // namespace vale::gtk
