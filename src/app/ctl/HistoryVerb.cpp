#include "app/ctl/Ctl.h"
#include "app/ctl/HistoryImportVerb.h"
#include "app/ctl/HistoryInput.h"
#include "common/Text.h"
#include "history/HistoryStore.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_future.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <future>
#include <memory>
#include <unistd.h>

namespace vale::ctl {
namespace {

/// What was given on the command line, whichever of the verbs was.
struct Arguments {
  bool json = false;
  PageOpening opening;
  std::string at, tab, opener, transition;
  std::filesystem::path textFile, file;
  std::string from;
  std::filesystem::path profile;
  bool batch = false;
  std::string source, query, day, archive, zone, origin, since, until;
  std::size_t limit = 50;
  std::vector<std::string> ids;
  bool all = false;
  std::string before, site, address;
};

/// Calls on the history store, one after another.
class Store {
 public:
  explicit Store(const CommonOptions& options)
      : options_(options), store_(ValeLibrary{ValeLibraryPaths::library(options.support)}, workers_) {}
  ~Store() { workers_.stop(); }

  HistoryStore* operator->() { return &store_; }

  const CommonOptions& options() const { return options_; }

  /// The result of one of its tasks, or what it threw.
  template <typename T> T await(Task<T> task) {
    auto result = asio::co_spawn(context_, std::move(task), asio::use_future);
    const auto guard = asio::make_work_guard(context_);
    context_.restart();
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) context_.run_one();
    return result.get();
  }

