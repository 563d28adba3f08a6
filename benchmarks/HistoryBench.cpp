#include "benchmarks/Rows.h"
#include "history/HistoryArchive.h"
#include "history/HistoryLineReader.h"

#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <simdjson.h>
#include <sqlite3.h>

namespace vale::bench {
namespace {

/// A folder that goes away with everything in it.
class Folder {
 public:
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vale-bench-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw Unmeasured("there is no temporary folder");
    path = pattern;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::filesystem::path path;
};

/// Words, as many as the text of a page has.
std::string pageText(std::mt19937& random) {
  std::string text;
  const std::size_t length = 500 + random() % 7'000;
  while (text.size() < length) {
    for (auto letters = 2 + random() % 8; letters > 0; --letters) text += char('a' + random() % 26);
    text += random() % 50 == 0 ? "\n" : random() % 70 == 0 ? " “caf\u00e9” " : " ";
  }
  return text;
}

PageOpening opening(std::size_t number, std::mt19937& random) {
  using namespace std::chrono;
  return {.url = fmt::format("https://example.org/articles/{}?from=list", number),
          .title = fmt::format("The article number {} of a site", number),
          .text = pageText(random),
          .visitedAt = sys_days(2026y / November / 22) + seconds(number),
          .tabID = Uuid::random(),
          .transition = VisitTransition::link};
}

constexpr std::size_t visitCount = 1'000;

std::vector<PageOpening> openings() {
  std::mt19937 random(1);
  std::vector<PageOpening> all;
  for (std::size_t i = 0; i < visitCount; ++i) all.push_back(opening(i, random));
  return all;
}

/// The microseconds that one takes.
double appendVisits(const std::vector<PageOpening>& visits) {
  const Folder folder;
  HistoryArchive archive{ValeLibrary{folder.path / "Library"}};
  archive.append({.url = "https://example.org/first", .visitedAt = visits.front().visitedAt});
  const double seconds = secondsOf([&] {
    for (const auto& visit : visits) archive.append(visit);
  });
  return seconds / double(visits.size()) * 1e6;
}

struct Database {
  explicit Database(const std::filesystem::path& file) {
    if (sqlite3_open(file.c_str(), &handle) != SQLITE_OK) throw Unmeasured("SQLite could not be opened");
    run("PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF;"
        "CREATE TABLE visits (id TEXT PRIMARY KEY, visitedAt TEXT, lastVisitedAt TEXT, visitCount INTEGER,"
        " url TEXT, title TEXT, transition TEXT, tabID TEXT, textExcerpt TEXT);"
        "CREATE INDEX urls ON visits (url);");
  }
  ~Database() { sqlite3_close(handle); }
  void run(const char* statement) const {
    if (sqlite3_exec(handle, statement, nullptr, nullptr, nullptr) != SQLITE_OK)
      throw Unmeasured(sqlite3_errmsg(handle));
  }
  sqlite3* handle = nullptr;
};

/// The same columns, with the look-up of the address that a fold needs too.
double insertRows(const std::vector<PageOpening>& visits) {
  const Folder folder;
  const Database database(folder.path / "visits.sqlite");
  const auto prepare = [&](const char* text) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database.handle, text, -1, &statement, nullptr) != SQLITE_OK)
      throw Unmeasured(sqlite3_errmsg(database.handle));
    return std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>(statement, sqlite3_finalize);
  };
  const auto find = prepare("SELECT id, lastVisitedAt FROM visits WHERE url = ?1");
  const auto insert = prepare("INSERT INTO visits VALUES (?1, ?2, ?3, 1, ?4, ?5, 'link', ?6, ?7)");
  const auto bind = [](sqlite3_stmt* statement, int place, const std::string& text) {
    sqlite3_bind_text(statement, place, text.data(), int(text.size()), SQLITE_STATIC);
  };
  const double seconds = secondsOf([&] {
    for (const auto& visit : visits) {
      bind(find.get(), 1, visit.url);
      sqlite3_step(find.get());
      sqlite3_reset(find.get());
      const std::string time = iso8601(visit.visitedAt);
      const std::array values = {Uuid::random().text(), time,      time, visit.url, visit.title,
                                 visit.tabID->text(),   visit.text};
      for (int i = 0; i < int(values.size()); ++i) bind(insert.get(), i + 1, values[std::size_t(i)]);
      if (sqlite3_step(insert.get()) != SQLITE_DONE) throw Unmeasured(sqlite3_errmsg(database.handle));
      sqlite3_reset(insert.get());
    }
  });
  return seconds / double(visits.size()) * 1e6;
}

