#pragma once

#include "browser/TabLines.h"

#include <glib-object.h>
#include <memory>

namespace vale::gtk {

/// A line of the list of tabs as GTK's list models hold it: it keeps its tab alive, and knows the window that
/// it is dragged from.
struct TabItem {
  TabLine line;
  std::shared_ptr<BrowserTab> tab;
  std::weak_ptr<BrowserModel> model;

  static GType type();

  /// A new object, owned by the caller.
  static GObject* make(const TabLine& line, const std::shared_ptr<BrowserModel>& model);

  /// Null for null.
  static const TabItem* of(gpointer object);
};

}  // namespace vale::gtk
