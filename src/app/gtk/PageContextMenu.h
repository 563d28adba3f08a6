#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "browser/PageMenu.h"

#include <string>
#include <vector>

namespace vale::gtk {

struct BrowserServices;

/// The context menu of a page, made anew of the core's list each time: the engine's own items where they do
/// the work, and Vale's.
class PageContextMenu : public PagePart {
 public:
  PageContextMenu(WebKitPage& page, const BrowserServices& services, BrowsingMode mode);

 private:
  void fill(WebKitContextMenu* menu, WebKitHitTestResult* target);
  void append(WebKitContextMenu* menu, const PageMenuLine& line,
              const std::vector<GObjectPointer<WebKitContextMenuItem>>& former);
  WebKitContextMenuItem* ownItem(const PageMenuLine& line);
  void run(PageMenuItem item);
  void openTab(const std::string& address);
  void runInWindow(const char* action, GVariant* target = nullptr);
  GActionMap* window() const;

  WebKitPage& page_;
  const BrowserServices& services_;
  BrowsingMode mode_;
  PageMenuPlace place_;
  Connections connections_, menuConnections_;
};

}  // namespace vale::gtk
