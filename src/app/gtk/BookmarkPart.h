#pragma once

#include "app/gtk/WindowPart.h"

#include <memory>

namespace vale::gtk {

/// The bookmarks in a window: the star, the bar, and the actions of the menus.
std::unique_ptr<WindowPart> makeBookmarkPart(const WindowPlace& place);

}  // namespace vale::gtk
