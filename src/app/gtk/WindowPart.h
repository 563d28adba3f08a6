#pragma once

#include "app/gtk/PageStack.h"
#include "app/gtk/WindowActions.h"
#include "app/gtk/WindowContext.h"

#include <adwaita.h>

#include <functional>
#include <memory>
#include <vector>

namespace vale::gtk {

class AddressEntry;
struct BrowserServices;

/// Something that serves one window: a bar, a button with its list, a panel. It puts its widgets and actions
/// to their places when it is made, and lives until the window goes. Main thread only.
class WindowPart {
 public:
  virtual ~WindowPart() = default;
  WindowPart() = default;
  WindowPart(const WindowPart&) = delete;
  WindowPart& operator=(const WindowPart&) = delete;
};

/// Where the parts of a window find what they work with. All of it outlives them.
struct WindowPlace {
  SharedContext context;
  BrowserServices& services;
  Clock& clock;
  GtkApplicationWindow* window;
  WindowActions& actions;
  PageStack& pages;
  AddressEntry& entry;
  AdwHeaderBar* header;  ///< of the page; buttons go to its end
  GtkBox* above;         ///< between the header and the page: bars, one below the other
  GtkBox* beside;        ///< holds the page; panels go to its end
  GtkOverlay* over;      ///< over the page: what floats at its edges
  /// The keyboard back to the page.
  std::function<void()> focusPage;
};

/// The parts of a window, in the order in which they stand in it.
std::vector<std::unique_ptr<WindowPart>> makeWindowParts(const WindowPlace& place);

}  // namespace vale::gtk
