#pragma once

#include "app/AgentDesk.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>

namespace vale::gtk {

/// The button with the name of the shown conversation, and the list of the others, the latest first. Main
/// thread only.
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
  void askToDelete(const Uuid& thread, const std::string& title);

  AgentDesk& desk_;
  std::function<void(const Uuid&)> chosen_;
  GtkMenuButton* button_;
  GtkLabel* title_;
  GtkPopover* popover_;
  GtkListBox* rows_;
  std::vector<Uuid> threads_;
  Connections connections_, buttons_;
  Connection answered_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
