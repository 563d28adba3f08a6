#pragma once

#include "agents/AgentThread.h"
#include "common/Surroundings.h"

#include <sigc++/signal.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

class AgentThreadFolder;

/// The threads folder for the models of the main thread. All work on files runs on one serial queue, in the
/// order of the calls; what each does is said at AgentThreadFolder. A crash loses the last second of what
/// `saveSoon` was told, and never a file.
class AgentThreadStore {
 public:
  /// How long a change waits for others before the thread is written.
  static constexpr Seconds saveDelay{1.0};

  /// What `surroundings` refers to must outlive the object and the operations under way. Makes nothing on the
  /// disk.
  AgentThreadStore(std::filesystem::path directory, Surroundings surroundings);

  /// Drops what `saveSoon` still has to write: call `flush` before.
  ~AgentThreadStore();
  AgentThreadStore(const AgentThreadStore&) = delete;
  AgentThreadStore& operator=(const AgentThreadStore&) = delete;

  const std::filesystem::path& directory() const { return directory_; }
  /// "Attachments/<UUID>" in the directory.
  std::filesystem::path attachments(const Uuid& id) const;

  /// Every thread that can be read, in no order. Throws FileError when the folder is there and cannot be
  /// listed.
  Task<std::vector<AgentThread>> loadAll();

  /// One thread as it stands in its file, or none.
  Task<std::optional<AgentThread>> load(Uuid id);

  /// Writes a thread now; what `saveSoon` was told of it before is covered by this.
  void save(AgentThread thread);

  /// Something of a thread has changed, perhaps many times a second: `content` is asked on the main thread
  /// `saveDelay` after the first such call since the last write, or later when that write still lasts. None:
  /// there is nothing to write any more.
  using Content = std::function<std::optional<AgentThread>()>;
  void saveSoon(const Uuid& id, Content content);

  /// Deletes a thread and its attachments, and what was to be saved of it.
  void remove(const Uuid& id);

  /// Deletes thread files that cannot be read, with a date those modified then or later; gives how many.
  Task<int> removeUnreadable(std::optional<Date> since);

  /// Moves files into the thread's attachments and gives their new places. Throws FileError.
  Task<std::vector<std::filesystem::path>> adopt(std::vector<std::filesystem::path> files, Uuid id);

  /// Writes what waits to be saved and waits for everything asked before: for termination, before the pool
  /// stops.
  void flush();

  /// Told on the main thread for each write and deletion that ended: the thread, and why it failed, a
  /// sentence for the user, or none.
  sigc::signal<void(const Uuid&, const std::optional<std::string>&)>& finished() { return finished_; }

 private:
  /// What waits to be saved of one thread.
  struct Pending {
    Content content;
    Timer timer;
    bool isDue = false;  ///< and waits for the write under way
  };
  using Work = std::function<void(AgentThreadFolder&)>;

  void saveDue(const Uuid& id);
  void perform(const Uuid& id, Work work);
  void finish(const Uuid& id, const std::optional<std::string>& error);

  std::filesystem::path directory_;
  Surroundings surroundings_;
  SerialQueue queue_;
  std::shared_ptr<AgentThreadFolder> folder_;
  std::map<Uuid, Pending> pending_;
  /// The writes and deletions under way, by thread.
  std::map<Uuid, int> underWay_;
  sigc::signal<void(const Uuid&, const std::optional<std::string>&)> finished_;
  std::shared_ptr<AgentThreadStore*> self_;
};

}  // namespace vale
