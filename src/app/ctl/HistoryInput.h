#pragma once

#include "history/HistoryRecords.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What `valectl history` is given: words on the command line, and lines of JSON.
namespace vale::ctl {

/// Each throws UsageError for a word that it is not.
std::optional<Date> readDate(const std::string& word);
LocalDay readDay(const std::string& word);
Uuid readUuid(const std::string& word);
std::optional<Uuid> readOptionalUuid(const std::string& word);
std::optional<VisitTransition> readTransition(const std::string& word);
/// The machine's calendar for an empty word.
LocalCalendar readCalendar(const std::string& word);

/// A whole file; standard input for "-" and for no name. Throws Error when it cannot be read.
std::string readInput(const std::filesystem::path& file);

/// Calls `take` with each line that is not empty. What it throws for a line is handed to `refuse` with the
/// line's number.
void forEachLine(std::string_view text, const std::function<void(std::string_view)>& take,
                 const std::function<void(std::size_t, const Error&)>& refuse);

/// Lines of JSON to be recorded, imported, restored. Each throws Error for a line that is none; times are ISO
/// 8601, and the moment of the call where a page's line has none.
PageOpening readPageOpening(std::string_view line);
ImportedVisit readImportedVisit(std::string_view line);
HistoryVisit readVisit(std::string_view line);

/// Every line read by `read`; the first that cannot be is named in the Error.
template <typename T> std::vector<T> readLines(std::string_view text, T (*read)(std::string_view)) {
  std::vector<T> all;
  forEachLine(
      text, [&](std::string_view line) { all.push_back(read(line)); },
      [](std::size_t number, const Error& error) {
        throw Error("Line " + std::to_string(number) + " could not be read. " + error.message);
      });
  return all;
}

/// A JSON object: visit id to {"visitedAt", "seconds"}.
ForegroundTimes readForegroundTimes(std::string_view text);

}  // namespace vale::ctl
