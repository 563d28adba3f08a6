#include "app/gtk/PrivacyPart.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/ClearDataDialog.h"
#include "app/gtk/PasswordsWindow.h"

namespace vale::gtk {

PrivacyPart::PrivacyPart(const WindowPlace& place) {
  auto* window = GTK_WINDOW(place.window);
  place.actions.add("passwords", [window, &services = place.services] { showPasswords(window, services); });
  place.actions.add("clear-data", [window, &services = place.services] { showClearData(window, services); });
}

}  // namespace vale::gtk
