#include "app/StartPageAnswers.h"

#include "browser/BuiltInAddresses.h"
#include "common/Error.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace vale {

namespace {

/// More than anyone reads on one page; what is beyond is only counted.
constexpr std::size_t mostTabsShown = 1'000;
constexpr std::size_t mostIcons = 200;
constexpr std::size_t largestIcon = 64 * 1024;
constexpr std::size_t longestTitle = 200;

std::string iconKey(const PageIcon& icon) {
  return icon ? fmt::format("{:x}", std::hash<std::string>()(*icon)) : std::string();
}

std::string dataAddress(const std::string& png) {
  std::string text((png.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(png.data()), static_cast<int>(png.size()));
  text.resize(static_cast<std::size_t>(length));
  return "data:image/png;base64," + text;
}

std::string_view word(TabGroupingActivity::Kind kind) {
  switch (kind) {
  case TabGroupingActivity::Kind::assigning:
    return "assigning";
  case TabGroupingActivity::Kind::regrouping:
    return "regrouping";
  case TabGroupingActivity::Kind::idle:
    break;
  }
  return "idle";
}

Error unknownQuestion() { return Error("The start page asked what Vale does not know."); }

}  // namespace

struct StartPageAnswers::Question {
  std::string ask;
  std::optional<Uuid> tab;
  std::optional<Uuid> group;
  std::optional<std::string> name;
  std::optional<bool> on;
  std::optional<std::vector<Uuid>> tabs;

