#pragma once

#include "agents/AgentHubTypes.h"
#include "agents/AgentQueues.h"
#include "agents/AgentRuntime.h"
#include "agents/AgentThreadStore.h"
#include "agents/ProjectCheckpoints.h"
#include "agents/TurnEnd.h"

#include <sigc++/signal.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// Makes conversations out of runs: turns wait in one line for each project folder and each page
/// conversation, go on with the CLI's own session, and are kept with all that the agent said and did. Main
/// thread; files are read and written elsewhere.
///
/// A thread is in memory only while a turn of it runs or something of it is not yet on disk. A crash loses
/// the last second of a running turn; at the next start that turn is found failed, and what waited still
/// waits, paused. Several Vales may use one support folder, but for the file of queued requests: a lock for
/// each line lets one turn run in it at a time.
class AgentHub {
 public:
  struct Places {
    std::filesystem::path supportFolder;
    /// Where work goes that belongs to no project.
    std::filesystem::path anywhereFolder;
    /// Where requests that wait are kept; none: nowhere.
    std::optional<std::filesystem::path> queueFile;
    /// What git is found with when a project's files are kept aside.
    EnvironmentVariables environment;
  };
  struct Services {
    /// Finds out where a request belongs; throws Error with the sentence for the user. Not set: the user
    /// chooses each time.
    std::function<Task<RoutedRequest>(QueuedRequest)> route;
    /// For conversations that were not begun with a provider of their own.
    std::function<AgentProvider()> usualProvider;
  };
  static constexpr std::string_view pagesFolder = "PageConversations";
  static constexpr std::string_view queueFileName = "queue.json";
  /// How long a turn waits before it looks again whether another Vale has left its folder.
  static constexpr Seconds otherValeDelay{1.0};

  /// `agents` and what `surroundings` refers to must outlive the hub.
  AgentHub(Places places, Services services, AgentRuntime& agents, Surroundings surroundings);
  /// Runs under way are cancelled. Drops what is not written: call `save` before.
  ~AgentHub();
  AgentHub(const AgentHub&) = delete;
  AgentHub& operator=(const AgentHub&) = delete;

  // The conversations.

  /// Reads all threads, or `only` those, and ends the turns that were running when their Vale stopped. Call
  /// once, before anything is sent. Throws FileError when the folder cannot be listed.
  Task<> load(std::optional<std::vector<Uuid>> only = {});
  const std::map<Uuid, ThreadSummary>& threads() const { return summaries_; }
  /// As it stands at this moment, a running turn included; none when it cannot be read.
  Task<std::optional<AgentThread>> thread(Uuid id);
  /// Deletes a conversation with its attachments, what waits for it and its undo; a running turn is
  /// cancelled.
  Task<> removeThread(Uuid id);

  // Requests.

  /// Puts a request at the end of its line; its turn begins at once when nothing is before it. Images are
  /// moved into the conversation's keeping. Throws Error, with nothing sent, when the conversation is not
  /// there, a file cannot be taken, or there are no words.
  Task<SentRequest> send(RequestDestination destination, UserRequest request);
  /// The lines of waiting requests, by `ThreadSummary::queue`, and why one is paused.
  const AgentQueues& queues() const { return queues_; }
  /// Changes what still waits; false when its turn has begun, it is gone, or there are no words.
  bool edit(const Uuid& request, std::string prompt, std::optional<AgentAccess> access = {});
  bool move(const Uuid& request, std::size_t index);
  bool remove(const Uuid& request);
  /// A paused line goes on.
  void resume(const std::string& queue);
  /// The turn under way goes on, the next one does not begin.
  void pause(const std::string& queue);
  /// Takes a waiting request first, also in a paused line, which stays paused behind it.
  void runNext(const Uuid& request);
  /// Sends an ended turn's request once more, before all that waits. Throws Error when there is no such turn.
  Task<SentRequest> retry(Uuid thread, Uuid turn, TurnSession session);

  // Requests that have yet to find their conversation: the waiting ones of the line with the empty name.

  const std::map<Uuid, RequestRouting>& routings() const { return routings_; }
  void routeAgain(const Uuid& request);
  void chooseProject(const Uuid& request, const std::filesystem::path& folder, const std::string& name);
  void choosePage(const Uuid& request);

  // Turns.

  /// The turn under way in a line; null when there is none.
  const LiveTurn* live(std::string_view queue) const;
  /// Ends the turn under way; what waits behind it stays, paused.
  void cancel(const std::string& queue);

