#include "app/gtk/Screenshots.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/WindowPicture.h"
#include "browser/AddressDisplay.h"
#include "browser/DownloadDestination.h"
#include "common/Error.h"

#include <fmt/format.h>

#include <optional>
#include <system_error>
#include <utility>

namespace vale::gtk {

namespace {

std::filesystem::path picturesFolder() {
  const char* folder = g_get_user_special_dir(G_USER_DIRECTORY_PICTURES);
  return folder ? std::filesystem::path(folder) : std::filesystem::path(g_get_home_dir()) / "Pictures";
}

/// Blocks; any thread. Throws Error.
std::filesystem::path write(GdkTexture* picture, const std::filesystem::path& folder,
                            const std::string& title) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  const auto file =
      freeDestination(folder, safeFileName(title + ".png"), [](const std::filesystem::path& one) {
        std::error_code unknown;
        return std::filesystem::symlink_status(one, unknown).type() != std::filesystem::file_type::not_found;
      });
  writePicture(picture, file);
  return file;
}

}  // namespace

Screenshots::Screenshots(const WindowPlace& place)
    : place_(place), writing_(place.services.base.surroundings.workers, "Vale.screenshots"),
      notice_(place.above) {
  place_.actions.add("picture-of-page", [this] { takePage(); });
  place_.actions.add("picture-of-window", [this] { takeWindow(); });
}

void Screenshots::takePage() {
  auto* page = place_.pages.page();
  if (!page || !page->hasContent().value() || page->failure().value()) {
    return notice_.tell("There is no page here to take a picture of.");
  }
  notice_.clear();
  webkit_web_view_get_snapshot(
      page->view(), WEBKIT_SNAPSHOT_REGION_FULL_DOCUMENT, WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr,
      LateAnswer::call,
      LateAnswer(alive_, [this, title = windowTitle(page->title().value(), page->address().value())](
                             GObject* view, GAsyncResult* result) {
        GError* error = nullptr;
        auto picture = GObjectPointer<GdkTexture>::adopt(
            webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(view), result, &error));
        if (error) {
          notice_.tell(
              fmt::format("No picture could be taken of the whole page, which may be too long for one: "
                          "{}.",
                          error->message),
              {{.label = "Take the _Window", .chosen = [this] { takeWindow(); }}});
        }
        g_clear_error(&error);
        if (picture) save(std::move(picture), title);
      }).data());
}

void Screenshots::takeWindow() {
  notice_.clear();
  auto* window = GTK_WIDGET(place_.window);
  // Where something has just gone, a menu or a bar, there is nothing to see before the next frame.
  painted_ = connect(gtk_widget_get_frame_clock(window), "after-paint", [this] {
    auto* self = this;  // what is captured goes with the connection
    self->painted_.disconnect();
    self->paintedWindow();
  });
  gtk_widget_queue_draw(window);
}

void Screenshots::paintedWindow() {
  const char* title = gtk_window_get_title(GTK_WINDOW(place_.window));
  try {
    save(windowPicture(GTK_WINDOW(place_.window)), title ? title : "Vale");
  } catch (const Error& error) {
    notice_.tell(error.message);
  }
}

void Screenshots::save(GObjectPointer<GdkTexture> picture, const std::string& title) {
  writing_.post([this, alive = std::weak_ptr(alive_), main = place_.context->main,
                 picture = std::move(picture), folder = picturesFolder(), title] {
    std::filesystem::path file;
    std::string problem;
    try {
      file = write(picture.get(), folder, title);
    } catch (const Error& error) {
      problem = error.message;
    }
    main.post([this, alive, picture, file, problem] {
      if (alive.expired()) return;
      if (problem.empty()) return tell(picture, file);
      notice_.tell(problem, {{.label = "_Copy Instead", .chosen = [this, picture] {
                                gdk_clipboard_set_texture(gtk_widget_get_clipboard(GTK_WIDGET(place_.window)),
                                                          picture.get());
                                notice_.clear();
                              }}});
    });
  });
}

void Screenshots::tell(GObjectPointer<GdkTexture> picture, const std::filesystem::path& file) {
  const auto open = [this, file] {
    const std::unique_ptr<char, decltype(&g_free)> address(g_filename_to_uri(file.c_str(), nullptr, nullptr),
                                                           g_free);
    if (address) gtk_show_uri(GTK_WINDOW(place_.window), address.get(), GDK_CURRENT_TIME);
  };
  const auto copy = [this, picture] {
    gdk_clipboard_set_texture(gtk_widget_get_clipboard(GTK_WIDGET(place_.window)), picture.get());
  };
  notice_.inform(
      fmt::format("The picture is in {}, as {}.", file.parent_path().native(), file.filename().native()),
      {{.label = "_Copy", .chosen = copy}, {.label = "_Open", .chosen = open, .suggested = true}});
}

}  // namespace vale::gtk
