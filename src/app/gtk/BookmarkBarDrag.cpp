#include "app/gtk/BookmarkBarDrag.h"

#include "common/Error.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace vale::gtk {

namespace {

/// What is dragged stays in this process: nobody else knows the type.
GType keyType() {
  static const GType type =
      g_boxed_type_register_static("ValeBookmarkKey", reinterpret_cast<GBoxedCopyFunc>(g_strdup), g_free);
  return type;
}

std::string keyIn(const GValue* value) {
  const auto* key = value ? static_cast<const char*>(g_value_get_boxed(value)) : nullptr;
  return key ? key : "";
}

constexpr const char* styles[] = {"drop-before", "drop-into", "drop-after"};

}  // namespace

BookmarkBarDrag::BookmarkBarDrag(Bookmarks& bookmarks, GtkWidget* row, Items items)
    : bookmarks_(bookmarks), row_(row), items_(std::move(items)),
      target_(gtk_drop_target_new(keyType(), GDK_ACTION_MOVE)) {
  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  auto* source = gtk_drag_source_new();
  gtk_drag_source_set_actions(source, GDK_ACTION_MOVE);
  // Before the buttons take the press for a click.
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(source), GTK_PHASE_CAPTURE);
  on(source, "prepare", [this](double x, double y) -> GdkContentProvider* {
    auto* item = items_.pick(x, y);
    const auto key = item ? items_.key(item) : std::string();
    if (key.empty()) return nullptr;
    draggedItem_ = GObjectPointer<GtkWidget>::share(item);
    GValue value = G_VALUE_INIT;
    g_value_init(&value, keyType());
    g_value_set_boxed(&value, key.c_str());
    auto* provider = gdk_content_provider_new_for_value(&value);
    g_value_unset(&value);
    return provider;
  });
  on(source, "drag-begin", [this, source](GdkDrag*) {
    const auto icon = GObjectPointer<GdkPaintable>::adopt(gtk_widget_paintable_new(draggedItem_.get()));
    gtk_drag_source_set_icon(source, icon.get(), 0, 0);
  });
  on(source, "drag-end", [this](GdkDrag*, gboolean) { draggedItem_.reset(); });
  gtk_widget_add_controller(row_, GTK_EVENT_CONTROLLER(source));

  gtk_drop_target_set_preload(target_, TRUE);
  on(target_, "motion", [this](double x, double y) -> GdkDragAction {
    point(spotAt(keyIn(gtk_drop_target_get_value(target_)), x, y));
    return GDK_ACTION_MOVE;
  });
  on(target_, "leave", [this] { point({}); });
  on(target_, "drop", [this](GValue* value, double x, double y) -> gboolean {
    const auto key = keyIn(value);
    point({});
    return drop(key, x, y);
  });
  gtk_widget_add_controller(row_, GTK_EVENT_CONTROLLER(target_));
}

BookmarkBarDrag::Spot BookmarkBarDrag::spotAt(const std::string& dragged, double x, double y) const {
  auto* item = items_.pick(x, y);
  graphene_rect_t bounds;
  if (!item || dragged.empty() || !gtk_widget_compute_bounds(item, row_, &bounds)) return {};
  Spot spot{.item = item, .key = items_.key(item), .side = Side::before};
  if (x > bounds.origin.x + bounds.size.width / 2) spot.side = Side::after;
  if (spot.key.starts_with('f') && dragged.starts_with('b')) spot.side = Side::into;
  // Folders come before the bookmarks, wherever they are dropped.
  if (spot.key.starts_with('b') && dragged.starts_with('f')) return {};
  return spot;
}

void BookmarkBarDrag::point(const Spot& spot) {
  if (pointed_) {
    for (const auto* style : styles) gtk_widget_remove_css_class(pointed_.get(), style);
  }
  pointed_ = GObjectPointer<GtkWidget>::share(spot.item);
  if (spot.item) gtk_widget_add_css_class(spot.item, styles[static_cast<std::size_t>(spot.side)]);
}

bool BookmarkBarDrag::drop(const std::string& dragged, double x, double y) {
  const auto spot = spotAt(dragged, x, y);
  try {
    if (dragged.starts_with('b')) {
      const auto id = Uuid::parse(dragged.substr(1));
      if (!id) return false;
      if (spot.side == Side::into) {
        bookmarks_.move(*id, spot.key.substr(1));
        return true;
      }
      std::optional<Uuid> before;
      const auto at = spot.item ? Uuid::parse(spot.key.substr(1)) : std::nullopt;
      const auto onBar = bookmarks_.in({});
      auto place = std::ranges::find_if(onBar, [&](const Bookmark* one) { return one->id == at; });
      if (place != onBar.end() && spot.side == Side::after) ++place;
      if (place != onBar.end()) before = (*place)->id;
      bookmarks_.move(*id, {}, before);
    } else if (dragged.starts_with('f')) {
      const auto folders = bookmarks_.foldersIn({});
      auto place = spot.item ? std::ranges::find(folders, spot.key.substr(1)) : folders.end();
      if (place != folders.end() && spot.side == Side::after) ++place;
      bookmarks_.moveFolder(dragged.substr(1), {},
                            place == folders.end() ? std::nullopt : std::optional(*place));
    }
  } catch (const Error&) {
    // It went while it was dragged.
    return false;
  }
  return true;
}

}  // namespace vale::gtk
