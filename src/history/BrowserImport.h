#pragma once

#include "common/RawValues.h"
#include "history/HistoryRecords.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// The history of other browsers on this machine, read from their own files.
namespace vale {

/// Whose file format a profile is in; "chromium" stands for all browsers that are built on it.
enum class ForeignBrowser { firefox, chromium };

template <>
inline constexpr auto rawValues<ForeignBrowser> = std::to_array<RawValue<ForeignBrowser>>(
    {{ForeignBrowser::firefox, "firefox"}, {ForeignBrowser::chromium, "chromium"}});

struct BrowserProfile {
  ForeignBrowser browser = ForeignBrowser::firefox;
  std::string source;  ///< as visits name it: "chrome/Default", "firefox/abcd.default-release"
  std::filesystem::path folder;

  /// The file that holds the history: "places.sqlite", "History".
  std::filesystem::path file() const;
};

/// The profiles with a history below a home folder, also those of Flatpak and Snap: Firefox's as its
/// profiles.ini names them, and those of Chromium, Chrome, Brave, Edge and Vivaldi. Browsers that keep their
/// files elsewhere are not found.
std::vector<BrowserProfile> browserProfiles(const std::filesystem::path& home);

/// A profile at a folder that the user names, called as `browserProfiles` would call it where its place tells
/// the browser.
BrowserProfile browserProfileAt(ForeignBrowser browser, const std::filesystem::path& folder);

struct BrowserImport {
  /// Takes some visits, oldest first, all of a UTC day together as far as `maximumBatch` allows. What it
  /// throws ends the import.
  std::function<void(std::vector<ImportedVisit>)> take;
  /// Called now and then with how many of how many rows are read; may be empty.
  std::function<void(std::int64_t read, std::int64_t total)> progress = {};
  /// Set from any thread to end the import soon; may be null.
  const std::atomic<bool>* cancelled = nullptr;
};

enum class ImportEnd { complete, cancelled };

inline constexpr std::size_t usualBatch = 5'000;
inline constexpr std::size_t maximumBatch = 50'000;

/// Reads a profile's visits, but for those of frames, downloads and redirecting addresses, which nobody
/// looked at. Works on a copy in a private temporary folder, which it removes: the browser may be running,
/// and its own files stay as they are. Batches handed on before an error or the cancelling stay imported;
/// importing again adds only what is missing. Throws Error for files that are missing, damaged or of another
/// form. Blocks on the disk.
ImportEnd importBrowserHistory(const BrowserProfile& profile, const BrowserImport& import);

}  // namespace vale
