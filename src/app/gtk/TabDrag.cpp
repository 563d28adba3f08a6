#include "app/gtk/TabDrag.h"

#include <utility>

namespace vale::gtk {

namespace {

/// Near the edges of the visible part, in logical pixels.
constexpr double edge = 28;

}  // namespace

TabDrag::TabDrag(SharedContext context, GtkWidget* list)
    : context_(std::move(context)), list_(list),
      target_(gtk_drop_target_new(TabItem::type(), GDK_ACTION_MOVE)) {
  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  auto* source = gtk_drag_source_new();
  gtk_drag_source_set_actions(source, GDK_ACTION_MOVE);
  on(source, "prepare", [this](double x, double y) -> GdkContentProvider* {
    auto* row = spotAt(x, y).row;
    if (!row || !row->item() || row->item()->line.kind == TabLine::Kind::agentsHeader) return nullptr;
    dragged_ = GObjectPointer<GObject>::share(row->object());
    draggedRow_ = GObjectPointer<GtkWidget>::share(row->widget());
    return gdk_content_provider_new_typed(TabItem::type(), row->object());
  });
  on(source, "drag-begin", [this, source](GdkDrag*) {
    const auto icon = GObjectPointer<GdkPaintable>::adopt(gtk_widget_paintable_new(draggedRow_.get()));
    gtk_drag_source_set_icon(source, icon.get(), 0, 0);
  });
  on(source, "drag-cancel", [this](GdkDrag*, GdkDragCancelReason reason) -> gboolean {
    const auto* item = TabItem::of(dragged_.get());
    if (reason != GDK_DRAG_CANCEL_NO_TARGET || !item || !item->tab) return FALSE;
    context_->later([host = context_->host, id = item->line.id](BrowserModel&) { host.detachTab(id); });
    return TRUE;
  });
  on(source, "drag-end", [this](GdkDrag*, gboolean) {
    dragged_.reset();
    draggedRow_.reset();
  });
  gtk_widget_add_controller(list_, GTK_EVENT_CONTROLLER(source));

  gtk_drop_target_set_preload(target_, TRUE);
  on(target_, "motion", [this](double x, double y) { return hover(x, y); });
  on(target_, "leave", [this] { point(nullptr, std::nullopt); });
  on(target_, "drop", [this](GValue* value, double x, double y) -> gboolean {
    const auto* item = TabItem::of(g_value_get_object(value));
    return item && drop(*item, x, y);
  });
  gtk_widget_add_controller(list_, GTK_EVENT_CONTROLLER(target_));
}

void TabDrag::swallow(GtkWidget* widget, GtkPropagationPhase phase) {
  auto* target = gtk_drop_target_new(TabItem::type(), GDK_ACTION_MOVE);
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(target), phase);
  g_signal_connect(
      target, "drop",
      G_CALLBACK(+[](GtkDropTarget*, GValue*, double, double, gpointer) -> gboolean { return TRUE; }),
      nullptr);
  gtk_widget_add_controller(widget, GTK_EVENT_CONTROLLER(target));
}

TabDrag::Spot TabDrag::spotAt(double x, double y) const {
  auto* picked = gtk_widget_pick(list_, x, y, GTK_PICK_DEFAULT);
  auto* row = picked == list_ ? nullptr : TabRow::around(picked);
  if (!row) return {};
  graphene_rect_t bounds;
  if (!gtk_widget_compute_bounds(row->widget(), list_, &bounds)) return {};
  const bool sideways = GTK_IS_GRID_VIEW(list_) ||
                        gtk_orientable_get_orientation(GTK_ORIENTABLE(list_)) == GTK_ORIENTATION_HORIZONTAL;
  const bool before =
      sideways ? x < bounds.origin.x + bounds.size.width / 2 : y < bounds.origin.y + bounds.size.height / 2;
  return {row, before ? DropSide::before : DropSide::after};
}

bool TabDrag::fits(const TabItem& item) const {
  const auto from = item.model.lock();
  if (!from) return false;
  return from == context_->model || (item.tab && &from->engine() == &context_->model->engine());
}

GdkDragAction TabDrag::hover(double x, double y) {
  const GValue* value = gtk_drop_target_get_value(target_);
  const auto* item = value ? TabItem::of(g_value_get_object(value)) : nullptr;
  if (item && !fits(*item)) return GdkDragAction(0);
  const auto spot = spotAt(x, y);
  point(spot.row, spot.side);
  scrollAt(x, y);
  return GDK_ACTION_MOVE;
}

bool TabDrag::drop(const TabItem& item, double x, double y) {
  const auto spot = spotAt(x, y);
  point(nullptr, std::nullopt);
  if (!fits(item)) return false;
  // The line may be of a list that has changed by the time of the work.
  const auto line = spot.row && spot.row->item() ? std::optional(spot.row->item()->line) : std::nullopt;
  context_->later([id = item.line.id, isTab = item.tab != nullptr, line, side = spot.side,
                   host = context_->host](BrowserModel& model) {
    const TabLine* at = line ? &*line : nullptr;
    if (isTab) {
      putTab(model, id, dropPlace(model, at, side), host.moveTab);
    } else if (const auto index = dropIndexOfGroup(model, id, at, side)) {
      model.moveGroup(id, *index);
    }
  });
  return true;
}

void TabDrag::point(TabRow* row, std::optional<DropSide> side) {
  auto* former = TabRow::around(pointed_.get());
  if (former && former != row) former->showDrop(std::nullopt);
  pointed_ = GObjectPointer<GtkWidget>::share(row ? row->widget() : nullptr);
  if (row) row->showDrop(side);
}

void TabDrag::scrollAt(double x, double y) {
  const bool sideways = gtk_orientable_get_orientation(GTK_ORIENTABLE(list_)) == GTK_ORIENTATION_HORIZONTAL;
  auto* adjustment = sideways ? gtk_scrollable_get_hadjustment(GTK_SCROLLABLE(list_))
                              : gtk_scrollable_get_vadjustment(GTK_SCROLLABLE(list_));
  const double at = sideways ? x : y;
  const double length = sideways ? gtk_widget_get_width(list_) : gtk_widget_get_height(list_);
  const double step = at < edge ? -12 : at > length - edge ? 12 : 0;
  gtk_adjustment_set_value(adjustment, gtk_adjustment_get_value(adjustment) + step);
}

}  // namespace vale::gtk
