#include "app/gtk/WallFrame.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vale::gtk {

namespace {

constexpr Seconds dragEnd{0.4};
constexpr Seconds restAtEdge{0.2};
constexpr Seconds restOutside{0.35};

}  // namespace

WallFrame::WallFrame(GtkWidget* content, Clock& clock, std::function<void(double)> widthSet)
    : clock_(clock), widthSet_(std::move(widthSet)),
      paned_(GObjectPointer<GtkWidget>::share(gtk_paned_new(GTK_ORIENTATION_HORIZONTAL))),
      overlay_(GTK_OVERLAY(gtk_overlay_new())), revealer_(GTK_REVEALER(gtk_revealer_new())),
      edge_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0)) {
  auto* paned = GTK_PANED(paned_.get());
  gtk_paned_set_resize_start_child(paned, FALSE);
  gtk_paned_set_shrink_start_child(paned, FALSE);
  gtk_paned_set_shrink_end_child(paned, FALSE);
  gtk_overlay_set_child(overlay_, content);
  gtk_paned_set_end_child(paned, GTK_WIDGET(overlay_));
  connections_.push_back(connect(paned, "notify::position", [this](GParamSpec*) { widthChanged(); }));
  addEdge();
}

void WallFrame::addEdge() {
  gtk_widget_add_css_class(edge_, "edge");
  gtk_widget_set_halign(edge_, GTK_ALIGN_START);
  gtk_revealer_set_transition_type(revealer_, GTK_REVEALER_TRANSITION_TYPE_SLIDE_RIGHT);
  gtk_widget_set_halign(GTK_WIDGET(revealer_), GTK_ALIGN_START);
  gtk_widget_add_css_class(GTK_WIDGET(revealer_), "peek");
  for (auto* widget : {edge_, GTK_WIDGET(revealer_)}) {
    gtk_widget_set_visible(widget, FALSE);
    gtk_overlay_add_overlay(overlay_, widget);
  }
  connections_.push_back(connect(revealer_, "notify::child-revealed", [this](GParamSpec*) {
    if (!gtk_revealer_get_child_revealed(revealer_)) gtk_widget_set_visible(GTK_WIDGET(revealer_), FALSE);
  }));
  const auto follow = [this](GtkWidget* widget, auto entered, auto left) {
    auto* motion = gtk_event_controller_motion_new();
    connections_.push_back(connect(motion, "enter", [entered](double, double) { entered(); }));
    connections_.push_back(connect(motion, "leave", left));
    gtk_widget_add_controller(widget, motion);
  };
  follow(
      edge_, [this] { resting_ = clock_.schedule(restAtEdge, [this] { comeOut(); }); },
      [this] { resting_.cancel(); });
  follow(
      GTK_WIDGET(revealer_), [this] { resting_.cancel(); },
      [this] { resting_ = clock_.schedule(restOutside, [this] { retreat(); }); });
}

void WallFrame::hold(GtkWidget* wall, Place place) {
  const auto held = GObjectPointer<GtkWidget>::share(wall);
  gtk_paned_set_start_child(GTK_PANED(paned_.get()), nullptr);
  gtk_revealer_set_child(revealer_, nullptr);
  gtk_revealer_set_reveal_child(revealer_, FALSE);
  const bool peeking = held && place == Place::peeking;
  gtk_widget_set_visible(edge_, peeking);
  gtk_widget_set_visible(GTK_WIDGET(revealer_), FALSE);
  wall_ = held;
  if (!held) return;
  if (peeking) {
    gtk_widget_set_size_request(wall, width_, -1);
    gtk_revealer_set_child(revealer_, wall);
  } else {
    gtk_widget_set_size_request(wall, narrowest, -1);
    gtk_paned_set_start_child(GTK_PANED(paned_.get()), wall);
    gtk_paned_set_position(GTK_PANED(paned_.get()), width_);
  }
}

void WallFrame::setWidth(double width) {
  if (!std::isfinite(width)) return;
  width_ = static_cast<int>(std::clamp(width, double(narrowest), double(widest)));
  gtk_paned_set_position(GTK_PANED(paned_.get()), width_);
}

void WallFrame::widthChanged() {
  if (!wall_ || gtk_paned_get_start_child(GTK_PANED(paned_.get())) != wall_.get()) return;
  const int position = gtk_paned_get_position(GTK_PANED(paned_.get()));
  const int width = std::clamp(position, narrowest, widest);
  if (width != position) return gtk_paned_set_position(GTK_PANED(paned_.get()), width);
  if (std::exchange(width_, width) == width) return;
  saving_ = clock_.schedule(dragEnd, [this] { widthSet_(width_); });
}

void WallFrame::comeOut() {
  gtk_widget_set_visible(GTK_WIDGET(revealer_), TRUE);
  gtk_revealer_set_reveal_child(revealer_, TRUE);
}

void WallFrame::retreat() {
  if (!gtk_revealer_get_reveal_child(revealer_)) return;
  // Whoever types in it, or has a menu of it open, keeps it out, until the page has the keyboard again.
  auto* root = gtk_widget_get_root(widget());
  auto* focus = root ? gtk_root_get_focus(root) : nullptr;
  if (wall_ && focus && gtk_widget_is_ancestor(focus, wall_.get())) return;
  gtk_revealer_set_reveal_child(revealer_, FALSE);
}

}  // namespace vale::gtk
