#pragma once

#include <gtk/gtk.h>

namespace vale::gtk {

/// Lays the children of a box out in a row, as many as there is room for; the last one stands for those that
/// have none, and is shown only then, or when `setHasMore` says that there is more than the row holds.
namespace BookmarkBarLayout {

void install(GtkWidget* box);

/// How many children, the last one aside, had room.
int shown(GtkWidget* box);

void setHasMore(GtkWidget* box, bool hasMore);

}  // namespace BookmarkBarLayout

}  // namespace vale::gtk
