#include "app/gtk/AgentComposer.h"

#include "app/gtk/Controls.h"
#include "app/gtk/MarkdownView.h"
#include "common/Text.h"

#include <utility>

namespace vale::gtk {

namespace {

constexpr int tallestText = 180;  // logical pixels

struct PastedImage {
  std::weak_ptr<bool> alive;
  AgentAttachments* attachments;
};

}  // namespace

AgentComposer::AgentComposer(AgentDesk& desk, BrowsingMode mode, Host host)
    : desk_(desk), host_(std::move(host)),
      box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6))),
      text_(GTK_TEXT_VIEW(gtk_text_view_new())), hint_(gtk_label_new("Ask an agent")),
      problem_(newTextLabel()), send_(GTK_BUTTON(gtk_button_new_with_mnemonic("_Send"))),
      stop_(gtk_button_new_with_mnemonic("S_top")),
      attachments_(desk, mode,
                   {.failed = [this](const std::string& sentence) { showProblem(sentence); },
                    .wantsSelection = [this] { host_.wantsSelection(); }}),
      project_(desk, [this](const std::string& sentence) { showProblem(sentence); }), agent_(desk),
      leave_(gtk_button_new_with_mnemonic("_Cancel")) {
  auto* box = GTK_BOX(box_.get());
  gtk_widget_add_css_class(widget(), "agent-composer");
  gtk_widget_add_css_class(GTK_WIDGET(problem_), "error");
  gtk_box_append(box, GTK_WIDGET(problem_));
  gtk_box_append(box, attachments_.widget());

  gtk_text_view_set_wrap_mode(text_, GTK_WRAP_WORD_CHAR);
  gtk_text_view_set_accepts_tab(text_, FALSE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(text_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Request",
                                 GTK_ACCESSIBLE_PROPERTY_MULTI_LINE, TRUE, -1);
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scroller), 44);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), tallestText);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), GTK_WIDGET(text_));
  auto* over = gtk_overlay_new();
  gtk_overlay_set_child(GTK_OVERLAY(over), scroller);
  gtk_widget_add_css_class(hint_, "dim-label");
  gtk_widget_set_halign(hint_, GTK_ALIGN_START);
  gtk_widget_set_valign(hint_, GTK_ALIGN_START);
  gtk_widget_set_can_target(hint_, FALSE);
  gtk_widget_add_css_class(hint_, "placeholder");
  gtk_overlay_add_overlay(GTK_OVERLAY(over), hint_);
  gtk_widget_add_css_class(over, "agent-text");
  gtk_box_append(box, over);

  auto* where = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
  gtk_box_append(GTK_BOX(where), attachments_.button());
  gtk_box_append(GTK_BOX(where), project_.widget());
  gtk_widget_set_hexpand(project_.widget(), TRUE);
  gtk_widget_set_halign(project_.widget(), GTK_ALIGN_START);
  gtk_box_append(GTK_BOX(where), agent_.widget());
  gtk_box_append(box, where);

  auto* what = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  const char* leaves[] = {"Read only", "May write", nullptr};
  access_ = GTK_DROP_DOWN(gtk_drop_down_new_from_strings(leaves));
  gtk_widget_set_tooltip_text(GTK_WIDGET(access_),
                              "Whether the agent may change the project’s files. Its changes "
                              "can be undone here.");
  nameChoice(access_, "What the agent may do");
  gtk_widget_set_hexpand(GTK_WIDGET(access_), TRUE);
  beginWithUsualAccess();
  gtk_widget_set_halign(GTK_WIDGET(access_), GTK_ALIGN_START);
  gtk_box_append(GTK_BOX(what), GTK_WIDGET(access_));
  gtk_widget_set_tooltip_text(stop_, "End what the agent is doing");
  gtk_box_append(GTK_BOX(what), stop_);
  gtk_widget_set_tooltip_text(leave_, "Leave the waiting request as it is (Escape)");
  gtk_box_append(GTK_BOX(what), leave_);
  gtk_widget_add_css_class(GTK_WIDGET(send_), "suggested-action");
  gtk_box_append(GTK_BOX(what), GTK_WIDGET(send_));
  gtk_box_append(box, what);

  const auto on = [this](gpointer object, const char* signal, auto handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  };
  on(send_, "clicked", [this] { host_.send(); });
  on(stop_, "clicked", [this] { host_.stop(); });
  on(leave_, "clicked", [this] { host_.leaveEditing(); });
  on(gtk_text_view_get_buffer(text_), "changed", [this] {
    showProblem({});
    refresh();
  });
  auto* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  on(keys, "key-pressed", [this, keys](guint key, guint, GdkModifierType modifiers) -> gboolean {
    return keyPressed(keys, key, modifiers);
  });
  gtk_widget_add_controller(GTK_WIDGET(text_), keys);
  auto* drop = gtk_drop_target_new(GDK_TYPE_FILE_LIST, GDK_ACTION_COPY);
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(drop), GTK_PHASE_CAPTURE);
  on(drop, "drop", [this](const GValue* value, double, double) -> gboolean {
    const auto files = GObjectPointer<GListStore>::adopt(g_list_store_new(G_TYPE_FILE));
    auto* list = gdk_file_list_get_files(static_cast<GdkFileList*>(g_value_get_boxed(value)));
    for (auto* one = list; one; one = one->next) g_list_store_append(files.get(), one->data);
    g_slist_free(list);
    attachments_.addFiles(G_LIST_MODEL(files.get()));
    return TRUE;
  });
  gtk_widget_add_controller(widget(), GTK_EVENT_CONTROLLER(drop));
  showProblem({});
  refresh();
}

AgentComposer::~AgentComposer() { connections_.clear(); }

