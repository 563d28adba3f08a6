#include "app/gtk/BrowserWindow.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/Controls.h"
#include "app/gtk/HelpWindows.h"
#include "app/gtk/MainMenu.h"
#include "app/gtk/SessionsDialog.h"
#include "app/gtk/Style.h"
#include "app/gtk/ZoomButton.h"
#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vale::gtk {

namespace {

constexpr int narrowestWindow = 480;
constexpr int lowestWindow = 300;

GtkButton* iconButton(const char* icon, const char* meaning, const char* action) {
  auto* button = gtk_button_new_from_icon_name(icon);
  nameControl(button, meaning);
  gtk_actionable_set_action_name(GTK_ACTIONABLE(button), action);
  return GTK_BUTTON(button);
}

/// A size from the session file, which may hold anything.
int usable(double length, int least) {
  return std::isfinite(length) ? static_cast<int>(std::clamp(length, double(least), 16000.0)) : least;
}

}  // namespace

BrowserWindow::BrowserWindow(GtkApplication* application, std::shared_ptr<BrowserModel> model, Host host,
                             const AddressInput& input, Clock& clock, BrowserServices& services,
                             WindowSize size)
    : context_(std::make_shared<WindowContext>(std::move(model), std::move(host),
                                               services.base.surroundings.main)),
      input_(input), window_(GObjectPointer<AdwApplicationWindow>::share(
                         ADW_APPLICATION_WINDOW(adw_application_window_new(application)))),
      rows_(context_), menu_(context_), pages_(context_, clock), entry_(hostOfEntry()),
      header_(ADW_HEADER_BAR(adw_header_bar_new())), content_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)),
      beside_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0)),
      frame_(content_, clock,
             [weak = std::weak_ptr(context_)](double width) {
               if (const auto context = weak.lock()) context->model->setWallWidth(width);
             }),
      actions_(context_, G_ACTION_MAP(window_.get())), navigationMenus_(context_, pages_),
      navigation_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2))) {
  installStyle(gtk_widget_get_display(GTK_WIDGET(window_.get())));
  gtk_widget_insert_action_group(GTK_WIDGET(window_.get()), "tab", menu_.actions());
  if (context_->model->isPrivate()) gtk_widget_add_css_class(GTK_WIDGET(window_.get()), "private");
  menu_.onEditGroup = [this](const Uuid& group) { editGroup(group); };
  addActions();
  addHeader();
  gtk_box_append(GTK_BOX(content_), GTK_WIDGET(header_));
  auto* above = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(content_), above);
  addNotices(above);
  auto* over = gtk_overlay_new();
  gtk_overlay_set_child(GTK_OVERLAY(over), pages_.widget());
  gtk_widget_set_hexpand(over, TRUE);
  gtk_box_append(GTK_BOX(beside_), over);
  gtk_box_append(GTK_BOX(content_), beside_);
  adw_application_window_set_content(window_.get(), frame_.widget());
  setPopoverHome(window(), content_);
  TabDrag::swallow(frame_.widget(), GTK_PHASE_BUBBLE);
  // Before the page sees it.
  TabDrag::swallow(pages_.widget(), GTK_PHASE_CAPTURE);
  gtk_window_set_default_size(window(), size.width, size.height);
  gtk_widget_set_size_request(GTK_WIDGET(window_.get()), narrowestWindow, lowestWindow);
  if (const auto& width = context_->model->wallWidth()) frame_.setWidth(*width);
  arrange();
  followWindow();
  followPage();
  parts_ = makeWindowParts({.context = context_,
                            .services = services,
                            .clock = clock,
                            .window = GTK_APPLICATION_WINDOW(window_.get()),
                            .actions = actions_,
                            .pages = pages_,
                            .entry = entry_,
                            .header = header_,
                            .above = GTK_BOX(above),
                            .beside = GTK_BOX(beside_),
                            .over = GTK_OVERLAY(over),
                            .focusPage = [this] { focusPage(); }});
}

BrowserWindow::~BrowserWindow() {
  parts_.clear();
  subscriptions_.clear();
  pageSubscriptions_.clear();
  connections_.clear();
  gtk_window_destroy(window());
}

void BrowserWindow::place(const std::optional<SavedFrame>& frame, const ShellWindow*) {
  // Where it stands is the desktop's to say; only the size is ours.
  if (frame) {
    gtk_window_set_default_size(window(), usable(frame->width, narrowestWindow),
                                usable(frame->height, lowestWindow));
  }
  gtk_window_present(window());
  focusPage();
}

void BrowserWindow::bringToFront() { gtk_window_present(window()); }

void BrowserWindow::later(void (BrowserWindow::*work)()) {
  context_->main.post([this, work, alive = std::weak_ptr(alive_)] {
    if (!alive.expired()) (this->*work)();
  });
}

