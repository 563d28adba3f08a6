#pragma once

#include "browser/BrowserWindows.h"
#include "common/Json.h"
#include "intelligence/TabGroupingCoordinator.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Answers what the start page asks: the groups with their tabs, and what the user does to them. Questions
/// and answers are JSON. It also tells the coordinator whether a start page is on screen. Main thread only.
class StartPageAnswers {
 public:
  /// `grouping` and `windows` must outlive the object. `showTab` brings a tab to the front.
  StartPageAnswers(TabGroupingCoordinator& grouping, BrowserWindows& windows, MainQueue main,
                   std::function<void(const Uuid&)> showTab);
  ~StartPageAnswers();

  /// Never throws: what went wrong is told as {"problem": "…"}. Every answer but that of "icons" and "prompt"
  /// is the state after what was asked.
  std::string answer(const std::string& question);

  /// Follows an ordinary window: whether it shows the start page, and what its tabs show.
  void attach(const std::shared_ptr<BrowserModel>& model);

  /// Called once for changes that follow each other, while a start page is on screen.
  std::function<void()> onChange = [] {};

 private:
  struct Question;
  struct Watched;

  json::object perform(const Question& question);
  json::object state() const;
  json::object describe(const TabGroupSection& section, std::size_t& room) const;
  std::shared_ptr<BrowserTab> tab(const Uuid& id) const;
  void look();
  void changed();

  TabGroupingCoordinator& grouping_;
  BrowserWindows& windows_;
  MainQueue main_;
  std::function<void(const Uuid&)> showTab_;
  std::vector<std::unique_ptr<Watched>> watched_;
  std::vector<Subscription> subscriptions_;
  bool visible_ = false;
  bool told_ = false;  ///< a call of `onChange` is on its way
  std::shared_ptr<StartPageAnswers*> self_;
};

}  // namespace vale
