#pragma once

#include <adwaita.h>

namespace vale::gtk {

/// The group of the settings that tells which application opens the links of others, and makes it this one.
/// Floating.
AdwPreferencesGroup* defaultBrowserSettings();

}  // namespace vale::gtk
