#pragma once

#include "common/Queues.h"
#include "history/HistoryVisit.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vale {

/// All that the archives know of one address.
struct AddressIndexRow {
  std::string url;    ///< of the latest line with this normalized address
  std::string title;  ///< the latest one that is not empty
  std::int64_t visitCount = 0;
  std::int64_t typedCount = 0;  ///< the lines whose transition is `typed`
  std::chrono::sys_seconds lastVisitedAt;
};

/// The rows that the address-bar index is built from, one for each normalized address, in no order. Reads all
/// archives, but no excerpt; lines that are no visits are passed over.
std::vector<AddressIndexRow> addressRows(const std::filesystem::path& historyFolder, WorkerPool* workers);

/// Where typed text stands in another, in bytes.
struct MatchRange {
  std::size_t begin = 0;
  std::size_t length = 0;

  bool operator==(const MatchRange&) const = default;
};

/// An address that was typed in part, and where what was typed stands in it; the ranges in order, none
/// touching another.
struct AddressCompletion {
  AddressIndexRow row;
  std::vector<MatchRange> inURL;
  std::vector<MatchRange> inTitle;
};

/// The visited addresses in memory, the likeliest first, for completion in the address entry. For one thread
/// at a time, which may change: it is built away from the main thread and then moved there.
///
/// An address weighs
///     log2(visits + 3 * typed visits) + days since 1970 of the last visit / 30
/// so that a month without a visit halves it, and time alone changes no order. To that comes, for what was
/// typed, the mean over its words of: 4 for the beginning of the host ("www." aside), 2 for the beginning of
/// another word of the host, 1 for one of the title, 0 for one of the rest of the address.
class AddressIndex {
 public:
  explicit AddressIndex(std::vector<AddressIndexRow> rows = {});
  AddressIndex(AddressIndex&&) = default;
  AddressIndex& operator=(AddressIndex&&) = default;

  /// An open of a page that was recorded. An empty title leaves the one that is there.
  void record(std::string_view url, std::string_view title, std::optional<VisitTransition> transition,
              std::chrono::sys_seconds at);

  /// Forgets an address, with all its visits.
  void remove(std::string_view url);

  std::size_t size() const { return byAddress_.size(); }

  /// The best addresses, at most `limit`, each of which holds every word of `text` at the beginning of a word
  /// of its address or title, in any case. For an empty text the heaviest ones.
  std::vector<AddressCompletion> complete(std::string_view text, std::size_t limit) const;

 private:
  using Address = std::pair<const std::string, std::size_t>;  ///< normalized, and where in `entries_` it is
  struct Entry {
    AddressIndexRow row;
    double weight = 0;
    std::string folded;          ///< the address without its scheme, a line feed, the title, a line feed
    Address* address = nullptr;  ///< none once the address has moved or is gone
  };

  void add(AddressIndexRow row, Address& address);
  void rank();

  /// The first `begins_.size()` are in order, the heaviest first, and their texts stand one after the other
  /// in `text_`, each at its `begins_`. The others have come since.
  std::vector<Entry> entries_;
  std::vector<std::size_t> begins_;
  std::string text_;
  std::unordered_map<std::string, std::size_t> byAddress_;
};

}  // namespace vale
