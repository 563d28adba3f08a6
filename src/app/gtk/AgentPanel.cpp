#include "app/gtk/AgentPanel.h"

#include "app/TaskChoices.h"
#include "app/gtk/BrowserServices.h"
#include "app/gtk/Controls.h"
#include "app/gtk/MarkdownView.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <utility>

namespace vale::gtk {

AgentPanel::Content::Content(AgentPanel& panel)
    : conversation(panel.desk_), threads(panel.desk_,
                                         [&panel](const Uuid& thread) {
                                           panel.showThread(thread);
                                           panel.content_->composer.focus();
                                         }),
      transcript(
          {.openLink =
               [&panel](const std::string& address) {
                 if (isWebAddress(address))
                   return panel.place_.services.openInNewTab(address, panel.place_.context->model->mode);
                 gtk_show_uri(GTK_WINDOW(panel.place_.window), address.c_str(), GDK_CURRENT_TIME);
               },
           .remedy =
               [&panel](const Uuid& turn, AgentRow::Remedy remedy) {
                 panel.spawn(panel.content_->conversation.remedy(turn, remedy));
               },
           .readChanges = [&panel](const Uuid& turn) { panel.content_->conversation.readChanges(turn); },
           .undo = [&panel](const Uuid& turn,
                            auto paths) { panel.content_->conversation.undo(turn, std::move(paths)); },
           .redo = [&panel](const Uuid& turn) { panel.content_->conversation.redo(turn); }}),
      activity(
          panel.desk_, conversation,
          {.takenBack = [&panel](const std::string& words) { panel.takeBack(words); },
           .edit =
               [&panel](const WaitingRequest& request) {
                 panel.editing_ = request.id;
                 panel.content_->composer.beginEditing(request);
               },
           .failed =
               [&panel](const std::string& sentence) { panel.content_->composer.showProblem(sentence); }}),
      composer(panel.desk_, panel.place_.context->model->mode,
               {.send = [&panel] { panel.sendFromComposer(); },
                .stop = [&panel] { panel.stop(); },
                .leaveEditing = [&panel] { panel.leaveEditing(); },
                .wantsSelection = [&panel] { panel.askAboutSelection({}); },
                .usualAccess = [&panel] { return taskAccess(panel.place_.services.base.preferences); }}) {}

AgentPanel::AgentPanel(const WindowPlace& place)
    : place_(place), desk_(place.services.base.intelligence->desk()),
      gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())),
      self_(std::make_shared<AgentPanel*>(this)) {
  addButton();
  addHandle(place_.beside);
  frame_ = adw_clamp_new();
  gtk_widget_set_hexpand(frame_, FALSE);
  gtk_widget_add_css_class(frame_, "agent-panel");
  gtk_widget_set_visible(frame_, FALSE);
  gtk_box_append(place_.beside, frame_);
  const auto kept = place_.services.base.preferences.number(widthKey);
  setWidth(kept ? static_cast<int>(std::clamp(*kept, double(narrowest), double(widest))) : usual);
  place_.actions.add("focus-agent-panel", [this] { content_->composer.focus(); });
  place_.actions.enable("focus-agent-panel", false);
  place_.actions.add("agent-panel", [this] { open(!gtk_widget_get_visible(frame_)); });
  place_.actions.add("ask-agent", "s",
                     [this](GVariant* words) { ask(g_variant_get_string(words, nullptr)); });
  place_.actions.add("ask-about-selection", "s", [this](GVariant* selected) {
    askAboutSelection(g_variant_get_string(selected, nullptr));
  });
}

AgentPanel::~AgentPanel() {
  g_cancellable_cancel(gone_.get());
  self_.reset();
  pageSubscriptions_.clear();
  subscriptions_.clear();
  connections_.clear();
  content_.reset();
}

void AgentPanel::spawn(Task<> task) {
  asio::co_spawn(place_.context->main.executor(), std::move(task),
                 [weak = Weak(self_)](const std::exception_ptr& error) {
                   const auto self = weak.lock();
                   if (!self) return;
                   try {
                     if (error) std::rethrow_exception(error);
                   } catch (const Error& problem) {
                     (*self)->content_->composer.showProblem(problem.message);
                   }
                 });
}

void AgentPanel::addButton() {
  button_ = gtk_button_new_from_icon_name("sidebar-show-right-symbolic");
  nameControl(button_, "Agent Panel");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(button_), "win.agent-panel");
  adw_header_bar_pack_end(place_.header, button_);
}

