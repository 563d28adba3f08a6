#include "browser/LinuxMemoryPressure.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

namespace vale {

namespace {

/// The number that follows `key` in the first line that begins with `line`.
template <typename Number>
std::optional<Number> numberAfter(std::string_view text, std::string_view line, std::string_view key) {
  while (!text.empty()) {
    auto current = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), current.size() + 1));
    if (!current.starts_with(line)) continue;
    const auto place = current.find(key, line.size());
    if (place == std::string_view::npos) return std::nullopt;
    current.remove_prefix(place + key.size());
    current.remove_prefix(std::min(current.find_first_not_of(" \t"), current.size()));
    Number number{};
    if (std::from_chars(current.data(), current.data() + current.size(), number).ec != std::errc()) {
      return std::nullopt;
    }
    return number;
  }
  return std::nullopt;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::ostringstream content;
  if (stream) content << stream.rdbuf();
  return std::move(content).str();
}

}  // namespace

std::optional<MemoryStall> parseMemoryStall(std::string_view text) {
  const auto some = numberAfter<double>(text, "some ", "avg10=");
  const auto full = numberAfter<double>(text, "full ", "avg10=");
  if (!some || !full) return std::nullopt;
  return MemoryStall{*some, *full};
}

std::optional<MemoryAmounts> parseMemoryAmounts(std::string_view text) {
  const auto total = numberAfter<std::uint64_t>(text, "MemTotal", ":");
  const auto available = numberAfter<std::uint64_t>(text, "MemAvailable", ":");
  if (!total || !available) return std::nullopt;
  return MemoryAmounts{*total, *available};
}

MemoryPressure memoryPressure(const std::optional<MemoryStall>& stall,
                              const std::optional<MemoryAmounts>& amounts) {
  const double stalled = stall ? stall->some : 0;
  const double stopped = stall ? stall->full : 0;
  const double available =
      amounts && amounts->total > 0 ? double(amounts->available) / double(amounts->total) : 1;
  if (stopped >= 10 || available < 0.04) return MemoryPressure::critical;
  if (stalled >= 10 || available < 0.10) return MemoryPressure::warning;
  return MemoryPressure::normal;
}

LinuxMemoryPressure::LinuxMemoryPressure(MainQueue main, WorkerPool& workers, Clock& clock, MemoryFiles files)
    : main_(std::move(main)), workers_(workers), clock_(clock), files_(std::move(files)),
      self_(std::make_shared<LinuxMemoryPressure*>(this)) {
  read();
}

void LinuxMemoryPressure::read() {
  workers_.post([files = files_, main = main_, weak = std::weak_ptr(self_)] {
    const auto pressure = memoryPressure(parseMemoryStall(contentOf(files.stall)),
                                         parseMemoryAmounts(contentOf(files.amounts)));
    main.post([pressure, weak] {
      const auto self = weak.lock();
      if (!self) return;
      auto& source = **self;
      source.next_ = source.clock_.schedule(interval, [&source] { source.read(); });
      source.level_.set(pressure);
    });
  });
}

}  // namespace vale
