#pragma once

#include "app/gtk/AddressEntry.h"
#include "app/gtk/NavigationMenus.h"
#include "app/gtk/PageStack.h"
#include "app/gtk/TabMenu.h"
#include "app/gtk/TabStrip.h"
#include "app/gtk/TabWall.h"
#include "app/gtk/WallFrame.h"
#include "app/gtk/WindowActions.h"
#include "app/gtk/WindowContext.h"
#include "app/gtk/WindowPart.h"
#include "browser/AddressInput.h"
#include "browser/BrowserWindows.h"

#include <adwaita.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

/// The inner size of a window, in the screen's logical pixels.
struct WindowSize {
  int width = 1200;
  int height = 800;
};

/// Draws one window's model and hands the user's wishes to it: the tabs in a wall or a strip, the header with
/// the address, the pages. What it decides itself is only where the keyboard goes. Main thread only.
class BrowserWindow : public ShellWindow {
 public:
  using Host = WindowHost;

  /// `input`, `clock`, `services` and the model's session must outlive the window.
  BrowserWindow(GtkApplication* application, std::shared_ptr<BrowserModel> model, Host host,
                const AddressInput& input, Clock& clock, BrowserServices& services, WindowSize size);
  ~BrowserWindow() override;
  BrowserWindow(const BrowserWindow&) = delete;
  BrowserWindow& operator=(const BrowserWindow&) = delete;

  /// The selected tab's page; null while it has none.
  WebKitPage* page() const { return pages_.page(); }
  GtkWindow* window() const { return GTK_WINDOW(window_.get()); }

  void place(const std::optional<SavedFrame>& frame, const ShellWindow* cascadeFrom) override;
  void bringToFront() override;

 private:
  void addActions();
  void addHeader();
  void addNotices(GtkWidget* box);
  void arrange();
  void followWindow();
  void followPage();
  void showTitle();
  void showReloadOrStop(bool loading);
  void selectionChanged();
  void focusPage();
  void focusNextPane();
  AddressEntry::Host hostOfEntry();
  void submit(const std::string& typed, OpenPlace place);
  void choose(const AddressSuggestion& suggestion, OpenPlace place);
  void ask(const std::string& words);
  void open(const std::string& address, OpenPlace place);
  void editGroup(const Uuid& group);
  void paint();
  void later(void (BrowserWindow::*work)());

  SharedContext context_;
  const AddressInput& input_;
  GObjectPointer<AdwApplicationWindow> window_;
  TabRows rows_;
  TabMenu menu_;
  PageStack pages_;
  AddressEntry entry_;
  AdwHeaderBar* header_;
  GtkWidget* content_;
  GtkWidget* beside_ = nullptr;  ///< holds the page and its panels
  WallFrame frame_;
  WindowActions actions_;
  NavigationMenus navigationMenus_;
  GObjectPointer<GtkWidget> navigation_;
  GtkButton* reloadButton_ = nullptr;
  std::unique_ptr<TabWall> wall_;
  std::unique_ptr<TabStrip> strip_;
  std::vector<std::unique_ptr<WindowPart>> parts_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  Connections connections_;
  Connection editing_;
  std::vector<Subscription> subscriptions_, pageSubscriptions_;
};

}  // namespace vale::gtk
