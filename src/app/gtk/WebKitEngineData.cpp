#include "app/gtk/WebKitEngineData.h"

#include "app/gtk/Signal.h"
#include "common/Error.h"
#include "common/OneShot.h"

#include <fmt/format.h>

#include <algorithm>
#include <expected>
#include <memory>
#include <utility>

namespace vale::gtk {

namespace {

template <typename T> using Outcome = std::expected<T, Error>;

constexpr int cacheTypes = WEBKIT_WEBSITE_DATA_MEMORY_CACHE | WEBKIT_WEBSITE_DATA_DISK_CACHE |
                           WEBKIT_WEBSITE_DATA_OFFLINE_APPLICATION_CACHE | WEBKIT_WEBSITE_DATA_DOM_CACHE;

/// What says nothing of the sites that were visited, but protects the user, is not counted.
constexpr int countedTypes = WEBKIT_WEBSITE_DATA_LOCAL_STORAGE | WEBKIT_WEBSITE_DATA_INDEXEDDB_DATABASES |
                             WEBKIT_WEBSITE_DATA_COOKIES | WEBKIT_WEBSITE_DATA_SERVICE_WORKER_REGISTRATIONS;

WebKitWebsiteDataTypes typesOf(EngineData::Part part) {
  const int types = part == EngineData::Part::cache ? cacheTypes : WEBKIT_WEBSITE_DATA_ALL & ~cacheTypes;
  return static_cast<WebKitWebsiteDataTypes>(types);
}

template <typename T> Task<T> ended(OneShot<Outcome<T>> answer) {
  auto outcome = co_await answer.wait();
  if (!outcome) throw outcome.error();
  co_return std::move(*outcome);
}

/// The answer that a finished operation is to give, out of its callback's data.
template <typename T> std::unique_ptr<OneShot<Outcome<T>>> answerIn(gpointer data) {
  return std::unique_ptr<OneShot<Outcome<T>>>(static_cast<OneShot<Outcome<T>>*>(data));
}

Error reason(GError* error) {
  Error told(fmt::format("The web engine refused: {}.", error ? error->message : "it did not say why"));
  g_clear_error(&error);
  return told;
}

}  // namespace

WebKitEngineData::WebKitEngineData(WebKitNetworkSession* session)
    : data_(GObjectPointer<WebKitWebsiteDataManager>::share(
          webkit_network_session_get_website_data_manager(session))),
      gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())) {}

WebKitEngineData::~WebKitEngineData() { g_cancellable_cancel(gone_.get()); }

Task<EngineData::Amount> WebKitEngineData::amount(Part part) {
  const OneShot<Outcome<Amount>> answer;
  const auto types = part == Part::cache ? typesOf(part) : static_cast<WebKitWebsiteDataTypes>(countedTypes);
  webkit_website_data_manager_fetch(
      data_.get(), types, gone_.get(),
      [](GObject* manager, GAsyncResult* result, gpointer data) {
        const auto answer = answerIn<Amount>(data);
        GError* error = nullptr;
        auto* list =
            webkit_website_data_manager_fetch_finish(WEBKIT_WEBSITE_DATA_MANAGER(manager), result, &error);
        if (error) return answer->set(std::unexpected(reason(error)));
        Amount amount;
        for (auto* at = list; at; at = at->next) {
          auto* site = static_cast<WebKitWebsiteData*>(at->data);
          ++amount.sites;
          amount.bytes += webkit_website_data_get_size(site, WEBKIT_WEBSITE_DATA_DISK_CACHE);
        }
        g_list_free_full(
            list, [](gpointer site) { webkit_website_data_unref(static_cast<WebKitWebsiteData*>(site)); });
        answer->set(amount);
      },
      new OneShot<Outcome<Amount>>(answer));
  return ended(answer);
}

Task<bool> WebKitEngineData::clear(Part part, std::optional<Seconds> span) {
  const OneShot<Outcome<bool>> answer;
  // Microseconds; zero means all.
  const auto time = span ? std::max<GTimeSpan>(1, static_cast<GTimeSpan>(span->count() * 1e6)) : GTimeSpan(0);
  webkit_website_data_manager_clear(
      data_.get(), typesOf(part), time, gone_.get(),
      [](GObject* manager, GAsyncResult* result, gpointer data) {
        const auto answer = answerIn<bool>(data);
        GError* error = nullptr;
        webkit_website_data_manager_clear_finish(WEBKIT_WEBSITE_DATA_MANAGER(manager), result, &error);
        if (error) return answer->set(std::unexpected(reason(error)));
        answer->set(true);
      },
      new OneShot<Outcome<bool>>(answer));
  return ended(answer);
}

void WebKitEngineData::clearIcons() {
  if (auto* icons = webkit_website_data_manager_get_favicon_database(data_.get())) {
    webkit_favicon_database_clear(icons);
  }
}

}  // namespace vale::gtk
