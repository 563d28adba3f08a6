#pragma once

#include "browser/Bookmarks.h"

#include <gtk/gtk.h>

#include <cstddef>
#include <functional>
#include <string>

namespace vale::gtk {

/// Edits a bookmark over a place of a widget in a browser window. `bookmarks` must outlive the window.
void editBookmark(Bookmarks& bookmarks, const Uuid& id, GtkWidget* at, const GdkRectangle& place);

void renameBookmarkFolder(Bookmarks& bookmarks, const std::string& path, GtkWidget* at,
                          const GdkRectangle& place);

/// Asks for the name of the folder that the open pages go into.
void askForTabFolder(GtkWindow* parent, std::size_t pages,
                     std::function<void(const std::string& name)> named);

}  // namespace vale::gtk
