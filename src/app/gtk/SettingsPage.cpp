#include "app/gtk/SettingsPage.h"

#include "app/gtk/Controls.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

template <typename Row> Row* plainRow(GtkWidget* row, const std::string& title) {
  adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), SettingsPage::escaped(title).c_str());
  return reinterpret_cast<Row*>(row);
}

GObjectPointer<GtkStringList> listOf(const std::vector<std::string>& names) {
  auto list = GObjectPointer<GtkStringList>::adopt(gtk_string_list_new(nullptr));
  for (const auto& name : names) gtk_string_list_append(list.get(), name.c_str());
  return list;
}

}  // namespace

SettingsPage::SettingsPage(SettingsPlace place, const char* title, const char* icon)
    : place_(std::move(place)), page_(ADW_PREFERENCES_PAGE(adw_preferences_page_new())) {
  adw_preferences_page_set_title(page_, title);
  adw_preferences_page_set_icon_name(page_, icon);
}

std::string SettingsPage::escaped(const std::string& text) {
  const std::unique_ptr<char, decltype(&g_free)> markup(
      g_markup_escape_text(text.data(), static_cast<gssize>(text.size())), g_free);
  return markup.get();
}

void SettingsPage::setSubtitle(gpointer row, const std::string& text) {
  adw_action_row_set_subtitle(ADW_ACTION_ROW(row), escaped(text).c_str());
}

AdwPreferencesGroup* SettingsPage::addGroup(const char* title, const char* description) {
  auto* group = ADW_PREFERENCES_GROUP(adw_preferences_group_new());
  adw_preferences_group_set_title(group, title);
  adw_preferences_group_set_description(group, description);
  adw_preferences_page_add(page_, group);
  return group;
}

AdwActionRow* SettingsPage::newRow(const std::string& title, const std::string& subtitle) {
  auto* row = plainRow<AdwActionRow>(adw_action_row_new(), title);
  adw_action_row_set_title_lines(row, 0);
  adw_action_row_set_subtitle_lines(row, 0);
  if (!subtitle.empty()) setSubtitle(row, subtitle);
  return row;
}

AdwActionRow* SettingsPage::addRow(AdwPreferencesGroup* group, const std::string& title,
                                   const std::string& subtitle) {
  auto* row = newRow(title, subtitle);
  adw_preferences_group_add(group, GTK_WIDGET(row));
  return row;
}

GtkSwitch* SettingsPage::addSwitch(AdwPreferencesGroup* group, const char* title, const char* subtitle) {
  auto* row = addRow(group, title, subtitle);
  auto* control = gtk_switch_new();
  gtk_widget_set_valign(control, GTK_ALIGN_CENTER);
  labelledBy(control, GTK_WIDGET(row));
  adw_action_row_add_suffix(row, control);
  adw_action_row_set_activatable_widget(row, control);
  return GTK_SWITCH(control);
}

GtkSwitch* SettingsPage::addSwitch(AdwPreferencesGroup* group, const char* title, const char* subtitle,
                                   std::string_view key, bool usual) {
  auto* control = addSwitch(group, title, subtitle);
  const auto show = [this, control, key, usual] {
    gtk_switch_set_active(control, preferences().boolean(key).value_or(usual));
  };
  show();
  subscriptions_.push_back(
      Subscription(preferences().changed().connect([key, show](const std::string& other) {
        if (other == key) show();
      })));
  connections_.push_back(connect(control, "notify::active", [this, control, key, usual](GParamSpec*) {
    const bool on = gtk_switch_get_active(control);
    if (on != preferences().boolean(key).value_or(usual)) preferences().set(key, on);
  }));
  return control;
}

AdwComboRow* SettingsPage::addChoice(AdwPreferencesGroup* group, const char* title, const char* subtitle,
                                     const std::vector<std::string>& names, std::size_t selected,
                                     std::function<void(std::size_t)> chosen) {
  auto* row = plainRow<AdwComboRow>(adw_combo_row_new(), title);
  adw_action_row_set_subtitle_lines(ADW_ACTION_ROW(row), 0);
  setSubtitle(row, subtitle);
  setChoices(row, names, selected);
  connections_.push_back(
      connect(row, "notify::selected", [this, row, chosen = std::move(chosen)](GParamSpec*) {
        const auto at = adw_combo_row_get_selected(row);
        if (!setting_ && at != GTK_INVALID_LIST_POSITION) chosen(at);
      }));
  adw_preferences_group_add(group, GTK_WIDGET(row));
  return row;
}

void SettingsPage::setChoices(AdwComboRow* row, const std::vector<std::string>& names, std::size_t selected) {
  setting_ = true;
  adw_combo_row_set_model(row, G_LIST_MODEL(listOf(names).get()));
  adw_combo_row_set_selected(row, static_cast<guint>(selected));
  setting_ = false;
}

void SettingsPage::select(AdwComboRow* row, std::size_t selected) {
  setting_ = true;
  adw_combo_row_set_selected(row, static_cast<guint>(selected));
  setting_ = false;
}

AdwComboRow* SettingsPage::addChoice(AdwPreferencesGroup* group, const char* title, const char* subtitle,
                                     std::string_view key, std::vector<Value> values, std::size_t usual,
                                     const std::function<std::string(const json::value&)>& other) {
  auto selected = usual;
  if (const auto* present = preferences().value(key)) {
    // Numbers are equal in whichever form they were written.
    const auto found = std::ranges::find_if(values, [&](const Value& one) {
      return one.value == *present || (one.value.is_number() && present->is_number() &&
                                       one.value.to_number<double>() == present->to_number<double>());
    });
    selected = static_cast<std::size_t>(found - values.begin());
    if (found == values.end()) {
      auto name = other(*present);
      if (name.empty()) {
        selected = usual;
      } else {
        values.push_back({*present, std::move(name)});
      }
    }
  }
  std::vector<std::string> names;
  for (const auto& one : values) names.push_back(one.name);
  return addChoice(group, title, subtitle, names, selected,
                   [this, key, values = std::move(values), usual](std::size_t at) {
                     if (at == usual) {
                       preferences().remove(key);
                     } else if (at < values.size()) {
                       preferences().set(key, values[at].value);
                     }
                   });
}

GtkWidget* SettingsPage::addButton(AdwActionRow* row, const char* icon, const std::string& meaning,
                                   std::function<void()> clicked) {
  auto* button = gtk_button_new_from_icon_name(icon);
  gtk_widget_add_css_class(button, "flat");
  gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
  nameControl(button, meaning.c_str());
  adw_action_row_add_suffix(row, button);
  // Later: what it does may take the row along.
  connections_.push_back(connect(button, "clicked", [this, clicked = std::move(clicked)] {
    place_.services.base.surroundings.main.post([alive = std::weak_ptr(alive_), clicked] {
      if (!alive.expired()) clicked();
    });
  }));
  return button;
}

GtkLabel* SettingsPage::newProblem() {
  auto* label = GTK_LABEL(gtk_label_new(nullptr));
  gtk_label_set_wrap(label, TRUE);
  gtk_label_set_wrap_mode(label, PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(label, 0);
  gtk_label_set_selectable(label, TRUE);
  gtk_widget_add_css_class(GTK_WIDGET(label), "error");
  gtk_widget_set_margin_top(GTK_WIDGET(label), 8);
  gtk_widget_set_visible(GTK_WIDGET(label), FALSE);
  return label;
}

void SettingsPage::say(GtkLabel* problem, const std::string& sentence) {
  gtk_label_set_text(problem, sentence.c_str());
  gtk_widget_set_visible(GTK_WIDGET(problem), !sentence.empty());
}

}  // namespace vale::gtk
