#pragma once

#include "browser/BrowserModel.h"
#include "browser/FilterList.h"
#include "common/DeferredFile.h"
#include "common/Json.h"
#include "common/Published.h"
#include "common/Surroundings.h"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A filter list that the user added: a copy of the file.
struct BlockingList {
  Uuid id;
  std::string name;
  std::string digest;  ///< the SHA-256 of the copy
  bool enabled = true;
  std::int64_t used = 0;
  std::int64_t notUnderstood = 0;
  Date addedAt;

  bool operator==(const BlockingList&) const = default;
};
BOOST_DESCRIBE_STRUCT(BlockingList, (), (id, name, digest, enabled, used, notUnderstood, addedAt))

/// The blockers that the engine has made of lists, under the key of these lists.
struct CompiledBlocking {
  std::string key;
  std::vector<std::string> blockers;  ///< their names in the engine's store
  std::int64_t leftOut = 0;           ///< rules that did not get into one

  bool operator==(const CompiledBlocking&) const = default;
};
BOOST_DESCRIBE_STRUCT(CompiledBlocking, (), (key, blockers, leftOut))

/// What is blocked, and where not. Unknown keys of the file are not kept.
struct BlockingContent {
  bool ownList = true;  ///< the one that comes with the program
  std::vector<BlockingList> lists;
  std::vector<std::string> exceptedSites;  ///< hosts, what lies below them included
  std::optional<CompiledBlocking> compiled;

  bool operator==(const BlockingContent&) const = default;
};
BOOST_DESCRIBE_STRUCT(BlockingContent, (), (ownList, lists, exceptedSites, compiled))

/// The filter lists and the sites that are excepted. Main thread only; lists are read, checked and copied on
/// a queue. After a crash there is the old copy of a list or the new one. A file that could not be read is
/// never written in this run. What is excepted in private windows is kept in memory.
class BlockingLists {
 public:
  static constexpr std::size_t largestFile = 32 << 20;
  static constexpr std::size_t mostLists = 20;
  static constexpr std::size_t mostSites = 5'000;

  /// `folder` holds "blocking.json" and the copies. Reads the file at once.
  BlockingLists(std::filesystem::path folder, Surroundings surroundings);
  BlockingLists(const BlockingLists&) = delete;
  BlockingLists& operator=(const BlockingLists&) = delete;

  const Published<BlockingContent>& content() const { return content_; }
  const Published<std::optional<std::string>>& storageError() const { return storageError_; }

  /// Gets the list as it is then, or why not, a sentence for the user.
  using Answer = std::function<void(std::expected<BlockingList, std::string>)>;
  void add(const std::filesystem::path& file, Answer answer);
  /// Puts a newer file into the place of a list.
  void replace(const Uuid& id, const std::filesystem::path& file, Answer answer);
  void setEnabled(const Uuid& id, bool enabled);
  void setOwnListEnabled(bool enabled);
  /// The copy goes, too.
  void remove(const Uuid& id);

  /// False for a site that is excepted, and for an address that is no web page's.
  bool blocksAt(const std::string& address, BrowsingMode mode) const;
  void setBlocksAt(const std::string& address, bool blocks, BrowsingMode mode);
  void forgetSite(const std::string& host);
  /// Fired when `blocksAt` may say something else.
  sigc::signal<void()>& sitesChanged() { return sitesChanged_; }

  /// Changes when the enabled lists do, or what is made of them: 64 hexadecimal digits.
  std::string key() const;
  void setCompiled(CompiledBlocking compiled);

  /// Reads the enabled lists, for a queue. One that is gone is left out.
  std::function<std::vector<FilterList>()> reader() const;

  /// Writes what waits to be written, for termination.
  void save();

 private:
  void take(Uuid id, const std::filesystem::path& file, Answer answer);
  void put(const BlockingList& list);
  void set(BlockingContent content);
  std::filesystem::path copyOf(const Uuid& id) const;

  std::filesystem::path folder_;
  Surroundings surroundings_;
  SerialQueue queue_;
  Published<BlockingContent> content_;
  Published<std::optional<std::string>> storageError_;
  std::vector<std::string> privateSites_, privateBlocked_;
  sigc::signal<void()> sitesChanged_;
  std::unique_ptr<DeferredFile> file_;  ///< null when nothing is to be written
  std::shared_ptr<BlockingLists*> self_;
};

}  // namespace vale
