#include "app/gtk/TabArea.h"

#include "app/gtk/GroupEditor.h"

#include <utility>

namespace vale::gtk {

namespace {

/// More than any screen shows.
constexpr guint firstLines = 48;

TabRow::Shape shapeOf(TabArea::Kind kind) {
  switch (kind) {
  case TabArea::Kind::wall:
    return TabRow::Shape::line;
  case TabArea::Kind::strip:
    return TabRow::Shape::chip;
  case TabArea::Kind::pinned:
    break;
  }
  return TabRow::Shape::icon;
}

GtkWidget* listWidget(TabArea::Kind kind, GListModel* model, GtkListItemFactory* factory) {
  // What is selected is the window's model's to say, so the list knows no selection of its own.
  auto* plain = GTK_SELECTION_MODEL(gtk_no_selection_new(G_LIST_MODEL(g_object_ref(model))));
  if (kind == TabArea::Kind::pinned) {
    auto* grid = gtk_grid_view_new(plain, factory);
    gtk_grid_view_set_max_columns(GTK_GRID_VIEW(grid), 8);
    gtk_grid_view_set_min_columns(GTK_GRID_VIEW(grid), 4);
    return grid;
  }
  auto* list = gtk_list_view_new(plain, factory);
  if (kind == TabArea::Kind::strip) {
    gtk_orientable_set_orientation(GTK_ORIENTABLE(list), GTK_ORIENTATION_HORIZONTAL);
    gtk_scrollable_set_hscroll_policy(GTK_SCROLLABLE(list), GTK_SCROLL_NATURAL);
  }
  return list;
}

}  // namespace

TabArea::TabArea(SharedContext context, TabRows& rows, const TabMenu& menu, Kind kind, GListModel* model)
    : context_(std::move(context)), menu_(menu), factory_(context_, rows, shapeOf(kind)),
      shown_(GObjectPointer<GtkSliceListModel>::adopt(
          gtk_slice_list_model_new(G_LIST_MODEL(g_object_ref(model)), 0, firstLines))),
      list_(GObjectPointer<GtkWidget>::share(
          listWidget(kind, G_LIST_MODEL(shown_.get()), factory_.forWidget()))) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(list_.get()), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 kind == Kind::pinned ? "Pinned tabs" : "Tabs", -1);
  connections_.push_back(connect(list_.get(), "activate", [this](guint position) {
    auto* model = GTK_IS_GRID_VIEW(list_.get()) ? gtk_grid_view_get_model(GTK_GRID_VIEW(list_.get()))
                                                : gtk_list_view_get_model(GTK_LIST_VIEW(list_.get()));
    const auto object =
        GObjectPointer<GObject>::adopt(G_OBJECT(g_list_model_get_item(G_LIST_MODEL(model), position)));
    if (const auto* item = TabItem::of(object.get())) choose(*item);
  }));
  showAllOncePainted();
  addPointer();
  addKeys();
  drag_.emplace(context_, list_.get());
}

TabArea::~TabArea() = default;

/// GTK makes some two hundred rows of a list whatever its height: the window need not wait for them.
void TabArea::showAllOncePainted() {
  connections_.push_back(connect(list_.get(), "map", [this] {
    if (gtk_slice_list_model_get_size(shown_.get()) != firstLines) return;
    firstPaint_ = connect(gtk_widget_get_frame_clock(list_.get()), "after-paint", [this] {
      firstPaint_.disconnect();
      gtk_slice_list_model_set_size(shown_.get(), G_MAXUINT);
      if (revealed_) reveal(*revealed_);
    });
  }));
}

void TabArea::addPointer() {
  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  auto* click = gtk_gesture_click_new();
  gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(click), 0);
  const auto button = [click] { return gtk_gesture_single_get_current_button(GTK_GESTURE_SINGLE(click)); };
  on(click, "pressed", [this, button](int presses, double x, double y) { pressed(button(), presses, x, y); });
  on(click, "released", [this, button](int, double x, double y) { released(button(), x, y); });
  gtk_widget_add_controller(list_.get(), GTK_EVENT_CONTROLLER(click));

  auto* motion = gtk_event_controller_motion_new();
  on(motion, "motion", [this](double x, double y) { pointAt(rowAt(x, y)); });
  on(motion, "leave", [this] { pointAt(nullptr); });
  gtk_widget_add_controller(list_.get(), motion);
}

