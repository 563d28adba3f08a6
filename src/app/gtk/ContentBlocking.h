#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageEquipment.h"
#include "browser/BlockingLists.h"
#include "browser/ContentRules.h"
#include "common/Preferences.h"
#include "common/Published.h"

#include <webkit/webkit.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

/// A compiled blocker, shared.
using ContentFilter = std::shared_ptr<WebKitUserContentFilter>;

/// Blocks what the filter lists name, in every page. The lists are converted off the main thread and compiled
/// by the engine into a folder, once for each set of lists; from then on a start only loads them. After a
/// crash the folder may hold blockers that nobody names: the next change removes them. Main thread only.
class ContentBlocking {
 public:
  /// Whether anything is blocked; true when absent.
  static constexpr std::string_view preferenceKey = "ValeBlockContent";

  /// `preferences` must outlive the object.
  ContentBlocking(const std::filesystem::path& folder, Preferences& preferences,
                  const Surroundings& surroundings);
  ~ContentBlocking();
  ContentBlocking(const ContentBlocking&) = delete;
  ContentBlocking& operator=(const ContentBlocking&) = delete;

  BlockingLists& lists() { return lists_; }

  /// What pages are given; empty while nothing is blocked.
  const Published<std::vector<ContentFilter>>& filters() const { return filters_; }

  bool isEnabled() const { return preferences_.boolean(preferenceKey).value_or(true); }

  /// True while the lists are being made ready.
  const Published<bool>& isWorking() const { return isWorking_; }
  /// What did not get into a blocker, or why there is none; a sentence for the user.
  const Published<std::optional<std::string>>& problem() const { return problem_; }

  /// Makes the lists ready again after it went wrong.
  void retry();

  /// Gives a page its filters for as long as it lives, except where its site is excepted.
  std::unique_ptr<PagePart> serve(WebKitPage& page, BrowsingMode mode);

  void shutdown();

 private:
  struct Run;
  using Weak = std::weak_ptr<ContentBlocking*>;

  void update();
  void load();
  void loadNext(const std::shared_ptr<Run>& run);
  void convert(const std::shared_ptr<Run>& run);
  void compileNext(const std::shared_ptr<Run>& run);
  void compiled(const std::shared_ptr<Run>& run, const ContentRules& rules, WebKitUserContentFilter* filter,
                const std::string& reason);
  void finish(const std::shared_ptr<Run>& run);
  void removeOthers(const std::vector<std::string>& named);
  void say(const Run& run);

  Preferences& preferences_;
  Surroundings surroundings_;
  SerialQueue queue_;
  BlockingLists lists_;
  GObjectPointer<WebKitUserContentFilterStore> store_;
  GObjectPointer<GCancellable> gone_;
  Published<std::vector<ContentFilter>> filters_;
  Published<bool> isWorking_;
  Published<std::optional<std::string>> problem_;
  std::string key_;           ///< of what `filters_` holds, or will
  std::shared_ptr<Run> run_;  ///< under way, or null
  guint later_ = 0;
  std::vector<Subscription> changes_;
  std::shared_ptr<ContentBlocking*> self_;
};

}  // namespace vale::gtk
