#include "browser/DownloadedFile.h"

#include "common/FileDescriptor.h"
#include "common/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

/// What some desktop runs, or hands to something that does.
constexpr std::array<std::string_view, 42> programExtensions{
    ".desktop", ".directory", ".sh",  ".bash",     ".zsh",      ".fish",  ".csh", ".ksh", ".command",
    ".run",     ".bin",       ".out", ".appimage", ".jar",      ".jnlp",  ".py",  ".pyc", ".pyw",
    ".pyz",     ".pl",        ".rb",  ".php",      ".lua",      ".tcl",   ".js",  ".mjs", ".ps1",
    ".bat",     ".cmd",       ".com", ".exe",      ".msi",      ".scr",   ".vbs", ".wsf", ".hta",
    ".lnk",     ".url",       ".reg", ".service",  ".terminal", ".action"};

constexpr std::array<std::string_view, 6> programBeginnings{"\x7F"
                                                            "ELF",
                                                            "#!",
                                                            "MZ",
                                                            "[Desktop Entry]",
                                                            "\xCA\xFE\xBA\xBE",
                                                            "\xEF\xBB\xBF#!"};

bool namesProgram(const std::filesystem::path& path) {
  const auto extension = foldedCase(path.extension().native());
  return std::ranges::find(programExtensions, extension) != programExtensions.end();
}

}  // namespace

DownloadedFile downloadedFile(const std::filesystem::path& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return DownloadedFile::missing;
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return DownloadedFile::program;
  if (namesProgram(path)) return DownloadedFile::program;
  std::array<char, 1024> bytes{};
  const auto count = read(file.get(), bytes.data(), bytes.size());
  if (count < 0) return DownloadedFile::program;
  const std::string_view head(bytes.data(), static_cast<std::size_t>(count));
  const bool begins = std::ranges::any_of(
      programBeginnings, [&](std::string_view beginning) { return head.starts_with(beginning); });
  // A desktop entry may begin with comments.
  const bool entry = head.find("\n[Desktop Entry]") != std::string_view::npos;
  return begins || entry ? DownloadedFile::program : DownloadedFile::document;
}

}  // namespace vale
