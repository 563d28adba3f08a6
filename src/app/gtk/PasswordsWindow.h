#pragma once

#include <gtk/gtk.h>

namespace vale::gtk {

struct BrowserServices;

/// Opens the saved passwords over `parent`: by site, to search, look at, copy, change and delete, and the
/// sites that are never asked about. `services` must outlive the window.
void showPasswords(GtkWindow* parent, BrowserServices& services);

}  // namespace vale::gtk
