#include "app/gtk/WindowPictures.h"

#include <utility>

namespace vale::gtk {

WindowPictures::WindowPictures(BrowserModel& model,
                               std::function<void(const std::optional<std::string>&)> changed)
    : model_(model), changed_(std::move(changed)) {
  selection_ = model_.onSelectionChange([this] {
    followSelected();
    changed_(std::nullopt);
  });
  followSelected();
}

void WindowPictures::followSelected() {
  const auto tab = model_.selected();
  page_ = tab ? tab->onPageChange([this] { followPage(); }) : Subscription();
  followPage();
}

void WindowPictures::followPage() {
  const auto tab = model_.selected();
  auto* page = tab ? tab->page() : nullptr;
  if (!page) {
    loads_ = Subscription();
    return;
  }
  loads_ = page->onLoadEnded([this, page] {
    const auto& failure = page->failure().value();
    changed_(failure ? std::optional(failure->message) : std::nullopt);
  });
}

}  // namespace vale::gtk
