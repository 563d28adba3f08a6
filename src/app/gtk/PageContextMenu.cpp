#include "app/gtk/PageContextMenu.h"

#include "app/gtk/BrowserServices.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* askAction = "ask-about-selection";
constexpr std::size_t longestSelection = 4'000;

std::string text(const char* value) { return value ? value : ""; }

/// What the engine itself does for an item.
std::optional<WebKitContextMenuAction> stockAction(PageMenuItem item) {
  switch (item) {
  case PageMenuItem::copyLink:
    return WEBKIT_CONTEXT_MENU_ACTION_COPY_LINK_TO_CLIPBOARD;
  case PageMenuItem::saveLink:
    return WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_LINK_TO_DISK;
  case PageMenuItem::saveImage:
    return WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_IMAGE_TO_DISK;
  case PageMenuItem::copyImage:
    return WEBKIT_CONTEXT_MENU_ACTION_COPY_IMAGE_TO_CLIPBOARD;
  case PageMenuItem::copyImageAddress:
    return WEBKIT_CONTEXT_MENU_ACTION_COPY_IMAGE_URL_TO_CLIPBOARD;
  case PageMenuItem::copy:
    return WEBKIT_CONTEXT_MENU_ACTION_COPY;
  case PageMenuItem::inspect:
    return WEBKIT_CONTEXT_MENU_ACTION_INSPECT_ELEMENT;
  default:
    return std::nullopt;
  }
}

/// The window's action that does the same.
const char* windowAction(PageMenuItem item) {
  switch (item) {
  case PageMenuItem::askAgent:
    return askAction;
  case PageMenuItem::back:
    return "back";
  case PageMenuItem::forward:
    return "forward";
  case PageMenuItem::reload:
    return "reload";
  case PageMenuItem::stop:
    return "stop";
  case PageMenuItem::savePage:
    return "save-page";
  case PageMenuItem::source:
    return "source";
  case PageMenuItem::screenshot:
    return "picture-of-page";
  default:
    return nullptr;
  }
}

bool isMedia(WebKitContextMenuAction action) {
  switch (action) {
  case WEBKIT_CONTEXT_MENU_ACTION_MEDIA_PLAY:
  case WEBKIT_CONTEXT_MENU_ACTION_MEDIA_PAUSE:
  case WEBKIT_CONTEXT_MENU_ACTION_MEDIA_MUTE:
  case WEBKIT_CONTEXT_MENU_ACTION_TOGGLE_MEDIA_CONTROLS:
  case WEBKIT_CONTEXT_MENU_ACTION_TOGGLE_MEDIA_LOOP:
  case WEBKIT_CONTEXT_MENU_ACTION_ENTER_VIDEO_FULLSCREEN:
  case WEBKIT_CONTEXT_MENU_ACTION_COPY_VIDEO_LINK_TO_CLIPBOARD:
  case WEBKIT_CONTEXT_MENU_ACTION_COPY_AUDIO_LINK_TO_CLIPBOARD:
  case WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_VIDEO_TO_DISK:
  case WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_AUDIO_TO_DISK:
    return true;
  default:
    return false;
  }
}

/// All that the engine offers in a text field, but for what stands elsewhere in the menu.
bool isEditing(WebKitContextMenuItem* item) {
  switch (webkit_context_menu_item_get_stock_action(item)) {
  case WEBKIT_CONTEXT_MENU_ACTION_SPELLING_GUESS:
  case WEBKIT_CONTEXT_MENU_ACTION_NO_GUESSES_FOUND:
  case WEBKIT_CONTEXT_MENU_ACTION_IGNORE_SPELLING:
  case WEBKIT_CONTEXT_MENU_ACTION_LEARN_SPELLING:
  case WEBKIT_CONTEXT_MENU_ACTION_IGNORE_GRAMMAR:
  case WEBKIT_CONTEXT_MENU_ACTION_CUT:
  case WEBKIT_CONTEXT_MENU_ACTION_COPY:
  case WEBKIT_CONTEXT_MENU_ACTION_PASTE:
  case WEBKIT_CONTEXT_MENU_ACTION_PASTE_AS_PLAIN_TEXT:
  case WEBKIT_CONTEXT_MENU_ACTION_DELETE:
  case WEBKIT_CONTEXT_MENU_ACTION_SELECT_ALL:
  case WEBKIT_CONTEXT_MENU_ACTION_INPUT_METHODS:
  case WEBKIT_CONTEXT_MENU_ACTION_UNICODE:
  case WEBKIT_CONTEXT_MENU_ACTION_INSERT_EMOJI:
    return true;
  default:
    return false;
  }
}

/// The engine takes a lone underscore for the mark of a shortcut letter.
std::string withoutMnemonic(const std::string& label) {
  std::string result;
  for (const char c : label) result.append(c == '_' ? 2 : 1, c);
  return result;
}

/// What was selected last in this program, which the engine makes the system's primary selection: asking the
/// page itself would answer only after the menu is there.
std::string selectedText(GtkWidget* view) {
  auto* clipboard = gtk_widget_get_primary_clipboard(view);
  auto* content = gdk_clipboard_is_local(clipboard) ? gdk_clipboard_get_content(clipboard) : nullptr;
  if (!content) return {};
  GValue value = G_VALUE_INIT;
  g_value_init(&value, G_TYPE_STRING);
  std::string selected;
  if (gdk_content_provider_get_value(content, &value, nullptr)) selected = text(g_value_get_string(&value));
  g_value_unset(&value);
  selected.resize(std::min(selected.size(), longestSelection));
  return validUtf8(std::move(selected));
}

}  // namespace

