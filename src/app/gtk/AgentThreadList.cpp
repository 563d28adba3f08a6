#include "app/gtk/AgentThreadList.h"

#include "app/AgentConversation.h"
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

constexpr std::size_t mostListed = 60;

GtkLabel* line(const std::string& text) {
  auto* label = GTK_LABEL(gtk_label_new(text.c_str()));
  gtk_label_set_ellipsize(label, PANGO_ELLIPSIZE_END);
  gtk_label_set_xalign(label, 0);
  return label;
}

}  // namespace

AgentThreadList::AgentThreadList(AgentDesk& desk, std::function<void(const Uuid&)> chosen)
    : desk_(desk), chosen_(std::move(chosen)), button_(GTK_MENU_BUTTON(gtk_menu_button_new())),
      title_(line({})), popover_(GTK_POPOVER(gtk_popover_new())), rows_(GTK_LIST_BOX(gtk_list_box_new())) {
  gtk_widget_add_css_class(widget(), "flat");
  gtk_widget_set_tooltip_text(widget(), "Conversations");
  auto* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_widget_add_css_class(GTK_WIDGET(title_), "heading");
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(title_));
  gtk_box_append(GTK_BOX(box), gtk_image_new_from_icon_name("pan-down-symbolic"));
  gtk_menu_button_set_child(button_, box);
  gtk_list_box_set_selection_mode(rows_, GTK_SELECTION_NONE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(rows_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Conversations", -1);
  auto* empty = gtk_label_new("Conversations with agents will be listed here.");
  gtk_widget_add_css_class(empty, "dim-label");
  gtk_widget_set_margin_top(empty, 12);
  gtk_widget_set_margin_bottom(empty, 12);
  gtk_list_box_set_placeholder(rows_, empty);
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), 480);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), GTK_WIDGET(rows_));
  gtk_widget_set_size_request(scroller, 320, -1);
  gtk_popover_set_child(popover_, scroller);
  gtk_menu_button_set_popover(button_, GTK_WIDGET(popover_));
  connections_.push_back(connect(popover_, "show", [this] { list(); }));
  connections_.push_back(connect(rows_, "row-activated", [this](GtkListBoxRow* row) {
    const auto index = static_cast<std::size_t>(gtk_list_box_row_get_index(row));
    if (index >= threads_.size()) return;
    gtk_popover_popdown(popover_);
    chosen_(threads_[index]);
  }));
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
  std::vector<const ThreadSummary*> threads;
  for (const auto& [id, thread] : desk_.hub().threads()) threads.push_back(&thread);
  std::ranges::sort(threads, std::greater(), &ThreadSummary::updatedAt);
  threads.resize(std::min(threads.size(), mostListed));
  for (const auto* thread : threads) {
    const auto title = singleLine(thread->title);
    auto* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
    auto* lines = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_hexpand(lines, TRUE);
    gtk_box_append(GTK_BOX(lines), GTK_WIDGET(line(title)));
    auto* facts = line(threadFacts(*thread, desk_.projectName(thread->projectPath)));
    gtk_widget_add_css_class(GTK_WIDGET(facts), "caption");
    gtk_widget_add_css_class(GTK_WIDGET(facts), "dim-label");
    gtk_box_append(GTK_BOX(lines), GTK_WIDGET(facts));
    gtk_box_append(GTK_BOX(box), lines);
    auto* remove = gtk_button_new_from_icon_name("user-trash-symbolic");
    gtk_widget_add_css_class(remove, "flat");
    gtk_widget_set_valign(remove, GTK_ALIGN_CENTER);
    nameControl(remove, ("Delete “" + title + "”").c_str());
    buttons_.push_back(
        connect(remove, "clicked", [this, id = thread->id, title] { askToDelete(id, title); }));
    gtk_box_append(GTK_BOX(box), remove);
    auto* row = gtk_list_box_row_new();
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), box);
    gtk_accessible_update_property(GTK_ACCESSIBLE(row), GTK_ACCESSIBLE_PROPERTY_LABEL, title.c_str(), -1);
    gtk_list_box_append(rows_, row);
    threads_.push_back(thread->id);
  }
}

void AgentThreadList::askToDelete(const Uuid& thread, const std::string& title) {
  gtk_popover_popdown(popover_);
  auto* dialog = ADW_MESSAGE_DIALOG(
      adw_message_dialog_new(GTK_WINDOW(gtk_widget_get_root(widget())), "Delete the Conversation?", nullptr));
  adw_message_dialog_set_body(dialog, ("“" + title +
                                       "” is deleted with what was attached to it. Its changes to "
                                       "files stay, and can no longer be undone.")
                                          .c_str());
  adw_message_dialog_add_responses(dialog, "cancel", "_Cancel", "delete", "_Delete", nullptr);
  adw_message_dialog_set_response_appearance(dialog, "delete", ADW_RESPONSE_DESTRUCTIVE);
  adw_message_dialog_set_default_response(dialog, "cancel");
  adw_message_dialog_set_close_response(dialog, "cancel");
  answered_ = connect(dialog, "response", [this, thread](const char* response) {
    if (std::string_view(response) != "delete") return;
    asio::co_spawn(desk_.surroundings().main.executor(), desk_.hub().removeThread(thread),
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
