#pragma once

#include "app/gtk/PageEquipment.h"
#include "app/gtk/QuestionBar.h"
#include "app/gtk/WebKitPage.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vale::gtk {

struct BrowserServices;

/// The windows that a page wanted while the user did nothing: held back, counted in a bar above the page, and
/// opened when the user says so. Main thread only.
class PagePopups : public PagePart {
 public:
  PagePopups(WebKitPage& page, BrowserServices& services);
  ~PagePopups() override;

 private:
  bool asked(const std::string& address);
  void showBar();
  void open();
  void alwaysAllow();

  WebKitPage& page_;
  BrowserServices& services_;
  std::size_t count_ = 0;
  std::vector<std::string> addresses_;
  std::unique_ptr<QuestionBar> bar_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
