#pragma once

#include "app/AddressSuggestions.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <cstddef>
#include <functional>
#include <vector>

namespace vale::gtk {

/// Where an address is opened.
enum class OpenPlace { here, newTab, newWindow };

/// The list under the address entry. It never takes the keyboard: the entry moves the selection. The first
/// row, which is what was typed, is selected when the list opens. Main thread only.
class AddressCompletions {
 public:
  /// `entry` must live until this is gone. `chosen` gets what was clicked, once the list is closed.
  AddressCompletions(GtkWidget* entry, std::function<void(const AddressSuggestion&, OpenPlace)> chosen);
  ~AddressCompletions();
  AddressCompletions(const AddressCompletions&) = delete;
  AddressCompletions& operator=(const AddressCompletions&) = delete;

  /// Shows the suggestions in place of the former; none close the list.
  void show(std::vector<AddressSuggestion> suggestions);
  void hide() { show({}); }
  bool isOpen() const { return !suggestions_.empty(); }

  /// Selects the row `steps` further down, around the ends.
  void move(int steps);

  /// Null while the list is closed.
  const AddressSuggestion* selected() const;

 private:
  struct Row {
    GtkWidget* widget = nullptr;
    GtkImage* icon = nullptr;
    GtkLabel* title = nullptr;
    GtkLabel* address = nullptr;
    GtkLabel* wish = nullptr;
  };

  void addRow();
  void fill(const Row& row, const AddressSuggestion& suggestion);
  void choose(GtkListBoxRow* row, OpenPlace place);

  GtkWidget* entry_;
  std::function<void(const AddressSuggestion&, OpenPlace)> chosen_;
  GObjectPointer<GtkWidget> popover_;
  GtkListBox* list_;
  std::vector<Row> rows_;
  std::vector<AddressSuggestion> suggestions_;
  Connections connections_;
};

}  // namespace vale::gtk
