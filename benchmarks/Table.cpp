#include "benchmarks/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <optional>

namespace vale::bench {
namespace {

constexpr std::string_view layout = "{:<44}  {:>18}  {:>42}  {:>6}  {:>7}  {}\n";

bool named(const Row& row, const std::vector<std::string>& filters) {
  return filters.empty() || std::any_of(filters.begin(), filters.end(), [&](const std::string& filter) {
           return row.name.find(filter) != std::string::npos;
         });
}

double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Three significant digits; rates with K, M or G past a thousand: "2.31 M lines/s".
std::string figure(double value, std::string_view unit) {
  if (!unit.ends_with("/s"))
    return fmt::format("{:.{}f} {}", value, value < 10 ? 2 : value < 100 ? 1 : 0, unit);
  const char* scale = "";
  for (const char* next : {"K ", "M ", "G "}) {
    if (value < 1000) break;
    value /= 1000;
    scale = next;
  }
  return fmt::format("{:.3g} {}{}", value, scale, unit);
}

struct Measured {
  double ours = 0;
  std::optional<double> peer = {};
};

Measured measure(const Row& row, int rounds) {
  rounds = std::min(rounds, row.mostRounds);
  if (row.mostRounds > 1) {
    row.ours();
    if (row.peer) row.peer();
  }
  std::vector<double> ours;
  std::vector<double> peer;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(row.ours());
    if (row.peer) peer.push_back(row.peer());
  }
  Measured measured{.ours = median(ours)};
  if (row.peer) measured.peer = median(peer);
  return measured;
}

void line(std::string_view name, std::string_view ours, std::string_view beside, std::string_view ratio,
          std::string_view goal, std::string_view met) {
  fmt::print(fmt::runtime(layout), name, ours, beside, ratio, goal, met);
  std::fflush(stdout);
}

}  // namespace

std::size_t Table::print(const std::vector<std::string>& filters, int rounds) const {
  std::size_t missed = 0;
  line("what", "ours", "beside", "ratio", "goal", "met");
  for (const Row& row : rows_) {
    if (!named(row, filters)) continue;
    try {
      const Measured measured = measure(row, std::max(rounds, 1));
      const double ratio = measured.peer ? measured.ours / *measured.peer : 0;
      const double compared = measured.peer && !row.goalIsAbsolute ? ratio : measured.ours;
      const bool met = row.direction == Goal::atLeast ? compared >= row.goal : compared <= row.goal;
      missed += met ? 0 : 1;
      const std::string bound = row.direction == Goal::atLeast ? ">= " : "<= ";
      line(row.name, figure(measured.ours, row.unit),
           measured.peer ? row.peerName + "  " + figure(*measured.peer, row.unit) : "",
           measured.peer ? fmt::format("{:.2f}", ratio) : "", bound + fmt::format("{:g}", row.goal),
           met ? "yes" : "no");
    } catch (const Unmeasured& reason) {
      line(row.name, "", "", "", "", "not measured: " + reason.message);
    }
  }
  return missed;
}

}  // namespace vale::bench
