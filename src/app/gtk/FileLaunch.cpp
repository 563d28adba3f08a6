#include "app/gtk/FileLaunch.h"

#include "app/gtk/GObjectPointer.h"
#include "app/gtk/Signal.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

using OwnedText = std::unique_ptr<char, decltype(&g_free)>;

OwnedText uriOf(const std::filesystem::path& path) {
  const auto file = GObjectPointer<GFile>::adopt(g_file_new_for_path(path.c_str()));
  return {g_file_get_uri(file.get()), g_free};
}

GObjectPointer<GAppLaunchContext> launchContext() {
  return GObjectPointer<GAppLaunchContext>::adopt(
      G_APP_LAUNCH_CONTEXT(gdk_display_get_app_launch_context(gdk_display_get_default())));
}

struct Launch {
  std::filesystem::path path;
  LaunchFailed failed;
};

void report(const Launch& launch, GError* error) {
  if (!error) return;
  launch.failed(fmt::format("“{}” could not be opened: {}",
                            singleLine(validUtf8(launch.path.filename().native())), error->message));
  g_error_free(error);
}

void launch(const std::filesystem::path& path, LaunchFailed failed) {
  g_app_info_launch_default_for_uri_async(
      uriOf(path).get(), launchContext().get(), nullptr,
      [](GObject*, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Launch> held(static_cast<Launch*>(data));
        guardedCall("file launch", [&] {
          GError* error = nullptr;
          g_app_info_launch_default_for_uri_finish(result, &error);
          report(*held, error);
        });
      },
      new Launch{path, std::move(failed)});
}

}  // namespace

void openFile(const std::filesystem::path& file, LaunchFailed failed) { launch(file, std::move(failed)); }

void showInFolder(const std::filesystem::path& file, LaunchFailed failed) {
  const auto asked = [](GObject* bus, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Launch> held(static_cast<Launch*>(data));
    guardedCall("file manager", [&] {
      auto* answer = bus ? g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr) : nullptr;
      if (answer) return g_variant_unref(answer);
      launch(held->path.parent_path(), std::move(held->failed));
    });
  };
  static constexpr GAsyncReadyCallback call = asked;
  g_bus_get(
      G_BUS_TYPE_SESSION, nullptr,
      [](GObject*, GAsyncResult* result, gpointer data) {
        const auto bus = GObjectPointer<GDBusConnection>::adopt(g_bus_get_finish(result, nullptr));
        if (!bus) return call(nullptr, result, data);
        const auto uri = uriOf(static_cast<Launch*>(data)->path);
        const char* const uris[] = {uri.get(), nullptr};
        g_dbus_connection_call(bus.get(), "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                               "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(^ass)", uris, ""),
                               nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, call, data);
      },
      new Launch{file, std::move(failed)});
}

}  // namespace vale::gtk
