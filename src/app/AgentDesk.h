#pragma once

#include "agents/AgentHub.h"
#include "app/AgentQuestion.h"
#include "common/Published.h"
#include "intelligence/IntelligenceSettings.h"
#include "intelligence/ModelCatalogReader.h"
#include "projects/ProjectIndex.h"
#include "projects/ProjectLibrary.h"
#include "projects/ProjectRouter.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A project to choose.
struct ProjectOffer {
  std::filesystem::path folder;
  std::string name;
  std::string place;  ///< its folder, short

  bool operator==(const ProjectOffer&) const = default;
};

/// The one desk at which all windows ask agents: the conversations, who finds out where a request belongs,
/// the projects to choose from, and what is asked of the CLIs for a request. Main thread only; files are read
/// elsewhere. It does nothing, and reads nothing, before `open`.
class AgentDesk {
 public:
  /// All references must outlive the desk.
  struct Parts {
    std::filesystem::path supportFolder;
    ProjectPlaces places;
    EnvironmentVariables environment;
    AgentRuntime& agents;
    IntelligenceClient& client;                              ///< asked where requests belong
    std::function<std::optional<AgentProvider>()> provider;  ///< whom `client` asks now
    ModelInputFilter& inputFilter;
    IntelligenceSettings& settings;
    ModelCatalogReader& catalog;
    Surroundings surroundings;
  };

  explicit AgentDesk(Parts parts);
  ~AgentDesk();
  AgentDesk(const AgentDesk&) = delete;
  AgentDesk& operator=(const AgentDesk&) = delete;

  AgentHub& hub() { return hub_; }
  AgentRuntime& agents() { return parts_.agents; }
  const Surroundings& surroundings() const { return parts_.surroundings; }
  const std::filesystem::path& supportFolder() const { return parts_.supportFolder; }

  /// Someone looks: reads the conversations, the projects and the models, and looks for the CLIs. Later calls
  /// look at the models and projects again.
  void open();
  /// The conversations have been read.
  const Published<bool>& opened() const { return opened_; }
  /// Why they could not be, a sentence.
  const Published<std::optional<std::string>>& problem() const { return problem_; }

  /// None when an agent can be asked; else the sentences that say what the user has to do first.
  std::optional<std::string> missing() const;
  /// True while the CLIs are looked for.
  const Published<bool>& looking() const { return looking_; }
  void lookAgain();

  /// Sends a request on its way, its page filtered. Throws Error with the sentence for the user, and nothing
  /// is sent.
  Task<SentRequest> ask(AgentQuestion question);

  /// The projects to choose from, those of the latest conversations first.
  std::vector<ProjectOffer> projects() const;
  std::string projectName(const std::filesystem::path& folder) const;
  /// Takes a folder into the list of projects. Throws Error with the sentence why it cannot be one.
  Task<ProjectOffer> addProject(std::filesystem::path folder);
  /// Where pasted images wait to be sent; emptied by `open`.
  std::filesystem::path attachmentsFolder() const { return parts_.supportFolder / "Attachments"; }
  std::filesystem::path anywhereFolder() const { return parts_.supportFolder / "Anywhere"; }
  /// The list of projects has been read anew.
  sigc::signal<void()>& projectsChanged() { return projectsChanged_; }

  /// The agent of a conversation that names none.
  AgentProvider usualProvider() const;
  /// What there is to choose for a provider.
  std::vector<AgentModel> models(AgentProvider provider) const;
  const Published<ModelCatalog>& catalog() const { return parts_.catalog.catalog(); }
  IntelligenceSettings& settings() { return parts_.settings; }

  /// Writes what waits to be written: for termination.
  void save() { hub_.save(); }

 private:
  using Weak = std::weak_ptr<AgentDesk*>;

  void spawn(Task<> task);
  Task<> load();
  Task<> look();
  Task<> readProjects();
  Task<RoutedRequest> route(QueuedRequest request);
  std::string projectName(const std::string& id) const;

  Parts parts_;
  SerialQueue files_;
  ProjectRouter router_;
  ProjectIndex index_;
  /// Pages that went along lately: the router reads more of them than the agent's prompt tells.
  std::deque<PageContext> lastPages_;
  Published<bool> opened_{false};
  Published<bool> looking_{false};
  Published<std::optional<std::string>> problem_;
  sigc::signal<void()> projectsChanged_;
  bool wasOpened_ = false;
  AgentHub hub_;
  std::shared_ptr<AgentDesk*> self_;
};

/// The decision as the hub of conversations takes it. `name` gives a project's name by its id.
RoutedRequest routedRequest(const RouteDecision& decision,
                            const std::function<std::string(const std::string& projectID)>& name);

}  // namespace vale
