#include "app/AddressBook.h"

#include "common/Error.h"
#include "common/Log.h"
#include "common/OneShot.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <optional>
#include <utility>

namespace vale {

namespace {

AddressIndex indexOf(const std::vector<Bookmark>& bookmarks) {
  std::vector<AddressIndexRow> rows;
  for (const auto& bookmark : bookmarks) rows.push_back({.url = bookmark.url, .title = bookmark.title});
  return AddressIndex(std::move(rows));
}

}  // namespace

AddressBook::AddressBook(MainQueue main, WorkerPool& workers, HistoryStore& store,
                         const BrowserSession& session, const AddressInput& input)
    : main_(std::move(main)), store_(store), input_(input), queue_(workers, "Vale.addresses"),
      bookmarks_(indexOf(session.bookmarks().value())),
      bookmarkChanges_(
          session.bookmarks().subscribe([this](const auto& bookmarks) { indexBookmarks(bookmarks); })) {}

/// Away from the main thread: there may be many.
void AddressBook::indexBookmarks(const std::vector<Bookmark>& bookmarks) {
  const auto revision = ++bookmarkRevision_;
  queue_.post([bookmarks, revision, main = main_, weak = weak_from_this()] {
    main.post([weak, revision, index = std::make_shared<AddressIndex>(indexOf(bookmarks))] {
      const auto self = weak.lock();
      if (self && self->bookmarkRevision_ == revision) self->bookmarks_ = std::move(*index);
    });
  });
}

void AddressBook::load() {
  if (std::exchange(loading_, true)) {
    loadsAgain_ = true;
    return;
  }
  asio::co_spawn(main_.executor(), load(weak_from_this(), store_, queue_), asio::detached);
}

Task<> AddressBook::load(std::weak_ptr<AddressBook> weak, HistoryStore& store, SerialQueue queue) {
  const OneShot<AddressIndex> built;
  bool read = false;
  try {
    auto rows = co_await store.addressRows();
    read = true;
    queue.post([rows = std::move(rows), built]() mutable { built.set(AddressIndex(std::move(rows))); });
  } catch (const Error& error) {
    log::error("The address entry offers no earlier pages. {}", error.message);
  }
  std::optional<AddressIndex> index;
  if (read) index = co_await built.wait();
  const auto self = weak.lock();
  if (!self) co_return;
  if (index) {
    self->visited_ = std::move(*index);
    for (const auto& visit : self->meanwhile_) add(self->visited_, visit);
  }
  self->meanwhile_.clear();
  self->loading_ = false;
  if (std::exchange(self->loadsAgain_, false)) self->load();
}

void AddressBook::record(const HistoryVisit& visit) {
  add(visited_, visit);
  if (loading_) meanwhile_.push_back(visit);
}

void AddressBook::add(AddressIndex& index, const HistoryVisit& visit) {
  index.record(visit.url, visit.title, visit.transition, visit.lastVisitedAt);
}

std::vector<AddressSuggestion>
AddressBook::suggestions(std::string_view typed, const std::vector<std::shared_ptr<BrowserModel>>& windows,
                         const BrowserModel& asking) const {
  const auto tabs = openTabs(windows, asking);
  return addressSuggestions(typed, {visited_, bookmarks_, tabs, input_, true});
}

}  // namespace vale
