#include "intelligence/TabGroupingCoordinator.h"

#include "common/Log.h"
#include "common/Text.h"
#include "common/WebAddress.h"
#include "intelligence/TabClustering.h"
#include "intelligence/TabGroupingEdits.h"
#include "intelligence/TabGroupingFile.h"
#include "intelligence/TabGroupingHints.h"
#include "intelligence/TabGroupingMerge.h"
#include "intelligence/TabGroupingPace.h"
#include "intelligence/TabGroupingPlaces.h"
#include "intelligence/TabGroupingTabs.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <algorithm>
#include <expected>
#include <utility>

namespace vale {
namespace {

enum class AskedBy { user, automatic };

/// Of an answer that could not be read so much is kept to be shown.
constexpr std::size_t longestResponse = 16'000;

}  // namespace

struct TabGroupingCoordinator::Self : std::enable_shared_from_this<Self> {
  /// One question under way. A pass counts for as long as it is the coordinator's: what an older one answers
  /// is dropped.
  struct Pass {
    IntelligenceClient& client;
    AskedBy askedBy;
    TabGroupingRequest request;
    TabGroupingMerge::UsableTabs sent;
    std::string signature;
    Cancellation cancellation;

    bool isRegroup() const { return request.operation == IntelligenceOperation::tabGrouping; }
  };
  using Result = std::expected<TabGroupingAnswer, TabGroupingFailure>;

  explicit Self(Parts given);

  Date now() const { return parts.surroundings.clock.now(); }
  Seconds sinceInput() const { return parts.inputIdleTime ? parts.inputIdleTime() : Seconds(0); }
  TabGroupingTask due() const { return dueTask(state, tabs.tabs()); }

  void tabsChanged();
  void readPreference();
  void refresh(RefreshReason reason);
  void startPageShown();
  void arm();

  void begin(TabGroupingTask task, AskedBy askedBy);
  TabGroupingRequest request(TabGroupingTask task);
  void endPass();
  static Task<> ask(std::weak_ptr<Self> weak, std::shared_ptr<const Pass> pass);
  static std::shared_ptr<Self> whileCurrent(const std::weak_ptr<Self>& weak,
                                            const std::shared_ptr<const Pass>& pass);
  void finish(const Pass& pass, Result result);
  void fail(TabGroupingFailure reason);

  void rememberWindowGroups();
  template <typename Edit> void edit(const Edit& change);
  const TabGroupSection* sectionOf(const Uuid& groupID) const;
  void stateChanged();
  void publish();

  Parts parts;
  TabGroupingFile file;
  TabGroupingState state;
  TabGroupingTabs tabs;
  TabGroupingPace pace;
  Timer timer;
  std::shared_ptr<Pass> pass;
  std::optional<TabGroupingState> beforeRegroup;
  bool startPageVisible = false;
  bool ended = false;

