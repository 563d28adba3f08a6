#pragma once

#include "app/gtk/AddressCompletions.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "browser/Page.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vale::gtk {

/// The entry that shows a page's address, its host strong and the rest faint, and takes another. While the
/// user is in it, it holds the whole address, or what was typed, and changes of the page leave it alone. What
/// is typed is completed in a list below.
class AddressEntry {
 public:
  struct Host {
    /// Gets the text at Enter, with Alt for a new tab.
    std::function<void(std::string, OpenPlace)> submitted;
    /// Gets what was chosen from the list instead.
    std::function<void(AddressSuggestion, OpenPlace)> chosen;
    std::function<std::vector<AddressSuggestion>(std::string_view typed)> suggestions;
    /// Gets the text at Ctrl+Enter: a request to an agent.
    std::function<void(std::string)> asked = [](const std::string&) {};
    /// Called when Escape has given the old address back.
    std::function<void()> left;
  };
  explicit AddressEntry(Host host);

  GtkWidget* widget() const { return GTK_WIDGET(entry_.get()); }

  void showAddress(const std::string& address);
  void showSecurity(PageSecurity security);

  /// The icon of the address's security was chosen.
  std::function<void()> onIcon;
  /// Where that icon is, in the entry.
  GdkRectangle iconArea() const;

  /// Says in a sentence why the typed text was not opened, until it changes.
  void showRefusal(const std::string& message);

  /// Puts the keyboard into the entry with the whole address selected.
  void edit();

  /// Drops what was typed.
  void restore();

 private:
  bool hasFocus() const;
  void entered();
  void showWhole();
  void showDisplayed();
  void setText(const std::string& text);
  void typed();
  void showIcon();
  void enter(OpenPlace place);
  void clearRefusal();
  bool keyPressed(guint key, GdkModifierType modifiers);

  Host host_;
  GObjectPointer<GtkEntry> entry_;
  AddressCompletions completions_;
  std::string address_;
  PageSecurity security_ = PageSecurity::local;
  bool editing_ = false;
  bool setting_ = false;  ///< the text changes, and nobody typed it
  Connections connections_;
};

}  // namespace vale::gtk
