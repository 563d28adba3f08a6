#include "projects/ProjectFacts.h"

#include "agents/PreviewText.h"
#include "common/Text.h"
#include "projects/GitFolder.h"
#include "projects/GitLog.h"
#include "projects/PlainFiles.h"
#include "projects/ProjectManifests.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t readmeBytes = 32 * 1024;

std::string lowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return text;
}

/// The best of a folder's names for a README, or empty.
std::string readmeAmong(const std::vector<std::string>& names) {
  constexpr std::array<std::string_view, 5> readmes = {"readme.md", "readme.markdown", "readme.rst",
                                                       "readme.txt", "readme"};
  for (const auto readme : readmes) {
    for (const auto& name : names) {
      if (lowerCase(name) == readme) return name;
    }
  }
  return {};
}

std::string line(std::string_view text, std::size_t characters) {
  return validUtf8(previewLine(trimmed(text), characters));
}

/// "acme-portal: Where customers sign in." for a folder that has another name.
std::string described(const ProjectManifest& manifest, const std::string& folderName,
                      std::string_view readme) {
  auto description = manifest.description;
  if (description.empty()) description = ProjectFacts::firstParagraph(readme);
  const auto name = std::string_view(manifest.name).substr(manifest.name.rfind('/') + 1);
  if (!name.empty() && lowerCase(std::string(name)) != lowerCase(folderName))
    description = description.empty() ? manifest.name : manifest.name + ": " + description;
  return line(description, ProjectFacts::descriptionLength);
}

}  // namespace

ProjectFiles ProjectFiles::in(const fs::path& folder) {
  ProjectFiles files{.folder = folder};
  std::vector<std::string> names;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (const fs::directory_iterator end; !error && entry != end && names.size() < namesLimit;
       entry.increment(error)) {
    names.push_back(entry->path().filename().native());
  }
  files.manifests = ProjectManifests::among(names);
  files.readme = readmeAmong(names);
  if (const auto git = GitFolder::of(folder)) {
    for (const auto& path : git->watched()) files.git.push_back(path.native());
  }
  return files;
}

std::vector<std::string> ProjectFiles::watched() const {
  std::vector<std::string> paths{folder.native()};
  for (const auto& name : manifests) paths.push_back((folder / name).native());
  if (!readme.empty()) paths.push_back((folder / readme).native());
  paths.insert(paths.end(), git.begin(), git.end());
  return paths;
}

namespace ProjectFacts {

Task<ProjectRecord> read(ProjectFiles files, ProjectPlaces places, WorkerPool& workers) {
  ProjectRecord record{.id = files.folder.native(), .name = line(files.folder.filename().native(), 100)};
  const auto manifest = ProjectManifests::read(files.folder, files.manifests);
  record.stack = manifest.stack;
  std::string readme;
  if (!files.readme.empty())
    readme = PlainFiles::beginning(files.folder / files.readme, readmeBytes).value_or("");
  record.readme = validUtf8(previewText(trimmed(readme), readmeLength));
  record.description = described(manifest, files.folder.filename().native(), readme);
  if (const auto git = GitFolder::of(files.folder)) {
    record.remote = git->remote();
    record.commits = co_await GitLog::latest(*git, std::move(places.programs), workers);
  }
  co_return record;
}

std::string firstParagraph(std::string_view readme) {
  std::string paragraph;
  bool inCode = false;
  while (!readme.empty() && paragraph.size() < descriptionLength * 4) {
    const auto end = std::min(readme.find('\n'), readme.size());
    const auto text = trimmed(readme.substr(0, end));
    readme.remove_prefix(std::min(end + 1, readme.size()));
    if (text.starts_with("```") || text.starts_with("~~~")) inCode = !inCode;
    constexpr std::string_view marks = "#<![>|`~=*-+";
    const bool emphasis = text.starts_with("**");
    const bool isProse =
        !inCode && !text.empty() &&
        (emphasis || !marks.contains(text[0]) || (text[0] == '[' && !text.starts_with("[!")));
    // A heading may also be a line with another of "=" or "-" below it.
    if (!isProse && (text.starts_with("==") || text.starts_with("--"))) paragraph.clear();
    if (!isProse && !paragraph.empty()) break;
    if (isProse) paragraph.append(paragraph.empty() ? "" : " ").append(text);
  }
  return paragraph;
}

}  // namespace ProjectFacts
}  // namespace vale
