#include "benchmarks/Rows.h"
#include "benchmarks/Spawn.h"
#include "common/PrivateFiles.h"
#include "common/Queues.h"
#include "history/AddressIndex.h"
#include "history/ArchiveName.h"
#include "history/LexicalSearch.h"
#include "tests/support/TemporaryFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <random>

namespace vale::bench {
namespace {

using namespace std::chrono_literals;

constexpr double milliseconds = 1000;
constexpr auto commonWord = "the";
constexpr auto absentWord = "paternoster";

/// Words of the usual lengths, a few of which are every second one of a text.
std::string someText(std::size_t size, std::minstd_rand& random) {
  std::vector<std::string> words;
  for (int i = 0; i < 20'000; ++i) {
    std::string word;
    if (random() % 50 == 0) word = "é";
    for (auto length = 3 + random() % 8; length > 0; --length)
      word += "etaoinshrdlucmfwypvbgk"[random() % 22];
    words.push_back(std::move(word));
  }
  const auto common = std::to_array<std::string>({commonWord, "of", "and", "to", "a", "in", "it", "is"});
  std::string text;
  while (text.size() < size) {
    text += random() % 2 ? common[random() % common.size()] : words[random() % words.size()];
    text += random() % 12 ? " " : random() % 4 ? ". " : "\n";
  }
  return text;
}

/// A library of half a gigabyte, and one of its newest tenth.
class Libraries {
 public:
  static constexpr std::size_t largeSize = 500'000'000;
  static constexpr int days = 250;

  Libraries() {
    std::minstd_rand random(1);
    const std::string text = someText(8'000'000, random);
    PrivateFiles::makeFolder(small());
    for (int day = 0; day < days; ++day) {
      const auto time = std::chrono::sys_seconds(std::chrono::sys_days(2026y / 11 / 1)) - day * 24h;
      std::string bytes;
      for (int line = 0; bytes.size() < largeSize / days; ++line) {
        HistoryVisit visit;
        visit.id = Uuid::random();
        visit.visitedAt = visit.lastVisitedAt = time + std::chrono::minutes(line);
        visit.url = fmt::format("https://www.example.org/articles/{}/{}", day, line);
        visit.title = text.substr(random() % (text.size() - 100), 60);
        visit.textExcerpt = text.substr(random() % (text.size() - 10'000), 2'000 + random() % 6'000);
        bytes += jsonLine(visit) + '\n';
      }
      const auto name = archiveName(time);
      PrivateFiles::write(bytes, large() / name);
      if (day < days / 10) std::filesystem::create_hard_link(large() / name, small() / name);
    }
  }

  std::filesystem::path large() const { return folder_ / "large"; }
  std::filesystem::path small() const { return folder_ / "small"; }

 private:
  test::TemporaryFolder folder_;
};

/// The slowest of several completions among 100,000 addresses.
double slowestCompletion(const AddressIndex& index) {
  double slowest = 0;
  for (const auto* typed : {"e", "exa", "www.example1", "article ne", "paternoster", "site 42 guide", "é"}) {
    slowest = std::max(slowest, secondsOf([&] { keep(index.complete(typed, 8)); }));
  }
  return milliseconds * slowest;
}

std::vector<AddressIndexRow> manyRows() {
  std::minstd_rand random(1);
  std::vector<AddressIndexRow> rows;
  for (int i = 0; i < 100'000; ++i) {
    rows.push_back({.url = fmt::format("https://www.example{}.org/articles/{}?from=newsletter", i % 3'000, i),
                    .title = fmt::format("Article {}: a guide to site {} – Example", i, random() % 500),
                    .visitCount = std::int64_t(1 + random() % 50),
                    .typedCount = std::int64_t(random() % 3),
                    .lastVisitedAt = std::chrono::sys_seconds(random() % 60'000'000 * 1s)});
  }
  return rows;
}

}  // namespace

void addSearchRows(Table& table) {
  struct Shared {
    Libraries libraries;
    WorkerPool workers;
  };
  const auto shared = std::make_shared<std::unique_ptr<Shared>>();
  const auto with = [shared]() -> Shared& {
    if (!*shared) *shared = std::make_unique<Shared>();
    return **shared;
  };
  table.add({.name = "search, needle absent, 500 MB library",
             .unit = "ms",
             .ours =
                 [with] {
                   auto& all = with();
                   return milliseconds * secondsOf([&] {
                            if (!lexicalSearch(all.libraries.large(), absentWord, 50, &all.workers).empty())
                              throw Unmeasured("the needle was found");
                          });
                 },
             .peerName = "rg -i -c",
             .peer =
                 [with] {
                   const auto folder = with().libraries.large().string();
                   const auto program = programOnPath("rg").string();
                   return milliseconds * secondsOf([&] {
                            Spawned({program, "-i", "-c", absentWord, folder}).wait();
                          });
                 },
             .direction = Goal::atMost,
             .goal = 1.2});
  for (const bool large : {false, true}) {
    table.add({.name = fmt::format("search, common word, limit 50, {} MB library", large ? 500 : 50),
               .unit = "ms",
               .ours =
                   [with, large] {
                     auto& all = with();
                     const auto folder = large ? all.libraries.large() : all.libraries.small();
                     return milliseconds * secondsOf([&] {
                              if (lexicalSearch(folder, commonWord, 50, &all.workers).size() != 50)
                                throw Unmeasured("not all was found");
                            });
                   },
               .direction = Goal::atMost,
               .goal = 10});
  }
  const auto index = std::make_shared<std::unique_ptr<AddressIndex>>();
  table.add({.name = "address completion at 100,000 addresses",
             .unit = "ms",
             .ours =
                 [index] {
                   if (!*index) *index = std::make_unique<AddressIndex>(manyRows());
                   return slowestCompletion(**index);
                 },
             .direction = Goal::atMost,
             .goal = 5});
}

}  // namespace vale::bench
