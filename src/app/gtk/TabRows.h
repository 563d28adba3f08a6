#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/WindowContext.h"
#include "browser/TabLines.h"

#include <gio/gio.h>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

/// The tabs of a window as list models of TabItems, kept by splices of what has changed, so that a long list
/// keeps its rows. Several changes of the model in one turn of the main loop are one update.
class TabRows {
 public:
  explicit TabRows(SharedContext context);

  GListModel* pinned() const { return G_LIST_MODEL(pinned_.store.get()); }
  /// Everything but the pinned tabs.
  GListModel* others() const { return G_LIST_MODEL(others_.store.get()); }

  /// Narrows both lists to the matching tabs; an empty text ends it.
  void setFilter(std::string filter);

  /// The first tab of the narrowed list.
  std::optional<Uuid> firstTab() const;

  /// A tab's or group's place in `others`, or in `pinned`.
  std::optional<guint> indexInOthers(const Uuid& id) const { return others_.indexOf(id); }
  std::optional<guint> indexInPinned(const Uuid& id) const { return pinned_.indexOf(id); }

  /// Fires after an update, also when only a group's name or colour has changed.
  Subscription onUpdate(std::function<void()> observer) {
    return Subscription(updated_.connect(std::move(observer)));
  }

 private:
  struct List {
    GObjectPointer<GListStore> store;
    std::vector<TabLine> lines;

    void change(std::vector<TabLine> after, const std::shared_ptr<BrowserModel>& model);
    std::optional<guint> indexOf(const Uuid& id) const;
  };

  void update();

  SharedContext context_;
  List pinned_, others_;
  std::string filter_;
  std::shared_ptr<bool> updating_ = std::make_shared<bool>(false);
  sigc::signal<void()> updated_;
  Subscription changes_;
};

}  // namespace vale::gtk
