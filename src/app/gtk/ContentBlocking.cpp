#include "app/gtk/ContentBlocking.h"

#include "app/gtk/Signal.h"
#include "common/Error.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

/// What the engine does not take whole it is given in halves, but not for ever.
constexpr int mostRefusals = 40;

struct FreeError {
  void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPointer = std::unique_ptr<GError, FreeError>;

ContentFilter adopt(WebKitUserContentFilter* filter) {
  return ContentFilter(filter, webkit_user_content_filter_unref);
}

/// Hands an asynchronous result of the store to a lambda.
template <typename Work> gpointer packed(Work work) {
  return new std::function<void(GAsyncResult*)>(std::move(work));
}
void unpack(GObject*, GAsyncResult* result, gpointer data) noexcept {
  const std::unique_ptr<std::function<void(GAsyncResult*)>> work(
      static_cast<std::function<void(GAsyncResult*)>*>(data));
  guardedCall("filter store", [&] { (*work)(result); });
}

/// The folder is made first: the engine would let others look into it.
GObjectPointer<WebKitUserContentFilterStore> storeIn(const std::filesystem::path& folder) {
  try {
    PrivateFiles::makeFolder(folder);
  } catch (const Error& error) {
    log::warning("{}", error.message);
  }
  return GObjectPointer<WebKitUserContentFilterStore>::adopt(
      webkit_user_content_filter_store_new(folder.c_str()));
}

std::string sentence(std::int64_t leftOut) {
  return fmt::format("{} of the rules are not used: they are too many, or the engine did not take them.",
                     leftOut);
}

}  // namespace

/// One attempt to get the blockers of a set of lists.
struct ContentBlocking::Run {
  std::string key;
  std::vector<std::string> names;  ///< of the blockers to load, or made so far
  std::vector<ContentFilter> filters;
  std::deque<ContentRules> waiting;  ///< to be compiled
  int refusals = 0;
  int made = 0;
  std::int64_t leftOut = 0;
  std::string failure;  ///< the engine's last word where nothing could be made
};

ContentBlocking::ContentBlocking(const std::filesystem::path& folder, Preferences& preferences,
                                 const Surroundings& surroundings)
    : preferences_(preferences), surroundings_(surroundings),
      queue_(surroundings.workers, "Vale.blocking-rules"), lists_(folder, surroundings),
      store_(storeIn(folder / "Compiled")),
      gone_(GObjectPointer<GCancellable>::adopt(g_cancellable_new())),
      self_(std::make_shared<ContentBlocking*>(this)) {
  changes_.push_back(Subscription(preferences.changed().connect([this](const std::string& key) {
    if (key == preferenceKey) update();
  })));
  changes_.push_back(lists_.content().subscribe([this](const auto&) { update(); }));
  update();
}

ContentBlocking::~ContentBlocking() {
  if (later_) g_source_remove(later_);
  g_cancellable_cancel(gone_.get());
}

void ContentBlocking::shutdown() {
  run_.reset();
  lists_.save();
}

void ContentBlocking::retry() {
  key_.clear();
  update();
}

/// Sees to it that the filters are those of the settings.
void ContentBlocking::update() {
  const auto wanted = isEnabled() ? lists_.key() : std::string();
  if (wanted == key_) return;
  key_ = wanted;
  run_.reset();
  problem_.set(std::nullopt);
  if (wanted.empty()) {
    isWorking_.set(false);
    filters_.set({});
    return;
  }
  load();
}

// ---------------------------------------------------------------------------------------------------------
// Loading what was compiled before

void ContentBlocking::load() {
  isWorking_.set(true);
  const auto run = std::make_shared<Run>();
  run_ = run;
  run->key = key_;
  if (const auto& compiled = lists_.content().value().compiled; compiled && compiled->key == key_) {
    run->names = compiled->blockers;
    run->leftOut = compiled->leftOut;
    loadNext(run);
  } else {
    convert(run);
  }
}

void ContentBlocking::loadNext(const std::shared_ptr<Run>& run) {
  if (run->filters.size() == run->names.size()) return finish(run);
  webkit_user_content_filter_store_load(
      store_.get(), run->names[run->filters.size()].c_str(), gone_.get(), unpack,
      packed([store = store_, run, weak = Weak(self_)](GAsyncResult* result) {
        GError* error = nullptr;
        auto* filter = webkit_user_content_filter_store_load_finish(store.get(), result, &error);
        const ErrorPointer owned(error);
        const auto loaded = filter ? adopt(filter) : nullptr;
        const auto self = weak.lock();
        if (!self || (*self)->run_ != run) return;
        if (loaded) {
          run->filters.push_back(loaded);
          return (*self)->loadNext(run);
        }
        log::info("The blockers are compiled anew: {}", error ? error->message : "one is missing");
        run->filters.clear();
        run->names.clear();
        run->leftOut = 0;
        (*self)->convert(run);
      }));
}

// ---------------------------------------------------------------------------------------------------------
// Compiling

