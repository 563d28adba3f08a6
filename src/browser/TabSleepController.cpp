#include "browser/TabSleepController.h"

#include "common/Log.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <unordered_map>
#include <utility>

namespace vale {

namespace {

Task<bool> askTab(BrowserTab& tab) {
  const bool awake = co_await tab.needsToStayAwake();
  if (awake) co_return true;
  co_return co_await tab.hasTypedText();
}

TabSleepPolicy::Tab describe(const BrowserModel& model, const BrowserTab& tab) {
  return {.id = tab.id,
          .hiddenSince = tab.hiddenSince,
          .isSelected = model.selected().get() == &tab,
          .hasPage = tab.page() != nullptr,
          .pinned = tab.pinned(),
          .isAgentTab = tab.agentOwner.has_value(),
          .keepsPage = tab.keepsPage,
          .isPlayingAudio = tab.isPlayingAudio(),
          .isCapturing = tab.isCapturing()};
}

}  // namespace

TabSleepController::TabSleepController(MainQueue main, Preferences& preferences, Clock& clock,
                                       MemoryPressureSource& pressure, Seconds checkInterval)
    : pageCheck(askTab), main_(std::move(main)), preferences_(preferences), clock_(clock),
      pressureSource_(pressure), checkInterval_(checkInterval),
      preferenceChanges_(preferences.changed().connect([this](const std::string& key) {
        if (key == preferenceKey || key == delayKey) readPreference();
      })),
      pressureChanges_(pressure.onChange([this](MemoryPressure) { requestSweep(); })),
      self_(std::make_shared<TabSleepController*>(this)) {
  isEnabled_.set(preferences_.boolean(preferenceKey).value_or(true));
  readDelay();
}

TabSleepController::~TabSleepController() = default;

void TabSleepController::attach(const std::shared_ptr<BrowserModel>& model) {
  const auto known = browsers();
  if (std::ranges::find(known, model) == known.end()) browsers_.push_back(model);
}

std::vector<std::shared_ptr<BrowserModel>> TabSleepController::browsers() {
  std::erase_if(browsers_, [](const auto& browser) { return browser.expired(); });
  std::vector<std::shared_ptr<BrowserModel>> models;
  for (const auto& browser : browsers_) models.push_back(browser.lock());
  return models;
}

void TabSleepController::setEnabled(bool enabled) { preferences_.set(preferenceKey, enabled); }

void TabSleepController::readDelay() {
  const auto seconds = preferences_.number(delayKey);
  policy.delay = seconds ? std::max(*seconds, 1.0) : TabSleepPolicy().delay;
}

void TabSleepController::readPreference() {
  readDelay();
  const bool enabled = preferences_.boolean(preferenceKey).value_or(true);
  if (enabled == isEnabled_.value()) return;
  isEnabled_.set(enabled);
  scheduleNext();
  requestSweep();
}

void TabSleepController::start() {
  started_ = true;
  scheduleNext();
}

void TabSleepController::scheduleNext() {
  if (!started_ || !isEnabled_.value()) {
    timer_.cancel();
    return;
  }
  timer_ = clock_.schedule(checkInterval_, [this] {
    scheduleNext();
    requestSweep();
  });
}

void TabSleepController::requestSweep() {
  if (!isEnabled_.value()) return;
  if (running_) {
    // It may have looked at what is no longer so.
    again_ = true;
  } else {
    begin({});
  }
}

Task<std::vector<Uuid>> TabSleepController::sweep() {
  if (!isEnabled_.value()) co_return std::vector<Uuid>();
  const OneShot<std::vector<Uuid>> result;
  if (running_) {
    running_->push_back(result);
  } else {
    begin(Waiting(1, result));
  }
  co_return co_await result.wait();
}

void TabSleepController::begin(Waiting waiting) {
  running_ = std::make_shared<Waiting>(std::move(waiting));
  asio::co_spawn(main_.executor(), run(self_, running_), asio::detached);
}

Task<> TabSleepController::run(Self self, std::shared_ptr<Waiting> waiting) {
  std::vector<Uuid> slept;
  try {
    co_await performSweep(self, slept);
  } catch (const std::exception& error) {
    log::error("Putting tabs to sleep ended early: {}", error.what());
  }
  for (const auto& result : *waiting) result.set(slept);
  const auto alive = self.lock();
  if (!alive) co_return;
  (*alive)->running_ = nullptr;
  if (std::exchange((*alive)->again_, false)) (*alive)->requestSweep();
}

Task<> TabSleepController::performSweep(Self self, std::vector<Uuid>& slept) {
  const auto controller = [&self]() -> TabSleepController* {
    const auto alive = self.lock();
    return alive ? *alive : nullptr;
  };
  Answers answers;
  std::vector<Uuid> ids;
  if (controller()) ids = controller()->candidates(nullptr);
  for (const auto& id : ids) {
    if (!controller()) co_return;
    auto place = controller()->find(id);
    if (!place.tab) continue;
    place.model.reset();
    const bool stays = co_await mustStay(controller()->pageCheck, std::move(place.tab));
    answers[id] = stays;
  }
  if (controller()) ids = controller()->candidates(&answers);
  for (const auto& id : ids) {
    // The user goes on while pages answer: what holds now counts.
    if (!controller() || !controller()->isEnabled_.value()) co_return;
    const auto present = controller()->candidates(&answers);
    const auto place = controller()->find(id);
    if (!place.tab || std::ranges::find(present, id) == present.end()) continue;
    const bool sleeps = co_await place.model->hibernate(id);
    if (sleeps) slept.push_back(id);
  }
}

Task<bool> TabSleepController::mustStay(PageCheck check, std::shared_ptr<BrowserTab> tab) {
  try {
    co_return co_await check(*tab);
  } catch (const std::exception& error) {
    log::warning("A tab was not put to sleep: {}", error.what());
  }
  co_return true;
}

TabSleepController::Place TabSleepController::find(const Uuid& id) {
  for (const auto& model : browsers()) {
    if (auto tab = model->tab(id)) return {model, std::move(tab)};
  }
  return {};
}

std::vector<Uuid> TabSleepController::candidates(const Answers* answers) {
  std::vector<TabSleepPolicy::Tab> all;
  std::unordered_map<Uuid, std::uint64_t> processes;
  std::unordered_map<std::uint64_t, std::size_t> pages;
  for (const auto& model : browsers()) {
    for (const auto& tab : model->tabs()) {
      auto& described = all.emplace_back(describe(*model, *tab));
      if (answers) {
        const auto answer = answers->find(tab->id);
        described.keepsPage |= answer == answers->end() || answer->second;
      }
      if (!tab->page()) continue;
      processes[tab->id] = tab->page()->processGroup();
      ++pages[tab->page()->processGroup()];
    }
  }
  auto ids = policy.candidates(all, clock_.now(), pressure());
  std::unordered_map<std::uint64_t, std::size_t> sleeping;
  for (const auto& id : ids) ++sleeping[processes[id]];
  std::erase_if(ids, [&](const Uuid& id) { return sleeping[processes[id]] != pages[processes[id]]; });
  return ids;
}

}  // namespace vale
