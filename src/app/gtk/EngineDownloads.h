#pragma once

#include "app/gtk/EngineDownload.h"
#include "common/Preferences.h"

#include <sigc++/signal.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace vale::gtk {

class PageDownloads;
class WebKitPage;

/// Brings the engine's downloads into the list of downloads, and the user's wishes about them to the engine.
/// Main thread only.
class EngineDownloads {
 public:
  /// The setting: every download asks for its place.
  static constexpr std::string_view askKey = "ValeAskWhereToSave";

  /// `windowOf` gives the window to ask in about a view's download; null for where nobody can be asked.
  EngineDownloads(Downloads& list, const Preferences& preferences, Surroundings surroundings,
                  std::function<GtkWindow*(WebKitWebView*)> windowOf);
  ~EngineDownloads();
  EngineDownloads(const EngineDownloads&) = delete;
  EngineDownloads& operator=(const EngineDownloads&) = delete;

  /// A download has begun in the engine.
  void take(WebKitDownload* download, BrowsingMode mode);

  /// Saves what is at an address, as the page would get it, at a place that the user is asked for.
  void saveAs(WebKitWebView* view, BrowsingMode mode, const std::string& address);

  /// Tries an ended download again, by way of a page of the same kind of window.
  void retry(const Download& download, WebKitWebView* view);

  void cancel(const Uuid& id);

  /// Cancels those of private windows, and takes all of theirs off the list.
  void forgetPrivate();

  /// Bytes a second; none when it does not run, or nobody knows yet.
  std::optional<double> rate(const Uuid& id) const;

  /// Asked for once more, and not answered yet.
  bool isTriedAgain(const Uuid& id) const;

  /// How many have not ended.
  std::size_t running(DownloadMemory memory) const;

  /// In this run of the program.
  bool beganInThisRun(const Download& download) const { return download.startedAt >= since_; }

  Downloads& list() const { return list_; }

  /// Fires when a download has got its place.
  sigc::signal<void(const Download&)>& begun() { return begun_; }

  /// Fires as long as something is on its way, also when nothing arrives.
  sigc::signal<void()>& progressed() { return progressed_; }

  /// Told of a page that has nothing to show, because what it was to open is being saved.
  std::function<void(WebKitPage&)> onNothingToShow = [](WebKitPage&) {};

  /// Ends everything in the engine, for termination.
  void end();

 private:
  friend class PageDownloads;

  void follow(WebKitDownload* download, DownloadWish wish);
  void permit(EngineDownload& download);
  void askForPlace(EngineDownload& download,
                   std::function<void(std::optional<std::filesystem::path>)> answer);
  EngineDownload::Host host();

  Downloads& list_;
  const Preferences& preferences_;
  Surroundings surroundings_;
  std::function<GtkWindow*(WebKitWebView*)> windowOf_;
  Date since_;
  bool requesting_ = false;
  std::map<WebKitDownload*, std::shared_ptr<EngineDownload>> downloads_;
  std::map<WebKitWebView*, PageDownloads*> pages_;
  std::set<Uuid> triedAgain_;
  sigc::signal<void(const Download&)> begun_;
  sigc::signal<void()> progressed_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vale::gtk
