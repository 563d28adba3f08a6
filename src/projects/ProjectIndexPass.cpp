#include "projects/ProjectIndexPass.h"

#include "common/PrivateFiles.h"
#include "common/Sha256.h"
#include "projects/Lanes.h"
#include "projects/PlainFiles.h"
#include "projects/ProjectFacts.h"
#include "projects/ProjectIndexText.h"
#include "projects/ProjectLibrary.h"
#include "projects/SessionLogs.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <tuple>

namespace vale {
namespace {

namespace fs = std::filesystem;

/// What the agents' logs and the user say of one folder.
struct KnownFolder {
  bool exists = true;
  std::vector<ProjectSession> sessions{};
  std::string first{};
  std::string last{};
};

using KnownFolders = std::map<std::string, KnownFolder>;

std::string stampOf(const std::vector<std::string>& paths) {
  std::string stamps;
  for (const auto& path : paths) stamps.append(PlainFiles::stamp(path)).push_back(' ');
  return sha256Hex(stamps);
}

struct LogReading {
  std::vector<SessionLogFile> files;
  std::vector<CachedLog> read;
};

Task<> readLog(std::shared_ptr<LogReading> reading, std::size_t i) {
  const auto& file = reading->files[i];
  reading->read[i] = {.stamp = file.stamp, .log = SessionLogReader::read(file.path, file.provider)};
  co_return;
}

/// The logs that are there now; those that did not change are taken from `old`.
Task<std::map<std::string, CachedLog>>
readLogs(ProjectPlaces places, std::shared_ptr<const ProjectIndexCache> old, WorkerPool& workers) {
  std::map<std::string, CachedLog> logs;
  const auto reading = std::make_shared<LogReading>();
  for (auto& file : SessionLogs::find(places)) {
    // A name that is no text could not be kept in the cache.
    if (!ProjectFolders::canBeListed(file.path.native())) continue;
    const auto known = old->logs.find(file.path.native());
    if (known != old->logs.end() && known->second.stamp == file.stamp) {
      logs.insert(*known);
    } else {
      reading->files.push_back(std::move(file));
    }
  }
  reading->read.resize(reading->files.size());
  std::function<Task<>(std::size_t)> work = [reading](std::size_t i) { return readLog(reading, i); };
  co_await inLanes(reading->files.size(), std::move(work), workers);
  for (std::size_t i = 0; i < reading->files.size(); ++i) {
    logs.emplace(reading->files[i].path.native(), std::move(reading->read[i]));
  }
  co_return logs;
}

/// Counts a conversation for the folder that the user added around its working folder, else for its project.
class FolderOfWork {
 public:
  FolderOfWork(const ProjectPlaces& places, const ProjectChoices& choices)
      : places_(places), choices_(choices) {}

  const std::optional<ProjectOfFolder>& operator()(const std::string& folder) {
    const auto [known, isNew] = known_.try_emplace(folder);
    if (isNew) known->second = find(folder);
    return known->second;
  }

 private:
  std::optional<ProjectOfFolder> find(const std::string& folder) const {
    auto project = ProjectFolders::projectOf(folder, places_);
    for (const auto& added : choices_.added) {
      if (!ProjectFolders::isWithin(folder, added.folder)) continue;
      if (!project || !project->exists || project->id.size() < added.folder.size())
        project = {.id = added.folder};
    }
    return project;
  }

