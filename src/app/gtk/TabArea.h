#pragma once

#include "app/gtk/TabDrag.h"
#include "app/gtk/TabMenu.h"
#include "app/gtk/TabRowFactory.h"

#include <memory>

namespace vale::gtk {

/// One list of rows with what the pointer and the keyboard do in it: choosing, closing, context menus, drag
/// and drop. The handlers are the list's, so that a row costs nothing but what it shows.
class TabArea {
 public:
  enum class Kind { wall, strip, pinned };

  TabArea(SharedContext context, TabRows& rows, const TabMenu& menu, Kind kind, GListModel* model);
  ~TabArea();
  TabArea(const TabArea&) = delete;
  TabArea& operator=(const TabArea&) = delete;

  GtkWidget* list() const { return list_.get(); }

  /// Scrolls so that a line can be seen.
  void reveal(guint index);

  /// Opens the editor of a group's name and colour at its header, if that is shown here.
  void editGroup(const Uuid& group);

 private:
  void showAllOncePainted();
  void addPointer();
  void addKeys();
  TabRow* rowAt(double x, double y) const;
  void choose(const TabItem& item);
  void pressed(guint button, int presses, double x, double y);
  void released(guint button, double x, double y);
  void openMenu(TabRow& row, const GdkRectangle& place);
  bool keyPressed(guint key, GdkModifierType modifiers);
  GdkRectangle placeOf(TabRow& row) const;
  void pointAt(TabRow* row);

  SharedContext context_;
  const TabMenu& menu_;
  TabRowFactory factory_;
  GObjectPointer<GtkSliceListModel> shown_;  ///< the beginning, until the list has been painted once
  GObjectPointer<GtkWidget> list_;
  std::optional<TabDrag> drag_;
  GObjectPointer<GtkWidget> pointed_;
  std::optional<guint> revealed_;
  Connection firstPaint_;
  Connections connections_;
};

}  // namespace vale::gtk
