#pragma once

#include "agents/AgentThread.h"
#include "common/Queues.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct stat;

namespace vale {

/// The folder of threads: "<UUID>.json" for each, and the files of its turns in "Attachments/<UUID>". Blocks
/// on the disk, so it belongs on a worker queue; calls must not overlap. Every file is replaced whole, so a
/// crash leaves the old one or the new one. Several programs may use the folder at once: of two that write
/// one thread the last one wins, but for turns that only the other one has, which are kept.
class AgentThreadFolder {
 public:
  /// Its name in the support folder.
  static constexpr std::string_view folderName = "Threads";
  /// A larger file is passed over.
  static constexpr std::size_t maximumFileSize = 67'108'864;

  /// With `workers` all threads are read side by side on them; they must outlive the object. `sizeLimit` is
  /// what counts as too large, in bytes.
  explicit AgentThreadFolder(std::filesystem::path directory, WorkerPool* workers = nullptr,
                             std::size_t sizeLimit = maximumFileSize);

  const std::filesystem::path& directory() const { return directory_; }

  /// Every thread that can be read, in no order. A file that cannot is named in the log and left in place.
  /// A file name may have its UUID in lower case; when it is there in both, the upper-case one counts.
  /// A missing folder has no threads. Throws FileError when there is one that cannot be listed.
  std::vector<AgentThread> readAll();

  /// The same one by one, for who needs little of each: no more threads are in memory than are being read.
  /// `take` is called by one thread of the pool at a time.
  void forEachThread(const std::function<void(AgentThread)>& take);

  /// One thread, or none when there is none or it cannot be read; the log names it then. `text` gets the
  /// bytes of its file.
  std::optional<AgentThread> read(const Uuid& id, std::string* text = nullptr);

  /// Writes a thread's file. One that would be too large to be read back is written without the outputs,
  /// diffs and reasoning of its oldest turns. Throws FileError, and Error when it is too large even so.
  void write(const AgentThread& thread);

  /// Deletes the thread's file and its attachments. Harmless when there is none. Throws FileError.
  void remove(const Uuid& id);

  /// Deletes the files of threads that cannot be read, with their attachments; with a date only those that
  /// were modified then or later. Gives how many; what cannot be listed or deleted ends it early.
  int removeUnreadable(std::optional<Date> since);

  /// Moves files into the thread's attachments, readable by the owner only, and gives their new places in the
  /// same order. A name that is taken gets a number ("plan-2.png"); a file that is there already stays. From
  /// another device a file is copied and then deleted; where the source cannot be deleted it stays. Only
  /// regular files are taken: a symbolic link is refused, since what it leads to would not come along or is
  /// not the user's to move. Throws FileError when a file cannot be taken; none has moved then.
  std::vector<std::filesystem::path> adopt(const std::vector<std::filesystem::path>& files, const Uuid& id);

  std::filesystem::path file(const Uuid& id) const;
  std::filesystem::path attachments(const Uuid& id) const;

 private:
  /// The state of a file by which another program's change shows.
  struct Stamp {
    std::int64_t modified = 0;  ///< nanoseconds since 1970
    std::uint64_t inode = 0;
    std::uint64_t size = 0;

    bool operator==(const Stamp&) const = default;
  };
  struct Reading;

  Reading readFile(const std::filesystem::path& file, const Uuid& id) const;
  static Stamp stampOf(const struct ::stat& status);
  static std::optional<Stamp> stampOf(const std::filesystem::path& file);
  std::vector<std::pair<Uuid, std::string>> list() const;
  Reading readFirst(const std::vector<std::string>& names, const Uuid& id) const;
  /// The turns of the thread's file that the thread lacks, if another program has written it meanwhile.
  std::vector<AgentTurn> turnsOfOthers(const AgentThread& thread) const;
  bool removeAttachments(const Uuid& id) const;

  std::filesystem::path directory_;
  WorkerPool* workers_;
  std::size_t sizeLimit_;
  /// Of the files as they were read or written last; none for one that held turns of another program then.
  std::map<Uuid, std::optional<Stamp>> stamps_;
};

}  // namespace vale
