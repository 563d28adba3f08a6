#include "app/gtk/PasswordEditor.h"

#include "app/gtk/Controls.h"
#include "app/gtk/Signal.h"
#include "browser/AddressDisplay.h"
#include "common/Text.h"

#include <adwaita.h>

#include <memory>
#include <optional>
#include <tuple>
#include <utility>

namespace vale::gtk {

namespace {

using Save = std::function<void(std::string, Secret, std::function<void(std::optional<std::string>)>)>;

/// Lives as long as its window.
class Editor : public std::enable_shared_from_this<Editor> {
 public:
  Editor(GtkWindow* parent, const SavedLogin& login, const Secret& password, Save onSave)
      : save_(std::move(onSave)), window_(GTK_WINDOW(adw_window_new())), user_(adw_entry_row_new()),
        password_(adw_password_entry_row_new()), problem_(gtk_label_new(nullptr)),
        saveButton_(gtk_button_new_with_mnemonic("_Save")) {
    gtk_window_set_title(window_, displayedAddress(login.origin).text.c_str());
    gtk_window_set_transient_for(window_, parent);
    gtk_window_set_destroy_with_parent(window_, TRUE);
    gtk_window_set_modal(window_, TRUE);
    gtk_window_set_default_size(window_, 400, -1);
    auto* header = adw_header_bar_new();
    adw_header_bar_set_show_start_title_buttons(ADW_HEADER_BAR(header), FALSE);
    adw_header_bar_set_show_end_title_buttons(ADW_HEADER_BAR(header), FALSE);
    auto* cancel = gtk_button_new_with_mnemonic("_Cancel");
    adw_header_bar_pack_start(ADW_HEADER_BAR(header), cancel);
    gtk_widget_add_css_class(saveButton_, "suggested-action");
    adw_header_bar_pack_end(ADW_HEADER_BAR(header), saveButton_);
    gtk_window_set_default_widget(window_, saveButton_);

    auto* group = adw_preferences_group_new();
    for (const auto& [row, title, text] :
         {std::tuple(user_, "User name", &login.user), std::tuple(password_, "Password", &password.text())}) {
      adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(row), FALSE);
      adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), title);
      gtk_editable_set_text(GTK_EDITABLE(row), validUtf8(*text).c_str());
      gtk_editable_set_enable_undo(GTK_EDITABLE(row), FALSE);
      adw_entry_row_set_activates_default(ADW_ENTRY_ROW(row), TRUE);
      connections_.push_back(connect(row, "changed", [this] { allow(); }));
      adw_preferences_group_add(ADW_PREFERENCES_GROUP(group), row);
    }
    gtk_label_set_wrap(GTK_LABEL(problem_), TRUE);
    gtk_label_set_xalign(GTK_LABEL(problem_), 0);
    gtk_widget_add_css_class(problem_, "notice");
    gtk_widget_set_visible(problem_, FALSE);
    for (auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
                     gtk_widget_set_margin_end}) {
      set(group, 18);
    }
    auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(box), header);
    gtk_box_append(GTK_BOX(box), problem_);
    gtk_box_append(GTK_BOX(box), group);
    adw_window_set_content(ADW_WINDOW(window_), box);

    connections_.push_back(connect(cancel, "clicked", [this] { gtk_window_close(window_); }));
    connections_.push_back(connect(saveButton_, "clicked", [this] { save(); }));
    closeWithEscape(GTK_WINDOW(window_));
  }

  void show() {
    g_object_set_data_full(G_OBJECT(window_), "vale-editor", new std::shared_ptr(shared_from_this()),
                           [](gpointer data) { delete static_cast<std::shared_ptr<Editor>*>(data); });
    gtk_window_present(window_);
    gtk_widget_grab_focus(password_);
  }

 private:
  void allow() {
    const auto* text = gtk_editable_get_text(GTK_EDITABLE(password_));
    gtk_widget_set_sensitive(saveButton_, text && *text != '\0');
  }

  void save() {
    gtk_widget_set_sensitive(saveButton_, FALSE);
    save_(std::string(trimmed(gtk_editable_get_text(GTK_EDITABLE(user_)))),
          Secret(gtk_editable_get_text(GTK_EDITABLE(password_))),
          [weak = weak_from_this()](const std::optional<std::string>& problem) {
            const auto self = weak.lock();
            if (!self) return;
            if (!problem) return gtk_window_close(self->window_);
            self->allow();
            gtk_label_set_text(GTK_LABEL(self->problem_), problem->c_str());
            gtk_widget_set_visible(self->problem_, TRUE);
          });
  }

  Save save_;
  GtkWindow* window_;
  GtkWidget* user_;
  GtkWidget* password_;
  GtkWidget* problem_;
  GtkWidget* saveButton_;
  Connections connections_;
};

}  // namespace

void editPassword(GtkWindow* parent, const SavedLogin& login, const Secret& password, Save save) {
  std::make_shared<Editor>(parent, login, password, std::move(save))->show();
}

}  // namespace vale::gtk
