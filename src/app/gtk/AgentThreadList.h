#pragma once

#include "app/AgentDesk.h"
#include "app/ThreadListing.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>

namespace vale::gtk {

/// The button with the name of the shown conversation, and the list of all to search in, the latest first.
/// Main thread only.
class AgentThreadList {
 public:
  /// The desk must outlive the list. `chosen` gets the conversation to show.
  AgentThreadList(AgentDesk& desk, std::function<void(const Uuid&)> chosen);
  ~AgentThreadList();
  AgentThreadList(const AgentThreadList&) = delete;
  AgentThreadList& operator=(const AgentThreadList&) = delete;

  GtkWidget* widget() const { return GTK_WIDGET(button_); }
  void showTitle(const std::string& title);

 private:
  void list();
  void choose(std::size_t index);
  bool deleteFocused();
  void askToDelete(ListedThread thread);

  AgentDesk& desk_;
  std::function<void(const Uuid&)> chosen_;
  GtkMenuButton* button_;
  GtkLabel* title_;
  GtkPopover* popover_;
  GtkWidget* search_;
  GtkListBox* rows_;
  GtkLabel* empty_;
  std::vector<ListedThread> threads_;
  Connections connections_, buttons_;
  Connection answered_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
