#pragma once

#include "app/PermissionQuestions.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/QuestionBar.h"
#include "app/gtk/WebKitPage.h"

#include <memory>
#include <vector>

namespace vale::gtk {

struct BrowserServices;

/// Asks the user, above the page, for what the page's site wants: devices, the location, notifications. A
/// page out of sight is asked for when it is shown; what a page wanted ends with its document. Main thread
/// only.
class PagePermissions : public PagePart {
 public:
  PagePermissions(WebKitPage& page, BrowserServices& services);

 private:
  bool requested(WebKitPermissionRequest* request);
  bool queried(WebKitPermissionStateQuery* query);
  void show(const std::optional<PermissionWish>& wish);

  WebKitPage& page_;
  PermissionQuestions questions_;
  GtkWidget* remember_ = nullptr;
  std::unique_ptr<QuestionBar> bar_;
  Connections connections_;
  std::vector<Subscription> subscriptions_;
};

/// Tells the engine which sites may show notifications, for each process of pages that it starts.
Connection offerNotificationPermissions(WebKitWebContext* context,
                                        std::shared_ptr<SitePermissions> permissions);

}  // namespace vale::gtk