  BOOST_DESCRIBE_CLASS(Question, (), (ask, tab, group, name, on, tabs), (), ())
};

/// One window, for as long as it is there.
struct StartPageAnswers::Watched {
  std::weak_ptr<BrowserModel> model;
  std::vector<Subscription> subscriptions;
  std::map<Uuid, Subscription> tabs;
};

StartPageAnswers::StartPageAnswers(TabGroupingCoordinator& grouping, BrowserWindows& windows, MainQueue main,
                                   std::function<void(const Uuid&)> showTab)
    : grouping_(grouping), windows_(windows), main_(std::move(main)), showTab_(std::move(showTab)),
      self_(std::make_shared<StartPageAnswers*>(this)) {
  const auto follow = [this](const auto& value) {
    subscriptions_.push_back(value.subscribe([this](const auto&) { changed(); }));
  };
  follow(grouping_.sections());
  follow(grouping_.groupedAt());
  follow(grouping_.canUndoRegroup());
  follow(grouping_.automatic());
  follow(grouping_.failure());
  follow(grouping_.activity());
  follow(grouping_.storageError());
}

StartPageAnswers::~StartPageAnswers() = default;

void StartPageAnswers::attach(const std::shared_ptr<BrowserModel>& model) {
  if (model->isPrivate()) return;
  std::erase_if(watched_, [](const auto& one) { return one->model.expired(); });
  auto* watched = watched_.emplace_back(std::make_unique<Watched>()).get();
  watched->model = model;
  const auto followTabs = [this, watched] {
    const auto model = watched->model.lock();
    if (!model) return;
    std::erase_if(watched->tabs, [&](const auto& one) { return !model->indexOf(one.first); });
    for (const auto& tab : model->tabs()) {
      if (watched->tabs.contains(tab->id)) continue;
      watched->tabs.emplace(tab->id, tab->onChange([this] {
        look();
        changed();
      }));
    }
    look();
    changed();
  };
  watched->subscriptions.push_back(model->onTabsChange(followTabs));
  watched->subscriptions.push_back(model->onSelectionChange([this] { look(); }));
  followTabs();
}

/// Whether a start page is the selected tab of any window.
void StartPageAnswers::look() {
  const bool visible = std::ranges::any_of(watched_, [](const auto& one) {
    const auto model = one->model.lock();
    const auto selected = model ? model->selected() : nullptr;
    return selected && selected->url() == startAddress;
  });
  if (visible == std::exchange(visible_, visible)) return;
  grouping_.setStartPageVisible(visible);
  changed();
}

void StartPageAnswers::changed() {
  if (!visible_ || std::exchange(told_, true)) return;
  main_.post([self = std::weak_ptr(self_)] {
    const auto answers = self.lock();
    if (!answers) return;
    (*answers)->told_ = false;
    (*answers)->onChange();
  });
}

std::string StartPageAnswers::answer(const std::string& question) {
  json::object result;
  try {
    result = perform(decode<Question>(parseJson(question)));
  } catch (const Error& error) {
    result = {{"problem", error.message}};
  }
  return jsonText(result);
}

json::object StartPageAnswers::perform(const Question& question) {
  const auto& [ask, tabID, group, name, on, tabs] = question;
  if (ask == "icons" && tabs) {
    json::object icons;
    for (const auto& id : *tabs) {
      const auto found = tab(id);
      if (!found || !found->icon() || found->icon()->size() > largestIcon) continue;
      icons[iconKey(found->icon())] = dataAddress(*found->icon());
      if (icons.size() == mostIcons) break;
    }
    return {{"icons", std::move(icons)}};
  }
  if (ask == "prompt") {
    return {
        {"prompt", grouping_.regroupPrompt().value_or("Nothing would be sent: there is nothing to group.")}};
  }
  if (ask == "regroup") {
    grouping_.regroup();
  } else if (ask == "cancel") {
    grouping_.cancel();
  } else if (ask == "undo") {
    grouping_.undoRegroup();
  } else if (ask == "automatic" && on) {
    grouping_.setAutomatic(*on);
  } else if (ask == "rename" && group && name) {
    grouping_.renameGroup(*group, std::string(firstCharacters(trimmed(singleLine(*name)), longestTitle)));
  } else if (ask == "collapse" && group && on) {
    grouping_.setCollapsed(*group, *on);
  } else if (ask == "closeGroup" && group) {
    grouping_.closeTabs(*group);
  } else if (ask == "move" && tabID && group) {
    grouping_.moveTab(*tabID, *group);
  } else if (ask == "moveToNew" && tabID) {
    grouping_.addToNewGroup({*tabID});
  } else if (ask == "moveOut" && tabID) {
    grouping_.removeFromGroup(*tabID);
  } else if (ask == "show" && tabID) {
    showTab_(*tabID);
  } else if (ask != "state") {
    throw unknownQuestion();
  }
  return state();
}

std::shared_ptr<BrowserTab> StartPageAnswers::tab(const Uuid& id) const {
  const auto* entry = windows_.entryOfTab(id);
  return entry && !entry->model->isPrivate() ? entry->model->tab(id) : nullptr;
}

json::object StartPageAnswers::describe(const TabGroupSection& section, std::size_t& room) const {
  auto described = encode(section).as_object();
  described.erase("tabIDs");
  json::array tabs;
  std::size_t there = 0;
  for (const auto& id : section.tabIDs) {
    const auto found = tab(id);
    if (!found) continue;
    ++there;
    if (room == 0) continue;
    --room;
    tabs.push_back(json::object{{"id", id.text()},
                                {"title", firstCharacters(found->title(), longestTitle)},
                                {"address", firstCharacters(found->url(), longestTitle)},
                                {"site", host(found->url())},
                                {"icon", iconKey(found->icon())},
                                {"loading", found->isLoading()}});
  }
  described["tabs"] = std::move(tabs);
  described["count"] = there;
  return described;
}

json::object StartPageAnswers::state() const {
  json::array sections;
  auto room = mostTabsShown;
  for (const auto& section : grouping_.sections().value()) {
    auto described = describe(section, room);
    if (described["count"].as_uint64() > 0) sections.push_back(std::move(described));
  }
  const auto& activity = grouping_.activity().value();
  json::object state{{"sections", std::move(sections)},
                     {"automatic", grouping_.automatic().value()},
                     {"canUndo", grouping_.canUndoRegroup().value()},
                     {"activity", {{"kind", word(activity.kind)}, {"count", activity.tabs.size()}}}};
  const auto groupable = std::ranges::count_if(
      grouping_.tabs(), [](const GroupableTab& one) { return !one.agentOwner && isWebAddress(one.url); });
  state["groupable"] = groupable;
  if (const auto& when = grouping_.groupedAt().value()) {
    state["groupedAt"] = static_cast<double>(when->time_since_epoch().count());
  }
  if (const auto& failure = grouping_.failure().value()) {
    json::object told{{"message", failure->message}};
    if (failure->response) told["response"] = firstCharacters(*failure->response, 4'000);
    state["failure"] = std::move(told);
  }
  if (const auto& error = grouping_.storageError().value()) state["storage"] = *error;
  return state;
}

}  // namespace vale