void BrowserWindow::addActions() {
  const auto onPage = [this](void (Page::*work)()) {
    return [this, work] {
      if (auto* shown = page()) (shown->*work)();
    };
  };
  actions_.add("back", onPage(&Page::goBack));
  actions_.add("forward", onPage(&Page::goForward));
  actions_.add("reload", onPage(&Page::reload));
  actions_.add("stop", [this] {
    if (auto* shown = page()) shown->stop();
    entry_.restore();
  });
  actions_.add("address", [this] { entry_.edit(); });
  actions_.add("focus-page", [this] { focusPage(); });
  actions_.add("next-pane", [this] { focusNextPane(); });
  actions_.add("search-web", "s", [this](GVariant* words) {
    const auto request = input_.search(g_variant_get_string(words, nullptr));
    if (request.kind == AddressRequest::Kind::search) open(request.address, OpenPlace::newTab);
  });
  actions_.add("shortcuts", [this] { showShortcuts(window()); });
  actions_.add("about", [this] { showAbout(window()); });
  actions_.add("earlier-sessions", [this] { showEarlierSessions(window(), context_->host); });
}

void BrowserWindow::addHeader() {
  const auto navigate = [this](GtkButton* button, int direction) {
    navigationMenus_.serve(button, direction);
    gtk_box_append(GTK_BOX(navigation_.get()), GTK_WIDGET(button));
  };
  navigate(iconButton("go-previous-symbolic", "Back", "win.back"), -1);
  navigate(iconButton("go-next-symbolic", "Forward", "win.forward"), 1);
  navigate(reloadButton_ = iconButton("view-refresh-symbolic", "Reload", "win.reload"), 0);

  auto* clamp = adw_clamp_new();
  adw_clamp_set_maximum_size(ADW_CLAMP(clamp), 860);
  adw_clamp_set_tightening_threshold(ADW_CLAMP(clamp), 560);
  gtk_widget_set_hexpand(clamp, TRUE);
  adw_clamp_set_child(ADW_CLAMP(clamp), entry_.widget());
  adw_header_bar_set_title_widget(header_, clamp);

  auto* menu = gtk_menu_button_new();
  gtk_menu_button_set_icon_name(GTK_MENU_BUTTON(menu), "open-menu-symbolic");
  gtk_menu_button_set_primary(GTK_MENU_BUTTON(menu), TRUE);
  nameControl(menu, "Main Menu");
  gtk_menu_button_set_create_popup_func(
      GTK_MENU_BUTTON(menu),
      [](GtkMenuButton* button, gpointer model) {
        gtk_menu_button_set_menu_model(button, mainMenu(*static_cast<BrowserModel*>(model)).model());
        gtk_popover_menu_add_child(GTK_POPOVER_MENU(gtk_menu_button_get_popover(button)),
                                   zoomMenuRow(G_ACTION_GROUP(gtk_widget_get_root(GTK_WIDGET(button)))),
                                   zoomPlace);
      },
      context_->model.get(), nullptr);
  adw_header_bar_pack_end(header_, menu);
  if (!context_->model->isPrivate()) return;
  auto* mark = gtk_label_new("Private");
  gtk_widget_add_css_class(mark, "private-mark");
  gtk_widget_set_valign(mark, GTK_ALIGN_CENTER);
  gtk_widget_set_tooltip_text(mark, "Nothing of this window is kept once it is closed");
  adw_header_bar_pack_end(header_, mark);
}

