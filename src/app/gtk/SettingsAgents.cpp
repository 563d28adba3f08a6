#include "app/TaskChoices.h"
#include "app/gtk/SettingsPage.h"

#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::array providers{AgentProvider::codex, AgentProvider::claude};

std::size_t placeOf(const std::vector<TaskChoice>& choices, const std::optional<std::string>& id) {
  for (std::size_t i = 0; i < choices.size(); ++i) {
    if (choices[i].id == id) return i;
  }
  return 0;
}

std::vector<std::string> namesOf(const std::vector<TaskChoice>& choices) {
  std::vector<std::string> names;
  for (const auto& choice : choices) names.push_back(choice.name);
  return names;
}

/// The agents: where each stands, and what a new request begins with.
class AgentsPage : public SettingsPage {
 public:
  explicit AgentsPage(const SettingsPlace& place)
      : SettingsPage(place, "Agents", "utilities-terminal-symbolic") {
    addStatus();
    addDefaults();
    for (const auto provider : providers) addModels(provider);
    // Later: a list must not be made anew while something is chosen from it.
    const auto update = [this](const auto&) {
      intelligence().main().post([this, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) showModels();
      });
    };
    subscriptions_.push_back(intelligence().catalog().catalog().subscribe(update));
    subscriptions_.push_back(intelligence().settings().taskModels().subscribe(update));
    subscriptions_.push_back(intelligence().settings().taskEfforts().subscribe(update));
    showModels();
    asio::co_spawn(intelligence().main().executor(), intelligence().catalog().refresh(),
                   [](const std::exception_ptr&) {});
    connections_.push_back(connect(page(), "map", [this] { checkFirst(); }));
  }

 private:
  struct Rows {
    AdwActionRow* status = nullptr;
    AdwComboRow* model = nullptr;
    AdwComboRow* effort = nullptr;
    std::vector<TaskChoice> models, efforts;
  };

  void addStatus() {
    auto* group = addGroup("Agents", "The command-line agents on this machine. Vale runs them as you would, "
                                     "with your own sign-in.");
    checkButton_ = gtk_button_new_with_mnemonic("_Check Again");
    gtk_widget_set_valign(checkButton_, GTK_ALIGN_CENTER);
    adw_preferences_group_set_header_suffix(group, checkButton_);
    connections_.push_back(connect(checkButton_, "clicked", [this] { check(); }));
    for (const auto provider : providers) {
      rowsOf(provider).status = addRow(group, std::string(productName(provider)));
      showStatus(provider);
    }
    subscriptions_.push_back(Subscription(intelligence().agents().statusChanged().connect(
        [this](AgentProvider provider) { showStatus(provider); })));
  }

  void showStatus(AgentProvider provider) {
    const auto& agents = intelligence().agents();
    const auto message =
        agents.hasDiscovered(provider) ? agents.status(provider).message() : std::string("Looking for it…");
    setSubtitle(rowsOf(provider).status, message);
  }

  /// Who opens this page wants to know.
  void checkFirst() {
    const auto known = [this](AgentProvider one) { return intelligence().agents().hasDiscovered(one); };
    if (gtk_widget_get_sensitive(checkButton_) && !std::ranges::all_of(providers, known)) check();
  }

  void check() {
    // Asking takes a moment; the rows show the answers as they come.
    gtk_widget_set_sensitive(checkButton_, FALSE);
    asio::co_spawn(intelligence().main().executor(), intelligence().agents().refresh(),
                   [alive = std::weak_ptr(alive_), this](const std::exception_ptr&) {
                     if (!alive.expired()) gtk_widget_set_sensitive(checkButton_, TRUE);
                   });
  }

  void addDefaults() {
    auto* group =
        addGroup("New Requests", "What a request begins with. Each one can still choose otherwise.");
    auto& settings = intelligence().settings();
    const auto chosen = settings.taskProvider().value();
    auto* agent =
        addChoice(group, "Agent", "Automatic takes the first one that is signed in",
                  {"Automatic", "Codex", "Claude Code"}, chosen ? static_cast<std::size_t>(*chosen) + 1 : 0,
                  [&settings](std::size_t at) {
                    settings.setTaskProvider(at == 0 ? std::nullopt : std::optional(providers.at(at - 1)));
                  });
    subscriptions_.push_back(settings.taskProvider().subscribe([this, agent](const auto& provider) {
      select(agent, provider ? static_cast<std::size_t>(*provider) + 1 : 0);
    }));
    addChoice(group, "Access", "Whether an agent may change files and run commands that write", taskAccessKey,
              {{json::string(rawValue(AgentAccess::readOnly)), "Read only"},
               {json::string(rawValue(AgentAccess::projectWrite)), "May write"}},
              0, [](const json::value&) { return std::string(); });
  }

  void addModels(AgentProvider provider) {
    auto& rows = rowsOf(provider);
    auto& settings = intelligence().settings();
    auto* group = addGroup(provider == AgentProvider::codex ? "Codex" : "Claude Code");
    rows.model = addChoice(group, "Model", "", {}, 0, [&rows, &settings, provider](std::size_t at) {
      if (at < rows.models.size()) settings.setTaskModel(rows.models[at].id, provider);
    });
    rows.effort = addChoice(group, "Effort", "How long the model may think", {}, 0,
                            [&rows, &settings, provider](std::size_t at) {
                              if (at < rows.efforts.size()) {
                                settings.setTaskEffort(rows.efforts[at].id, provider);
                              }
                            });
  }

  void showModels() {
    const auto& catalog = intelligence().catalog().catalog().value();
    const auto& settings = intelligence().settings();
    const auto valueOf = [](const auto& values, AgentProvider provider) {
      const auto found = values.find(provider);
      return found == values.end() ? std::optional<std::string>() : std::optional(found->second);
    };
    for (const auto provider : providers) {
      auto& rows = rowsOf(provider);
      const auto model = valueOf(settings.taskModels().value(), provider);
      const auto effort = valueOf(settings.taskEfforts().value(), provider);
      auto models = taskModelChoices(catalog, provider, model);
      auto efforts = taskEffortChoices(catalog, provider, model, effort);
      // A list that is open must not be made anew for nothing.
      if (models != rows.models) {
        rows.models = std::move(models);
        setChoices(rows.model, namesOf(rows.models), placeOf(rows.models, model));
      }
      if (efforts != rows.efforts) {
        rows.efforts = std::move(efforts);
        setChoices(rows.effort, namesOf(rows.efforts), placeOf(rows.efforts, effort));
      }
      select(rows.model, placeOf(rows.models, model));
      select(rows.effort, placeOf(rows.efforts, effort));
      setSubtitle(rows.model, rows.models[placeOf(rows.models, model)].summary);
    }
  }

  Rows& rowsOf(AgentProvider provider) { return rows_[static_cast<std::size_t>(provider)]; }

  std::array<Rows, providers.size()> rows_;
  GtkWidget* checkButton_ = nullptr;
};

}  // namespace

std::unique_ptr<SettingsPage> makeAgentSettings(const SettingsPlace& place) {
  return std::make_unique<AgentsPage>(place);
}

}  // namespace vale::gtk
