#pragma once

#include "browser/Downloads.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What is told of downloads. All of it is plain text in one line.
namespace vale {

/// "1 byte", "999 bytes", "1.5 kB", "2.0 GB": in powers of 1,000, as the desktop's file manager counts.
std::string sizeText(std::int64_t bytes);

/// "1 second", "59 seconds", "2 minutes", "1 hour 5 minutes", "more than a day"; rounded up, at least a
/// second.
std::string durationText(double seconds);

/// The line below a download's name. `rate`: bytes a second, when it is known.
std::string downloadStatus(const Download& download, std::optional<double> rate);

/// The part that is there, 0 to 1; none where the server did not say how much there is.
std::optional<double> downloadedFraction(const Download& download);

/// Of all running downloads together; none when one of them has no known size, or none runs.
std::optional<double> downloadedFraction(const std::vector<Download>& downloads);

/// The name of its file, as it is shown.
std::string downloadName(const Download& download);

/// The name that an address suggests, for a download that failed before its server could.
std::string nameInAddress(const std::string& address);

/// Why a download failed, a whole sentence; `detail` is the engine's own words.
enum class DownloadFailure { network, disk };
std::string failedDownload(DownloadFailure failure, std::string_view detail);

/// In place of the file the server sent this status, 400 or above.
std::string refusedDownload(unsigned status);

/// It has ended without a file, and its address leads to it again.
bool canRetry(const Download& download);

}  // namespace vale
