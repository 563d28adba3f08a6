#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace vale::bench {

/// A page on this machine that reports when a browser has painted it: the second animation frame after its
/// content comes once the first is on its way to the screen.
class PaintedPage {
 public:
  PaintedPage();
  ~PaintedPage();

  std::string address() const;

  /// Serves the page until a browser reports that it painted. Throws Unmeasured when none does within
  /// `limit`.
  void awaitPaint(std::chrono::seconds limit);

 private:
  struct Server;
  std::unique_ptr<Server> server_;
};

}  // namespace vale::bench
