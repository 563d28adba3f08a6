#include "app/gtk/EngineDownload.h"

#include "browser/DownloadWords.h"

#include <utility>

namespace vale::gtk {

namespace {

/// Often enough to be alive, seldom enough to be read.
constexpr Seconds betweenTicks{0.5};

}  // namespace

EngineDownload::EngineDownload(WebKitDownload* download, DownloadWish wish, Downloads& list,
                               Surroundings surroundings, Host host)
    : download_(GObjectPointer<WebKitDownload>::share(download)), wish_(std::move(wish)), list_(list),
      surroundings_(std::move(surroundings)), host_(std::move(host)) {
  const auto on = [this](const char* signal, auto handler) {
    connections_.push_back(connect(download_.get(), signal, std::move(handler)));
  };
  on("decide-destination", [this](const char* suggested) -> gboolean {
    decide(suggested ? suggested : "");
    // The place comes later; until then nothing is written.
    return TRUE;
  });
  on("failed", [this](GError* error) { failed(*error); });
  on("finished", [this] { finished(); });
}

std::string EngineDownload::address() const {
  const char* uri = webkit_uri_request_get_uri(webkit_download_get_request(download_.get()));
  return uri ? uri : "";
}

DownloadMemory EngineDownload::memory() const {
  return wish_.mode == BrowsingMode::isPrivate ? DownloadMemory::thisRun : DownloadMemory::lasting;
}

void EngineDownload::decide(const std::string& name) {
  name_ = name;
  auto* response = webkit_download_get_response(download_.get());
  const auto status = response ? webkit_uri_response_get_status_code(response) : 0;
  if (status >= 400) return endAsFailed(refusedDownload(status));
  const auto length = response ? webkit_uri_response_get_content_length(response) : 0;
  if (length > 0) expected_ = static_cast<std::int64_t>(length);
  auto* headers = response ? webkit_uri_response_get_http_headers(response) : nullptr;
  encoded_ = headers && soup_message_headers_get_one(headers, "Content-Encoding");
  host_.permit(*this);
}

void EngineDownload::begin() {
  if (ended_) return;
  if (wish_.place == DownloadWish::Place::ofTheSettings) return place(std::nullopt);
  host_.askForPlace(*this, [weak = weak_from_this()](std::optional<std::filesystem::path> chosen) {
    const auto self = weak.lock();
    if (!self) return;
    if (!chosen) return self->drop();
    self->place(std::move(chosen));
  });
}

void EngineDownload::place(std::optional<std::filesystem::path> chosen) {
  if (ended_) return;
  const auto done = [weak = weak_from_this(),
                     &list = list_](const std::expected<Download, std::string>& result) {
    if (const auto self = weak.lock()) return self->begun(result);
    if (result) list.setState(result->id, DownloadState::cancelled);
  };
  if (chosen) {
    list_.beginAt(address(), *std::move(chosen), memory(), done);
  } else {
    list_.begin(address(), name_, memory(), done);
  }
}

void EngineDownload::begun(const std::expected<Download, std::string>& begun) {
  if (wish_.insteadOf) list_.remove(*wish_.insteadOf);
  if (!begun) {
    stopLater();
    return end();
  }
  if (ended_) return list_.setState(begun->id, DownloadState::failed, failure_);
  id_ = begun->id;
  host_.begun(*begun);
  speed_.note(surroundings_.clock.now(), 0);
  noteProgress();
  tick();
  webkit_download_set_destination(download_.get(), Downloads::partialFile(*begun).c_str());
}

void EngineDownload::tick() {
  tick_ = surroundings_.clock.schedule(betweenTicks, [this] {
    noteProgress();
    host_.progressed();
    tick();
  });
}

void EngineDownload::noteProgress() {
  const auto received = static_cast<std::int64_t>(webkit_download_get_received_data_length(download_.get()));
  speed_.note(surroundings_.clock.now(), received);
  const bool known = expected_ && !encoded_ && received <= *expected_;
  list_.noteProgress(*id_, received, known ? expected_ : std::nullopt);
}

void EngineDownload::failed(const GError& error) {
  engineDone_ = true;
  if (ended_) return;
  const bool onDisk = g_error_matches(&error, WEBKIT_DOWNLOAD_ERROR, WEBKIT_DOWNLOAD_ERROR_DESTINATION);
  endAsFailed(failedDownload(onDisk ? DownloadFailure::disk : DownloadFailure::network, error.message));
}

void EngineDownload::finished() {
  engineDone_ = true;
  if (ended_ || !id_) return;
  noteProgress();
  const auto received = static_cast<std::int64_t>(webkit_download_get_received_data_length(download_.get()));
  if (expected_ && !encoded_ && received < *expected_) {
    return endAsFailed(
        failedDownload(DownloadFailure::network, "the connection ended before the file was complete"));
  }
  list_.complete(*id_);
  end();
}

void EngineDownload::endAsFailed(const std::string& sentence) {
  failure_ = sentence;
  if (id_) {
    list_.setState(*id_, DownloadState::failed, sentence);
  } else {
    if (wish_.insteadOf) list_.remove(*wish_.insteadOf);
    list_.addFailed(address(), name_.empty() ? nameInAddress(address()) : name_, memory(), sentence);
  }
  stopLater();
  end();
}

void EngineDownload::drop() {
  if (ended_ || id_) return;
  stopLater();
  end();
}

void EngineDownload::cancel() {
  if (ended_) return;
  if (!id_) return drop();
  list_.setState(*id_, DownloadState::cancelled);
  stopLater();
  end();
}

/// The engine may be busy with this very download.
void EngineDownload::stopLater() {
  surroundings_.main.post([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->stop();
  });
}

void EngineDownload::stop() {
  // It does not survive being told twice, nor after the end.
  if (!std::exchange(engineDone_, true)) webkit_download_cancel(download_.get());
}

void EngineDownload::end() {
  if (std::exchange(ended_, true)) return;
  tick_.cancel();
  host_.ended(*this);
}

}  // namespace vale::gtk
