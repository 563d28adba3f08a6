#include "app/gtk/BlockingHere.h"

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "app/gtk/WebKitPage.h"
#include "common/WebAddress.h"

#include <utility>

namespace vale::gtk {

namespace {

class BlockingHere : public WindowPart {
 public:
  BlockingHere(const WindowPlace& place, ContentBlocking& blocking)
      : blocking_(blocking), pages_(place.pages), mode_(place.context->model->mode),
        action_(GObjectPointer<GSimpleAction>::adopt(
            g_simple_action_new_stateful("blocking-here", nullptr, g_variant_new_boolean(FALSE)))) {
    g_action_map_add_action(G_ACTION_MAP(place.window), G_ACTION(action_.get()));
    connections_.push_back(connect(action_.get(), "activate", [this](GVariant*) { toggle(); }));
    subscriptions_.push_back(place.pages.onShown([this] { follow(); }));
    subscriptions_.push_back(Subscription(blocking.lists().sitesChanged().connect([this] { show(); })));
    subscriptions_.push_back(blocking.filters().subscribe([this](const auto&) { show(); }));
    follow();
  }

 private:
  void follow() {
    auto* page = pages_.page();
    address_ = page ? page->address().subscribe([this](const auto&) { show(); }) : Subscription();
    show();
  }

  std::string address() const {
    auto* page = pages_.page();
    return page ? page->address().value() : std::string();
  }

  void show() {
    const auto where = address();
    const bool can = blocking_.isEnabled() && isWebAddress(where);
    g_simple_action_set_enabled(action_.get(), can);
    g_simple_action_set_state(action_.get(),
                              g_variant_new_boolean(can && blocking_.lists().blocksAt(where, mode_)));
  }

  void toggle() {
    const auto where = address();
    blocking_.lists().setBlocksAt(where, !blocking_.lists().blocksAt(where, mode_), mode_);
    if (auto* page = pages_.page()) page->reload();
  }

  ContentBlocking& blocking_;
  PageStack& pages_;
  BrowsingMode mode_;
  GObjectPointer<GSimpleAction> action_;
  Subscription address_;
  std::vector<Subscription> subscriptions_;
  Connections connections_;
};

}  // namespace

std::unique_ptr<WindowPart> makeBlockingHere(const WindowPlace& place, ContentBlocking& blocking) {
  return std::make_unique<BlockingHere>(place, blocking);
}

}  // namespace vale::gtk
