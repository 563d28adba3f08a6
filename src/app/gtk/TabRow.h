#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/TabItem.h"
#include "app/gtk/WindowContext.h"
#include "browser/TabDrop.h"

#include <gtk/gtk.h>

#include <optional>
#include <string>

namespace vale::gtk {

/// The widget of one line of the list of tabs, used for one tab after another. Rows are many: what only few
/// of them show is made when it is first shown, and what the pointer does is watched by the list.
class TabRow {
 public:
  enum class Shape {
    line,  ///< of the wall
    chip,  ///< of the strip
    icon,  ///< of the wall's pinned tabs
  };

  /// The row belongs to its widget and goes with it.
  static TabRow* make(Shape shape, SharedContext context);

  /// The row that a widget inside of a list belongs to; null outside of rows.
  static TabRow* around(GtkWidget* widget);

  GtkWidget* widget() const { return widget_; }
  /// Null while it is not in use.
  const TabItem* item() const { return TabItem::of(item_.get()); }
  GObject* object() const { return item_.get(); }

  void bind(GObject* item, bool selected);
  void unbind();

  /// Shows again what may have changed.
  void refresh();
  void showSelected(bool selected);
  void showPointed(bool pointed);
  void showDrop(std::optional<DropSide> side);

 private:
  TabRow(Shape shape, SharedContext context);

  void refreshTab(const BrowserTab& tab);
  void refreshHeader();
  void showColor(const ManualTabGroup* group);
  void showIcon(const BrowserTab& tab);
  void showMute(const BrowserTab& tab);
  void showClose();
  void describe(const std::string& name, const std::string& tooltip);
  void setClass(const char* name, bool on);
  bool onlyIcon() const;

  const Shape shape_;
  SharedContext context_;
  GtkWidget* widget_;
  GtkImage* icon_;
  GtkLabel* label_;
  GtkWidget* spinner_ = nullptr;
  GtkWidget* dot_ = nullptr;
  GtkWidget* count_ = nullptr;
  GtkWidget* capture_ = nullptr;
  GtkWidget* mute_ = nullptr;
  GtkWidget* close_ = nullptr;
  GObjectPointer<GObject> item_;
  PageIcon shownIcon_;
  std::string shownName_;
  const char* shownColor_ = nullptr;
  bool selected_ = false;
  bool pointed_ = false;
  Subscription changes_;
  Connections connections_;
};

}  // namespace vale::gtk
