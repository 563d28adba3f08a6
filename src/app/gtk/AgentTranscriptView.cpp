#include "app/gtk/AgentTranscriptView.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t turnsAtFirst = 8;
constexpr std::size_t turnsMore = 20;
/// Of one turn the last rows are shown: one of hundreds of steps would take long to lay out.
constexpr std::size_t mostRows = 300;

}  // namespace

AgentTranscriptView::AgentTranscriptView(AgentRowHost host)
    : host_(std::move(host)), scroller_(GObjectPointer<GtkWidget>::share(gtk_scrolled_window_new())),
      box_(GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 18))),
      earlier_(gtk_button_new_with_mnemonic("Show _Earlier Turns")),
      adjustment_(gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scroller_.get()))),
      most_(turnsAtFirst) {
  auto* scroller = GTK_SCROLLED_WINDOW(scroller_.get());
  gtk_scrolled_window_set_policy(scroller, GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_widget_set_vexpand(widget(), TRUE);
  gtk_widget_add_css_class(GTK_WIDGET(box_), "agent-transcript");
  gtk_widget_set_valign(GTK_WIDGET(box_), GTK_ALIGN_START);
  gtk_widget_set_halign(earlier_, GTK_ALIGN_CENTER);
  gtk_box_append(box_, earlier_);
  gtk_scrolled_window_set_child(scroller, GTK_WIDGET(box_));
  // Else code, which scrolls by itself, would be as low as it can be.
  gtk_scrollable_set_vscroll_policy(GTK_SCROLLABLE(gtk_scrolled_window_get_child(scroller)),
                                    GTK_SCROLL_NATURAL);
  gtk_accessible_update_property(GTK_ACCESSIBLE(box_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Conversation", -1);
  connections_.push_back(connect(earlier_, "clicked", [this] {
    most_ += turnsMore;
    atEnd_ = false;
    rebuild();
  }));
  // Whether the end is in sight is decided by the reader alone, not by what grows below.
  connections_.push_back(connect(adjustment_, "value-changed", [this] {
    if (going_ != 0) return;
    const auto end = gtk_adjustment_get_upper(adjustment_) - gtk_adjustment_get_page_size(adjustment_);
    atEnd_ = gtk_adjustment_get_value(adjustment_) >= end - 24;
  }));
  // Whoever unfolds or selects something reads there.
  auto* click = gtk_gesture_click_new();
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(click), GTK_PHASE_CAPTURE);
  connections_.push_back(connect(click, "pressed", [this](int, double, double) { atEnd_ = false; }));
  gtk_widget_add_controller(GTK_WIDGET(box_), GTK_EVENT_CONTROLLER(click));
  connections_.push_back(connect(adjustment_, "changed", [this] { keepAtEnd(); }));
}

AgentTranscriptView::~AgentTranscriptView() {
  connections_.clear();
  if (going_ != 0) g_source_remove(going_);
}

/// Not at once: the heights change while widgets are being given their places, which takes no other place.
void AgentTranscriptView::keepAtEnd() {
  if (!atEnd_ || going_ != 0) return;
  // Before the next frame: on a busy machine there may be no idle moment while something is drawn.
  going_ = g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer self) -> gboolean {
        static_cast<AgentTranscriptView*>(self)->goToEnd();
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
}

void AgentTranscriptView::goToEnd() {
  going_ = 0;
  gtk_adjustment_set_value(adjustment_,
                           gtk_adjustment_get_upper(adjustment_) - gtk_adjustment_get_page_size(adjustment_));
}

void AgentTranscriptView::show(const std::vector<AgentConversation::Turn>& turns) {
  const bool another = turns.empty() || turns_.empty() || turns.front().id != turns_.front().id;
  const bool grew = turns.size() > turns_.size();
  turns_.resize(turns.size());
  for (std::size_t i = 0; i < turns.size(); ++i) {
    if (turns_[i].revision != turns[i].revision) turns_[i] = turns[i];
  }
  if (another) most_ = turnsAtFirst;
  // What was asked just now is looked at.
  if (another || grew) atEnd_ = true;
  rebuild();
}

void AgentTranscriptView::rebuild() {
  const auto first = turns_.size() - std::min(turns_.size(), most_);
  gtk_widget_set_visible(earlier_, first > 0);
  // Turns come at the end; whatever else has changed, all are made anew.
  bool same = !turns_.empty() && !shown_.empty() && shown_.front().id == turns_[first].id &&
              shown_.size() <= turns_.size() - first;
  for (std::size_t i = 0; same && i < shown_.size(); ++i) same = shown_[i].id == turns_[first + i].id;
  if (!same) {
    for (auto& one : std::exchange(shown_, {})) {
      one.rows.clear();
      gtk_box_remove(box_, one.box);
    }
  }
  for (std::size_t i = first; i < turns_.size(); ++i) {
    if (i - first >= shown_.size()) {
      shown_.push_back({.id = turns_[i].id, .box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8)});
      gtk_box_append(box_, shown_.back().box);
    }
    fill(shown_[i - first], turns_[i]);
  }
}

void AgentTranscriptView::fill(ShownTurn& shown, const AgentConversation::Turn& turn) {
  if (std::exchange(shown.revision, turn.revision) == turn.revision) return;
  // The request stays at the top, whatever is left out below it.
  const auto left = turn.rows.size() - std::min(turn.rows.size(), mostRows);
  std::vector<const AgentRow*> rows;
  for (std::size_t i = 0; i < turn.rows.size(); ++i) {
    if (i == 0 || i >= left) rows.push_back(&turn.rows[i]);
  }
  std::vector<std::unique_ptr<AgentRowView>> next;
  auto former = shown.rows.begin();
  GtkWidget* above = nullptr;
  for (const auto* row : rows) {
    // Rows keep their order: what is passed over is gone.
    const auto found = std::find_if(former, shown.rows.end(),
                                    [row](const auto& view) { return view && view->id() == row->id; });
    if (found != shown.rows.end()) {
      for (; former != found; ++former) {
        gtk_box_remove(GTK_BOX(shown.box), (*former)->widget());
        former->reset();
      }
      (*found)->update(*row);
      next.push_back(std::move(*found));
      ++former;
    } else {
      next.push_back(std::make_unique<AgentRowView>(*row, turn.id, host_));
      gtk_box_insert_child_after(GTK_BOX(shown.box), next.back()->widget(), above);
    }
    above = next.back()->widget();
  }
  for (; former != shown.rows.end(); ++former) gtk_box_remove(GTK_BOX(shown.box), (*former)->widget());
  shown.rows = std::move(next);
}

}  // namespace vale::gtk
