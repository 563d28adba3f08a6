#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "browser/Bookmarks.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace vale::gtk {

/// Drag and drop on the bookmarks bar: bookmarks to another place or into a folder, folders to another place
/// among the folders. Main thread only.
class BookmarkBarDrag {
 public:
  /// What an item of the bar stands for: "b" and the identity of a bookmark, "f" and the path of a folder, or
  /// nothing. `pick` gives the item at a place of the row, or null.
  struct Items {
    std::function<GtkWidget*(double x, double y)> pick;
    std::function<std::string(GtkWidget* item)> key;
  };

  /// `bookmarks` must outlive the object.
  BookmarkBarDrag(Bookmarks& bookmarks, GtkWidget* row, Items items);
  BookmarkBarDrag(const BookmarkBarDrag&) = delete;
  BookmarkBarDrag& operator=(const BookmarkBarDrag&) = delete;

 private:
  enum class Side { before, into, after };
  struct Spot {
    GtkWidget* item = nullptr;
    std::string key;
    Side side = Side::after;
  };

  Spot spotAt(const std::string& dragged, double x, double y) const;
  void point(const Spot& spot);
  bool drop(const std::string& dragged, double x, double y);

  Bookmarks& bookmarks_;
  GtkWidget* row_;
  Items items_;
  GtkDropTarget* target_;
  GObjectPointer<GtkWidget> pointed_, draggedItem_;
  Connections connections_;
};

}  // namespace vale::gtk
