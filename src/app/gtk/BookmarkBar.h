#pragma once

#include "app/gtk/BookmarkBarDrag.h"
#include "app/gtk/BookmarkCommands.h"
#include "app/gtk/WindowPart.h"

#include <memory>
#include <string>
#include <vector>

namespace vale::gtk {

/// The bookmarks bar of a window: its folders as menus, its bookmarks as buttons, and what has no room in a
/// menu at its end. Shown always or only above the start page, as the user has set it. Main thread only.
class BookmarkBar {
 public:
  BookmarkBar(const WindowPlace& place, BookmarkCommands& commands);
  ~BookmarkBar();
  BookmarkBar(const BookmarkBar&) = delete;
  BookmarkBar& operator=(const BookmarkBar&) = delete;

 private:
  void addAction();
  void followPage();
  void showOrHide();
  void fillSoon();
  void fill();
  void addFolder(const std::string& path);
  void addBookmark(const Bookmark& bookmark);
  void addItem(GtkWidget* button, GtkWidget* icon, const std::string& title, const std::string& key);
  void addOverflow();
  void pressed(GtkGestureClick* gesture, double x, double y);
  void showMenu(GtkWidget* item, const GdkRectangle& at);
  Menu overflow() const;
  bool isAlways() const;

  WindowPlace place_;
  BookmarkCommands& commands_;
  Bookmarks& bookmarks_;
  GtkWidget* root_;
  GtkWidget* row_;
  GtkWidget* more_ = nullptr;
  GtkWidget* hint_;
  GSimpleAction* always_ = nullptr;
  std::vector<GtkWidget*> items_;  ///< in their order; the last child of the row is `more_`
  bool filling_ = false;
  std::shared_ptr<BookmarkBar*> self_;
  std::vector<Subscription> subscriptions_, pageSubscriptions_;
  sigc::connection settings_;
  std::unique_ptr<BookmarkBarDrag> drag_;
  Connections connections_, itemConnections_;
};

}  // namespace vale::gtk
