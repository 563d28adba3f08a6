#pragma once

#include "browser/SavedSession.h"

#include <gtk/gtk.h>

namespace vale::gtk {

/// Gives the display the browser's own rules beside libadwaita's; once is enough, more is harmless.
void installStyle(GdkDisplay* display);

/// The style class of a group's colour, such as "group-blue"; a constant.
const char* colorClass(TabGroupColor color);

}  // namespace vale::gtk
