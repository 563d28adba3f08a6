#include "common/Date.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <string_view>

namespace vale {
namespace {

using namespace std::chrono;

constexpr sys_days epoch2001 = sys_days{2001y / January / 1};

/// Takes one piece after the other from the front of a text. The first that does not fit ends it.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  /// Exactly `count` digits, of a value from `smallest` to `largest`.
  int digits(std::size_t count, int smallest, int largest) {
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
      if (!isDigit()) return fail();
      value = value * 10 + (text_.front() - '0');
      text_.remove_prefix(1);
    }
    return value < smallest || value > largest ? fail() : value;
  }

  bool take(char c) {
    if (!text_.starts_with(c)) return false;
    text_.remove_prefix(1);
    return true;
  }
  void expect(char c) {
    if (!take(c)) fail();
  }

  /// "." and at least one digit, or nothing: 0.
  double fraction() {
    const char* start = text_.data();
    if (!take('.')) return 0;
    if (!isDigit()) return fail();
    while (isDigit()) text_.remove_prefix(1);
    double value = 0;
    std::from_chars(start, text_.data(), value, std::chars_format::fixed);
    return value;
  }

  bool finished() const { return !failed_ && text_.empty(); }

 private:
  bool isDigit() const { return !text_.empty() && text_.front() >= '0' && text_.front() <= '9'; }
  int fail() {
    failed_ = true;
    text_ = {};
    return 0;
  }

  std::string_view text_;
  bool failed_ = false;
};

}  // namespace

std::string iso8601(Date date) {
  constexpr Date first = sys_days{0y / January / 1};
  constexpr Date last = sys_days{9999y / December / 31} + 23h + 59min + 59s;
  // Not std::clamp: a date that is not a number must end up inside too.
  if (!(date >= first)) date = first;
  if (!(date <= last)) date = last;
  const auto whole = floor<seconds>(date);
  const auto midnight = floor<days>(whole);
  const year_month_day day(midnight);
  const hh_mm_ss time(whole - midnight);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", int(day.year()), unsigned(day.month()),
                     unsigned(day.day()), time.hours().count(), time.minutes().count(),
                     time.seconds().count());
}

std::optional<Date> parseISO8601(std::string_view text) {
  Reader reader(text);
  const year year(reader.digits(4, 0, 9999));
  reader.expect('-');
  const month month(unsigned(reader.digits(2, 1, 12)));
  reader.expect('-');
  const day day(unsigned(reader.digits(2, 1, 31)));
  reader.expect('T');
  const hours hour(reader.digits(2, 0, 23));
  reader.expect(':');
  const minutes minute(reader.digits(2, 0, 59));
  reader.expect(':');
  const seconds second(reader.digits(2, 0, 59));
  const Seconds fraction(reader.fraction());
  minutes offset(0);
  if (!reader.take('Z')) {
    const int sign = reader.take('-') ? -1 : 1;
    if (sign == 1) reader.expect('+');
    offset = hours(reader.digits(2, 0, 23));
    reader.expect(':');
    offset += minutes(reader.digits(2, 0, 59));
    offset *= sign;
  }
  const year_month_day date(year, month, day);
  if (!reader.finished() || !date.ok()) return std::nullopt;
  return sys_days(date) + hour + minute + second - offset + fraction;
}

double secondsSince2001(Date date) { return double((date - epoch2001).count()); }

Date dateFromSecondsSince2001(double seconds) { return Date(epoch2001) + Seconds(seconds); }

}  // namespace vale
