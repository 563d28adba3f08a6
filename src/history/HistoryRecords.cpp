#include "history/HistoryRecords.h"

#include <fmt/format.h>

namespace vale {

HistoryStoreError HistoryStoreError::invalidURL() {
  return {Reason::invalidURL, "Only HTTP and HTTPS pages can be saved to browsing history."};
}

HistoryStoreError HistoryStoreError::invalidArchiveName() {
  return {Reason::invalidArchiveName, "The requested history archive is invalid."};
}

HistoryStoreError HistoryStoreError::corruptArchive(std::string_view name, std::size_t record) {
  return {Reason::corruptArchive, fmt::format("History archive {}, record {}, could not be read. The "
                                              "original file has been preserved.",
                                              name, record)};
}

}  // namespace vale
