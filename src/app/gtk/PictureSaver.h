#pragma once

#include "app/gtk/BrowserWindow.h"
#include "app/gtk/PaintWatch.h"
#include "common/Clock.h"
#include "common/Queues.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace vale::gtk {

/// Saves pictures of one window to one file: taken on the main thread once the page is painted, compressed
/// and written on a worker. A crash leaves the picture before or the new one.
class PictureSaver {
 public:
  /// A sentence, when the file could not be written.
  using Problem = std::optional<std::string>;

  PictureSaver(BrowserWindow& window, std::filesystem::path file, Clock& clock, MainQueue main,
               SerialQueue writing);

  /// `saved` is called on the main thread. A call before the picture of an earlier one is taken replaces
  /// that.
  void save(std::function<void(Problem)> saved);

 private:
  BrowserWindow& window_;
  std::filesystem::path file_;
  MainQueue main_;
  SerialQueue writing_;
  PaintWatch watch_;
};

}  // namespace vale::gtk
