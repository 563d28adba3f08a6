#pragma once

#include "common/DeferredFile.h"
#include "common/Published.h"
#include "intelligence/TabGroupingState.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// The grouping's file: read once, written on a queue of its own after changes. One that is broken, or was
/// written by a newer Vale, is told of and never written in this run. Main thread only.
class TabGroupingFile {
 public:
  static constexpr std::size_t largestFile = 16 << 20;

  /// Reads the file at once. `present` gives the state to write.
  TabGroupingFile(std::filesystem::path file, Surroundings surroundings,
                  std::function<TabGroupingState()> present);

  /// What the file held at the start; empty without one, or when it could not be read.
  const TabGroupingState& contents() const { return contents_; }

  /// The state has changed.
  void schedule();
  /// Writes what is not in the file yet, and waits for it.
  void save();

  /// Why the grouping is not being kept, a sentence for the user.
  const Published<std::optional<std::string>>& error() const { return error_; }

  struct Decoded {
    TabGroupingState state;
    bool wasOlder = false;  ///< it was in the older layout
  };
  /// What the bytes hold, with every tab in one place and every group with an identity of its own. Throws
  /// DecodeError.
  static Decoded decode(std::string_view bytes);
  static std::string encode(const TabGroupingState& state);

 private:
  TabGroupingState contents_;
  Published<std::optional<std::string>> error_;
  std::unique_ptr<DeferredFile> file_;  ///< null when nothing is to be written
};

}  // namespace vale
