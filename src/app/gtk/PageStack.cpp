#include "app/gtk/PageStack.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace vale::gtk {

PageStack::PageStack(SharedContext context, Clock& clock)
    : context_(std::move(context)), clock_(clock),
      stack_(GObjectPointer<GtkStack>::share(GTK_STACK(gtk_stack_new()))) {
  gtk_stack_add_named(stack_.get(), emptyTabState(context_->model->mode), "empty");
  gtk_widget_set_vexpand(widget(), TRUE);
  selection_ = context_->model->onSelectionChange([this] { show(); });
  // At once: a page that moves to another window is asked for there in the next moment.
  tabs_ = context_->model->onTabsChange([this] { dropStrangers(); });
  show();
}

PageStack::~PageStack() {
  while (!entries_.empty()) drop(entries_.begin()->first);
}

WebKitPage* PageStack::page() const {
  const auto selected = context_->model->selected();
  // Every engine of this program makes these.
  return selected ? static_cast<WebKitPage*>(selected->page()) : nullptr;
}

void PageStack::show() {
  const auto tab = context_->model->selected();
  if (!tab) {
    selectedPage_ = {};
    return;
  }
  selectedPage_ = tab->onPageChange([this] { show(); });
  if (auto* page = static_cast<WebKitPage*>(tab->page())) {
    auto& entry = entries_[tab->id];
    if (!entry.area) {
      entry.tab = tab;
      entry.area = std::make_unique<PageArea>(*page, context_->model->mode, clock_);
      entry.pageChanges = tab->onPageChange([this, id = tab->id] { drop(id); });
      gtk_stack_add_child(stack_.get(), entry.area->widget());
    }
    gtk_stack_set_visible_child(stack_.get(), entry.area->widget());
  } else {
    gtk_stack_set_visible_child_name(stack_.get(), "empty");
  }
  shown_.emit();
}

void PageStack::dropStrangers() {
  if (entries_.empty()) return;
  std::size_t known = 0;
  for (const auto& tab : context_->model->tabs()) known += entries_.contains(tab->id);
  if (known == entries_.size()) return;
  std::vector<Uuid> strangers;
  for (const auto& [id, entry] : entries_) {
    if (!context_->model->indexOf(id)) strangers.push_back(id);
  }
  for (const auto& id : strangers) drop(id);
}

void PageStack::drop(const Uuid& id) {
  auto node = entries_.extract(id);
  if (node.empty()) return;
  gtk_stack_remove(stack_.get(), node.mapped().area->widget());
}

}  // namespace vale::gtk
