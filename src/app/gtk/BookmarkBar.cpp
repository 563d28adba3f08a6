#include "app/gtk/BookmarkBar.h"

#include "app/gtk/BookmarkBarLayout.h"
#include "app/gtk/BrowserServices.h"
#include "app/gtk/Controls.h"

#include <utility>

namespace vale::gtk {

namespace {

constexpr std::string_view barKey = "ValeBookmarksBar";
constexpr const char* itemKey = "vale-bookmark";

/// More have no room on any screen.
constexpr std::size_t mostItems = 80;
constexpr int longestTitle = 22;

/// Of an item: "b" and the identity of a bookmark, or "f" and the path of a folder.
std::string keyOf(GtkWidget* item) {
  const auto* key = static_cast<const char*>(g_object_get_data(G_OBJECT(item), itemKey));
  return key ? key : "";
}

}  // namespace

BookmarkBar::BookmarkBar(const WindowPlace& place, BookmarkCommands& commands)
    : place_(place), commands_(commands), bookmarks_(place.services.bookmarks),
      root_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6)), row_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0)),
      hint_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8)), self_(std::make_shared<BookmarkBar*>(this)) {
  gtk_widget_add_css_class(root_, "bookmarks-bar");
  gtk_accessible_update_property(GTK_ACCESSIBLE(root_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Bookmarks Bar", -1);
  BookmarkBarLayout::install(row_);
  gtk_widget_set_hexpand(row_, TRUE);
  auto* sentence = gtk_label_new("Press Ctrl+D on a page to keep it here.");
  gtk_label_set_ellipsize(GTK_LABEL(sentence), PANGO_ELLIPSIZE_END);
  gtk_widget_add_css_class(sentence, "dim-label");
  auto* import = gtk_button_new_with_label("Import…");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(import), "win.import-bookmarks");
  gtk_widget_set_tooltip_text(import, "Import Bookmarks from Another Browser’s File");
  gtk_widget_add_css_class(import, "flat");
  gtk_box_append(GTK_BOX(hint_), sentence);
  gtk_box_append(GTK_BOX(hint_), import);
  gtk_box_append(GTK_BOX(root_), hint_);
  gtk_box_append(GTK_BOX(root_), row_);
  gtk_box_append(place_.above, root_);

  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  auto* click = gtk_gesture_click_new();
  gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(click), 0);
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(click), GTK_PHASE_CAPTURE);
  on(click, "pressed", [this, click](int, double x, double y) { pressed(GTK_GESTURE_CLICK(click), x, y); });
  gtk_widget_add_controller(root_, GTK_EVENT_CONTROLLER(click));
  auto* keys = gtk_event_controller_key_new();
  on(keys, "key-pressed", [this](guint key, guint, GdkModifierType state) -> gboolean {
    const bool asksMenu = key == GDK_KEY_Menu || (key == GDK_KEY_F10 && (state & GDK_SHIFT_MASK));
    auto* focus = gtk_widget_get_focus_child(row_);
    if (!asksMenu || !focus) return FALSE;
    showMenu(focus, {0, gtk_widget_get_height(focus), 1, 1});
    return TRUE;
  });
  gtk_widget_add_controller(root_, keys);
  on(place_.window, "notify::fullscreened", [this](GParamSpec*) { showOrHide(); });
  drag_ = std::make_unique<BookmarkBarDrag>(
      bookmarks_, row_,
      BookmarkBarDrag::Items{.pick =
                                 [this](double x, double y) {
                                   auto* item = gtk_widget_pick(row_, x, y, GTK_PICK_DEFAULT);
                                   while (item && item != row_ && keyOf(item).empty()) {
                                     item = gtk_widget_get_parent(item);
                                   }
                                   return item == row_ ? nullptr : item;
                                 },
                             .key = keyOf});
  addAction();
  subscriptions_.push_back(place_.pages.onShown([this] { followPage(); }));
  subscriptions_.push_back(place_.context->model->onSelectionChange([this] { showOrHide(); }));
  subscriptions_.push_back(bookmarks_.onChange([this] { fillSoon(); }));
  fill();
  followPage();
}

BookmarkBar::~BookmarkBar() { settings_.disconnect(); }

bool BookmarkBar::isAlways() const {
  return place_.services.base.preferences.boolean(barKey).value_or(false);
}

