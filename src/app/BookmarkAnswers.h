#pragma once

#include "browser/Bookmarks.h"
#include "common/Json.h"

#include <functional>
#include <string>
#include <vector>

namespace vale {

/// Answers what the bookmarks page asks: what is in a folder, a search, changes, and the undo of the last
/// removal. Questions and answers are JSON. Main thread only.
class BookmarkAnswers {
 public:
  /// `bookmarks` must outlive the object.
  explicit BookmarkAnswers(Bookmarks& bookmarks) : bookmarks_(bookmarks) {}

  /// Never throws: what went wrong is told as {"problem": "…"}.
  std::string answer(const std::string& question);

  /// Opens addresses in tabs of the window in front.
  std::function<void(const std::vector<std::string>&)> open = [](const auto&) {};
  /// Asks the user for a file to import from, or to export to.
  std::function<void()> importFile = [] {}, exportFile = [] {};

 private:
  struct Question;

  json::object answer(const Question& question);
  json::object list(const Question& question) const;

  Bookmarks& bookmarks_;
};

}  // namespace vale
