#pragma once

#include "app/gtk/BookmarkCommands.h"
#include "app/gtk/BookmarkForm.h"
#include "app/gtk/WindowPart.h"

#include <optional>

namespace vale::gtk {

/// The star at the end of the header: full when the page that is shown is bookmarked. Pressed, it bookmarks
/// the page at once and shows what it made of it, to be changed or removed. Main thread only.
class BookmarkStar {
 public:
  BookmarkStar(const WindowPlace& place, BookmarkCommands& commands);
  BookmarkStar(const BookmarkStar&) = delete;
  BookmarkStar& operator=(const BookmarkStar&) = delete;

 private:
  void build();
  void followPage();
  void show();
  void opened();
  void closed();
  std::string address() const;

  WindowPlace place_;
  BookmarkCommands& commands_;
  Bookmarks& bookmarks_;
  BookmarkForm form_;
  GtkMenuButton* button_;
  GtkPopover* popover_;
  GtkLabel* heading_;
  GtkLabel* problem_;
  std::optional<Uuid> edited_;
  std::vector<Subscription> subscriptions_, pageSubscriptions_;
  Connections connections_;
};

}  // namespace vale::gtk