/// The line between the page and the panel, which can be dragged.
void AgentPanel::addHandle(GtkBox* beside) {
  handle_ = gtk_separator_new(GTK_ORIENTATION_VERTICAL);
  gtk_widget_add_css_class(handle_, "agent-handle");
  gtk_widget_set_cursor_from_name(handle_, "col-resize");
  gtk_widget_set_visible(handle_, FALSE);
  gtk_box_append(beside, handle_);
  auto* drag = gtk_gesture_drag_new();
  connections_.push_back(connect(drag, "drag-begin", [this](double, double) { widthBefore_ = width_; }));
  connections_.push_back(connect(drag, "drag-update", [this](double x, double) {
    // The handle moves with the pointer, so that the way is what is left of it.
    setWidth(width_ - static_cast<int>(x));
  }));
  connections_.push_back(connect(drag, "drag-end", [this](double, double) {
    if (width_ != widthBefore_) place_.services.base.preferences.set(widthKey, width_);
  }));
  gtk_widget_add_controller(handle_, GTK_EVENT_CONTROLLER(drag));
}

void AgentPanel::setWidth(int width) {
  width_ = std::clamp(width, narrowest, widest);
  adw_clamp_set_maximum_size(ADW_CLAMP(frame_), width_);
  adw_clamp_set_tightening_threshold(ADW_CLAMP(frame_), width_);
  gtk_widget_set_size_request(frame_, width_, -1);
}

void AgentPanel::open(bool open) {
  if (open && !content_) build();
  gtk_widget_set_visible(frame_, open);
  gtk_widget_set_visible(handle_, open);
  place_.actions.enable("focus-agent-panel", open);
  if (!open) return place_.focusPage();
  desk_.open();
  followPage();
  refresh();
  content_->composer.focus();
}

GtkWidget* AgentPanel::newHeader() {
  auto* header = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
  gtk_widget_add_css_class(header, "agent-header");
  gtk_widget_set_hexpand(content_->threads.widget(), TRUE);
  gtk_widget_set_halign(content_->threads.widget(), GTK_ALIGN_START);
  gtk_box_append(GTK_BOX(header), content_->threads.widget());
  const auto add = [&](const char* icon, const char* meaning, std::function<void()> work) {
    auto* button = flatButton(icon, meaning);
    connections_.push_back(connect(button, "clicked", [work = std::move(work)] { work(); }));
    gtk_box_append(GTK_BOX(header), button);
  };
  add("document-new-symbolic", "New Conversation", [this] {
    showThread(std::nullopt);
    content_->composer.focus();
  });
  add("window-close-symbolic", "Hide the Agent Panel", [this] { open(false); });
  return header;
}

/// Shown while there is no agent to ask.
GtkWidget* AgentPanel::newMissing() {
  auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  gtk_widget_set_valign(box, GTK_ALIGN_CENTER);
  gtk_widget_add_css_class(box, "agent-empty");
  auto* title = newTextLabel();
  gtk_label_set_text(title, "No agent can be asked yet");
  gtk_widget_add_css_class(GTK_WIDGET(title), "title-4");
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(title));
  missing_ = newTextLabel();
  gtk_box_append(GTK_BOX(box), GTK_WIDGET(missing_));
  checkAgain_ = gtk_button_new_with_mnemonic("_Check Again");
  gtk_widget_set_halign(checkAgain_, GTK_ALIGN_START);
  connections_.push_back(connect(checkAgain_, "clicked", [this] { desk_.lookAgain(); }));
  gtk_box_append(GTK_BOX(box), checkAgain_);
  return box;
}

