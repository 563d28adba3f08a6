#include "app/HistoryAnswers.h"

#include "app/HistoryRange.h"
#include "common/Error.h"
#include "history/LocalCalendar.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace vale {

namespace {

constexpr std::int64_t mostFound = 1'000;

json::object describe(const HistoryVisit& visit) {
  return {{"id", visit.id.text()},
          {"time", visit.visitedAt.time_since_epoch().count()},
          {"url", visit.url},
          {"title", visit.title},
          {"count", visit.visitCount}};
}

json::object describe(const std::vector<HistoryVisit>& visits) {
  json::array list;
  for (const auto& visit : visits) list.push_back(describe(visit));
  return {{"visits", std::move(list)}};
}

Error unknownQuestion() { return Error("The history page asked what Vale does not know."); }

}  // namespace

struct HistoryAnswers::Question {
  std::string ask;
  std::optional<std::string> day;
  std::optional<std::string> text;
  std::optional<std::string> site;
  std::optional<std::string> range;
  std::optional<Uuid> id;
  std::optional<std::int64_t> time;
  std::optional<std::int64_t> limit;

  BOOST_DESCRIBE_CLASS(Question, (), (ask, day, text, site, range, id, time, limit), (), ())
};

Task<std::string> HistoryAnswers::answer(std::string question) {
  json::object result;
  try {
    auto read = decode<Question>(parseJson(question));
    result = co_await answer(std::move(read));
  } catch (const Error& error) {
    result = {{"problem", error.message}};
  }
  co_return jsonText(result);
}

Task<json::object> HistoryAnswers::answer(Question question) {
  json::object result;
  if (question.ask == "days") {
    json::array list;
    const auto days = co_await store_.storedDays(LocalCalendar::system());
    for (const auto& one : days) {
      list.push_back(json::object{{"day", dayKey(one.day)}, {"visits", one.visitCount}});
    }
    result["days"] = std::move(list);
  } else if (question.ask == "visits" && question.day) {
    result = co_await visits(*question.day);
  } else if (question.ask == "search" && question.text) {
    const auto limit = std::clamp<std::int64_t>(question.limit.value_or(mostFound), 1, mostFound);
    const auto found = co_await store_.lexicalSearch(*question.text, static_cast<std::size_t>(limit));
    result = describe(found);
  } else if (question.ask == "removeVisit" && question.id && question.time) {
    auto done = co_await store_.removeVisit(*question.id, Date(std::chrono::seconds(*question.time)));
    result = removed(done.removal, std::move(done.removed));
  } else if (question.ask == "removeSite" && question.site) {
    auto done = co_await store_.removeLinesOfSite(*question.site);
    result = removed(done.removal, std::move(done.removed));
  } else if (question.ask == "removeRange" && question.range) {
    result = co_await removeRange(*question.range);
  } else if (question.ask == "undo") {
    auto lines = std::exchange(removed_, {});
    const auto restored = co_await store_.restoreVisits(std::move(lines));
    result["restored"] = restored;
    onChange();
  } else {
    throw unknownQuestion();
  }
  co_return result;
}

Task<json::object> HistoryAnswers::visits(std::string day) {
  const auto asked = parseDayKey(day);
  if (!asked) throw unknownQuestion();
  auto found = co_await store_.visits(*asked, LocalCalendar::system());
  // Of one second, the later lines of the file.
  std::ranges::reverse(found);
  std::ranges::stable_sort(found, std::ranges::greater(), &HistoryVisit::visitedAt);
  co_return describe(found);
}

Task<json::object> HistoryAnswers::removeRange(std::string range) {
  if (range == "everything") {
    const auto removal = co_await store_.removeAll();
    co_return removed(removal, {});
  }
  const auto calendar = LocalCalendar::system();
  const Date now = clock_.now();
  Date since;
  if (range == "hour") {
    since = now - std::chrono::hours(1);
  } else if (range == "today") {
    since = calendar.span(calendar.day(now)).begin;
  } else {
    throw unknownQuestion();
  }
  auto done = co_await removeHistorySince(store_, since, now, calendar);
  co_return removed(done.removal, std::move(done.lines));
}

json::object HistoryAnswers::removed(const HistoryRemoval& removal, std::vector<HistoryVisit> lines) {
  removed_ = std::move(lines);
  onChange();
  if (!removal.problems.empty()) throw Error(removal.problems.front());
  return {{"removed", removal.visits}, {"undo", !removed_.empty()}};
}

}  // namespace vale
