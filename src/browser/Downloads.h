#pragma once

#include "browser/DownloadedFile.h"
#include "common/DeferredFile.h"
#include "common/Json.h"
#include "common/Published.h"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vale {

class Preferences;

enum class DownloadState { running, paused, finished, failed, cancelled };
template <>
inline constexpr auto rawValues<DownloadState> =
    std::to_array<RawValue<DownloadState>>({{DownloadState::running, "running"},
                                            {DownloadState::paused, "paused"},
                                            {DownloadState::finished, "finished"},
                                            {DownloadState::failed, "failed"},
                                            {DownloadState::cancelled, "cancelled"}});

struct Download {
  Uuid id;
  std::string url;
  std::filesystem::path destination;
  DownloadState state = DownloadState::running;
  Date startedAt;
  std::optional<Date> endedAt;
  std::int64_t bytesReceived = 0;
  std::optional<std::int64_t> bytesExpected;
  std::optional<std::string> error;  ///< why it failed, a sentence for the user

  bool hasEnded() const { return state != DownloadState::running && state != DownloadState::paused; }
  bool operator==(const Download&) const = default;
};
BOOST_DESCRIBE_STRUCT(Download, (),
                      (id, url, destination, state, startedAt, endedAt, bytesReceived, bytesExpected, error))

/// How long a download is remembered: those of private windows end with the run.
enum class DownloadMemory { lasting, thisRun };

/// What was downloaded, and what is on its way: the list, and the place of each file, which is a
/// `PartialFile` until it is whole; the engine does the rest. Main thread; the list's file and those of the
/// downloads are touched on a queue of their own. A download that was under way when Vale ended is found
/// failed. A file that could not be read is never written.
class Downloads {
 public:
  /// Ended downloads beyond this number leave the list, the oldest first.
  static constexpr std::size_t limit = 1'000;

  /// The setting that names the folder for downloads, an absolute path.
  static constexpr std::string_view directoryKey = "ValeDownloadsDirectory";

  /// Reads the list at once. Without a directory the one that the settings name at the time is used, else the
  /// user's own. The preferences must outlive this.
  Downloads(std::optional<std::filesystem::path> directory, const Preferences& preferences,
            std::filesystem::path file, Surroundings surroundings);
  Downloads(const Downloads&) = delete;
  Downloads& operator=(const Downloads&) = delete;

  std::filesystem::path directory() const;

  /// In the order of their start.
  const Published<std::vector<Download>>& downloads() const { return downloads_; }

  using Begun = std::function<void(std::expected<Download, std::string>)>;

  /// Adds a running download whose file has a name of its own in the directory, as near as possible to the
  /// one that the server suggests. `done` gets it later on the main thread, or the sentence why it cannot be;
  /// the list then has it as failed.
  void begin(const std::string& url, std::string suggestedName, DownloadMemory memory, Begun done);

  /// The same at a place that the user chose, whose folder must exist; a file that is there is replaced once
  /// the new one is whole.
  void beginAt(const std::string& url, std::filesystem::path chosen, DownloadMemory memory, Begun done);

  /// Where the engine is to write a running download, as a new file.
  static std::filesystem::path partialFile(const Download& download);

  /// The engine has written the whole file: moves it to its name, or the next one that is free, and then
  /// calls the download finished, or failed.
  void complete(const Uuid& id);

  /// A download that failed before it had a file.
  void addFailed(const std::string& url, const std::string& name, DownloadMemory memory, std::string error);

  /// How long a download of the list is remembered.
  DownloadMemory memory(const Uuid& id) const;

  /// What stands at a download's place now; `done` is called later on the main thread.
  void examine(const Download& download, std::function<void(DownloadedFile)> done) const;

  /// Removes what a crash left of unfinished downloads in the directory and beside the failed ones of the
  /// list.
  void removeLeftovers() const;

  /// Bytes so far and in all. Not written by itself: the next change of state brings it along.
  void noteProgress(const Uuid& id, std::int64_t received, std::optional<std::int64_t> expected);

  /// A download that has ended stays as it ended; `error` says why it failed. What there is of the file of
  /// one that fails or is cancelled is removed.
  void setState(const Uuid& id, DownloadState state, std::optional<std::string> error = {});

  /// Takes ended downloads off the list; their files stay.
  void remove(const Uuid& id);
  void removeEnded(DownloadMemory memory);

  /// Why the list could not be read or written, a sentence for the user.
  const Published<std::optional<std::string>>& storageError() const { return storageError_; }

  /// Writes what waits to be written and removes what is to be removed, for termination.
  void save();

 private:
  enum class Saving { no, yes };
  struct Places;
  struct Beginning;

  void add(Beginning beginning, Begun done);
  void keep(Download download, DownloadMemory memory);
  void finish(const Uuid& id, std::expected<std::filesystem::path, std::string> moved);
  void set(std::vector<Download> downloads, Saving saving);

  std::optional<std::filesystem::path> directory_;
  const Preferences& preferences_;
  Surroundings surroundings_;
  SerialQueue queue_;
  Published<std::vector<Download>> downloads_;
  std::set<Uuid> unsaved_;
  json::array unknown_;
  Published<std::optional<std::string>> storageError_;
  std::unique_ptr<DeferredFile> file_;  ///< null when nothing is to be written
  std::shared_ptr<Places> places_;      ///< touched on the queue only
  std::shared_ptr<Downloads*> self_;
};

}  // namespace vale
