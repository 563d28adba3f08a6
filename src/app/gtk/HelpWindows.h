#pragma once

#include <gtk/gtk.h>

namespace vale::gtk {

/// Lists every key of the browser's windows, from the table that also sets them.
void showShortcuts(GtkWindow* parent);

void showAbout(GtkWindow* parent);

}  // namespace vale::gtk
