#include "app/HistoryRecorder.h"

#include "common/Error.h"
#include "common/Log.h"
#include "common/OneShot.h"
#include "common/WebAddress.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <string_view>
#include <utility>

namespace vale {

namespace {

std::string_view withoutFragment(std::string_view address) { return address.substr(0, address.find('#')); }

/// Addresses that differ by no more than the place on the page.
bool samePage(std::string_view a, std::string_view b) { return withoutFragment(a) == withoutFragment(b); }

bool isOwnPage(std::string_view address) { return address.starts_with("vale:"); }

}  // namespace

/// One open of a page: what is known of it, and what of that is in the archive.
struct HistoryRecorder::Visit {
  PageOpening opening;    ///< title and text are the latest known
  bool reported = false;  ///< on its way to the archive, or there
  std::optional<HistoryVisit> line;
  PageRevision written;  ///< title and text as the archive got them
  Seconds onScreen{0};   ///< not yet handed on
  bool hidden = false;   ///< its seconds are due
  bool writing = false;
};

/// A page that may go at any time, unless `kept` holds it.
struct HistoryRecorder::PageAtHand {
  Page* page = nullptr;
  std::weak_ptr<BrowserTab> tab = {};
  std::shared_ptr<Page> kept = {};

  Page* get() const {
    if (kept) return page;
    const auto held = tab.lock();
    return held && held->page() == page ? page : nullptr;
  }
};

/// A page under observation.
struct HistoryRecorder::Followed {
  PageAtHand at;
  std::weak_ptr<BrowserModel> model;
  std::string address;      ///< of the document shown, as it was last recorded or passed over
  VisitPointer visit = {};  ///< of what the page shows; null for what is not recorded
  bool first = true;        ///< the page has shown nothing yet
  Timer rest = {};
  Timer lateTitle = {};
  std::vector<Subscription> subscriptions = {};

