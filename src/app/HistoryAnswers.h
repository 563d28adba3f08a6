#pragma once

#include "common/Clock.h"
#include "common/Json.h"
#include "common/Queues.h"
#include "history/HistoryStore.h"

#include <functional>
#include <string>
#include <vector>

namespace vale {

/// Answers what the history page asks: days, visits, a search, removals, and the undo of the last removal,
/// which it remembers until the next. Questions and answers are JSON. Main thread only.
class HistoryAnswers {
 public:
  /// Both must outlive the object.
  HistoryAnswers(HistoryStore& store, const Clock& clock) : store_(store), clock_(clock) {}

  /// Never throws: what went wrong is told as {"problem": "…"}. The object must live until the answer.
  Task<std::string> answer(std::string question);

  /// Called after visits were removed or came back.
  std::function<void()> onChange = [] {};

 private:
  struct Question;

  Task<json::object> answer(Question question);
  Task<json::object> visits(std::string day);
  Task<json::object> removeRange(std::string range);
  json::object removed(const HistoryRemoval& removal, std::vector<HistoryVisit> lines);

  HistoryStore& store_;
  const Clock& clock_;
  std::vector<HistoryVisit> removed_;
};

}  // namespace vale
