#include "app/gtk/PaintWatch.h"

#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

constexpr Seconds longestUnrest{4.0};
constexpr Seconds shortRest{0.12};

/// True when something under the node was drawn and not merely filled with a colour.
bool holdsPicture(GskRenderNode* node) {
  switch (gsk_render_node_get_node_type(node)) {
  case GSK_CONTAINER_NODE:
    for (guint i = 0; i < gsk_container_node_get_n_children(node); ++i) {
      if (holdsPicture(gsk_container_node_get_child(node, i))) return true;
    }
    return false;
  case GSK_TRANSFORM_NODE:
    return holdsPicture(gsk_transform_node_get_child(node));
  case GSK_CLIP_NODE:
    return holdsPicture(gsk_clip_node_get_child(node));
  case GSK_ROUNDED_CLIP_NODE:
    return holdsPicture(gsk_rounded_clip_node_get_child(node));
  case GSK_COLOR_NODE:
    return false;
  default:
    return true;
  }
}

}  // namespace

void PaintWatch::whenPainted(std::function<void()> done) {
  done_ = std::move(done);
  giveUp_ = clock_.now() + longestUnrest;
  // The first painting gives the page its place and size; only then is it worth drawing.
  afterNextPaint([this] {
    auto* page = page_();
    if (!page || !gtk_widget_get_mapped(GTK_WIDGET(page->view()))) return std::exchange(done_, nullptr)();
    view_ = GObjectPointer<GtkWidget>::share(GTK_WIDGET(page->view()));
    content_ = GObjectPointer<GdkPaintable>::adopt(gtk_widget_paintable_new(view_.get()));
    changes_ = connect(content_.get(), "invalidate-contents", [this] { rest(); });
    page->whenDrawn([this] { rest(); });
  });
}

void PaintWatch::afterNextPaint(std::function<void()> next) {
  paints_ = connect(gtk_widget_get_frame_clock(window_), "after-paint", [this, next = std::move(next)] {
    const auto held = next;
    paints_.disconnect();
    held();
  });
  gtk_widget_queue_draw(window_);
}

void PaintWatch::rest() {
  if (!rest_.pending() || clock_.now() < giveUp_) {
    rest_ = clock_.schedule(shortRest, [this] { look(); });
  }
}

void PaintWatch::look() {
  if (!showsSomething() && clock_.now() < giveUp_) return rest();
  changes_.disconnect();
  afterNextPaint([this] {
    if (done_) std::exchange(done_, nullptr)();
  });
}

bool PaintWatch::showsSomething() const {
  auto* snapshot = gtk_snapshot_new();
  gdk_paintable_snapshot(content_.get(), snapshot, gtk_widget_get_width(view_.get()),
                         gtk_widget_get_height(view_.get()));
  const std::unique_ptr<GskRenderNode, decltype(&gsk_render_node_unref)> node(
      gtk_snapshot_free_to_node(snapshot), gsk_render_node_unref);
  return node && holdsPicture(node.get());
}

}  // namespace vale::gtk
