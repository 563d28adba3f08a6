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

/// What goes with a request beside its words, as chips that can be taken away: the shown page, or what was
/// selected in one, text files and images. Files are read on the worker pool. Main thread only.
class AgentAttachments {
 public:
  struct Host {
    /// Gets a sentence for what could not be attached.
    std::function<void(const std::string& sentence)> failed;
    /// What is selected now is to be attached.
    std::function<void()> wantsSelection;
  };

  /// The desk must outlive this.
  AgentAttachments(AgentDesk& desk, BrowsingMode mode, Host host);
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
  void attachPage();
  /// In place of the page. It stays what it is, wherever the page goes.
  void attachSelection(PageContext selected);

  void addFiles(GListModel* files);
  void addTexture(GdkTexture* texture);

  /// A file is still being read.
  bool isReading() const;
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
  bool isFull();
  void addSelectionChip();
  void addFileChip(const File& file);
  void load(std::string name, std::function<Loaded()> read);
  void settle(const Uuid& id, Loaded loaded);
  void refresh();
  void chip(const char* icon, const std::string& text, const std::string& tip, std::function<void()> removed);

  AgentDesk& desk_;
  const BrowsingMode mode_;
  Host host_;
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
  std::optional<PageContext> selection_;
  std::vector<File> files_;
  Connections connections_, chips_;
  Connection chosen_;
  std::shared_ptr<AgentAttachments*> self_;
};

}  // namespace vale::gtk