void AgentComposer::focus() { gtk_widget_grab_focus(GTK_WIDGET(text_)); }

std::string AgentComposer::words() const {
  auto* buffer = gtk_text_view_get_buffer(text_);
  GtkTextIter begin, end;
  gtk_text_buffer_get_bounds(buffer, &begin, &end);
  char* text = gtk_text_buffer_get_text(buffer, &begin, &end, FALSE);
  std::string words = text;
  g_free(text);
  return words;
}

void AgentComposer::setWords(const std::string& words) {
  gtk_text_buffer_set_text(gtk_text_view_get_buffer(text_), words.c_str(), static_cast<int>(words.size()));
}

AgentQuestion AgentComposer::question() const {
  AgentQuestion question{.words = words(), .destination = project_.destination()};
  question.access = access();
  attachments_.put(question);
  return question;
}

AgentAccess AgentComposer::access() const {
  return gtk_drop_down_get_selected(access_) == 1 ? AgentAccess::projectWrite : AgentAccess::readOnly;
}

void AgentComposer::setAccess(AgentAccess access) {
  gtk_drop_down_set_selected(access_, access == AgentAccess::projectWrite ? 1 : 0);
}

void AgentComposer::beginWithUsualAccess() { setAccess(host_.usualAccess()); }

void AgentComposer::showConversation(const ThreadSummary* thread) {
  // What the user has chosen for a new conversation stays while it is shown.
  if (std::exchange(follows_, thread != nullptr) && !thread) beginWithUsualAccess();
  attachments_.setBegins(!follows_);
  agent_.fix(thread ? std::optional(thread->provider) : std::nullopt);
  std::optional<std::string> place;
  if (thread)
    place = thread->kind == AgentThreadKind::page ? "About a page" : desk_.projectName(thread->projectPath);
  project_.fix(std::move(place));
  refresh();
}

void AgentComposer::showWorking(bool working, bool stoppable) {
  if (working_ == working && stoppable_ == stoppable) return;
  working_ = working;
  stoppable_ = stoppable;
  refresh();
}

void AgentComposer::beginEditing(const WaitingRequest& request) {
  if (!draft_) draft_ = Draft{.words = words(), .access = access()};
  setWords(request.words);
  setAccess(request.access);
  focus();
  refresh();
}

void AgentComposer::endEditing() {
  const auto draft = std::exchange(draft_, std::nullopt);
  if (!draft) return;
  setWords(draft->words);
  setAccess(draft->access);
  refresh();
}

void AgentComposer::endEditingKeepingWords() {
  const auto draft = std::exchange(draft_, std::nullopt);
  if (draft && !onlyWhiteSpace(draft->words)) setWords(words() + "\n\n" + draft->words);
  refresh();
}

void AgentComposer::setSending(bool sending) {
  sending_ = sending;
  refresh();
}

void AgentComposer::showProblem(const std::string& sentence) {
  gtk_label_set_text(problem_, sentence.c_str());
  gtk_widget_set_visible(GTK_WIDGET(problem_), !sentence.empty());
}

void AgentComposer::refresh() {
  const bool empty = onlyWhiteSpace(words());
  gtk_widget_set_visible(hint_, words().empty());
  gtk_label_set_text(GTK_LABEL(hint_), follows_ ? "Go on…" : "Ask an agent…");
  gtk_widget_set_visible(stop_, stoppable_ && !draft_);
  gtk_widget_set_visible(leave_, draft_.has_value());
  const char* label = working_ ? "_Queue" : "_Send";
  const char* tip =
      working_ ? "Send it once the turn under way has ended (Enter)" : "Send the request (Enter)";
  if (draft_) {
    label = "C_hange";
    tip = "Change the waiting request (Enter)";
  }
  gtk_button_set_label(send_, sending_ ? "Sending…" : label);
  gtk_widget_set_tooltip_text(GTK_WIDGET(send_), tip);
  gtk_widget_set_sensitive(GTK_WIDGET(send_), !empty && !sending_);
}

bool AgentComposer::keyPressed(GtkEventController* keys, guint key, GdkModifierType modifiers) {
  const auto held = modifiers & gtk_accelerator_get_default_mod_mask();
  if ((key == GDK_KEY_v || key == GDK_KEY_V) && held == GDK_CONTROL_MASK) return paste();
  if (key != GDK_KEY_Return && key != GDK_KEY_KP_Enter && key != GDK_KEY_ISO_Enter) return false;
  if (held == GDK_SHIFT_MASK || held == GDK_ALT_MASK) return false;
  // Until an input method is done, its keys are its own.
  auto* event = gtk_event_controller_get_current_event(keys);
  if (event && gtk_text_view_im_context_filter_keypress(text_, event)) return true;
  if (gtk_widget_get_sensitive(GTK_WIDGET(send_))) host_.send();
  return true;
}

/// An image in place of a text.
bool AgentComposer::paste() {
  auto* clipboard = gtk_widget_get_clipboard(widget());
  auto* formats = gdk_clipboard_get_formats(clipboard);
  if (!gdk_content_formats_contain_gtype(formats, GDK_TYPE_TEXTURE) ||
      gdk_content_formats_contain_gtype(formats, G_TYPE_STRING)) {
    return false;
  }
  gdk_clipboard_read_texture_async(
      clipboard, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<PastedImage> pasted(static_cast<PastedImage*>(data));
        const auto texture = GObjectPointer<GdkTexture>::adopt(
            gdk_clipboard_read_texture_finish(GDK_CLIPBOARD(source), result, nullptr));
        if (texture && !pasted->alive.expired()) pasted->attachments->addTexture(texture.get());
      },
      new PastedImage{.alive = alive_, .attachments = &attachments_});
  return true;
}

}  // namespace vale::gtk