  Page& page() const { return *at.page; }
  std::shared_ptr<BrowserTab> tab() const { return at.tab.lock(); }
};

HistoryRecorder::HistoryRecorder(MainQueue main, Clock& clock, HistoryStore& store)
    : main_(std::move(main)), clock_(clock), store_(store), self_(std::make_shared<HistoryRecorder*>(this)) {}

HistoryRecorder::~HistoryRecorder() = default;

void HistoryRecorder::attach(const std::shared_ptr<BrowserModel>& model) {
  if (model->isPrivate()) return;
  std::erase_if(models_, [](const auto& one) { return one.expired(); });
  models_.push_back(model);
  const std::weak_ptr weak = model;
  subscriptions_.push_back(model->onPageMade([this, weak](BrowserTab& tab) { follow(weak, tab); }));
  subscriptions_.push_back(
      model->onPageLeaving([this](BrowserTab&, const std::shared_ptr<Page>& page) { leave(page); }));
  subscriptions_.push_back(model->onSelectionChange([this] { look(); }));
  for (const auto& tab : model->tabs()) {
    if (tab->page()) follow(weak, *tab);
  }
}

void HistoryRecorder::follow(const std::weak_ptr<BrowserModel>& model, BrowserTab& tab) {
  auto& page = *tab.page();
  auto& followed = followed_[&page];
  if (followed && followed->tab().get() == &tab) {
    // The tab was moved to this window.
    followed->model = model;
    return look();
  }
  followed = std::make_unique<Followed>(
      Followed{.at = {.page = &page, .tab = tab.weak_from_this()}, .model = model, .address = tab.url()});
  auto* one = followed.get();
  const auto keep = [one](Subscription subscription) {
    one->subscriptions.push_back(std::move(subscription));
  };
  keep(page.document().subscribe([this, one](auto) { documentChanged(*one); }));
  keep(page.onLoadEnded([this, one] { loadEnded(*one); }));
  keep(page.title().subscribe([this, one](const auto&) { titleChanged(*one); }));
  keep(page.isLoading().subscribe([this, one](bool loading) {
    if (loading) readAgain(*one);
  }));
  keep(page.address().subscribe([this, one](const auto&) { awaitRest(*one); }));
}

void HistoryRecorder::awaitRest(Followed& followed) {
  followed.rest = clock_.schedule(rest, [this, one = &followed] { addressRested(*one); });
}

/// The page's tab closes or sleeps.
void HistoryRecorder::leave(const std::shared_ptr<Page>& page) {
  const auto node = followed_.extract(page.get());
  if (node.empty()) return;
  auto& followed = *node.mapped();
  followed.subscriptions.clear();
  if (keepsClosingPages) followed.at.kept = page;
  look();
  if (!keepsClosingPages) return reportWithoutText(followed);
  if (!report(followed)) readAgain(followed);
}

// ---------------------------------------------------------------------------------------------------------
// What a page does

void HistoryRecorder::documentChanged(Followed& followed) {
  reportWithoutText(followed);
  begin(followed, std::nullopt);
}

/// What was never loaded to its end was seen all the same.
void HistoryRecorder::reportWithoutText(Followed& followed) {
  if (!followed.visit || std::exchange(followed.visit->reported, true)) return;
  start(append(self_, followed.visit, {}));
}

/// `transition` is given for an address that a script gave its page.
void HistoryRecorder::begin(Followed& followed, std::optional<VisitTransition> transition) {
  const auto tab = followed.tab();
  const auto address = followed.page().address().value();
  followed.lateTitle.cancel();
  followed.visit = nullptr;
  if (tab && isWebAddress(address)) {
    followed.visit = std::make_shared<Visit>();
    followed.visit->opening = {.url = address,
                               .title = followed.page().title().value(),
                               .visitedAt = clock_.now(),
                               .tabID = tab->id,
                               .openerTabID = tab->openerID,
                               .transition = transition ? *transition : transitionOf(followed)};
  }
  followed.address = address;
  followed.first = false;
  look();
}

VisitTransition HistoryRecorder::transitionOf(const Followed& followed) const {
  const auto tab = followed.tab();
  const auto model = followed.model.lock();
  if (tab->agentOwner) return VisitTransition::agent;
  const auto opener = model && tab->openerID ? model->tab(*tab->openerID) : nullptr;
  switch (followed.page().transition()) {
  case PageTransition::form:
    return VisitTransition::form;
  case PageTransition::reload:
    return VisitTransition::reload;
  case PageTransition::backForward:
    return VisitTransition::backForward;
  case PageTransition::restored:
    return VisitTransition::restored;
  case PageTransition::opened:
    // A link that was opened in a tab of its own.
    if (followed.first && tab->openerID && !(opener && isOwnPage(opener->url())))
      return VisitTransition::link;
    return VisitTransition::typed;
  case PageTransition::link:
    break;
  }
  // A list of the browser's own.
  return isOwnPage(followed.address) ? VisitTransition::typed : VisitTransition::link;
}

void HistoryRecorder::loadEnded(Followed& followed) {
  if (followed.page().failure().value()) {
    // What has been recorded before stays so; what failed half way does not count.
    if (followed.visit && !followed.visit->reported) followed.visit = nullptr;
    return look();
  }
  // An address that a script set meanwhile is the one that the page wants to be known by.
  if (const auto& address = followed.page().address().value();
      followed.visit && !followed.visit->reported && isWebAddress(address)) {
    followed.address = followed.visit->opening.url = address;
  }
  report(followed);
  awaitRest(followed);
}

/// Takes the visit of a document that has come to its end, or is about to go, to the archive. False when that
/// was done before, or there is nothing to record.
bool HistoryRecorder::report(Followed& followed) {
  const auto& visit = followed.visit;
  if (!visit || visit->reported || !followed.at.get() || followed.page().failure().value()) return false;
  visit->reported = true;
  if (const auto& title = followed.page().title().value(); !title.empty()) visit->opening.title = title;
  start(append(self_, visit, followed.at));
  return true;
}

void HistoryRecorder::addressRested(Followed& followed) {
  const auto* page = followed.at.get();
  if (!page || page->isLoading().value() || page->failure().value() || page->document().value() == 0) return;
  if (samePage(page->address().value(), followed.address)) return;
  begin(followed, followed.tab()->agentOwner ? VisitTransition::agent : VisitTransition::link);
  report(followed);
}

void HistoryRecorder::titleChanged(Followed& followed) {
  const auto& title = followed.page().title().value();
  const auto& visit = followed.visit;
  // While another address is on its way, or has not rested, nobody knows whose title it is.
  if (!visit || title.empty() || followed.page().failure().value() ||
      !samePage(followed.page().address().value(), visit->opening.url)) {
    return;
  }
  const bool late = visit->reported && visit->written.title.empty();
  visit->opening.title = title;
  // Some pages tell the time in their titles: the archive takes the last one when the page is left.
  if (late) followed.lateTitle = clock_.schedule(rest, [this, visit] { start(write(self_, visit)); });
}

// ---------------------------------------------------------------------------------------------------------
// Being on screen, and going off it

HistoryRecorder::Followed* HistoryRecorder::selectedIn(const BrowserModel& model) {
  const auto tab = model.selected();
  const auto found = tab && tab->page() ? followed_.find(tab->page()) : followed_.end();
  return found == followed_.end() ? nullptr : found->second.get();
}

void HistoryRecorder::setFront(std::optional<Uuid> modelID) {
  front_ = modelID;
  look();
}

/// Sees what is on screen now, and settles with what was before.
void HistoryRecorder::look() {
  Followed* shown = nullptr;
  for (const auto& weak : models_) {
    const auto model = weak.lock();
    if (model && model->id == front_) shown = selectedIn(*model);
  }
  const auto visible = shown ? shown->visit : nullptr;
  if (visible == onScreen_) return;
  const auto now = clock_.now();
  if (const auto before = std::exchange(onScreen_, visible)) {
    before->onScreen += std::max(std::chrono::duration_cast<Seconds>(now - onScreenSince_), Seconds(0));
    before->hidden = true;
    // Its text is still there, unless another document has taken its place.
    const auto still =
        std::ranges::find(followed_, before, [](const auto& one) { return one.second->visit; });
    if (still == followed_.end() || !readAgain(*still->second)) start(write(self_, before));
  }
  onScreenSince_ = now;
}

/// Takes the text once more, as long as the page still shows it.
bool HistoryRecorder::readAgain(Followed& followed) {
  if (!followed.visit || !followed.visit->reported || !followed.at.get()) return false;
  if (followed.page().failure().value()) return false;
  start(takeText(self_, followed.visit, followed.at));
  return true;
}

Task<> HistoryRecorder::flush() {
  const auto last = onScreen_;
  setFront(std::nullopt);
  for (const auto& weak : models_) {
    const auto model = weak.lock();
    auto* shown = model ? selectedIn(*model) : nullptr;
    if (shown && !report(*shown) && shown->visit != last) readAgain(*shown);
  }
  if (busy_ == 0) co_return;
  const OneShot<bool> done;
  waiting_.push_back(done);
  co_await done.wait();
}

// ---------------------------------------------------------------------------------------------------------
// The archive

void HistoryRecorder::start(Task<> task) {
  ++busy_;
  asio::co_spawn(main_.executor(), run(self_, std::move(task)), asio::detached);
}

Task<> HistoryRecorder::run(Self self, Task<> task) {
  std::optional<std::string> problem;
  try {
    co_await std::move(task);
  } catch (const Error& error) {
    problem = "Your browsing history is not being kept: " + error.message;
  } catch (const std::exception& error) {
    log::error("Recording a visit ended early: {}", error.what());
  }
  const auto alive = self.lock();
  if (!alive) co_return;
  auto& recorder = **alive;
  if (problem) recorder.problem_.set(std::move(problem));
  if (--recorder.busy_ > 0) co_return;
  for (const auto& one : std::exchange(recorder.waiting_, {})) one.set(true);
}

/// No answer from a page that is gone.
Task<PageText> HistoryRecorder::read(PageAtHand page) {
  if (!page.get()) co_return PageText();
  co_return co_await page.get()->readText();
}

/// An empty `page`: it shows something else by now.
Task<> HistoryRecorder::append(Self self, VisitPointer visit, PageAtHand page) {
  PageText text{.address = visit->opening.url, .sensitive = false};
  if (page.page) text = co_await read(std::move(page));
  if (self.expired()) co_return;
  auto& opening = visit->opening;
  opening.sensitive = text.sensitive || text.address.empty();
  // What a page moved on to by itself is not this visit's.
  if (samePage(text.address, opening.url) && !opening.sensitive) opening.text = std::move(text.text);
  visit->written = {.title = opening.title, .text = opening.text, .sensitive = opening.sensitive};
  PageOpening reported = opening;
  auto& store = (*self.lock())->store_;
  auto stored = co_await store.append(std::move(reported));
  visit->line = std::move(stored);
  if (const auto alive = self.lock()) {
    (*alive)->problem_.set(std::nullopt);
    (*alive)->recorded_.emit(*visit->line);
  }
  co_await write(self, visit);
}

Task<> HistoryRecorder::takeText(Self self, VisitPointer visit, PageAtHand page) {
  auto text = co_await read(std::move(page));
  auto& opening = visit->opening;
  if (!text.address.empty() && samePage(text.address, opening.url)) {
    opening.sensitive |= text.sensitive;
    opening.text = opening.sensitive ? std::string() : std::move(text.text);
  }
  co_await write(self, visit);
}

/// Brings the line up to date, one change after the other. Without a line yet that happens once it is there.
Task<> HistoryRecorder::write(Self self, VisitPointer visit) {
  if (!visit->line || visit->writing) co_return;
  visit->writing = true;
  const std::shared_ptr<void> end(nullptr, [visit](void*) { visit->writing = false; });
  for (bool changed = true; changed && !self.expired();) changed = co_await writeOnce(self, visit);
}

Task<bool> HistoryRecorder::writeOnce(Self self, VisitPointer visit) {
  auto& store = (*self.lock())->store_;
  const auto& opening = visit->opening;
  const auto& written = visit->written;
  if (opening.title != written.title || opening.text != written.text ||
      opening.sensitive != written.sensitive) {
    visit->written = {.id = visit->line->id,
                      .visitedAt = visit->line->visitedAt,
                      .title = opening.title,
                      .text = opening.text,
                      .sensitive = opening.sensitive};
    auto revision = visit->written;
    co_await store.revise(std::move(revision));
  } else if (const auto whole = std::floor(visit->onScreen.count()); visit->hidden && whole >= 1) {
    ForegroundTimes times;
    times[visit->line->id] = {.visitedAt = visit->line->visitedAt,
                              .seconds = static_cast<std::int64_t>(whole)};
    co_await store.addForeground(std::move(times));
    visit->onScreen -= Seconds(whole);
  } else {
    visit->hidden = false;
    co_return false;
  }
  if (const auto alive = self.lock()) (*alive)->problem_.set(std::nullopt);
  co_return true;
}

}  // namespace vale