 private:
  const CommonOptions& options_;
  WorkerPool workers_;
  asio::io_context context_;
  HistoryStore store_;
};

void printLine(const HistoryVisit& visit) { fmt::print("{}\n", jsonLine(visit)); }

int printLines(const std::vector<HistoryVisit>& visits) {
  for (const auto& visit : visits) printLine(visit);
  return done;
}

struct BatchCounts {
  std::int64_t lines = 0;
  std::int64_t folded = 0;
  std::int64_t refused = 0;
};
BOOST_DESCRIBE_STRUCT(BatchCounts, (), (lines, folded, refused))

int appendBatch(Store& store, Arguments& given) {
  BatchCounts counts;
  forEachLine(
      readInput(given.file),
      [&](std::string_view line) {
        const auto visit = store.await(store->append(readPageOpening(line)));
        ++(visit.visitCount == 1 ? counts.lines : counts.folded);
      },
      [&](std::size_t number, const Error& error) {
        ++counts.refused;
        fmt::print(stderr, "valectl: Line {}: {}\n", number, error.message);
      });
  printJson(encode(counts));
  return done;
}

int append(Store& store, Arguments& given) {
  if (given.batch) return appendBatch(store, given);
  auto& opening = given.opening;
  if (opening.url.empty()) throw UsageError("history append needs --url, or --batch.");
  opening.visitedAt = readDate(given.at).value_or(std::chrono::system_clock::now());
  opening.tabID = readOptionalUuid(given.tab);
  opening.openerTabID = readOptionalUuid(given.opener);
  opening.transition = readTransition(given.transition);
  if (!given.textFile.empty()) opening.text = readInput(given.textFile);
  printLine(store.await(store->append(opening)));
  return done;
}

int importVisits(Store& store, Arguments& given) {
  if (!given.from.empty()) return importFromBrowser(store.options(), given.from, given.profile);
  if (given.source.empty()) throw UsageError("history import needs --source, or --from.");
  auto visits = readLines(readInput(given.file), readImportedVisit);
  const auto batch =
      store.await(store->importVisits(std::move(visits), given.source, LocalCalendar::system()));
  printJson(describe(batch));
  return done;
}

int search(Store& store, Arguments& given) {
  const auto visits = store.await(store->lexicalSearch(given.query, given.limit));
  if (given.json) return printLines(visits);
  for (const auto& visit : visits) {
    const std::string hit = visit.title.empty() ? visit.url : visit.title + "  " + visit.url;
    fmt::print("{}  {}\n", iso8601(visit.visitedAt), forTerminal(singleLine(hit), STDOUT_FILENO));
  }
  return done;
}

int days(Store& store, Arguments& given) {
  for (const auto& day : store.await(store->storedDays(readCalendar(given.zone))))
    printJson({{"day", dayKey(day.day)}, {"visitCount", day.visitCount}});
  return done;
}

int visits(Store& store, Arguments& given) {
  std::vector<Uuid> ids;
  for (const auto& word : given.ids) ids.push_back(readUuid(word));
  const auto found = store.await(store->visitsWithIDs({ids.begin(), ids.end()}));
  for (const auto& id : ids) {
    if (const auto one = found.find(id); one != found.end()) printLine(one->second);
  }
  return done;
}

json::object describe(const HistoryRemoval& removal) {
  json::array ids;
  for (const auto& id : removal.ids) ids.push_back(encode(id));
  return {{"visits", removal.visits},
          {"timelines", removal.timelines},
          {"problems", encode(removal.problems)},
          {"ids", std::move(ids)}};
}

int remove(Store& store, Arguments& given) {
  const auto calendar = readCalendar(given.zone);
  HistoryRemoval removal;
  if (!given.address.empty()) {
    const auto result = store.await(store->removeVisitsOfAddress(given.address));
    auto described = describe(result.removal);
    json::array removed;
    for (const auto& visit : result.removed) removed.push_back(parseJson(jsonLine(visit)));
    described["removed"] = std::move(removed);
    printJson(described);
    return done;
  }
  if (given.all) {
    removal = store.await(store->removeAll());
  } else if (!given.site.empty()) {
    removal = store.await(store->removeVisitsOfSite(given.site));
  } else if (!given.day.empty()) {
    removal = store.await(store->removeDay(readDay(given.day), calendar));
  } else if (const auto since = readDate(given.since)) {
    removal = store.await(store->removeVisitsSince(*since, calendar));
  } else if (const auto before = readDate(given.before)) {
    removal = store.await(store->removeVisitsBefore(*before, calendar));
  } else {
    throw UsageError("What to remove is empty.");
  }
  printJson(describe(removal));
  return done;
}

int restore(Store& store, Arguments& given) {
  const auto visits = readLines(readInput(given.file), readVisit);
  printJson({{"visits", store.await(store->restoreVisits(visits))}});
  return done;
}

using Verb = int (*)(Store&, Arguments&);

void addWritingVerbs(Arguments& given, const std::function<CLI::App*(const char*, const char*, Verb)>& add) {
  auto* append = add("append", "Record an open of a page, or a batch of them", ctl::append);
  append->add_option("--url", given.opening.url, "The page's address");
  append->add_option("--title", given.opening.title, "Its title");
  append->add_option("--text-file", given.textFile, "Its visible text; - is standard input");
  append->add_option("--at", given.at, "When it was opened (ISO 8601), instead of now");
  append->add_option("--tab", given.tab, "The UUID of the tab");
  append->add_option("--opener", given.opener, "The UUID of the tab that it was opened from");
  append->add_option("--transition", given.transition, "How it was reached");
  append->add_flag("--sensitive", given.opening.sensitive, "Keep none of its text");
  auto* batch = append->add_flag("--batch", given.batch, "Record the lines of a file");
  append->add_option("FILE", given.file, "JSON Lines; - is standard input")->needs(batch);

  auto* imported = add("import", "Merge the visits of another browser", importVisits);
  auto* source =
      imported->add_option("--source", given.source, "The browser and profile, such as chrome/Default");
  auto* from = imported->add_option("--from", given.from, "Read its own files: firefox or chromium and its kin")
                   ->excludes(source);
  imported->add_option("--profile", given.profile, "The one profile's folder, instead of all that are found")
      ->needs(from);
  imported->add_option("FILE", given.file, "JSON Lines; - is standard input")->excludes(from);

  auto* mark =
      add("mark-sensitive", "Take the text of an origin's pages away", [](Store& store, Arguments& it) {
        return printLines(
            store.await(store->markSensitive(it.origin, readDate(it.since), readDate(it.until))));
      });
  mark->add_option("--origin", given.origin, "Such as https://example.org")->required();
  mark->add_option("--since", given.since, "ISO 8601");
  mark->add_option("--until", given.until, "ISO 8601");

  auto* foreground = add("add-foreground", "Add seconds on screen", [](Store& store, Arguments& it) {
    return printLines(store.await(store->addForeground(readForegroundTimes(readInput(it.file)))));
  });
  foreground->add_option("FILE", given.file, "JSON: visit id to visitedAt and seconds; - is standard input");
}

void addReadingVerbs(Arguments& given, const std::function<CLI::App*(const char*, const char*, Verb)>& add) {
  auto* found = add("search", "Find visits, the newest first", search);
  found->add_option("--limit", given.limit, "At most so many")->capture_default_str();
  found->add_option("QUERY", given.query, "Words, and phrases in quotes")->required();

  add("days", "The days with visits", days)->add_option("--time-zone", given.zone, "Whose days");

  auto* day = add("day", "The visits of a day", [](Store& store, Arguments& it) {
    return printLines(store.await(store->visits(readDay(it.day), readCalendar(it.zone))));
  });
  day->add_option("DAY", given.day, "YYYY-MM-DD")->required();
  day->add_option("--time-zone", given.zone, "Whose day");

  auto* archive = add("archive", "All lines of an archive", [](Store& store, Arguments& it) {
    return printLines(store.await(store->records(it.archive)));
  });
  archive->add_option("NAME", given.archive, "YYYY-MM-DD.jsonl")->required();

  add("visit", "Visits by their ids", visits)->add_option("UUID", given.ids, "Their ids")->required();
}

void addRemovingVerbs(Arguments& given, const std::function<CLI::App*(const char*, const char*, Verb)>& add) {
  auto* verb = add("remove", "Remove visits", ctl::remove);
  auto* what = verb->add_option_group("what");
  what->require_option(1);
  what->add_flag("--all", given.all, "All of them");
  what->add_option("--since", given.since, "Those opened at or after a time (ISO 8601)");
  what->add_option("--before", given.before, "Those opened before a time (ISO 8601)");
  what->add_option("--day", given.day, "Those of a day, YYYY-MM-DD");
  what->add_option("--site", given.site, "Those of a host and its subdomains");
  what->add_option("--address", given.address, "Those of one address");
  verb->add_option("--time-zone", given.zone, "Whose day");

  add("restore", "Put removed visits back", restore)
      ->add_option("FILE", given.file, "Lines as they were removed; - is standard input");
}

}  // namespace

void addHistoryVerb(CLI::App& app, const CommonOptions& options, Work& work) {
  auto* verb = app.add_subcommand("history", "The history archive: record, search, read, remove");
  verb->require_subcommand(1);
  const auto given = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* about, Verb run) {
    auto* added = verb->add_subcommand(name, about);
    added->callback([&options, &work, given, run] {
      work = [&options, given, run] {
        given->json = options.json;
        Store store(options);
        return run(store, *given);
      };
    });
    return added;
  };
  addWritingVerbs(*given, add);
  addReadingVerbs(*given, add);
  addRemovingVerbs(*given, add);
}

}  // namespace vale::ctl
