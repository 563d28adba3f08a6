#include "app/gtk/BookmarkForm.h"

#include "app/gtk/Controls.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Menu.h"
#include "common/Error.h"

#include <algorithm>

namespace vale::gtk {

BookmarkForm::BookmarkForm(Bookmarks& bookmarks, Fields fields)
    : bookmarks_(bookmarks), grid_(gtk_grid_new()), name_(GTK_EDITABLE(gtk_entry_new())),
      folder_(GTK_DROP_DOWN(gtk_drop_down_new(nullptr, nullptr))), newFolder_(GTK_EDITABLE(gtk_entry_new())),
      problem_(GTK_LABEL(gtk_label_new(nullptr))) {
  gtk_grid_set_row_spacing(GTK_GRID(grid_), 8);
  gtk_grid_set_column_spacing(GTK_GRID(grid_), 12);
  gtk_entry_set_max_length(GTK_ENTRY(name_), Bookmarks::longestTitle);
  gtk_editable_set_width_chars(name_, 28);
  addField("_Name", GTK_WIDGET(name_));
  if (fields == Fields::withAddress) {
    address_ = GTK_EDITABLE(gtk_entry_new());
    gtk_entry_set_input_purpose(GTK_ENTRY(address_), GTK_INPUT_PURPOSE_URL);
    addField("_Address", GTK_WIDGET(address_));
  }
  auto* expression = gtk_property_expression_new(GTK_TYPE_STRING_OBJECT, nullptr, "string");
  gtk_drop_down_set_expression(folder_, expression);
  gtk_expression_unref(expression);
  addField("_Folder", GTK_WIDGET(folder_));
  nameChoice(folder_, "Folder");
  gtk_entry_set_max_length(GTK_ENTRY(newFolder_), BookmarkPath::longestName);
  newFolderLabel_ = GTK_LABEL(addField("N_ew folder", GTK_WIDGET(newFolder_)));
  gtk_label_set_wrap(problem_, TRUE);
  gtk_label_set_max_width_chars(problem_, 36);
  gtk_label_set_xalign(problem_, 0);
  gtk_widget_add_css_class(GTK_WIDGET(problem_), "error");
  gtk_widget_set_visible(GTK_WIDGET(problem_), FALSE);
  gtk_grid_attach(GTK_GRID(grid_), GTK_WIDGET(problem_), 0, rows_, 2, 1);
  for (auto* field : {name_, address_, newFolder_}) {
    if (field) connections_.push_back(connect(field, "activate", [this] { onEnter(); }));
  }
  connections_.push_back(connect(folder_, "notify::selected", [this](GParamSpec*) { folderChosen(); }));
}

GtkWidget* BookmarkForm::addField(const char* text, GtkWidget* field) {
  auto* label = gtk_label_new_with_mnemonic(text);
  gtk_label_set_xalign(GTK_LABEL(label), 1);
  gtk_widget_add_css_class(label, "dim-label");
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), field);
  gtk_accessible_update_relation(GTK_ACCESSIBLE(field), GTK_ACCESSIBLE_RELATION_LABELLED_BY, label, nullptr,
                                 -1);
  gtk_widget_set_hexpand(field, TRUE);
  gtk_grid_attach(GTK_GRID(grid_), label, 0, rows_, 1, 1);
  gtk_grid_attach(GTK_GRID(grid_), field, 1, rows_++, 1, 1);
  return label;
}

void BookmarkForm::fill(const Bookmark& bookmark) {
  gtk_editable_set_text(name_, bookmark.title.c_str());
  if (address_) gtk_editable_set_text(address_, bookmark.url.c_str());
  gtk_editable_set_text(newFolder_, "");
  gtk_widget_set_visible(GTK_WIDGET(problem_), FALSE);
  listFolders(Bookmarks::folderOf(bookmark));
}

void BookmarkForm::listFolders(const std::string& chosen) {
  paths_ = {std::string()};
  for (const auto& folder : bookmarks_.folders()) paths_.push_back(folder.path);
  const auto names = GObjectPointer<GtkStringList>::adopt(gtk_string_list_new(nullptr));
  gtk_string_list_append(names.get(), std::string(Bookmarks::barName).c_str());
  for (std::size_t i = 1; i < paths_.size(); ++i) {
    gtk_string_list_append(names.get(), menuLabel(paths_[i]).c_str());
  }
  gtk_string_list_append(names.get(), "New Folder…");
  gtk_drop_down_set_model(folder_, G_LIST_MODEL(names.get()));
  gtk_drop_down_set_enable_search(folder_, paths_.size() > 12);
  const auto found = std::ranges::find(paths_, chosen);
  gtk_drop_down_set_selected(folder_, found == paths_.end() ? 0 : guint(found - paths_.begin()));
  folderChosen();
}

void BookmarkForm::folderChosen() {
  const auto chosen = gtk_drop_down_get_selected(folder_);
  const bool isNew = chosen == paths_.size();
  if (chosen < paths_.size()) parent_ = paths_[chosen];
  gtk_widget_set_visible(GTK_WIDGET(newFolder_), isNew);
  gtk_widget_set_visible(GTK_WIDGET(newFolderLabel_), isNew);
  if (!isNew) return;
  const auto place = "In " + (parent_.empty() ? std::string(Bookmarks::barName) : menuLabel(parent_));
  gtk_entry_set_placeholder_text(GTK_ENTRY(newFolder_), place.c_str());
  gtk_widget_grab_focus(GTK_WIDGET(newFolder_));
}

std::string BookmarkForm::folder() const {
  if (gtk_drop_down_get_selected(folder_) < paths_.size()) return parent_;
  return BookmarkPath::join(parent_, BookmarkPath::name(gtk_editable_get_text(newFolder_)));
}

bool BookmarkForm::keep(const Uuid& id) {
  const auto* bookmark = bookmarks_.find(id);
  if (!bookmark) return true;
  try {
    const auto path = folder();
    const std::string address = address_ ? gtk_editable_get_text(address_) : bookmark->url;
    const std::string name = gtk_editable_get_text(name_);
    if (BookmarkPath::depth(path) > BookmarkPath::deepest) {
      throw Error("Folders cannot go deeper than 16 levels.");
    }
    bookmarks_.edit(id, name, address, path);
    return true;
  } catch (const Error& error) {
    gtk_label_set_text(problem_, error.message.c_str());
    gtk_widget_set_visible(GTK_WIDGET(problem_), TRUE);
    return false;
  }
}

void BookmarkForm::focusName() {
  gtk_widget_grab_focus(GTK_WIDGET(name_));
  gtk_editable_select_region(name_, 0, -1);
}

}  // namespace vale::gtk