std::string archiveText(const std::vector<PageOpening>& visits) {
  std::string text;
  for (const auto& one : visits) {
    const auto time = std::chrono::floor<std::chrono::seconds>(one.visitedAt);
    text += jsonLine({.id = Uuid::random(),
                      .visitedAt = time,
                      .lastVisitedAt = time,
                      .url = one.url,
                      .title = one.title,
                      .transition = one.transition,
                      .tabID = one.tabID,
                      .textExcerpt = one.text});
    text += '\n';
  }
  return text;
}

constexpr int repetitions = 20;

double decodeLines(const ArchiveBytes& archive) {
  const double seconds = secondsOf([&] {
    for (int i = 0; i < repetitions; ++i) {
      HistoryLineReader reader;
      std::vector<HistoryVisit> visits;
      HistoryVisit visit;
      std::size_t position = 0;
      while (const auto line = archive.nextLine(position)) {
        if (!reader.read(*line, archive, visit)) throw Unmeasured("a line could not be read");
        visits.push_back(std::move(visit));
      }
      if (visits.size() != visitCount) throw Unmeasured("lines are missing");
      keep(visits);
    }
  });
  return double(archive.view().size()) * repetitions / seconds;
}

/// The same fields kept as texts, the least that a program could do.
struct Fields {
  std::array<std::string, 8> texts;
  std::int64_t visitCount = 0;
};

double readFields(const ArchiveBytes& archive) {
  const double seconds = secondsOf([&] {
    for (int i = 0; i < repetitions; ++i) {
      simdjson::ondemand::parser parser;
      std::vector<Fields> all;
      std::size_t position = 0;
      while (const auto line = archive.nextLine(position)) {
        const auto readable = std::size_t(archive.view().end() - line->begin());
        if (readable < line->size() + simdjson::SIMDJSON_PADDING) break;
        auto document = parser.iterate(line->data(), line->size(), readable);
        Fields& fields = all.emplace_back();
        std::size_t next = 0;
        for (auto field : document.get_object()) {
          if (field.key().value() == "visitCount") {
            fields.visitCount = field.value().get_int64().value();
          } else {
            fields.texts[next++] = field.value().get_string().value();
          }
        }
      }
      keep(all);
    }
  });
  return double(archive.view().size()) * repetitions / seconds;
}

}  // namespace

void addHistoryRows(Table& table) {
  const auto visits = std::make_shared<std::vector<PageOpening>>();
  const auto made = [visits]() -> const std::vector<PageOpening>& {
    if (visits->empty()) *visits = openings();
    return *visits;
  };
  table.add({.name = "a new visit appended",
             .unit = "µs",
             .ours = [made] { return appendVisits(made()); },
             .peerName = "SQLite, WAL, not flushed",
             .peer = [made] { return insertRows(made()); },
             .direction = Goal::atMost,
             .goal = 1});
  table.add({.name = "a whole archive decoded",
             .unit = "B/s",
             .ours = [made] { return decodeLines(ArchiveBytes(archiveText(made()))); },
             .peerName = "simdjson On-Demand",
             .peer =
                 [made] {
                   return readFields(
                       ArchiveBytes(archiveText(made()) + std::string(simdjson::SIMDJSON_PADDING, '\n')));
                 },
             .direction = Goal::atLeast,
             .goal = 0.6});
}

}  // namespace vale::bench
