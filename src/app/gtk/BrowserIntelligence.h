#pragma once

#include "agents/AgentRuntime.h"
#include "app/AgentDesk.h"
#include "app/StartPageAnswers.h"
#include "app/gtk/BuiltInPages.h"
#include "app/gtk/Signal.h"
#include "browser/BrowserWindows.h"
#include "common/Preferences.h"
#include "common/Surroundings.h"
#include "history/HistoryVisit.h"
#include "intelligence/IntelligenceService.h"
#include "intelligence/IntelligenceSettings.h"
#include "intelligence/ModelCatalogReader.h"
#include "intelligence/ModelInputFilter.h"
#include "intelligence/TabGroupingCoordinator.h"

#include <gtk/gtk.h>

#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

namespace vale::gtk {

/// What the running browser has to do with the agent CLIs: their runtime, the service over it for what it
/// asks by itself, the grouping of the windows' tabs with its start page, and the desk at which the user
/// asks. Nothing is started before it is wanted. Main thread
/// only.
class BrowserIntelligence {
 public:
  /// `preferences`, `windows` and what `surroundings` names must outlive the object.
  BrowserIntelligence(const std::filesystem::path& supportFolder, Preferences& preferences,
                      BrowserWindows& windows, const Surroundings& surroundings,
                      std::function<void(const Uuid& tab)> showTab);
  ~BrowserIntelligence();
  BrowserIntelligence(const BrowserIntelligence&) = delete;
  BrowserIntelligence& operator=(const BrowserIntelligence&) = delete;

  /// Serves the start page through `pages`, which must outlive the object.
  void serve(BuiltInPages& pages);

  /// Follows a window's tabs and, where it is drawn, the user's input to it.
  void attach(const std::shared_ptr<BrowserModel>& model, GtkWidget* window);

  /// Pages with fields for passwords or payment are known by their visits.
  void noteVisit(const HistoryVisit& visit);

  const MainQueue& main() const { return main_; }
  AgentRuntime& agents() { return agents_; }
  IntelligenceService& service() { return service_; }
  IntelligenceSettings& settings() { return settings_; }
  ModelCatalogReader& catalog() { return catalog_; }
  TabGroupingCoordinator& grouping() { return grouping_; }
  ModelInputFilter& inputFilter() { return filter_; }
  AgentDesk& desk() { return desk_; }

  /// Writes what is not written yet, and waits for it; ends what is under way.
  void shutdown();

 private:
  Clock& clock_;
  MainQueue main_;
  AgentRuntime agents_;
  IntelligenceSettings settings_;
  ModelCatalogReader catalog_;
  IntelligenceService service_;
  ModelInputFilter filter_;
  std::unordered_set<std::string> sensitive_;  ///< addresses, as visits name them
  std::deque<std::string> sensitiveOrder_;
  Date lastInput_;
  TabGroupingCoordinator grouping_;
  std::shared_ptr<StartPageAnswers> answers_;
  AgentDesk desk_;
  Connections connections_;
};

}  // namespace vale::gtk
