#pragma once

#include "agents/QueuedRequest.h"
#include "common/DeferredFile.h"
#include "common/Published.h"

#include <sigc++/signal.h>

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// Why a queue does not go on by itself.
enum class QueuePause {
  byUser,
  turnCancelled,
  turnFailed,
  restarted,      ///< its requests were sent before Vale was last started
  threadMissing,  ///< the conversation of its first request cannot be read
};

/// The requests that wait, in the order in which they will be run: one line for each project folder and each
/// page conversation, and one, with an empty name, for those that have yet to be routed. Main thread. What
/// the user has typed is never lost: the list is kept in a file, written shortly after each change, and a
/// request stays in that file until `forget` says that its turn is on disk. A file that could not be read is
/// never written.
class AgentQueues {
 public:
  /// Reads the file at once; whatever waits in it is paused. Without a file nothing is kept.
  AgentQueues(std::optional<std::filesystem::path> file, Surroundings surroundings);
  AgentQueues(const AgentQueues&) = delete;
  AgentQueues& operator=(const AgentQueues&) = delete;

  /// The names of the lines in which something waits.
  std::vector<std::string> names() const;
  bool waits(std::string_view queue) const;
  std::vector<QueuedRequest> waiting(std::string_view queue) const;
  /// Null when it does not wait (any more). Valid until the next change.
  const QueuedRequest* find(const Uuid& id) const;
  /// The one whose turn is next; null when nothing waits. Valid until the next change.
  const QueuedRequest* first(std::string_view queue) const;

  void append(QueuedRequest request);
  /// Each gives false when the request does not wait any more.
  bool edit(const Uuid& id, std::string prompt, std::optional<AgentAccess> access = {});
  /// To the place `index` of its line, or to the end of it.
  bool move(const Uuid& id, std::size_t index);
  bool remove(const Uuid& id);
  /// Replaces the request with the same id, at the end of its new line.
  bool readdress(QueuedRequest request);

  /// Takes the first of a line out of it, for its turn to begin.
  std::optional<QueuedRequest> begin(std::string_view queue);
  /// A begun request whose turn could not begin waits again, as the first of its line.
  void putBack(const Uuid& id);
  /// The turn of a begun request is on disk.
  void forget(const Uuid& id);

  /// Only a line in which something waits is ever paused.
  std::optional<QueuePause> pause(std::string_view queue) const;
  void setPause(const std::string& queue, std::optional<QueuePause> pause);

  /// Fired with the line's name after each change of it or of its pause.
  sigc::signal<void(const std::string&)>& changed() const { return changed_; }

  /// Why the file could not be read or written, a sentence for the user.
  const Published<std::optional<std::string>>& storageError() const { return storageError_; }
  /// Writes what waits to be written, for termination.
  void save();

 private:
  std::vector<QueuedRequest>::iterator position(const Uuid& id);
  void changedIn(const std::string& queue);

  std::vector<QueuedRequest> waiting_;
  std::vector<QueuedRequest> begun_;
  json::array unknown_;
  std::map<std::string, QueuePause, std::less<>> pauses_;
  mutable sigc::signal<void(const std::string&)> changed_;
  Published<std::optional<std::string>> storageError_;
  std::unique_ptr<DeferredFile> file_;  ///< null when nothing is to be written
};

}  // namespace vale
