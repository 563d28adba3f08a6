#pragma once

#include "app/AgentDesk.h"
#include "app/AgentRows.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What happens in the conversation that a window shows, and what can be done about it.
struct AgentActivity {
  enum class Step {
    idle,
    routing,   ///< it is being found out where the request belongs
    choosing,  ///< the user chooses; `offers` are the likeliest
    working,   ///< a turn is under way
    stopping,
  };

  Step step = Step::idle;
  std::string sentence;                      ///< what happens, or what has to be chosen; empty when idle
  std::string reason;                        ///< of a choice
  std::vector<TurnRoutingAlternate> offers;  ///< of a choice
  bool canRouteAgain = false;
  std::optional<Date> since;

  bool operator==(const AgentActivity&) const = default;
};

/// A request that waits behind the turn under way.
struct WaitingRequest {
  Uuid id;
  std::string words;
  AgentAccess access = AgentAccess::readOnly;
  bool isHere = true;  ///< of this conversation; else of another one in the same project

  bool operator==(const WaitingRequest&) const = default;
};

/// The conversation that one window shows, or the new one that it is about to begin: its turns as rows, kept
/// up to date while the agent works, and what waits. Main thread only; nothing of it is kept.
class AgentConversation {
 public:
  /// The rows of one turn. The revision grows with each change of them.
  struct Turn {
    Uuid id;
    std::uint64_t revision = 0;
    std::vector<AgentRow> rows;
  };

  /// The desk must outlive the object.
  explicit AgentConversation(AgentDesk& desk);
  ~AgentConversation();
  AgentConversation(const AgentConversation&) = delete;
  AgentConversation& operator=(const AgentConversation&) = delete;

  /// Shows a conversation, or none: a new one.
  void show(std::optional<Uuid> thread);
  /// Of a request that has yet to be routed the id that its conversation will have.
  const std::optional<Uuid>& thread() const { return thread_; }
  /// Null for a new one, and until it is known where it belongs.
  const ThreadSummary* summary() const;

  /// Sends a request, in this conversation unless its destination says otherwise, and shows where it went.
  /// Throws Error with the sentence for the user.
  Task<> ask(AgentQuestion question);

  const std::vector<Turn>& turns() const { return turns_; }
  AgentActivity activity() const;
  std::vector<WaitingRequest> waiting() const;
  /// Why what waits does not go on by itself, a sentence; empty when it does.
  std::string pauseSentence() const;
  /// Why it is not on disk, or cannot be read; empty otherwise.
  std::string problem() const;

  void stop();
  void resume();
  /// The user's choice for a request that is to be routed.
  void chooseProject(const std::filesystem::path& folder);
  void choosePage();
  void routeAgain();
  /// Takes the request back that is to be routed, and gives its words.
  std::string takeBack();

  /// Carries out what a row offers.
  Task<> remedy(Uuid turn, AgentRow::Remedy remedy);
  /// Reads what a turn changed, so that its row shows it.
  void readChanges(const Uuid& turn);
  /// Puts the files of a turn back, all or those at `paths`; `redo` takes the latest undo back.
  void undo(const Uuid& turn, std::optional<std::vector<std::filesystem::path>> paths);
  void redo(const Uuid& turn);

  /// Another conversation is shown, or the rows of this one, its activity or what waits are others.
  sigc::signal<void()>& changed() { return changed_; }

 private:
  using Weak = std::weak_ptr<AgentConversation*>;
  using ChangesPointer = std::shared_ptr<const AgentTurnChanges>;
  enum class Way { back, forth };

  void spawn(Task<> task);
  Task<> read();
  void follow(const Uuid& thread);
  const LiveTurn* live() const;
  void noteThoughts(const LiveTurn& live);
  void fill(Turn& turn, const AgentTurn& record);
  void fillAll();
  void showPending();
  void refill(const Uuid& turn);
  void setChanges(const Uuid& turn, AgentTurnChanges changes);
  Task<> fetchChanges(Uuid turn);
  Task<> restore(Uuid turn, Way way, std::optional<std::vector<std::filesystem::path>> paths);
  std::string queue() const;

  AgentDesk& desk_;
  std::optional<Uuid> thread_;
  std::optional<AgentThread> record_;
  std::vector<Turn> turns_;
  std::uint64_t revisions_ = 0;
  /// Of the turns that were under way while they were shown, by thought.
  std::map<Uuid, std::map<std::string, ThinkingTime>> thinking_;
  std::map<Uuid, ChangesPointer> changes_;
  std::map<Uuid, bool> sessionsGone_;
  std::string readProblem_;
  bool reading_ = false;
  bool readAgain_ = false;
  sigc::signal<void()> changed_;
  std::vector<Subscription> subscriptions_;
  std::shared_ptr<AgentConversation*> self_;
};

}  // namespace vale
