#pragma once

#include "app/AgentRows.h"
#include "app/gtk/MarkdownView.h"

#include <functional>
#include <memory>
#include <optional>

namespace vale::gtk {

/// What the rows of the agent panel ask for.
struct AgentRowHost {
  std::function<void(const std::string& address)> openLink;
  std::function<void(const Uuid& turn, AgentRow::Remedy)> remedy;
  std::function<void(const Uuid& turn)> readChanges;
  std::function<void(const Uuid& turn, std::optional<std::vector<std::filesystem::path>> paths)> undo;
  std::function<void(const Uuid& turn)> redo;
};

/// The widget of one row. Its kind never changes. Main thread only.
class AgentRowView {
 public:
  /// `host` must outlive the view.
  AgentRowView(const AgentRow& row, const Uuid& turn, const AgentRowHost& host);
  ~AgentRowView();
  AgentRowView(const AgentRowView&) = delete;
  AgentRowView& operator=(const AgentRowView&) = delete;

  GtkWidget* widget() const { return widget_.get(); }
  const std::string& id() const { return row_.id; }
  void update(const AgentRow& row);

 private:
  void build();
  void buildCard();
  void fill();
  void fillCard();
  void fillDetails();
  void fillChanges();
  void setHint(const std::string& text);
  void setRemedy();

  AgentRow row_;
  const Uuid turn_;
  const AgentRowHost& host_;
  GObjectPointer<GtkWidget> widget_;
  GtkLabel* title_ = nullptr;
  GtkLabel* text_ = nullptr;
  GtkLabel* hint_ = nullptr;
  GtkImage* mark_ = nullptr;
  GtkExpander* expander_ = nullptr;
  GtkWidget* details_ = nullptr;
  GtkWidget* remedy_ = nullptr;
  std::unique_ptr<MarkdownView> markdown_;
  Connections connections_;
  Connections changing_;  ///< of the list of changed files
};

}  // namespace vale::gtk
