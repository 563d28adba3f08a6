#include "app/gtk/TabRowFactory.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

TabRowFactory::TabRowFactory(SharedContext context, TabRows& rows, TabRow::Shape shape)
    : context_(std::move(context)),
      factory_(GObjectPointer<GtkListItemFactory>::adopt(gtk_signal_list_item_factory_new())) {
  connections_.push_back(connect(factory_.get(), "setup", [this, shape](GtkListItem* item) {
    gtk_list_item_set_child(item, TabRow::make(shape, context_)->widget());
  }));
  connections_.push_back(connect(factory_.get(), "bind", [this](GtkListItem* item) { bind(item); }));
  connections_.push_back(connect(factory_.get(), "unbind", [this](GtkListItem* item) { unbind(item); }));
  selection_ = context_->model->onSelectionChange([this] {
    const auto selected = context_->model->selected();
    for (auto* row : used_) row->showSelected(selected && row->item()->tab == selected);
  });
  updates_ = rows.onUpdate([this] {
    for (auto* row : used_) {
      if (row->item()->line.groupID != Uuid()) row->refresh();
    }
  });
}

void TabRowFactory::bind(GtkListItem* item) {
  auto* row = TabRow::around(gtk_list_item_get_child(item));
  auto* object = static_cast<GObject*>(gtk_list_item_get_item(item));
  const auto& tab = TabItem::of(object)->tab;
  row->bind(object, tab && tab == context_->model->selected());
  used_.insert(row);
}

void TabRowFactory::unbind(GtkListItem* item) {
  auto* row = TabRow::around(gtk_list_item_get_child(item));
  used_.erase(row);
  row->unbind();
}

TabRow* TabRowFactory::rowOf(const Uuid& id) const {
  const auto found = std::ranges::find_if(used_, [&](TabRow* row) { return row->item()->line.id == id; });
  return found == used_.end() ? nullptr : *found;
}

}  // namespace vale::gtk
