#include "projects/ProjectLibrary.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t largestFile = 16 << 20;
constexpr std::int64_t currentVersion = 1;

ProjectChoices decodeChoices(const std::string& text) {
  const auto value = parseJson(text);
  const auto* object = value.if_object();
  if (object && integerMember(*object, "version").value_or(currentVersion) > currentVersion)
    throw Error("It was written by a newer Vale.");
  return decode<ProjectChoices>(value);
}

/// Whether the path that the user typed, or what it leads to, is this id.
bool names(const fs::path& typed, const std::string& id) {
  const auto same = [&id](fs::path path) {
    path = path.lexically_normal();
    return (path.has_filename() ? path : path.parent_path()) == id;
  };
  std::error_code error;
  const auto absolute = fs::absolute(typed, error);
  const auto real = fs::weakly_canonical(absolute, error);
  return same(absolute) || (!error && same(real));
}

}  // namespace

ProjectLibrary::ProjectLibrary(ProjectPlaces places)
    : places_(std::move(places)), file_(places_.support / "projects.json") {}

ProjectChoices ProjectLibrary::read() const try {
  const auto text = readFile(file_, largestFile);
  if (!text && text.error().code == ENOENT) return {};
  if (!text) throw text.error();
  return decodeChoices(*text);
} catch (const Error& error) {
  throw Error(fmt::format("Could not read the list of projects “{}”. The original file is preserved. {}",
                          file_.native(), error.message));
}

std::string ProjectLibrary::add(const fs::path& folder, Date now) const {
  const auto id = ProjectFolders::chosenFolder(folder, places_);
  change([&](ProjectChoices& choices) {
    std::erase(choices.hidden, id);
    if (std::ranges::find(choices.added, id, &AddedProject::folder) == choices.added.end())
      choices.added.push_back({.folder = id, .addedAt = iso8601(now)});
  });
  return id;
}

std::string ProjectLibrary::remove(const fs::path& folder, const std::vector<std::string>& found) const {
  std::string removed;
  change([&](ProjectChoices& choices) {
    std::erase_if(choices.added, [&](const AddedProject& one) {
      if (!names(folder, one.folder)) return false;
      removed = one.folder;
      return true;
    });
    for (const auto& id : found) {
      if (!names(folder, id) || std::ranges::find(choices.hidden, id) != choices.hidden.end()) continue;
      choices.hidden.push_back(id);
      removed = id;
    }
    if (removed.empty())
      throw Error(
          fmt::format("“{}” is none of the projects. Name one that is listed.", validUtf8(folder.native())));
  });
  return removed;
}

void ProjectLibrary::change(const std::function<void(ProjectChoices&)>& change) const {
  PrivateFiles::makeFolder(places_.support);
  // The file is replaced by renaming, so the lock is on its folder.
  const FileDescriptor lock(::open(places_.support.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  while (lock && flock(lock.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
  auto choices = read();
  change(choices);
  PrivateFiles::writeIfChanged(jsonText(encode(choices)) + "\n", file_);
}

}  // namespace vale
