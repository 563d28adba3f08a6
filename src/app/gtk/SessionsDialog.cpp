#include "app/gtk/SessionsDialog.h"

#include "app/gtk/Controls.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <adwaita.h>
#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

/// The moment as the user's own clock and language tell it.
std::string localTime(Date date) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count();
  const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> time(
      g_date_time_new_from_unix_local(seconds), g_date_time_unref);
  if (!time) return "At an unknown time";
  const std::unique_ptr<char, decltype(&g_free)> text(g_date_time_format(time.get(), "%A, %x, %H:%M"),
                                                      g_free);
  return text ? text.get() : "At an unknown time";
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

/// Lives as long as its window.
class Dialog : public std::enable_shared_from_this<Dialog> {
 public:
  Dialog(GtkWindow* parent, const WindowHost& host)
      : host_(host), window_(GTK_WINDOW(adw_window_new())), stack_(GTK_STACK(gtk_stack_new())),
        problem_(GTK_LABEL(gtk_label_new(nullptr))), list_(gtk_list_box_new()) {
    gtk_window_set_title(window_, "Earlier Sessions");
    gtk_window_set_transient_for(window_, parent);
    gtk_window_set_destroy_with_parent(window_, TRUE);
    gtk_window_set_modal(window_, TRUE);
    gtk_window_set_default_size(window_, 460, 420);
    auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(box), adw_header_bar_new());
    gtk_label_set_wrap(problem_, TRUE);
    gtk_widget_add_css_class(GTK_WIDGET(problem_), "notice");
    gtk_widget_set_visible(GTK_WIDGET(problem_), FALSE);
    gtk_box_append(GTK_BOX(box), GTK_WIDGET(problem_));
    addPages();
    gtk_box_append(GTK_BOX(box), GTK_WIDGET(stack_));
    adw_window_set_content(ADW_WINDOW(window_), box);
    closeWithEscape(GTK_WINDOW(window_));
  }

  void show() {
    g_object_set_data_full(G_OBJECT(window_), "vale-dialog", new std::shared_ptr(shared_from_this()),
                           [](gpointer data) { delete static_cast<std::shared_ptr<Dialog>*>(data); });
    gtk_window_present(window_);
    host_.earlierSessions([weak = weak_from_this()](const std::vector<EarlierSession>& sessions) {
      if (const auto self = weak.lock()) self->list(sessions);
    });
  }

 private:
  void addPages() {
    auto* spinner = gtk_spinner_new();
    gtk_spinner_start(GTK_SPINNER(spinner));
    gtk_stack_add_named(stack_, spinner, "waiting");
    auto* empty = adw_status_page_new();
    adw_status_page_set_icon_name(ADW_STATUS_PAGE(empty), "document-open-recent-symbolic");
    adw_status_page_set_title(ADW_STATUS_PAGE(empty), "No Earlier Sessions");
    adw_status_page_set_description(ADW_STATUS_PAGE(empty),
                                    "Each start keeps the windows and tabs that it found, the last five "
                                    "times. They will be listed here.");
    gtk_stack_add_named(stack_, empty, "empty");
    gtk_widget_add_css_class(list_, "boxed-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list_), GTK_SELECTION_NONE);
    gtk_widget_set_valign(list_, GTK_ALIGN_START);
    for (auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
                     gtk_widget_set_margin_end}) {
      set(list_, 18);
    }
    auto* scroller = gtk_scrolled_window_new();
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), list_);
    gtk_stack_add_named(stack_, scroller, "list");
    gtk_widget_set_vexpand(GTK_WIDGET(stack_), TRUE);
  }

  void list(const std::vector<EarlierSession>& sessions) {
    for (const auto& session : sessions) {
      auto* row = adw_action_row_new();
      adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), localTime(session.savedAt).c_str());
      const auto size = fmt::format("{}, {}", counted(session.windows, "window", "windows"),
                                    counted(session.tabs, "tab", "tabs"));
      adw_action_row_set_subtitle(ADW_ACTION_ROW(row), size.c_str());
      auto* button = gtk_button_new_with_label("Restore");
      gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
      gtk_widget_set_tooltip_text(button, "Open its windows beside the present ones");
      adw_action_row_add_suffix(ADW_ACTION_ROW(row), button);
      adw_action_row_set_activatable_widget(ADW_ACTION_ROW(row), button);
      connections_.push_back(connect(button, "clicked", [this, name = session.name] { restore(name); }));
      gtk_list_box_append(GTK_LIST_BOX(list_), row);
    }
    gtk_stack_set_visible_child_name(stack_, sessions.empty() ? "empty" : "list");
  }

  void restore(const std::string& name) {
    gtk_widget_set_sensitive(list_, FALSE);
    host_.restoreSession(name, [weak = weak_from_this()](const std::optional<std::string>& problem) {
      const auto self = weak.lock();
      if (!self) return;
      if (!problem) return gtk_window_close(self->window_);
      gtk_widget_set_sensitive(self->list_, TRUE);
      gtk_label_set_text(self->problem_, problem->c_str());
      gtk_widget_set_visible(GTK_WIDGET(self->problem_), TRUE);
    });
  }

  WindowHost host_;
  GtkWindow* window_;
  GtkStack* stack_;
  GtkLabel* problem_;
  GtkWidget* list_;
  Connections connections_;
};

}  // namespace

void showEarlierSessions(GtkWindow* parent, const WindowHost& host) {
  std::make_shared<Dialog>(parent, host)->show();
}

}  // namespace vale::gtk
