#pragma once

#include "app/gtk/DownloadRow.h"
#include "app/gtk/EngineDownloads.h"
#include "app/gtk/QuestionBar.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vale::gtk {

/// The list of downloads of one kind of window, newest first, with what can be done with them. It follows
/// them while it is on the screen. Main thread only.
class DownloadList {
 public:
  /// Older ones are in the list's file only.
  static constexpr std::size_t mostShown = 50;

  /// `view` gives a page of the same kind to ask the engine through; null while there is none.
  DownloadList(EngineDownloads& downloads, DownloadMemory memory, std::function<WebKitWebView*()> view);
  DownloadList(const DownloadList&) = delete;
  DownloadList& operator=(const DownloadList&) = delete;

  GtkWidget* widget() const { return widget_.get(); }

  /// Those of this kind of window, oldest first.
  std::vector<Download> downloads() const;

 private:
  DownloadRow::Host host();
  void addFoot();
  void follow();
  void update();
  void rebuild(const std::vector<Download>& shown);
  void withDownload(const Uuid& id, const std::function<void(const Download&)>& work) const;
  void open(const Download& download);
  void showFolder(const std::filesystem::path& file);
  void tell(const std::string& sentence, std::vector<QuestionBar::Answer> answers = {});

  EngineDownloads& downloads_;
  DownloadMemory memory_;
  std::function<WebKitWebView*()> view_;
  GObjectPointer<GtkWidget> widget_;
  GtkBox* bars_;
  GtkStack* stack_;
  GtkListBox* list_;
  GtkLabel* more_;
  GtkWidget* clear_ = nullptr;
  std::unique_ptr<QuestionBar> bar_;
  std::vector<std::unique_ptr<DownloadRow>> rows_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::vector<Subscription> subscriptions_;
  Connections connections_;
};

}  // namespace vale::gtk
