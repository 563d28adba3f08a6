#include "app/gtk/TabItem.h"

namespace vale::gtk {

namespace {

struct ValeTabItem {
  GObject parent;
  TabItem* item;
};

struct ValeTabItemClass {
  GObjectClass parent;
};

G_DEFINE_FINAL_TYPE(ValeTabItem, vale_tab_item, G_TYPE_OBJECT)

void vale_tab_item_init(ValeTabItem* self) { self->item = new TabItem; }

void vale_tab_item_class_init(ValeTabItemClass* type) {
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete reinterpret_cast<ValeTabItem*>(object)->item;
    G_OBJECT_CLASS(vale_tab_item_parent_class)->finalize(object);
  };
}

}  // namespace

GType TabItem::type() { return vale_tab_item_get_type(); }

GObject* TabItem::make(const TabLine& line, const std::shared_ptr<BrowserModel>& model) {
  auto* object = static_cast<GObject*>(g_object_new(type(), nullptr));
  auto& item = *reinterpret_cast<ValeTabItem*>(object)->item;
  item = {.line = line, .tab = line.tab ? line.tab->shared_from_this() : nullptr, .model = model};
  return object;
}

const TabItem* TabItem::of(gpointer object) {
  return object ? static_cast<ValeTabItem*>(object)->item : nullptr;
}

}  // namespace vale::gtk
