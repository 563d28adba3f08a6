#pragma once

#include "app/AgentConversation.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/ProjectFolderDialog.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale::gtk {

/// What happens between the turns and the composer: that the agent works and for how long, the choice of a
/// project where the router was not sure, and the requests that wait. Main thread only.
class AgentActivityView {
 public:
  struct Host {
    /// The words of a request that was taken back.
    std::function<void(const std::string& words)> takenBack;
    /// A waiting request is to be changed.
    std::function<void(const WaitingRequest&)> edit;
    std::function<void(const std::string& sentence)> failed;
  };

  /// All must outlive the view.
  AgentActivityView(AgentDesk& desk, AgentConversation& conversation, Host host);
  ~AgentActivityView();
  AgentActivityView(const AgentActivityView&) = delete;
  AgentActivityView& operator=(const AgentActivityView&) = delete;

  GtkWidget* widget() const { return box_.get(); }
  void refresh();

 private:
  /// By a button, whose successor gets the keyboard.
  struct Moved {
    Uuid id;
    bool earlier;
  };

  void showWork(const AgentActivity& activity);
  void showTime();
  void showChoice(const AgentActivity& activity);
  void showQueue();
  void showWaiting(std::size_t index);
  void move(std::size_t index, std::size_t to);
  GtkWidget* button(GtkWidget* box, const char* label, const char* tip, std::function<void()> work);

  AgentDesk& desk_;
  AgentConversation& conversation_;
  Host host_;
  ProjectFolderDialog other_;
  GObjectPointer<GtkWidget> box_;
  GtkWidget* work_;
  GtkSpinner* spinner_;
  GtkLabel* sentence_;
  GtkWidget* choice_;
  GtkWidget* queue_;
  GtkWidget* lines_;
  AgentActivity shown_;
  std::vector<WaitingRequest> shownQueue_;
  std::string shownPause_;
  Timer tick_;
  Connections connections_, choices_, lineClicks_;
  std::vector<Connection>* adding_ = nullptr;
  std::optional<Moved> moved_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
