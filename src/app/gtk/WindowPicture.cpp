#include "app/gtk/WindowPicture.h"

#include "common/Error.h"

#include <fmt/format.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace vale::gtk {

namespace {

template <auto free> struct Free {
  void operator()(auto* value) const { free(value); }
};
using Node = std::unique_ptr<GskRenderNode, Free<gsk_render_node_unref>>;
using Bytes = std::unique_ptr<GBytes, Free<g_bytes_unref>>;

}  // namespace

GObjectPointer<GdkTexture> windowPicture(GtkWindow* window) {
  const auto paintable = GObjectPointer<GdkPaintable>::adopt(gtk_widget_paintable_new(GTK_WIDGET(window)));
  auto* snapshot = gtk_snapshot_new();
  gdk_paintable_snapshot(paintable.get(), snapshot, gdk_paintable_get_intrinsic_width(paintable.get()),
                         gdk_paintable_get_intrinsic_height(paintable.get()));
  const Node node(gtk_snapshot_free_to_node(snapshot));
  GskRenderer* renderer = gtk_native_get_renderer(GTK_NATIVE(window));
  graphene_rect_t whole, bounds;
  GtkWidget* content = gtk_window_get_child(window);
  if (!node || !renderer || !gtk_widget_compute_bounds(GTK_WIDGET(window), GTK_WIDGET(window), &whole) ||
      !gtk_widget_compute_bounds(content, GTK_WIDGET(window), &bounds)) {
    throw Error("The window has not been painted, so there is no picture of it.");
  }
  // Without the frame that a window gets where no compositor draws its shadow.
  graphene_rect_offset(&bounds, -whole.origin.x, -whole.origin.y);
  const auto texture =
      GObjectPointer<GdkTexture>::adopt(gsk_renderer_render_texture(renderer, node.get(), &bounds));
  const int width = gdk_texture_get_width(texture.get());
  const int height = gdk_texture_get_height(texture.get());
  // The renderer's own texture may belong to a graphics context of this thread; its bytes do not.
  const std::size_t stride = static_cast<std::size_t>(width) * 4;
  std::vector<guchar> pixels(stride * static_cast<std::size_t>(height));
  gdk_texture_download(texture.get(), pixels.data(), stride);
  const Bytes bytes(g_bytes_new(pixels.data(), pixels.size()));
  return GObjectPointer<GdkTexture>::adopt(
      gdk_memory_texture_new(width, height, GDK_MEMORY_DEFAULT, bytes.get(), stride));
}

void writePicture(GdkTexture* picture, const std::filesystem::path& file) {
  const Bytes png(gdk_texture_save_to_png_bytes(picture));
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_bytes_get_data(png.get(), &size));
  GError* error = nullptr;
  if (!g_file_set_contents(file.c_str(), data, static_cast<gssize>(size), &error)) {
    const std::string reason = error->message;
    g_error_free(error);
    throw Error(fmt::format("The picture could not be saved to {}: {}.", file.native(), reason));
  }
}

}  // namespace vale::gtk
