#pragma once

#include <gtk/gtk.h>

#include <filesystem>
#include <functional>
#include <string>

/// Hands files of the user to the desktop. Neither waits; `failed` gets a sentence later on the main thread.
namespace vale::gtk {

using LaunchFailed = std::function<void(const std::string& sentence)>;

/// Opens a file in the application that the user has for its kind. For documents only: see `downloadedFile`.
void openFile(const std::filesystem::path& file, LaunchFailed failed);

/// Shows a file, selected, in the file manager; where that cannot, opens its folder.
void showInFolder(const std::filesystem::path& file, LaunchFailed failed);

}  // namespace vale::gtk
