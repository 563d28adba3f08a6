#pragma once

#include "app/AddressBook.h"
#include "app/HistoryRecorder.h"
#include "app/ProjectIndexUpkeep.h"
#include "app/gtk/BrowserIntelligence.h"
#include "app/gtk/BrowserServices.h"
#include "app/gtk/BrowserWindow.h"
#include "app/gtk/BuiltInPages.h"
#include "app/gtk/CommandLine.h"
#include "app/gtk/DesktopMemoryPressure.h"
#include "app/gtk/MainLoopExecutor.h"
#include "app/gtk/SupportPlace.h"
#include "app/gtk/WebEngine.h"
#include "app/gtk/WindowPictures.h"
#include "browser/BrowserWindows.h"
#include "browser/SearchEngines.h"
#include "browser/TabSleepController.h"
#include "common/Clock.h"
#include "common/Preferences.h"
#include "common/Queues.h"

#include <adwaita.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vale::gtk {

/// The running browser: it owns the queues, the engine, the session and the windows, and lives for one run of
/// the main loop. A second `vale` of the same user hands its addresses to the first and ends, except where it
/// is steered by a machine.
class BrowserApplication {
 public:
  BrowserApplication(CommandLine commandLine, std::filesystem::path home);
  ~BrowserApplication();
  BrowserApplication(const BrowserApplication&) = delete;
  BrowserApplication& operator=(const BrowserApplication&) = delete;

  /// Runs until the last window is closed; gives the process's exit status.
  int run();

 private:
  enum class TabPlace { frontWindow, newWindow };

  void startUp();
  void startEngine();
  void startSession();
  void startHistory();
  void startIntelligence();
  int openFrom(GApplicationCommandLine* arguments);
  BrowserModel& windowFor(BrowsingMode mode);
  void open(const std::string& address, BrowserModel& model);
  void showWindows(const std::vector<BrowserWindows::Entry*>& opened);
  void recordVisits(const std::shared_ptr<BrowserModel>& model, GtkWindow* window);
  void startIn(const std::shared_ptr<BrowserModel>& model);
  void showSettingsOver(const Uuid& model);
  void windowClosed(const BrowserWindows::Entry& closed, const BrowserWindows::Entry* next);
  WindowHost hostOfWindows();
  std::vector<AddressSuggestion> suggestions(std::string_view typed, const BrowserModel& asking) const;
  void showTab(const Uuid& tab);
  void reopenClosed(BrowserModel& model);
  void listEarlierSessions(std::function<void(std::vector<EarlierSession>)> answer);
  void restoreEarlierSession(const std::string& name, std::function<void(std::optional<std::string>)> answer);
  WebKitWebView* viewForDriver(TabPlace place);
  void takeScreenshot();
  void endWith(const std::optional<std::string>& problem);
  void quit();
  void finishHistory();
  void save();

  CommandLine commandLine_;
  std::filesystem::path home_;
  MainLoop loop_;
  MainQueue main_{Executor(MainLoopExecutor(loop_))};
  WorkerPool workers_;
  SystemClock clock_{main_, workers_};
  GObjectPointer<AdwApplication> application_;
  std::optional<SupportPlace> place_;
  std::unique_ptr<Preferences> preferences_;
  std::unique_ptr<SearchEngines> searchEngines_;
  std::unique_ptr<AddressInput> input_;
  std::unique_ptr<WebEngine> engine_;
  std::unique_ptr<BrowserSession> session_;
  std::unique_ptr<DesktopMemoryPressure> pressure_;
  std::unique_ptr<TabSleepController> sleep_;
  std::unique_ptr<BrowserWindows> windows_;
  std::unique_ptr<HistoryStore> history_;
  std::unique_ptr<HistoryRecorder> recorder_;
  std::unique_ptr<BuiltInPages> builtIn_;
  std::unique_ptr<BrowserIntelligence> intelligence_;
  std::unique_ptr<ProjectIndexUpkeep> projects_;
  std::unique_ptr<BrowserServices> services_;
  std::shared_ptr<AddressBook> addresses_;
  Subscription recordedVisits_;
  std::vector<Subscription> starts_;
  Subscription historyProblems_;
  std::optional<std::string> historyProblem_;
  std::optional<Uuid> activeWindow_;
  std::unordered_map<Uuid, std::unique_ptr<WindowPictures>> pictures_;
  Timer timeLimit_;
  bool driverHasWindow_ = false;
  int status_ = 0;
  std::vector<unsigned> signals_;
  Connections connections_;
};

}  // namespace vale::gtk
