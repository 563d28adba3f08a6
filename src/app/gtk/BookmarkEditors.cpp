#include "app/gtk/BookmarkEditors.h"

#include "app/gtk/BookmarkForm.h"
#include "app/gtk/Menu.h"
#include "app/gtk/Signal.h"
#include "common/Error.h"

#include <adwaita.h>
#include <fmt/format.h>

#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

/// What an editor's popover holds, for as long as there is one.
template <typename Content> Content* holdIn(gpointer object, std::unique_ptr<Content> content) {
  auto* held = content.release();
  g_object_set_data_full(G_OBJECT(object), "vale-editor", held,
                         [](gpointer data) { delete static_cast<Content*>(data); });
  return held;
}

struct BookmarkEditor {
  BookmarkForm form;
  Connections connections;
};

struct FolderEditor {
  std::string path;
  Connections connections;
};

GtkWidget* column(const char* title) {
  auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  auto* heading = gtk_label_new(title);
  gtk_widget_add_css_class(heading, "heading");
  gtk_box_append(GTK_BOX(box), heading);
  return box;
}

}  // namespace

void editBookmark(Bookmarks& bookmarks, const Uuid& id, GtkWidget* at, const GdkRectangle& place) {
  const auto* bookmark = bookmarks.find(id);
  if (!bookmark) return;
  auto* popover = GTK_POPOVER(gtk_popover_new());
  auto* editor = holdIn(
      popover, std::unique_ptr<BookmarkEditor>(new BookmarkEditor{
                   .form = BookmarkForm(bookmarks, BookmarkForm::Fields::withAddress), .connections = {}}));
  editor->form.fill(*bookmark);
  auto* content = column("Edit Bookmark");
  gtk_box_append(GTK_BOX(content), editor->form.widget());
  auto* done = gtk_button_new_with_mnemonic("_Done");
  gtk_widget_add_css_class(done, "suggested-action");
  gtk_widget_set_halign(done, GTK_ALIGN_END);
  gtk_box_append(GTK_BOX(content), done);
  gtk_popover_set_child(popover, content);
  const auto keep = [editor, popover, id] {
    if (editor->form.keep(id)) gtk_popover_popdown(popover);
  };
  editor->form.onEnter = keep;
  editor->connections.push_back(connect(done, "clicked", keep));
  popUp(popover, at, place);
  editor->form.focusName();
}

void renameBookmarkFolder(Bookmarks& bookmarks, const std::string& path, GtkWidget* at,
                          const GdkRectangle& place) {
  if (!bookmarks.hasFolder(path)) return;
  auto* popover = GTK_POPOVER(gtk_popover_new());
  auto* editor = holdIn(popover, std::make_unique<FolderEditor>());
  editor->path = path;
  auto* content = column("Rename Folder");
  auto* name = gtk_entry_new();
  gtk_entry_set_max_length(GTK_ENTRY(name), BookmarkPath::longestName);
  gtk_editable_set_text(GTK_EDITABLE(name), std::string(BookmarkPath::lastName(path)).c_str());
  gtk_accessible_update_property(GTK_ACCESSIBLE(name), GTK_ACCESSIBLE_PROPERTY_LABEL, "Name of the folder",
                                 -1);
  auto* problem = gtk_label_new(nullptr);
  gtk_widget_add_css_class(problem, "error");
  gtk_widget_set_visible(problem, FALSE);
  auto* done = gtk_button_new_with_mnemonic("_Rename");
  gtk_widget_add_css_class(done, "suggested-action");
  for (auto* widget : {name, problem, done}) gtk_box_append(GTK_BOX(content), widget);
  gtk_popover_set_child(popover, content);
  const auto keep = [editor, popover, name, problem, &bookmarks] {
    try {
      bookmarks.renameFolder(editor->path, gtk_editable_get_text(GTK_EDITABLE(name)));
      gtk_popover_popdown(popover);
    } catch (const Error& error) {
      gtk_label_set_text(GTK_LABEL(problem), error.message.c_str());
      gtk_widget_set_visible(problem, TRUE);
    }
  };
  editor->connections.push_back(connect(name, "activate", keep));
  editor->connections.push_back(connect(done, "clicked", keep));
  popUp(popover, at, place);
  gtk_widget_grab_focus(name);
  gtk_editable_select_region(GTK_EDITABLE(name), 0, -1);
}

void askForTabFolder(GtkWindow* parent, std::size_t pages,
                     std::function<void(const std::string& name)> named) {
  auto* dialog = ADW_MESSAGE_DIALOG(adw_message_dialog_new(parent, "Bookmark All Tabs", nullptr));
  const auto body = pages == 1
                        ? std::string("The open page goes into a new folder on the bookmarks bar.")
                        : fmt::format("The {} open pages go into a new folder on the bookmarks bar.", pages);
  adw_message_dialog_set_body(dialog, body.c_str());
  auto* name = gtk_entry_new();
  gtk_entry_set_max_length(GTK_ENTRY(name), BookmarkPath::longestName);
  gtk_entry_set_activates_default(GTK_ENTRY(name), TRUE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(name), GTK_ACCESSIBLE_PROPERTY_LABEL, "Name of the folder",
                                 -1);
  const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_local(),
                                                                     g_date_time_unref);
  const std::unique_ptr<char, decltype(&g_free)> day(
      now ? g_date_time_format(now.get(), "Tabs of %e %B %Y, %H:%M") : nullptr, g_free);
  gtk_editable_set_text(GTK_EDITABLE(name), BookmarkPath::name(day ? day.get() : "Tabs").c_str());
  adw_message_dialog_set_extra_child(dialog, name);
  adw_message_dialog_add_response(dialog, "cancel", "_Cancel");
  adw_message_dialog_add_response(dialog, "add", "_Bookmark");
  adw_message_dialog_set_response_appearance(dialog, "add", ADW_RESPONSE_SUGGESTED);
  adw_message_dialog_set_default_response(dialog, "add");
  adw_message_dialog_set_close_response(dialog, "cancel");
  auto* connections = holdIn(dialog, std::make_unique<Connections>());
  connections->push_back(connect(name, "changed", [dialog, name] {
    const auto text = BookmarkPath::name(gtk_editable_get_text(GTK_EDITABLE(name)));
    adw_message_dialog_set_response_enabled(dialog, "add", !text.empty());
  }));
  connections->push_back(connect(dialog, "response", [name, named = std::move(named)](const char* response) {
    if (std::string_view(response) == "add") named(gtk_editable_get_text(GTK_EDITABLE(name)));
  }));
  gtk_window_present(GTK_WINDOW(dialog));
  gtk_widget_grab_focus(name);
}

}  // namespace vale::gtk
