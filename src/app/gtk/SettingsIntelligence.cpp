#include "app/CallDescription.h"
#include "app/gtk/SettingsPage.h"

#include <array>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t longestWhole = 800;  // bytes
constexpr std::array providers{AgentProvider::codex, AgentProvider::claude};

/// A label that may hold whatever an agent said.
GtkWidget* textBlock(const std::string& text) {
  auto* label = gtk_label_new(text.c_str());
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_label_set_selectable(GTK_LABEL(label), TRUE);
  for (auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
                   gtk_widget_set_margin_end}) {
    set(label, 12);
  }
  return label;
}

/// A long text, as high as a reader takes in: the page around it would make it as low as it can be.
GtkWidget* scrolled(const std::string& text, const std::string& name) {
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scroller), 240);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), textBlock(text));
  gtk_accessible_update_property(GTK_ACCESSIBLE(scroller), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
  return scroller;
}

/// What the browser asks the agents for by itself, and what it asked lately.
class IntelligencePage : public SettingsPage {
 public:
  explicit IntelligencePage(const SettingsPlace& place)
      : SettingsPage(place, "Intelligence", "system-run-symbolic") {
    addChoices();
    group_ =
        addGroup("Recent Questions",
                 "The last questions since Vale started, and whom they went to. Unfold one to read what was "
                 "sent and what came back. All of it is kept in memory only, the beginning of long texts.");
    subscriptions_.push_back(
        Subscription(intelligence().service().recentCallsChanged().connect([this] { listCalls(); })));
    listCalls();
  }

 private:
  void addChoices() {
    auto* choices =
        addGroup("Tab Groups", "Titles and addresses of ordinary windows’ tabs are sent to the agent, which "
                               "sends them to its maker’s service. Private windows are never part of it.");
    auto* automatic = addSwitch(choices, "Group Tabs Automatically",
                                "When a new tab shows the start page, and when you pause");
    auto& grouping = intelligence().grouping();
    subscriptions_.push_back(
        grouping.automatic().observe([automatic](bool on) { gtk_switch_set_active(automatic, on); }));
    connections_.push_back(connect(automatic, "notify::active", [automatic, &grouping](GParamSpec*) {
      grouping.setAutomatic(gtk_switch_get_active(automatic));
    }));

    auto& settings = intelligence().settings();
    const auto chosen = settings.intelligenceProvider().value();
    auto* row = addChoice(choices, "Agent to Ask", "Automatic takes the first one that is signed in",
                          {"Automatic", "Codex", "Claude Code"},
                          chosen ? static_cast<std::size_t>(*chosen) + 1 : 0, [&settings](std::size_t at) {
                            settings.setIntelligenceProvider(at == 0 ? std::nullopt
                                                                     : std::optional(providers.at(at - 1)));
                          });
    subscriptions_.push_back(settings.intelligenceProvider().subscribe([this, row](const auto& provider) {
      select(row, provider ? static_cast<std::size_t>(*provider) + 1 : 0);
    }));
  }

  void listCalls() {
    for (auto* row : shownCalls_) adw_preferences_group_remove(group_, row);
    shownCalls_.clear();
    unfolding_.clear();
    filled_.clear();
    for (const auto& call : intelligence().service().recentCalls()) {
      const auto described = describe(call);
      auto* row = ADW_EXPANDER_ROW(adw_expander_row_new());
      adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), escaped(described.title).c_str());
      adw_expander_row_set_subtitle(row, escaped(described.facts).c_str());
      add(GTK_WIDGET(row));
      unfold(row, call);
    }
    if (shownCalls_.empty()) add(GTK_WIDGET(newRow("Nothing has been asked yet.")));
  }

  /// Long texts are laid out once someone looks at them.
  void unfold(AdwExpanderRow* row, const IntelligenceCall& call) {
    unfolding_[call.id] = connect(row, "notify::expanded", [this, row, call](GParamSpec*) {
      if (!adw_expander_row_get_expanded(row) || !filled_.insert(call.id).second) return;
      for (const auto& [heading, text] : partsOf(call)) {
        auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        auto* title = gtk_label_new(heading.c_str());
        gtk_label_set_xalign(GTK_LABEL(title), 0);
        gtk_widget_add_css_class(title, "heading");
        gtk_widget_set_margin_top(title, 12);
        gtk_widget_set_margin_start(title, 12);
        gtk_box_append(GTK_BOX(box), title);
        gtk_box_append(GTK_BOX(box), text.size() > longestWhole ? scrolled(text, heading) : textBlock(text));
        adw_expander_row_add_row(row, box);
      }
    });
  }

  void add(GtkWidget* row) {
    adw_preferences_group_add(group_, row);
    shownCalls_.push_back(row);
  }

  AdwPreferencesGroup* group_ = nullptr;
  std::vector<GtkWidget*> shownCalls_;
  std::map<Uuid, Connection> unfolding_;
  std::set<Uuid> filled_;
};

}  // namespace

std::unique_ptr<SettingsPage> makeIntelligenceSettings(const SettingsPlace& place) {
  return std::make_unique<IntelligencePage>(place);
}

}  // namespace vale::gtk
