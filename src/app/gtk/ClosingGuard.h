#pragma once

#include "app/gtk/EngineDownloads.h"
#include "browser/BrowserWindows.h"

#include <cstddef>
#include <functional>

namespace vale::gtk {

/// Asks before a window closes, or the program ends, with downloads that would end with it. Main thread only.
class ClosingGuard {
 public:
  /// It is the one that `windows.mayClose` asks from here on, and must outlive the windows.
  ClosingGuard(EngineDownloads& downloads, BrowserWindows& windows);
  ClosingGuard(const ClosingGuard&) = delete;
  ClosingGuard& operator=(const ClosingGuard&) = delete;

  /// False when a question was put instead; `goOn` then runs once it is answered with yes.
  bool mayEnd(std::function<void()> goOn);

 private:
  bool mayClose(const BrowserWindows::Entry& entry);
  void ask(GtkWindow* over, std::size_t running, std::function<void()> goOn);

  EngineDownloads& downloads_;
  BrowserWindows& windows_;
  bool asking_ = false;
  bool agreed_ = false;
  Connection response_;
};

}  // namespace vale::gtk
