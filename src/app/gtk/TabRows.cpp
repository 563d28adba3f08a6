#include "app/gtk/TabRows.h"

#include "app/gtk/TabItem.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

TabRows::TabRows(SharedContext context) : context_(std::move(context)) {
  pinned_.store = GObjectPointer<GListStore>::adopt(g_list_store_new(TabItem::type()));
  others_.store = GObjectPointer<GListStore>::adopt(g_list_store_new(TabItem::type()));
  changes_ = context_->model->onTabsChange([this] {
    if (std::exchange(*updating_, true)) return;
    context_->main.post([this, alive = std::weak_ptr(updating_)] {
      if (!alive.expired()) update();
    });
  });
  update();
}

void TabRows::setFilter(std::string filter) {
  filter_ = std::move(filter);
  update();
}

void TabRows::update() {
  *updating_ = false;
  auto lines = tabLines(*context_->model, filter_);
  const auto others =
      std::ranges::find_if(lines, [](const TabLine& line) { return line.kind != TabLine::Kind::pinnedTab; });
  pinned_.change({lines.begin(), others}, context_->model);
  others_.change({others, lines.end()}, context_->model);
  updated_.emit();
}

std::optional<Uuid> TabRows::firstTab() const {
  for (const auto* list : {&pinned_, &others_}) {
    const auto found = std::ranges::find_if(list->lines, &TabLine::isTab);
    if (found != list->lines.end()) return found->id;
  }
  return std::nullopt;
}

void TabRows::List::change(std::vector<TabLine> after, const std::shared_ptr<BrowserModel>& model) {
  for (const auto& splice : lineSplices(lines, after)) {
    std::vector<gpointer> added;
    added.reserve(splice.inserted);
    for (std::size_t i = 0; i < splice.inserted; ++i) {
      added.push_back(TabItem::make(after[splice.position + i], model));
    }
    g_list_store_splice(store.get(), static_cast<guint>(splice.position), static_cast<guint>(splice.removed),
                        added.data(), static_cast<guint>(added.size()));
    for (auto* item : added) g_object_unref(item);
  }
  lines = std::move(after);
}

std::optional<guint> TabRows::List::indexOf(const Uuid& id) const {
  const auto found = std::ranges::find(lines, id, &TabLine::id);
  if (found == lines.end()) return std::nullopt;
  return static_cast<guint>(found - lines.begin());
}

}  // namespace vale::gtk
