#include "app/gtk/FindBar.h"

#include "app/gtk/Controls.h"
#include "app/gtk/IsolatedWorld.h"
#include "common/Text.h"

#include <memory>

namespace vale::gtk {

namespace {

/// A longer selection is not what somebody looks for.
constexpr std::size_t longestSelection = 200;

/// With nothing selected the engine begins at the page's own beginning.
constexpr const char* selectNothing = "getSelection().removeAllRanges()";
constexpr const char* collapse = "const now = getSelection(); if (now.rangeCount) now.collapseToStart()";
constexpr const char* readSelection = "return String(getSelection()).slice(0, 1000)";

}  // namespace

FindBar::FindBar(const WindowPlace& place)
    : place_(place), bar_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4))) {
  addControls();
  gtk_box_append(place_.above, bar_.get());
  place_.actions.add("find", [this] { open(); });
  place_.actions.add("find-next", [this] { step(FindMatches::Look::next); });
  place_.actions.add("find-previous", [this] { step(FindMatches::Look::previous); });
  subscriptions_.push_back(place_.pages.onShown([this] { followPage(); }));
  followPage();
}

FindBar::~FindBar() {
  if (asked_) g_cancellable_cancel(asked_.get());
}

void FindBar::addControls() {
  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  const auto add = [this](GtkWidget* widget) { gtk_box_append(GTK_BOX(bar_.get()), widget); };
  gtk_widget_add_css_class(bar_.get(), "find-bar");
  gtk_widget_set_visible(bar_.get(), FALSE);
  add(entry_ = gtk_search_entry_new());
  g_object_set(entry_, "placeholder-text", "Find in page", nullptr);
  gtk_editable_set_max_width_chars(GTK_EDITABLE(entry_), 40);
  gtk_widget_set_hexpand(entry_, TRUE);
  nameControl(entry_, "Find in page");
  add(count_ = gtk_label_new(nullptr));
  gtk_widget_add_css_class(count_, "dim-label");
  gtk_widget_add_css_class(count_, "numeric");
  gtk_label_set_width_chars(GTK_LABEL(count_), 12);
  add(previous_ = flatButton("go-up-symbolic", "Previous match"));
  add(next_ = flatButton("go-down-symbolic", "Next match"));
  add(caseButton_ = gtk_toggle_button_new_with_label("Aa"));
  gtk_widget_add_css_class(caseButton_, "flat");
  nameControl(caseButton_, "Match case");
  auto* closeButton = flatButton("window-close-symbolic", "Close the search");
  add(closeButton);

  on(entry_, "search-changed", [this] { changed(); });
  on(entry_, "activate", [this] { step(FindMatches::Look::next); });
  on(entry_, "stop-search", [this] { close(); });
  on(previous_, "clicked", [this] { step(FindMatches::Look::previous); });
  on(next_, "clicked", [this] { step(FindMatches::Look::next); });
  on(caseButton_, "toggled", [this] { changed(); });
  on(closeButton, "clicked", [this] { close(); });
  auto* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  on(keys, "key-pressed", [this](guint key, guint, GdkModifierType modifiers) -> gboolean {
    if (key == GDK_KEY_Escape) {
      close();
      return TRUE;
    }
    const bool back = (key == GDK_KEY_Return || key == GDK_KEY_KP_Enter) && (modifiers & GDK_SHIFT_MASK);
    if (back) step(FindMatches::Look::previous);
    return back;
  });
  gtk_widget_add_controller(bar_.get(), keys);
}

void FindBar::followPage() {
  if (view_ && searching_)
    webkit_find_controller_search_finish(webkit_web_view_get_find_controller(view_.get()));
  if (asked_) g_cancellable_cancel(asked_.get());
  pageConnections_.clear();
  pageSubscriptions_.clear();
  searching_ = false;
  matches_.forget();
  auto* page = place_.pages.page();
  view_ = GObjectPointer<WebKitWebView>::share(page ? page->view() : nullptr);
  asked_ = GObjectPointer<GCancellable>::adopt(g_cancellable_new());
  place_.actions.enable("find", page != nullptr);
  if (!page) {
    gtk_widget_set_visible(bar_.get(), FALSE);
    return;
  }
  auto* finder = webkit_web_view_get_find_controller(view_.get());
  const auto on = [&](const char* signal, auto handler) {
    pageConnections_.push_back(connect(finder, signal, std::move(handler)));
  };
  on("found-text", [this](guint count) {
    matches_.found(count);
    showMatches();
    countMatches();
  });
  on("failed-to-find-text", [this] {
    if (const auto around = matches_.notFound()) return look(*around);
    showMatches();
  });
  on("counted-matches", [this](guint count) {
    matches_.counted(count);
    showMatches();
  });
  pageSubscriptions_.push_back(page->onLoadEnded([this] {
    searching_ = false;
    matches_.forget();
    countMatches();
    showMatches();
  }));
  countMatches();
  showMatches();
}

