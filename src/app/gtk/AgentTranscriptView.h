#pragma once

#include "app/AgentConversation.h"
#include "app/gtk/AgentRowView.h"

#include <memory>
#include <vector>

namespace vale::gtk {

/// The turns of a conversation from top to bottom. Only rows that are others are changed, and the view stays
/// at the end only where it is there. Of a long conversation the last turns are shown, and more on demand.
/// Main thread only.
class AgentTranscriptView {
 public:
  explicit AgentTranscriptView(AgentRowHost host);
  ~AgentTranscriptView();
  AgentTranscriptView(const AgentTranscriptView&) = delete;
  AgentTranscriptView& operator=(const AgentTranscriptView&) = delete;

  GtkWidget* widget() const { return scroller_.get(); }

  /// Shows these turns; those of another conversation take the place of all.
  void show(const std::vector<AgentConversation::Turn>& turns);

 private:
  struct ShownTurn {
    Uuid id;
    std::uint64_t revision = 0;
    GtkWidget* box = nullptr;
    std::vector<std::unique_ptr<AgentRowView>> rows;
  };

  void fill(ShownTurn& shown, const AgentConversation::Turn& turn);
  void rebuild();
  void keepAtEnd();
  void goToEnd();

  const AgentRowHost host_;
  GObjectPointer<GtkWidget> scroller_;
  GtkBox* box_;
  GtkWidget* earlier_;
  GtkAdjustment* adjustment_;
  std::vector<ShownTurn> shown_;
  std::vector<AgentConversation::Turn> turns_;
  std::size_t most_;
  bool atEnd_ = true;
  guint going_ = 0;
  Connections connections_;
};

}  // namespace vale::gtk
