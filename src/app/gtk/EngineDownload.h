#pragma once

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "browser/BrowserModel.h"
#include "browser/DownloadSpeed.h"
#include "browser/Downloads.h"

#include <webkit/webkit.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vale::gtk {

/// How a download came to be.
struct DownloadWish {
  enum class From { page, user };
  enum class Place { ofTheSettings, askedFor };

  BrowsingMode mode = BrowsingMode::ordinary;
  From from = From::page;
  Place place = Place::ofTheSettings;
  /// The entry of the list that this is another try of; it goes once this one is there.
  std::optional<Uuid> insteadOf;
};

/// One download of the engine, from its first answer to its end: it waits until it is permitted, gets its
/// place in the list and tells the list how it goes. Nothing is written before that. Main thread only.
class EngineDownload : public std::enable_shared_from_this<EngineDownload> {
 public:
  struct Host {
    /// The server has answered: calls `begin` or `drop` of the download, sooner or later.
    std::function<void(EngineDownload&)> permit;
    /// The user is to name a file; answers with none when they would rather not.
    std::function<void(EngineDownload&, std::function<void(std::optional<std::filesystem::path>)>)>
        askForPlace;
    std::function<void(const Download&)> begun;
    std::function<void()> progressed;
    /// Nothing more comes of it. It may be destroyed later, not at once.
    std::function<void(EngineDownload&)> ended;
  };

  /// The list must outlive it.
  EngineDownload(WebKitDownload* download, DownloadWish wish, Downloads& list, Surroundings surroundings,
                 Host host);
  EngineDownload(const EngineDownload&) = delete;
  EngineDownload& operator=(const EngineDownload&) = delete;

  void begin();
  /// Ends it without a trace in the list, as long as it has not begun.
  void drop();
  /// The user does not want it any more.
  void cancel();
  /// Ends it in the engine only, for termination.
  void stop();

  const DownloadWish& wish() const { return wish_; }
  /// The name that the server suggests.
  const std::string& name() const { return name_; }
  /// None before it has begun.
  const std::optional<Uuid>& id() const { return id_; }
  WebKitDownload* download() const { return download_.get(); }
  std::optional<double> rate() const { return speed_.rate(); }

 private:
  void decide(const std::string& name);
  void place(std::optional<std::filesystem::path> chosen);
  void begun(const std::expected<Download, std::string>& begun);
  void failed(const GError& error);
  void finished();
  void endAsFailed(const std::string& sentence);
  void stopLater();
  void end();
  void tick();
  void noteProgress();
  std::string address() const;
  DownloadMemory memory() const;

  GObjectPointer<WebKitDownload> download_;
  DownloadWish wish_;
  Downloads& list_;
  Surroundings surroundings_;
  Host host_;
  std::string name_;
  std::optional<Uuid> id_;
  std::optional<std::string> failure_;
  bool ended_ = false;
  bool engineDone_ = false;
  std::optional<std::int64_t> expected_;
  bool encoded_ = false;  ///< the server counts other bytes than those that are written
  DownloadSpeed speed_;
  Timer tick_;
  Connections connections_;
};

}  // namespace vale::gtk
