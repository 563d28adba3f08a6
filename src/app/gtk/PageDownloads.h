#pragma once

#include "app/gtk/EngineDownloads.h"
#include "app/gtk/PageEquipment.h"
#include "app/gtk/QuestionBar.h"
#include "browser/AutomaticDownloads.h"

#include <memory>
#include <string>
#include <vector>

namespace vale::gtk {

/// The downloads that one page begins: one for each act of the user goes ahead, others wait until a bar above
/// the page is answered. The page's context menu saves links and pictures where the user wants them. Main
/// thread only.
class PageDownloads : public PagePart {
 public:
  /// More than these are not kept waiting.
  static constexpr std::size_t mostHeld = 50;

  PageDownloads(WebKitPage& page, BrowsingMode mode, EngineDownloads& downloads);
  ~PageDownloads() override;

  void permit(EngineDownload& download);

 private:
  enum class Consent { given, refused };

  void watchUser();
  void watchMenu();
  void offerSaving(WebKitContextMenu* menu, WebKitContextMenuAction stock, const char* label,
                   const std::string& address);
  void ask();
  void answer(Consent consent);

  WebKitPage& page_;
  BrowsingMode mode_;
  EngineDownloads& downloads_;
  AutomaticDownloads policy_;
  std::vector<std::weak_ptr<EngineDownload>> held_;
  std::unique_ptr<QuestionBar> bar_;
  std::vector<Subscription> subscriptions_;
  Connections connections_, menuConnections_;
};

}  // namespace vale::gtk
