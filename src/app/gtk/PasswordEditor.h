#pragma once

#include "browser/PasswordStore.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace vale::gtk {

/// Opens a dialog over `parent` with an account's name and password. `save` gets what they are to be, and a
/// function to say that it is done: none closes the dialog, a sentence is shown in it.
void editPassword(GtkWindow* parent, const SavedLogin& login, const Secret& password,
                  std::function<void(std::string user, Secret password,
                                     std::function<void(std::optional<std::string> problem)> done)>
                      save);

}  // namespace vale::gtk
