#include "app/gtk/SiteData.h"

#include "app/gtk/Signal.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <memory>
#include <utility>
#include <vector>

namespace vale::gtk {

namespace {

constexpr auto cleared =
    static_cast<WebKitWebsiteDataTypes>(WEBKIT_WEBSITE_DATA_ALL & ~WEBKIT_WEBSITE_DATA_HSTS_CACHE);

struct FreeEntries {
  void operator()(GList* list) const {
    g_list_free_full(list,
                     [](gpointer one) { webkit_website_data_unref(static_cast<WebKitWebsiteData*>(one)); });
  }
};
using Entries = std::unique_ptr<GList, FreeEntries>;
using EntriesAnswer = std::function<void(WebKitWebsiteDataManager*, Entries)>;

/// The engine's entries are named for the domain that its owner registered.
bool belongsTo(WebKitWebsiteData* entry, const std::string& server) {
  const std::string_view name = webkit_website_data_get_name(entry);
  if (name.empty() || !server.ends_with(name)) return false;
  return server.size() == name.size() || server[server.size() - name.size() - 1] == '.';
}

void fetchEntries(WebKitNetworkSession* session, std::string_view address, EntriesAnswer answer) {
  struct Request {
    std::string server;
    EntriesAnswer answer;
  };
  webkit_website_data_manager_fetch(
      webkit_network_session_get_website_data_manager(session), cleared, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Request> request(static_cast<Request*>(data));
        auto* manager = WEBKIT_WEBSITE_DATA_MANAGER(source);
        const Entries all(webkit_website_data_manager_fetch_finish(manager, result, nullptr));
        GList* own = nullptr;
        for (auto* one = all.get(); one; one = one->next) {
          auto* entry = static_cast<WebKitWebsiteData*>(one->data);
          if (belongsTo(entry, request->server)) own = g_list_prepend(own, webkit_website_data_ref(entry));
        }
        guardedCall("site data", [&] { request->answer(manager, Entries(own)); });
      },
      new Request{host(address), std::move(answer)});
}

std::string sentenceOf(const GList* entries) {
  unsigned types = 0;
  guint64 size = 0;
  for (const auto* one = entries; one; one = one->next) {
    auto* entry = static_cast<WebKitWebsiteData*>(one->data);
    types |= webkit_website_data_get_types(entry);
    size += webkit_website_data_get_size(entry, cleared);
  }
  std::vector<std::string> kinds;
  const auto add = [&](unsigned of, std::string name) {
    if (types & of) kinds.push_back(std::move(name));
  };
  add(WEBKIT_WEBSITE_DATA_COOKIES, "cookies");
  add(WEBKIT_WEBSITE_DATA_LOCAL_STORAGE | WEBKIT_WEBSITE_DATA_SESSION_STORAGE |
          WEBKIT_WEBSITE_DATA_INDEXEDDB_DATABASES,
      "stored data");
  add(WEBKIT_WEBSITE_DATA_SERVICE_WORKER_REGISTRATIONS, "background scripts");
  add(WEBKIT_WEBSITE_DATA_DISK_CACHE | WEBKIT_WEBSITE_DATA_MEMORY_CACHE | WEBKIT_WEBSITE_DATA_DOM_CACHE,
      "cached copies");
  if (kinds.empty()) return "This site keeps no cookies or data here.";
  std::string list;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    list += (i == 0 ? "" : i + 1 == kinds.size() ? " and " : ", ") + kinds[i];
  }
  if (size == 0) return fmt::format("This site keeps {} here.", list);
  const std::unique_ptr<char, decltype(&g_free)> amount(g_format_size(size), g_free);
  return fmt::format("This site keeps {} here, {} on disk.", list, amount.get());
}

}  // namespace

void describeSiteData(WebKitNetworkSession* session, std::string_view address,
                      std::function<void(std::string, bool)> answer) {
  fetchEntries(session, address,
               [answer = std::move(answer)](WebKitWebsiteDataManager*, const Entries& entries) {
                 answer(sentenceOf(entries.get()), entries != nullptr);
               });
}

void clearSiteData(WebKitNetworkSession* session, std::string_view address, std::function<void()> answer) {
  fetchEntries(
      session, address,
      [answer = std::move(answer)](WebKitWebsiteDataManager* manager, const Entries& entries) {
        if (!entries) return answer();
        webkit_website_data_manager_remove(
            manager, cleared, entries.get(), nullptr,
            [](GObject* source, GAsyncResult* result, gpointer data) {
              const std::unique_ptr<std::function<void()>> answer(static_cast<std::function<void()>*>(data));
              webkit_website_data_manager_remove_finish(WEBKIT_WEBSITE_DATA_MANAGER(source), result, nullptr);
              guardedCall("site data", [&] { (*answer)(); });
            },
            new std::function<void()>(answer));
      });
}

}  // namespace vale::gtk