/// Of what is in the page now, which may have changed under the search.
void FindBar::countMatches() {
  if (!isOpen() || words().empty()) return;
  webkit_find_controller_count_matches(webkit_web_view_get_find_controller(view_.get()), words().c_str(),
                                       options(), FindMatches::most);
}

void FindBar::open() {
  if (!view_) return;
  const bool was = isOpen();
  gtk_widget_set_visible(bar_.get(), TRUE);
  gtk_widget_grab_focus(entry_);
  gtk_editable_select_region(GTK_EDITABLE(entry_), 0, -1);
  runInPage(view_.get(), readSelection, asked_.get(), [this](JSCValue* result) {
    if (!result || !jsc_value_is_string(result)) return;
    const std::unique_ptr<char, decltype(&g_free)> text(jsc_value_to_string(result), g_free);
    openWith(text.get());
  });
  if (!was && !words().empty()) changed();
}

/// Unless the user has begun to type.
void FindBar::openWith(const std::string& selection) {
  const auto text = std::string(trimmed(validUtf8(selection)));
  if (text.empty() || text.size() > longestSelection || singleLine(text) != text || text == words()) return;
  int begin = 0, end = 0;
  const bool untouched =
      words().empty() || gtk_editable_get_selection_bounds(GTK_EDITABLE(entry_), &begin, &end);
  if (!isOpen() || !untouched) return;
  gtk_editable_set_text(GTK_EDITABLE(entry_), text.c_str());
  gtk_editable_select_region(GTK_EDITABLE(entry_), 0, -1);
  searching_ = false;
  look(FindMatches::Look::fromSelection);
}

void FindBar::close() {
  gtk_widget_set_visible(bar_.get(), FALSE);
  if (view_) webkit_find_controller_search_finish(webkit_web_view_get_find_controller(view_.get()));
  searching_ = false;
  matches_.forget();
  place_.focusPage();
}

void FindBar::changed() {
  // The entry tells late, and of what was sought already.
  if (!view_ || (searching_ && words() == sought_ && options() == soughtOptions_)) return;
  searching_ = false;
  matches_.forget();
  if (words().empty()) webkit_find_controller_search_finish(webkit_web_view_get_find_controller(view_.get()));
  if (words().empty() || !isOpen()) return showMatches();
  look(FindMatches::Look::fromTop);
}

void FindBar::step(FindMatches::Look direction) {
  if (!view_) return;
  if (!isOpen() || words().empty()) return open();
  if (searching_) return look(direction);
  look(direction == FindMatches::Look::next ? FindMatches::Look::fromTop : FindMatches::Look::fromEnd);
}

void FindBar::look(FindMatches::Look where) {
  using enum FindMatches::Look;
  auto* finder = webkit_web_view_get_find_controller(view_.get());
  if (where == next || where == previous) {
    matches_.looking(where);
    return where == next ? webkit_find_controller_search_next(finder)
                         : webkit_find_controller_search_previous(finder);
  }
  searching_ = true;
  sought_ = words();
  soughtOptions_ = options();
  runInPage(view_.get(), where == fromSelection ? collapse : selectNothing, asked_.get(),
            [this, where](JSCValue*) { search(where); });
}

void FindBar::search(FindMatches::Look where) {
  if (!isOpen() || words().empty()) return;
  matches_.looking(where);
  const bool back = where == FindMatches::Look::fromEnd;
  webkit_find_controller_search(webkit_web_view_get_find_controller(view_.get()), words().c_str(),
                                options() | (back ? WEBKIT_FIND_OPTIONS_BACKWARDS : 0), FindMatches::most);
}

void FindBar::showMatches() {
  gtk_label_set_text(GTK_LABEL(count_), matches_.text().c_str());
  const bool none = matches_.total() == 0U;
  (none ? gtk_widget_add_css_class : gtk_widget_remove_css_class)(entry_, "error");
  for (auto* button : {previous_, next_}) gtk_widget_set_sensitive(button, !none && !words().empty());
}

std::string FindBar::words() const { return gtk_editable_get_text(GTK_EDITABLE(entry_)); }

guint32 FindBar::options() const {
  const bool exact = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(caseButton_));
  return exact ? WEBKIT_FIND_OPTIONS_NONE : WEBKIT_FIND_OPTIONS_CASE_INSENSITIVE;
}

}  // namespace vale::gtk
