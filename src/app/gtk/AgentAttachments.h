#pragma once

#include "app/AgentDesk.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vale::gtk {

/// What goes with a request beside its words, as chips that can be taken away: the shown page, what is
/// selected in it, text files and images. Files are read on the worker pool. Main thread only.
class AgentAttachments {
 public:
  /// The desk must outlive this. `failed` gets a sentence for what could not be attached.
  AgentAttachments(AgentDesk& desk, BrowsingMode mode, std::function<void(const std::string&)> failed);
  ~AgentAttachments();
  AgentAttachments(const AgentAttachments&) = delete;
  AgentAttachments& operator=(const AgentAttachments&) = delete;

  GtkWidget* widget() const { return box_.get(); }
  /// The button whose menu adds something.
  GtkWidget* button() const { return button_; }

  /// What the window shows; empty for what cannot go along.
  void setPage(const std::string& title, const std::string& address);
  /// Whether the next request begins a conversation.
  void setBegins(bool begins);

  bool sendsPage() const;
  bool sendsSelection() const { return selection_; }
  /// Sends the page with a request of these.
  void attachPage();

  void addFiles(GListModel* files);
  void addTexture(GdkTexture* texture);

  /// Into the request; they stay until `clear`.
  void put(AgentQuestion& question) const;
  /// After they were sent.
  void clear();

 private:
  struct File {
    Uuid id;
    std::string name;
    std::variant<std::monostate, AttachedText, std::filesystem::path> content;  ///< none while it is read
  };
  struct Loaded;

  void addMenu();
  void chooseFiles();
  void addFile(const std::filesystem::path& file);
  void load(std::string name, std::function<Loaded()> read);
  void settle(const Uuid& id, Loaded loaded);
  void refresh();
  void chip(const char* icon, const std::string& text, const std::string& tip, std::function<void()> removed);

  AgentDesk& desk_;
  const BrowsingMode mode_;
  std::function<void(const std::string&)> failed_;
  GObjectPointer<GtkWidget> box_;
  GtkWidget* button_;
  GtkWidget* pageItem_ = nullptr;
  GtkWidget* selectionItem_ = nullptr;
  GtkPopover* popover_ = nullptr;
  GObjectPointer<GtkFileChooserNative> chooser_;
  SerialQueue queue_;
  std::string title_;
  std::string address_;
  bool begins_ = true;
  PageChoice page_ = PageChoice::usual;
  bool selection_ = false;
  std::vector<File> files_;
  Connections connections_, chips_;
  Connection chosen_;
  std::shared_ptr<AgentAttachments*> self_;
};

}  // namespace vale::gtk
