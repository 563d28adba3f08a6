#pragma once

#include "browser/BrowserModel.h"
#include "browser/TabSleepPolicy.h"
#include "common/OneShot.h"
#include "common/Preferences.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace vale {

/// Puts tabs of all windows to sleep that have been out of sight for long, sooner when memory is short. Main
/// thread only; nothing of it is kept but the user's choice in the preferences.
class TabSleepController {
 public:
  /// The preference that turns it off: true when absent.
  static constexpr std::string_view preferenceKey = "ValeSleepTabs";

  /// The preference of how many seconds out of sight let a tab sleep, at least 1, instead of the policy's
  /// own.
  static constexpr std::string_view delayKey = "ValeSleepDelay";

  /// Seconds between two looks at the tabs.
  static constexpr Seconds usualInterval{60};

  /// Everything referred to must outlive the controller.
  TabSleepController(MainQueue main, Preferences& preferences, Clock& clock, MemoryPressureSource& pressure,
                     Seconds checkInterval = usualInterval);

  /// Ends a sweep under way after the tab that it is at.
  ~TabSleepController();
  TabSleepController(const TabSleepController&) = delete;
  TabSleepController& operator=(const TabSleepController&) = delete;

  TabSleepPolicy policy;

  /// Whether a tab's page must stay awake. It is asked of one tab after the other; an error counts as a yes.
  std::function<Task<bool>(BrowserTab&)> pageCheck;

  /// Looks after a window's tabs from now on, for as long as the window lives.
  void attach(const std::shared_ptr<BrowserModel>& model);

  /// The windows that are still there.
  std::vector<std::shared_ptr<BrowserModel>> browsers();

  const Published<bool>& isEnabled() const { return isEnabled_; }
  /// Kept in the preferences; turning it on asks for a sweep at once.
  void setEnabled(bool enabled);

  MemoryPressure pressure() const { return pressureSource_.current(); }

  /// Begins the periodic look at the tabs; while the controller is disabled it pauses.
  void start();

  /// Looks at all tabs now, or joins the look under way. Gives the tabs put to sleep.
  Task<std::vector<Uuid>> sweep();

 private:
  /// Those who wait for the sweep under way.
  using Waiting = std::vector<OneShot<std::vector<Uuid>>>;
  using Self = std::weak_ptr<TabSleepController*>;
  using PageCheck = std::function<Task<bool>(BrowserTab&)>;
  /// What pages answered: true for those that must stay.
  using Answers = std::map<Uuid, bool>;

  static Task<> run(Self self, std::shared_ptr<Waiting> waiting);
  static Task<> performSweep(Self self, std::vector<Uuid>& slept);
  static Task<bool> mustStay(PageCheck check, std::shared_ptr<BrowserTab> tab);

  struct Place {
    std::shared_ptr<BrowserModel> model;
    std::shared_ptr<BrowserTab> tab;
  };
  /// Where a tab is now; null when it is gone.
  Place find(const Uuid& id);

  /// The tabs that may sleep now, the pages of one process only together. Whoever has not answered must stay;
  /// without answers, those whose page is worth asking.
  std::vector<Uuid> candidates(const Answers* answers);

  void begin(Waiting waiting);
  void requestSweep();
  void scheduleNext();
  void readPreference();
  void readDelay();

  MainQueue main_;
  Preferences& preferences_;
  Clock& clock_;
  MemoryPressureSource& pressureSource_;
  Seconds checkInterval_;
  std::vector<std::weak_ptr<BrowserModel>> browsers_;
  Published<bool> isEnabled_{true};
  bool started_ = false;
  Timer timer_;
  std::shared_ptr<Waiting> running_;  ///< null when no sweep is under way
  bool again_ = false;                ///< something changed during the sweep under way
  Subscription preferenceChanges_;
  Subscription pressureChanges_;
  std::shared_ptr<TabSleepController*> self_;
};

}  // namespace vale
