#pragma once

#include "app/gtk/TabRow.h"

#include <optional>

namespace vale::gtk {

/// Drag and drop for one list of rows: to another place, into a group, from another window that shares the
/// engine; a tab dropped outside of all windows gets one of its own. What is dragged never leaves the
/// process.
class TabDrag {
 public:
  TabDrag(SharedContext context, GtkWidget* list);

  /// Takes drops of tabs on `widget` and does nothing: they are meant for no page, and no new window.
  static void swallow(GtkWidget* widget, GtkPropagationPhase phase);

 private:
  struct Spot {
    TabRow* row = nullptr;
    DropSide side = DropSide::after;
  };

  Spot spotAt(double x, double y) const;
  bool fits(const TabItem& item) const;
  GdkDragAction hover(double x, double y);
  bool drop(const TabItem& item, double x, double y);
  void point(TabRow* row, std::optional<DropSide> side);
  void scrollAt(double x, double y);

  SharedContext context_;
  GtkWidget* list_;
  GtkDropTarget* target_;
  GObjectPointer<GObject> dragged_;
  GObjectPointer<GtkWidget> draggedRow_, pointed_;
  Connections connections_;
};

}  // namespace vale::gtk
