#pragma once

#include "browser/BrowserModel.h"
#include "common/Clock.h"
#include "common/OneShot.h"
#include "common/Published.h"
#include "common/Queues.h"
#include "history/HistoryStore.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vale {

/// Records what ordinary windows show: each web page that was loaded becomes a visit with its title and text,
/// and later with the text that it had when it was left and the seconds that it was on screen. Main thread
/// only; the archive works elsewhere, in the order of the calls. A crash loses the seconds of what is on
/// screen.
class HistoryRecorder {
 public:
  /// How long an address that a script gave its page must stay to be a visit.
  static constexpr Seconds rest{1};

  /// `clock` and `store` must outlive the object.
  HistoryRecorder(MainQueue main, Clock& clock, HistoryStore& store);
  ~HistoryRecorder();
  HistoryRecorder(const HistoryRecorder&) = delete;
  HistoryRecorder& operator=(const HistoryRecorder&) = delete;

  /// Follows a window's pages for as long as there are any. Private windows are none of its business.
  void attach(const std::shared_ptr<BrowserModel>& model);

  /// Whether the page of a closing tab may live on until it has given its last text. A driver's may not: the
  /// end of a page is what it waits for.
  bool keepsClosingPages = true;

  /// The desktop reports which window has the keyboard; none when it is not one of ours.
  void setFront(std::optional<Uuid> modelID);

  /// Takes the last texts and seconds, and ends once all is handed on. The object must live until then.
  Task<> flush();

  /// Why visits are not being kept, a sentence for the user; none once they are again.
  const Published<std::optional<std::string>>& problem() const { return problem_; }

  /// Fires with each line that was written, new or folded.
  Subscription onRecorded(std::function<void(const HistoryVisit&)> observer) {
    return Subscription(recorded_.connect(std::move(observer)));
  }

 private:
  struct Visit;
  struct Followed;
  using VisitPointer = std::shared_ptr<Visit>;
  using Self = std::weak_ptr<HistoryRecorder*>;

  void follow(const std::weak_ptr<BrowserModel>& model, BrowserTab& tab);
  void leave(const std::shared_ptr<Page>& page);
  void reportWithoutText(Followed& followed);
  void documentChanged(Followed& followed);
  void loadEnded(Followed& followed);
  void addressRested(Followed& followed);
  void titleChanged(Followed& followed);
  void begin(Followed& followed, std::optional<VisitTransition> transition);
  bool report(Followed& followed);
  void awaitRest(Followed& followed);
  VisitTransition transitionOf(const Followed& followed) const;
  Followed* selectedIn(const BrowserModel& model);
  void look();
  bool readAgain(Followed& followed);

  struct PageAtHand;
  void start(Task<> task);
  static Task<> run(Self self, Task<> task);
  static Task<PageText> read(PageAtHand page);
  static Task<> append(Self self, VisitPointer visit, PageAtHand page);
  static Task<> takeText(Self self, VisitPointer visit, PageAtHand page);
  static Task<> write(Self self, VisitPointer visit);
  static Task<bool> writeOnce(Self self, VisitPointer visit);

  MainQueue main_;
  Clock& clock_;
  HistoryStore& store_;
  std::unordered_map<const Page*, std::unique_ptr<Followed>> followed_;
  std::vector<std::weak_ptr<BrowserModel>> models_;
  std::vector<Subscription> subscriptions_;
  std::optional<Uuid> front_;
  VisitPointer onScreen_;
  Date onScreenSince_;
  std::size_t busy_ = 0;  ///< tasks under way
  std::vector<OneShot<bool>> waiting_;
  Published<std::optional<std::string>> problem_;
  sigc::signal<void(const HistoryVisit&)> recorded_;
  std::shared_ptr<HistoryRecorder*> self_;
};

}  // namespace vale