  const ProjectPlaces& places_;
  const ProjectChoices& choices_;
  std::map<std::string, std::optional<ProjectOfFolder>> known_;
};

void widen(KnownFolder& folder, const std::string& first, const std::string& last) {
  if (folder.first.empty() || first < folder.first) folder.first = first;
  folder.last = std::max(folder.last, last);
}

KnownFolders knownFolders(const ProjectPlaces& places, const ProjectChoices& choices,
                          const std::map<std::string, CachedLog>& logs) {
  KnownFolders folders;
  const std::set<std::string> hidden(choices.hidden.begin(), choices.hidden.end());
  FolderOfWork folderOf(places, choices);
  for (const auto& [path, cached] : logs) {
    if (!cached.log) continue;
    const auto& log = *cached.log;
    const auto& project = folderOf(log.folder);
    if (!project || hidden.contains(project->id)) continue;
    auto& folder = folders[project->id];
    folder.exists = project->exists;
    folder.sessions.push_back({.id = log.id, .provider = log.provider, .title = log.title, .date = log.last});
    widen(folder, log.first, log.last);
  }
  for (const auto& added : choices.added) {
    if (!ProjectFolders::canBeListed(added.folder) || !fs::path(added.folder).is_absolute()) continue;
    auto& folder = folders[added.folder];
    std::error_code error;
    folder.exists = fs::is_directory(added.folder, error);
    if (folder.last.empty()) folder.last = added.addedAt;
  }
  return folders;
}

struct FactReading {
  std::shared_ptr<const ProjectIndexCache> old;
  ProjectPlaces places;
  WorkerPool& workers;
  std::vector<std::string> ids;
  std::vector<CachedProject> read;
};

Task<> readFacts(std::shared_ptr<FactReading> reading, std::size_t i) {
  const auto& id = reading->ids[i];
  const auto known = reading->old->projects.find(id);
  if (known != reading->old->projects.end() && stampOf(known->second.watched) == known->second.stamp) {
    reading->read[i] = known->second;
    co_return;
  }
  auto files = ProjectFiles::in(id);
  CachedProject project{.watched = files.watched()};
  // Taken before: what changes while it is read is read again the next time.
  project.stamp = stampOf(project.watched);
  project.record = co_await ProjectFacts::read(std::move(files), reading->places, reading->workers);
  reading->read[i] = std::move(project);
}

void addActivity(ProjectRecord& record, KnownFolder folder) {
  std::ranges::sort(folder.sessions, [](const ProjectSession& a, const ProjectSession& b) {
    return std::tie(a.date, a.id) > std::tie(b.date, b.id);
  });
  if (folder.sessions.size() > ProjectIndex::sessionCount) folder.sessions.resize(ProjectIndex::sessionCount);
  for (const auto& commit : record.commits) widen(folder, commit.date, commit.date);
  const auto known = [](std::string& date) {
    return date.empty() ? std::nullopt : std::optional(std::move(date));
  };
  record.sessions = std::move(folder.sessions);
  record.firstActivity = known(folder.first);
  record.lastActivity = known(folder.last);
}

Task<std::map<std::string, CachedProject>> readProjects(KnownFolders folders, ProjectPlaces places,
                                                        std::shared_ptr<const ProjectIndexCache> old,
                                                        WorkerPool& workers) {
  const auto reading = std::make_shared<FactReading>(std::move(old), std::move(places), workers);
  for (const auto& [id, folder] : folders) {
    if (folder.exists) reading->ids.push_back(id);
  }
  reading->read.resize(reading->ids.size());
  std::function<Task<>(std::size_t)> work = [reading](std::size_t i) { return readFacts(reading, i); };
  co_await inLanes(reading->ids.size(), std::move(work), workers);
  std::map<std::string, CachedProject> projects;
  for (std::size_t i = 0; i < reading->ids.size(); ++i) {
    addActivity(reading->read[i].record, std::move(folders[reading->ids[i]]));
    projects.emplace(reading->ids[i], std::move(reading->read[i]));
  }
  co_return projects;
}

ProjectIndexRecord indexOf(const ProjectIndexCache& cache) {
  ProjectIndexRecord index{.missing = cache.missing};
  for (const auto& [id, project] : cache.projects) index.projects.push_back(project.record);
  std::ranges::stable_sort(index.projects, [](const ProjectRecord& a, const ProjectRecord& b) {
    return a.lastActivity.value_or("") > b.lastActivity.value_or("");
  });
  return index;
}

std::size_t countChanged(const ProjectIndexCache& now, const ProjectIndexCache& old) {
  return std::size_t(std::ranges::count_if(now.projects, [&old](const auto& entry) {
    const auto before = old.projects.find(entry.first);
    return before == old.projects.end() || before->second.record != entry.second.record;
  }));
}

std::map<std::string, std::string> stampsOfFiles(const fs::path& folder) {
  std::map<std::string, std::string> stamps;
  for (const auto* name : {"INDEX.md", "projects.json"}) {
    const auto path = folder / name;
    stamps.emplace(path.native(), PlainFiles::stamp(path));
  }
  return stamps;
}

/// Makes the index's files true; `cache.written` then holds their stamps.
void writeFiles(ProjectIndexRefresh& refresh, ProjectIndexCache& cache, const ProjectIndexCache& old,
                const fs::path& folder) {
  refresh.written = PrivateFiles::writeIfChanged(ProjectIndexText::instructions(), folder / "AGENTS.md");
  const bool removed = old.projects.size() != cache.projects.size();
  cache.written = stampsOfFiles(folder);
  if (refresh.changed == 0 && !removed && cache.missing == old.missing && cache.written == old.written)
    return;
  const bool list =
      PrivateFiles::writeIfChanged(ProjectIndexText::json(refresh.index), folder / "projects.json");
  const bool text =
      PrivateFiles::writeIfChanged(ProjectIndexText::markdown(refresh.index), folder / "INDEX.md");
  refresh.written = refresh.written || list || text;
  cache.written = stampsOfFiles(folder);
}

}  // namespace

Task<ProjectIndexRefresh> runProjectIndexPass(ProjectPlaces places,
                                              std::shared_ptr<std::optional<ProjectIndexCache>> cache,
                                              WorkerPool& workers) {
  const auto began = std::chrono::steady_clock::now();
  const auto cacheFile = places.support / "Intelligence" / "project-index-cache.json";
  const auto choices = ProjectLibrary(places).read();
  if (!*cache) *cache = ProjectIndexCache::load(cacheFile);
  const auto old = std::make_shared<const ProjectIndexCache>(**cache);

  ProjectIndexCache now;
  now.logs = co_await readLogs(places, old, workers);
  auto folders = knownFolders(places, choices, now.logs);
  for (const auto& [id, folder] : folders) {
    if (!folder.exists) now.missing.push_back(id);
  }
  now.projects = co_await readProjects(std::move(folders), places, old, workers);

  ProjectIndexRefresh refresh{.index = indexOf(now), .changed = countChanged(now, *old)};
  writeFiles(refresh, now, *old, places.library / "projects");
  if (now != *old) now.save(cacheFile);
  *cache = std::move(now);
  refresh.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  co_return refresh;
}

}  // namespace vale