/// A sentence that stays until what it tells of is over.
void BrowserWindow::addNotices(GtkWidget* box) {
  auto* notice = gtk_label_new(nullptr);
  gtk_widget_add_css_class(notice, "notice");
  gtk_label_set_wrap(GTK_LABEL(notice), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(notice), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(GTK_LABEL(notice), 0);
  gtk_label_set_selectable(GTK_LABEL(notice), TRUE);
  gtk_box_append(GTK_BOX(box), notice);
  const auto show = [this, notice](const auto&) {
    const auto& readError = context_->model->session().readError();
    const auto& storageError = context_->model->storageError.value();
    std::string text = readError.value_or("");
    if (storageError && storageError != readError) text += (text.empty() ? "" : "\n") + *storageError;
    gtk_label_set_text(GTK_LABEL(notice), text.c_str());
    gtk_widget_set_visible(notice, !text.empty());
  };
  subscriptions_.push_back(context_->model->storageError.observe(show));
}

/// Puts the tabs and the navigation to where the layout has them.
void BrowserWindow::arrange() {
  const auto& model = *context_->model;
  const bool vertical = model.tabLayout().value() == TabLayout::vertical;
  const bool beside = vertical && model.wallVisible().value();
  if (auto* parent = gtk_widget_get_parent(navigation_.get())) {
    auto* bar = gtk_widget_get_ancestor(parent, ADW_TYPE_HEADER_BAR);
    adw_header_bar_remove(ADW_HEADER_BAR(bar), navigation_.get());
  }
  if (vertical) {
    if (strip_) gtk_box_remove(GTK_BOX(content_), strip_->widget());
    strip_.reset();
    if (!wall_) wall_ = std::make_unique<TabWall>(context_, rows_, menu_);
    adw_header_bar_set_show_start_title_buttons(wall_->header(), beside);
    frame_.hold(wall_->widget(), beside ? WallFrame::Place::beside : WallFrame::Place::peeking);
  } else {
    frame_.hold(nullptr, WallFrame::Place::beside);
    wall_.reset();
    if (!strip_) {
      strip_ = std::make_unique<TabStrip>(context_, rows_, menu_);
      gtk_box_insert_child_after(GTK_BOX(content_), strip_->widget(), GTK_WIDGET(header_));
    }
  }
  adw_header_bar_set_show_start_title_buttons(header_, !beside);
  adw_header_bar_pack_start(beside ? wall_->header() : header_, navigation_.get());
}

void BrowserWindow::followWindow() {
  auto& model = *context_->model;
  const auto keep = [this](Subscription subscription) { subscriptions_.push_back(std::move(subscription)); };
  const auto on = [this](const char* signal, auto handler) {
    connections_.push_back(connect(window(), signal, std::move(handler)));
  };
  keep(model.tabLayout().subscribe([this](TabLayout) { arrange(); }));
  keep(model.wallVisible().subscribe([this](bool) { arrange(); }));
  keep(pages_.onShown([this] { followPage(); }));
  keep(model.onSelectionChange([this] { later(&BrowserWindow::selectionChanged); }));
  later(&BrowserWindow::selectionChanged);

  on("close-request", [this]() -> gboolean {
    context_->later([host = context_->host](BrowserModel& model) { host.closeWindow(model.id); });
    return TRUE;
  });
  on("notify::is-active", [this](GParamSpec*) {
    if (gtk_window_is_active(window())) context_->host.noteFront(context_->model->id);
  });
  const auto resized = [this](GParamSpec*) {
    if (gtk_window_is_maximized(window()) || gtk_window_is_fullscreen(window())) return;
    int width = 0, height = 0;
    gtk_window_get_default_size(window(), &width, &height);
    auto frame = context_->model->lastFrame().value_or(SavedFrame());
    frame.width = width;
    frame.height = height;
    if (width > 0 && height > 0) context_->model->setLastFrame(frame);
  };
  on("notify::default-width", resized);
  on("notify::default-height", resized);
  on("notify::fullscreened", [this](GParamSpec*) {
    const bool whole = gtk_window_is_fullscreen(window());
    gtk_widget_set_visible(GTK_WIDGET(header_), !whole);
    if (wall_) gtk_widget_set_visible(wall_->widget(), !whole);
    if (strip_) gtk_widget_set_visible(strip_->widget(), !whole);
  });
}

void BrowserWindow::followPage() {
  pageSubscriptions_.clear();
  const auto keep = [this](Subscription subscription) {
    pageSubscriptions_.push_back(std::move(subscription));
  };
  const auto tab = context_->model->selected();
  if (auto* shown = page()) {
    keep(shown->title().subscribe([this](const auto&) { showTitle(); }));
    keep(shown->failure().subscribe([this](const auto&) { showTitle(); }));
    keep(shown->address().observe([this](const std::string& address) {
      entry_.showAddress(isStart(address) ? "" : address);
      actions_.enable("reload", !address.empty());
      showTitle();
    }));
    keep(shown->security().observe([this](PageSecurity security) { entry_.showSecurity(security); }));
    keep(shown->canGoBack().observe([this](bool can) { actions_.enable("back", can); }));
    keep(shown->canGoForward().observe([this](bool can) { actions_.enable("forward", can); }));
    keep(shown->isLoading().observe([this](bool loading) { showReloadOrStop(loading); }));
    return;
  }
  entry_.showAddress(tab && !tab->isStart() ? tab->url() : "");
  entry_.showSecurity(PageSecurity::local);
  for (const char* action : {"reload", "back", "forward"}) actions_.enable(action, false);
  showReloadOrStop(false);
  showTitle();
}

void BrowserWindow::showTitle() {
  const auto tab = context_->model->selected();
  const auto* shown = page();
  const auto* failure = shown && shown->failure().value() ? &*shown->failure().value() : nullptr;
  auto title = failure ? failure->title : tab ? tab->title() : "Vale";
  if (context_->model->isPrivate()) title += " — Private";
  gtk_window_set_title(window(), title.c_str());
}

void BrowserWindow::showReloadOrStop(bool loading) {
  actions_.enable("stop", loading);
  gtk_button_set_icon_name(reloadButton_, loading ? "process-stop-symbolic" : "view-refresh-symbolic");
  nameControl(GTK_WIDGET(reloadButton_), loading ? "Stop" : "Reload");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(reloadButton_), loading ? "win.stop" : "win.reload");
}

