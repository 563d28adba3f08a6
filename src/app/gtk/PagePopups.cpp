#include "app/gtk/PagePopups.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/SiteName.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

/// More than these are counted, not kept.
constexpr std::size_t mostKept = 10;

}  // namespace

PagePopups::PagePopups(WebKitPage& page, BrowserServices& services) : page_(page), services_(services) {
  page_.onUnaskedPage = [this](const std::string& address) { return asked(address); };
  subscriptions_.push_back(page_.document().subscribe([this](auto) {
    count_ = 0;
    addresses_.clear();
    bar_.reset();
  }));
}

PagePopups::~PagePopups() {
  page_.onUnaskedPage = [](const std::string&) { return false; };
}

bool PagePopups::asked(const std::string& address) {
  const auto model = services_.modelOf(page_);
  if (!model) return false;
  const auto decision = model->permissions()->decision(page_.address().value(), PermissionKind::popups);
  if (decision == PermissionDecision::allow) return true;
  if (decision == PermissionDecision::deny) return false;
  ++count_;
  // Opened later they are opened by the browser, which may go where a page may not.
  if (isWebAddress(address) && addresses_.size() < mostKept &&
      std::ranges::find(addresses_, address) == addresses_.end()) {
    addresses_.push_back(address);
  }
  showBar();
  return false;
}

void PagePopups::showBar() {
  const auto& address = page_.address().value();
  const auto sentence = fmt::format("{} pop-up {} blocked on {}.", count_,
                                    count_ == 1 ? "window was" : "windows were", siteName(address));
  std::vector<QuestionBar::Answer> answers;
  if (!addresses_.empty()) answers.push_back({.label = "_Show", .chosen = [this] { open(); }});
  if (isWebAddress(address)) {
    answers.push_back({.label = "_Always Allow for This Site", .chosen = [this] { alwaysAllow(); }});
  }
  bar_.reset();
  bar_ = std::make_unique<QuestionBar>(page_.bars(), sentence, std::move(answers), [this] { bar_.reset(); });
}

void PagePopups::open() {
  bar_.reset();
  count_ = 0;
  const auto addresses = std::exchange(addresses_, {});
  const auto model = services_.modelOf(page_);
  if (!model) return;
  BrowserModel::TabPointer opener;
  for (const auto& tab : model->tabs()) {
    if (tab->page() == &page_) opener = tab;
  }
  for (const auto& address : addresses) model->open(address, {.opener = opener});
}

void PagePopups::alwaysAllow() {
  if (const auto model = services_.modelOf(page_)) {
    model->permissions()->decide(page_.address().value(), PermissionKind::popups, PermissionDecision::allow);
  }
  open();
}

}  // namespace vale::gtk
