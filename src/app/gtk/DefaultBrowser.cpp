#include "app/gtk/DefaultBrowser.h"

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <array>
#include <gio/gdesktopappinfo.h>
#include <memory>
#include <optional>
#include <string>

namespace vale::gtk {

namespace {

constexpr const char* desktopFile = "org.vale.Browser.desktop";
constexpr std::array schemes{"http", "https"};
constexpr std::array types{"x-scheme-handler/http", "x-scheme-handler/https", "text/html",
                           "application/xhtml+xml"};

using Application = GObjectPointer<GAppInfo>;

Application ourselves() {
  auto* found = g_desktop_app_info_new(desktopFile);
  return Application::adopt(found ? G_APP_INFO(found) : nullptr);
}

Application handlerOf(const char* scheme) {
  return Application::adopt(g_app_info_get_default_for_uri_scheme(scheme));
}

/// Gives the sentence why not.
std::optional<std::string> makeDefault(const Application& vale) {
  for (const char* type : types) {
    GError* error = nullptr;
    if (g_app_info_set_as_default_for_type(vale.get(), type, &error)) continue;
    const auto sentence = fmt::format("Vale could not be made the default: {}.", error->message);
    g_error_free(error);
    return sentence;
  }
  return std::nullopt;
}

/// Lives as long as its group.
class DefaultChoice {
 public:
  explicit DefaultChoice(AdwPreferencesGroup* group) : row_(ADW_ACTION_ROW(adw_action_row_new())) {
    adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(row_), FALSE);
    adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row_), "Default Browser");
    adw_action_row_set_subtitle_lines(row_, 0);
    button_ = gtk_button_new_with_mnemonic("_Make Default");
    gtk_widget_set_valign(button_, GTK_ALIGN_CENTER);
    adw_action_row_add_suffix(row_, button_);
    clicked_ = connect(button_, "clicked", [this] {
      const auto problem = makeDefault(ourselves());
      show();
      if (problem) adw_action_row_set_subtitle(row_, singleLine(validUtf8(*problem)).c_str());
    });
    adw_preferences_group_add(group, GTK_WIDGET(row_));
    // Other programs may have changed it while the settings were out of sight.
    mapped_ = connect(row_, "map", [this] { show(); });
  }

 private:
  void show() {
    const auto vale = ourselves();
    bool isDefault = static_cast<bool>(vale);
    std::string other;
    for (const char* scheme : schemes) {
      const auto handler = handlerOf(scheme);
      if (handler && vale && g_app_info_equal(handler.get(), vale.get())) continue;
      isDefault = false;
      if (handler) other = singleLine(validUtf8(g_app_info_get_display_name(handler.get())));
    }
    std::string text = "No application opens the links of other applications yet.";
    if (!vale) {
      text = "Vale is not installed as an application on this computer, so links of other applications "
             "cannot open "
             "in it. Install its package first.";
    } else if (isDefault) {
      text = "Links of other applications open in Vale.";
    } else if (!other.empty()) {
      text = fmt::format("Links of other applications open in {}.", other);
    }
    adw_action_row_set_subtitle(row_, text.c_str());
    gtk_widget_set_visible(button_, vale && !isDefault);
  }

  AdwActionRow* row_;
  GtkWidget* button_;
  Connection clicked_, mapped_;
};

}  // namespace

AdwPreferencesGroup* defaultBrowserSettings() {
  auto* group = ADW_PREFERENCES_GROUP(adw_preferences_group_new());
  auto choice = std::make_unique<DefaultChoice>(group);
  g_object_set_data_full(G_OBJECT(group), "vale-choice", choice.release(),
                         [](gpointer data) { delete static_cast<DefaultChoice*>(data); });
  return group;
}

}  // namespace vale::gtk