void BrowserWindow::selectionChanged() {
  if (wall_) wall_->revealSelected();
  if (strip_) strip_->revealSelected();
  focusPage();
}

/// The keyboard to the page, or to the address of a tab that has none.
void BrowserWindow::focusPage() {
  frame_.retreat();
  const auto tab = context_->model->selected();
  auto* shown = page();
  if (shown && !(tab->isStart() && isStart(shown->address().value()))) {
    shown->takeFocus();
  } else {
    entry_.edit();
  }
}

void BrowserWindow::focusNextPane() {
  auto* focus = gtk_root_get_focus(GTK_ROOT(window_.get()));
  const auto within = [focus](GtkWidget* widget) {
    return focus && (focus == widget || gtk_widget_is_ancestor(focus, widget));
  };
  if (within(entry_.widget())) {
    if (wall_ && gtk_widget_get_mapped(wall_->widget())) return wall_->focus();
    if (strip_) return strip_->focus();
  } else if (within(beside_)) {
    auto* panel = g_action_map_lookup_action(G_ACTION_MAP(window_.get()), "focus-agent-panel");
    const bool onPage = within(pages_.widget());
    if (onPage && panel && g_action_get_enabled(panel)) return g_action_activate(panel, nullptr);
    return entry_.edit();
  }
  focusPage();
}

AddressEntry::Host BrowserWindow::hostOfEntry() {
  return {
      .submitted = [this](const std::string& typed, OpenPlace place) { submit(typed, place); },
      .chosen = [this](const AddressSuggestion& suggestion, OpenPlace place) { choose(suggestion, place); },
      .suggestions =
          [this](std::string_view typed) { return context_->host.suggestions(typed, *context_->model); },
      .asked = [this](const std::string& words) { ask(words); },
      .left = [this] { focusPage(); },
  };
}

void BrowserWindow::submit(const std::string& typed, OpenPlace place) {
  const auto request = input_.interpret(typed);
  switch (request.kind) {
  case AddressRequest::Kind::nothing:
    break;
  case AddressRequest::Kind::refused:
    entry_.showRefusal(request.message);
    break;
  case AddressRequest::Kind::page:
  case AddressRequest::Kind::search:
    open(request.address, place);
    break;
  }
}

void BrowserWindow::choose(const AddressSuggestion& suggestion, OpenPlace place) {
  if (suggestion.kind == AddressSuggestion::Kind::agent) return ask(suggestion.address);
  if (!suggestion.tab || place != OpenPlace::here) return open(suggestion.address, place);
  entry_.restore();
  // An empty tab was only the way to the other.
  auto& model = *context_->model;
  const auto left = model.selected();
  context_->host.showTab(*suggestion.tab);
  const bool wasEmpty = left && left->isStart();
  if (wasEmpty && model.selected() != left) model.close(left->id);
}

/// The words leave the entry for the panel, where there is one.
void BrowserWindow::ask(const std::string& words) {
  if (onlyWhiteSpace(words)) return;
  entry_.restore();
  gtk_widget_activate_action(GTK_WIDGET(window_.get()), "win.ask-agent", "s", words.c_str());
}

void BrowserWindow::open(const std::string& address, OpenPlace place) {
  auto& model = *context_->model;
  const auto tab = model.selected();
  if (!tab) return;
  if (place == OpenPlace::newTab) {
    entry_.restore();
    model.open(address, {.opener = tab});
    return;
  }
  if (place == OpenPlace::newWindow) {
    entry_.restore();
    context_->host.newWindow(model.mode, address);
    return;
  }
  tab->open(address, model.engine());
  if (auto* shown = page()) gtk_widget_grab_focus(GTK_WIDGET(shown->view()));
}

void BrowserWindow::editGroup(const Uuid& group) {
  // A group that is new has its header, at its place, only once the next frame is painted.
  editing_ = connect(gtk_widget_get_frame_clock(GTK_WIDGET(window())), "after-paint", [this, group] {
    const auto id = group;
    editing_.disconnect();
    if (wall_) wall_->editGroup(id);
    if (strip_) strip_->editGroup(id);
  });
  later(&BrowserWindow::paint);
}

void BrowserWindow::paint() { gtk_widget_queue_draw(GTK_WIDGET(window_.get())); }

}  // namespace vale::gtk
