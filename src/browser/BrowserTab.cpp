#include "browser/BrowserTab.h"

#include "browser/AddressDisplay.h"

#include <utility>

namespace vale {

std::string BrowserTab::title() const {
  if (vale::isStart(url_)) return "New tab";
  return windowTitle(title_, url_);
}

Task<bool> BrowserTab::needsToStayAwake() {
  const auto self = shared_from_this();
  if (!page_) co_return false;
  if (keepsPage || isCapturing() || isPlayingAudio()) co_return true;
  co_return co_await page_->isPlayingMedia();
}

Task<bool> BrowserTab::hasTypedText() {
  const auto self = shared_from_this();
  if (!page_) co_return false;
  co_return co_await page_->hasTypedText();
}

void BrowserTab::setMuted(bool muted) {
  muted_ = muted;
  if (page_) page_->setMuted(muted);
}

void BrowserTab::open(const std::string& address, PageEngine& engine) {
  sleepingState_.clear();
  if (!page_) adopt(engine.newPage());
  page_->load(address);
}

void BrowserTab::wake(PageEngine& engine) {
  if (page_ || url_.empty()) return;
  const std::string address = url_;
  const std::string state = std::exchange(sleepingState_, {});
  adopt(engine.newPage());
  page_->restore(state, address);
}

SavedTab BrowserTab::saved() const {
  return {.id = id,
          .url = url_,
          .title = title_,
          .pinned = pinned_,
          .openerID = openerID,
          .createdAt = createdAt,
          .lastActivatedAt = lastActivatedAt,
          .urlChangedAt = urlChangedAt};
}

void BrowserTab::restore(const SavedTab& saved) {
  url_ = saved.url;
  title_ = saved.title;
  pinned_ = saved.pinned;
  openerID = saved.openerID;
  if (saved.createdAt) createdAt = *saved.createdAt;
  lastActivatedAt = saved.lastActivatedAt;
  urlChangedAt = saved.urlChangedAt;
}

void BrowserTab::adopt(std::unique_ptr<Page> page) {
  page_ = std::move(page);
  if (muted_) page_->setMuted(true);
  followPage();
  if (pageMade_) pageMade_();
  pageChanged_.emit();
  changed_.emit();
}

std::unique_ptr<Page> BrowserTab::release() {
  subscriptions_.clear();
  auto page = std::move(page_);
  // The observers may still look at the page that they let go of: it lives until the caller drops it.
  pageChanged_.emit();
  changed_.emit();
  return page;
}

void BrowserTab::followPage() {
  const auto keep = [this](Subscription subscription) { subscriptions_.push_back(std::move(subscription)); };
  const auto tell = [this](const auto&) { changed_.emit(); };
  // A new page knows nothing yet; the tab shows what it showed until the page says more.
  keep(page_->address().subscribe([this](const std::string& address) { addressChanged(address); }));
  keep(page_->title().subscribe([this](const std::string& title) {
    if (title == title_ || (title.empty() && page_->isLoading().value())) return;
    title_ = title;
    if (savedStateChanged_) savedStateChanged_();
    changed_.emit();
  }));
  keep(page_->icon().subscribe([this](const PageIcon& icon) {
    icon_ = icon;
    changed_.emit();
  }));
  keep(page_->isMuted().subscribe([this](bool muted) {
    muted_ = muted;
    changed_.emit();
  }));
  keep(page_->onLoadEnded([this] {
    if (!page_->hasContent().value() || page_->failure().value() || title_ == page_->title().value()) return;
    title_ = page_->title().value();
    if (savedStateChanged_) savedStateChanged_();
    changed_.emit();
  }));
  keep(page_->isLoading().subscribe(tell));
  keep(page_->isPlayingAudio().subscribe(tell));
  keep(page_->capture().subscribe(tell));
  if (!page_->address().value().empty()) addressChanged(page_->address().value());
  if (!page_->title().value().empty()) title_ = page_->title().value();
}

void BrowserTab::addressChanged(const std::string& address) {
  if (address.empty() || address == url_) return;
  url_ = address;
  urlChangedAt = clock_.now();
  // The old page's title would be a lie beside the new address; the page tells its own soon. One that has
  // shown nothing yet leaves the title that the tab was restored with.
  if (page_->hasContent().value()) title_ = page_->title().value();
  if (savedStateChanged_) savedStateChanged_();
  changed_.emit();
}

}  // namespace vale
