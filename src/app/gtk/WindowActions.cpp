#include "app/gtk/WindowActions.h"

#include "app/Shortcuts.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vale::gtk {

namespace {

std::optional<Uuid> identifier(GVariant* value) { return Uuid::parse(g_variant_get_string(value, nullptr)); }

}  // namespace

void setAccelerators(GtkApplication* application) {
  for (const auto& row : shortcuts()) {
    if (row.action.empty()) continue;
    std::vector<const char*> keys;
    for (const auto& key : row.keys) keys.push_back(key.c_str());
    keys.push_back(nullptr);
    gtk_application_set_accels_for_action(application, row.action.c_str(), keys.data());
  }
}

WindowActions::WindowActions(SharedContext context, GActionMap* map)
    : context_(std::move(context)), map_(map) {
  addTabActions();
  addWindowActions();
  addViewActions();
}

void WindowActions::add(const char* name, std::function<void()> work) {
  add(name, nullptr, [work = std::move(work)](GVariant*) { work(); });
}

void WindowActions::add(const char* name, const char* parameter, std::function<void(GVariant*)> work) {
  const auto action = GObjectPointer<GSimpleAction>::adopt(
      g_simple_action_new(name, parameter ? G_VARIANT_TYPE(parameter) : nullptr));
  g_action_map_add_action(map_, G_ACTION(action.get()));
  connections_.push_back(
      connect(action.get(), "activate", [work = std::move(work)](GVariant* value) { work(value); }));
}

void WindowActions::enable(const char* name, bool enabled) {
  g_simple_action_set_enabled(G_SIMPLE_ACTION(g_action_map_lookup_action(map_, name)), enabled);
}

void WindowActions::addTabActions() {
  auto& model = *context_->model;
  const auto selectAt = [&model](std::size_t index) {
    if (index < model.tabs().size()) model.select(model.tabs()[index]->id);
  };
  add("new-tab", [&model] { model.open({}, {}); });
  add("history", [&model] {
    const auto tab = model.selected();
    if (tab && tab->isStart()) return tab->open(std::string(historyAddress), model.engine());
    model.open(std::string(historyAddress), {});
  });
  add("close-tab", [this] {
    context_->later([](BrowserModel& model) {
      if (const auto tab = model.selected()) model.close(tab->id);
    });
  });
  add("next-tab", [&model] { model.selectRelative(1); });
  add("previous-tab", [&model] { model.selectRelative(-1); });
  add("move-tab-on", [this] { moveSelected(1); });
  add("move-tab-back", [this] { moveSelected(-1); });
  add("tab", "i", [selectAt](GVariant* number) {
    selectAt(static_cast<std::size_t>(std::max(g_variant_get_int32(number), 1) - 1));
  });
  add("last-tab", [&model, selectAt] { selectAt(model.tabs().size() - 1); });
  add("reopen-tab", "s", [&model](GVariant* value) {
    if (const auto id = identifier(value)) model.reopen(*id);
  });
  add("restore-folded", "s", [&model](GVariant* value) {
    if (const auto id = identifier(value)) model.restoreFolded(*id);
  });
  add("discard-folded", "s", [&model](GVariant* value) {
    if (const auto id = identifier(value)) model.discardFolded(*id);
  });
}

void WindowActions::addWindowActions() {
  add("new-window", [this] { context_->host.newWindow(BrowsingMode::ordinary, {}); });
  add("new-private-window", [this] { context_->host.newWindow(BrowsingMode::isPrivate, {}); });
  add("close-window", [this] {
    context_->later([host = context_->host](BrowserModel& model) { host.closeWindow(model.id); });
  });
  add("settings", [this] { context_->host.showSettings(context_->model->id); });
  add("reopen-closed", [this] { context_->host.reopenClosed(*context_->model); });
}

/// Adds an action whose state is a published value of the model's; `variant` gives its form.
template <typename Value>
void WindowActions::followState(const char* name, const Published<Value>& value, auto variant) {
  subscriptions_.push_back(value.observe([this, name, variant](const Value& now) {
    g_simple_action_set_state(G_SIMPLE_ACTION(g_action_map_lookup_action(map_, name)), variant(now));
  }));
}

void WindowActions::addViewActions() {
  auto& model = *context_->model;
  const auto addStateful = [this](const char* name, const GVariantType* parameter, GVariant* state,
                                  auto work) {
    const auto action =
        GObjectPointer<GSimpleAction>::adopt(g_simple_action_new_stateful(name, parameter, state));
    g_action_map_add_action(map_, G_ACTION(action.get()));
    connections_.push_back(connect(action.get(), "activate", work));
  };
  addStateful("layout", G_VARIANT_TYPE_STRING, g_variant_new_string(""), [this](GVariant* value) {
    const auto layout = fromRawValue<TabLayout>(g_variant_get_string(value, nullptr));
    // The menu that asks may be in the header that is about to be arranged anew.
    if (layout) context_->later([layout = *layout](BrowserModel& model) { model.setTabLayout(layout); });
  });
  followState("layout", model.tabLayout(),
              [](TabLayout layout) { return g_variant_new_string(std::string(rawValue(layout)).c_str()); });
  addStateful("show-wall", nullptr, g_variant_new_boolean(TRUE), [this](GVariant*) {
    context_->later([](BrowserModel& model) { model.setWallVisible(!model.wallVisible().value()); });
  });
  followState("show-wall", model.wallVisible(), [](bool visible) { return g_variant_new_boolean(visible); });
}

void WindowActions::moveSelected(int steps) {
  auto& model = *context_->model;
  const auto tab = model.selected();
  const auto index = tab ? model.indexOf(tab->id) : std::nullopt;
  if (!index || (steps < 0 && *index == 0)) return;
  // "Before the one at": past the next one means two further.
  model.move(tab->id, steps > 0 ? *index + 2 : *index - 1);
}

}  // namespace vale::gtk
