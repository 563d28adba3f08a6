#include "app/gtk/ClosingGuard.h"

#include "app/gtk/BrowserWindow.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace vale::gtk {

namespace {

GtkWindow* windowOf(const BrowserWindows::Entry& entry) {
  return entry.window ? static_cast<BrowserWindow&>(*entry.window).window() : nullptr;
}

}  // namespace

ClosingGuard::ClosingGuard(EngineDownloads& downloads, BrowserWindows& windows)
    : downloads_(downloads), windows_(windows) {
  windows_.mayClose = [this](const BrowserWindows::Entry& entry) { return mayClose(entry); };
}

bool ClosingGuard::mayClose(const BrowserWindows::Entry& entry) {
  const bool isPrivate = entry.model->isPrivate();
  const auto alike = std::ranges::count_if(
      windows_.entries(), [&](const auto& other) { return other.model->isPrivate() == isPrivate; });
  const bool last = windows_.entries().size() == 1;
  std::size_t running = 0;
  if (isPrivate && alike == 1) running += downloads_.running(DownloadMemory::thisRun);
  if (last) running += downloads_.running(DownloadMemory::lasting);
  auto* window = windowOf(entry);
  if (running > 0 && window && !agreed_) {
    ask(window, running, [this, id = entry.model->id] { windows_.close(id); });
    return false;
  }
  if (isPrivate && alike == 1) downloads_.forgetPrivate();
  return true;
}

bool ClosingGuard::mayEnd(std::function<void()> goOn) {
  const auto running =
      downloads_.running(DownloadMemory::thisRun) + downloads_.running(DownloadMemory::lasting);
  const auto* front = windows_.front();
  auto* window = front ? windowOf(*front) : nullptr;
  if (running == 0 || !window) return true;
  ask(window, running, std::move(goOn));
  return false;
}

void ClosingGuard::ask(GtkWindow* over, std::size_t running, std::function<void()> goOn) {
  gtk_window_present(over);
  if (std::exchange(asking_, true)) return;
  const auto body =
      running == 1 ? std::string("A download is not finished. It ends when this is closed.")
                   : fmt::format("{} downloads are not finished. They end when this is closed.", running);
  auto* dialog = ADW_MESSAGE_DIALOG(adw_message_dialog_new(over, "Stop Downloading?", body.c_str()));
  adw_message_dialog_add_response(dialog, "keep", "_Keep Downloading");
  adw_message_dialog_add_response(dialog, "close", "_Close");
  adw_message_dialog_set_response_appearance(dialog, "close", ADW_RESPONSE_DESTRUCTIVE);
  adw_message_dialog_set_default_response(dialog, "keep");
  adw_message_dialog_set_close_response(dialog, "keep");
  response_ = connect(dialog, "response", [this, goOn = std::move(goOn)](const char* response) {
    const auto work = goOn;
    asking_ = false;
    if (std::string_view(response) != "close") return;
    agreed_ = true;
    work();
    agreed_ = false;
  });
  gtk_window_present(GTK_WINDOW(dialog));
}

}  // namespace vale::gtk