  /// What a turn did to its project's files; without a turn the last one that could write. Throws Error.
  Task<ProjectChanges> changes(Uuid thread, std::optional<Uuid> turn = {});
  /// Puts files back as they were before the turn (CheckpointStore::undo). No turn runs in the folder
  /// meanwhile. Throws Error.
  Task<UndoResult> undo(Uuid thread, std::optional<Uuid> turn = {},
                        std::optional<std::vector<std::filesystem::path>> paths = {});
  /// Takes the latest undo of a turn back. Throws Error.
  Task<UndoResult> redo(Uuid thread, std::optional<Uuid> turn = {});

  // What views follow.

  /// The list of threads, or a summary in it.
  sigc::signal<void()>& threadsChanged() { return threadsChanged_; }
  /// A line, its pause or the step of a routing.
  sigc::signal<void(const std::string&)>& queueChanged() const { return queues_.changed(); }
  /// The live turn of a thread: it began, went on (at most every AgentRun::flushDelay) or ended.
  sigc::signal<void(const Uuid&)>& turnChanged() { return turnChanged_; }
  sigc::signal<void(const TurnEnd&)>& turnEnded() { return turnEnded_; }
  /// Why a conversation is not on disk, a sentence for the user; for what waits see `queues`.
  const Published<std::optional<std::string>>& storageError() const { return storageError_; }

  /// Writes what waits to be written and waits for it: for termination.
  void save();

 private:
  /// A thread in memory.
  struct Open {
    AgentThread thread;
    int writes = 0;  ///< asked for and not yet heard of
    std::optional<std::string> failure;
    std::vector<Uuid> unwritten;  ///< turns that were not on disk before
    std::shared_ptr<TurnLock> lock;
  };
  using Weak = std::weak_ptr<AgentHub*>;

  // Threads in memory and on disk.
  Open& open(AgentThread thread);
  void close(const Uuid& id);
  void saveNow(Open& open);
  void saveSoon(const Uuid& id);
  void written(const Uuid& id, const std::optional<std::string>& error);
  void summarise(const AgentThread& thread);
  std::shared_ptr<LiveTurn> liveOf(const Uuid& thread) const;
  const ThreadSummary& summary(const Uuid& thread) const;
  void giveBack(std::shared_ptr<TurnLock> lock);
  Task<std::shared_ptr<TurnLock>> lock(std::string queue);
  Task<> endInterrupted(AgentThread thread);

  // Turns.
  void spawn(Task<> task);
  void advance(const std::string& queue);
  Task<> prepare(std::shared_ptr<LiveTurn> turn);
  void start(const std::shared_ptr<LiveTurn>& turn, std::filesystem::path folder);
  void finishRun(const std::shared_ptr<LiveTurn>& turn, const AgentRun* run, const std::string& failure);
  Task<> end(std::shared_ptr<LiveTurn> turn);
  void putBack(const std::shared_ptr<LiveTurn>& turn, QueuePause pause);
  AgentTurn& turnOf(const LiveTurn& turn);

  // Routing.
  void startRouting(const Uuid& request);
  Task<> route(QueuedRequest request, int attempt);
  void address(QueuedRequest request, AgentThread::Kind kind, const std::filesystem::path& folder,
               std::string title);
  AgentThread newThread(const QueuedRequest& request, AgentThread::Kind kind, std::filesystem::path folder,
                        std::string title) const;

  // Undo.
  struct UndoTarget {
    std::string queue;
    Uuid turn;
  };
  Task<UndoTarget> undoTarget(Uuid thread, std::optional<Uuid> turn);
  Task<UndoResult> undo(UndoTarget target, Uuid checkpoint,
                        std::optional<std::vector<std::filesystem::path>> paths);

  const Places places_;
  const Services services_;
  AgentRuntime& agents_;
  Surroundings surroundings_;
  AgentThreadStore store_;
  ProjectCheckpoints checkpoints_;
  AgentQueues queues_;
  std::map<Uuid, ThreadSummary> summaries_;
  std::map<Uuid, Open> open_;
  std::map<std::string, std::shared_ptr<LiveTurn>, std::less<>> live_;
  /// The locks that are held, by line.
  std::map<std::string, std::weak_ptr<TurnLock>> locks_;
  std::map<Uuid, RequestRouting> routings_;
  std::map<Uuid, int> attempts_;
  std::set<std::string> undoing_;
  /// Requests that are to run even where their line is paused.
  std::set<Uuid> urgent_;
  std::set<Uuid> removed_;
  Published<std::optional<std::string>> storageError_;
  sigc::signal<void()> threadsChanged_;
  sigc::signal<void(const Uuid&)> turnChanged_;
  sigc::signal<void(const TurnEnd&)> turnEnded_;
  std::vector<Subscription> subscriptions_;
  /// Outlived by work that is still queued: it looks here first.
  std::shared_ptr<AgentHub*> self_;
};

}  // namespace vale
