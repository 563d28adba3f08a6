#pragma once

#include "app/gtk/TabRow.h"
#include "app/gtk/TabRows.h"

#include <unordered_set>

namespace vale::gtk {

/// Makes the rows of one list widget, and keeps those in use true: which is selected, and the groups' names
/// and colours.
class TabRowFactory {
 public:
  TabRowFactory(SharedContext context, TabRows& rows, TabRow::Shape shape);

  /// For the list widget, which takes it over.
  GtkListItemFactory* forWidget() const { return GTK_LIST_ITEM_FACTORY(g_object_ref(factory_.get())); }

  /// The row that shows a tab or group now; null when none does.
  TabRow* rowOf(const Uuid& id) const;

 private:
  void bind(GtkListItem* item);
  void unbind(GtkListItem* item);

  SharedContext context_;
  GObjectPointer<GtkListItemFactory> factory_;
  std::unordered_set<TabRow*> used_;
  Connections connections_;
  Subscription selection_, updates_;
};

}  // namespace vale::gtk
