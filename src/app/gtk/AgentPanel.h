#pragma once

#include "app/AgentConversation.h"
#include "app/gtk/AgentActivityView.h"
#include "app/gtk/AgentComposer.h"
#include "app/gtk/AgentThreadList.h"
#include "app/gtk/AgentTranscriptView.h"
#include "app/gtk/WindowPart.h"

namespace vale::gtk {

/// The panel beside the page in which a conversation with an agent is held, its button in the header, and the
/// way of a request from the address entry into it. Nothing of it is made or read before it is first opened.
class AgentPanel : public WindowPart {
 public:
  static constexpr int narrowest = 360;
  static constexpr int widest = 560;
  static constexpr int usual = 400;
  static constexpr std::string_view widthKey = "ValeAgentPanelWidth";

  explicit AgentPanel(const WindowPlace& place);
  ~AgentPanel() override;

 private:
  using Weak = std::weak_ptr<AgentPanel*>;

  struct Sending {
    bool page;         ///< the shown page goes along
    bool attachments;  ///< and so do the composer's
  };

  /// What is made when it is first opened.
  struct Content {
    Content(AgentPanel& panel);

    AgentConversation conversation;
    AgentThreadList threads;
    AgentTranscriptView transcript;
    AgentActivityView activity;
    AgentComposer composer;
  };

  void addButton();
  void addHandle(GtkBox* beside);
  void build();
  GtkWidget* newHeader();
  GtkWidget* newMissing();
  void open(bool open);
  void setWidth(int width);
  void refresh();
  void refreshStack();
  void followPage();
  void showThread(std::optional<Uuid> thread);
  void ask(const std::string& words);
  void send(AgentQuestion question, Sending sending);
  void sendFromComposer();
  void stop();
  void takeBack(const std::string& words);
  void leaveEditing();
  Task<> carry(AgentQuestion question, Sending sending);
  void askAboutSelection(const std::string& selected);
  Task<> attachSelection(std::string selected);
  Task<std::optional<PageContext>> readPage();
  Task<std::string> readSelection();
  void spawn(Task<> task);

  WindowPlace place_;
  AgentDesk& desk_;
  GtkWidget* button_ = nullptr;
  GtkWidget* handle_ = nullptr;
  GtkWidget* frame_ = nullptr;
  GtkWidget* box_ = nullptr;
  GtkStack* stack_ = nullptr;
  GtkLabel* missing_ = nullptr;
  GtkWidget* checkAgain_ = nullptr;
  GtkLabel* problem_ = nullptr;
  std::unique_ptr<Content> content_;
  std::optional<Uuid> editing_;  ///< the waiting request whose words are in the composer
  int width_ = usual;
  int widthBefore_ = usual;
  bool sending_ = false;
  bool refreshes_ = false;
  GObjectPointer<GCancellable> gone_;
  Connections connections_;
  std::vector<Subscription> subscriptions_, pageSubscriptions_;
  std::shared_ptr<AgentPanel*> self_;
};

}  // namespace vale::gtk
