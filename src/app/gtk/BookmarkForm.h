#pragma once

#include "app/gtk/Signal.h"
#include "browser/Bookmarks.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

namespace vale::gtk {

/// The fields of one bookmark: its name, its address where that is asked for, and its folder, which may be a
/// new one. Its widget must be put somewhere and not outlive it. Main thread only.
class BookmarkForm {
 public:
  enum class Fields { nameAndFolder, withAddress };

  /// `bookmarks` must outlive the form.
  BookmarkForm(Bookmarks& bookmarks, Fields fields);
  BookmarkForm(const BookmarkForm&) = delete;
  BookmarkForm& operator=(const BookmarkForm&) = delete;

  GtkWidget* widget() const { return grid_; }

  void fill(const Bookmark& bookmark);

  /// The folder that is chosen; a new one is not there yet.
  std::string folder() const;

  /// Changes the bookmark to what the fields say. False when that cannot be, and the form says why.
  bool keep(const Uuid& id);

  void focusName();

  /// Called at Enter in a field.
  std::function<void()> onEnter = [] {};

 private:
  GtkWidget* addField(const char* label, GtkWidget* field);
  void listFolders(const std::string& chosen);
  void folderChosen();

  Bookmarks& bookmarks_;
  GtkWidget* grid_;
  GtkEditable* name_;
  GtkEditable* address_ = nullptr;
  GtkDropDown* folder_;
  GtkEditable* newFolder_;
  GtkLabel* newFolderLabel_;
  GtkLabel* problem_;
  int rows_ = 0;
  std::string parent_;  ///< chosen last
  std::vector<std::string> paths_;
  Connections connections_;
};

}  // namespace vale::gtk
