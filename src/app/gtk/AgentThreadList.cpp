#include "app/gtk/AgentThreadList.h"

#include "app/ThreadListing.h"
#include "app/gtk/Controls.h"
#include "common/Error.h"
#include "common/Log.h"
#include "common/Text.h"

#include <adwaita.h>
#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t mostListed = 60;  // the search finds the others

GtkLabel* line(const std::string& text) {
  auto* label = GTK_LABEL(gtk_label_new(text.c_str()));
  gtk_label_set_ellipsize(label, PANGO_ELLIPSIZE_END);
  gtk_label_set_xalign(label, 0);
  return label;
}

}  // namespace

AgentThreadList::AgentThreadList(AgentDesk& desk, std::function<void(const Uuid&)> chosen)
    : desk_(desk), chosen_(std::move(chosen)), button_(GTK_MENU_BUTTON(gtk_menu_button_new())),
      title_(line({})), popover_(GTK_POPOVER(gtk_popover_new())), search_(gtk_search_entry_new()),
      rows_(GTK_LIST_BOX(gtk_list_box_new())) {
  gtk_widget_add_css_class(widget(), "flat");
  gtk_widget_set_tooltip_text(widget(), "Conversations");
  auto* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_widget_add_css_class(GTK_WIDGET(title_), "heading");
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(title_));
  gtk_box_append(GTK_BOX(box), gtk_image_new_from_icon_name("pan-down-symbolic"));
  gtk_menu_button_set_child(button_, box);
  gtk_list_box_set_selection_mode(rows_, GTK_SELECTION_NONE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(rows_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Conversations", -1);
  empty_ = GTK_LABEL(gtk_label_new(nullptr));
  gtk_widget_add_css_class(GTK_WIDGET(empty_), "dim-label");
  gtk_widget_set_margin_top(GTK_WIDGET(empty_), 12);
  gtk_widget_set_margin_bottom(GTK_WIDGET(empty_), 12);
  gtk_list_box_set_placeholder(rows_, GTK_WIDGET(empty_));
  g_object_set(search_, "placeholder-text", "Find a conversation", nullptr);
  gtk_accessible_update_property(GTK_ACCESSIBLE(search_), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 "Find a conversation", -1);
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), 480);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), GTK_WIDGET(rows_));
  gtk_widget_set_size_request(scroller, 320, -1);
  auto* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 6);
  gtk_box_append(GTK_BOX(column), search_);
  gtk_box_append(GTK_BOX(column), scroller);
  gtk_popover_set_child(popover_, column);
  gtk_menu_button_set_popover(button_, GTK_WIDGET(popover_));
  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  on(popover_, "show", [this] {
    gtk_editable_set_text(GTK_EDITABLE(search_), "");
    list();
    gtk_widget_grab_focus(search_);
  });
  on(search_, "search-changed", [this] { list(); });
  on(search_, "activate", [this] { choose(0); });
  // The list ends a search by itself.
  on(search_, "stop-search", [this] { gtk_popover_popdown(popover_); });
  on(rows_, "row-activated",
     [this](GtkListBoxRow* row) { choose(static_cast<std::size_t>(gtk_list_box_row_get_index(row))); });
  auto* searching = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(searching, GTK_PHASE_CAPTURE);
  on(searching, "key-pressed", [this](guint key, guint, GdkModifierType) -> gboolean {
    auto* first = gtk_list_box_get_row_at_index(rows_, 0);
    return key == GDK_KEY_Down && first && gtk_widget_grab_focus(GTK_WIDGET(first));
  });
  gtk_widget_add_controller(search_, searching);
  auto* keys = gtk_event_controller_key_new();
  on(keys, "key-pressed", [this](guint key, guint, GdkModifierType) -> gboolean {
    return key == GDK_KEY_Delete && deleteFocused();
  });
  gtk_widget_add_controller(GTK_WIDGET(rows_), keys);
}

AgentThreadList::~AgentThreadList() {
  buttons_.clear();
  connections_.clear();
}

void AgentThreadList::showTitle(const std::string& title) {
  gtk_label_set_text(title_, title.c_str());
  const auto spoken = "Conversations. Shown: " + title;
  gtk_accessible_update_property(GTK_ACCESSIBLE(button_), GTK_ACCESSIBLE_PROPERTY_LABEL, spoken.c_str(), -1);
}

