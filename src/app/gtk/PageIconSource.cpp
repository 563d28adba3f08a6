#include "app/gtk/PageIconSource.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vale::gtk {

namespace {

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

std::string png(GdkTexture* texture) {
  std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(gdk_texture_save_to_png_bytes(texture),
                                                          g_bytes_unref);
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_bytes_get_data(bytes.get(), &size));
  return {data, size};
}

std::string scaledPng(GdkTexture* texture) {
  const int width = gdk_texture_get_width(texture);
  const int height = gdk_texture_get_height(texture);
  const double scale = static_cast<double>(PageIconSource::largestSide) / std::max(width, height);
  const Surface large(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height), cairo_surface_destroy);
  const Surface small(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, std::max(1, int(width * scale)),
                                                 std::max(1, int(height * scale))),
                      cairo_surface_destroy);
  if (!cairo_image_surface_get_data(large.get())) return {};
  gdk_texture_download(texture, cairo_image_surface_get_data(large.get()),
                       static_cast<gsize>(cairo_image_surface_get_stride(large.get())));
  cairo_surface_mark_dirty(large.get());
  const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo(cairo_create(small.get()), cairo_destroy);
  cairo_scale(cairo.get(), scale, scale);
  cairo_set_source_surface(cairo.get(), large.get(), 0, 0);
  cairo_paint(cairo.get());
  std::string result;
  const auto append = [](void* closure, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
  };
  cairo_surface_write_to_png_stream(small.get(), append, &result);
  return result;
}

void encode(GTask* task, gpointer, gpointer texture, GCancellable*) {
  auto* image = GDK_TEXTURE(texture);
  const bool large =
      std::max(gdk_texture_get_width(image), gdk_texture_get_height(image)) > PageIconSource::largestSide;
  auto* result = guardedCall("icon", [&] { return new std::string(large ? scaledPng(image) : png(image)); });
  g_task_return_pointer(task, result, [](gpointer text) { delete static_cast<std::string*>(text); });
}

}  // namespace

PageIconSource::PageIconSource(WebKitWebView* view, std::function<void(PageIcon)> changed)
    : changed_(std::move(changed)), connection_(connect(view, "notify::favicon", [this, view](GParamSpec*) {
        update(webkit_web_view_get_favicon(view));
      })) {}

PageIconSource::~PageIconSource() {
  if (encoding_) g_cancellable_cancel(encoding_.get());
}

void PageIconSource::update(GdkTexture* texture) {
  if (encoding_) g_cancellable_cancel(encoding_.get());
  encoding_.reset();
  if (!texture) return changed_(nullptr);
  encoding_ = GObjectPointer<GCancellable>::adopt(g_cancellable_new());
  const auto finished = [](GObject*, GAsyncResult* result, gpointer self) {
    auto* task = G_TASK(result);
    // Of a cancelled task the object may be gone.
    if (g_cancellable_is_cancelled(g_task_get_cancellable(task))) return;
    const std::unique_ptr<std::string> bytes(
        static_cast<std::string*>(g_task_propagate_pointer(task, nullptr)));
    if (!bytes || bytes->empty()) return;
    guardedCall("icon of a page", [&] {
      static_cast<PageIconSource*>(self)->changed_(std::make_shared<const std::string>(std::move(*bytes)));
    });
  };
  const auto task = GObjectPointer<GTask>::adopt(g_task_new(nullptr, encoding_.get(), finished, this));
  g_task_set_task_data(task.get(), g_object_ref(texture), g_object_unref);
  g_task_run_in_thread(task.get(), encode);
}

}  // namespace vale::gtk
