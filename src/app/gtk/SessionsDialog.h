#pragma once

#include "app/gtk/WindowContext.h"

#include <gtk/gtk.h>

namespace vale::gtk {

/// Opens a window above `parent` that lists the sessions of earlier starts, each with a button that opens its
/// windows beside the present ones. It goes with its parent.
void showEarlierSessions(GtkWindow* parent, const WindowHost& host);

}  // namespace vale::gtk