void AgentThreadList::list() {
  buttons_.clear();
  threads_.clear();
  while (auto* row = gtk_list_box_get_row_at_index(rows_, 0)) gtk_list_box_remove(rows_, GTK_WIDGET(row));
  const char* words = gtk_editable_get_text(GTK_EDITABLE(search_));
  threads_ = listedThreads(
      desk_.hub().threads(), words, [this](const auto& folder) { return desk_.projectName(folder); },
      mostListed);
  gtk_label_set_text(empty_, desk_.hub().threads().empty() ? "Conversations with agents will be listed here."
                                                           : "No conversation has these words.");
  for (const auto& thread : threads_) {
    auto* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
    auto* lines = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_hexpand(lines, TRUE);
    gtk_box_append(GTK_BOX(lines), GTK_WIDGET(line(thread.title)));
    auto* facts = line(thread.facts);
    gtk_widget_add_css_class(GTK_WIDGET(facts), "caption");
    gtk_widget_add_css_class(GTK_WIDGET(facts), "dim-label");
    gtk_box_append(GTK_BOX(lines), GTK_WIDGET(facts));
    gtk_box_append(GTK_BOX(box), lines);
    auto* remove = flatButton("user-trash-symbolic", ("Delete “" + thread.title + "”").c_str());
    gtk_widget_set_valign(remove, GTK_ALIGN_CENTER);
    buttons_.push_back(connect(remove, "clicked", [this, thread] { askToDelete(thread); }));
    gtk_box_append(GTK_BOX(box), remove);
    auto* row = gtk_list_box_row_new();
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), box);
    gtk_accessible_update_property(GTK_ACCESSIBLE(row), GTK_ACCESSIBLE_PROPERTY_LABEL, thread.title.c_str(),
                                   GTK_ACCESSIBLE_PROPERTY_DESCRIPTION, thread.facts.c_str(), -1);
    gtk_list_box_append(rows_, row);
  }
}

void AgentThreadList::choose(std::size_t index) {
  if (index >= threads_.size()) return;
  const auto id = threads_[index].id;
  gtk_popover_popdown(popover_);
  chosen_(id);
}

bool AgentThreadList::deleteFocused() {
  auto* row = gtk_widget_get_ancestor(gtk_root_get_focus(gtk_widget_get_root(GTK_WIDGET(rows_))),
                                      GTK_TYPE_LIST_BOX_ROW);
  const auto index =
      row ? static_cast<std::size_t>(gtk_list_box_row_get_index(GTK_LIST_BOX_ROW(row))) : threads_.size();
  if (index >= threads_.size()) return false;
  askToDelete(threads_[index]);
  return true;
}

/// A copy: the list may be made anew meanwhile.
void AgentThreadList::askToDelete(ListedThread thread) {
  gtk_popover_popdown(popover_);
  auto* dialog = ADW_MESSAGE_DIALOG(
      adw_message_dialog_new(GTK_WINDOW(gtk_widget_get_root(widget())), "Delete the Conversation?", nullptr));
  adw_message_dialog_set_body(dialog, ("“" + thread.title +
                                       "” is deleted with what was attached to it. Its changes to "
                                       "files stay, and can no longer be undone.")
                                          .c_str());
  adw_message_dialog_add_responses(dialog, "cancel", "_Cancel", "delete", "_Delete", nullptr);
  adw_message_dialog_set_response_appearance(dialog, "delete", ADW_RESPONSE_DESTRUCTIVE);
  adw_message_dialog_set_default_response(dialog, "cancel");
  adw_message_dialog_set_close_response(dialog, "cancel");
  answered_ = connect(dialog, "response", [this, id = thread.id](const char* response) {
    if (std::string_view(response) != "delete") return;
    asio::co_spawn(desk_.surroundings().main.executor(), desk_.hub().removeThread(id),
                   [](const std::exception_ptr& error) {
                     try {
                       if (error) std::rethrow_exception(error);
                     } catch (const Error& problem) {
                       log::warning("{}", problem.message);
                     }
                   });
  });
  gtk_window_present(GTK_WINDOW(dialog));
}

}  // namespace vale::gtk