PageContextMenu::PageContextMenu(WebKitPage& page, const BrowserServices& services, BrowsingMode mode)
    : page_(page), services_(services), mode_(mode) {
  connections_.push_back(connect(page_.view(), "context-menu",
                                 [this](WebKitContextMenu* menu, WebKitHitTestResult* target) -> gboolean {
                                   fill(menu, target);
                                   return FALSE;
                                 }));
}

GActionMap* PageContextMenu::window() const {
  auto* root = gtk_widget_get_root(GTK_WIDGET(page_.view()));
  return root && G_IS_ACTION_MAP(root) ? G_ACTION_MAP(root) : nullptr;
}

void PageContextMenu::fill(WebKitContextMenu* menu, WebKitHitTestResult* target) {
  menuConnections_.clear();
  auto* map = window();
  place_ = {.page = page_.address().value(),
            .link = text(webkit_hit_test_result_get_link_uri(target)),
            .image = text(webkit_hit_test_result_get_image_uri(target)),
            .media = text(webkit_hit_test_result_get_media_uri(target)),
            .selection = selectedText(GTK_WIDGET(page_.view())),
            .hasSelection = static_cast<bool>(webkit_hit_test_result_context_is_selection(target)),
            .isEditable = static_cast<bool>(webkit_hit_test_result_context_is_editable(target)),
            .isPrivate = mode_ == BrowsingMode::isPrivate,
            .isLoading = page_.isLoading().value(),
            .canAskAgent = map && g_action_map_lookup_action(map, askAction)};
  std::vector<GObjectPointer<WebKitContextMenuItem>> former;
  for (GList* one = webkit_context_menu_get_items(menu); one; one = one->next) {
    former.push_back(GObjectPointer<WebKitContextMenuItem>::share(WEBKIT_CONTEXT_MENU_ITEM(one->data)));
  }
  webkit_context_menu_remove_all(menu);
  for (const auto& section : pageMenu(place_)) {
    if (webkit_context_menu_get_n_items(menu) > 0) {
      webkit_context_menu_append(menu, webkit_context_menu_item_new_separator());
    }
    for (const auto& line : section) append(menu, line, former);
  }
}

void PageContextMenu::append(WebKitContextMenu* menu, const PageMenuLine& line,
                             const std::vector<GObjectPointer<WebKitContextMenuItem>>& former) {
  if (line.item == PageMenuItem::media || line.item == PageMenuItem::editing) {
    for (const auto& item : former) {
      const bool wanted = line.item == PageMenuItem::editing
                              ? isEditing(item.get())
                              : isMedia(webkit_context_menu_item_get_stock_action(item.get()));
      if (wanted) webkit_context_menu_append(menu, item.get());
    }
  } else if (const auto stock = stockAction(line.item)) {
    webkit_context_menu_append(
        menu, webkit_context_menu_item_new_from_stock_action_with_label(*stock, line.label.c_str()));
  } else {
    webkit_context_menu_append(menu, ownItem(line));
  }
}

WebKitContextMenuItem* PageContextMenu::ownItem(const PageMenuLine& line) {
  // The engine tells them apart by their names.
  const auto id = fmt::format("page-menu-{}", static_cast<int>(line.item));
  const auto action = GObjectPointer<GSimpleAction>::adopt(g_simple_action_new(id.c_str(), nullptr));
  const char* name = windowAction(line.item);
  auto* map = window();
  auto* same = name && map ? g_action_map_lookup_action(map, name) : nullptr;
  if (name) g_simple_action_set_enabled(action.get(), same && g_action_get_enabled(same));
  menuConnections_.push_back(
      connect(action.get(), "activate", [this, item = line.item](GVariant*) { run(item); }));
  return webkit_context_menu_item_new_from_gaction(G_ACTION(action.get()),
                                                   withoutMnemonic(line.label).c_str(), nullptr);
}

void PageContextMenu::run(PageMenuItem item) {
  const auto open = [&](BrowsingMode mode) { services_.base.windows.openNew(mode, place_.link); };
  switch (item) {
  case PageMenuItem::linkInNewTab:
    return openTab(place_.link);
  case PageMenuItem::imageInNewTab:
    return openTab(place_.image);
  case PageMenuItem::linkInNewWindow:
    open(mode_);
    return;
  case PageMenuItem::linkInPrivateWindow:
    open(BrowsingMode::isPrivate);
    return;
  case PageMenuItem::searchWeb:
    return runInWindow("search-web", g_variant_new_string(place_.selection.c_str()));
  case PageMenuItem::askAgent:
    return runInWindow(askAction, g_variant_new_string(place_.selection.c_str()));
  default:
    if (const char* name = windowAction(item)) runInWindow(name);
  }
}

/// Beside the page, as a middle click would.
void PageContextMenu::openTab(const std::string& address) {
  const auto model = services_.modelOf(page_);
  if (!model) return;
  const auto& tabs = model->tabs();
  const auto opener = std::ranges::find_if(tabs, [&](const auto& tab) { return tab->page() == &page_; });
  model->open(address, {.opener = opener == tabs.end() ? nullptr : *opener, .selects = false});
}

void PageContextMenu::runInWindow(const char* action, GVariant* target) {
  auto* map = window();
  auto* found = map ? g_action_map_lookup_action(map, action) : nullptr;
  if (found) return g_action_activate(found, target);
  if (target) g_variant_unref(g_variant_ref_sink(target));
}

}  // namespace vale::gtk
