#pragma once

#include "app/gtk/PageDialog.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/WebKitPage.h"

#include <memory>
#include <vector>

namespace vale::gtk {

/// The dialogs of a page's scripts (alert, confirm, prompt, and the question before leaving), over that page.
/// A page that goes on asking can be kept from it. Main thread only.
class ScriptDialogs : public PagePart {
 public:
  explicit ScriptDialogs(WebKitPage& page);
  ~ScriptDialogs() override;

 private:
  using Held = std::shared_ptr<WebKitScriptDialog>;

  bool requested(WebKitScriptDialog* dialog);
  PageDialog::Content contentOf(WebKitScriptDialog* dialog);
  void finish(bool confirmed);
  void dismiss();

  WebKitPage& page_;
  Held held_;
  std::unique_ptr<PageDialog> shown_;
  unsigned count_ = 0;  ///< of this document
  bool blocked_ = false;
  Connections connections_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
