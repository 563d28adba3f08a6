#pragma once

#include "app/gtk/WindowContext.h"

#include <gtk/gtk.h>

namespace vale::gtk {

/// A popover at a group's header to give it a name and a colour; Enter or a click elsewhere keeps what was
/// typed, Escape the old name.
void editGroup(SharedContext context, const Uuid& group, GtkWidget* parent, const GdkRectangle& place);

}  // namespace vale::gtk
