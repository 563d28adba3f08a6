#pragma once

#include "common/FileDescriptor.h"
#include "common/Uuid.h"

#include <expected>
#include <filesystem>
#include <string>

namespace vale {

/// Where a download is written until it is whole: the file "content" in the hidden folder ".vale-UUID.part",
/// mode 0700, beside its destination. The folder is locked while this lives, so that `removeLeftovers` can
/// tell what a crash left behind. Blocks on the disk: for worker queues.
class PartialFile {
 public:
  enum class Taken { nextName, replaced };

  /// Makes the hidden folder in `folder`, which must exist. Never takes over one that is there.
  static std::expected<PartialFile, FileError> make(const std::filesystem::path& folder, const Uuid& id);

  /// The file that the engine is to make in the hidden folder.
  static std::filesystem::path file(const std::filesystem::path& folder, const Uuid& id);

  PartialFile(PartialFile&&) = default;
  PartialFile& operator=(PartialFile&&) = delete;
  /// Removes the hidden folder and what the engine wrote there; anything else in it stays, and the folder
  /// too.
  ~PartialFile();

  /// Flushes the file to the disk and gives it this name, or "name (1)" and so on where names are taken: what
  /// is there is never touched, unless the user chose to have it replaced. Gives the name.
  std::expected<std::string, FileError> moveTo(const std::string& name, Taken taken);

  /// Removes the hidden folders of downloads that no running program holds.
  static void removeLeftovers(const std::filesystem::path& folder);

 private:
  PartialFile(std::filesystem::path folder, std::string name)
      : path_(std::move(folder)), name_(std::move(name)) {}
  void remove();
  int flush() const;
  int move(const std::string& name, Taken taken) const;

  std::filesystem::path path_;  ///< of the folder of the destination
  std::string name_;            ///< of the hidden folder
  FileDescriptor folder_, hidden_;
};

}  // namespace vale
