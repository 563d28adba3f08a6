#pragma once

#include "app/AgentDesk.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/ProjectFolderDialog.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

/// The button of the composer that says where a request goes, with the list of projects. Main thread only.
class ProjectChoice {
 public:
  /// `failed` gets a sentence for a folder that can be no project.
  ProjectChoice(AgentDesk& desk, std::function<void(const std::string&)> failed);
  ~ProjectChoice();
  ProjectChoice(const ProjectChoice&) = delete;
  ProjectChoice& operator=(const ProjectChoice&) = delete;

  GtkWidget* widget() const { return GTK_WIDGET(button_); }

  /// A conversation that goes on stays where it is: its place, or none for a new one.
  void fix(std::optional<std::string> place);
  RequestDestination destination() const { return chosen_; }
  void reset();

 private:
  void list();
  void choose(RequestDestination destination, std::string name);
  void show();

  AgentDesk& desk_;
  ProjectFolderDialog other_;
  GtkMenuButton* button_;
  GtkLabel* label_;
  GtkPopover* popover_;
  GtkWidget* rows_;
  RequestDestination chosen_ = ToBeRouted{};
  std::string name_;
  std::optional<std::string> fixed_;
  Connections connections_, rowClicks_;
};

/// The button that says which agent works, with the choice of agent, model and effort, which are kept as the
/// usual ones. Main thread only.
class AgentChoice {
 public:
  explicit AgentChoice(AgentDesk& desk);
  ~AgentChoice();
  AgentChoice(const AgentChoice&) = delete;
  AgentChoice& operator=(const AgentChoice&) = delete;

  GtkWidget* widget() const { return GTK_WIDGET(button_); }

  /// A conversation keeps its agent.
  void fix(std::optional<AgentProvider> provider);

 private:
  AgentProvider provider() const;
  void show();

  AgentDesk& desk_;
  GtkMenuButton* button_;
  GtkDropDown* agents_;
  GtkDropDown* models_;
  GtkDropDown* efforts_;
  GtkLabel* fallback_;
  std::vector<std::string> modelIds_, effortIds_;
  std::optional<AgentProvider> fixed_;
  bool setting_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  Connections connections_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
