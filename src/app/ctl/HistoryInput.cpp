#include "app/ctl/HistoryInput.h"

#include "app/ctl/Ctl.h"
#include "common/FileDescriptor.h"
#include "common/Json.h"

#include <fmt/format.h>

#include <chrono>

namespace vale::ctl {
namespace {

struct PageLine {
  std::string url;
  std::optional<std::string> title;
  std::optional<std::string> text;
  std::optional<std::string> visitedAt;
  std::optional<Uuid> tabID;
  std::optional<Uuid> openerTabID;
  std::optional<VisitTransition> transition;
  std::optional<bool> sensitive;
};
BOOST_DESCRIBE_STRUCT(PageLine, (), (url, title, text, visitedAt, tabID, openerTabID, transition, sensitive))

struct ImportLine {
  std::string url;
  std::optional<std::string> title;
  std::string visitedAt;
  std::optional<VisitTransition> transition;
};
BOOST_DESCRIBE_STRUCT(ImportLine, (), (url, title, visitedAt, transition))

struct ForegroundLine {
  std::string visitedAt;
  std::int64_t seconds = 0;
};
BOOST_DESCRIBE_STRUCT(ForegroundLine, (), (visitedAt, seconds))

Date dateOf(const std::string& text) {
  const auto date = parseISO8601(text);
  if (!date) throw DecodeError(fmt::format("“{}” is no time such as 2026-11-22T21:51:57Z.", text));
  return *date;
}

template <typename T> T unlessNone(std::optional<T> value, std::string_view word, std::string_view what) {
  if (!value) throw UsageError(fmt::format("“{}” is no {}.", word, what));
  return std::move(*value);
}

}  // namespace

std::optional<Date> readDate(const std::string& word) {
  if (word.empty()) return std::nullopt;
  return unlessNone(parseISO8601(word), word, "time such as 2026-11-22T21:51:57Z");
}

LocalDay readDay(const std::string& word) {
  return unlessNone(parseDayKey(word), word, "day such as 2026-11-22");
}

Uuid readUuid(const std::string& word) { return unlessNone(Uuid::parse(word), word, "UUID"); }

std::optional<Uuid> readOptionalUuid(const std::string& word) {
  if (word.empty()) return std::nullopt;
  return readUuid(word);
}

std::optional<VisitTransition> readTransition(const std::string& word) {
  if (word.empty()) return std::nullopt;
  return unlessNone(fromRawValue<VisitTransition>(word), word, "transition");
}

LocalCalendar readCalendar(const std::string& word) {
  if (word.empty()) return LocalCalendar::system();
  return unlessNone(LocalCalendar::named(word), word, "time zone such as Europe/Vienna");
}

std::string readInput(const std::filesystem::path& file) {
  if (file.empty() || file == "-") return readStandardInput();
  auto text = readFile(file);
  if (!text) throw text.error();
  return std::move(*text);
}

void forEachLine(std::string_view text, const std::function<void(std::string_view)>& take,
                 const std::function<void(std::size_t, const Error&)>& refuse) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) continue;
    try {
      take(line);
    } catch (const FileError&) {
      throw;
    } catch (const Error& error) {
      refuse(number, error);
    }
  }
}

PageOpening readPageOpening(std::string_view line) {
  auto read = decodeText<PageLine>(line);
  return {.url = std::move(read.url),
          .title = read.title.value_or(""),
          .text = read.text.value_or(""),
          .visitedAt = read.visitedAt ? dateOf(*read.visitedAt) : Date(std::chrono::system_clock::now()),
          .tabID = read.tabID,
          .openerTabID = read.openerTabID,
          .transition = read.transition,
          .sensitive = read.sensitive.value_or(false)};
}

ImportedVisit readImportedVisit(std::string_view line) {
  auto read = decodeText<ImportLine>(line);
  return {std::move(read.url), read.title.value_or(""), dateOf(read.visitedAt), read.transition};
}

HistoryVisit readVisit(std::string_view line) {
  auto visit = decodeVisit(line);
  if (!visit) throw DecodeError("It is no line of a history archive.");
  return std::move(*visit);
}

ForegroundTimes readForegroundTimes(std::string_view text) {
  ForegroundTimes times;
  for (const auto& [id, time] : decodeText<std::map<std::string, ForegroundLine>>(text)) {
    const auto uuid = Uuid::parse(id);
    if (!uuid) throw DecodeError(fmt::format("“{}” is no UUID.", id));
    times[*uuid] = {dateOf(time.visitedAt), time.seconds};
  }
  return times;
}

}  // namespace vale::ctl
