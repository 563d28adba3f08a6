#pragma once

#include "app/gtk/ContentBlocking.h"
#include "app/gtk/WindowPart.h"

namespace vale::gtk {

/// The window's action "win.blocking-here": whether the shown page's site is blocked at. Activating it turns
/// that over and loads the page again.
std::unique_ptr<WindowPart> makeBlockingHere(const WindowPlace& place, ContentBlocking& blocking);

}  // namespace vale::gtk
