#include "agents/CheckpointRecords.h"

#include "common/FileDescriptor.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"
#include "common/Sha256.h"
#include "common/Text.h"

#include <boost/url/encode.hpp>
#include <boost/url/pct_string_view.hpp>

#include <chrono>
#include <utility>

namespace vale {
namespace {

constexpr std::string_view recordSuffix = ".json";
constexpr std::string_view filesSuffix = ".files.json";

/// The bytes that stand for themselves in a path that is written down.
struct PlainBytes {
  bool ascii = false;  ///< no others, because the path is not UTF-8
  constexpr bool operator()(char byte) const noexcept {
    return byte != '%' && !(ascii && static_cast<unsigned char>(byte) >= 0x80);
  }
};

std::string writtenPath(const std::string& path) {
  return boost::urls::encode(path, PlainBytes{.ascii = !isValidUtf8(path)});
}

std::string readPath(const std::string& text) {
  const auto decoded = boost::urls::make_pct_string_view(text);
  if (!decoded) throw DecodeError("A path of a checkpoint cannot be read.");
  boost::urls::encoding_opts options;
  options.space_as_plus = false;
  return decoded->decode(options);
}

void convert(std::optional<ProjectRepository>& repository, std::string (*path)(const std::string&)) {
  if (!repository) return;
  repository->objects = path(repository->objects);
  repository->prefix = path(repository->prefix);
}

void convert(CheckpointRecord& record, std::string (*path)(const std::string&)) {
  record.project = path(record.project);
  convert(record.repository, path);
  for (auto& change : record.changes) change.path = path(change.path);
  for (auto& folder : record.folders) folder = path(folder);
}

void convert(CheckpointFiles& files, std::string (*path)(const std::string&)) {
  convert(files.repository, path);
  std::map<std::string, FileState> converted;
  for (auto& [name, state] : files.files) converted.emplace(path(name), std::move(state));
  files.files = std::move(converted);
  std::map<std::string, std::int64_t> folders;
  for (const auto& [name, inode] : files.folders) folders.emplace(path(name), inode);
  files.folders = std::move(folders);
}

template <typename T> std::optional<T> readRecord(const std::filesystem::path& file) {
  const auto bytes = readFile(file, CheckpointRecords::largestRecord);
  if (!bytes) return std::nullopt;
  try {
    auto record = decodeText<T>(*bytes);
    convert(record, readPath);
    return record;
  } catch (const Error& error) {
    log::warning("Vale could not read the checkpoint file {}: {}", file.filename().native(), error.message);
    return std::nullopt;
  }
}

bool wasWrittenBefore(const std::filesystem::path& file, Date date) {
  std::error_code error;
  const auto written = std::filesystem::last_write_time(file, error);
  return !error && Date(std::chrono::file_clock::to_sys(written)) < date;
}

template <typename T> void writeRecord(T record, const std::filesystem::path& file) {
  convert(record, writtenPath);
  PrivateFiles::write(jsonText(encode(record)) + "\n", file);
}

}  // namespace

bool FileState::isUntouched(const FileState& later) const {
  return kind == later.kind && mode == later.mode && size == later.size && device == later.device &&
         inode == later.inode && modified == later.modified && changed == later.changed;
}

bool FileState::isSame(const FileState& other) const {
  return kind == other.kind && mode == other.mode && content && content == other.content;
}

std::filesystem::path CheckpointRecords::fileOf(const Uuid& id, std::string_view suffix) const {
  return folder_ / (id.text() + std::string(suffix));
}

std::filesystem::path CheckpointRecords::fileOf(std::string_view project) const {
  return folder_ / "Projects" / (sha256Hex(project) + std::string(recordSuffix));
}

std::optional<CheckpointRecord> CheckpointRecords::read(const Uuid& id) const {
  auto record = readRecord<CheckpointRecord>(fileOf(id, recordSuffix));
  if (!record || record->id != id || record->version != CheckpointRecord::currentVersion) return std::nullopt;
  return record;
}

std::optional<CheckpointFiles> CheckpointRecords::readFiles(const Uuid& id) const {
  return readRecord<CheckpointFiles>(fileOf(id, filesSuffix));
}

std::optional<CheckpointFiles> CheckpointRecords::lastSeen(std::string_view project) const {
  return readRecord<CheckpointFiles>(fileOf(project));
}

void CheckpointRecords::write(CheckpointRecord record) const {
  const auto file = fileOf(record.id, recordSuffix);
  writeRecord(std::move(record), file);
}

void CheckpointRecords::writeFiles(const Uuid& id, CheckpointFiles files) const {
  writeRecord(std::move(files), fileOf(id, filesSuffix));
}

void CheckpointRecords::writeLastSeen(std::string_view project, CheckpointFiles files) const {
  writeRecord(std::move(files), fileOf(project));
}

void CheckpointRecords::remove(const Uuid& id) const {
  // The record first: files without one count for nothing.
  std::error_code ignored;
  std::filesystem::remove(fileOf(id, recordSuffix), ignored);
  removeFiles(id);
}

void CheckpointRecords::removeFiles(const Uuid& id) const {
  std::error_code ignored;
  std::filesystem::remove(fileOf(id, filesSuffix), ignored);
}

std::vector<Uuid> CheckpointRecords::list() const {
  std::vector<Uuid> found;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string file = entry->path().filename();
    std::string_view name = file;
    if (!name.ends_with(recordSuffix)) continue;
    name.remove_suffix(recordSuffix.size());
    const auto id = Uuid::parse(name);
    if (id && id->text() == name) found.push_back(*id);
  }
  return found;
}

bool CheckpointRecords::isWrittenBefore(const Uuid& id, Date date) const {
  return wasWrittenBefore(fileOf(id, recordSuffix), date);
}

void CheckpointRecords::forgetProjects(Date notSeenSince) const {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder_ / "Projects", error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (wasWrittenBefore(entry->path(), notSeenSince)) std::filesystem::remove(entry->path(), ignored);
  }
}

}  // namespace vale