void TabArea::addKeys() {
  auto* keys = gtk_event_controller_key_new();
  connections_.push_back(
      connect(keys, "key-pressed", [this](guint key, guint, GdkModifierType modifiers) -> gboolean {
        return keyPressed(key, modifiers);
      }));
  gtk_widget_add_controller(list_.get(), keys);
}

TabRow* TabArea::rowAt(double x, double y) const {
  auto* picked = gtk_widget_pick(list_.get(), x, y, GTK_PICK_DEFAULT);
  auto* row = picked == list_.get() ? nullptr : TabRow::around(picked);
  return row && row->item() ? row : nullptr;
}

void TabArea::choose(const TabItem& item) {
  auto& model = *context_->model;
  if (item.tab) {
    model.select(item.line.id);
    gtk_widget_activate_action(list_.get(), "win.focus-page", nullptr);
  } else if (const auto* group = model.group(item.line.groupID)) {
    model.setGroupCollapsed(group->id, !group->collapsed);
  }
}

void TabArea::pressed(guint button, int presses, double x, double y) {
  auto* row = rowAt(x, y);
  if (!row) {
    if (button == GDK_BUTTON_PRIMARY && presses == 2) {
      gtk_widget_activate_action(list_.get(), "win.new-tab", nullptr);
    }
    return;
  }
  if (button == GDK_BUTTON_SECONDARY) {
    openMenu(*row, {.x = static_cast<int>(x), .y = static_cast<int>(y), .width = 1, .height = 1});
  }
}

void TabArea::released(guint button, double x, double y) {
  auto* row = rowAt(x, y);
  if (!row) return;
  const auto& item = *row->item();
  if (button == GDK_BUTTON_PRIMARY) {
    choose(item);
  } else if (button == GDK_BUTTON_MIDDLE && item.tab) {
    context_->later([id = item.line.id](BrowserModel& model) { model.close(id); });
  }
}

void TabArea::openMenu(TabRow& row, const GdkRectangle& place) {
  const auto& item = *row.item();
  if (item.tab) {
    popUpMenu(list_.get(), menu_.forTab(*item.tab), place);
  } else if (const auto* group = context_->model->group(item.line.groupID)) {
    popUpMenu(list_.get(), menu_.forGroup(*group), place);
  }
}

bool TabArea::keyPressed(guint key, GdkModifierType modifiers) {
  auto* root = gtk_widget_get_root(list_.get());
  auto* row = root ? TabRow::around(gtk_root_get_focus(root)) : nullptr;
  if (!row || !row->item() || !gtk_widget_is_ancestor(row->widget(), list_.get())) return false;
  const auto& item = *row->item();
  if (key == GDK_KEY_Menu || (key == GDK_KEY_F10 && (modifiers & GDK_SHIFT_MASK))) {
    openMenu(*row, placeOf(*row));
  } else if (key == GDK_KEY_Delete && item.tab) {
    context_->later([id = item.line.id](BrowserModel& model) { model.close(id); });
  } else if (key == GDK_KEY_F2 && !item.tab) {
    vale::gtk::editGroup(context_, item.line.groupID, list_.get(), placeOf(*row));
  } else {
    return false;
  }
  return true;
}

GdkRectangle TabArea::placeOf(TabRow& row) const {
  graphene_rect_t bounds;
  if (!gtk_widget_compute_bounds(row.widget(), list_.get(), &bounds)) return {0, 0, 1, 1};
  return {static_cast<int>(bounds.origin.x), static_cast<int>(bounds.origin.y),
          static_cast<int>(bounds.size.width), static_cast<int>(bounds.size.height)};
}

void TabArea::pointAt(TabRow* row) {
  if (pointed_.get() == (row ? row->widget() : nullptr)) return;
  if (auto* former = TabRow::around(pointed_.get())) former->showPointed(false);
  pointed_ = GObjectPointer<GtkWidget>::share(row ? row->widget() : nullptr);
  if (row) row->showPointed(true);
}

void TabArea::reveal(guint index) {
  revealed_ = index;
  if (index >= g_list_model_get_n_items(G_LIST_MODEL(shown_.get()))) return;
  gtk_widget_activate_action(list_.get(), "list.scroll-to-item", "u", index);
}

void TabArea::editGroup(const Uuid& group) {
  if (auto* row = factory_.rowOf(group)) vale::gtk::editGroup(context_, group, list_.get(), placeOf(*row));
}

}  // namespace vale::gtk
