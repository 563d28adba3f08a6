#pragma once

#include "app/gtk/GObjectPointer.h"

#include <gtk/gtk.h>

#include <filesystem>

namespace vale::gtk {

/// What a mapped window looks like now. Main thread only; the texture may then go to any thread. Throws Error
/// when the window has not been painted yet.
GObjectPointer<GdkTexture> windowPicture(GtkWindow* window);

/// Writes a picture as PNG, replacing the file whole. Blocks; any thread. Throws Error naming the file.
void writePicture(GdkTexture* picture, const std::filesystem::path& file);

}  // namespace vale::gtk
