#include "app/gtk/EngineDownloads.h"

#include "app/gtk/PageDownloads.h"
#include "browser/DownloadDestination.h"

#include <algorithm>
#include <ranges>
#include <utility>

namespace vale::gtk {

namespace {

/// A dialog for one file name, alive until it is answered.
struct PlaceQuestion {
  GObjectPointer<GtkFileChooserNative> dialog;
  std::function<void(std::optional<std::filesystem::path>)> answer;
  Connection response;
};

void askInDialog(GtkWindow* window, const std::filesystem::path& folder, const std::string& name,
                 std::function<void(std::optional<std::filesystem::path>)> answer) {
  auto* question =
      new PlaceQuestion{.dialog = GObjectPointer<GtkFileChooserNative>::adopt(gtk_file_chooser_native_new(
                            "Save File", window, GTK_FILE_CHOOSER_ACTION_SAVE, "_Save", "_Cancel")),
                        .answer = std::move(answer)};
  auto* chooser = GTK_FILE_CHOOSER(question->dialog.get());
  gtk_file_chooser_set_current_name(chooser, name.c_str());
  const auto start = GObjectPointer<GFile>::adopt(g_file_new_for_path(folder.c_str()));
  gtk_file_chooser_set_current_folder(chooser, start.get(), nullptr);
  question->response = connect(question->dialog.get(), "response", [question](int response) {
    const std::unique_ptr<PlaceQuestion> answered(question);
    std::optional<std::filesystem::path> chosen;
    if (response == GTK_RESPONSE_ACCEPT) {
      const auto file =
          GObjectPointer<GFile>::adopt(gtk_file_chooser_get_file(GTK_FILE_CHOOSER(answered->dialog.get())));
      const std::unique_ptr<char, decltype(&g_free)> path(file ? g_file_get_path(file.get()) : nullptr,
                                                          g_free);
      if (path) chosen = path.get();
    }
    answered->answer(std::move(chosen));
  });
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(question->dialog.get()));
}

}  // namespace

EngineDownloads::EngineDownloads(Downloads& list, const Preferences& preferences, Surroundings surroundings,
                                 std::function<GtkWindow*(WebKitWebView*)> windowOf)
    : list_(list), preferences_(preferences), surroundings_(std::move(surroundings)),
      windowOf_(std::move(windowOf)), since_(surroundings_.clock.now()) {
  list_.removeLeftovers();
}

EngineDownloads::~EngineDownloads() = default;

EngineDownload::Host EngineDownloads::host() {
  return {.permit = [this](EngineDownload& download) { permit(download); },
          .askForPlace = [this](EngineDownload& download,
                                auto answer) { askForPlace(download, std::move(answer)); },
          .begun = [this](const Download& download) { begun_.emit(download); },
          .progressed = [this] { progressed_.emit(); },
          .ended =
              [this](EngineDownload& download) {
                if (download.wish().insteadOf) triedAgain_.erase(*download.wish().insteadOf);
                // Later: the engine is busy with this very object.
                surroundings_.main.post([this, ended = download.download(), alive = std::weak_ptr(alive_)] {
                  if (alive.expired()) return;
                  downloads_.erase(ended);
                  progressed_.emit();
                });
                progressed_.emit();
              }};
}

void EngineDownloads::follow(WebKitDownload* download, DownloadWish wish) {
  if (preferences_.boolean(askKey).value_or(false)) wish.place = DownloadWish::Place::askedFor;
  downloads_[download] =
      std::make_shared<EngineDownload>(download, std::move(wish), list_, surroundings_, host());
}

void EngineDownloads::take(WebKitDownload* download, BrowsingMode mode) {
  if (requesting_ || downloads_.contains(download)) return;
  follow(download, {.mode = mode});
}

void EngineDownloads::saveAs(WebKitWebView* view, BrowsingMode mode, const std::string& address) {
  requesting_ = true;
  const auto download =
      GObjectPointer<WebKitDownload>::adopt(webkit_web_view_download_uri(view, address.c_str()));
  requesting_ = false;
  follow(download.get(),
         {.mode = mode, .from = DownloadWish::From::user, .place = DownloadWish::Place::askedFor});
}

void EngineDownloads::retry(const Download& download, WebKitWebView* view) {
  if (!triedAgain_.insert(download.id).second) return;
  requesting_ = true;
  const auto again =
      GObjectPointer<WebKitDownload>::adopt(webkit_web_view_download_uri(view, download.url.c_str()));
  requesting_ = false;
  const auto mode =
      list_.memory(download.id) == DownloadMemory::thisRun ? BrowsingMode::isPrivate : BrowsingMode::ordinary;
  follow(again.get(), {.mode = mode, .from = DownloadWish::From::user, .insteadOf = download.id});
  progressed_.emit();
}

void EngineDownloads::cancel(const Uuid& id) {
  for (const auto& download : std::vector(downloads_.begin(), downloads_.end()) | std::views::values) {
    if (download->id() == id || download->wish().insteadOf == id) download->cancel();
  }
}

void EngineDownloads::forgetPrivate() {
  for (const auto& download : std::vector(downloads_.begin(), downloads_.end()) | std::views::values) {
    if (download->wish().mode == BrowsingMode::isPrivate) download->cancel();
  }
  list_.removeEnded(DownloadMemory::thisRun);
}

std::optional<double> EngineDownloads::rate(const Uuid& id) const {
  for (const auto& download : downloads_ | std::views::values) {
    if (download->id() == id) return download->rate();
  }
  return std::nullopt;
}

bool EngineDownloads::isTriedAgain(const Uuid& id) const { return triedAgain_.contains(id); }

std::size_t EngineDownloads::running(DownloadMemory memory) const {
  return static_cast<std::size_t>(std::ranges::count_if(list_.downloads().value(), [&](const Download& one) {
    return !one.hasEnded() && list_.memory(one.id) == memory;
  }));
}

void EngineDownloads::permit(EngineDownload& download) {
  if (download.wish().from == DownloadWish::From::user) return download.begin();
  const auto page = pages_.find(webkit_download_get_web_view(download.download()));
  // Nobody could be asked about it.
  if (page == pages_.end()) return download.drop();
  page->second->permit(download);
}

void EngineDownloads::askForPlace(EngineDownload& download,
                                  std::function<void(std::optional<std::filesystem::path>)> answer) {
  auto* window = windowOf_(webkit_download_get_web_view(download.download()));
  if (!window) return answer(std::nullopt);
  askInDialog(window, list_.directory(), safeFileName(download.name()), std::move(answer));
}

void EngineDownloads::end() {
  // Those that run stay so in the list's file, and are found interrupted at the next start.
  for (const auto& download : downloads_ | std::views::values) download->stop();
  downloads_.clear();
}

}  // namespace vale::gtk
