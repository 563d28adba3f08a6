#pragma once

#include <gtk/gtk.h>

namespace vale::gtk {

struct BrowserServices;

/// Opens the dialog over `parent` that clears browsing data by kind and range. It tells before what will go,
/// and afterwards what could not. `services` must outlive it.
void showClearData(GtkWindow* parent, BrowserServices& services);

}  // namespace vale::gtk