void AgentPanel::build() {
  content_ = std::make_unique<Content>(*this);
  box_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  auto* box = GTK_BOX(box_);
  gtk_accessible_update_property(GTK_ACCESSIBLE(box), GTK_ACCESSIBLE_PROPERTY_LABEL, "Agent panel", -1);
  gtk_box_append(box, newHeader());
  problem_ = newTextLabel();
  gtk_widget_add_css_class(GTK_WIDGET(problem_), "notice");
  gtk_box_append(box, GTK_WIDGET(problem_));

  stack_ = GTK_STACK(gtk_stack_new());
  gtk_stack_set_vhomogeneous(stack_, FALSE);
  gtk_stack_set_hhomogeneous(stack_, FALSE);
  gtk_widget_set_vexpand(GTK_WIDGET(stack_), TRUE);
  auto* empty = newTextLabel();
  gtk_label_set_text(empty,
                     "Ask for anything: a question about this page, a change in one of your projects. The "
                     "request finds its project by itself, and the agent’s work appears here.\n\nIn the "
                     "address bar, Ctrl+Enter asks too.");
  gtk_label_set_selectable(empty, FALSE);
  gtk_widget_set_valign(GTK_WIDGET(empty), GTK_ALIGN_CENTER);
  gtk_widget_add_css_class(GTK_WIDGET(empty), "agent-empty");
  gtk_widget_add_css_class(GTK_WIDGET(empty), "dim-label");
  gtk_stack_add_named(stack_, GTK_WIDGET(empty), "empty");
  auto* reading = gtk_label_new("Reading the conversation…");
  gtk_widget_add_css_class(reading, "dim-label");
  gtk_stack_add_named(stack_, reading, "reading");
  gtk_stack_add_named(stack_, newMissing(), "missing");
  gtk_stack_add_named(stack_, content_->transcript.widget(), "turns");
  gtk_box_append(box, GTK_WIDGET(stack_));
  gtk_box_append(box, content_->activity.widget());
  gtk_box_append(box, content_->composer.widget());
  adw_clamp_set_child(ADW_CLAMP(frame_), box_);
  auto* keys = gtk_event_controller_key_new();
  connections_.push_back(connect(keys, "key-pressed", [this](guint key, guint, GdkModifierType) -> gboolean {
    if (key != GDK_KEY_Escape) return FALSE;
    if (editing_)
      leaveEditing();
    else
      place_.focusPage();
    return TRUE;
  }));
  gtk_widget_add_controller(box_, keys);

  // Several things change at one time; they are shown once.
  const auto follow = [this](const auto&...) {
    if (std::exchange(refreshes_, true)) return;
    place_.context->main.post([weak = Weak(self_)] {
      const auto self = weak.lock();
      if (!self) return;
      (*self)->refreshes_ = false;
      (*self)->refresh();
    });
  };
  subscriptions_.emplace_back(content_->conversation.changed().connect([follow] { follow(); }));
  subscriptions_.emplace_back(desk_.agents().statusChanged().connect([follow](AgentProvider) { follow(); }));
  subscriptions_.emplace_back(desk_.projectsChanged().connect([follow] { follow(); }));
  subscriptions_.push_back(desk_.opened().subscribe(follow));
  subscriptions_.push_back(desk_.looking().subscribe(follow));
  subscriptions_.push_back(place_.pages.onShown([this] { followPage(); }));
}

void AgentPanel::followPage() {
  pageSubscriptions_.clear();
  if (!content_) return;
  const auto show = [this](const auto&) {
    const auto* page = place_.pages.page();
    const auto address = page ? page->address().value() : std::string();
    if (!isWebAddress(address) || page->failure().value())
      return content_->composer.attachments().setPage({}, {});
    content_->composer.attachments().setPage(singleLine(page->title().value()), singleLine(address));
  };
  show(0);
  const auto* page = place_.pages.page();
  if (!page) return;
  pageSubscriptions_.push_back(page->address().subscribe(show));
  pageSubscriptions_.push_back(page->title().subscribe(show));
  pageSubscriptions_.push_back(page->failure().subscribe(show));
}

void AgentPanel::showThread(std::optional<Uuid> thread) {
  leaveEditing();
  content_->conversation.show(thread);
}

void AgentPanel::refresh() {
  if (!content_ || !gtk_widget_get_visible(frame_)) return;
  auto& conversation = content_->conversation;
  const auto* summary = conversation.summary();
  // A conversation that was deleted is not shown any more.
  const bool waits = conversation.thread() && desk_.hub().routings().contains(*conversation.thread());
  if (conversation.thread() && !summary && !waits) return showThread(std::nullopt);
  content_->threads.showTitle(summary                 ? singleLine(summary->title)
                              : conversation.thread() ? "New request"
                                                      : "New conversation");
  content_->transcript.show(conversation.turns());
  content_->activity.refresh();
  using Step = AgentActivity::Step;
  const auto step = conversation.activity().step;
  content_->composer.showConversation(summary);
  const bool works = step == Step::working || step == Step::stopping;
  content_->composer.showWorking(works, works || step == Step::routing);
  const auto problem = conversation.problem();
  gtk_label_set_text(problem_, problem.c_str());
  gtk_widget_set_visible(GTK_WIDGET(problem_), !problem.empty());
  refreshStack();
}

void AgentPanel::refreshStack() {
  const auto missing = desk_.missing();
  const bool empty = content_->conversation.turns().empty();
  if (empty && missing) gtk_label_set_text(missing_, missing->c_str());
  gtk_widget_set_sensitive(checkAgain_, !desk_.looking().value());
  const bool isKept = content_->conversation.summary() != nullptr;
  const bool reading = isKept && content_->conversation.problem().empty();
  const char* shown = reading ? "reading" : missing ? "missing" : "empty";
  gtk_stack_set_visible_child_name(stack_, empty ? shown : "turns");
}

}  // namespace vale::gtk
