#pragma once

#include "common/Surroundings.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vale {

/// Writes a model's file for it: privately, on a serial queue, once for many changes that follow each other.
/// Lives on the main thread. A crash loses at most the changes since the last write, and leaves the old file
/// or the new one.
class DeferredFile {
 public:
  /// How long a change waits for the next one before the file is written.
  static constexpr Seconds writeDelay{0.2};

  /// Makes the bytes of the file, on the queue: it holds a copy of what it encodes, and nothing else.
  using Encoding = std::function<std::string()>;

  /// `content` is asked on the main thread when it is time to write. `report` is told there why a write
  /// failed, a sentence for the user, or none after one that succeeded; what an older write has to say is
  /// dropped once there is a newer change.
  DeferredFile(std::filesystem::path file, SerialQueue queue, Surroundings surroundings,
               std::function<Encoding()> content, std::function<void(std::optional<std::string>)> report);

  /// Drops changes that wait to be written: call `save` before.
  ~DeferredFile();
  DeferredFile(const DeferredFile&) = delete;
  DeferredFile& operator=(const DeferredFile&) = delete;

  /// Something has changed: the file is written `writeDelay` after the last such call.
  void schedule();

  /// Writes what is not known to be in the file, and waits for it: for termination. It comes after the writes
  /// under way.
  void save();

  /// True while changes wait for their write to begin.
  bool pending() const { return timer_.pending(); }

 private:
  void write();
  void finish(std::uint64_t revision, std::optional<std::string> error);

  std::filesystem::path file_;
  SerialQueue queue_;
  Surroundings surroundings_;
  std::function<Encoding()> content_;
  std::function<void(std::optional<std::string>)> report_;
  std::uint64_t revision_ = 0;
  std::uint64_t savedRevision_ = 0;
  Timer timer_;
  std::shared_ptr<DeferredFile*> self_;
};

}  // namespace vale
