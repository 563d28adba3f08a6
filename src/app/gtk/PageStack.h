#pragma once

#include "app/gtk/PageArea.h"
#include "app/gtk/WebKitPage.h"
#include "app/gtk/WindowContext.h"

#include <gtk/gtk.h>

#include <memory>
#include <unordered_map>

namespace vale::gtk {

/// The pages of a window one behind the other, the selected tab's in front. A page gets its area when it is
/// first shown and keeps it until it goes: to sleep, to another window, or for good.
class PageStack {
 public:
  PageStack(SharedContext context, Clock& clock);
  ~PageStack();
  PageStack(const PageStack&) = delete;
  PageStack& operator=(const PageStack&) = delete;

  GtkWidget* widget() const { return GTK_WIDGET(stack_.get()); }

  /// The selected tab's page; null while it has none.
  WebKitPage* page() const;

  /// Fires when another tab is shown, and when the shown one gets a page or loses it.
  Subscription onShown(std::function<void()> observer) {
    return Subscription(shown_.connect(std::move(observer)));
  }

 private:
  struct Entry {
    std::shared_ptr<BrowserTab> tab;  ///< keeps the page alive for as long as the area uses it
    std::unique_ptr<PageArea> area;
    Subscription pageChanges;
  };

  void show();
  void dropStrangers();
  void drop(const Uuid& tab);

  SharedContext context_;
  Clock& clock_;
  GObjectPointer<GtkStack> stack_;
  std::unordered_map<Uuid, Entry> entries_;
  Subscription selection_, tabs_, selectedPage_;
  sigc::signal<void()> shown_;
};

}  // namespace vale::gtk
