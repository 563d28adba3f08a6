#pragma once

#include "app/gtk/Menu.h"
#include "browser/BrowserModel.h"

namespace vale::gtk {

/// Where the menu has room for the row that changes the zoom.
inline constexpr const char* zoomPlace = "zoom";

/// The menu at the end of the header, as the window is now: what was closed lately and the groups put away
/// are in it.
Menu mainMenu(const BrowserModel& model);

}  // namespace vale::gtk
