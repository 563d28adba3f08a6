#pragma once

#include "app/AddressSuggestions.h"
#include "browser/BrowserSession.h"
#include "common/Queues.h"
#include "history/HistoryStore.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace vale {

/// What the address entries complete from: the visited addresses, in memory, and the bookmarks. Main thread
/// only; the archives are read elsewhere. Until they are, only what was visited since is known. Nothing is
/// kept: the archives have it all.
class AddressBook : public std::enable_shared_from_this<AddressBook> {
 public:
  /// All must outlive the object.
  AddressBook(MainQueue main, WorkerPool& workers, HistoryStore& store, const BrowserSession& session,
              const AddressInput& input);

  /// Reads the archives anew: at the start, and when visits were removed or came back.
  void load();

  /// A visit that was written to the archive.
  void record(const HistoryVisit& visit);

  /// What `typed` may mean in the window of `asking`.
  std::vector<AddressSuggestion> suggestions(std::string_view typed,
                                             const std::vector<std::shared_ptr<BrowserModel>>& windows,
                                             const BrowserModel& asking) const;

 private:
  static Task<> load(std::weak_ptr<AddressBook> weak, HistoryStore& store, SerialQueue queue);
  static void add(AddressIndex& index, const HistoryVisit& visit);
  void indexBookmarks(const std::vector<Bookmark>& bookmarks);

  MainQueue main_;
  HistoryStore& store_;
  const AddressInput& input_;
  SerialQueue queue_;
  AddressIndex visited_;
  AddressIndex bookmarks_;
  std::uint64_t bookmarkRevision_ = 0;
  bool loading_ = false;
  bool loadsAgain_ = false;
  std::vector<HistoryVisit> meanwhile_;  ///< recorded while the archives were read
  Subscription bookmarkChanges_;
};

}  // namespace vale
