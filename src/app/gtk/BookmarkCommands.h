#pragma once

#include "app/gtk/Menu.h"
#include "app/gtk/QuestionBar.h"
#include "app/gtk/WindowPart.h"
#include "browser/Bookmarks.h"

#include <memory>
#include <optional>
#include <string>

namespace vale::gtk {

/// Where a bookmark opens.
enum class BookmarkTarget { shownTab, newTab, newWindow, privateWindow };

/// What can be done to the bookmarks from one window, as its "win.…" actions, and the sentence that says what
/// was done. Main thread only.
class BookmarkCommands {
 public:
  explicit BookmarkCommands(const WindowPlace& place);
  BookmarkCommands(const BookmarkCommands&) = delete;
  BookmarkCommands& operator=(const BookmarkCommands&) = delete;

  void open(const Uuid& id, BookmarkTarget target);
  /// With the offer to bring it back.
  void remove(const Uuid& id);

  /// What is in a folder, for a menu: the folders in it as menus of their own.
  Menu contents(const std::string& folder) const;
  Menu menuFor(const Uuid& id) const;
  Menu menuForFolder(const std::string& path) const;

  /// Where the editors that the menus above ask for come up.
  void setPlace(GtkWidget* at, const GdkRectangle& place);

  void say(const std::string& sentence, std::vector<QuestionBar::Answer> answers = {});

 private:
  void addActions();
  void openAll(const std::string& folder, bool asked);
  void edit(const Uuid& id);
  void renameFolder(const std::string& path);
  void removeFolder(const std::string& path);
  void sayRemoved(const std::string& sentence);
  void bookmarkAllTabs();
  void chooseFile(GtkFileChooserAction action);
  Menu contents(const std::string& folder, std::size_t& left) const;

  WindowPlace place_;
  Bookmarks& bookmarks_;
  GtkWidget* editAt_;
  GdkRectangle editPlace_{0, 0, 1, 1};
  GObjectPointer<GtkFileChooserNative> chooser_;
  std::unique_ptr<QuestionBar> notice_;
  std::shared_ptr<BookmarkCommands*> self_;
  Connection chosen_;
};

}  // namespace vale::gtk
