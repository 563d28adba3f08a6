#include "browser/DownloadWords.h"

#include "browser/AddressDisplay.h"
#include "browser/DownloadDestination.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <string_view>
#include <system_error>

namespace vale {
namespace {

constexpr std::array units{"kB", "MB", "GB", "TB", "PB", "EB"};

std::string counted(std::int64_t count, std::string_view one) {
  return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

std::string serverOf(const Download& download) {
  const auto host = hostRange(download.url);
  return clampedText(std::string_view(download.url).substr(host.begin, host.end - host.begin), 100);
}

std::string progressText(const Download& download, std::optional<double> rate) {
  auto text = sizeText(download.bytesReceived);
  const auto& expected = download.bytesExpected;
  if (expected) text += " of " + sizeText(*expected);
  if (!rate) return text;
  if (*rate < 1) return text + " — nothing arrives at the moment";
  text += fmt::format(" — {}/s", sizeText(std::llround(*rate)));
  if (!expected || *expected <= download.bytesReceived) return text;
  return text + fmt::format(", {} left",
                            durationText(static_cast<double>(*expected - download.bytesReceived) / *rate));
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string sizeText(std::int64_t bytes) {
  bytes = std::max<std::int64_t>(bytes, 0);
  if (bytes < 1000) return counted(bytes, "byte");
  auto value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  // What would be rounded to 1000.0 belongs to the next unit.
  while (value >= 999.95 && unit + 1 < units.size()) {
    value /= 1000;
    ++unit;
  }
  return fmt::format("{:.1f} {}", value, units[unit]);
}

std::string durationText(double seconds) {
  constexpr std::int64_t minute = 60, hour = 60 * minute, day = 24 * hour;
  if (!(seconds < static_cast<double>(day))) return "more than a day";
  const auto whole = std::max<std::int64_t>(static_cast<std::int64_t>(std::ceil(seconds)), 1);
  if (whole < minute) return counted(whole, "second");
  const auto minutes = (whole + minute - 1) / minute;
  if (minutes < 60) return counted(minutes, "minute");
  const auto rest = minutes % 60;
  return counted(minutes / 60, "hour") + (rest == 0 ? "" : " " + counted(rest, "minute"));
}

std::string downloadStatus(const Download& download, std::optional<double> rate) {
  const auto server = serverOf(download);
  const auto from = server.empty() ? "" : " — " + server;
  switch (download.state) {
  case DownloadState::running:
    return progressText(download, rate);
  case DownloadState::paused:
    return progressText(download, std::nullopt);
  case DownloadState::finished:
    return sizeText(download.bytesReceived) + from;
  case DownloadState::failed:
    return singleLine(download.error.value_or("The download failed."));
  case DownloadState::cancelled:
    break;
  }
  return "Cancelled" + from;
}

std::optional<double> downloadedFraction(const Download& download) {
  if (!download.bytesExpected || *download.bytesExpected <= 0) return std::nullopt;
  return std::clamp(
      static_cast<double>(download.bytesReceived) / static_cast<double>(*download.bytesExpected), 0.0, 1.0);
}

std::optional<double> downloadedFraction(const std::vector<Download>& downloads) {
  double received = 0, expected = 0;
  for (const auto& one : downloads) {
    if (one.hasEnded()) continue;
    const auto fraction = downloadedFraction(one);
    if (!fraction) return std::nullopt;
    expected += static_cast<double>(*one.bytesExpected);
    received += *fraction * static_cast<double>(*one.bytesExpected);
  }
  if (expected <= 0) return std::nullopt;
  return received / expected;
}

std::string downloadName(const Download& download) {
  return singleLine(validUtf8(download.destination.filename().native()));
}

std::string nameInAddress(const std::string& address) {
  const auto host = hostRange(address);
  // A data address has no name in it, only content.
  if (host.empty()) return safeFileName("");
  auto path = std::string_view(address).substr(host.end);
  path = path.substr(0, path.find_first_of("?#"));
  path.remove_prefix(path.rfind('/') + 1);
  std::string name;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const int high = path[i] == '%' && i + 2 < path.size() ? hexDigit(path[i + 1]) : -1;
    const int low = high >= 0 ? hexDigit(path[i + 2]) : -1;
    if (low >= 0) {
      name += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      name += path[i];
    }
  }
  return safeFileName(name);
}

std::string failedDownload(DownloadFailure failure, std::string_view detail) {
  auto words = singleLine(validUtf8(clampedText(detail, 300)));
  while (words.ends_with('.')) words.pop_back();
  const auto isFull = [&](int code) {
    return words.find(std::generic_category().message(code)) != std::string::npos;
  };
  if (failure == DownloadFailure::disk && (isFull(ENOSPC) || isFull(EDQUOT))) {
    return "There is no room left on the disk, so the file was not saved. Make some and try again.";
  }
  const auto reason = words.empty() ? std::string() : ": " + words;
  if (failure == DownloadFailure::disk) return "The file could not be written" + reason + ".";
  return "The file did not arrive" + reason + ".";
}

std::string refusedDownload(unsigned status) {
  switch (status) {
  case 401:
  case 403:
    return fmt::format("The server does not give out this file ({}).", status);
  case 404:
  case 410:
    return fmt::format("The server does not have this file ({}).", status);
  default:
    return fmt::format("The server answered with an error in place of the file ({}).", status);
  }
}

bool canRetry(const Download& download) {
  if (download.state != DownloadState::failed && download.state != DownloadState::cancelled) return false;
  return !webOrigin(download.url).empty() && !download.url.ends_with("…");
}

}  // namespace vale
