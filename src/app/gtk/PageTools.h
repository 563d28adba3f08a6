#pragma once

#include "app/gtk/LateAnswer.h"
#include "app/gtk/NoticeBar.h"
#include "app/gtk/PageSources.h"
#include "app/gtk/WindowPart.h"

#include <memory>
#include <vector>

namespace vale::gtk {

/// What a window does with its shown page: print it, save it, show its source, open the developer tools.
/// Files are written by the engine or the toolkit, off the main thread; what fails is told above the page.
class PageTools : public WindowPart {
 public:
  PageTools(const WindowPlace& place, PageSources& sources);

 private:
  void followPage();
  void print();
  void savePage();
  void saveTo(GFile* file);
  void saveWhole(WebKitWebView* view, GFile* file);
  void saveDocument(WebKitWebView* view, GFile* file);
  void write(GFile* file, GBytes* bytes);
  void tellSaved(GFile* file, const GError* error);
  void tellFailure(const char* what, const GError* error);
  void showSource();
  void inspect();
  void reloadAnew();
  void goToStart();

  const WindowPlace place_;
  PageSources& sources_;
  NoticeBar notice_;
  GObjectPointer<GtkFileChooserNative> chooser_;
  GObjectPointer<WebKitPrintOperation> printing_;
  Connections connections_;
  std::vector<Subscription> subscriptions_, pageSubscriptions_;
  LateAnswer::Owner alive_ = std::make_shared<const bool>(true);
};

}  // namespace vale::gtk
