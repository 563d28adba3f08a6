#include "app/gtk/TabMenu.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

GVariant* target(const Uuid& id) { return g_variant_new_string(id.text().c_str()); }

std::optional<Uuid> identifier(GVariant* value) { return Uuid::parse(g_variant_get_string(value, nullptr)); }

std::size_t placeOf(const BrowserModel& model, const Uuid& group) {
  return static_cast<std::size_t>(std::ranges::find(model.groups(), group, &ManualTabGroup::id) -
                                  model.groups().begin());
}

}  // namespace

TabMenu::TabMenu(SharedContext context)
    : context_(std::move(context)),
      actions_(GObjectPointer<GSimpleActionGroup>::adopt(g_simple_action_group_new())) {
  addTabActions();
  addGroupActions();
}

/// `work` gets the model and the identifier, after the menu has closed.
template <typename Work> void TabMenu::add(const char* name, Work work) {
  const auto action = GObjectPointer<GSimpleAction>::adopt(g_simple_action_new(name, G_VARIANT_TYPE_STRING));
  g_action_map_add_action(G_ACTION_MAP(actions_.get()), G_ACTION(action.get()));
  connections_.push_back(connect(action.get(), "activate", [this, work](GVariant* value) {
    const auto id = identifier(value);
    if (id) context_->later([work, id = *id](BrowserModel& model) { work(model, id); });
  }));
}

void TabMenu::addTabActions() {
  add("close", [](BrowserModel& model, const Uuid& id) { model.close(id); });
  add("close-others", [](BrowserModel& model, const Uuid& id) {
    model.select(id);
    for (const auto& other : std::vector(model.tabs())) {
      if (other->id != id && !other->pinned() && !other->agentOwner) model.close(other->id);
    }
  });
  add("pin", [](BrowserModel& model, const Uuid& id) { model.setPinned(id, true); });
  add("unpin", [](BrowserModel& model, const Uuid& id) { model.setPinned(id, false); });
  add("mute", [](BrowserModel& model, const Uuid& id) {
    if (const auto tab = model.tab(id)) tab->setMuted(!tab->isMuted());
  });
  add("duplicate", [](BrowserModel& model, const Uuid& id) {
    if (const auto tab = model.tab(id)) model.open(tab->url(), {.opener = tab});
  });
  add("group", [this](BrowserModel& model, const Uuid& id) {
    if (const auto group = model.createGroup({id})) onEditGroup(*group);
  });
  add("ungroup-tab", [](BrowserModel& model, const Uuid& id) { model.removeFromGroup(id); });
  add("detach", [host = context_->host](BrowserModel&, const Uuid& id) { host.detachTab(id); });

  const auto join =
      GObjectPointer<GSimpleAction>::adopt(g_simple_action_new("join-group", G_VARIANT_TYPE("(ss)")));
  g_action_map_add_action(G_ACTION_MAP(actions_.get()), G_ACTION(join.get()));
  connections_.push_back(connect(join.get(), "activate", [this](GVariant* value) {
    const char *tab = nullptr, *group = nullptr;
    g_variant_get(value, "(&s&s)", &tab, &group);
    const auto tabID = Uuid::parse(tab), groupID = Uuid::parse(group);
    if (!tabID || !groupID) return;
    context_->later(
        [tab = *tabID, group = *groupID](BrowserModel& model) { model.addToGroup({tab}, group); });
  }));
}

void TabMenu::addGroupActions() {
  add("edit-group", [this](BrowserModel&, const Uuid& id) { onEditGroup(id); });
  add("new-tab-in-group", [](BrowserModel& model, const Uuid& id) {
    model.setGroupCollapsed(id, false);
    model.open({}, {.groupID = id});
  });
  add("collapse-group", [](BrowserModel& model, const Uuid& id) {
    if (const auto* group = model.group(id)) model.setGroupCollapsed(id, !group->collapsed);
  });
  add("ungroup", [](BrowserModel& model, const Uuid& id) { model.ungroup(id); });
  add("fold-group", [](BrowserModel& model, const Uuid& id) { model.foldGroup(id); });
  add("close-group", [](BrowserModel& model, const Uuid& id) { model.closeGroup(id); });
  add("group-up", [](BrowserModel& model, const Uuid& id) {
    if (const auto place = placeOf(model, id)) model.moveGroup(id, place - 1);
  });
  add("group-down", [](BrowserModel& model, const Uuid& id) { model.moveGroup(id, placeOf(model, id) + 1); });
}

Menu TabMenu::forTab(const BrowserTab& tab) const {
  const auto& model = *context_->model;
  const auto& id = tab.id;
  Menu page, groups, closing, all;
  if (!tab.isStart()) page.item("Duplicate", "tab.duplicate", target(id));
  if (!tab.agentOwner) {
    page.item(tab.pinned() ? "Unpin" : "Pin", tab.pinned() ? "tab.unpin" : "tab.pin", target(id));
  }
  if (tab.page()) page.item(tab.isMuted() ? "Unmute" : "Mute", "tab.mute", target(id));
  if (!tab.agentOwner) {
    const auto* own = model.groupOf(id);
    Menu existing;
    for (const auto& group : model.groups()) {
      if (&group == own) continue;
      existing.item(menuLabel(group.name), "tab.join-group",
                    g_variant_new("(ss)", id.text().c_str(), group.id.text().c_str()));
    }
    groups.item("Add to New Group", "tab.group", target(id));
    if (!existing.empty()) groups.submenu("Add to Group", existing);
    if (own) groups.item("Remove from Group", "tab.ungroup-tab", target(id));
  }
  if (model.tabs().size() > 1) {
    groups.item("Move to New Window", "tab.detach", target(id));
  }
  closing.item("Close", "tab.close", target(id));
  if (model.tabs().size() > 1) closing.item("Close Others", "tab.close-others", target(id));
  closing.item("Reopen Closed Tab", "win.reopen-closed");
  return std::move(all.section(page).section(groups).section(closing));
}

Menu TabMenu::forGroup(const ManualTabGroup& group) const {
  const auto& model = *context_->model;
  const auto place = placeOf(model, group.id);
  Menu shape, order, closing, all;
  shape.item("New Tab in Group", "tab.new-tab-in-group", target(group.id));
  shape.item("Name and Colour…", "tab.edit-group", target(group.id));
  shape.item(group.collapsed ? "Expand" : "Collapse", "tab.collapse-group", target(group.id));
  if (place > 0) order.item("Move Up", "tab.group-up", target(group.id));
  if (place + 1 < model.groups().size()) order.item("Move Down", "tab.group-down", target(group.id));
  closing.item("Ungroup", "tab.ungroup", target(group.id));
  if (!model.isPrivate()) closing.item("Fold Away", "tab.fold-group", target(group.id));
  closing.item("Close Group", "tab.close-group", target(group.id));
  return std::move(all.section(shape).section(order).section(closing));
}

}  // namespace vale::gtk
