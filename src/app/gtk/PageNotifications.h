#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "common/Date.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>

namespace vale::gtk {

struct BrowserServices;

/// What the notifications of all pages do when they are clicked, by their names on the desktop. Main thread
/// only.
class NotificationClicks {
 public:
  NotificationClicks();

  /// A name that no notification of this run has had.
  std::string add(std::function<void()> clicked);
  void remove(const std::string& name);

 private:
  std::uint64_t last_ = 0;
  std::map<std::string, std::function<void()>> clicks_;
  Connection activated_;
};

/// Hands the notifications of one page to the desktop, for sites that may show them, and takes them back when
/// the page withdraws them or goes. Too many in a short time are dropped. Main thread only.
class PageNotifications : public PagePart {
 public:
  PageNotifications(WebKitPage& page, BrowserServices& services);
  ~PageNotifications() override;

 private:
  struct Shown {
    GObjectPointer<WebKitNotification> notification;
    Connection closed;
  };

  void show(WebKitNotification* notification);
  bool mayShow();
  void clicked(const std::string& name);
  void withdraw(const std::string& name);

  WebKitPage& page_;
  BrowserServices& services_;
  std::map<std::string, Shown> shown_;
  std::deque<Date> times_;
  Connection requests_;
};

}  // namespace vale::gtk