void BookmarkBar::addAction() {
  auto& preferences = place_.services.base.preferences;
  const auto action = GObjectPointer<GSimpleAction>::adopt(
      g_simple_action_new_stateful("bookmarks-bar", nullptr, g_variant_new_boolean(isAlways())));
  always_ = action.get();
  g_action_map_add_action(G_ACTION_MAP(place_.window), G_ACTION(always_));
  connections_.push_back(connect(always_, "activate", [this, &preferences](GVariant*) {
    if (isAlways()) {
      preferences.remove(barKey);
    } else {
      preferences.set(barKey, true);
    }
  }));
  settings_ = preferences.changed().connect([this](const std::string& key) {
    if (key != barKey) return;
    g_simple_action_set_state(always_, g_variant_new_boolean(isAlways()));
    showOrHide();
  });
}

void BookmarkBar::followPage() {
  pageSubscriptions_.clear();
  if (auto* page = place_.pages.page()) {
    pageSubscriptions_.push_back(page->address().subscribe([this](const auto&) { showOrHide(); }));
  }
  showOrHide();
}

void BookmarkBar::showOrHide() {
  const auto tab = place_.context->model->selected();
  const bool isStart = !tab || tab->isStart();
  const bool shown = isAlways() || (isStart && !items_.empty());
  gtk_widget_set_visible(root_, shown && !gtk_window_is_fullscreen(GTK_WINDOW(place_.window)));
}

// ---------------------------------------------------------------------------------------------------------
// What is on it

/// Once for many changes that follow each other, and not while an item is busy with its own signal.
void BookmarkBar::fillSoon() {
  if (std::exchange(filling_, true)) return;
  place_.context->main.post([weak = std::weak_ptr(self_)] {
    if (const auto self = weak.lock()) (*self)->fill();
  });
}

void BookmarkBar::fill() {
  filling_ = false;
  itemConnections_.clear();
  items_.clear();
  while (auto* child = gtk_widget_get_first_child(row_)) gtk_box_remove(GTK_BOX(row_), child);
  const auto folders = bookmarks_.foldersIn({});
  const auto bookmarks = bookmarks_.in({});
  for (const auto& path : folders) {
    if (items_.size() < mostItems) addFolder(path);
  }
  for (const auto* bookmark : bookmarks) {
    if (items_.size() < mostItems) addBookmark(*bookmark);
  }
  BookmarkBarLayout::setHasMore(row_, folders.size() + bookmarks.size() > items_.size());
  addOverflow();
  gtk_widget_set_visible(hint_, items_.empty());
  gtk_widget_set_visible(row_, !items_.empty());
  showOrHide();
}

void BookmarkBar::addItem(GtkWidget* button, GtkWidget* icon, const std::string& title,
                          const std::string& key) {
  auto* content = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  auto* label = gtk_label_new(menuLabel(title).c_str());
  gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
  gtk_label_set_max_width_chars(GTK_LABEL(label), longestTitle);
  gtk_box_append(GTK_BOX(content), icon);
  gtk_box_append(GTK_BOX(content), label);
  if (GTK_IS_MENU_BUTTON(button)) {
    gtk_menu_button_set_child(GTK_MENU_BUTTON(button), content);
  } else {
    gtk_button_set_child(GTK_BUTTON(button), content);
  }
  gtk_widget_add_css_class(button, "flat");
  gtk_accessible_update_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 menuLabel(title).c_str(), -1);
  g_object_set_data_full(G_OBJECT(button), itemKey, g_strdup(key.c_str()), g_free);
  gtk_box_append(GTK_BOX(row_), button);
  items_.push_back(button);
}

void BookmarkBar::addFolder(const std::string& path) {
  auto* button = gtk_menu_button_new();
  addItem(button, gtk_image_new_from_icon_name("folder-symbolic"), std::string(BookmarkPath::lastName(path)),
          "f" + path);
  gtk_menu_button_set_create_popup_func(
      GTK_MENU_BUTTON(button),
      [](GtkMenuButton* opened, gpointer commands) {
        guardedCall("menu of bookmarks", [&] {
          const auto menu =
              static_cast<BookmarkCommands*>(commands)->contents(keyOf(GTK_WIDGET(opened)).substr(1));
          gtk_menu_button_set_menu_model(opened, menu.model());
        });
      },
      &commands_, nullptr);
}

void BookmarkBar::addBookmark(const Bookmark& bookmark) {
  auto* button = gtk_button_new();
  auto* icon = gtk_image_new_from_icon_name("text-x-generic-symbolic");
  addItem(button, icon, bookmark.title, "b" + bookmark.id.text());
  gtk_widget_set_tooltip_text(button, (menuLabel(bookmark.title) + "\n" + menuLabel(bookmark.url)).c_str());
  itemConnections_.push_back(
      connect(button, "clicked", [this, id = bookmark.id] { commands_.open(id, BookmarkTarget::shownTab); }));
  const auto& favicons = place_.services.base.session.favicons();
  if (!favicons) return;
  favicons->load(bookmark.url, [image =
                                    GObjectPointer<GtkImage>::share(GTK_IMAGE(icon))](const PageIcon& png) {
    if (!png) return;
    const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(g_bytes_new(png->data(), png->size()),
                                                                  g_bytes_unref);
    const auto texture = GObjectPointer<GdkTexture>::adopt(gdk_texture_new_from_bytes(bytes.get(), nullptr));
    if (!texture) return;
    gtk_image_set_from_paintable(image.get(), GDK_PAINTABLE(texture.get()));
    gtk_image_set_pixel_size(image.get(), 16);
  });
}

