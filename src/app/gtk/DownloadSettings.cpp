#include "app/gtk/DownloadSettings.h"

#include "app/gtk/Controls.h"
#include "app/gtk/EngineDownloads.h"
#include "common/Text.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

namespace vale::gtk {

namespace {

/// Lives as long as its group.
class DownloadChoices {
 public:
  DownloadChoices(AdwPreferencesGroup* group, Preferences& preferences, const Downloads& downloads)
      : preferences_(preferences), downloads_(downloads), folder_(ADW_ACTION_ROW(adw_action_row_new())) {
    addFolder(group);
    addQuestion(group);
  }

 private:
  void addFolder(AdwPreferencesGroup* group) {
    adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(folder_), FALSE);
    adw_preferences_row_set_title(ADW_PREFERENCES_ROW(folder_), "Folder for Downloads");
    adw_action_row_set_subtitle_lines(folder_, 2);
    reset_ = gtk_button_new_from_icon_name("edit-undo-symbolic");
    nameControl(reset_, "Use Your Own Downloads Folder Again");
    gtk_widget_add_css_class(reset_, "flat");
    auto* choose = gtk_button_new_with_mnemonic("_Change…");
    for (auto* button : {reset_, choose}) {
      gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
      adw_action_row_add_suffix(folder_, button);
    }
    connections_.push_back(
        connect(reset_, "clicked", [this] { preferences_.remove(Downloads::directoryKey); }));
    connections_.push_back(connect(choose, "clicked", [this] { askForFolder(); }));
    adw_preferences_group_add(group, GTK_WIDGET(folder_));
    subscriptions_.push_back(Subscription(preferences_.changed().connect([this](const std::string& key) {
      if (key == Downloads::directoryKey) showFolder();
    })));
    showFolder();
  }

  void showFolder() {
    adw_action_row_set_subtitle(folder_, singleLine(validUtf8(downloads_.directory().native())).c_str());
    gtk_widget_set_visible(reset_, preferences_.value(Downloads::directoryKey) != nullptr);
  }

  void askForFolder() {
    auto* window = GTK_WINDOW(gtk_widget_get_root(GTK_WIDGET(folder_)));
    dialog_ = GObjectPointer<GtkFileChooserNative>::adopt(gtk_file_chooser_native_new(
        "Folder for Downloads", window, GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "_Choose", "_Cancel"));
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(dialog_.get()), TRUE);
    const auto start = GObjectPointer<GFile>::adopt(g_file_new_for_path(downloads_.directory().c_str()));
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog_.get()), start.get(), nullptr);
    chosen_ = connect(dialog_.get(), "response", [this](int response) {
      if (response != GTK_RESPONSE_ACCEPT) return;
      const auto file =
          GObjectPointer<GFile>::adopt(gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog_.get())));
      const std::unique_ptr<char, decltype(&g_free)> path(file ? g_file_get_path(file.get()) : nullptr,
                                                          g_free);
      if (path && isValidUtf8(path.get())) preferences_.set(Downloads::directoryKey, json::value(path.get()));
    });
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(dialog_.get()));
  }

  void addQuestion(AdwPreferencesGroup* group) {
    auto* row = adw_action_row_new();
    adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), "Ask Where to Save Each File");
    auto* choice = gtk_switch_new();
    gtk_widget_set_valign(choice, GTK_ALIGN_CENTER);
    labelledBy(choice, row);
    gtk_switch_set_active(GTK_SWITCH(choice), preferences_.boolean(EngineDownloads::askKey).value_or(false));
    adw_action_row_add_suffix(ADW_ACTION_ROW(row), choice);
    adw_action_row_set_activatable_widget(ADW_ACTION_ROW(row), choice);
    connections_.push_back(connect(choice, "notify::active", [this, choice](GParamSpec*) {
      preferences_.set(EngineDownloads::askKey, gtk_switch_get_active(GTK_SWITCH(choice)) == TRUE);
    }));
    adw_preferences_group_add(group, row);
  }

  Preferences& preferences_;
  const Downloads& downloads_;
  AdwActionRow* folder_;
  GtkWidget* reset_ = nullptr;
  GObjectPointer<GtkFileChooserNative> dialog_;
  Connection chosen_;
  std::vector<Subscription> subscriptions_;
  Connections connections_;
};

}  // namespace

AdwPreferencesGroup* downloadSettings(Preferences& preferences, const Downloads& downloads) {
  auto* group = ADW_PREFERENCES_GROUP(adw_preferences_group_new());
  adw_preferences_group_set_title(group, "Downloads");
  auto choices = std::make_unique<DownloadChoices>(group, preferences, downloads);
  g_object_set_data_full(G_OBJECT(group), "vale-choices", choices.release(),
                         [](gpointer data) { delete static_cast<DownloadChoices*>(data); });
  return group;
}

}  // namespace vale::gtk
