#pragma once

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
  /// After it was sent.
  void clear();

  /// What the conversation leaves to choose; null for a new one.
  void showConversation(const ThreadSummary* thread);
  void showWorking(bool working);
  /// A request is on its way: it cannot be sent twice.
  void setSending(bool sending);
  /// A sentence under the words; empty takes it away.
  void showProblem(const std::string& sentence);

 private:
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
  bool working_ = false;
  bool sending_ = false;
  bool follows_ = false;  ///< the next request goes on with a conversation
  Connections connections_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
