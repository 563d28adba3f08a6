#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PageEquipment.h"
#include "browser/Page.h"

#include <webkit/webkit.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace vale::gtk {

/// Is handed the downloads that begin, before anything of them is written.
using DownloadTaker = std::function<void(WebKitDownload*, BrowsingMode)>;

/// The engine's process context and the session that holds cookies, caches and storage. With a folder the
/// session is kept there; without one it is forgotten once the engine and its pages are gone, in any order.
/// Main thread only.
class WebEngine : public PageEngine {
 public:
  enum class Control { user, automation };

  /// Under automation the folder is ignored: a driver's session is always forgotten.
  WebEngine(const std::optional<std::filesystem::path>& folder, Control control);

  std::unique_ptr<Page> newPage() override;

  /// An engine with a forgetful session of its own, for one private window.
  std::unique_ptr<PageEngine> newPrivateEngine() const;

  /// Equips every page from here on, those of private engines made from here on included.
  void equip(std::function<PageParts(WebKitPage&, BrowsingMode)> make);

  /// Hands on the downloads of every page, those of private engines included. Without a taker each is
  /// cancelled.
  void handDownloadsTo(DownloadTaker taker);

  /// A view of a new page, floating.
  WebKitWebView* newView() const;

  WebKitWebContext* context() const { return context_.get(); }
  WebKitNetworkSession* session() const { return session_.get(); }
  /// Shared by all pages.
  WebKitSettings* settings() const { return settings_.get(); }

 private:
  WebEngine(const WebEngine& ordinary, GObjectPointer<WebKitNetworkSession> session);

  void watchDownloads();

  Control control_;
  /// Shared with the private engines, and with sessions that outlive theirs.
  std::shared_ptr<DownloadTaker> taker_ = std::make_shared<DownloadTaker>();
  GObjectPointer<WebKitWebContext> context_;
  GObjectPointer<WebKitNetworkSession> session_;
  GObjectPointer<WebKitSettings> settings_;
  SharedPageEquipment equipment_ = std::make_shared<PageEquipment>();
};

}  // namespace vale::gtk
