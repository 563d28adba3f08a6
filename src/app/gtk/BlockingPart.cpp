#include "app/gtk/ContentBlocking.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "common/WebAddress.h"

#include <utility>

namespace vale::gtk {

namespace {

/// Keeps the filters of one page.
class BlockingPart : public PagePart {
 public:
  BlockingPart(ContentBlocking& blocking, WebKitPage& page, BrowsingMode mode)
      : blocking_(blocking), view_(page.view()), mode_(mode) {
    subscriptions_.push_back(blocking.filters().observe([this](const auto&) { apply(); }));
    subscriptions_.push_back(Subscription(blocking.lists().sitesChanged().connect([this] { apply(); })));
    // Before anything of the page is asked for.
    connections_.push_back(connect(view_, "notify::uri", [this](GParamSpec*) { apply(); }));
    connections_.push_back(connect(view_, "load-changed", [this](WebKitLoadEvent) { apply(); }));
  }

 private:
  void apply() {
    const char* address = webkit_web_view_get_uri(view_);
    const bool excepted =
        address && *address && isWebAddress(address) && !blocking_.lists().blocksAt(address, mode_);
    const auto wanted = excepted ? std::vector<ContentFilter>() : blocking_.filters().value();
    if (wanted == given_) return;
    auto* content = webkit_web_view_get_user_content_manager(view_);
    for (const auto& filter : given_) webkit_user_content_manager_remove_filter(content, filter.get());
    given_ = wanted;
    for (const auto& filter : given_) webkit_user_content_manager_add_filter(content, filter.get());
  }

  ContentBlocking& blocking_;
  WebKitWebView* view_;
  BrowsingMode mode_;
  std::vector<ContentFilter> given_;
  std::vector<Subscription> subscriptions_;
  Connections connections_;
};

}  // namespace

std::unique_ptr<PagePart> ContentBlocking::serve(WebKitPage& page, BrowsingMode mode) {
  return std::make_unique<BlockingPart>(*this, page, mode);
}

}  // namespace vale::gtk
