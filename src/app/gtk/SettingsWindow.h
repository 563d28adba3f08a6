#pragma once

#include "app/gtk/BrowserServices.h"

#include <gtk/gtk.h>

#include <memory>

namespace vale::gtk {

/// Opens the settings over the window that shows `model`. The services must outlive the window, and have an
/// intelligence.
void showSettings(GtkWindow* parent, const std::shared_ptr<BrowserModel>& model, BrowserServices& services);

}  // namespace vale::gtk