void BookmarkBar::addOverflow() {
  more_ = gtk_menu_button_new();
  // A label of the button's own would come with an arrow.
  gtk_menu_button_set_child(GTK_MENU_BUTTON(more_), gtk_label_new("»"));
  gtk_widget_add_css_class(more_, "flat");
  nameControl(more_, "More Bookmarks");
  gtk_menu_button_set_create_popup_func(
      GTK_MENU_BUTTON(more_),
      [](GtkMenuButton* opened, gpointer bar) {
        guardedCall("menu of bookmarks", [&] {
          gtk_menu_button_set_menu_model(opened, static_cast<BookmarkBar*>(bar)->overflow().model());
        });
      },
      this, nullptr);
  gtk_box_append(GTK_BOX(row_), more_);
}

Menu BookmarkBar::overflow() const {
  Menu menu, items, end;
  for (auto i = static_cast<std::size_t>(BookmarkBarLayout::shown(row_)); i < items_.size(); ++i) {
    const auto key = keyOf(items_[i]);
    if (key.starts_with('f')) {
      const auto path = key.substr(1);
      items.submenu(menuLabel(BookmarkPath::lastName(path)), commands_.contents(path));
    } else if (const auto id = Uuid::parse(key.substr(1)); id && bookmarks_.find(*id)) {
      items.item(menuLabel(bookmarks_.find(*id)->title), "win.open-bookmark",
                 g_variant_new_string(id->text().c_str()));
    }
  }
  end.item("All Bookmarks", "win.bookmarks");
  return std::move(menu.section(items).section(end));
}

// ---------------------------------------------------------------------------------------------------------
// What is done with it

void BookmarkBar::pressed(GtkGestureClick* gesture, double x, double y) {
  const auto button = gtk_gesture_single_get_current_button(GTK_GESTURE_SINGLE(gesture));
  const auto state = gtk_event_controller_get_current_event_state(GTK_EVENT_CONTROLLER(gesture));
  auto* item = gtk_widget_pick(root_, x, y, GTK_PICK_DEFAULT);
  while (item && item != root_ && keyOf(item).empty()) item = gtk_widget_get_parent(item);
  const auto key = item ? keyOf(item) : std::string();
  const auto take = [gesture] { gtk_gesture_set_state(GTK_GESTURE(gesture), GTK_EVENT_SEQUENCE_CLAIMED); };
  if (button == GDK_BUTTON_SECONDARY) {
    take();
    double left = x, top = y;
    if (item) gtk_widget_translate_coordinates(root_, item, x, y, &left, &top);
    return showMenu(item ? item : root_, {static_cast<int>(left), static_cast<int>(top), 1, 1});
  }
  const bool aside =
      button == GDK_BUTTON_MIDDLE || (button == GDK_BUTTON_PRIMARY && (state & GDK_CONTROL_MASK));
  const bool apart = button == GDK_BUTTON_PRIMARY && (state & GDK_SHIFT_MASK);
  if (!(aside || apart) || !key.starts_with('b')) return;
  take();
  if (const auto id = Uuid::parse(key.substr(1))) {
    commands_.open(*id, aside ? BookmarkTarget::newTab : BookmarkTarget::newWindow);
  }
}

void BookmarkBar::showMenu(GtkWidget* item, const GdkRectangle& at) {
  const auto key = keyOf(item);
  double x = at.x, y = at.y;
  gtk_widget_translate_coordinates(item, root_, at.x, at.y, &x, &y);
  commands_.setPlace(root_, {static_cast<int>(x), static_cast<int>(y), 1, 1});
  const auto id = key.starts_with('b') ? Uuid::parse(key.substr(1)) : std::nullopt;
  auto menu = id                     ? commands_.menuFor(*id)
              : key.starts_with('f') ? commands_.menuForFolder(key.substr(1))
                                     : Menu();
  Menu whole;
  whole.item("All Bookmarks", "win.bookmarks");
  whole.item("Always Show Bookmarks Bar", "win.bookmarks-bar");
  popUpMenu(root_, menu.section(whole), {static_cast<int>(x), static_cast<int>(y), 1, 1});
}

}  // namespace vale::gtk
