#include "app/gtk/PageDownloads.h"

#include "app/gtk/WebKitPage.h"
#include "browser/AddressDisplay.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <utility>

namespace vale::gtk {

PageDownloads::PageDownloads(WebKitPage& page, BrowsingMode mode, EngineDownloads& downloads)
    : page_(page), mode_(mode), downloads_(downloads) {
  downloads_.pages_[page_.view()] = this;
  watchUser();
  watchMenu();
}

PageDownloads::~PageDownloads() {
  downloads_.pages_.erase(page_.view());
  connections_.clear();
  for (const auto& weak : held_) {
    if (const auto download = weak.lock()) download->drop();
  }
}

void PageDownloads::watchUser() {
  auto* events = gtk_event_controller_legacy_new();
  gtk_event_controller_set_propagation_phase(events, GTK_PHASE_CAPTURE);
  connections_.push_back(connect(events, "event", [this](GdkEvent* event) -> gboolean {
    const auto type = gdk_event_get_event_type(event);
    if (type == GDK_BUTTON_PRESS || type == GDK_KEY_PRESS || type == GDK_TOUCH_BEGIN) policy_.noteUserAct();
    return FALSE;
  }));
  gtk_widget_add_controller(GTK_WIDGET(page_.view()), events);
  // An address that was typed, or taken from a list of the browser's.
  connections_.push_back(connect(page_.view(), "load-changed", [this](WebKitLoadEvent event) {
    if (event == WEBKIT_LOAD_STARTED && page_.transition() == PageTransition::opened) policy_.noteUserAct();
  }));
  subscriptions_.push_back(page_.document().observe([this](auto) {
    policy_.noteSite(webOrigin(page_.address().value()));
    // What an earlier page began is not asked about on the next one.
    answer(Consent::refused);
  }));
}

void PageDownloads::permit(EngineDownload& download) {
  switch (policy_.request()) {
  case AutomaticDownloads::Answer::goAhead:
    download.begin();
    if (!page_.hasContent().value()) downloads_.onNothingToShow(page_);
    return;
  case AutomaticDownloads::Answer::refused:
    return download.drop();
  case AutomaticDownloads::Answer::ask:
    break;
  }
  if (held_.size() >= mostHeld) return download.drop();
  held_.push_back(download.weak_from_this());
  if (!bar_) ask();
}

void PageDownloads::ask() {
  const auto address = page_.address().value();
  const auto host = hostRange(address);
  const auto site = host.empty()
                        ? "This page"
                        : "“" + clampedText(address.substr(host.begin, host.end - host.begin), 100) + "”";
  bar_ = std::make_unique<QuestionBar>(
      page_.bars(), site + " wants to download more files by itself. They wait until you decide.",
      std::vector<QuestionBar::Answer>{{.label = "_Allow",
                                        .chosen =
                                            [this] {
                                              policy_.allow();
                                              answer(Consent::given);
                                            }},
                                       {.label = "_Block",
                                        .chosen =
                                            [this] {
                                              policy_.refuse();
                                              answer(Consent::refused);
                                            },
                                        .suggested = true}},
      [this] { answer(Consent::refused); });
}

void PageDownloads::answer(Consent consent) {
  bar_.reset();
  for (const auto& weak : std::exchange(held_, {})) {
    const auto download = weak.lock();
    if (!download) continue;
    if (consent == Consent::given) {
      download->begin();
    } else {
      download->drop();
    }
  }
}

void PageDownloads::watchMenu() {
  connections_.push_back(connect(
      page_.view(), "context-menu", [this](WebKitContextMenu* menu, WebKitHitTestResult* hit) -> gboolean {
        const auto text = [](const char* value) { return std::string(value ? value : ""); };
        menuConnections_.clear();
        offerSaving(menu, WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_LINK_TO_DISK, "Save Link As…",
                    text(webkit_hit_test_result_get_link_uri(hit)));
        const auto picture = text(webkit_hit_test_result_get_image_uri(hit));
        offerSaving(menu, WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_IMAGE_TO_DISK, "Save Image As…", picture);
        const auto media = text(webkit_hit_test_result_get_media_uri(hit));
        offerSaving(menu, WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_VIDEO_TO_DISK, "Save Video As…", media);
        offerSaving(menu, WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_AUDIO_TO_DISK, "Save Audio As…", media);
        return FALSE;
      }));
}

/// Puts an item that asks for the place where the engine has one that does not.
void PageDownloads::offerSaving(WebKitContextMenu* menu, WebKitContextMenuAction stock, const char* label,
                                const std::string& address) {
  const auto length = webkit_context_menu_get_n_items(menu);
  for (guint i = 0; i < length; ++i) {
    auto* item = webkit_context_menu_get_item_at_position(menu, i);
    if (webkit_context_menu_item_get_stock_action(item) != stock || address.empty()) continue;
    const auto action = GObjectPointer<GSimpleAction>::adopt(g_simple_action_new("save", nullptr));
    menuConnections_.push_back(connect(action.get(), "activate", [this, address](GVariant*) {
      downloads_.saveAs(page_.view(), mode_, address);
    }));
    webkit_context_menu_remove(menu, item);
    webkit_context_menu_insert(
        menu, webkit_context_menu_item_new_from_gaction(G_ACTION(action.get()), label, nullptr),
        static_cast<int>(i));
    return;
  }
}

}  // namespace vale::gtk
