#pragma once

#include "app/AgentConversation.h"
#include "app/gtk/AgentAttachments.h"
#include "app/gtk/AgentChoices.h"

namespace vale::gtk {

/// Where a request is written: its words, what goes along, where it goes, who does it and what that one may.
/// Main thread only.
class AgentComposer {
 public:
  struct Host {
    std::function<void()> send;
    std::function<void()> stop;
    /// Nothing is to be changed after all.
    std::function<void()> leaveEditing;
    std::function<void()> wantsSelection;
    /// What a new conversation begins with.
    std::function<AgentAccess()> usualAccess;
  };

  /// The desk must outlive the composer.
  AgentComposer(AgentDesk& desk, BrowsingMode mode, Host host);
  ~AgentComposer();
  AgentComposer(const AgentComposer&) = delete;
  AgentComposer& operator=(const AgentComposer&) = delete;

  GtkWidget* widget() const { return box_.get(); }
  AgentAttachments& attachments() { return attachments_; }

  void focus();
  std::string words() const;
  void setWords(const std::string& words);

  /// The request as it stands, without its page.
  AgentQuestion question() const;
  /// What the conversation leaves to choose; null for a new one.
  void showConversation(const ThreadSummary* thread);
  /// A turn is under way, behind which a request waits; or something is that can be stopped.
  void showWorking(bool working, bool stoppable);
  /// Shows a waiting request that is to be changed. What was being written stays until then.
  void beginEditing(const WaitingRequest& request);
  void endEditing();
  /// The request is gone: its words join what was being written.
  void endEditingKeepingWords();
  AgentAccess access() const;
  /// A request is on its way: it cannot be sent twice.
  void setSending(bool sending);
  /// A sentence under the words; empty takes it away.
  void showProblem(const std::string& sentence);

 private:
  struct Draft {
    std::string words;
    AgentAccess access;
  };

  void setAccess(AgentAccess access);
  void beginWithUsualAccess();
  bool keyPressed(GtkEventController* keys, guint key, GdkModifierType modifiers);
  bool paste();
  void refresh();

  AgentDesk& desk_;
  Host host_;
  GObjectPointer<GtkWidget> box_;
  GtkTextView* text_;
  GtkWidget* hint_;
  GtkLabel* problem_;
  GtkDropDown* access_;
  GtkButton* send_;
  GtkWidget* stop_;
  AgentAttachments attachments_;
  ProjectChoice project_;
  AgentChoice agent_;
  GtkWidget* leave_;
  bool working_ = false;
  bool stoppable_ = false;
  std::optional<Draft> draft_;  ///< what was being written before a waiting request came to be changed
  bool sending_ = false;
  bool follows_ = false;  ///< the next request goes on with a conversation
  Connections connections_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
