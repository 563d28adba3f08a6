#pragma once

#include "common/Error.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// How fast Vale is beside the best that this machine can do. To add rows, write `void
/// addSomethingRows(Table&)` in a file of its own and name it in Rows.h and main.cpp.
namespace vale::bench {

/// Which side of the goal is the good one.
enum class Goal { atLeast, atMost };

/// One line of the table. `ours` and `peer` each take one measurement and return it in `unit`. The first of
/// each only warms up and is not counted: what a row needs (a file, a server) is best made there.
struct Row {
  std::string name;  ///< "stream lines to events"
  std::string unit;  ///< "lines/s", "ms"
  std::function<double()> ours = {};
  std::string peerName = {};  ///< "Boost.JSON, bare parse"
  std::function<double()> peer = {};
  Goal direction = Goal::atMost;
  double goal = 1;              ///< bounds ours / peer; without a peer, ours itself
  bool goalIsAbsolute = false;  ///< bounds ours, whatever the peer does
  int mostRounds = 1000;        ///< 1: measured once, without warming up
};

/// Thrown by a measurement that cannot be taken on this machine; the message stands in the row instead of
/// figures.
struct Unmeasured : Error {
  using Error::Error;
};

/// The rows, measured one after another on the calling thread. Ours and its peer take turns, so that a
/// machine that slows down slows both; the medians are compared.
class Table {
 public:
  void add(Row row) { rows_.push_back(std::move(row)); }

  /// Measures the rows whose name holds one of `filters` (all of them when there is none), `rounds` times
  /// each, and prints each line as soon as it is known. Returns how many rows were measured and missed their
  /// goal.
  std::size_t print(const std::vector<std::string>& filters, int rounds) const;

 private:
  std::vector<Row> rows_;
};

/// The seconds that `work` takes.
template <typename Work> double secondsOf(Work&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Keeps the compiler from dropping the computation of `value`.
template <typename Value> void keep(const Value& value) { asm volatile("" : : "g"(&value) : "memory"); }

}  // namespace vale::bench