  Published<std::vector<TabGroup>> groups;
  Published<std::vector<TabGroupSection>> sections;
  Published<std::optional<Date>> groupedAt;
  Published<bool> canUndoRegroup{false};
  Published<bool> automatic{false};
  Published<std::optional<TabGroupingFailure>> failure;
  Published<TabGroupingActivity> activity;
  Subscription preferenceChanges;
};

TabGroupingCoordinator::Self::Self(Parts given)
    : parts(std::move(given)), file(parts.file, parts.surroundings, [this] { return state; }),
      state(file.contents()), tabs(parts.surroundings.main, [this] { tabsChanged(); }),
      preferenceChanges(parts.preferences.changed().connect([this](const std::string& key) {
        if (key == automaticKey) readPreference();
      })) {
  automatic.set(parts.preferences.boolean(automaticKey).value_or(false));
  publish();
}

// ---------------------------------------------------------------------------------------------------------
// When a pass is due

void TabGroupingCoordinator::Self::tabsChanged() {
  if (noteAddresses(state, tabs.tabs())) file.schedule();
  pace.tabsChanged(now());
  publish();
  arm();
}

void TabGroupingCoordinator::Self::readPreference() {
  automatic.set(parts.preferences.boolean(automaticKey).value_or(false));
  if (!automatic.value()) {
    timer.cancel();
    if (pass && pass->askedBy == AskedBy::automatic) endPass();
  } else if (startPageVisible) {
    startPageShown();
  } else {
    arm();
  }
}

void TabGroupingCoordinator::Self::refresh(RefreshReason reason) {
  if (ended || pass || !automatic.value()) return;
  tabs.update();
  const bool idle = reason == RefreshReason::idle;
  const auto task = due();
  if (task == TabGroupingTask::none || pace.isPaused(now()) || (idle && sinceInput() < idleInterval)) {
    arm();
    return;
  }
  if (idle) pace.idlePassBegan(now());
  begin(task, AskedBy::automatic);
}

void TabGroupingCoordinator::Self::startPageShown() {
  if (ended || pass || !automatic.value()) return;
  tabs.update();
  const auto task = due();
  if (task != TabGroupingTask::none && pace.waitForStartPage(now()) <= Seconds(0)) {
    refresh(RefreshReason::startPage);
    return;
  }
  if (task == TabGroupingTask::regroup && !pace.isPaused(now())) {
    parts.client.prewarm(TabClustering::clusteringSchema, IntelligenceOperation::tabGrouping);
  } else if (task == TabGroupingTask::assignment && !pace.isPaused(now())) {
    parts.client.prewarm(TabClustering::assignmentSchema, IntelligenceOperation::tabAssignment);
  }
  arm();
}

/// Sets the one timer for the next automatic pass; none while there is nothing for it to do.
void TabGroupingCoordinator::Self::arm() {
  timer.cancel();
  if (ended || pass || !automatic.value() || due() == TabGroupingTask::none) return;
  if (startPageVisible) {
    timer = parts.surroundings.clock.schedule(pace.waitForStartPage(now()),
                                              [this] { refresh(RefreshReason::startPage); });
  } else if (parts.inputIdleTime) {
    if (const auto wait = pace.waitForIdle(now(), sinceInput())) {
      timer = parts.surroundings.clock.schedule(*wait, [this] { refresh(RefreshReason::idle); });
    }
  }
}

// ---------------------------------------------------------------------------------------------------------
// A pass

void TabGroupingCoordinator::Self::begin(TabGroupingTask task, AskedBy askedBy) {
  endPass();
  timer.cancel();
  rememberWindowGroups();
  TabGroupingRequest question;
  try {
    question = request(task);
  } catch (const Error& error) {
    fail({.message = groupingFailureMessage(error), .wasRegroup = task == TabGroupingTask::regroup});
    return;
  }
  pass = std::make_shared<Pass>(
      Pass{.client = parts.client, .askedBy = askedBy, .request = std::move(question)});
  if (pass->isRegroup()) pass->signature = TabClustering::signature(groupable(tabs.tabs()));
  std::map<Uuid, std::string> addresses;
  for (const auto& tab : tabs.tabs()) addresses.emplace(tab.id, tab.address);
  TabGroupingActivity busy{.kind = pass->isRegroup() ? TabGroupingActivity::Kind::regrouping
                                                     : TabGroupingActivity::Kind::assigning};
  for (const auto& [number, id] : pass->request.tabs) {
    pass->sent.emplace(id, addresses.at(id));
    busy.tabs.push_back(id);
  }
  const auto begun = pass;
  activity.set(std::move(busy));
  asio::co_spawn(parts.surroundings.main.executor(), ask(weak_from_this(), begun), asio::detached);
}

TabGroupingRequest TabGroupingCoordinator::Self::request(TabGroupingTask task) {
  const auto open = groupable(tabs.tabs());
  if (task == TabGroupingTask::regroup) return makeRegroupRequest(open, state.hints, parts.inputFilter);
  auto pending = pendingTabs(state, tabs.tabs());
  // The others wait for the next pass.
  if (pending.size() > mostTabs) pending.resize(mostTabs);
  const auto told = groupsToTell(state, tabs.tabs());
  return makeAssignmentRequest(
      pending,
      {.tabs = open, .groups = told, .formerGroups = &state.formerGroups, .preferences = state.hints},
      parts.inputFilter);
}

void TabGroupingCoordinator::Self::endPass() {
  if (const auto ending = std::exchange(pass, nullptr)) ending->cancellation.cancel();
  activity.set({});
}

std::shared_ptr<TabGroupingCoordinator::Self>
TabGroupingCoordinator::Self::whileCurrent(const std::weak_ptr<Self>& weak,
                                           const std::shared_ptr<const Pass>& pass) {
  auto self = weak.lock();
  return self && self->pass == pass ? self : nullptr;
}

Task<> TabGroupingCoordinator::Self::ask(std::weak_ptr<Self> weak, std::shared_ptr<const Pass> pass) {
  Result result;
  try {
    if (!whileCurrent(weak, pass)) co_return;
    const std::optional<std::string> missing = co_await pass->client.unavailability();
    if (!whileCurrent(weak, pass)) co_return;
    if (missing) throw Error(*missing);
    const std::string text = co_await pass->client.classify(pass->request.prompt, pass->request.schema(),
                                                            pass->request.operation, pass->cancellation);
    result = pass->request.read(text);
  } catch (const UnreadableAnswer& error) {
    result = std::unexpected(
        TabGroupingFailure{.message = groupingFailureMessage(error),
                           .response = std::string(firstCharacters(error.response, longestResponse))});
  } catch (const std::exception& error) {
    result = std::unexpected(TabGroupingFailure{.message = groupingFailureMessage(Error(error.what()))});
  }
  if (const auto self = whileCurrent(weak, pass)) self->finish(*pass, std::move(result));
}

void TabGroupingCoordinator::Self::finish(const Pass& finished, Result result) {
  const auto keep = std::exchange(pass, nullptr);
  pace.passEnded(now());
  if (!result) {
    result.error().wasRegroup = finished.isRegroup();
    fail(std::move(result.error()));
    activity.set({});
    return;
  }
  tabs.update();
  TabGroupingMerge::UsableTabs usable;
  for (const auto& tab : tabs.tabs()) {
    const auto sent = finished.sent.find(tab.id);
    if (sent != finished.sent.end() && tab.canBeGrouped && tab.address == sent->second) usable.insert(*sent);
  }
  if (finished.isRegroup()) {
    beforeRegroup = state;
    state = TabGroupingMerge::applyRegroup(std::move(state), *result, usable);
    state.signature = finished.signature;
    state.groupedAt = now();
  } else {
    state = TabGroupingMerge::applyAssignment(std::move(state), *result, usable);
  }
  pace.succeeded();
  failure.set(std::nullopt);
  activity.set({});
  stateChanged();
}

void TabGroupingCoordinator::Self::fail(TabGroupingFailure reason) {
  log::info("A grouping of tabs failed: {}", reason.message);
  pace.failed(now());
  failure.set(std::move(reason));
  arm();
}

// ---------------------------------------------------------------------------------------------------------
// The state

/// The groups that the user made in the windows steer the agent too, once they have a name.
void TabGroupingCoordinator::Self::rememberWindowGroups() {
  const auto before = state.hints;
  for (const auto& browser : tabs.browsers()) {
    for (const auto& group : browser->groups()) {
      if (group.name.empty() || group.name == defaultGroupName) continue;
      ManualGroupPreference hint{.key = group.id.text(), .name = group.name, .updatedAt = now()};
      for (const auto& id : group.tabIDs) {
        const auto tab = browser->tab(id);
        if (tab && isWebAddress(tab->url())) hint.urls.push_back(normalizeURL(tab->url()));
      }
      TabGroupingHints::remember(state.hints, std::move(hint));
    }
  }
  if (state.hints != before) file.schedule();
}

template <typename Edit> void TabGroupingCoordinator::Self::edit(const Edit& change) {
  tabs.update();
  const auto before = state;
  change(state, TabGroupingEdits::Scene{tabs.tabs(), now()});
  if (state != before) stateChanged();
}

const TabGroupSection* TabGroupingCoordinator::Self::sectionOf(const Uuid& groupID) const {
  const auto found = std::ranges::find(sections.value(), groupID, &TabGroupSection::groupID);
  return found == sections.value().end() ? nullptr : &*found;
}

void TabGroupingCoordinator::Self::stateChanged() {
  tidy(state, tabs.tabs());
  file.schedule();
  publish();
  arm();
}

void TabGroupingCoordinator::Self::publish() {
  auto shown = vale::sections(state, tabs.tabs());
  std::vector<TabGroup> open;
  for (const auto& section : shown) {
    if (!section.groupID) continue;
    open.push_back(*std::ranges::find(state.groups, *section.groupID, &TabGroup::id));
    open.back().tabIDs = section.tabIDs;
  }
  groups.set(std::move(open));
  groupedAt.set(state.groupedAt);
  canUndoRegroup.set(beforeRegroup.has_value());
  sections.set(std::move(shown));
}

// ---------------------------------------------------------------------------------------------------------
// What others call

TabGroupingCoordinator::TabGroupingCoordinator(Parts parts)
    : self_(std::make_shared<Self>(std::move(parts))) {}

TabGroupingCoordinator::~TabGroupingCoordinator() {
  // Whoever observes is not told of the end.
  if (self_->pass) self_->pass->cancellation.cancel();
}

void TabGroupingCoordinator::attach(const std::shared_ptr<BrowserModel>& browser) {
  self_->tabs.attach(browser);
}

void TabGroupingCoordinator::detach(const BrowserModel& browser) { self_->tabs.detach(browser); }

void TabGroupingCoordinator::update(std::vector<GroupableTab> tabs) { self_->tabs.set(std::move(tabs)); }

std::vector<GroupableTab> TabGroupingCoordinator::tabs() const {
  return {self_->tabs.tabs().begin(), self_->tabs.tabs().end()};
}

void TabGroupingCoordinator::refresh(RefreshReason reason) { self_->refresh(reason); }

void TabGroupingCoordinator::setStartPageVisible(bool visible) {
  if (visible == std::exchange(self_->startPageVisible, visible)) return;
  if (visible) {
    self_->startPageShown();
  } else {
    self_->arm();
  }
}

void TabGroupingCoordinator::regroup() {
  if (self_->ended) return;
  self_->tabs.update();
  if (groupable(self_->tabs.tabs()).size() < fewestTabs) return;
  self_->failure.set(std::nullopt);
  self_->begin(TabGroupingTask::regroup, AskedBy::user);
}

void TabGroupingCoordinator::cancel() {
  if (!self_->pass) return;
  self_->pace.cancelled(self_->now());
  self_->endPass();
  self_->arm();
}

void TabGroupingCoordinator::undoRegroup() {
  if (!self_->beforeRegroup) return;
  self_->endPass();
  self_->tabs.update();
  auto hints = std::move(self_->state.hints);
  self_->state = std::move(*self_->beforeRegroup);
  self_->beforeRegroup.reset();
  self_->state.hints = std::move(hints);
  // What the user did not want is not made again at once.
  self_->state.signature = TabClustering::signature(groupable(self_->tabs.tabs()));
  noteAddresses(self_->state, self_->tabs.tabs());
  self_->failure.set(std::nullopt);
  self_->stateChanged();
}

void TabGroupingCoordinator::setAutomatic(bool automatic) {
  self_->parts.preferences.set(automaticKey, automatic);
}

std::optional<Uuid> TabGroupingCoordinator::addToNewGroup(const std::vector<Uuid>& tabIDs, std::string name) {
  std::optional<Uuid> made;
  self_->edit([&](TabGroupingState& state, const TabGroupingEdits::Scene& scene) {
    made = TabGroupingEdits::addToNewGroup(state, scene, tabIDs, name);
  });
  return made;
}

void TabGroupingCoordinator::moveTab(const Uuid& tabID, const Uuid& groupID,
                                     std::optional<std::size_t> index) {
  self_->edit([&](TabGroupingState& state, const TabGroupingEdits::Scene& scene) {
    // The place is meant among the tabs that are shown.
    const auto* section = self_->sectionOf(groupID);
    std::optional<Uuid> before;
    if (section && index && *index < section->tabIDs.size()) before = section->tabIDs[*index];
    TabGroupingEdits::moveTab(state, scene, tabID, groupID, before);
  });
}

void TabGroupingCoordinator::removeFromGroup(const Uuid& tabID) {
  self_->edit([&](TabGroupingState& state, const TabGroupingEdits::Scene& scene) {
    TabGroupingEdits::removeFromGroup(state, scene, tabID);
  });
}

void TabGroupingCoordinator::renameGroup(const Uuid& groupID, std::string name) {
  self_->edit([&](TabGroupingState& state, const TabGroupingEdits::Scene& scene) {
    TabGroupingEdits::renameGroup(state, scene, groupID, name);
  });
}

void TabGroupingCoordinator::setCollapsed(const Uuid& groupID, bool collapsed) {
  self_->edit([&](TabGroupingState& state, const TabGroupingEdits::Scene&) {
    TabGroupingEdits::setCollapsed(state, groupID, collapsed);
  });
}

void TabGroupingCoordinator::closeTabs(const Uuid& groupID, const BrowserModel* window) {
  self_->tabs.update();
  const auto* section = self_->sectionOf(groupID);
  if (!section) return;
  // Copies: what closes tabs changes the sections, and may close the window.
  const auto ids = section->tabIDs;
  for (const auto& browser : self_->tabs.browsers()) {
    if (window && browser.get() != window) continue;
    for (const auto& id : ids) browser->close(id);
  }
}

void TabGroupingCoordinator::clearSavedGroups() {
  self_->endPass();
  self_->state = {};
  self_->beforeRegroup.reset();
  self_->pace.succeeded();
  self_->failure.set(std::nullopt);
  self_->stateChanged();
}

void TabGroupingCoordinator::shutdown() {
  self_->ended = true;
  self_->timer.cancel();
  self_->endPass();
  self_->file.save();
}

const Published<std::vector<TabGroup>>& TabGroupingCoordinator::groups() const { return self_->groups; }
const Published<std::vector<TabGroupSection>>& TabGroupingCoordinator::sections() const {
  return self_->sections;
}
const Published<std::optional<Date>>& TabGroupingCoordinator::groupedAt() const { return self_->groupedAt; }
const Published<bool>& TabGroupingCoordinator::canUndoRegroup() const { return self_->canUndoRegroup; }
const Published<bool>& TabGroupingCoordinator::automatic() const { return self_->automatic; }
const Published<std::optional<TabGroupingFailure>>& TabGroupingCoordinator::failure() const {
  return self_->failure;
}
const Published<TabGroupingActivity>& TabGroupingCoordinator::activity() const { return self_->activity; }
const Published<std::optional<std::string>>& TabGroupingCoordinator::storageError() const {
  return self_->file.error();
}

std::optional<std::string> TabGroupingCoordinator::regroupPrompt() const {
  const auto open = groupable(self_->tabs.tabs());
  if (open.size() < fewestTabs || open.size() > mostTabs) return std::nullopt;
  // A copy, so that looking counts as nothing sent.
  auto filter = self_->parts.inputFilter;
  return makeRegroupRequest(open, self_->state.hints, filter).prompt;
}

}  // namespace vale
