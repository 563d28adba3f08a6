#pragma once

#include "app/gtk/DownloadList.h"
#include "app/gtk/WindowPart.h"

#include <memory>
#include <vector>

namespace vale::gtk {

/// The button in the header that shows how the downloads go and opens their list; there once something was
/// downloaded in this run, or the list was asked for. A line over the page says when a download begins. Main
/// thread only.
class DownloadsButton : public WindowPart {
 public:
  DownloadsButton(const WindowPlace& place, EngineDownloads& downloads);
  ~DownloadsButton() override;

 private:
  void addNote(GtkOverlay* over);
  void update();
  void tellBegun(const Download& download);
  void open();

  EngineDownloads& downloads_;
  DownloadMemory memory_;
  Clock& clock_;
  DownloadList list_;
  GtkMenuButton* button_;
  GtkProgressBar* progress_;
  GtkLabel* note_;
  bool asked_ = false;
  Timer noteEnd_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
