#pragma once

#include "common/Clock.h"
#include "common/Json.h"
#include "common/Queues.h"

#include <sigc++/signal.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// The user's settings: one JSON object in one file, keys such as "ValeSleepTabs" at its top level. Lives on
/// the main thread and writes on a queue of its own, shortly after the last change; a crash loses at most
/// that moment's changes. Keys that it does not know, or whose value does not fit, are kept as they are and
/// in order. A file that could not be read is never written: the settings then live in memory for the rest of
/// the run.
class Preferences {
 public:
  /// How long a change waits for the next one before the file is written.
  static constexpr Seconds writeDelay{0.2};

  /// The content of a settings file, for programs that only look: empty when there is none, or the sentence
  /// for the user when it cannot be read.
  static std::expected<json::object, Error> read(const std::filesystem::path& file);

  /// Reads the file at once. `workers` and `clock` must outlive the object.
  Preferences(std::filesystem::path file, MainQueue main, WorkerPool& workers, Clock& clock);

  /// Drops changes that wait to be written: call `save` before.
  ~Preferences();
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;

  /// The value of a key, or none when it is absent or of another type.
  std::optional<bool> boolean(std::string_view key) const;
  std::optional<double> number(std::string_view key) const;
  std::optional<std::string> string(std::string_view key) const;
  std::optional<std::vector<std::string>> strings(std::string_view key) const;

  /// The value as it stands, of any type; null when absent. Valid until the next change.
  const json::value* value(std::string_view key) const;

  /// Nothing happens when the key already has this value. A new key goes to the end.
  void set(std::string_view key, json::value value);
  void remove(std::string_view key);

  /// Fired with the key after each change of its value.
  sigc::signal<void(const std::string&)>& changed() { return changed_; }

  /// Writes what is not yet in the file and waits for it: for termination. Blocks the main thread.
  void save();

  /// Why the file could not be read, a sentence for the user; none when it could.
  const std::optional<std::string>& readError() const { return readError_; }

  /// Why the last write failed, a sentence for the user; none once a write succeeds.
  const std::optional<std::string>& writeError() const { return writeError_; }

  /// Fired when `writeError` changes.
  sigc::signal<void()>& writeErrorChanged() { return writeErrorChanged_; }

 private:
  struct Outcome;

  void valueChanged(std::string_view key);
  void write();
  void finishWrite(const Outcome& outcome);

  std::filesystem::path file_;
  MainQueue main_;
  WorkerPool& workers_;
  SerialQueue queue_;
  Clock& clock_;
  json::object values_;
  std::optional<std::string> readError_;
  std::optional<std::string> writeError_;
  std::uint64_t revision_ = 0;
  std::uint64_t savedRevision_ = 0;
  std::uint64_t finishedRevision_ = 0;
  Timer timer_;
  sigc::signal<void(const std::string&)> changed_;
  sigc::signal<void()> writeErrorChanged_;
  std::shared_ptr<Preferences*> self_;
};

}  // namespace vale
