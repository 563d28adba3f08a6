#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/Clock.h"

#include <gtk/gtk.h>

#include <functional>

namespace vale::gtk {

/// Where a window's wall stands: beside the content at a width that the user sets, or hidden, when it comes
/// out over the content while the pointer rests at the left edge.
class WallFrame {
 public:
  static constexpr int narrowest = 220;
  static constexpr int widest = 360;
  static constexpr int usual = 260;

  enum class Place { beside, peeking };

  /// `widthSet` is told at the end of a drag, in logical pixels.
  WallFrame(GtkWidget* content, Clock& clock, std::function<void(double)> widthSet);
  WallFrame(const WallFrame&) = delete;
  WallFrame& operator=(const WallFrame&) = delete;

  GtkWidget* widget() const { return paned_.get(); }

  /// No wall for null.
  void hold(GtkWidget* wall, Place place);
  void setWidth(double width);

  /// Hides a wall that has come out.
  void retreat();

 private:
  void addEdge();
  void widthChanged();
  void comeOut();

  Clock& clock_;
  std::function<void(double)> widthSet_;
  GObjectPointer<GtkWidget> paned_;
  GObjectPointer<GtkWidget> wall_;
  GtkOverlay* overlay_;
  GtkRevealer* revealer_;
  GtkWidget* edge_;
  int width_ = usual;
  Timer saving_, resting_;
  Connections connections_;
};

}  // namespace vale::gtk
