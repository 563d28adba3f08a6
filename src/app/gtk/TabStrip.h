#pragma once

#include "app/gtk/TabArea.h"

namespace vale::gtk {

/// The tabs in one line above the page: the pinned ones, the groups, the others, and a button for a new tab.
/// What does not fit is scrolled to, with the wheel in either direction.
class TabStrip {
 public:
  TabStrip(SharedContext context, TabRows& rows, const TabMenu& menu);
  TabStrip(const TabStrip&) = delete;
  TabStrip& operator=(const TabStrip&) = delete;

  GtkWidget* widget() const { return box_.get(); }

  void revealSelected();
  void editGroup(const Uuid& group) { list_.editGroup(group); }
  void focus() { gtk_widget_grab_focus(list_.list()); }

 private:
  SharedContext context_;
  TabRows& rows_;
  GObjectPointer<GListModel> all_;
  TabArea list_;
  GObjectPointer<GtkWidget> box_;
  Connections connections_;
};

}  // namespace vale::gtk
