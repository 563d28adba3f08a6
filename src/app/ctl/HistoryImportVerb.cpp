#include "app/ctl/HistoryImportVerb.h"

#include "common/Text.h"
#include "history/BrowserImport.h"
#include "history/HistoryArchive.h"

#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace vale::ctl {
namespace {

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

std::vector<BrowserProfile> profilesOf(ForeignBrowser browser, const std::filesystem::path& profile) {
  if (!profile.empty()) return {browserProfileAt(browser, profile)};
  const char* home = std::getenv("HOME");
  auto profiles = browserProfiles(home ? home : "/");
  std::erase_if(profiles, [browser](const BrowserProfile& one) { return one.browser != browser; });
  if (profiles.empty())
    throw Error(
        "No history of such a browser was found in your home folder. Name its profile with --profile.");
  return profiles;
}

void showProgress(std::int64_t read, std::int64_t total) {
  if (!isatty(STDERR_FILENO)) return;
  fmt::print(stderr, "\r{} of {} visits{}", read, total, read == total ? "\n" : "");
  std::fflush(stderr);
}

ImportEnd importProfile(HistoryArchive& archive, const BrowserProfile& profile) {
  HistoryImportBatch sum;
  const auto end = importBrowserHistory(profile, {.take =
                                                      [&](const std::vector<ImportedVisit>& visits) {
                                                        const auto batch = archive.importVisits(
                                                            visits, profile.source, LocalCalendar::system());
                                                        sum.added += batch.added;
                                                        sum.duplicates += batch.duplicates;
                                                        sum.skipped += batch.skipped;
                                                        sum.filesTouched += batch.filesTouched;
                                                      },
                                                  .progress = showProgress,
                                                  .cancelled = &interrupted});
  json::object line = {{"source", validUtf8(profile.source)}};
  for (auto& [key, value] : describe(sum)) line[key] = value;
  printJson(line);
  return end;
}

}  // namespace

json::object describe(const HistoryImportBatch& batch) {
  return {{"added", batch.added},
          {"duplicates", batch.duplicates},
          {"skipped", batch.skipped},
          {"filesTouched", batch.filesTouched}};
}

int importFromBrowser(const CommonOptions& options, const std::string& browser,
                      const std::filesystem::path& profile) {
  const auto kind = fromRawValue<ForeignBrowser>(browser);
  if (!kind) throw UsageError("--from takes firefox or chromium.");
  // The copy of the other browser's history must go even then.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, [](int) { interrupted = true; });
  HistoryArchive archive(ValeLibrary{ValeLibraryPaths::library(options.support)});
  int result = done;
  for (const auto& one : profilesOf(*kind, profile)) {
    try {
      if (importProfile(archive, one) == ImportEnd::cancelled) return cancelled;
    } catch (const Error& error) {
      fmt::print(stderr, "valectl: {}\n", forTerminal(error.message, STDERR_FILENO));
      result = failed;
    }
  }
  return result;
}

}  // namespace vale::ctl
