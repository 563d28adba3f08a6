#pragma once

#include "app/gtk/TabArea.h"

#include <adwaita.h>

namespace vale::gtk {

/// The column of tabs beside the page: a filter, the pinned tabs as icons, the list, and a button for a new
/// tab. Its width is the frame's affair.
class TabWall {
 public:
  TabWall(SharedContext context, TabRows& rows, const TabMenu& menu);
  ~TabWall();
  TabWall(const TabWall&) = delete;
  TabWall& operator=(const TabWall&) = delete;

  GtkWidget* widget() const { return box_.get(); }
  AdwHeaderBar* header() const { return header_; }

  void revealSelected();
  void editGroup(const Uuid& group) { list_.editGroup(group); }
  void focus();

 private:
  void addFilter();

  SharedContext context_;
  TabRows& rows_;
  TabArea pinned_, list_;
  GObjectPointer<GtkWidget> box_;
  AdwHeaderBar* header_;
  GtkWidget* filter_;
  GtkWidget* pinnedScroller_;
  Connections connections_;
  Subscription updates_;
};

}  // namespace vale::gtk
