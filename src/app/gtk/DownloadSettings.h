#pragma once

#include "browser/Downloads.h"
#include "common/Preferences.h"

#include <adwaita.h>

namespace vale::gtk {

/// The group of the settings about downloads: their folder, and whether each asks for its place. Floating.
/// Both must outlive it.
AdwPreferencesGroup* downloadSettings(Preferences& preferences, const Downloads& downloads);

}  // namespace vale::gtk