/// Begins when the main loop has nothing better to do: the first window is painted before.
void ContentBlocking::convert(const std::shared_ptr<Run>& run) {
  if (later_) g_source_remove(later_);
  struct Later {
    ContentBlocking* self;
    std::shared_ptr<Run> run;
  };
  later_ = g_idle_add_full(
      G_PRIORITY_LOW,
      [](gpointer data) -> gboolean {
        const auto& [self, run] = *static_cast<Later*>(data);
        self->later_ = 0;
        if (self->run_ != run) return G_SOURCE_REMOVE;
        self->queue_.post(
            [read = self->lists_.reader(), run, main = self->surroundings_.main, weak = Weak(self->self_)] {
              auto made = ContentRules::make(read());
              main.post([made = std::move(made), run, weak]() mutable {
                const auto self = weak.lock();
                if (!self || (*self)->run_ != run) return;
                run->leftOut = static_cast<std::int64_t>(made.leftOut);
                run->waiting.assign(std::make_move_iterator(made.blockers.begin()),
                                    std::make_move_iterator(made.blockers.end()));
                (*self)->compileNext(run);
              });
            });
        return G_SOURCE_REMOVE;
      },
      new Later{this, run}, [](gpointer data) { delete static_cast<Later*>(data); });
}

void ContentBlocking::compileNext(const std::shared_ptr<Run>& run) {
  if (run->waiting.empty()) return finish(run);
  auto rules = std::move(run->waiting.front());
  run->waiting.pop_front();
  // Tens of megabytes are put together elsewhere.
  queue_.post([rules = std::move(rules), run, main = surroundings_.main, weak = Weak(self_)]() mutable {
    auto text = rules.text();
    main.post([text = std::move(text), rules = std::move(rules), run, weak]() mutable {
      const auto self = weak.lock();
      if (!self || (*self)->run_ != run) return;
      auto* held = new std::string(std::move(text));
      const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(
          g_bytes_new_with_free_func(
              held->data(), held->size(), [](gpointer data) { delete static_cast<std::string*>(data); },
              held),
          g_bytes_unref);
      run->names.push_back(fmt::format("{}-{}", run->key.substr(0, 16), run->made++));
      webkit_user_content_filter_store_save(
          (*self)->store_.get(), run->names.back().c_str(), bytes.get(), (*self)->gone_.get(), unpack,
          packed([store = (*self)->store_, rules = std::move(rules), run, weak](GAsyncResult* result) {
            GError* error = nullptr;
            auto* filter = webkit_user_content_filter_store_save_finish(store.get(), result, &error);
            const ErrorPointer owned(error);
            const auto self = weak.lock();
            if (self && (*self)->run_ == run) {
              (*self)->compiled(run, rules, filter, error ? error->message : "");
            } else if (filter) {
              webkit_user_content_filter_unref(filter);
            }
          }));
    });
  });
}

void ContentBlocking::compiled(const std::shared_ptr<Run>& run, const ContentRules& rules,
                               WebKitUserContentFilter* filter, const std::string& reason) {
  if (filter) {
    run->filters.push_back(adopt(filter));
    return compileNext(run);
  }
  run->names.pop_back();
  run->failure = reason;
  log::warning("The engine did not take {} rules: {}", rules.own.size(), reason);
  // One bad rule must not lose the others.
  if (rules.own.size() > 1 && ++run->refusals <= mostRefusals) {
    auto [first, second] = rules.halves();
    run->waiting.push_front(std::move(second));
    run->waiting.push_front(std::move(first));
  } else {
    run->leftOut += static_cast<std::int64_t>(rules.own.size());
  }
  compileNext(run);
}

void ContentBlocking::finish(const std::shared_ptr<Run>& run) {
  if (run->made > 0 || run->filters.empty()) {
    if (run->failure.empty() || !run->filters.empty()) {
      lists_.setCompiled({.key = run->key, .blockers = run->names, .leftOut = run->leftOut});
    }
    removeOthers(run->names);
  }
  say(*run);
  filters_.set(run->filters);
  run_.reset();
  isWorking_.set(false);
}

void ContentBlocking::say(const Run& run) {
  if (!run.failure.empty() && run.filters.empty()) {
    problem_.set("Nothing is blocked: the engine could not make use of the lists. It said: " + run.failure);
  } else if (run.leftOut > 0) {
    problem_.set(sentence(run.leftOut));
  }
}

/// Blockers of earlier lists, and of runs that did not come to their end.
void ContentBlocking::removeOthers(const std::vector<std::string>& named) {
  webkit_user_content_filter_store_fetch_identifiers(
      store_.get(), gone_.get(), unpack, packed([store = store_, named](GAsyncResult* result) {
        const std::unique_ptr<char*, decltype(&g_strfreev)> present(
            webkit_user_content_filter_store_fetch_identifiers_finish(store.get(), result), g_strfreev);
        for (auto* name = present.get(); name && *name; ++name) {
          if (std::ranges::find(named, std::string_view(*name)) != named.end()) continue;
          webkit_user_content_filter_store_remove(store.get(), *name, nullptr, nullptr, nullptr);
        }
      }));
}

}  // namespace vale::gtk
